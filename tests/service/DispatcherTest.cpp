// SPDX-License-Identifier: Apache-2.0
// Every transaction: request and reply as bytes, status, log lines, and what it leads to.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "common/Turn.h"
#include "service/Transactions.h"
#include "tests/support/Bytes.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using android::Parcel;
using android::status_t;
using testing::IsEmpty;

constexpr status_t kUnknown = android::UNKNOWN_TRANSACTION;
constexpr status_t kDenied = -1;
constexpr status_t kBadValue = -22;

struct Case {
    const char* name;
    uint32_t code;
    std::string request;
    status_t status;
    std::string reply;
    std::vector<std::string> logs;
    std::vector<std::string> calls;
};

const std::string kToken = kServiceToken;
const std::string kOtherToken = "00 00 00 80  ff ff ff ff  0a 00 00 00 ~'KVTServicf' 00 00 00 00 ";

const Case kCases[] = {
    {"null listener is registered",
     1,
     kToken + "85 2a 62 73 13 01 00 00" + std::string(32, '0'),
     0,
     "07 00 00 00",
     {"D/KVTService: itapo into BnKVTService::RegisterListener"},
     {"RegisterListener(null)"}},
    {"registration with another token",
     1,
     kOtherToken,
     kDenied,
     "",
     {"D/KVTService: itapo into BnKVTService::RegisterListener"},
     {}},
    {"registration without a token",
     1,
     "",
     kDenied,
     "",
     {"D/KVTService: itapo into BnKVTService::RegisterListener"},
     {}},
    {"unregistration needs no token",
     2,
     "85 2a 62 73 13 01 00 00" + std::string(32, '0'),
     0,
     "07 00 00 00",
     {},
     {"UnRegisterListener(null)"}},
    {"application state without a name",
     3,
     "01000000 02000000 03000000 00000000",
     kUnknown,
     "",
     {"D/KVTService: kvt Pkgname read fail!",
      "D/KVTService: kvt appType = 1 appState = 2 gameMode = 3"},
     {}},
    {"application state with a name in low bytes",
     3,
     "01000000 02000000 03000000 03000000 61010000 62000000 63000000",
     kUnknown,
     "",
     {"D/KVTService: kvt currentPackageName = abc",
      "D/KVTService: kvt appType = 1 appState = 2 gameMode = 3"},
     {}},
    {"application state cut short",
     3,
     "01000000",
     kUnknown,
     "",
     {"D/KVTService: kvt Pkgname read fail!",
      "D/KVTService: kvt appType = 1 appState = 0 gameMode = 0"},
     {}},
    {"application state with fewer characters than announced",
     3,
     "01000000 02000000 03000000 ffffff7f 61000000",
     kUnknown,
     "",
     {"D/KVTService: kvt currentPackageName = a",
      "D/KVTService: kvt appType = 1 appState = 2 gameMode = 3"},
     {}},
    {"thermal level",
     4,
     "fbffffff",
     kUnknown,
     "",
     {"D/KVTService: kvt getThermalInfo tempLevel = -5"},
     {}},
    {"maximum rate", 5, "", 0, "5a000000", {"I/KVTService: aps-info: get lcd max fps: 90"}, {}},
    {"new scheme",
     6,
     "",
     0,
     "01000000",
     {"I/KVTService: aps-info: get lcd new scheme supported: 1"},
     {}},
    {"temperature", 11, "25000000", kUnknown, "", {"I/KVTService: aps-info: temperature 37"}, {}},
    {"full video",
     13,
     "01000000",
     kUnknown,
     "",
     {"I/KVTService: aps-info: full video status: 1"},
     {}},
    {"layer frame",
     14,
     kToken + "'layer#0' 00  15cd5b0700000000 01000000",
     0,
     "00000000",
     {},
     {"SendLayerTimeInfo(layer#0,123456789,true)"}},
    {"layer frame without a name",
     14,
     kToken,
     kBadValue,
     "",
     {"E/KVTService: fps-come: readLayerName is nullptr!!"},
     {}},
    {"layer frame with an unterminated name",
     14,
     kToken + "'laye'",
     kBadValue,
     "",
     {"E/KVTService: fps-come: readLayerName is nullptr!!"},
     {}},
    {"layer frame cut after its name",
     14,
     kToken + "'abc' 00",
     0,
     "00000000",
     {},
     {"SendLayerTimeInfo(abc,0,false)"}},
    {"layer frame with another token", 14, kOtherToken + "'abc' 00", kDenied, "", {}, {}},
    {"touch", 15, kToken + "01000000", 0, "00000000", {}, {"SetLcdEvent(1)"}},
    {"touch with another token", 15, kOtherToken + "01000000", kDenied, "", {}, {}},
    {"frame refresh",
     16,
     kToken + "ffffffffffffffff",
     0,
     "00000000",
     {},
     {"NotifyFrameRefresh(-1)"}},
    {"frame refresh with another token", 16, kOtherToken, kDenied, "", {}, {}},
    {"hotplug",
     17,
     kToken + "01000000",
     0,
     "00000000",
     {"I/KVTService: SF-KVT: display hotplug: 1"},
     {"Hotplug(1)"}},
    {"hotplug with another token", 17, kOtherToken, kDenied, "", {}, {}},
    {"virtual display",
     18,
     kToken + "00000000",
     0,
     "00000000",
     {"I/KVTService: SF-KVT: virtual display: 0"},
     {"VirtualDisplay(0)"}},
    {"virtual display with another token", 18, kOtherToken, kDenied, "", {}, {}},
    {"GPU composition",
     19,
     kToken + "02000000",
     0,
     "00000000",
     {"I/KVTService: Gpu-KVT: Gpu composition status: 2"},
     {"GpuComposition(2)"}},
    {"GPU composition with another token", 19, kOtherToken, kDenied, "", {}, {}},
    {"self-test",
     20003,
     "05000000 01000000 ~'p' 0000 02000000 ~'rf' 00000000 00020000",
     0,
     "14000000",
     {"D/KVTService: KVTTEST: success! currentOperateType:5, filePatch:p, resultFileName:rf, "
      "bufferSize:512"},
     {}},
    {"self-test with nothing",
     20003,
     "",
     0,
     "14000000",
     {"D/KVTService: KVTTEST: success! currentOperateType:0, filePatch:, resultFileName:, "
      "bufferSize:0"},
     {}},
    {"code 0", 0, "", kUnknown, "", {}, {}},
    {"code 20", 20, kToken, kUnknown, "", {}, {}},
    {"code 20001", 20001, "", kUnknown, "", {}, {}},
    {"code 20002", 20002, "", kUnknown, "", {}, {}},
    {"code 30000", 30000, "", kUnknown, "", {}, {}},
};

