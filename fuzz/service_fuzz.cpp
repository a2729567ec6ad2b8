// SPDX-License-Identifier: Apache-2.0
// The dispatcher with the whole service behind it, among peers that fail, hang, go, come back and
// call in the middle of being called. After each transaction the invariants must hold.
#include <android/log.h>
#include <binder/IServiceManager.h>
#include <cutils/properties.h>
#include <fcntl.h>

#include <csignal>
#include <functional>
#include <iterator>
#include <memory>
#include <thread>

#include "common/KnownPackages.h"
#include "common/Paths.h"
#include "common/Turn.h"
#include "detect/GameFpsDetect.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzListener.h"
#include "fuzz/FuzzPeers.h"
#include "fuzz/OneLife.h"
#include "host/FrameworkClient.h"
#include "host/KVTServiceImpl.h"
#include "policy/FpsCommon.h"
#include "service/RegistrationResult.h"
#include "sim/Invariants.h"
#include "sync/virtual/VirtualTime.h"

namespace KVT::fuzz {
namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::status_t;
using android::String16;
using sim::Invariants;

constexpr const char* kGame = "com.tencent.tmgp.pubgmhd";
constexpr const char* kPackages[] = {
    kLauncher,          "app.fixed",
    "app.high",         "app.touch",
    "app.touch.other",  kGame,
    "game.dynamic",     "game.const",
    "android.view.cts", "net.kishonti.gfxbench.vulkan.v50000.corporate"};
constexpr const char* kLayers[] = {
    "SurfaceView - com.tencent.tmgp.pubgmhd/com.epicgames.ue4.GameActivity#0",
    "SurfaceView - game.dynamic/Main#0", "SurfaceView - game.const/Main#0", "app.touch/Main#0", ""};
constexpr int32_t kCodes[] = {2, 9, 3, 0, 1, 4, 5, 6};

/** Until a change of the panel has succeeded or failed. */
constexpr int64_t kSettleNs = 200 * kNsPerMs;
constexpr int64_t kLongRestNs = 12 * kNsPerS;

String16 Utf16(const std::string& text) {
    return String16(text.c_str(), text.size());
}

class Life {
  public:
    Life(const uint8_t* data, size_t size) : mInput(data, size) {}

    void play() {
        signal(SIGPIPE, SIG_IGN);
        VirtualTime::Enter({});
        SetPaths({"/nonexistent", "/dev/null"});
        configure();
        mPeers.publish([this] { nest(); });
        FpsCommon::Init();
        GameFpsDetect::GetInstance()->AttachService(mService);
        mInvariants = std::make_unique<Invariants>(mPeers.phone);
        if (!mPeersAreGood) {
            mInvariants->onPeerFault();
        }
        for (int step = 0; step < kMostSteps && !mInput.empty(); ++step) {
            act();
            look();
        }
        mPeers.recover();
        SleepFor(kLongRestNs);
        mLately = Invariants::Lately::kNothing;
        requireInvariants();
    }

  private:
    static constexpr int kMostSteps = 128;

    // ---- Before the start ----

    void configure() {
        static constexpr const char* kSwitches[] = {"0", "0", "0", "0", "60", "90", "-1"};
        property_set("persist.dynamicfps.switch", mInput.pickFrom(kSwitches));
        property_set("persist.sys.smart_power", std::to_string(mInput.pick(3)).c_str());
        property_set("persist.sys.zr_screen_freq", std::to_string(mInput.pick(4)).c_str());
        ConfigTables& tables = FpsCommon::tables;
        for (const char* name : {"app_default", "game_default", "app_perceptible_switch",
                                 "app_imperceptible_switch", "game_perceptible_switch"}) {
            const int32_t code = mInput.pickFrom(kCodes);
            tables.settingSwitchMap[0][name] = code;
            mPeersAreGood = mPeersAreGood && (code < 5 || code == 9);  // no panel shows the others
        }
        tables.appPkgFilterMap["app_pkg_perceptible_list"].insert("app.high");
        tables.appPkgFilterMap["app_pkg_imperceptible_list"].insert("app.touch");
        tables.gameFilterMap["game_pkg_perceptible_list"].insert("game.const");
        tables.gpuCompositionSwitch = mInput.pick(4) != 0;
        tables.gpuCompositionCountLimit = static_cast<int32_t>(1 + mInput.pick(3));
        tables.multiAppLcdFpsSwitch = mInput.pick(3) == 0;
        for (const char* game : {kGame, "game.dynamic", "game.const"}) {
            mPeers.phone.classifier->setType(game, kTypeGame);
        }
        sim::FakePanel::Behaviour panel;
        panel.rates = {"60n", "30", "60", "90", "120"};
        static constexpr int32_t kPatience[] = {0, 0, 1, 3, 8, 12, sim::FakePanel::kNever};
        panel.obeysAfter = mInput.pickFrom(kPatience);
        panel.normal = mInput.pick(4) == 1 ? "60n" : "60";
        mPeersAreGood =
            mPeersAreGood && panel.normal == "60" && panel.obeysAfter >= 0 && panel.obeysAfter < 9;
        mPeers.phone.panel->behave(panel);
    }

