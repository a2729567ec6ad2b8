// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/Service.h"

#include <android-base/unique_fd.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <ostream>
#include <system_error>
#include <thread>

#include "common/CleanText.h"
#include "service/IKVTService.h"

namespace KVT::ctl {

using android::IBinder;
using android::sp;
using android::status_t;
using android::base::unique_fd;

namespace {

/** The service's dumps have at most 64 kB; whoever else calls itself the service may send on. */
constexpr size_t kMostText = size_t{1} << 20;

/** @return false when there is no end to it */
bool ReadAll(int fd, std::string* text) {
    char bytes[4096];
    ssize_t count;
    while ((count = TEMP_FAILURE_RETRY(read(fd, bytes, sizeof(bytes)))) > 0) {
        text->append(bytes, static_cast<size_t>(count));
        if (text->size() > kMostText) {
            return false;
        }
    }
    return true;
}

/** The service writes into a pipe while it serves the call. */
status_t Dump(const sp<IBinder>& service, const std::vector<std::string>& arguments,
              std::string* text) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return -errno;
    }
    unique_fd readEnd(ends[0]);
    unique_fd writeEnd(ends[1]);
    bool isWhole = false;
    std::thread reader;
    try {
        reader = std::thread([&] {
            isWhole = ReadAll(readEnd.get(), text);
            readEnd.reset();  // who writes on is told
        });
    } catch (const std::system_error&) {
        return android::NO_MEMORY;
    }
    status_t status;
    {
        android::Parcel data;
        data.writeFileDescriptor(writeEnd.get());
        data.writeInt32(static_cast<int32_t>(arguments.size()));
        for (const std::string& argument : arguments) {
            data.writeString16(android::String16(argument.c_str()));
        }
        android::Parcel reply;
        status = service->transact(IBinder::DUMP_TRANSACTION, data, &reply);
    }
    writeEnd.reset();
    reader.join();
    return isWhole ? status : -EFBIG;
}

}  // namespace

sp<IBinder> FindService(Context& context, Deadline deadline) {
    if (!context.process.hasDriver()) {
        context.status = kRefused;  // which has been said already
        return nullptr;
    }
    struct Found {
        bool manager = false;
        sp<IBinder> service;
    };
    const auto found = std::make_shared<Found>();
    const status_t status = CallInTime(deadline, [found] {
        const auto manager = android::defaultServiceManager();
        found->manager = manager != nullptr;
        found->service = found->manager ? manager->checkService(IKVTService::descriptor) : nullptr;
    });
    if (status != android::OK) {
        Complain(context, "asking the service manager", status);
        return nullptr;
    }
    if (found->service == nullptr) {
        context.err << (found->manager
                            ? "kvtctl: KVTService is not running\n"
                            : "kvtctl: there is no service manager to ask for the service\n");
        context.status = kRefused;
    }
    return found->service;
}

std::string StatusText(status_t status) {
    switch (status) {
        case android::DEAD_OBJECT:
            return "the service died";
        case android::FAILED_TRANSACTION:
            return "the driver refused it";
        case android::UNKNOWN_ERROR:
            return "the service could not do it";
        case android::TIMED_OUT:
            return "no answer in time";
        case android::WOULD_BLOCK:
            return "the service is asked too often";
        case -EFBIG:
            return "the answer has no end";
        default:
            return std::string(strerror(-status)) + " (" + std::to_string(status) + ")";
    }
}

void Complain(Context& context, const std::string& what, status_t status) {
    if (status != android::OK) {
        context.err << "kvtctl: " << what << " failed: " << StatusText(status) << "\n";
        context.status = kRefused;
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
    Complain(context, "the call", status);
    return status == android::OK;
}

status_t FetchDump(const sp<IBinder>& service, const std::vector<std::string>& arguments,
                   Deadline deadline, std::string* text) {
    struct Dumped {
        status_t status = android::OK;
        std::string text;
    };
    const auto dumped = std::make_shared<Dumped>();
    const status_t status = CallInTime(deadline, [service, arguments, dumped] {
        dumped->status = Dump(service, arguments, &dumped->text);
    });
    if (status != android::OK) {
        return status;
    }
    *text = CleanText(dumped->text, "=\n");
    return dumped->status;
}

}  // namespace KVT::ctl
