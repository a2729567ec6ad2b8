// SPDX-License-Identifier: Apache-2.0
#include "config/SlideModel.h"

#include <cstdio>
#include <cstring>

namespace KVT {

SlideModel::SlideModel() {
    for (size_t i = 0; i < kSlideParamCount; ++i) {
        mValues[i] = kSlideParams[i].builtIn;
    }
}

void SlideModel::set(const char* name, float value) {
    for (size_t i = 0; i < kSlideParamCount; ++i) {
        if (strcmp(name, kSlideParams[i].name) == 0 && kSlideParams[i].accepts(value)) {
            mValues[i] = value;
        }
    }
}

std::string SlideModel::text() const {
    std::string text = std::to_string(switchValue);
    for (const float value : mValues) {
        char number[64];  // the largest float has 39 digits before the point
        snprintf(number, sizeof(number), " %.6f", static_cast<double>(value));
        text += number;
    }
    return text;
}

}  // namespace KVT
