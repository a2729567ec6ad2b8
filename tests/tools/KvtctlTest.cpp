// SPDX-License-Identifier: Apache-2.0
#include <binder/IServiceManager.h>
#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <vector>

#include "service/IKVTService.h"
#include "sync/virtual/VirtualTime.h"
#include "tests/support/Remote.h"
#include "tools/kvtctl/Kvtctl.h"

namespace KVT {
namespace {

using android::status_t;
using testing::HasSubstr;

/** Publishes a service whose every answer is the same status. */
void PublishService(status_t status) {
    android::defaultServiceManager()->addService(
        IKVTService::descriptor,
        new Remote([status](uint32_t, const android::Parcel&, android::Parcel*, uint32_t) {
            return status;
        }));
}

int Call(const std::vector<const char*>& args, std::string* out, const ctl::Process& process = {}) {
    std::vector<const char*> argv = {"kvtctl"};
    argv.insert(argv.end(), args.begin(), args.end());
    std::ostringstream stream;
    const int status =
        ctl::Run(static_cast<int>(argv.size()), argv.data(), stream, stream, process);
    *out = stream.str();
    return status;
}

TEST(KvtctlCalls, NamesWhatIsWrongWithACommandLine) {
    const struct {
        std::vector<const char*> args;
        const char* line;
    } cases[] = {
        {{}, "A subcommand is required"},
        {{"packagse", "a"}, "not expected: packagse"},
        {{"config", "chekc"}, "not expected: chekc"},
        {{"packages", ""}, "FOCUS: must not be empty"},
        {{"fingerprint", "", "1"}, "PACKAGE: must not be empty"},
        {{"setting", "3"}, "Value 3 not in range 0 to 2"},
        {{"watch", "--for", "10000000000"}, "--for: Value 10000000000 not in range 1 to 86400"},
    };
    for (const auto& c : cases) {
        std::string out;
        EXPECT_EQ(Call(c.args, &out), ctl::kUsage) << c.line;
        EXPECT_THAT(out, HasSubstr(c.line));
    }
}

TEST(KvtctlCalls, LeavesItToTheLogThatThereIsNoDriver) {
    std::string out;
    EXPECT_EQ(Call({"status"}, &out, {[] { return false; }}), ctl::kRefused);
    EXPECT_EQ(out, "");
}

TEST(KvtctlCalls, SaysWhyACallFailed) {
    const struct {
        status_t status;
        const char* text;
    } cases[] = {
        {android::DEAD_OBJECT, "the call failed: the service died\n"},
        {android::FAILED_TRANSACTION, "the call failed: the driver refused it\n"},
        {android::UNKNOWN_ERROR, "the call failed: the service could not do it\n"},
        {android::BAD_VALUE, "the call failed: Invalid argument (-22)\n"},
    };
    for (const auto& c : cases) {
        PublishService(c.status);
        for (const std::vector<const char*>& args :
             {std::vector<const char*>{"max-rate"}, {"power-mode", "4"}, {"touch", "1"}}) {
            std::string out;
            EXPECT_EQ(Call(args, &out), ctl::kRefused);
            EXPECT_EQ(out, std::string("kvtctl: ") + c.text);
        }
    }
}

TEST(KvtctlCalls, TellsThatAnEventOfTheCompositorFailed) {
    VirtualTime::Enter({});
    PublishService(android::OK);
    ctl::Process process;
    for (const std::vector<const char*>& args :
         {std::vector<const char*>{"refresh"}, {"watch", "--for", "1"}}) {
        for (const bool fails : {false, true}) {
            process.takeFailure = [fails] { return fails; };
            std::string out;
            EXPECT_EQ(Call(args, &out, process), fails ? ctl::kRefused : ctl::kDone);
            EXPECT_EQ(out.empty(), !fails) << out;
        }
    }
}

}  // namespace
}  // namespace KVT
