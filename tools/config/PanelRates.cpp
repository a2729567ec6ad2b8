// SPDX-License-Identifier: Apache-2.0
#include "tools/config/PanelRates.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "common/Codes.h"
#include "common/LeadingNumber.h"
#include "config/ConfigTables.h"
#include "display/RateTable.h"

namespace KVT {

bool IsRate(const std::string& text) {
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const std::string_view rest = std::string_view(text).substr(digits);
    return digits > 0 && digits < 4 && (rest.empty() || text == kRateIndexes[0].first);
}

bool HasRateIndex(int32_t hz) {
    return std::any_of(std::begin(kRateIndexes), std::end(kRateIndexes),
                       [hz](const auto& row) { return LeadingNumber(row.first) == hz; });
}

PanelRates::PanelRates(const std::vector<std::string>& rates) {
    for (const std::string& rate : rates) {
        mHz.push_back(LeadingNumber(rate.c_str()).value_or(0));
    }
}

bool PanelRates::mayShow(int32_t hz) const {
    return mHz.empty() || std::find(mHz.begin(), mHz.end(), hz) != mHz.end();
}

std::string PanelRates::faultOf(int32_t code) const {
    const std::vector<int32_t> wanted = code == kCodeDynamic
                                            ? std::vector<int32_t>{kLowHz, kHighHz}
                                            : std::vector<int32_t>{kCodeToHz[code]};
    for (const int32_t hz : wanted) {
        const std::string needs =
            "code " + std::to_string(code) + " needs " + std::to_string(hz) + " Hz, which ";
        if (!HasRateIndex(hz)) {
            return needs + "the display service has no index for: no panel shows it";
        }
        if (!mayShow(hz)) {
            return needs + "the panel does not have";
        }
    }
    return "";
}

std::vector<int32_t> PanelRates::codes() const {
    std::vector<int32_t> codes;
    std::copy_if(validFpsCodes.begin(), validFpsCodes.end(), std::back_inserter(codes),
                 [this](int32_t code) { return faultOf(code).empty(); });
    return codes;
}

bool PanelRates::fixesTheRate() const {
    return !mHz.empty() && mHz.back() <= kLowHz;
}

}  // namespace KVT