    // ---- What happens ----

    void act() {
        const std::function<void()> deeds[] = {
            [this] { sendPackages(); }, [this] { sendPackages(); }, [this] { sendValue(); },
            [this] { sendValue(); },    [this] { sendFields(); },   [this] { sendBytes(); },
            [this] { sendFrames(); },   [this] { touch(); },        [this] { SleepFor(pause()); },
            [this] { listen(); },       [this] { disturb(); },      [this] { sendFingerprint(); },
            [this] { happenHere(); },
        };
        mInput.pickFrom(deeds)();
    }

    /** In the middle of a call of the service to a peer. */
    void nest() {
        constexpr int kDeepest = 3;
        // The service's own threads call peers as well; the rest is this one's.
        if (std::this_thread::get_id() == mThread && mInvariants != nullptr && mNested < kDeepest &&
            mInput.pick(4) == 1) {
            ++mNested;
            act();
            --mNested;
            mLately = Invariants::Lately::kManyEvents;
        }
    }

    int64_t pause() {
        static constexpr int64_t kPauses[] = {1, 20 * kNsPerMs, kNsPerS, 6 * kNsPerS};
        return mInput.pickFrom(kPauses);
    }

    std::string package() {
        const size_t chosen = mInput.pick(std::size(kPackages) + 1);
        return chosen < std::size(kPackages) ? kPackages[chosen] : mInput.text();
    }

    void sendPackages() {
        std::vector<std::string> visible;
        const std::string focus = package();
        for (size_t count = mInput.pick(4); count > 0; --count) {
            visible.push_back(package());
        }
        FrameworkClient(mService).packages(focus, visible);
    }

    void sendFingerprint() {
        const std::string pkg = mInput.pick(2) == 0 ? "com.android.systemui" : package();
        FrameworkClient(mService).fingerprint(pkg, static_cast<int32_t>(mInput.pick(4)));
    }

    const TransactionInfo* transaction() {
        const Rows<TransactionInfo> rows = Transactions();
        return rows.begin() + mInput.pick(static_cast<size_t>(rows.end() - rows.begin()));
    }

    /** An event that is one number, with the token that it wants or another one. */
    void sendValue() {
        const TransactionInfo* row = transaction();
        Parcel data;
        const bool isTokenRight = writeToken(*row, &data);
        data.writeInt32(mInput.pick(8) == 7 ? mInput.take<int32_t>()
                                            : static_cast<int32_t>(mInput.pick(5)) - 1);
        send(*row, data, isTokenRight);
    }

    /** Any transaction, with the fields that its description names, or one of them missing. */
    void sendFields() {
        const TransactionInfo* row = transaction();
        Parcel data;
        const bool isTokenRight = writeToken(*row, &data);
        const std::string request = row->request;
        for (size_t begin = 0; begin != std::string::npos;) {
            writeField(request.substr(begin), &data);
            begin = request.find(", ", begin);
            begin = begin == std::string::npos ? begin : begin + 2;
        }
        send(*row, data, isTokenRight);
    }

    void writeField(const std::string& field, Parcel* data) {
        const auto is = [&field](const char* type) { return field.rfind(type, 0) == 0; };
        if (mInput.pick(16) == 1) {
            return;
        }
        if (is("int32")) {
            data->writeInt32(mInput.pick(4) == 1 ? mInput.take<int32_t>()
                                                 : static_cast<int32_t>(mInput.pick(4)));
        } else if (is("int64")) {
            data->writeInt64(mInput.take<int64_t>());
        } else if (is("bool")) {
            data->writeBool(mInput.pick(2) == 1);
        } else if (is("String16")) {
            data->writeString16(Utf16(package()));
        } else if (is("C string")) {
            data->writeCString(mInput.text().c_str());
        } else if (is("strong binder")) {
            writeBinder(data);
        } else if (is("count")) {
            for (size_t count = mInput.pick(8); count > 0; --count) {
                data->writeString16(Utf16(package()));
            }
        }
    }

    /** Whatever it is: codes, flags, objects and descriptors among bytes. */
    void sendBytes() {
        static constexpr uint32_t kBuiltIn[] = {IBinder::PING_TRANSACTION,
                                                IBinder::DUMP_TRANSACTION,
                                                IBinder::SHELL_COMMAND_TRANSACTION,
                                                IBinder::INTERFACE_TRANSACTION,
                                                IBinder::SYSPROPS_TRANSACTION,
                                                FINGERPRINT,
                                                SELF_TEST};
        const uint32_t code = mInput.pick(2) == 0   ? static_cast<uint32_t>(mInput.pick(24))
                              : mInput.pick(8) != 7 ? mInput.pickFrom(kBuiltIn)
                                                    : mInput.take<uint32_t>();
        Parcel data;
        if (mInput.pick(2) == 0) {
            data.writeInterfaceToken(IKVTService::descriptor);
        }
        for (size_t parts = mInput.pick(4); parts > 0; --parts) {
            if (mInput.pick(3) == 0) {
                writeBinder(&data);
            } else if (mInput.pick(3) == 0) {
                data.writeFileDescriptor(open("/dev/null", O_WRONLY | O_CLOEXEC), true);
            }
            const std::string bytes = mInput.text();
            data.write(bytes.data(), bytes.size());
        }
        Parcel reply;
        const uint32_t flags = mInput.pick(2) == 0 ? 0 : uint32_t{IBinder::FLAG_ONEWAY};
        mService->transact(code, data, mInput.pick(4) == 3 ? nullptr : &reply, flags);
        mListenerCount = mService->listenerCount();
    }

