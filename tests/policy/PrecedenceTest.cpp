// SPDX-License-Identifier: Apache-2.0
// Which rule decides when several scenes hold, against a statement of the precedence that is
// written down here.
#include <android-base/file.h>
#include <android-base/strings.h>
#include <gmock/gmock.h>

#include <set>

#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::Contains;
using testing::IsEmpty;

struct Scene {
    const char* rule;
    int32_t hz;
    void (*set)(PolicySnapshot& s);
};

// Most important first.
const Scene kScenes[] = {
    {"display-hotplug", 60, [](auto& s) { s.underDisplayHotplugControl = true; }},
    {"virtual-display", 60, [](auto& s) { s.virtualDisplayStatus = 1; }},
    {"touch-pointer", 60, [](auto& s) { s.underTpPointerControl = true; }},
    {"power-saving", 60, [](auto& s) { s.powerModeSwitch = true; }},
    {"video-call", 60, [](auto& s) { s.underWechatVideoScene = true; }},
    {"full-video", 60, [](auto& s) { s.underFullVideoScene = true; }},
    {"gpu-composition", 60, [](auto& s) { s.gpuCompositionStatus = 1; }},
    {"gpu-composition-count", 60, [](auto& s) { s.gpuCompositionCount = 1; }},
    {"fingerprint-low", 60, [](auto& s) { s.fingerprintStatus = 2; }},
    {"compatibility-test", 60, [](auto& s) { s.ctsTestCount = 1; }},
    {"multi-app-forced", 60, [](auto& s) { s.underMultiAppStatus = 2; }},
    {"fingerprint-high", 90, [](auto& s) { s.fingerprintStatus = 1; }},
    {"multi-app-mixed", 90, [](auto& s) { s.underMultiAppStatus = 1; }},
};

std::string RuleFor(const PolicySnapshot& state) {
    const std::optional<Decision> decision = DecideByScene(state);
    return decision ? decision->rule->name + (" " + std::to_string(decision->rate)) : "";
}

TEST(Precedence, LetsTheMoreImportantOfTwoScenesDecide) {
    EXPECT_EQ(RuleFor({}), "");
    for (const Scene& first : kScenes) {
        for (const Scene* second = &first; second != std::end(kScenes); ++second) {
            PolicySnapshot state;
            second->set(state);
            first.set(state);  // last, as two of them may be states of one input
            EXPECT_EQ(RuleFor(state), first.rule + (" " + std::to_string(first.hz)))
                << "with " << second->rule;
        }
    }
}

TEST(Precedence, KnowsWhereAScenesInputBeginsToCount) {
    const struct {
        int32_t PolicySnapshot::*input;
        int32_t value;
        const char* rule;  // empty: does not count
    } cases[] = {
        {&PolicySnapshot::virtualDisplayStatus, -2, ""},  // stray removals
        {&PolicySnapshot::virtualDisplayStatus, 3, "virtual-display 60"},
        {&PolicySnapshot::gpuCompositionStatus, 2, ""},
        {&PolicySnapshot::gpuCompositionStatus, -1, ""},
        {&PolicySnapshot::gpuCompositionCountLimit, 0, "gpu-composition-count 60"},
        {&PolicySnapshot::ctsTestCount, 2, "compatibility-test 60"},
        {&PolicySnapshot::ctsTestCount, -1, ""},
    };
    for (const auto& c : cases) {
        PolicySnapshot state;
        state.*c.input = c.value;
        EXPECT_EQ(RuleFor(state), c.rule) << &c - cases;
    }
}

class Unlock : public Phone {};

// It is granted only when nothing else has a say, a mix of applications included, which would get
// the same rate.
TEST_F(Unlock, IsRefusedInAnyOtherScene) {
    start();
    decisions();
    for (const Scene& scene : kScenes) {
        PolicySnapshot state;
        scene.set(state);
        if (state.fingerprintStatus != 0) {
            continue;  // an unlock itself
        }
        for (const int32_t status : {1, 2}) {
            SCOPED_TRACE(scene.rule);
#define KVT_STORE(type, name, key) FpsCommon::name = state.name;
            KVT_SCENE_INPUTS(KVT_STORE)
#undef KVT_STORE
            framework.fingerprint("com.example.pay", status);
            EXPECT_THAT(decisions(), IsEmpty());
            EXPECT_THAT(logs.take(),
                        Contains("I/KVTService: kvt-fingerprint: under control by others"));
            EXPECT_EQ(FpsCommon::fingerprintStatus, status) << "kept for later";
        }
    }
}

/** Expects a line with this beginning and this end behind the last one that was found. */
void ExpectRow(std::string& document, const std::string& begin, const std::string& end) {
    const size_t row = document.find("\n" + begin);
    ASSERT_NE(row, std::string::npos) << begin << " is not in its place";
    document.erase(0, row + 1);
    EXPECT_TRUE(android::base::EndsWith(document.substr(0, document.find('\n')), end)) << begin;
}

// README lists all rules, with their rates and meanings; the other document those that a
// configuration has a say in.
TEST(Rules, AreTheOnesThatTheDocumentsList) {
    std::string readme, configuration;
    ASSERT_TRUE(android::base::ReadFileToString(KVT_SOURCE_DIR "/README.md", &readme));
    ASSERT_TRUE(
        android::base::ReadFileToString(KVT_SOURCE_DIR "/docs/configuration.md", &configuration));
    for (const Rule& rule : Rules()) {
        const std::string name = rule.name;
        const bool byCode = rule.rate == kRateByCode;
        const std::string hz = byCode ? "by its code" : std::to_string(rule.rate);
        if (!byCode) {
            ExpectRow(readme, "| " + name + " ", "| " + hz + " | " + rule.when + " |");
        }
        if (configuration.find("| `" + name + "` ") != std::string::npos || byCode) {
            ExpectRow(configuration, "| `" + name + "` ", "| " + hz + " |");
        }
    }
}

// A rule that no scene brings about, or an input that no scene needs, has been forgotten above.
TEST(Rules, HaveAScene) {
    std::set<std::string> rules = {"game-code", "app-code"};
    PolicySnapshot all;
    for (const Scene& scene : kScenes) {
        rules.insert(scene.rule);
        scene.set(all);
    }
    for (const Rule& rule : Rules()) {
        EXPECT_EQ(rules.count(rule.name), 1u) << rule.name;
    }
#define KVT_IS_SET(type, name, key) EXPECT_NE(all.name, type{}) << key;
    KVT_SCENE_INPUTS(KVT_IS_SET)
#undef KVT_IS_SET
}

}  // namespace
}  // namespace KVT
