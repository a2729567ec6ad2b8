// SPDX-License-Identifier: Apache-2.0
// Whatever happened before, and in whatever order on however many threads: once all is quiet, the
// panel and the strategies are what a decision on the final state makes them.
#include <gtest/gtest.h>

#include <random>

#include "strategy/AppDynamicFps.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"
#include "sync/Worker.h"
#include "tests/support/MixedPackages.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

constexpr const char* kPackages[] = {"com.norvik.android.launcher",
                                     "app.fixed",
                                     "app.high",
                                     "app.touch.a",
                                     "app.touch.b",
                                     "game.dynamic",
                                     "game.const",
                                     "game.plain",
                                     "android.view.cts"};

/** One random event of the framework. */
void SendRandomEvent(FrameworkClient& framework, std::mt19937_64& random) {
    const auto below = [&random](uint64_t bound) { return static_cast<int32_t>(random() % bound); };
    const auto anyPackage = [&] { return kPackages[below(std::size(kPackages))]; };
    const std::pair<uint32_t, int32_t> numbers[] = {{POWER_MODE, below(6)},
                                                    {LCD_SETTING, below(4)},
                                                    {GAME_FPS_LIMIT, below(3) * 40 - 1},
                                                    {TOUCH_POINTER, below(2)}};
    if (const size_t kind = random() % 8; kind < std::size(numbers)) {
        framework.send(numbers[kind].first, numbers[kind].second);
        return;
    }
    std::vector<std::string> visible;
    for (int32_t count = below(3); count > 0; --count) {
        visible.emplace_back(anyPackage());
    }
    framework.packages(anyPackage(), visible);
}

class Convergence : public Phone {
  public:
    Convergence() {
        ConfigureMixedPackages(fakes.classifier.get());
        SetPaths({"/nonexistent", "/dev/null"});  // thousands of writes to a file take time
        start();
        __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    }

    /** Compares what is with what a decision on the state as it is asks for. */
    void expectSettled(const std::string& when) {
        const Decision decision = FpsCommon::Decide();
        const std::string wanted = decision.outcome == Outcome::kAppDynamic      ? "app"
                                   : decision.outcome == Outcome::kGameDynamic   ? "game"
                                   : decision.outcome == Outcome::kGameConstHigh ? "const90"
                                                                                 : "none";
        EXPECT_EQ(armed(), wanted) << when << ", rule " << decision.rule->name;
        EXPECT_EQ(fakes.compositor->wantsTouchEvents(), wanted == "app") << when;
        if (decision.rate != kRateUntouched) {
            EXPECT_EQ(panelHz(), decision.rate) << when << ", rule " << decision.rule->name;
        }
    }
};

TEST_F(Convergence, HoldsAfterEveryEventOfARandomSequence) {
    std::mt19937_64 random(20);
    for (int event = 0; event < 5000; ++event) {
        SendRandomEvent(framework, random);
        expectSettled("event " + std::to_string(event));
        if (HasFailure()) {
            return;
        }
    }
}

TEST_F(Convergence, HoldsOverWhatAStrategyHadBegun) {
    const struct {
        const char* pkg;
        void (*begin)();
        int32_t forced;
    } cases[] = {
        {"app.touch.a", [] { AppDynamicFps::GetInstance()->SetLcdEvent(1); }, kNoGameFps},
        {"game.dynamic", [] { GameDynamicFps::GetInstance()->SetGameFps(60); }, 90},
        {"game.const", [] { GameHighFps::GetInstance()->SetGameFps(60); }, 90},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pkg);
        focus(c.pkg);
        c.begin();
        AppDynamicFps::GetInstance()->SetLcdEvent(0);
        VirtualTime::Settle();
        EXPECT_EQ(panelHz(), 90);
        EXPECT_EQ(FpsCommon::forcedGameFps, c.forced);
        framework.fingerprint("com.example.pay", 1);
        EXPECT_EQ(FpsCommon::forcedGameFps, kNoGameFps);
        SleepFor(10 * kNsPerS);
        EXPECT_EQ(panelHz(), 90);
        framework.fingerprint("com.example.pay", 0);
    }
}

TEST_F(Convergence, HoldsAfterEightThreadsInAnyInterleaving) {
    for (uint64_t round = 0; round < 20; ++round) {
        std::vector<std::thread> threads;
        for (uint64_t seed = 0; seed < 8; ++seed) {
            // Real threads: which of them goes first is not virtual time's to say.
            threads.emplace_back([this, round, seed] {
                std::mt19937_64 random(round * 8 + seed);
                for (int event = 0; event < 25; ++event) {
                    SendRandomEvent(framework, random);
                }
            });
        }
        {
            OutsideScope joining;
            for (std::thread& thread : threads) {
                thread.join();
            }
        }
        expectSettled("round " + std::to_string(round));
    }
}

}  // namespace
}  // namespace KVT
