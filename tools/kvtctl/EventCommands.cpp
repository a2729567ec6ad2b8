// SPDX-License-Identifier: Apache-2.0
#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "host/FrameworkClient.h"
#include "service/IKVTService.h"
#include "sync/Clock.h"
#include "tools/kvtctl/Service.h"
#include "tools/kvtctl/ServiceCommands.h"

namespace KVT::ctl {
namespace {

using android::sp;
using android::status_t;

constexpr int32_t kAny = INT32_MAX;

/** The service drops an event of the package "" without a word. */
std::string RefuseEmpty(const std::string& text) {
    return text.empty() ? "must not be empty" : "";
}

/** An event or query with at most one number. */
struct NumberCommand {
    const char* name;
    const char* help;
    int32_t least;
    int32_t most;
    status_t (*send)(FrameworkClient& framework, int32_t value);
};

const NumberCommand kNumberCommands[] = {
    {"power-mode", "power mode; 1 and 4 save power and hold 60 Hz", -kAny, kAny,
     [](FrameworkClient& f, int32_t v) { return f.powerMode(v); }},
    {"setting", "user's refresh-rate setting: 0, 1 or 2", 0, 2,
     [](FrameworkClient& f, int32_t v) { return f.lcdSetting(v); }},
    {"limit", "upper limit of game frame rates, -1 for none", -1, 1000,
     [](FrameworkClient& f, int32_t v) { return f.gameFpsLimit(v); }},
    {"touch-pointer", "touch-pad pointer: 1 on, 0 off", 0, 1,
     [](FrameworkClient& f, int32_t v) { return f.touchPointer(v); }},
    {"full-video", "full-screen video: 1 on, 0 off (only logged)", 0, 1,
     [](FrameworkClient& f, int32_t v) { return f.fullVideo(v); }},
    {"temperature", "temperature (only logged)", -kAny, kAny,
     [](FrameworkClient& f, int32_t v) { return f.temperature(v); }},
    {"thermal-level", "thermal level (only logged)", -kAny, kAny,
     [](FrameworkClient& f, int32_t v) { return f.thermalLevel(v); }},
};

struct CompositorCommand {
    const char* name;
    const char* help;
    int32_t least;
    int32_t most;
    void (IKVTService::*send)(int32_t value);
};

const CompositorCommand kCompositorCommands[] = {
    {"touch", "finger on the screen: 1 down, 0 up", 0, 1, &IKVTService::SetLcdEvent},
    {"hotplug", "external display: 1 connected, 0 disconnected", 0, 1,
     &IKVTService::NotifyDisplayHotplugEvent},
    {"virtual-display", "virtual display: 1 created, 0 removed", 0, 1,
     &IKVTService::NotifyVirtualDisplayEvent},
    {"gpu-composition", "GPU composition: 1 started, 0 ended", 0, 1,
     &IKVTService::NotifyGpuCompositionEvent},
};

struct Query {
    const char* name;
    const char* help;
    status_t (FrameworkClient::*ask)(int32_t* answer);
};

const Query kQueries[] = {
    {"max-rate", "prints the panel's maximum rate in Hz", &FrameworkClient::maxLcdFps},
    {"new-scheme", "prints whether the panel supports dynamic rates",
     &FrameworkClient::newSchemeSupported},
    {"self-test", "prints 20 when the service is alive", &FrameworkClient::selfTest},
};

/** The service's own interface returns nothing, so it takes the process to know of a failure. */
void WithCompositorSide(Context& context, const std::function<void(IKVTService& service)>& send) {
    const sp<android::IBinder> service = FindService(context);
    if (service == nullptr) {
        return;
    }
    send(*IKVTService::asInterface(service));
    if (context.process.takeFailure()) {
        context.err << "kvtctl: the event found no service, or was refused\n";
        context.status = kRefused;
    }
}

void AddNumberCommands(CLI::App& app, Context& context) {
    for (const NumberCommand& command : kNumberCommands) {
        const auto value = std::make_shared<int32_t>();
        CLI::App* sub = app.add_subcommand(command.name, command.help);
        sub->add_option("VALUE", *value)
            ->required()
            ->check(CLI::Range(command.least, command.most));
        sub->callback([&context, &command, value] {
            WithFramework(context, [&](FrameworkClient& framework) {
                return command.send(framework, *value);
            });
        });
    }
}

void AddCompositorCommands(CLI::App& app, Context& context) {
    for (const CompositorCommand& command : kCompositorCommands) {
        const auto value = std::make_shared<int32_t>();
        CLI::App* sub = app.add_subcommand(command.name, command.help);
        sub->add_option("VALUE", *value)
            ->required()
            ->check(CLI::Range(command.least, command.most));
        sub->callback([&context, &command, value] {
            WithCompositorSide(context,
                               [&](IKVTService& service) { (service.*command.send)(*value); });
        });
    }
    CLI::App* refresh = app.add_subcommand("refresh", "the screen's content was refreshed, now");
    refresh->callback([&context] {
        WithCompositorSide(
            context, [](IKVTService& service) { service.NotifyFrameRefresh(MonotonicNow()); });
    });
}

void AddQueries(CLI::App& app, Context& context) {
    for (const Query& query : kQueries) {
        app.add_subcommand(query.name, query.help)->callback([&context, &query] {
            int32_t answer = 0;
            const bool answered = WithFramework(context, [&](FrameworkClient& framework) {
                return (framework.*query.ask)(&answer);
            });
            if (answered) {
                context.out << answer << "\n";
            }
        });
    }
}

void AddPackageCommands(CLI::App& app, Context& context) {
    struct Names {
        std::string focus;
        std::vector<std::string> visible;
        int32_t status = 0;
    };
    const auto names = std::make_shared<Names>();
    CLI::App* packages =
        app.add_subcommand("packages", "the focused package, and all that are visible");
    packages->add_option("FOCUS", names->focus, "focused package")
        ->required()
        ->check(CLI::Validator(RefuseEmpty, ""));
    packages->add_option("VISIBLE", names->visible, "packages that are visible");
    packages->callback([&context, names] {
        WithFramework(context, [&](FrameworkClient& framework) {
            return framework.packages(names->focus, names->visible);
        });
    });
    CLI::App* fingerprint = app.add_subcommand("fingerprint", "fingerprint unlock");
    fingerprint->add_option("PACKAGE", names->focus, "package that asks")
        ->required()
        ->check(CLI::Validator(RefuseEmpty, ""));
    fingerprint->add_option("VALUE", names->status, "0 idle, 1 wants 90 Hz, 2 wants 60 Hz")
        ->required()
        ->check(CLI::Range(0, 2));
    fingerprint->callback([&context, names] {
        WithFramework(context, [&](FrameworkClient& framework) {
            return framework.fingerprint(names->focus, names->status);
        });
    });
}

void AddApplicationState(CLI::App& app, Context& context) {
    struct State {
        int32_t type = 0;
        int32_t state = 0;
        int32_t gameMode = 0;
        std::string pkg;
    };
    const auto state = std::make_shared<State>();
    CLI::App* sub = app.add_subcommand("application-state", "an application's state (only logged)");
    sub->add_option("TYPE", state->type)->required();
    sub->add_option("STATE", state->state)->required();
    sub->add_option("GAME_MODE", state->gameMode)->required();
    sub->add_option("PACKAGE", state->pkg)->required();
    sub->callback([&context, state] {
        WithFramework(context, [&](FrameworkClient& framework) {
            return framework.applicationState(state->type, state->state, state->gameMode,
                                              state->pkg);
        });
    });
}

}  // namespace

void AddEventCommands(CLI::App& app, Context& context) {
    AddPackageCommands(app, context);
    AddNumberCommands(app, context);
    AddCompositorCommands(app, context);
    AddApplicationState(app, context);
    AddQueries(app, context);
}

}  // namespace KVT::ctl
