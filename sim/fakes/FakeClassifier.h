// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "sync/Mutex.h"

namespace KVT::sim {

/** The classification service, with a table of application types. */
class FakeClassifier : public android::BBinder {
  public:
    void setType(const std::string& pkg, int32_t type) EXCLUDES(mMutex);
    /** @param status of every call, instead of an answer; OK to answer again */
    void failCalls(android::status_t status) EXCLUDES(mMutex);
    /** @param code of the exception that every reply carries; 0 for none */
    void throwException(int32_t code) EXCLUDES(mMutex);
    /** Every call is answered only after this time, and as things are then. */
    void answerAfter(int64_t ns) { mDelayNs = ns; }
    /** How often it was asked about a package. */
    int32_t asked(const std::string& pkg) EXCLUDES(mMutex);

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override;

  private:
    /** Type of a package that nobody told about: some application. */
    static constexpr int32_t kOrdinaryApp = 1;

    std::atomic<int64_t> mDelayNs{0};
    Mutex mMutex;
    std::map<std::string, int32_t> mTypes GUARDED_BY(mMutex);
    std::map<std::string, int32_t> mAsked GUARDED_BY(mMutex);
    android::status_t mStatus GUARDED_BY(mMutex) = android::OK;
    int32_t mException GUARDED_BY(mMutex) = 0;
};

}  // namespace KVT::sim
