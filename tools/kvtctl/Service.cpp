// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/Service.h"

#include <binder/IServiceManager.h>

#include <cstring>
#include <ostream>

#include "service/IKVTService.h"

namespace KVT::ctl {

using android::IBinder;
using android::sp;
using android::status_t;

sp<IBinder> FindService(Context& context) {
    if (!context.process.hasDriver()) {
        context.status = kRefused;  // which has been said already
        return nullptr;
    }
    const auto manager = android::defaultServiceManager();
    if (manager == nullptr) {
        context.err << "kvtctl: there is no service manager to ask for the service\n";
        context.status = kRefused;
        return nullptr;
    }
    sp<IBinder> service = manager->checkService(IKVTService::descriptor);
    if (service == nullptr) {
        context.err << "kvtctl: KVTService is not running\n";
        context.status = kRefused;
    }
    return service;
}

std::string StatusText(status_t status) {
    switch (status) {
        case android::DEAD_OBJECT:
            return "the service died";
        case android::FAILED_TRANSACTION:
            return "the driver refused it";
        case android::UNKNOWN_ERROR:
            return "the service could not do it";
        default:
            return std::string(strerror(-status)) + " (" + std::to_string(status) + ")";
    }
}

bool WithFramework(Context& context,
                   const std::function<status_t(FrameworkClient& framework)>& call) {
    const sp<IBinder> service = FindService(context);
    if (service == nullptr) {
        return false;
    }
    FrameworkClient framework(service);
    const status_t status = call(framework);
    if (status != android::OK) {
        context.err << "kvtctl: the call failed: " << StatusText(status) << "\n";
        context.status = kRefused;
    }
    return status == android::OK;
}

}  // namespace KVT::ctl
