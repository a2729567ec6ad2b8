// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Phone.h"
#include "tests/support/Remote.h"
#include "tools/kvtctl/Kvtctl.h"

namespace KVT {

class Kvtctl : public Phone {
  public:
    /** Runs the command and leaves what it wrote in `out` and `err`. */
    int run(const std::vector<std::string>& args, const ctl::Process& process = {}) {
        std::vector<const char*> argv = {"kvtctl"};
        for (const std::string& arg : args) {
            argv.push_back(arg.c_str());
        }
        std::ostringstream outStream;
        std::ostringstream errStream;
        const int status =
            ctl::Run(static_cast<int>(argv.size()), argv.data(), outStream, errStream, process);
        out = outStream.str();
        err = errStream.str();
        return status;
    }

    static void publishService(const android::sp<android::IBinder>& binder) {
        android::defaultServiceManager()->addService(IKVTService::descriptor, binder);
    }
    /** A service whose every answer is the same status. */
    static void publishService(android::status_t status) {
        publishService(new Remote([status](uint32_t, const android::Parcel&, android::Parcel*,
                                           uint32_t) { return status; }));
    }
    /** A service that dumps these texts, one a time, and is dead behind the last one. */
    static void publishDumps(std::vector<std::string> texts) {
        publishService(new Remote([texts = std::move(texts), next = size_t{0}](
                                      uint32_t, const android::Parcel& data, android::Parcel*,
                                      uint32_t) mutable {
            return next < texts.size() &&
                           android::base::WriteStringToFd(texts[next++], data.readFileDescriptor())
                       ? android::OK
                       : android::DEAD_OBJECT;
        }));
    }

    std::string file(const std::string& text) {
        EXPECT_TRUE(android::base::WriteStringToFile(text, path("example.xml")));
        return path("example.xml");
    }

    std::string out;
    std::string err;
};

}  // namespace KVT
