// SPDX-License-Identifier: Apache-2.0
// Who gets what from the published service, and how much of it.
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <functional>

#include "host/KVTServiceImpl.h"
#include "host/Limits.h"
#include "service/RegistrationResult.h"
#include "tests/support/CallingAs.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using android::BAD_VALUE;
using android::IBinder;
using android::OK;
using android::Parcel;
using android::PERMISSION_DENIED;
using android::sp;
using android::status_t;
using android::String16;
using android::UNKNOWN_TRANSACTION;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr Caller kRoot{0, 1}, kSystem{1000, 2}, kGraphics{1003, 3}, kShell{2000, 4};
constexpr Caller kApp{10057, 5}, kIsolated{99001, 6};

/** Of the service's own process: its death can not be linked to. */
class LocalListener : public BnKVTListener {
  public:
    std::vector<int32_t> heard;
    void NotifyGameFpsToAps(int32_t fps) override { heard.push_back(fps); }
};

using Write = std::function<void(Parcel& data)>;

class Gated : public Phone {
  public:
    status_t call(const Caller& caller, uint32_t code, const Write& write) {
        Parcel data, reply;
        write(data);
        const CallingAs as(caller);
        return impl->transact(code, data, &reply);
    }

    std::string dumped(const Caller& caller = kRoot, status_t expected = OK) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        EXPECT_EQ(call(caller, IBinder::DUMP_TRANSACTION,
                       [&](Parcel& data) { data.writeFileDescriptor(ends[1]); }),
                  expected);
        close(ends[1]);
        std::string text;
        android::base::ReadFdToString(ends[0], &text);
        close(ends[0]);
        return text;
    }

    /** All of a dump but who was refused. */
    std::string state() {
        const std::string text = dumped();
        return text.substr(0, text.find("[refused]"));
    }

    int32_t registerAs(const Caller& caller, const sp<IKVTListener>& added) {
        const CallingAs as(caller);
        return impl->RegisterListener(added);
    }

    sp<KVTServiceImpl> impl = new KVTServiceImpl;
    const sp<LocalListener> listener = new LocalListener;
};

/** A request of each transaction that does something, if it is let in. */
Write Request(const TransactionInfo& row, const sp<IKVTListener>& listener) {
    return [&row, listener](Parcel& data) {
        if (row.checksToken) {
            data.writeInterfaceToken(IKVTService::descriptor);
        }
        switch (row.code) {
            case REGISTER_LISTENER:
            case UNREGISTER_LISTENER:
                data.writeStrongBinder(android::IInterface::asBinder(listener));
                break;
            case PACKAGES:
            case FINGERPRINT:
                data.writeString16(String16("com.example.evil"));
                break;
            case SEND_LAYER_TIME_INFO:
                data.writeCString("layer");
                break;
            default:
                break;
        }
        data.writeInt32(1);
        data.writeInt32(-1);  // of packages the one name, null; of others past the end
    };
}

TEST_F(Gated, LetsEachCallerDoWhatIsItsToDo) {
    start();
    const std::string before = state();
    const std::vector<uint32_t> anyones = {REGISTER_LISTENER, UNREGISTER_LISTENER, GET_MAX_LCD_FPS,
                                           GET_NEW_SCHEME_SUPPORTED, SELF_TEST};
    struct {
        Caller caller;
        bool framework, compositor, dump;
    } const rows[] = {
        {kApp, false, false, false},  {kIsolated, false, false, false},
        {kShell, false, false, true}, {kGraphics, false, true, true},
        {kSystem, true, true, true},  {kRoot, true, true, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.caller.uid);
        for (const TransactionInfo& t : Transactions()) {
            const bool anyone = std::count(anyones.begin(), anyones.end(), t.code) != 0;
            const bool isCompositors = t.code >= SEND_LAYER_TIME_INFO && t.code < FINGERPRINT;
            const bool may = anyone || (isCompositors ? row.compositor : row.framework);
            EXPECT_EQ(call(row.caller, t.code, Request(t, listener)), !may ? PERMISSION_DENIED
                                                                      : t.endsInBase()
                                                                          ? UNKNOWN_TRANSACTION
                                                                          : OK)
                << t.name;
        }
        EXPECT_NE(dumped(row.caller, row.dump ? OK : PERMISSION_DENIED).empty(), row.dump);
        if (!row.framework && !row.compositor) {
            EXPECT_EQ(state(), before);
        }
        EXPECT_EQ(call(row.caller, IBinder::INTERFACE_TRANSACTION, [](Parcel&) {}), OK);
        EXPECT_EQ(call(row.caller, 999, [](Parcel&) {}), UNKNOWN_TRANSACTION);
    }
    EXPECT_THAT(dumped(), HasSubstr("[refused]\nuid 1003=10\nuid 2000=16\n"
                                    "uid 10057=17\nuid 99001=17\n"));
    EXPECT_NE(state(), before) << "the others' events count";
}

