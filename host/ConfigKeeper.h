// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "host/ServiceInfo.h"
#include "sync/Atomic.h"
#include "tools/config/ConfigDocument.h"

namespace KVT {

class EventQueue;

/**
 * Looks after the service's configuration file, the one that GetPaths() names: says what the start
 * has made of it, and has the policy take over another one while it runs.
 */
class ConfigKeeper {
  public:
    /** Both live to the end of the process, and so does this object. */
    ConfigKeeper(EventQueue& events, ServiceInfo& info) : mEvents(events), mInfo(info) {}

    /** Why a file that was asked for can not be read, be it a configuration or not; or nothing. */
    static std::string ReadingFault(const std::string& file);

    /** Says what became of the file. Once, after the start of the policy. */
    void onStarted();

    /**
     * Reads the file anew, and hands it to the policy in order with the events. One that can not be
     * read, or would have ended a start, is refused: the configuration before it stays. Either way one line
     * of the log says so. One thread at a time.
     */
    void reload();

  private:
    void takeOver(const ConfigDocument& document, const std::string& state, uint32_t reading);
    void refuse(const std::string& fault);
    static void SayThatPolicyIsOff();

    EventQueue& mEvents;
    ServiceInfo& mInfo;
    Atomic<bool> mPolicyIsOff{false};
    /** How often the file was read; of the thread that reloads. */
    uint32_t mReadings = 0;
};

}  // namespace KVT
