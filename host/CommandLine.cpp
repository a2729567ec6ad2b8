// SPDX-License-Identifier: Apache-2.0
#include "host/CommandLine.h"

#include <ostream>
#include <vector>

#include "host/DidYouMean.h"

namespace KVT {
namespace {

std::vector<std::string> SubcommandsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(sub->get_name());
    }
    return names;
}

std::vector<std::string> OptionsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

}  // namespace

CommandLine::CommandLine(const std::string& description, const std::string& program)
    : CLI::App(description, program) {
    set_version_flag("--version", program + " " KVT_VERSION);
}

std::optional<int> CommandLine::read(int argc, const char* const* argv, std::ostream& out,
                                     std::ostream& err) {
    try {
        parse(argc, argv);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return exit(error, out, err);  // what was asked for is the help or the version
        }
        err << get_name() << ": " << faultOf(error) << " (" << get_name()
            << " --help tells more)\n";
        return kUsageError;
    }
}

std::string CommandLine::faultOf(const CLI::ParseError& error) const {
    const std::vector<std::string> unknown = remaining(true);
    const int code = error.get_exit_code();
    const bool isMisspelt = code == static_cast<int>(CLI::ExitCodes::RequiredError) ||
                            code == static_cast<int>(CLI::ExitCodes::ExtrasError);
    if (unknown.empty() || !isMisspelt) {
        return error.what();
    }
    // Of a misspelt subcommand it is no help to hear that one is required.
    const CLI::App* app = this;
    while (!app->get_subcommands().empty()) {
        app = app->get_subcommands().front();
    }
    const std::string& word = unknown.front();
    if (word[0] == '-') {
        return "no such option: " + word + DidYouMean(word, OptionsOf(*app));
    }
    const std::vector<std::string> names = SubcommandsOf(*app);
    return names.empty() ? "not expected: " + word
                         : "no such subcommand: " + word + DidYouMean(word, names);
}

}  // namespace KVT
