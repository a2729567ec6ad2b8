// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/log.h>
#include <binder/Binder.h>
#include <binder/IServiceManager.h>

#include "linux/vendor/Protocol.h"

namespace KVT {

/** An AI scheduler in this process that counts its messages. */
class LocalScheduler : public android::BBinder {
  public:
    /** Publishes one, and silences the log, which is not what is measured. */
    static android::sp<LocalScheduler> Publish() {
        __android_log_set_logger([](const __android_logger_data*, const char*) {});
        // One for all benchmarks: detection keeps the first that it finds.
        static const android::sp<LocalScheduler> scheduler = new LocalScheduler;
        android::defaultServiceManager()->addService(android::String16(vendor::kSchedService),
                                                     scheduler);
        return scheduler;
    }

    int64_t messages = 0;

  protected:
    android::status_t onTransact(uint32_t, const android::Parcel&, android::Parcel*,
                                 uint32_t) override {
        ++messages;
        return android::OK;
    }
};

}  // namespace KVT
