// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>
#include <binder/IServiceManager.h>
#include <sys/types.h>

#include <string>

namespace KVT {

/**
 * Whether this process is the only host of the service. The service manager can not tell: it lists
 * who has published, which is long after the start, and also who has just died, and lets the second
 * take the place of the first.
 *
 * Who comes first has a name of the kernel's, a local socket that no file belongs to, as long as the
 * process lives.
 */
class SoleHost {
  public:
    /** @param name the same for hosts that exclude each other, up to 100 characters */
    explicit SoleHost(const std::string& name);

    /** The process that came first and still lives; 0 for none. */
    pid_t other() const { return mOther; }

  private:
    android::base::unique_fd mName;
    pid_t mOther = 0;
};

/**
 * Whether somebody alive publishes the service. Who died a moment ago is still listed, and takes
 * calls: it has a second to be forgotten.
 */
bool IsServed(const android::sp<android::IServiceManager>& manager);

}  // namespace KVT
