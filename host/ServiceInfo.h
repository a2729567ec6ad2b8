// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "sync/Clock.h"
#include "sync/Mutex.h"

namespace KVT {

class Dumper;

/** Which service this is, and with which configuration it runs. Any thread; leaf lock. */
class ServiceInfo {
  public:
    /**
     * What became of the configuration file, in words for people.
     * @param reading counts how often it was read again; what was refused in a later one stays known
     */
    void setConfigState(const std::string& state, uint32_t reading = 0) EXCLUDES(mMutex);
    /** Why a later one did not take its place. */
    void setConfigRefused(const std::string& refusal, uint32_t reading) EXCLUDES(mMutex);
    /** Both in one line. */
    std::string configState() EXCLUDES(mMutex);

    /** The section "service". */
    void dump(Dumper* dumper) EXCLUDES(mMutex);

  private:
    const int64_t mStart = BootTimeNow();
    Mutex mMutex;
    std::string mConfigState GUARDED_BY(mMutex) = "not read yet";
    std::string mConfigRefused GUARDED_BY(mMutex);
    uint32_t mRefusedReading GUARDED_BY(mMutex) = 0;
};

}  // namespace KVT