TEST_F(Gated, KnowsTheUidsThatItIsToldAndItsOwn) {
    impl = new KVTServiceImpl({{10057}, {99001}, {}});
    const auto send = [this](uid_t uid, uint32_t code) {
        return call({uid, 1}, code, [](Parcel& data) { data.writeInt32(1); }) != PERMISSION_DENIED;
    };
    for (const uid_t uid : {kApp.uid, kIsolated.uid, kSystem.uid, kShell.uid, getuid()}) {
        const bool own = uid == getuid();
        EXPECT_EQ(send(uid, POWER_MODE), own || uid == kApp.uid) << uid;
        EXPECT_EQ(send(uid, IBinder::DUMP_TRANSACTION), own || uid >= kApp.uid) << uid;
    }
}

void Names(Parcel& data, size_t count, const String16& name) {
    data.writeString16(name);
    data.writeInt32(static_cast<int32_t>(count));
    for (size_t i = 0; i < count; ++i) {
        data.writeString16(name);
    }
}

String16 Name(size_t length, char16_t character = u'n') {
    return String16(std::u16string(length, character).c_str(), length);
}

TEST_F(Gated, RefusesWhatIsBeyondALimit) {
    start();
    const auto numbers = [](std::initializer_list<int32_t> values) {
        return [values = std::vector<int32_t>(values)](Parcel& data) {
            for (const int32_t value : values) {
                data.writeInt32(value);
            }
        };
    };
    const auto names = [](size_t count, const String16& name) {
        return [=](Parcel& data) { Names(data, count, name); };
    };
    const auto frame = [](size_t length) {
        return [length](Parcel& data) {
            data.writeInterfaceToken(IKVTService::descriptor);
            data.writeCString(std::string(length, 'n').c_str());
        };
    };
    const auto selfTest = [](size_t length) {
        return [length](Parcel& data) {
            data.writeInt32(0);
            data.writeString16(Name(2));
            data.writeString16(Name(length));
        };
    };
    constexpr status_t kServed = UNKNOWN_TRANSACTION;
    struct {
        const char* what;
        uint32_t code;
        Write write;
        status_t status;
    } const rows[] = {
        {"all that may be", PACKAGES, names(64, Name(255)), kServed},
        {"a package too many", PACKAGES, names(65, Name(1)), BAD_VALUE},
        {"a name too long", PACKAGES, names(1, Name(256)), BAD_VALUE},
        {"as many bytes", PACKAGES, names(1, Name(85, u'\u4e2d')), kServed},
        {"more of them", PACKAGES, names(1, Name(86, u'\u4e2d')), BAD_VALUE},
        {"a text that ends early", PACKAGES, names(1, Name(2000, 0)), kServed},
        {"more than was sent", PACKAGES, numbers({-1, INT32_MAX, 0}), BAD_VALUE},
        {"less than none", PACKAGES, numbers({-1, INT32_MIN, 0}), kServed},
        {"names that are missing", PACKAGES, numbers({-1, 2, 1, 'a', 0}), kServed},
        {"all of them", PACKAGES, numbers({-1, 64}), kServed},
        {"nothing", PACKAGES, numbers({}), kServed},
        {"a long unlock", FINGERPRINT, names(0, Name(256)), BAD_VALUE},
        {"a state", APPLICATION_STATE, numbers({1, 2, 3, 1, 'a'}), kServed},
        {"letters that are missing", APPLICATION_STATE, numbers({1, 2, 3, 2, 'a'}), kServed},
        {"too many letters", APPLICATION_STATE, numbers({1, 2, INT32_MAX, INT32_MAX}), BAD_VALUE},
        {"a number and more", POWER_MODE, names(0, Name(20)), kServed},
        {"a number and much more", POWER_MODE, names(0, Name(200)), BAD_VALUE},
        {"a layer", SEND_LAYER_TIME_INFO, frame(kMostLayerNameBytes), OK},
        {"a long layer", SEND_LAYER_TIME_INFO, frame(2000), BAD_VALUE},
        {"a probe", SELF_TEST, selfTest(255), OK},
        {"a long probe", SELF_TEST, selfTest(256), BAD_VALUE},
        {"a dump's arguments", IBinder::DUMP_TRANSACTION, names(9, Name(255)), BAD_VALUE},
    };
    logs.take();
    int refused = 0;
    for (const auto& row : rows) {
        EXPECT_EQ(call(kRoot, row.code, row.write), row.status) << row.what;
        const size_t lines = logs.take().size();
        if (row.status == BAD_VALUE) {
            EXPECT_EQ(lines, refused++ == 0 ? 1u : 0u) << row.what;
        }
    }
    EXPECT_THAT(dumped(), HasSubstr("[refused]\nuid 0=" + std::to_string(refused) + "\n"));
}

