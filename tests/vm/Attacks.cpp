// SPDX-License-Identifier: Apache-2.0
#include "tests/vm/Attacks.h"

#include <binder/Binder.h>
#include <binder/Parcel.h>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "service/IKVTService.h"
#include "service/Transactions.h"
#include "sync/Clock.h"
#include "tests/vm/Processes.h"

namespace KVT::test {
namespace {

using namespace android;

constexpr uint32_t kOneWay = IBinder::FLAG_ONEWAY;
constexpr uint32_t kWaits = 0;

/** A name that no other process sends, nor this one again. */
std::u16string FreshName(size_t length) {
    static int count = 0;
    std::u16string name = u"com.evil.";
    for (const char digit : std::to_string(getpid()) + "." + std::to_string(++count)) {
        name.push_back(static_cast<char16_t>(digit));
    }
    name.resize(std::max(length, name.size()), u'x');
    return name;
}

std::vector<std::u16string> FreshNames(size_t count, size_t length) {
    std::vector<std::u16string> names;
    while (names.size() < count) {
        names.push_back(FreshName(length));
    }
    return names;
}

void WriteName(Parcel* data, const std::u16string& name) {
    data->writeString16(String16(name.data(), name.size()));
}

/** All packages are visible, and the first has the focus. */
status_t SendPackages(const sp<IBinder>& service, const std::vector<std::u16string>& names,
                      uint32_t flags) {
    Parcel data;
    Parcel reply;
    WriteName(&data, names.front());
    data.writeInt32(static_cast<int32_t>(names.size()));
    for (const std::u16string& name : names) {
        WriteName(&data, name);
    }
    return service->transact(PACKAGES, data, &reply, flags);
}

void SendFingerprint(const sp<IBinder>& service, const std::u16string& name) {
    constexpr int32_t kWants60Hz = 2;
    Parcel data;
    WriteName(&data, name);
    data.writeInt32(kWants60Hz);
    service->transact(FINGERPRINT, data, nullptr, kOneWay);
}

void SendFrame(const sp<IBinder>& service, const char* layer) {
    Parcel data;
    data.writeInterfaceToken(IKVTService::descriptor);
    data.writeCString(layer);
    data.writeInt64(MonotonicNow());
    data.writeBool(false);
    service->transact(SEND_LAYER_TIME_INFO, data, nullptr, kOneWay);
}

/** Asks for a dump into `fd`, in a request that is longer than it needs to be. */
void Dump(const sp<IBinder>& service, int fd, size_t excess, uint32_t flags) {
    Parcel data;
    Parcel reply;
    data.writeFileDescriptor(fd);
    data.writeInt32(0);
    memset(data.writeInplace(excess), 'x', excess);
    service->transact(IBinder::DUMP_TRANSACTION, data, &reply, flags);
}

/** A counter that takes nothing more, and says that it would. */
int FullCounter() {
    const int counter = eventfd(0, 0);
    const uint64_t most = UINT64_MAX - 1;
    return write(counter, &most, sizeof(most)) == sizeof(most) ? counter : -1;
}

/** A pipe in which no byte has room. */
int FullPipe() {
    int ends[2];
    if (pipe2(ends, O_NONBLOCK) != 0) {
        return -1;
    }
    while (write(ends[1], "xxxxxxxx", 8) > 0) {
    }
    return ends[1];
}

/** A pipe whose reader takes its time. */
int SlowPipe() {
    int ends[2];
    if (pipe(ends) != 0) {
        return -1;
    }
    std::thread([end = ends[0]] {
        char page[4096];
        while (read(end, page, sizeof(page)) > 0) {
            SleepFor(900 * kNsPerMs);
        }
    }).detach();
    return ends[1];
}

void DumpIntoAFullCounter(const sp<IBinder>& service, int process, int) {
    static const int counter = FullCounter();
    Dump(service, counter, 0, process % 2 == 0 ? kOneWay : kWaits);
}

void FillTheReceiveBuffer(const sp<IBinder>& service, int process, int) {
    constexpr size_t kLarge = 300'000;
    static const int full = FullPipe();
    if (process < 2) {
        Dump(service, full, kLarge, kWaits);
    } else if (process == 2) {
        SendPackages(service, FreshNames(40, 1'000), kOneWay);
    } else {
        Parcel junk;
        memset(junk.writeInplace(kLarge / 3), 'x', kLarge / 3);
        service->transact(1'000, junk, nullptr, kOneWay);
    }
}

void ReadSlowly(const sp<IBinder>& service, int process, int blow) {
    static const int slow = SlowPipe();
    if (blow < 60) {
        const std::string layer = std::to_string(process * 60 + blow) + std::string(4'000, 'x');
        SendFrame(service, layer.c_str());
    }
    Dump(service, slow, 0, process % 2 == 0 ? kOneWay : kWaits);
}

void SendLongNames(const sp<IBinder>& service, int process, int blow) {
    const size_t length = (process + blow) % 20 == 0 ? 100'000 : 300;
    if (SendPackages(service, {FreshName(length)}, kOneWay) != OK) {
        SleepFor(kNsPerMs);
    }
}

void SendManyNames(const sp<IBinder>& service, int process, int) {
    if (process == 0) {
        SendPackages(service, FreshNames(12'000, 0), kOneWay);
    } else {
        SendPackages(service, FreshNames(20, 0), kWaits);
    }
}

/** Each state holds until it is taken back, which nobody does. */
void HoldStates(const sp<IBinder>& service, int, int) {
    constexpr struct {
        uint32_t code;
        int32_t value;
    } kStates[] = {
        {POWER_MODE, 4},
        {LCD_SETTING, 0},
        {GAME_FPS_LIMIT, 1},
        {TOUCH_POINTER, 1},
        {NOTIFY_DISPLAY_HOTPLUG, 1},
        {NOTIFY_VIRTUAL_DISPLAY, 1},
        {SET_LCD_EVENT, 1},
        {NOTIFY_GPU_COMPOSITION, 1},
    };
    for (const auto& state : kStates) {
        Parcel data;
        if (FindTransaction(state.code)->checksToken) {
            data.writeInterfaceToken(IKVTService::descriptor);
        }
        data.writeInt32(state.value);
        service->transact(state.code, data, nullptr, kOneWay);
    }
    SendFrame(service, "SurfaceView - com.example.racer/Main#0");
    SendFingerprint(service, u"com.evil");
    SendPackages(service, {u"android.view.cts"}, kOneWay);
    SleepFor(10 * kNsPerMs);
}

void RegisterListeners(const sp<IBinder>& service, int process, int) {
    static std::vector<sp<IBinder>> listeners;
    constexpr size_t kMost = 5'000;
    const size_t atOnce = process == 0 ? 25 : kMost;
    for (size_t i = 0; i < atOnce && listeners.size() < kMost; ++i) {
        listeners.push_back(new BBinder);
        Parcel data;
        Parcel reply;
        data.writeInterfaceToken(IKVTService::descriptor);
        data.writeStrongBinder(listeners.back());
        service->transact(REGISTER_LISTENER, data, &reply, process == 0 ? kOneWay : kWaits);
    }
    if (listeners.size() == kMost) {
        listeners.clear();
    }
}

/** With forged lines, keys and orders to a terminal, and lists that are said to be long. */
void Forge(const sp<IBinder>& service, int, int) {
    const std::u16string forgery =
        u"com.evil\nforged=1\rforged\x1b[2J\u009b31m\u202eforged\u2028\xd800";
    SendPackages(service, {forgery}, kOneWay);
    SendFingerprint(service, forgery);
    SendFrame(service, "confirmed_hz=1\nforged=1 \x1b[2J\xc2\x9b");
    for (const uint32_t code : {PACKAGES, APPLICATION_STATE}) {
        Parcel data;  // as little as has a count at all
        for (const int32_t word : {1, int32_t{'a'}, INT32_MAX, INT32_MAX}) {
            data.writeInt32(word);
        }
        service->transact(code, data, nullptr, kOneWay);
    }
    SleepFor(kNsPerMs);
}

}  // namespace

[[noreturn]] void Strike(const Attack& attack, int process, std::atomic<int>* blows,
                         int64_t pause) {
    // Before it is an isolated process, to which the manager gives nothing; an app may hand it over.
    const sp<IBinder> service = Manager()->getService(IKVTService::descriptor);
    if (setuid(process % 2 == 0 ? kApp : kIsolated) != 0) {
        abort();
    }
    for (int blow = 0;; ++blow) {
        attack.strike(service, process, blow);
        ++*blows;
        SleepFor(pause);
    }
}

const std::vector<Attack>& Attacks() {
    static const std::vector<Attack> attacks = {
        {"FullCounter", 18, DumpIntoAFullCounter},
        {"FullBuffer", 4, FillTheReceiveBuffer},
        {"SlowReaders", 6, ReadSlowly},
        {"LongNames", 2, SendLongNames},
        {"ManyNames", 18, SendManyNames},
        {"States", 1, HoldStates},
        {"Listeners", 2, RegisterListeners},
        {"Forgeries", 1, Forge},
    };
    return attacks;
}

}  // namespace KVT::test
