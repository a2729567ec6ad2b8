// SPDX-License-Identifier: Apache-2.0
// Every transaction: what the proxy sends, and the answer, the log and the effect it has.
#include <android-base/strings.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <tuple>

#include "common/Turn.h"
#include "service/Transactions.h"
#include "tests/support/Bytes.h"
#include "tests/support/Phone.h"
#include "tests/support/Remote.h"

namespace KVT {
namespace {

using android::Parcel;
using android::sp;
using android::status_t;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr status_t kUnknown = android::UNKNOWN_TRANSACTION;
constexpr status_t kDenied = -1;
constexpr status_t kBadValue = -22;

const std::string kOtherToken = "00 00 00 80  ff ff ff ff  0a 00 00 00 ~'KVTServicf' 00 00 00 00 ";
const std::string kNullBinder = "85 2a 62 73 13 01 00 00" + std::string(32, '0');
const std::string kA = "01000000 ~'a' 0000 ";
const std::string kB = "01000000 ~'b' 0000 ";
const std::string kEmpty = "00000000 00000000 ";
constexpr const char* kNoException = "00000000";
/** No reply, and the status of the base binder. */
constexpr const char* kBase = nullptr;

/** A whole request, and what comes of it. */
struct Exchange {
    uint32_t code;
    /** Whether the request begins with the interface token; the fields follow. */
    bool token;
    std::string fields;
    const char* reply;
    /** Without the tag. */
    std::vector<std::string> logs = {};
    /** The service's operation that is called, and whose proxy sends this request. */
    void (*call)(IKVTService&) = nullptr;
    /** Of the policy's inputs. */
    std::vector<std::string> changes = {};

