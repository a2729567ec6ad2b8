// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "service/IKVTService.h"

namespace KVT {

class EventRunner;

/**
 * The front door of the service: every event of the framework and the compositor enters here.
 *
 * Framework events are handed to the policy, the rest to the operations of IKVTService: in place,
 * or by the EventRunner. Holds no lock; runs on any number of binder threads at once.
 */
class BnKVTService : public android::BnInterface<IKVTService> {
  public:
    /** @param events acts on all events but frames and refreshes; must outlive the service */
    explicit BnKVTService(EventRunner* events = nullptr) : mEvents(events) {}

    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags = 0) override;

  private:
    EventRunner* const mEvents;
};

}  // namespace KVT
