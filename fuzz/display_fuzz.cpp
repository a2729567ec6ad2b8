// SPDX-License-Identifier: Apache-2.0
// The display service's description of the panel: any text. It must be understood as a reading of
// the format word by word understands it, at the start and again while the service runs.
#include <android/log.h>

#include <cstring>
#include <optional>
#include <sstream>

#include "common/LeadingNumber.h"
#include "display/DisplayFreqClient.h"
#include "display/LcdFpsControl.h"
#include "fuzz/FuzzInput.h"
#include "sim/fakes/FakePhone.h"
#include "sync/virtual/VirtualTime.h"

namespace KVT::fuzz {
namespace {

using Texts = std::vector<std::string>;

/** No piece behind a last delimiter; of nothing, one that is empty. */
Texts Pieces(const std::string& text, char delimiter) {
    Texts pieces;
    std::istringstream rest(text);
    for (std::string piece; std::getline(rest, piece, delimiter);) {
        pieces.push_back(piece);
    }
    return text.empty() ? Texts{""} : pieces;
}

std::optional<std::string> Value(const std::string& section, const char* key) {
    const Texts pieces = Pieces(section, ':');
    return pieces.size() == 2 && pieces[0] == key ? std::optional(pieces[1]) : std::nullopt;
}

struct Description {
    std::string current;  // empty when it can not be read
    std::string normal = "60";
    Texts rates;
    bool isWhole = false;
};

Description Read(const std::string& text) {
    Description read;
    const Texts sections = Pieces(text, ';');
    const auto current = sections.size() == 3 ? Value(sections[0], "current_fps") : std::nullopt;
    if (!current.has_value()) {
        return read;
    }
    read.current = *current;
    const auto normal = Value(sections[1], "default_fps");
    if (!normal.has_value()) {
        return read;
    }
    read.normal = *normal;
    if (const auto rates = Value(sections[2], "support_fps_list"); rates.has_value()) {
        read.rates = Pieces(*rates, ',');
        read.isWhole = true;
    }
    return read;
}

sim::FakePhone& Phone() {
    static auto* phone = [] {
        VirtualTime::Enter({});
        __android_log_set_logger([](const __android_logger_data*, const char*) {});
        auto* made = new sim::FakePhone;
        made->publish();
        return made;
    }();
    return *phone;
}

void RequireUnderstood(const std::string& text) {
    const Description expected = Read(text);
    const android::sp<android::DisplayFreqClient> client = new android::DisplayFreqClient;
    Require(client->GetCurrentFreq() == expected.current, "the current rate is another one");
    Require(client->GetDefaultFreq() == expected.normal, "the normal rate is another one");
    const auto rates = client->GetAllFreq();
    Require(Texts(rates.begin(), rates.end()) == expected.rates, "the rates are others");
    Require(client->GetMaxFreq() == (expected.rates.empty() ? "60" : expected.rates.back()),
            "the maximum is another one");
    Require(client->IsDynamicFreq() == expected.isWhole,
            "a description counts as whole that is not");
    // A current rate that is no number is a fault that ends the service.
    const auto number = LeadingNumber(expected.current.c_str());
    if (expected.current.empty() || number.has_value()) {
        LcdFpsControl::Init();
        Require(LcdFpsControl::GetCurrentLcdFps() == number.value_or(-1),
                "the current rate reads as another one");
        LcdFpsControl::GetMaxLcdFps();
        LcdFpsControl::SetLcdFps(60);
    }
}

}  // namespace
}  // namespace KVT::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace KVT;
    constexpr size_t kLongest = 4096;  // the reading above takes its time for long ones
    std::string text(reinterpret_cast<const char*>(data), std::min(size, kLongest));
    text.resize(strlen(text.c_str()));  // as a String8 arrives
    if (text.empty()) {
        return 0;  // for the fake panel: make a description of its own
    }
    fuzz::Phone().panel->behave(&sim::FakePanel::Behaviour::rawDescription, text);
    fuzz::RequireUnderstood(text);
    return 0;
}