    Bytes request() const { return FromHex((token ? kServiceToken : "") + fields); }
    Answer answer() const {
        return reply == kBase ? Answer(kUnknown, {}) : Answer(android::OK, FromHex(reply));
    }
    std::vector<std::string> logLines() const {
        std::vector<std::string> lines;
        for (const std::string& log : logs) {
            lines.push_back(log.substr(0, 2) + "KVTService: " + log.substr(2));
        }
        return lines;
    }
    std::vector<std::string> effects() const {
        if (call == nullptr) {
            return changes;
        }
        const sp<RecordingService> called = new RecordingService;
        call(*called);
        return called->take();
    }
};

void SendFrame(IKVTService& service, LayerTimeInfo info) {
    service.SendLayerTimeInfo(info);
}

// clang-format off
const Exchange kExchanges[] = {
    // code, token, fields, reply, logs, call or changes; whoever changes an input also restores it
    {1, true, kNullBinder, "07000000", {"D/itapo into BnKVTService::RegisterListener"},
        [](IKVTService& s) { s.RegisterListener(nullptr); }},
    {2, false, kNullBinder, "07000000", {}, [](IKVTService& s) { s.UnRegisterListener(nullptr); }},
    {3, false, "01000000 02000000 03000000 03000000 61010000 62000000 63000000", kBase,
        {"D/kvt currentPackageName = abc", "D/kvt appType = 1 appState = 2 gameMode = 3"}},
    {3, false, "01000000 02000000 03000000 00000000", kBase,
        {"D/kvt Pkgname read fail!", "D/kvt appType = 1 appState = 2 gameMode = 3"}},
    {4, false, "fbffffff", kBase, {"D/kvt getThermalInfo tempLevel = -5"}},
    {5, false, "", "5a000000", {"I/aps-info: get lcd max fps: 90"}},
    {6, false, "", "01000000", {"I/aps-info: get lcd new scheme supported: 1"}},
    {7, false, "04000000", kBase, {"I/aps-info: power mode 4"},
        nullptr, {"mode 4", "power_saving 1", "decided"}},
    {7, false, "00000000", kBase, {"I/aps-info: power mode 0"},
        nullptr, {"mode 0", "power_saving 0", "decided"}},
    {8, false, "02000000", kBase, {"I/aps-info: lcd setting 2"}, nullptr, {"setting 2", "decided"}},
    {8, false, "00000000", kBase, {"I/aps-info: lcd setting 0"}, nullptr, {"setting 0", "decided"}},
    {9, false, "28000000", kBase, {"I/aps-info: limited fps 40"}, nullptr, {"limit 40"}},
    {9, false, "ffffffff", kBase, {"I/aps-info: limited fps -1"}, nullptr, {"limit -1"}},
    // Duplicates collapse, and empty names are only logged.
    {10, false, kA + "03000000" + kA + kEmpty + kA, kBase,
        {"I/aps-info: focus pkgName - a, with 3 more apps", "I/aps-info: visible pkgName 0 - a",
         "I/aps-info: visible pkgName 1 - ", "I/aps-info: visible pkgName 2 - a"},
        nullptr, {"front a", "visible a", "decided"}},
    // An empty focus drops the message.
    {10, false, kEmpty + "02000000" + kA + kB, kBase,
        {"I/aps-info: focus pkgName - , with 2 more apps", "I/aps-info: visible pkgName 0 - a",
         "I/aps-info: visible pkgName 1 - b"}},
    // A negative count is none.
    {10, false, kB + "fbffffff", kBase, {"I/aps-info: focus pkgName - b, with -5 more apps"},
        nullptr, {"front b", "visible ", "decided"}},
    // What is cut off reads as empty names, and the event still counts.
    {10, false, kB + "02000000" + kB, kBase,
        {"I/aps-info: focus pkgName - b, with 2 more apps", "I/aps-info: visible pkgName 0 - b",
         "I/aps-info: visible pkgName 1 - "},
        nullptr, {"visible b", "decided"}},
    {11, false, "25000000", kBase, {"I/aps-info: temperature 37"}},
    {12, false, "01000000", kBase, {"I/aps-info: pointer status: 1"},
        nullptr, {"touch_pointer 1", "decided"}},
    {12, false, "00000000", kBase, {"I/aps-info: pointer status: 0"},
        nullptr, {"touch_pointer 0", "decided"}},
    {13, false, "01000000", kBase, {"I/aps-info: full video status: 1"}},
    {14, true, "'layer#0' 00  15cd5b0700000000 01000000", kNoException, {},
        [](IKVTService& s) { SendFrame(s, {"layer#0", 123456789, true}); }},
    {14, true, "'layer#1' 00  ffffffffffffffff 00000000", kNoException, {},
        [](IKVTService& s) { SendFrame(s, {"layer#1", -1, false}); }},
    {15, true, "01000000", kNoException, {}, [](IKVTService& s) { s.SetLcdEvent(1); }},
    {16, true, "feffffffffffffff", kNoException, {},
        [](IKVTService& s) { s.NotifyFrameRefresh(-2); }},
    {17, true, "01000000", kNoException, {"I/SF-KVT: display hotplug: 1"},
        [](IKVTService& s) { s.NotifyDisplayHotplugEvent(1); }},
    {18, true, "00000000", kNoException, {"I/SF-KVT: virtual display: 0"},
        [](IKVTService& s) { s.NotifyVirtualDisplayEvent(0); }},
    {19, true, "ffffffff", kNoException, {"I/Gpu-KVT: Gpu composition status: -1"},
        [](IKVTService& s) { s.NotifyGpuCompositionEvent(-1); }},
    {20000, false, kA + "02000000", kBase, {"I/kvt-fingerprint: packageName: a, status: 2"},
        nullptr, {"fingerprint 2", "decided"}},
    {20000, false, kA + "00000000", kBase, {"I/kvt-fingerprint: packageName: a, status: 0"},
        nullptr, {"fingerprint 0", "decided"}},
    {20003, false, "05000000" + kA + kB + "00020000", "14000000",
        {"D/KVTTEST: success! currentOperateType:5, filePatch:a, resultFileName:b, "
         "bufferSize:512"}},
};
// clang-format on

std::map<std::string, std::string> PolicyInputs() {
    MutexLock lock(FpsCommon::decisionMutex);
    std::map<std::string, std::string> inputs = {
        {"mode", std::to_string(FpsCommon::powerMode.load())},
        {"setting", std::to_string(FpsCommon::lcdSetting.load())},
        {"limit", std::to_string(FpsCommon::limitedGameFps.load())},
        {"front", FpsCommon::CurrentPkgName()},
        {"visible", android::base::Join(FpsCommon::visibleAppSet, ' ')}};
#define KVT_INPUT(type, name, key) inputs[key] = std::to_string(FpsCommon::name.load());
    KVT_SCENE_INPUTS(KVT_INPUT)
#undef KVT_INPUT
    return inputs;
}

class Dispatcher : public Phone {
  public:
    void SetUp() override {
        start();
        service->result = 7;
        effects();
    }

    Answer send(uint32_t code, const Bytes& request) { return Transact(service, code, request); }

