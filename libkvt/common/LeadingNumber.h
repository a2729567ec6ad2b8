// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>

namespace KVT {

/**
 * The decimal number at the beginning of a text, after white space: "60n" is 60. A number beyond 32
 * bits is the nearest one within; a text that begins with none has none.
 */
inline std::optional<int32_t> LeadingNumber(const char* text) {
    char* end = nullptr;
    const long value = strtol(text, &end, 10);
    if (end == text) {
        return std::nullopt;
    }
    return static_cast<int32_t>(std::clamp<long>(value, INT32_MIN, INT32_MAX));
}

}  // namespace KVT
