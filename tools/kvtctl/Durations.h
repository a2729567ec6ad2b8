// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace KVT::ctl {

/** Seconds, of "30", "30s", "5m", "1.5h" or "2d"; nothing for another text, and for none or less. */
std::optional<double> ParseDuration(const std::string& text);

/** "0.4 s", "12 s", "12 min", "3 h 5 min" or "2 d 4 h": what fits its size. */
std::string DurationText(double seconds);

}  // namespace KVT::ctl