    /** What was called, changed and decided since the last call. */
    std::vector<std::string> effects() {
        std::vector<std::string> found = service->take();
        for (const auto& [name, value] : PolicyInputs()) {
            if (std::exchange(mInputs[name], value) != value) {
                found.push_back(name + " " + value);
            }
        }
        found.resize(found.size() + decisions().size(), "decided");
        return found;
    }

  private:
    std::map<std::string, std::string> mInputs;
};

TEST_F(Dispatcher, AnswersAtOnceButActsOnEventsWhenTheTurnIsOver) {
    for (const Bytes& ignored : {Bytes{}, Bytes{0xde, 0xad, 0xbe, 0xef}}) {
        for (const Exchange& e : kExchanges) {
            SCOPED_TRACE(std::to_string(e.code) + ": " + e.fields);
            Bytes request = e.request();
            request.insert(request.end(), ignored.begin(), ignored.end());
            const bool isEvent = e.code > UNREGISTER_LISTENER;
            settle();
            Turn::Take([&] {
                EXPECT_EQ(send(e.code, request), e.answer());
                EXPECT_EQ(logs.take(), e.logLines());
                EXPECT_EQ(effects(), isEvent ? std::vector<std::string>() : e.effects());
            });
            EXPECT_EQ(effects(), isEvent ? e.effects() : std::vector<std::string>());
        }
    }
}

TEST_F(Dispatcher, RefusesWhatLacksTheToken) {
    for (const Exchange& e : kExchanges) {
        if (!e.token) {
            continue;
        }
        SCOPED_TRACE(e.code);
        std::vector<Bytes> requests = {FromHex(kOtherToken + e.fields), FromHex(e.fields)};
        const Bytes token = FromHex(kServiceToken);
        for (auto end = token.begin(); end != token.end(); end += 4) {
            requests.emplace_back(token.begin(), end);
        }
        for (const Bytes& request : requests) {
            EXPECT_EQ(send(e.code, request), Answer(kDenied, {}));
            EXPECT_EQ(logs.take(),
                      e.code == REGISTER_LISTENER ? e.logLines() : std::vector<std::string>());
            EXPECT_THAT(effects(), IsEmpty());
        }
    }
}

TEST_F(Dispatcher, ReadsWhatIsCutOffAsZero) {
    const auto outcome = [this](uint32_t code, const Bytes& request) {
        settle();
        std::tuple<Answer, std::vector<std::string>> answer;
        Turn::Take([&] { answer = {send(code, request), logs.take()}; });
        return std::tuple(answer, service->take());
    };
    for (const Exchange& e : kExchanges) {
        const bool isFrame = e.code == SEND_LAYER_TIME_INFO;
        const size_t whole = e.request().size();
        size_t length = e.token ? FromHex(kServiceToken).size() : 0;
        length += isFrame ? FromHex("'layer#0' 00").size() : 0;  // without it there is no frame
        size_t step = isFrame || e.code == NOTIFY_FRAME_REFRESH ? 8 : 4;  // half a time is none
        for (; length < whole; length += std::exchange(step, 4)) {
            SCOPED_TRACE(std::to_string(e.code) + " of " + std::to_string(length) + " bytes");
            Bytes request = e.request();
            request.resize(length);
            const auto cut = outcome(e.code, request);
            request.resize(whole, 0);
            EXPECT_EQ(cut, outcome(e.code, request));
        }
    }
    send(POWER_MODE, FromHex("04000000"));
    effects();
    send(POWER_MODE, {});
    EXPECT_THAT(effects(), ElementsAre("mode 0", "power_saving 0", "decided")) << "acted on";
}

TEST_F(Dispatcher, RefusesAFrameWithoutALayer) {
    for (const char* name : {"", "'laye'"}) {
        EXPECT_EQ(send(SEND_LAYER_TIME_INFO, FromHex(std::string(kServiceToken) + name)),
                  Answer(kBadValue, {}));
        EXPECT_THAT(logs.take(), ElementsAre("E/KVTService: fps-come: readLayerName is nullptr!!"));
        EXPECT_THAT(effects(), IsEmpty());
    }
}

TEST_F(Dispatcher, ReadsNamesUpToTheFirstZeroCharacter) {
    send(PACKAGES, FromHex("03000000 ~'a' 0000 ~'b' 0000  00000000"));
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "a");
    send(PACKAGES, FromHex("02000000 e400 2d4e 0000 0000  00000000"));
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "\xc3\xa4\xe4\xb8\xad");
}

