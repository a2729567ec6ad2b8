// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/RefBase.h>

#include <cstdint>
#include <string>

namespace android {
namespace hidl::base::V1_0 {
class IBase;
}  // namespace hidl::base::V1_0

namespace hardware {

using hidl_string = std::string;

/** Told when a hardware service dies. */
struct hidl_death_recipient : public virtual RefBase {
    virtual void serviceDied(uint64_t cookie, const wp<hidl::base::V1_0::IBase>& who) = 0;
};

}  // namespace hardware
}  // namespace android
