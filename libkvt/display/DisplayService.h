// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hidl/HidlSupport.h>
#include <utils/Singleton.h>
#include <vendor/norvik/hardware/zrdisplay/1.1/IDisplay.h>

#include "sync/Mutex.h"

namespace android {

/**
 * The connection to the display hardware service: made on first use, made again whenever it is
 * asked for while there is none. Any thread; the calls themselves are made outside the lock.
 */
class DisplayService : public Singleton<DisplayService> {
  public:
    using IDisplay = vendor::norvik::hardware::zrdisplay::V1_1::IDisplay;

    /** @return the service, or null when it can not be connected to */
    sp<IDisplay> GetDisplayService() EXCLUDES(lock);

    /** Forgets the connection, so that the next use makes a new one. */
    void DisplayServiceDied() EXCLUDES(lock);

  private:
    friend class Singleton<DisplayService>;
    DisplayService();

    void ConnectLocked() REQUIRES(lock);

    KVT::Mutex lock;
    sp<IDisplay> service GUARDED_BY(lock);
    /** Stays empty: the connection is renewed when it is missing, never because of a death. */
    sp<hardware::hidl_death_recipient> deathRecipient GUARDED_BY(lock);
};

}  // namespace android