TEST_F(Gated, TellsOfRefusalsOnceAMinute) {
    const auto lines = [this](uid_t uid) {
        call({uid, 0}, POWER_MODE, [](Parcel&) {});
        return logs.take().size();
    };
    logs.take();
    EXPECT_EQ(lines(10057), 1u);
    EXPECT_EQ(lines(10057), 0u);
    EXPECT_EQ(lines(10058), 1u) << "another's";
    SleepFor(60 * kNsPerS);
    EXPECT_EQ(lines(10057), 1u);
    for (uid_t uid = 20000; uid < 30000; ++uid) {
        lines(uid);
    }
    EXPECT_EQ(lines(10057), 0u) << "still known";
    EXPECT_EQ(lines(30000), 0u) << "the rest together";
    const std::string text = dumped();
    EXPECT_EQ(
        std::count(text.begin() + static_cast<ptrdiff_t>(text.find("[refused]")), text.end(), '='),
        65);
    EXPECT_THAT(text, HasSubstr("\nuid 10057=4\n"));
    EXPECT_THAT(text, HasSubstr("\nother uids=9939\n"));
}

TEST_F(Gated, LetsNobodyFillTheLogWithQueries) {
    start();
    const auto served = [this](const Caller& caller) {
        int count = 0;
        for (int i = 0; i < 100; ++i) {
            for (const uint32_t code : {GET_MAX_LCD_FPS, GET_NEW_SCHEME_SUPPORTED, SELF_TEST}) {
                const status_t status = call(caller, code, [](Parcel&) {});
                EXPECT_TRUE(status == OK || status == android::WOULD_BLOCK);
                count += status == OK ? 1 : 0;
            }
        }
        return count;
    };
    logs.take();
    EXPECT_EQ(served(kApp), 60);
    EXPECT_EQ(logs.take().size(), 61u) << "and that it asks too often";
    EXPECT_EQ(served(kIsolated), 60) << "for itself";
    EXPECT_EQ(served(kSystem), 300);
    SleepFor(60 * kNsPerS);
    EXPECT_EQ(served(kApp), 60) << "in another minute";
}

TEST_F(Gated, HasRoomForTheListenersOfEachCaller) {
    std::vector<sp<LocalListener>> all;
    const auto add = [&](const Caller& caller) {
        return registerAs(caller, all.emplace_back(new LocalListener));
    };
    for (size_t i = 0; i < kMostListenersOfCaller; ++i) {
        ASSERT_EQ(add(kApp), REGISTRATION_DONE);
    }
    EXPECT_EQ(add(kApp), REGISTRATION_REFUSED);
    EXPECT_EQ(registerAs(kApp, all[0]), REGISTRATION_DONE) << "is one of them";
    EXPECT_EQ(add({kApp.uid, kApp.pid + 1}), REGISTRATION_REFUSED) << "another process";
    EXPECT_EQ(add(kIsolated), REGISTRATION_DONE);
    impl->UnRegisterListener(all[0]);
    EXPECT_EQ(add(kApp), REGISTRATION_DONE);
    EXPECT_EQ(add(kApp), REGISTRATION_REFUSED);

    for (uid_t uid = 20000; add({uid, 0}) == REGISTRATION_DONE;) {
        uid += all.size() % kMostListenersOfCaller == 0 ? 1 : 0;
    }
    EXPECT_EQ(impl->listenerCount(), kMostListeners - kListenersKeptForTrusted);
    while (add(kSystem) == REGISTRATION_DONE) {
    }
    EXPECT_EQ(impl->listenerCount(), kMostListeners);
    EXPECT_THAT(dumped(), HasSubstr("[refused]\nuid 1000=1\nuid 10057=3\n"));
    impl->ReportGameFps(90);
    EXPECT_THAT(all[1]->heard, ElementsAre(90));
    for (const auto& one : all) {
        impl->UnRegisterListener(one);
    }
    EXPECT_EQ(impl->listenerCount(), 0u);
}

TEST_F(Gated, IsNoListenerOfItsOwn) {
    EXPECT_EQ(call(kApp, REGISTER_LISTENER,
                   [this](Parcel& data) {
                       data.writeInterfaceToken(IKVTService::descriptor);
                       data.writeStrongBinder(impl);
                   }),
              OK);
    impl->ReportGameFps(90);
    const android::wp<KVTServiceImpl> weak = impl;
    impl.clear();
    EXPECT_EQ(weak.promote(), nullptr) << "nobody holds it";
}

}  // namespace
}  // namespace KVT
