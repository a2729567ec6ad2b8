// SPDX-License-Identifier: Apache-2.0
// Which rule decides when several scenes hold: the whole cross product, against a statement of the
// precedence that is written down here.
#include <android-base/file.h>
#include <android-base/strings.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>

#include "tests/support/Phone.h"

namespace KVT {
namespace {

struct Scene {
    std::string rule;  // its name, as the dump prints it
    std::function<void(bool on)> set;
};

// Two inputs have three states: fingerprint (idle, high, low) and multi-application (single, mixed,
// forced). Their states stand among the other scenes, the low ones before both high ones.
const char* const kFingerprintRules[] = {"", "fingerprint-high", "fingerprint-low"};
const char* const kMultiAppRules[] = {"", "multi-app-mixed", "multi-app-forced"};

// Most important first. All before kFirstHigh hold 60 Hz, the others 90.
const std::vector<std::string> kPrecedence = {
    "display-hotplug", "virtual-display",    "touch-pointer",    "power-saving",
    "video-call",      "full-video",         "gpu-composition",  "gpu-composition-count",
    "fingerprint-low", "compatibility-test", "multi-app-forced", "fingerprint-high",
    "multi-app-mixed",
};
const std::string kFirstHigh = "fingerprint-high";

size_t RankOf(const std::string& rule) {
    return static_cast<size_t>(std::find(kPrecedence.begin(), kPrecedence.end(), rule) -
                               kPrecedence.begin());
}

class Precedence : public Phone {
  public:
    static constexpr int32_t kLimit = 2;
    static constexpr const char* kGame = "com.example.game";

    // Three of the scenes come as side effects of other events; those are stored directly.
    const std::vector<Scene> scenes = {
        {"compatibility-test", [](bool on) { FpsCommon::ctsTestCount = on ? 1 : 0; }},
        {"display-hotplug", [](bool on) { FpsCommon::OnDisplayHotplugEventReceived(on); }},
        {"full-video", [](bool on) { FpsCommon::OnFullVideoStatusReceived(on); }},
        {"gpu-composition", [](bool on) { FpsCommon::gpuCompositionStatus = on ? 1 : 0; }},
        {"gpu-composition-count",
         [](bool on) { FpsCommon::gpuCompositionCount = on ? kLimit : kLimit - 1; }},
        {"power-saving", [this](bool on) { framework.send(POWER_MODE, on ? 4 : 2); }},
        {"touch-pointer", [this](bool on) { framework.send(TOUCH_POINTER, on); }},
        {"video-call", [](bool on) { FpsCommon::SetLcdLowDownByWechatVideoScene(on); }},
        {"virtual-display", [](bool on) { FpsCommon::OnVirtualDisplayEventReceived(on); }},
    };

