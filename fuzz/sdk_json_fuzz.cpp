// SPDX-License-Identifier: Apache-2.0
// What a game reports of itself: any text. What is taken from it must be in it.
#include <json/json.h>

#include <memory>

#include "fuzz/FuzzInput.h"
#include "strategy/GameSdkReport.h"

namespace KVT::fuzz {
namespace {

/** The same report without anything else: only what was understood goes on. */
std::string Written(const GameSdkReport& report) {
    Json::Value root;
    root["pkg"] = report.pkg;
    if (report.scene.has_value()) {
        root["1"] = *report.scene;
    }
    if (report.fps.has_value()) {
        root["10"] = *report.fps;
    }
    return Json::writeString(Json::StreamWriterBuilder(), root);
}

/** Whether the text's value at the key is such a number. */
bool Holds(const Json::Value& root, const char* key, const std::optional<int32_t>& number) {
    const Json::Value& value = root[key];
    return value.isInt() ? number == value.asInt() : !number.has_value();
}

void RequireTruth(const char* begin, size_t size, const GameSdkReport& report) {
    Json::Value root;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Require(reader->parse(begin, begin + size, &root, nullptr), "a report that is no JSON");
    Require(root.isObject() && root["pkg"].type() == Json::stringValue,
            "a report without a package");
    Require(root["pkg"] == report.pkg, "a report's package is another one");
    Require(Holds(root, "1", report.scene) && Holds(root, "10", report.fps),
            "a report's number is another one");
}

}  // namespace
}  // namespace KVT::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace KVT;
    const auto* text = reinterpret_cast<const char*>(data);
    if (const auto report = GameSdkReport::Parse({text, size}); report.has_value()) {
        fuzz::RequireTruth(text, size, *report);
        // Bytes that are no UTF-8 are taken as they are, and are written in another way.
        const auto again = GameSdkReport::Parse(fuzz::Written(*report));
        fuzz::Require(
            again.has_value() && again->scene == report->scene && again->fps == report->fps,
            "a report that was written down is another one");
    }
    return 0;
}
