// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace KVT {

/** What a game tells about itself through the game SDK. */
struct GameSdkReport {
    std::string pkg;               // "pkg"
    std::optional<int32_t> scene;  // "1": scene code, if it is an integer
    std::optional<int32_t> fps;    // "10": the frame rate the game is set to, if it is an integer

    /**
     * Reads a JSON text that may come from anybody: what is too large, too deep, not a JSON object,
     * or without the text "pkg", is no report.
     */
    static std::optional<GameSdkReport> Parse(std::string_view json);
};

}  // namespace KVT