TEST_F(Dispatcher, SurvivesACountThatPromisesTheWorld) {
    send(PACKAGES, FromHex(kA + "ffffff7f"));
    EXPECT_LT(logs.take().size(), 2000u);
    send(APPLICATION_STATE, FromHex("01000000 02000000 03000000 ffffff7f 61000000"));
    EXPECT_EQ(logs.take().front(), "D/KVTService: kvt currentPackageName = a");
}

TEST_F(Dispatcher, IsTestedWithEveryTransaction) {
    std::set<uint32_t> tested;
    for (const Exchange& e : kExchanges) {
        tested.insert(e.code);
    }
    for (const TransactionInfo& each : Transactions()) {
        EXPECT_EQ(tested.count(each.code), 1u) << each.name;
    }
}

TEST_F(Dispatcher, LeavesOtherCodesToTheBase) {
    for (const uint32_t code : {0u, 20u, 20001u, 20002u, 30000u}) {
        EXPECT_EQ(send(code, FromHex(kServiceToken)), Answer(kUnknown, {}));
    }
    EXPECT_EQ(send('_' << 24 | 'N' << 16 | 'T' << 8 | 'F', {}),
              Answer(android::OK, FromHex("0a000000 ~'KVTService' 00000000")));
    EXPECT_EQ(send('_' << 24 | 'P' << 16 | 'N' << 8 | 'G', {}),
              Answer(android::OK, FromHex("00000000")));
    EXPECT_THAT(logs.take(), IsEmpty());
    EXPECT_THAT(effects(), IsEmpty());
}

TEST_F(Dispatcher, ServesTheProxy) {
    for (const Exchange& e : kExchanges) {
        if (e.call == nullptr) {
            continue;
        }
        const sp<Remote> remote =
            new Remote([&](uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
                EXPECT_EQ(code, e.code);
                EXPECT_EQ(BytesOf(data), e.request());
                EXPECT_EQ(flags, android::IBinder::FLAG_ONEWAY);
                return service->transact(code, data, reply, flags);
            });
        settle();
        e.call(*IKVTService::asInterface(remote));
        EXPECT_EQ(effects(), e.effects());
        std::vector<std::string> lines = e.logLines();
        if (e.code == REGISTER_LISTENER) {
            lines.insert(lines.begin(), "D/KVTService: KVT into BpKVTService::RegisterListener");
        }
        EXPECT_EQ(logs.take(), lines);
    }
}

TEST(ListenerInterface, ChecksTokensAndReportsRates) {
    struct Listener : BnKVTListener {
        std::vector<int32_t> heard;
        void NotifyGameFpsToAps(int32_t fps) override { heard.push_back(fps); }
    };
    const sp<Listener> listener = new Listener;
    const std::string token = "00 00 00 80  ff ff ff ff  0b 00 00 00 ~'KVTListener' 00 00 ";
    const std::string another = kServiceToken;
    const std::string rate = "5a000000";
    const struct {
        uint32_t code;
        std::string request;
        status_t status;
    } cases[] = {
        {0, token, kUnknown}, {1, token, 0},    {1, another, kDenied},
        {2, token, 0},        {2, "", kDenied}, {3, another + rate, kDenied},
        {3, token + rate, 0}, {3, token, 0},    {4, token, kUnknown},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.code) + ": " + c.request);
        EXPECT_EQ(Transact(listener, c.code, FromHex(c.request)), Answer(c.status, {}));
    }
    EXPECT_THAT(std::exchange(listener->heard, {}), ElementsAre(90, 0));
    const sp<Remote> remote =
        new Remote([&](uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
            EXPECT_EQ(BytesOf(data), FromHex(token + rate));
            EXPECT_EQ(flags, android::IBinder::FLAG_ONEWAY);
            return listener->transact(code, data, reply, flags);
        });
    IKVTListener::asInterface(remote)->NotifyGameFpsToAps(90);
    EXPECT_THAT(listener->heard, ElementsAre(90));
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
    EXPECT_FALSE(IKVTService::setDefaultImpl(std::make_unique<Owned>()));
    EXPECT_FALSE(IKVTService::setDefaultImpl(nullptr));
    EXPECT_EQ(IKVTService::getDefaultImpl().get(), first);
    EXPECT_EQ(IKVTService::asInterface(nullptr), nullptr);
}

}  // namespace
}  // namespace KVT
