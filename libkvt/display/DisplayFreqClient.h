// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/RefBase.h>

#include <atomic>
#include <cstdint>
#include <list>
#include <string>
#include <unordered_map>

#include "sync/Mutex.h"

namespace android {

/**
 * What the panel can do and what it does, as the display service describes it. Rates are texts, in
 * Hz ("60", "90"); "60n" is the normal 60 Hz mode of some panels, another mode than "60".
 *
 * The list of rates is read once, when the object is made; only the current rate is read again.
 * SetFreq is called by one thread at a time, the rest by any.
 */
class DisplayFreqClient : public RefBase {
  public:
    DisplayFreqClient();
    ~DisplayFreqClient() override = default;

    /** Reads the panel's current rate; empty when the service or its answer is not usable. */
    std::string GetCurrentFreq();
    std::string GetDefaultFreq() const { return defaultFps; }
    std::list<std::string> GetAllFreq() const { return supportFpsList; }
    /** The rate listed last, which need not be the highest; "60" when none is listed. */
    std::string GetMaxFreq() const;
    /** Whether the description was complete, and no call has failed since. */
    bool IsDynamicFreq() const { return dynamicFreq; }

    /**
     * Asks for another rate. On a panel whose default is "60n" it stays there unless `highFreqOn`.
     *
     * @param freq a rate without a number in the service's table selects "60n"
     * @return 0 when the service accepted the request, else -1
     */
    int32_t SetFreq(const std::string& freq, bool highFreqOn);

  private:
    void CreateFreqsMap();
    std::string GetLcdNodeInfo();
    void GetSupportedFreq();
    bool GetCurrentFps();

    std::atomic<bool> dynamicFreq{false};
    std::string defaultFps = "60";
    bool defaultIs60n = false;
    std::unordered_map<std::string, int32_t> freqsMap;
    std::list<std::string> supportFpsList;

    KVT::Mutex mCurrentMutex;
    std::string currentFps GUARDED_BY(mCurrentMutex) = "60";
};

}  // namespace android