    /** A game at 90 Hz with its strategy, so that every scene has something to end. */
    void startGame() {
        type(kGame, kTypeGame);
        start(ConfigWith(
            R"(<Param name="setting_switch"><setting id="0"><switch name="game_default" value="3"/>
               </setting></Param><Param name="SF_composition_config">
               <sf_param name="app_penalty_count" value="2"/></Param>)"));
        focus(kGame);
        set(0, 0, 0);
    }

    /** Brings the scenes whose bits are set into force, and no other. */
    void set(unsigned bits, int32_t fingerprint, int32_t multiApp) {
        FpsCommon::fingerprintStatus = fingerprint;
        FpsCommon::underMultiAppStatus = multiApp;
        for (size_t i = 0; i < scenes.size(); ++i) {
            const unsigned bit = 1u << i;
            // Virtual displays are counted, so only changes are sent.
            if ((bits & bit) != (mBits & bit)) {
                scenes[i].set((bits & bit) != 0);
            }
        }
        mBits = bits;
    }

    /** The most important of the scenes in force; empty without one. */
    std::string expectedRule(unsigned bits, int32_t fingerprint, int32_t multiApp) const {
        size_t rank =
            std::min(RankOf(kFingerprintRules[fingerprint]), RankOf(kMultiAppRules[multiApp]));
        for (size_t i = 0; i < scenes.size(); ++i) {
            if ((bits & (1u << i)) != 0) {
                rank = std::min(rank, RankOf(scenes[i].rule));
            }
        }
        return rank < kPrecedence.size() ? kPrecedence[rank] : "";
    }

    template <typename Visit>
    void forEachCombination(Visit visit) {
        for (unsigned bits = 0; bits < 1u << scenes.size(); ++bits) {
            for (int32_t fingerprint = 0; fingerprint < 3; ++fingerprint) {
                for (int32_t multiApp = 0; multiApp < 3; ++multiApp) {
                    SCOPED_TRACE("scenes " + std::to_string(bits) + ", fingerprint " +
                                 std::to_string(fingerprint) + ", multi-application " +
                                 std::to_string(multiApp));
                    visit(bits, fingerprint, multiApp);
                    if (HasFailure()) {
                        return;
                    }
                }
            }
        }
    }

  private:
    unsigned mBits = 0;
};

TEST_F(Precedence, DecidesEveryCombinationByItsMostImportantScene) {
    startGame();
    ASSERT_EQ(scenes.size() + 4, kPrecedence.size());
    int combinations = 0;
    forEachCombination([&](unsigned bits, int32_t fingerprint, int32_t multiApp) {
        ++combinations;
        set(0, 0, 0);
        FpsCommon::DoWithForeAppSwitchInternal();
        ASSERT_EQ(armed(), "const90");
        ASSERT_EQ(panelHz(), 90);

        set(bits, fingerprint, multiApp);
        decisions();
        FpsCommon::DoWithForeAppSwitchInternal();
        const std::string rule = expectedRule(bits, fingerprint, multiApp);
        if (rule.empty()) {
            EXPECT_EQ(decisions().back(), "game-const-high game-code 90");
            EXPECT_EQ(armed(), "const90");
            return;
        }
        const int32_t hz = RankOf(rule) < RankOf(kFirstHigh) ? 60 : 90;
        EXPECT_EQ(decisions().back(), "hold " + rule + " " + std::to_string(hz));
        EXPECT_EQ(panelHz(), hz);
        EXPECT_EQ(armed(), "none");
    });
    EXPECT_EQ(combinations, 512 * 9);
}

// An unlock is granted only when nothing else has a say, a mix of applications included, which
// would get the same rate.
TEST_F(Precedence, GrantsAnUnlockOnlyWithoutAnotherScene) {
    startGame();
    forEachCombination([&](unsigned bits, int32_t fingerprint, int32_t multiApp) {
        set(bits, 0, multiApp);
        settle();
        decisions();
        framework.fingerprint("com.example.pay", fingerprint);
        const bool refused = fingerprint != 0 && (bits != 0 || multiApp != 0);
        const std::vector<std::string> made = decisions();
        const std::vector<std::string> lines = logs.take();
        const bool said =
            std::find(lines.begin(), lines.end(),
                      "I/KVTService: kvt-fingerprint: under control by others") != lines.end();
        EXPECT_EQ(made.size(), refused ? 0u : 1u);
        EXPECT_EQ(said, refused);
        EXPECT_EQ(FpsCommon::fingerprintStatus, fingerprint) << "kept for later, granted or not";
        if (fingerprint != 0 && !refused) {
            EXPECT_EQ(made.back(),
                      fingerprint == 1 ? "hold fingerprint-high 90" : "hold fingerprint-low 60");
        }
    });
}

TEST_F(Precedence, KnowsWhereAScenesInputBeginsToCount) {
    const struct {
        const char* name;
        void (*set)(PolicySnapshot& s);
        const char* rule;  // empty: does not count
    } cases[] = {
        {"stray removals of virtual displays", [](auto& s) { s.virtualDisplayStatus = -2; }, ""},
        {"several virtual displays", [](auto& s) { s.virtualDisplayStatus = 3; },
         "virtual-display"},
        {"another GPU composition status", [](auto& s) { s.gpuCompositionStatus = 2; }, ""},
        {"a negative GPU composition status", [](auto& s) { s.gpuCompositionStatus = -1; }, ""},
        {"a limit not reached",
         [](auto& s) {
             s.gpuCompositionCountLimit = 3;
             s.gpuCompositionCount = 2;
         },
         ""},
        {"a limit of nothing", [](auto& s) { s.gpuCompositionCountLimit = 0; },
         "gpu-composition-count"},
        {"a countdown at its start", [](auto& s) { s.ctsTestCount = 2; }, "compatibility-test"},
        {"a countdown below its end", [](auto& s) { s.ctsTestCount = -1; }, ""},
    };
    for (const auto& c : cases) {
        PolicySnapshot state;
        c.set(state);
        const std::optional<Decision> decision = DecideByScene(state);
        EXPECT_EQ(decision.has_value() ? decision->rule->name : "", std::string(c.rule)) << c.name;
    }
}

// Both documents list the rules in their order, with their rates; README also with their meaning.
TEST(Rules, AreTheOnesThatTheDocumentsList) {
    std::string readme, configuration;
    ASSERT_TRUE(android::base::ReadFileToString(KVT_SOURCE_DIR "/README.md", &readme));
    ASSERT_TRUE(
        android::base::ReadFileToString(KVT_SOURCE_DIR "/docs/configuration.md", &configuration));
    std::vector<std::vector<std::string>> documented;  // rows of three cells, trimmed
    for (const std::string& line : android::base::Split(readme + configuration, "\n")) {
        std::vector<std::string> cells = android::base::Split(line, "|");
        if (cells.size() == 5) {
            for (std::string& cell : cells) {
                cell = android::base::Trim(cell);
            }
            documented.push_back({cells[1], cells[2], cells[3]});
        }
    }
    size_t inReadme = 0;
    size_t inConfiguration = 0;
    const auto find = [&](size_t* from, const std::string& name, size_t column,
                          const std::string& rate, const std::string& when) {
        const auto isIt = [&](const std::vector<std::string>& row) {
            return (row[0] == name || row[0] == name + " *") && row[column] == rate &&
                   (when.empty() || row[3 - column] == when);
        };
        while (*from < documented.size() && !isIt(documented[*from])) {
            ++*from;
        }
        EXPECT_LT(*from, documented.size()) << name << " is missing, or not in its place";
    };
    for (const Rule& rule : Rules()) {
        const bool byCode = rule.rate == kRateByCode;
        const std::string hz = byCode ? "by its code" : std::to_string(rule.rate);
        if (!byCode) {
            find(&inReadme, rule.name, 1, hz, rule.when);
        }
        find(&inConfiguration, "`" + std::string(rule.name) + "`", 2, hz, "");
    }
}

}  // namespace
}  // namespace KVT