class Dispatcher : public Phone {
  public:
    status_t send(uint32_t code, const std::string& hex, Bytes* replyBytes = nullptr) {
        Parcel data;
        Parcel reply;
        Fill(&data, FromHex(hex));
        const status_t status = service->transact(code, data, &reply);
        if (replyBytes != nullptr) {
            *replyBytes = BytesOf(reply);
        }
        return status;
    }
};

TEST_F(Dispatcher, ServesEachTransactionByteForByte) {
    start();
    service->result = 7;
    decisions();
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        Bytes reply;
        EXPECT_EQ(send(c.code, c.request, &reply), c.status);
        EXPECT_EQ(reply, FromHex(c.reply));
        EXPECT_EQ(logs.take(), c.logs);
        EXPECT_EQ(service->take(), c.calls);
        EXPECT_THAT(decisions(), IsEmpty()) << "none of these touches the policy";
    }
}

/** What a decision for the launcher that changes no rate logs, after the event's own line. */
const std::vector<std::string> kDecided = {
    "I/KVTService: LcdFpsControl: set lcd finished, tryRefreshNum = 0, lcdFps = 60",
    "I/KVTService: LcdFpsControl: set lcd fps 60Hz, success"};

TEST_F(Dispatcher, AnswersAtOnceButActsOnEventsWhenTheTurnIsOver) {
    start();
    service->result = 7;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        logs.take();
        const bool isEvent = c.code >= SEND_LAYER_TIME_INFO;
        Turn::Take([&] {
            Bytes reply;
            EXPECT_EQ(send(c.code, c.request, &reply), c.status);
            EXPECT_EQ(reply, FromHex(c.reply));
            EXPECT_EQ(logs.take(), c.logs);
            EXPECT_EQ(service->take(), isEvent ? std::vector<std::string>() : c.calls);
        });
        EXPECT_EQ(service->take(), isEvent ? c.calls : std::vector<std::string>());
    }
}

