// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/ConfigCommands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "common/CleanText.h"
#include "common/Codes.h"
#include "common/KnownPackages.h"
#include "config/ConfigTables.h"
#include "tools/config/ConfigChecker.h"
#include "tools/config/ConfigExplainer.h"

namespace KVT::ctl {
namespace {

struct ExplainOptions {
    std::string pkg;
    int32_t type = kTypeUnknown;
    bool game = false;
    std::vector<int32_t> settings{validLcdSettings.begin(), validLcdSettings.end()};
};

struct CheckOptions {
    std::vector<std::string> files;
    std::vector<std::string> rates;
};

int Check(const CheckOptions& options, Context& context) {
    const PanelRates rates(options.rates);
    int status = kDone;
    size_t count = 0;
    for (const std::string& file : options.files) {
        ConfigDocument document;
        if (!document.load(file)) {
            context.err << document.error() << "\n";
            status = kUsage;
            continue;
        }
        const std::vector<Finding> findings = ConfigChecker::Check(document, rates);
        for (const Finding& finding : findings) {
            context.out << document.name() << ":" << TextOf(finding) << "\n";
        }
        if (findings.empty()) {
            context.out << document.name() << ": clean\n";
        }
        count += findings.size();
    }
    if (count == 0) {
        return status;
    }
    context.out << count << (count == 1 ? " finding" : " findings") << "\n";
    return std::max<int>(status, kRefused);
}

int Explain(const std::string& file, const ExplainOptions& options, Context& context) {
    ConfigDocument document;
    if (!document.load(file)) {
        context.err << document.error() << "\n";
        return kUsage;
    }
    const std::vector<Finding> findings = ConfigChecker::Check(document);
    bool fatal = false;
    for (const Finding& finding : findings) {
        if (finding.fatal) {
            context.err << document.name() << ":" << TextOf(finding) << "\n";
            fatal = true;
        }
    }
    if (fatal) {
        return kUsage;
    }
    const ConfigExplainer explainer(document);
    const bool launcher = options.pkg == kLauncher;
    const int32_t type = launcher ? kTypeLauncher : options.type;
    const bool game = !launcher && (options.game || type == kTypeGame);
    context.out << CleanText(options.pkg) << ", "
                << (game ? "a game" : "an application of type " + std::to_string(type))
                << (launcher ? ", as the launcher always is" : "") << "\n";
    std::vector<int32_t> settings = options.settings;
    std::sort(settings.begin(), settings.end());
    for (const int32_t setting : settings) {
        const Explanation explanation = explainer.explain(options.pkg, type, game, setting);
        context.out << "setting " << setting
                    << (setting == explainer.defaultSetting() ? " (default)" : "") << ": code "
                    << explanation.choice.code << ", " << explanation.rate << "\n    because of "
                    << explanation.reason << "\n";
    }
    if (!findings.empty()) {
        context.err << "the file has findings: see kvtctl config check " << file << "\n";
    }
    return kDone;
}

}  // namespace

void AddConfigCommands(CLI::App& app, Context& context) {
    CLI::App* config = app.add_subcommand("config", "checks and explains a configuration file");
    config->require_subcommand(1);

    const auto checks = std::make_shared<CheckOptions>();
    CLI::App* check = config->add_subcommand(
        "check",
        "Report all that the service would ignore, read otherwise or end on.\n"
        "Exit status: 0 clean, 1 findings, 2 unreadable.");
    check->add_option("FILE", checks->files, "Configuration files; - is standard input")
        ->required();
    check
        ->add_option("--rates", checks->rates,
                     "The panel's rates, as 60,90 (60n is its normal mode); default: unknown")
        ->allow_extra_args(false)
        ->delimiter(',')
        ->check(CLI::Validator(
            [](const std::string& text) {
                return IsRate(text) ? std::string() : "no rate: " + text + " (as 60,90)";
            },
            "RATE"));
    check->callback([checks, &context] { context.status = Check(*checks, context); });

    const auto file = std::make_shared<std::string>();
    const auto options = std::make_shared<ExplainOptions>();
    CLI::App* explain = config->add_subcommand(
        "explain",
        "Say which code and rate a package gets, and which entry or default decides.\n"
        "Exit status: 0, or 2 for a file that is unreadable or would end the service.");
    explain->add_option("FILE", *file, "Configuration file; - is standard input")->required();
    explain->add_option("PACKAGE", options->pkg, "Package name")
        ->required()
        ->check(CLI::Validator(
            [](const std::string& text) { return text.empty() ? "a package has a name" : ""; },
            "NAME"));
    explain->add_option("--type", options->type, "Application type (9 is a game); -1 is unknown")
        ->check(CLI::Validator(
            [](const std::string& text) {
                int32_t type = 0;
                return CLI::detail::lexical_cast(text, type) && IsKnownType(type)
                           ? std::string()
                           : "no such type: " + text + " (from -1 to 36, or 255)";
            },
            "TYPE"));
    explain->add_flag("--game", options->game, "The package is a game");
    explain->add_option("--setting", options->settings, "User's refresh-rate setting; default: all")
        ->expected(1)
        ->check(CLI::IsMember(validLcdSettings));
    explain->callback(
        [file, options, &context] { context.status = Explain(*file, *options, context); });
}

}  // namespace KVT::ctl
