// SPDX-License-Identifier: Apache-2.0
#include "strategy/GameSdkReport.h"

#include <json/json.h>

#include <cstdlib>
#include <exception>
#include <memory>

namespace KVT {
namespace {

// Far above what the three keys need.
constexpr size_t kMaxTextBytes = size_t{64} * 1024;
constexpr int kMaxDepth = 32;

std::optional<int32_t> ReadInt(const Json::Value& value) {
    if (!value.isInt()) {
        return std::nullopt;
    }
    return atoi(value.asString().c_str());
}

std::optional<GameSdkReport> ParseOrThrow(std::string_view json) {
    Json::CharReaderBuilder builder;
    builder["allowTrailingCommas"] = false;
    builder["stackLimit"] = kMaxDepth;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    if (!reader->parse(json.data(), json.data() + json.size(), &root, nullptr) ||
        !root.isObject() || !root["pkg"].isString()) {
        return std::nullopt;
    }
    return GameSdkReport{root["pkg"].asString(), ReadInt(root["1"]), ReadInt(root["10"])};
}

}  // namespace

std::optional<GameSdkReport> GameSdkReport::Parse(std::string_view json) {
    if (json.size() > kMaxTextBytes) {
        return std::nullopt;
    }
    try {
        return ParseOrThrow(json);
    } catch (const std::exception&) {
        // jsoncpp throws for nesting beyond the limit, among others.
        return std::nullopt;
    }
}

}  // namespace KVT
