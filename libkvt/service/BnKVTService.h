// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "service/IKVTService.h"

namespace KVT {

/**
 * The front door of the service: every event of the framework and the compositor enters here.
 *
 * Framework events are handed to the policy in place, the rest to the operations of IKVTService.
 * Keeps no state and holds no lock; runs on any number of binder threads at once.
 */
class BnKVTService : public android::BnInterface<IKVTService> {
  public:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags = 0) override;
};

}  // namespace KVT
