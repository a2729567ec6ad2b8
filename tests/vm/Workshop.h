// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>

namespace KVT::test {

/** What a workshop does, and its requests and replies. */
enum Work : uint32_t {
    kEcho = 1,  // any fields -> the same bytes
    kBounce,    // binder, int32 times -> int32: calls the binder back so many times, nested
    kAppend,    // int32; keeps it
    kAppended,  // -> int32 count, the values in the order of arrival
    kPid,       // -> int32 pid of the workshop
    kWriteTo,   // descriptor; writes "hello" to it
    kMake,      // -> binder of a new object
    kAlive,     // -> int32: how many made objects live
    kKeep,      // binder; holds it until the next one, null included
    kReturn,    // binder -> binder, the same
    kFail,      // int32 status: that is the status of the call
    kMeet,      // int32 n; waits until n calls wait together
    kBig,       // int32 n -> n bytes
};

/** A service to play with. */
android::sp<android::IBinder> NewWorkshop();

/** Publishes a workshop under `name` and serves until killed. */
void RunWorkshop(const char* name);

/** The service of that name, waited for; a failed expectation when it does not come. */
android::sp<android::IBinder> Find(const char* name);

/** The service manager, waited for. */
android::sp<android::IServiceManager> Manager();

/** One synchronous call with at most one int32 in the request. */
android::Parcel& Call(const android::sp<android::IBinder>& target, uint32_t code,
                      android::Parcel* reply, int32_t argument = 0);

}  // namespace KVT::test
