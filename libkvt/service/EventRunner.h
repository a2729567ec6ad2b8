// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Errors.h>

#include <cstdint>
#include <functional>
#include <string>

namespace KVT {

/**
 * Acts on events of the policy elsewhere than on the threads that receive them, which is worth it
 * because an event may have to wait for other processes and for the panel. The dispatcher hands over
 * every event but frames and refreshes, from any number of threads.
 */
class EventRunner {
  public:
    struct Event {
        /** The transaction that brought it; 0 for what the host itself has to do in between. */
        uint32_t code = 0;
        /** Its number; 0 where it has none. */
        int32_t value = 0;
        /** The package of a fingerprint event; empty for all others. */
        std::string package{};
        /** To be called once, as a Turn, and not before this is so for events that came earlier. */
        std::function<void()> act{};
    };

    virtual ~EventRunner() = default;

    /**
     * Takes an event over. Called in the middle of a Turn, too, which must not be waited for.
     *
     * @param callerWaits whether somebody waits for the event to be acted on, and not just sent it
     * @return OK; WOULD_BLOCK when it is dropped, because too many wait
     */
    virtual android::status_t run(Event event, bool callerWaits) = 0;
};

}  // namespace KVT
