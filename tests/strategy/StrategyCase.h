// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "StrategyWorld.h"

namespace KVT {

/** What happens to a strategy, and the trace of it. */
struct StrategyCase {
    const char* name;
    std::vector<TimedAction> actions;
    std::string trace;
};

inline void PrintTo(const StrategyCase& each, std::ostream* out) {
    *out << each.name;
}

inline std::string NameOfCase(const testing::TestParamInfo<StrategyCase>& each) {
    return each.param.name;
}

/** Several actions in one moment, in which no check thread runs. */
inline Action AtOnce(std::vector<Action> actions) {
    return [actions = std::move(actions)] {
        for (const Action& action : actions) {
            action();
        }
    };
}

/** For the expected trace: these lines, each with that time. */
inline std::string At(const std::string& seconds, const std::string& lines) {
    std::string text;
    for (size_t begin = 0; begin < lines.size(); begin = lines.find('\n', begin) + 1) {
        text += seconds + ' ' + lines.substr(begin, lines.find('\n', begin) + 1 - begin);
    }
    return text;
}

}  // namespace KVT