struct PolicyCase {
    const char* name;
    uint32_t code;
    std::string request;
    std::string log;
    bool decides;
    std::function<bool()> stored;
};

const PolicyCase kPolicyCases[] = {
    {"power mode", 7, "04000000", "aps-info: power mode 4", true,
     [] { return FpsCommon::powerMode == 4 && FpsCommon::powerModeSwitch; }},
    {"power mode cut off", 7, "", "aps-info: power mode 0", true,
     [] { return FpsCommon::powerMode == 0 && !FpsCommon::powerModeSwitch; }},
    {"setting", 8, "02000000", "aps-info: lcd setting 2", true,
     [] { return FpsCommon::lcdSetting == 2; }},
    {"setting back", 8, "00000000", "aps-info: lcd setting 0", true,
     [] { return FpsCommon::lcdSetting == 0; }},
    {"limit", 9, "28000000", "aps-info: limited fps 40", false,
     [] { return FpsCommon::limitedGameFps == 40; }},
    {"touch pointer on", 12, "01000000", "aps-info: pointer status: 1", true,
     [] { return FpsCommon::underTpPointerControl.load(); }},
    {"touch pointer off", 12, "00000000", "aps-info: pointer status: 0", true,
     [] { return !FpsCommon::underTpPointerControl; }},
    {"fingerprint", 20000, "01000000 ~'p' 0000 02000000",
     "kvt-fingerprint: packageName: p, status: 2", true,
     [] { return FpsCommon::fingerprintStatus == 2; }},
    {"fingerprint ends", 20000, "01000000 ~'p' 0000 00000000",
     "kvt-fingerprint: packageName: p, status: 0", true,
     [] { return FpsCommon::fingerprintStatus == 0; }},
};

TEST_F(Dispatcher, HandsPolicyEventsOnAndEndsInTheBase) {
    // Every code gives 60 Hz, so that each decision logs the same lines.
    std::string low =
        "<Param name=\"setting_switch\"><setting id=\"2\">"
        "<switch name=\"app_default\" value=\"2\"/></setting></Param>";
    start(ConfigWith(low));
    decisions();
    for (const PolicyCase& c : kPolicyCases) {
        SCOPED_TRACE(c.name);
        Bytes reply;
        EXPECT_EQ(send(c.code, c.request, &reply), kUnknown);
        EXPECT_EQ(reply, Bytes());
        EXPECT_TRUE(c.stored());
        EXPECT_EQ(decisions().size(), c.decides ? 1u : 0u);
        std::vector<std::string> lines = logs.take();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.front(), "I/KVTService: " + c.log);
        lines.erase(lines.begin());
        if (c.decides) {
            ASSERT_EQ(lines.size(), 3u);
            EXPECT_THAT(lines.back(), testing::StartsWith("D/jank-460: #ARG1:fps#pkg:"));
            lines.pop_back();
        }
        EXPECT_EQ(lines, c.decides ? kDecided : std::vector<std::string>{});
        EXPECT_THAT(service->take(), IsEmpty());
    }
}

