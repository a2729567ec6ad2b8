// SPDX-License-Identifier: Apache-2.0
#include "linux/Properties.h"

#include <android-base/file.h>
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace KVT {
namespace {

std::string Read(const char* name, const char* fallback) {
    char value[PROPERTY_VALUE_MAX];
    const int length = property_get(name, value, fallback);
    EXPECT_EQ(length, static_cast<int>(std::string(value).size()));
    return value;
}

void ExpectPhoneRules() {
    EXPECT_EQ(Read("persist.a", "none"), "none");
    EXPECT_EQ(property_set("persist.a", "1"), 0);
    EXPECT_EQ(Read("persist.a", "none"), "1");
    EXPECT_EQ(property_set("persist.a", ""), 0);
    EXPECT_EQ(Read("persist.a", "none"), "none") << "an empty value reads as the default";
    EXPECT_EQ(property_set("ro.a", "first"), 0);
    EXPECT_NE(property_set("ro.a", "second"), 0);
    EXPECT_EQ(Read("ro.a", ""), "first");
    EXPECT_EQ(property_set("persist.long", std::string(91, 'x').c_str()), 0);
    EXPECT_NE(property_set("persist.long", std::string(92, 'y').c_str()), 0);
    EXPECT_EQ(Read("persist.long", ""), std::string(91, 'x'));
    EXPECT_NE(property_set("../escape", "1"), 0);
    EXPECT_EQ(Read("../escape", "none"), "none");
}

TEST(Properties, FollowThePhonesRulesInMemory) {
    ExpectPhoneRules();
}

TEST(Properties, FollowThePhonesRulesInAFolder) {
    TemporaryDir folder;
    setenv("KVT_PROPERTY_DIR", folder.path, 1);
    ExpectPhoneRules();
    ASSERT_TRUE(android::base::WriteStringToFile("by hand\n", std::string(folder.path) + "/sys.b"));
    EXPECT_EQ(Read("sys.b", ""), "by hand");
}

TEST(Properties, AreFilesAndNothingThatBlocks) {
    TemporaryDir folder;
    UsePropertyFolder(folder.path);
    const std::string path = std::string(folder.path) + "/sys.";
    const std::string fresh = path + "fresh.new." + std::to_string(getpid());
    ASSERT_EQ(mkfifo((path + "fifo").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(fresh.c_str(), 0600), 0);
    ASSERT_EQ(mkdir((path + "folder").c_str(), 0700), 0);
    ASSERT_EQ(symlink("/dev/zero", (path + "device").c_str()), 0);
    for (const char* name : {"sys.fifo", "sys.folder", "sys.device"}) {
        EXPECT_EQ(Read(name, "none"), "none") << name;
    }
    for (const char* name : {"sys.fifo", "sys.fresh"}) {
        EXPECT_EQ(property_set(name, "1"), 0);
        EXPECT_EQ(Read(name, "none"), "1") << name;
    }
    EXPECT_NE(property_set("sys.folder", "1"), 0);
}

TEST(Properties, CoerceBooleans) {
    const struct {
        const char* text;
        bool whenTrueIsDefault;
        bool whenFalseIsDefault;
    } cases[] = {{"1", true, true},     {"true", true, true},  {"on", true, true},
                 {"0", false, false},   {"no", false, false},  {"off", false, false},
                 {" off", true, false}, {"TRUE", true, false}, {"", true, false}};
    for (const auto& c : cases) {
        property_set("persist.b", c.text);
        EXPECT_EQ(property_get_bool("persist.b", 1), c.whenTrueIsDefault) << c.text;
        EXPECT_EQ(property_get_bool("persist.b", 0), c.whenFalseIsDefault) << c.text;
    }
}

}  // namespace
}  // namespace KVT
