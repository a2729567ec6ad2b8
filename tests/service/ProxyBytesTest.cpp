// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "peers/IKoraCallback.h"
#include "service/IKVTService.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RecordingService.h"

namespace KVT {
namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::status_t;
using testing::ElementsAre;

/** A remote object that notes each call and answers 7. */
class Remote : public android::BBinder {
  public:
    struct Call {
        uint32_t code;
        uint32_t flags;
        Bytes bytes;
        size_t objects;
    };
    std::vector<Call> calls;

  protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        calls.push_back({code, flags, BytesOf(data), data.objectsCount()});
        return reply->writeInt32(7);
    }
};

class Listener : public BnKVTListener {
  public:
    std::vector<int32_t> heard;
    void NotifyGameFpsToAps(int32_t fps) override { heard.push_back(fps); }
};

const std::string kNullBinder = "85 2a 62 73 13 01 00 00" + std::string(32, '0');

TEST(ServiceProxy, SendsTheBytesThatTheServiceReads) {
    const sp<Remote> remote = new Remote;
    const sp<BpKVTService> proxy = new BpKVTService(remote);
    LayerTimeInfo info{"layer#0", 123456789, true};
    const struct {
        uint32_t code;
        std::function<void()> call;
        std::string bytes;
    } cases[] = {
        {1, [&] { EXPECT_EQ(proxy->RegisterListener(nullptr), 0); }, kServiceToken + kNullBinder},
        {2, [&] { EXPECT_EQ(proxy->UnRegisterListener(nullptr), 0); }, kNullBinder},
        {14, [&] { proxy->SendLayerTimeInfo(info); },
         kServiceToken + std::string("'layer#0' 00 15cd5b0700000000 01000000")},
        {15, [&] { proxy->SetLcdEvent(1); }, kServiceToken + std::string("01000000")},
        {16, [&] { proxy->NotifyFrameRefresh(-2); },
         kServiceToken + std::string("feffffffffffffff")},
        {17, [&] { proxy->NotifyDisplayHotplugEvent(1); }, kServiceToken + std::string("01000000")},
        {18, [&] { proxy->NotifyVirtualDisplayEvent(0); }, kServiceToken + std::string("00000000")},
        {19, [&] { proxy->NotifyGpuCompositionEvent(-1); },
         kServiceToken + std::string("ffffffff")},
    };
    LogCapture logs;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        remote->calls.clear();
        c.call();
        ASSERT_EQ(remote->calls.size(), 1u);
        EXPECT_EQ(remote->calls[0].code, c.code);
        EXPECT_EQ(remote->calls[0].flags, IBinder::FLAG_ONEWAY);
        EXPECT_EQ(remote->calls[0].bytes, FromHex(c.bytes));
    }
    EXPECT_THAT(logs.take(), ElementsAre("D/KVTService: KVT into BpKVTService::RegisterListener"));
}

TEST(ServiceProxy, AlwaysAnswersRegistrationsWithZero) {
    const sp<RecordingService> service = new RecordingService;
    service->result = 3;
    const sp<BpKVTService> proxy = new BpKVTService(service);
    const sp<Listener> listener = new Listener;
    EXPECT_EQ(proxy->RegisterListener(listener), 0);
    EXPECT_EQ(proxy->UnRegisterListener(listener), 0);
    EXPECT_THAT(service->take(), ElementsAre("RegisterListener", "UnRegisterListener"));
}

TEST(ServiceProxy, SendsTheListenersBinder) {
    const sp<Remote> remote = new Remote;
    const sp<Listener> listener = new Listener;
    sp<BpKVTService>(new BpKVTService(remote))->RegisterListener(listener);
    ASSERT_EQ(remote->calls.size(), 1u);
    EXPECT_EQ(remote->calls[0].objects, 1u);
}

TEST(ServiceInterface, IsTheObjectItselfInItsOwnProcess) {
    const sp<RecordingService> service = new RecordingService;
    EXPECT_EQ(IKVTService::asInterface(service), service);
    const sp<Remote> remote = new Remote;
    const sp<IKVTService> proxy = IKVTService::asInterface(remote);
    EXPECT_EQ(IKVTService::asBinder(proxy), remote);
}

TEST(ListenerInterface, ChecksTokensAndReportsRates) {
    const sp<Listener> listener = new Listener;
    const std::string token = "00 00 00 80  ff ff ff ff  0b 00 00 00 ~'KVTListener' 00 00 ";
    const struct {
        uint32_t code;
        std::string request;
        status_t status;
        std::vector<int32_t> heard;
    } cases[] = {
        {1, token, 0, {}},
        {2, token, 0, {}},
        {3, token + "5a000000", 0, {90}},
        {3, token, 0, {0}},
        {1, kServiceToken, -1, {}},
        {2, "", -1, {}},
        {3, kServiceToken + std::string("5a000000"), -1, {}},
        {4, token, android::UNKNOWN_TRANSACTION, {}},
        {0, token, android::UNKNOWN_TRANSACTION, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        listener->heard.clear();
        Parcel data;
        Parcel reply;
        Fill(&data, FromHex(c.request));
        EXPECT_EQ(listener->transact(c.code, data, &reply), c.status);
        EXPECT_EQ(reply.dataSize(), 0u);
        EXPECT_EQ(listener->heard, c.heard);
    }
    const sp<Remote> remote = new Remote;
    sp<BpKVTListener>(new BpKVTListener(remote))->NotifyGameFpsToAps(90);
    ASSERT_EQ(remote->calls.size(), 1u);
    EXPECT_EQ(remote->calls[0].code, 3u);
    EXPECT_EQ(remote->calls[0].flags, IBinder::FLAG_ONEWAY);
    EXPECT_EQ(remote->calls[0].bytes, FromHex(token + "5a000000"));
}

TEST(GameSdkInterface, ChecksTokensAndKeepsTheSdksDescriptor) {
    const sp<IKoraCallbackImp> callback = new IKoraCallbackImp;
    const std::string token =
        "00 00 00 80  ff ff ff ff  20 00 00 00 ~'com.norvik.ikora.sdk.ISDKCallbak' 00 00 00 00 ";
    const struct {
        uint32_t code;
        std::string request;
        status_t status;
    } cases[] = {
        {1, token + "02000000 ~'{}' 00000000", 0},
        {1, token, 0},
        {1, kServiceToken, -1},
        {2, token, android::UNKNOWN_TRANSACTION},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.request);
        Parcel data;
        Parcel reply;
        Fill(&data, FromHex(c.request));
        EXPECT_EQ(callback->transact(c.code, data, &reply), c.status);
        EXPECT_EQ(reply.dataSize(), 0u);
    }
}

}  // namespace
}  // namespace KVT
