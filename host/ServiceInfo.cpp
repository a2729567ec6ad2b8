// SPDX-License-Identifier: Apache-2.0
#include "host/ServiceInfo.h"

#include <unistd.h>

#include "common/Dumper.h"
#include "common/Paths.h"

namespace KVT {

void ServiceInfo::setConfigState(const std::string& state, uint32_t reading) {
    MutexLock lock(mMutex);
    mConfigState = state;
    if (mRefusedReading <= reading) {
        mConfigRefused.clear();
    }
}

void ServiceInfo::setConfigRefused(const std::string& refusal, uint32_t reading) {
    MutexLock lock(mMutex);
    mConfigRefused = refusal;
    mRefusedReading = reading;
}

std::string ServiceInfo::configState() {
    MutexLock lock(mMutex);
    return mConfigRefused.empty() ? mConfigState : mConfigRefused + " (" + mConfigState + ")";
}

void ServiceInfo::dump(Dumper* dumper) {
    dumper->section("service");
    dumper->value("version", KVT_VERSION);
    dumper->value("pid", int64_t{getpid()});
    dumper->seconds("uptime", BootTimeNow() - mStart);
    dumper->value("config_file", GetPaths().configFile);
    dumper->value("config_state", configState());
}

}  // namespace KVT