TEST_F(Dispatcher, CollectsVisiblePackages) {
    start();
    const std::string a = "01000000 ~'a' 0000 ";
    const std::string empty = "00000000 00000000 ";
    const struct {
        const char* name;
        std::string request;
        std::vector<std::string> logs;
        bool handled;
    } cases[] = {
        {"an empty focus drops the message",
         empty + "03000000" + a + a + a,
         {"I/KVTService: aps-info: focus pkgName - , with 3 more apps",
          "I/KVTService: aps-info: visible pkgName 0 - a",
          "I/KVTService: aps-info: visible pkgName 1 - a",
          "I/KVTService: aps-info: visible pkgName 2 - a"},
         false},
        {"a negative count is none",
         a + "fbffffff",
         {"I/KVTService: aps-info: focus pkgName - a, with -5 more apps"},
         true},
        {"duplicates collapse, empty names are logged only",
         a + "03000000" + a + empty + a,
         {"I/KVTService: aps-info: focus pkgName - a, with 3 more apps",
          "I/KVTService: aps-info: visible pkgName 0 - a",
          "I/KVTService: aps-info: visible pkgName 1 - ",
          "I/KVTService: aps-info: visible pkgName 2 - a"},
         true},
        {"a request cut short goes on with empty names",
         a + "02000000" + a,
         {"I/KVTService: aps-info: focus pkgName - a, with 2 more apps",
          "I/KVTService: aps-info: visible pkgName 0 - a",
          "I/KVTService: aps-info: visible pkgName 1 - "},
         true},
        {"nothing at all",
         "",
         {"I/KVTService: aps-info: focus pkgName - , with 0 more apps"},
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(send(10, c.request), kUnknown);
        std::vector<std::string> lines = logs.take();
        ASSERT_GE(lines.size(), c.logs.size());
        const bool handled = lines.size() > c.logs.size();
        EXPECT_EQ(handled, c.handled);
        if (handled) {
            EXPECT_EQ(lines[c.logs.size()], "I/KVTService: aps-info: new pkgName - a");
        }
        lines.resize(c.logs.size());
        EXPECT_EQ(lines, c.logs);
    }
    MutexLock lock(FpsCommon::decisionMutex);
    EXPECT_THAT(FpsCommon::visibleAppSet, testing::UnorderedElementsAre("a"));
}

TEST_F(Dispatcher, ReadsNamesUpToTheFirstZeroCharacter) {
    start();
    send(10, "03000000 ~'a' 0000 ~'b' 0000  00000000");
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "a");
    send(10, "02000000 e400 2d4e 0000 0000  00000000");
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "\xc3\xa4\xe4\xb8\xad");
}

TEST_F(Dispatcher, SurvivesACountThatPromisesTheWorld) {
    start();
    send(10, "01000000 ~'a' 0000 ffffff7f");
    EXPECT_LT(logs.take().size(), 2000u);
}

TEST_F(Dispatcher, SurvivesEveryTruncationOfEveryRequest) {
    start();
    const auto truncate = [this](uint32_t code, const std::string& request) {
        const Bytes whole = FromHex(request);
        for (size_t length = 0; length < whole.size(); length += 4) {
            Parcel data;
            Parcel reply;
            Fill(&data, Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)));
            service->transact(code, data, &reply);
        }
    };
    for (const Case& c : kCases) {
        truncate(c.code, c.request);
    }
    for (const PolicyCase& c : kPolicyCases) {
        truncate(c.code, c.request);
    }
    truncate(PACKAGES, "01000000 ~'a' 0000 02000000 01000000 ~'b' 0000 01000000 ~'c' 0000");
}

TEST_F(Dispatcher, LeavesBuiltInCodesToTheBase) {
    Bytes reply;
    EXPECT_EQ(send('_' << 24 | 'N' << 16 | 'T' << 8 | 'F', "", &reply), 0);
    EXPECT_EQ(reply, FromHex("0a000000 ~'KVTService' 00000000"));
    EXPECT_EQ(send('_' << 24 | 'P' << 16 | 'N' << 8 | 'G', "", &reply), 0);
    EXPECT_EQ(reply, FromHex("00000000"));
}

TEST(Interface, KeepsTheFirstDefaultImplementationAndNeverUsesIt) {
    EXPECT_FALSE(IKVTService::setDefaultImpl(nullptr));
    EXPECT_EQ(IKVTService::getDefaultImpl(), nullptr);
    // Owned by the slot alone, not by references, hence the lifetime.
    struct Owned : RecordingService {
        Owned() { extendObjectLifetime(OBJECT_LIFETIME_WEAK); }
    };
    auto* first = new Owned;
    EXPECT_TRUE(IKVTService::setDefaultImpl(std::unique_ptr<IKVTService>(first)));
    auto second = std::make_unique<Owned>();
    EXPECT_FALSE(IKVTService::setDefaultImpl(std::move(second)));
    EXPECT_FALSE(IKVTService::setDefaultImpl(nullptr));
    EXPECT_EQ(IKVTService::getDefaultImpl().get(), first);
    EXPECT_EQ(IKVTService::asInterface(nullptr), nullptr);
}

}  // namespace
}  // namespace KVT
