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
#include "tools/kvtctl/TimedCall.h"

namespace KVT::ctl {
namespace {

using android::sp;
using android::status_t;

/** The service drops an event of the package "" without a word. */
std::string RefuseEmpty(const std::string& text) {
    return text.empty() ? "must not be empty" : "";
}

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

CLI::App* AddCommand(CLI::App& app, const TransactionInfo& transaction) {
    return app.add_subcommand(transaction.command, transaction.meaning);
}

void AddNumberCommands(CLI::App& app, Context& context) {
    for (const TransactionInfo& event : Transactions()) {
        if (!event.takesOneNumber() || event.command == nullptr) {
            continue;
        }
        const auto value = std::make_shared<int32_t>();
        CLI::App* sub = AddCommand(app, event);
        sub->add_option("VALUE", *value)->required()->check(CLI::Range(event.least, event.most));
        sub->callback([&context, &event, value] {
            WithFramework(context, [&](FrameworkClient& framework) {
                return framework.send(event.code, *value);
            });
        });
    }
}

void AddRefresh(CLI::App& app, Context& context) {
    AddCommand(app, *FindTransaction(NOTIFY_FRAME_REFRESH))->callback([&context] {
        WithCompositorSide(
            context, [](IKVTService& service) { service.NotifyFrameRefresh(MonotonicNow()); });
    });
}

void Ask(Context& context, uint32_t code) {
    const sp<android::IBinder> service = FindService(context);
    if (service == nullptr) {
        return;
    }
    struct Answer {
        int32_t value = 0;
        status_t status = android::OK;
    };
    const auto answer = std::make_shared<Answer>();
    const status_t status = CallInTime(kTimeout, [service, code, answer] {
        answer->status = FrameworkClient(service).ask(code, &answer->value);
    });
    Complain(context, "the call", status == android::OK ? answer->status : status);
    if (context.status == kDone) {
        context.out << answer->value << "\n";
    }
}

void AddQueries(CLI::App& app, Context& context) {
    for (const TransactionInfo& query : Transactions()) {
        if (query.call == Call::kWaits) {
            AddCommand(app, query)->callback([&context, &query] { Ask(context, query.code); });
        }
    }
}

void AddPackageCommands(CLI::App& app, Context& context) {
    struct Names {
        std::string focus;
        std::vector<std::string> visible;
        int32_t status = 0;
    };
    const auto names = std::make_shared<Names>();
    CLI::App* packages = AddCommand(app, *FindTransaction(PACKAGES));
    packages->add_option("FOCUS", names->focus, "focused package")
        ->required()
        ->check(CLI::Validator(RefuseEmpty, ""));
    packages->add_option("VISIBLE", names->visible, "packages that are visible");
    packages->callback([&context, names] {
        WithFramework(context, [&](FrameworkClient& framework) {
            return framework.packages(names->focus, names->visible);
        });
    });
    CLI::App* fingerprint = AddCommand(app, *FindTransaction(FINGERPRINT));
    fingerprint->add_option("PACKAGE", names->focus, "package that asks")
        ->required()
        ->check(CLI::Validator(RefuseEmpty, ""));
    fingerprint->add_option("VALUE", names->status)->required()->check(CLI::Range(0, 2));
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
    CLI::App* sub = AddCommand(app, *FindTransaction(APPLICATION_STATE));
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
    AddRefresh(app, context);
    AddApplicationState(app, context);
    AddQueries(app, context);
}

}  // namespace KVT::ctl
