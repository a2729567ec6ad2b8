// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "sim/fakes/Journal.h"

namespace KVT::sim {

/** The AI scheduler: notes the messages it gets. */
class FakeSched : public android::BBinder {
  public:
    explicit FakeSched(const android::sp<Journal>& journal) : mJournal(journal) {}

    /** @param fail whether calls fail in the transport from now on */
    void failCalls(bool fail) { mFail = fail; }
    std::vector<std::string> takeMessages() EXCLUDES(mMutex);

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override;

  private:
    const android::sp<Journal> mJournal;
    std::atomic<bool> mFail{false};
    Mutex mMutex;
    std::vector<std::string> mMessages GUARDED_BY(mMutex);
};

/** The performance service: notes the panel rates it is told. */
class FakePerf : public android::BBinder {
  public:
    explicit FakePerf(const android::sp<Journal>& journal) : mJournal(journal) {}

    std::vector<int32_t> takeRates() EXCLUDES(mMutex);

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override;

  private:
    const android::sp<Journal> mJournal;
    Mutex mMutex;
    std::vector<int32_t> mRates GUARDED_BY(mMutex);
};

/** The display engine: notes the panel rates it is told. */
class FakeDisplayEngine : public android::BBinder {
  public:
    std::vector<std::string> takeRates() EXCLUDES(mMutex);

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override;

  private:
    Mutex mMutex;
    std::vector<std::string> mRates GUARDED_BY(mMutex);
};

/** The game SDK: keeps the callbacks that are registered, and sends them reports. */
class FakeGameSdk : public android::BBinder {
  public:
    /** @param result what registrations are answered with: 0 refuses */
    void answer(int32_t result) { mResult = result; }
    /** Subscriptions, oldest first. */
    std::vector<std::string> subscriptions() EXCLUDES(mMutex);
    /** Sends one report to every callback. */
    void report(const std::string& json) EXCLUDES(mMutex);

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override;

  private:
    std::atomic<int32_t> mResult{1};
    Mutex mMutex;
    std::vector<std::pair<std::string, android::sp<android::IBinder>>> mCallbacks
        GUARDED_BY(mMutex);
};

}  // namespace KVT::sim
