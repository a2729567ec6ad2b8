// SPDX-License-Identifier: Apache-2.0
#include "host/SoleHost.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <optional>

#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class SoleHostTest : public Phone {
  public:
    const std::string name = "kvt test " + std::to_string(getpid());
};

TEST_F(SoleHostTest, IsWhoCameFirstAndStillLives) {
    std::optional<SoleHost> first(name);
    EXPECT_EQ(first->other(), 0);
    EXPECT_EQ(SoleHost(name).other(), getpid());
    EXPECT_EQ(SoleHost(name + " of another device").other(), 0);
    first.reset();
    EXPECT_EQ(SoleHost(name).other(), 0);
}

TEST_F(SoleHostTest, IsNotKeptFromStartingByWhoOnlyHasTheName) {
    const android::base::unique_fd squatter(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, name.data(), name.size());
    ASSERT_EQ(bind(squatter.get(), reinterpret_cast<sockaddr*>(&address),
                   static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size())),
              0);
    EXPECT_EQ(SoleHost(name).other(), 0);
    EXPECT_THAT(logs.take(), ElementsAre(HasSubstr(name)));
}

TEST_F(SoleHostTest, AsksWhetherWhoIsListedLives) {
    const auto manager = android::defaultServiceManager();
    EXPECT_FALSE(IsServed(manager));
    manager->addService(IKVTService::descriptor, service);
    EXPECT_TRUE(IsServed(manager));
    const VirtualThread death("death", [this] {
        SleepFor(kNsPerS / 2);
        fakes.withdraw("KVTService");
    });
    EXPECT_FALSE(IsServed(manager)) << "it has died a moment ago";
}

}  // namespace
}  // namespace KVT