    /** @return whether it is the one that the transaction wants */
    bool writeToken(const TransactionInfo& row, Parcel* data) {
        if (!row.checksToken) {
            return true;
        }
        const bool right = mInput.pick(2) == 0;
        data->writeInterfaceToken(right ? IKVTService::descriptor : String16("KVTListener"));
        return right;
    }

    void writeBinder(Parcel* data) {
        const size_t chosen = mInput.pick(std::size(mListeners) + 2);
        if (chosen < std::size(mListeners)) {
            data->writeStrongBinder(android::IInterface::asBinder(mListeners[chosen]));
        } else {
            data->writeStrongBinder(chosen == std::size(mListeners) ? nullptr
                                                                    : new android::BBinder);
        }
    }

    void send(const TransactionInfo& row, const Parcel& data, bool isTokenRight) {
        Parcel reply;
        const status_t status = mService->transact(row.code, data, &reply);
        if (!isTokenRight) {
            Require(status == android::PERMISSION_DENIED && reply.dataSize() == 0,
                    "a request with another token was served");
        }
        mListenerCount = mService->listenerCount();
    }

    void sendFrames() {
        static constexpr int64_t kLengthsNs[] = {11'111'111, 16'666'666, 25'000'000};
        LayerTimeInfo info{mInput.pickFrom(kLayers), 0, mInput.pick(8) == 1};
        const int64_t length = mInput.pickFrom(kLengthsNs);
        for (size_t frames = mInput.take<uint8_t>(); frames > 0; --frames) {
            SleepFor(length);
            info.timestamp = MonotonicNow();
            mCompositor->SendLayerTimeInfo(info);
        }
        mLately = Invariants::Lately::kManyEvents;
    }

    void touch() {
        mCompositor->SetLcdEvent(mInput.pick(2) == 0 ? 1 : 0);
        if (mInput.pick(2) == 0) {
            mCompositor->NotifyFrameRefresh(MonotonicNow());
        }
    }

    /** Listeners register, leave and die. */
    void listen() {
        sp<Listener>& listener = mInput.pickFrom(mListeners);
        const size_t before = mService->listenerCount();
        switch (mInput.pick(4)) {
            case 0:
                mService->UnRegisterListener(listener);
                break;
            case 1:
                listener->die();
                listener = new Listener;
                break;
            default:
                mService->RegisterListener(listener);
                mService->RegisterListener(listener);
        }
        const size_t after = mService->listenerCount();
        Require(after <= before + 1 && before <= after + 1, "more than one listener came or went");
        mListenerCount = after;
    }

    /** What no transaction leads to. */
    void happenHere() {
        const size_t what = mInput.pick(4);
        const auto value = static_cast<int32_t>(mInput.pick(3));
        const std::string pkg = package();
        Turn::Take([=] {
            switch (what) {
                case 0:
                    return FpsCommon::RecoverLcd();
                case 1:
                    return FpsCommon::SetLcdLowDownByWechatVideoScene(value != 0);
                case 2:
                    return FpsCommon::OnFullVideoStatusReceived(value);
                default:
                    return FpsCommon::OnGameExitReceived(pkg, 0);
            }
        });
    }

    void disturb() {
        if (mPeers.disturb(mInput)) {
            mInvariants->onPeerFault();
        }
    }

    // ---- What must hold ----

    void look() {
        if (mInput.pick(4) == 3) {
            mLately = Invariants::Lately::kManyEvents;  // the next one comes at once
            return;
        }
        SleepFor(kSettleNs + mPeers.longestChangeNs());
        requireInvariants();
        mLately = Invariants::Lately::kOneEvent;
    }

    void requireInvariants() {
        VirtualTime::Settle();
        for (const std::string& rule : mInvariants->violated(mLately)) {
            Require(false, rule.c_str());
        }
        Require(mService->listenerCount() == mListenerCount, "a listener came or went by itself");
    }

    FuzzInput mInput;
    const std::thread::id mThread = std::this_thread::get_id();
    Peers& mPeers = *new Peers;  // the check threads live to the end, and so does what they call
    const sp<KVTServiceImpl> mService = new KVTServiceImpl;
    const sp<IKVTService> mCompositor = new BpKVTService(mService);
    std::unique_ptr<Invariants> mInvariants;
    Invariants::Lately mLately = Invariants::Lately::kOneEvent;
    sp<Listener> mListeners[4] = {new Listener, new Listener, new Listener, new Listener};
    size_t mListenerCount = 0;
    bool mPeersAreGood = true;
    int mNested = 0;
};

}  // namespace
}  // namespace KVT::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    KVT::fuzz::PlayALife([=] { KVT::fuzz::Life(data, size).play(); });
    return 0;
}
