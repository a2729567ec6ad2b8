// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/Durations.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace KVT::ctl {
namespace {

constexpr int64_t kMinute = 60;
constexpr int64_t kHour = 60 * kMinute;
constexpr int64_t kDay = 24 * kHour;
/** Ten thousand years of seconds: more is a mistake. */
constexpr double kMostSeconds = 3e11;

double SecondsOf(const std::string& unit) {
    return unit.empty() || unit == "s" ? 1
           : unit == "m"               ? static_cast<double>(kMinute)
           : unit == "h"               ? static_cast<double>(kHour)
           : unit == "d"               ? static_cast<double>(kDay)
                                       : 0;
}

std::string Parts(int64_t more, const char* moreUnit, int64_t less, const char* lessUnit) {
    const std::string text = std::to_string(more) + moreUnit;
    return less == 0 ? text : text + " " + std::to_string(less) + lessUnit;
}

}  // namespace

std::optional<double> ParseDuration(const std::string& text) {
    // Cut off here, since strtod knows more: signs, exponents, hexadecimals.
    const std::string number = text.substr(0, text.find_first_not_of("0123456789."));
    char* end = nullptr;
    const double seconds =
        strtod(number.c_str(), &end) * (*end == '\0' ? SecondsOf(text.substr(number.size())) : 0);
    return seconds > 0 && seconds < kMostSeconds ? std::optional(seconds) : std::nullopt;
}

std::string DurationText(double seconds) {
    if (!(seconds >= 0 && seconds < kMostSeconds)) {
        return "? s";
    }
    if (seconds < 9.95) {
        char text[16];
        snprintf(text, sizeof(text), "%.1f s", seconds);
        return text;
    }
    const int64_t whole = std::llround(seconds);
    if (whole < 2 * kMinute) {
        return std::to_string(whole) + " s";
    }
    if (whole < 2 * kHour) {
        return std::to_string(whole / kMinute) + " min";
    }
    return whole < 2 * kDay ? Parts(whole / kHour, " h", whole % kHour / kMinute, " min")
                            : Parts(whole / kDay, " d", whole % kDay / kHour, " h");
}

}  // namespace KVT::ctl
