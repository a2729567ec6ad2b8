// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace KVT {

/** Whether a text is a rate as the display service lists them: Hz, "60n" for the normal mode. */
bool IsRate(const std::string& text);

/** Which refresh-rate codes a panel can follow. */
class PanelRates {
  public:
    /** Of a panel that is not known: only what no panel shows is out of reach. */
    PanelRates() = default;
    /** @param rates what the display service lists, in its order */
    explicit PanelRates(const std::vector<std::string>& rates);

    /** What is wrong with a valid code on this panel; empty when nothing is. */
    std::string faultOf(int32_t code) const;
    /** The codes without a fault. */
    std::vector<int32_t> codes() const;
    /** The rate listed last is the panel's highest to the service, which fixes one up to 60 Hz. */
    bool fixesTheRate() const;

  private:
    bool mayShow(int32_t hz) const;

    std::vector<int32_t> mHz;
};

/** Whether the display service has an index for the rate. */
bool HasRateIndex(int32_t hz);

}  // namespace KVT
