// SPDX-License-Identifier: Apache-2.0
#include "display/DisplayFreqClient.h"

#include <optional>
#include <utility>
#include <vector>

#include "common/CleanText.h"
#include "common/Fatal.h"
#include "common/Log.h"
#include "common/PeerHealth.h"
#include "display/DisplayService.h"
#include "display/RateTable.h"

namespace android {
namespace {

using vendor::norvik::hardware::zrdisplay::V1_1::DISPLAY_RET;

/** The answer of the service when its callback never ran. */
constexpr int32_t kNoAnswer = -2;
constexpr int32_t kFpsSelector = 1;
constexpr size_t kSections = 3;

sp<DisplayService::IDisplay> ConnectedDisplay() {
    return DisplayService::getInstance().GetDisplayService();
}

/** Splits at a delimiter: no piece after a trailing one, one (empty) piece for an empty text. */
std::vector<std::string> Split(const std::string& text, char delimiter) {
    std::vector<std::string> pieces;
    size_t begin = 0;
    for (size_t end; (end = text.find(delimiter, begin)) != std::string::npos; begin = end + 1) {
        pieces.push_back(text.substr(begin, end - begin));
    }
    if (begin < text.size() || text.empty()) {
        pieces.push_back(text.substr(begin));
    }
    return pieces;
}

/** The value of a section "key:value"; nothing when it is not that. */
std::optional<std::string> ValueOf(const std::string& section, const char* key) {
    std::vector<std::string> pieces = Split(section, ':');
    if (pieces.size() != 2 || pieces[0] != key) {
        return std::nullopt;
    }
    return std::move(pieces[1]);
}

}  // namespace

DisplayFreqClient::DisplayFreqClient() {
    GetSupportedFreq();
    defaultIs60n = defaultFps == "60n";
    CreateFreqsMap();
}

void DisplayFreqClient::CreateFreqsMap() {
    for (const auto& [rate, index] : KVT::kRateIndexes) {
        freqsMap.emplace(rate, index);
    }
}

std::string DisplayFreqClient::GetLcdNodeInfo() {
    KVT::PeerCall call(KVT::Peer::kDisplay);
    const sp<DisplayService::IDisplay> display = ConnectedDisplay();
    call.found(display != nullptr);
    if (display == nullptr) {
        dynamicFreq = false;
        // Function name and line feed are what log readers have always looked for.
        KVT_LOGE("DisplayFreqClient: GetSupportedFreq fail\n");
        return "";
    }
    int32_t ret = kNoAnswer;
    std::string description;
    const auto called =
        display->displayGetFps(kFpsSelector, [&](DISPLAY_RET code, const std::string& text) {
            ret = static_cast<int32_t>(code);
            description = text;
        });
    if (!called.isOk()) {
        KVT_FATAL("display service: displayGetFps: %s", called.description().c_str());
    }
    call.done(ret == 0);
    if (ret != 0) {
        dynamicFreq = false;
        KVT_LOGE("DisplayFreqClient: displayGetFps fail, ret: %d", ret);
        return "";
    }
    return description;
}

void DisplayFreqClient::GetSupportedFreq() {
    const std::vector<std::string> sections = Split(GetLcdNodeInfo(), ';');
    if (sections.size() != kSections) {
        return;
    }
    const std::optional<std::string> current = ValueOf(sections[0], "current_fps");
    if (!current.has_value()) {
        return;
    }
    {
        KVT::MutexLock lock(mCurrentMutex);
        currentFps = *current;
    }
    const std::optional<std::string> normal = ValueOf(sections[1], "default_fps");
    if (!normal.has_value()) {
        return;
    }
    defaultFps = *normal;
    const std::optional<std::string> supported = ValueOf(sections[2], "support_fps_list");
    if (!supported.has_value()) {
        return;
    }
    for (std::string& rate : Split(*supported, ',')) {
        supportFpsList.push_back(std::move(rate));
    }
    dynamicFreq = true;
    KVT_LOGI("DisplayFreqClient: lcd fps curr: %s, default: %s", KVT::CleanText(*current).c_str(),
             KVT::CleanText(defaultFps).c_str());
    for (const std::string& rate : supportFpsList) {
        KVT_LOGI("DisplayFreqClient: lcd fps support: %s", KVT::CleanText(rate).c_str());
    }
}

bool DisplayFreqClient::GetCurrentFps() {
    const std::vector<std::string> sections = Split(GetLcdNodeInfo(), ';');
    if (sections.size() != kSections) {
        return false;
    }
    std::optional<std::string> current = ValueOf(sections[0], "current_fps");
    if (!current.has_value()) {
        return false;
    }
    KVT::MutexLock lock(mCurrentMutex);
    currentFps = std::move(*current);
    return true;
}

std::string DisplayFreqClient::GetCurrentFreq() {
    if (!GetCurrentFps()) {
        return "";
    }
    KVT::MutexLock lock(mCurrentMutex);
    return currentFps;
}

std::string DisplayFreqClient::GetMaxFreq() const {
    return supportFpsList.empty() ? "60" : supportFpsList.back();
}

int32_t DisplayFreqClient::SetFreq(const std::string& freq, bool highFreqOn) {
    KVT::PeerCall call(KVT::Peer::kDisplay);
    const sp<DisplayService::IDisplay> display = ConnectedDisplay();
    call.found(display != nullptr);
    if (display == nullptr) {
        dynamicFreq = false;
        KVT_LOGI("DisplayFreqClient: SetFreq fail");
        return -1;
    }
    const int32_t index = freqsMap[defaultIs60n && !highFreqOn ? "60n" : freq];
    const auto called = display->setDisplayFps(index);
    if (!called.isOk()) {
        KVT_FATAL("display service: setDisplayFps: %s", called.description().c_str());
    }
    const int32_t ret = called;
    call.done(ret == 0);
    if (ret != 0) {
        KVT_LOGE("DisplayFreqClient: setDisplayFps error, freqIndex: %d, ret: %d", index, ret);
        return -1;
    }
    return 0;
}

}  // namespace android
