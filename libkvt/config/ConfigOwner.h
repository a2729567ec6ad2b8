// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace KVT {

/** The compositor's parameters for GPU composition. Times in seconds. */
struct CompositionParams {
    bool gpuCompositionSwitch;
    int32_t accumTime;
    int32_t accumCount;
    int32_t penaltyTime;
};

/**
 * Whoever the configuration is read for: hands on what concerns other components, the first two the
 * moment that their section has been read, the last when all have.
 */
class ConfigOwner {
  public:
    virtual void onCompositionParams(const CompositionParams& params) = 0;
    /** @param text parameters of the touch-scroll model */
    virtual void onSlideModel(const std::string& text) = 0;
    virtual void onParticalCompose(bool enabled) = 0;

  protected:
    ~ConfigOwner() = default;
};

}  // namespace KVT
