// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace KVT {

/** One floating-point parameter of the touch-scroll model. */
struct SlideParam {
    const char* name;
    float builtIn;
    /** Gains stay below kGainBound; levels, which are velocities, have no upper bound. */
    bool isGain;

    static constexpr float kGainBound = 2.0f;

    constexpr bool accepts(float value) const {
        return value > 0 && (!isGain || value < kGainBound);
    }
};

/** In the order of the text that carries them. */
inline constexpr SlideParam kSlideParams[] = {
    {"low_velocity_friction_gain", 0.6f, true},
    {"low_velocity_init_velocity_gain", 0.8f, true},
    {"medium_velocity_level", 5000.0f, false},
    {"medium_velocity_friction_gain", 0.6f, true},
    {"medium_velocity_init_velocity_gain", 0.8f, true},
    {"high_velocity_level", 15000.0f, false},
    {"high_velocity_friction_gain", 0.6f, true},
    {"high_velocity_init_velocity_gain", 0.8f, true},
};
inline constexpr size_t kSlideParamCount = sizeof(kSlideParams) / sizeof(kSlideParams[0]);

/** The parameters of the touch-scroll model as one section of the configuration gives them. */
class SlideModel {
  public:
    SlideModel();

    int32_t switchValue = 0;

    /** Takes a parameter, unless its value is out of range. Unknown names change nothing. */
    void set(const char* name, float value);

    /** Switch and parameters with six decimals, separated by spaces. */
    std::string text() const;

  private:
    float mValues[kSlideParamCount];
};

}  // namespace KVT
