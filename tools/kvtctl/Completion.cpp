// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/Completion.h"

#include <CLI/CLI.hpp>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/kvtctl/DumpTree.h"

namespace KVT::ctl {
namespace {

struct Word {
    std::string text;
    std::string meaning;
};

/** A subcommand, by the words that lead to it, and what can follow. */
struct Place {
    std::string path;
    std::vector<Word> subcommands;
    std::vector<Word> options;
    bool takesFile = false;
};

std::vector<const CLI::App*> SubcommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

/** The first line and no more than a sentence; fit to stand in a shell's quotes. */
std::string Meaning(const std::string& description) {
    std::string text;
    for (const char c : description.substr(0, description.find_first_of("\n:;\\"))) {
        text += c == '\'' ? std::string("\u2019") : std::string(1, c);
    }
    return text;
}

void AddPlaces(const CLI::App& app, const std::string& path, std::vector<Place>* places) {
    Place place{path, {}, {}, app.get_option_no_throw("FILE") != nullptr};
    for (const CLI::App* sub : SubcommandsOf(app)) {
        place.subcommands.push_back({sub->get_name(), Meaning(sub->get_description())});
    }
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            place.options.push_back({"--" + name, Meaning(option->get_description())});
        }
    }
    places->push_back(std::move(place));
    for (const CLI::App* sub : SubcommandsOf(app)) {
        AddPlaces(*sub, path + " " + sub->get_name(), places);
    }
}

std::vector<Word> WordsAt(const Place& place) {
    std::vector<Word> words = place.subcommands;
    words.insert(words.end(), place.options.begin(), place.options.end());
    return words;
}

/** A pattern of bash and zsh for all paths to subcommands. */
std::string Paths(const std::vector<Place>& places) {
    std::string pattern;
    for (size_t i = 1; i < places.size(); ++i) {
        pattern += (i == 1 ? "'" : "|'") + places[i].path + "'";
    }
    return pattern;
}

void PrintTexts(std::ostream& out, const std::vector<Word>& words) {
    for (const Word& word : words) {
        out << word.text << " ";
    }
}

void PrintBash(std::ostream& out, const std::string& program, const std::vector<Place>& places) {
    out << "# For bash: source <(" << program << " completion bash)\n_" << program
        << "() {\n    local place=" << program
        << " current=${COMP_WORDS[COMP_CWORD]} words options files= i\n    for ((i = 1; i < "
           "COMP_CWORD; i++)); do\n"
           "        case \"$place ${COMP_WORDS[i]}\" in\n            "
        << Paths(places)
        << ") place+=\" ${COMP_WORDS[i]}\" ;;\n        esac\n    done\n    case $place in\n";
    for (const Place& place : places) {
        out << "        '" << place.path << "') words='";
        PrintTexts(out, place.subcommands);
        out << "' options='";
        PrintTexts(out, place.options);
        out << "'" << (place.takesFile ? " files=yes" : "") << " ;;\n";
    }
    out << "    esac\n    [[ $current == -* ]] && words=$options files=\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "    [[ -z $files ]] || compopt -o default\n}\n"
        << "complete -F _" << program << " " << program << "\n";
}

void PrintZsh(std::ostream& out, const std::string& program, const std::vector<Place>& places) {
    out << "#compdef " << program << "\n# For zsh: source <(" << program << " completion zsh)\n_"
        << program << "() {\n    local place=" << program
        << " word\n    local -a choices\n    for word in \"${(@)words[2,CURRENT-1]}\"; do\n"
           "        case \"$place $word\" in\n            ("
        << Paths(places) << ") place+=\" $word\" ;;\n        esac\n    done\n    case $place in\n";
    for (const Place& place : places) {
        out << "        ('" << place.path << "') choices=(";
        for (const Word& word : WordsAt(place)) {
            out << "'" << word.text << ":" << word.meaning << "' ";
        }
        out << ") ;;\n";
    }
    out << "    esac\n    _describe " << program << " choices || _files\n}\n"
        << "if [[ ${funcstack[1]} == _" << program << " ]]; then\n    _" << program
        << " \"$@\"\nelse\n    compdef _" << program << " " << program << "\nfi\n";
}

void PrintFish(std::ostream& out, const std::string& program, const std::vector<Place>& places) {
    out << "# For fish: " << program << " completion fish | source\n";
    for (const Place& place : places) {
        std::string seen;
        for (const std::string& word : WordsOf(place.path.substr(program.size()))) {
            seen += (seen.empty() ? "" : "; and ") + ("__fish_seen_subcommand_from " + word);
        }
        if (!seen.empty() && !place.subcommands.empty()) {
            seen += "; and not __fish_seen_subcommand_from";  // behind one of them come its own
            for (const Word& sub : place.subcommands) {
                seen += " " + sub.text;
            }
        }
        const std::string condition = seen.empty() ? "__fish_use_subcommand" : seen;
        const auto begin = [&]() -> std::ostream& {
            return out << "complete -c " << program << " -n '" << condition << "' ";
        };
        for (const Word& sub : place.subcommands) {
            begin() << "-f -a " << sub.text << " -d '" << sub.meaning << "'\n";
        }
        for (const Word& option : place.options) {
            begin() << "-l " << option.text.substr(2) << " -d '" << option.meaning << "'\n";
        }
    }
}

}  // namespace

void AddCompletionCommand(CLI::App& app, Context& context) {
    using Printer = void (*)(std::ostream&, const std::string&, const std::vector<Place>&);
    CLI::App* const completion = app.add_subcommand(
        "completion", "prints a script that has a shell complete this program's command lines");
    completion->require_subcommand(1);
    const std::pair<const char*, Printer> shells[] = {
        {"bash", PrintBash}, {"zsh", PrintZsh}, {"fish", PrintFish}};
    for (const auto& [shell, print] : shells) {
        const std::string name = shell;
        completion->add_subcommand(name, "for " + name)->callback([&app, &context, print = print] {
            std::vector<Place> places;
            AddPlaces(app, app.get_name(), &places);
            print(context.out, app.get_name(), places);
        });
    }
}

}  // namespace KVT::ctl
