// SPDX-License-Identifier: Apache-2.0
// A configuration file: the service's parser, the checker and the explainer must agree on any text.
#include <android/log.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "common/Codes.h"
#include "common/Paths.h"
#include "config/XmlParser.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/OneLife.h"
#include "policy/CodeChoice.h"
#include "tools/config/ConfigChecker.h"
#include "tools/config/ConfigExplainer.h"

namespace KVT::fuzz {
namespace {

/** Lines above information since the last look. */
std::vector<std::string> gWarnings;

void NoteWarning(const __android_logger_data* data, const char* message) {
    if (data->priority > ANDROID_LOG_INFO) {
        gWarnings.emplace_back(message);
    }
}

/** A file without a place on a disk. */
class MemoryFile {
  public:
    MemoryFile(const uint8_t* data, size_t size) : mFile(memfd_create("config", MFD_CLOEXEC)) {
        Require(write(mFile, data, size) == static_cast<ssize_t>(size), "no memory for a file");
    }
    ~MemoryFile() { close(mFile); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(mFile); }

  private:
    const int mFile;
};

/** As the service does at its start. */
void Load() {
    PolicyConfig::tables = {};
    XmlParser::Init();
    XmlParser::ParseXmlConfigFile();
}

using Lists = std::unordered_map<std::string, PrefixSet>;

/** The shortest entry of a list that the name begins with; looked for the slow way. */
const std::string* ShortestPrefix(const PrefixSet& list, const std::string& name) {
    const std::string* shortest = nullptr;
    for (const std::string& prefix : list) {
        if (name.compare(0, prefix.size(), prefix) == 0 &&
            (shortest == nullptr || prefix.size() < shortest->size())) {
            shortest = &prefix;
        }
    }
    return shortest;
}

/** The entry that decides a package: of the first list that has one, if its switch says anything. */
void RequireChoice(const CodeChoice& choice, const Lists& lists, const ListRule (&rules)[2],
                   int32_t setting, const std::string& name) {
    for (const ListRule& rule : rules) {
        const auto list = lists.find(rule.listName);
        const std::string* prefix =
            list == lists.end() ? nullptr : ShortestPrefix(list->second, name);
        if (prefix != nullptr) {
            const bool says = PolicyConfig::tables.settingSwitchMap[setting][rule.switchName] >= 1;
            Require(says ? choice.prefix != nullptr && *choice.prefix == *prefix &&
                               choice.listName == rule.listName
                         : choice.prefix == nullptr,
                    "a package is decided by another entry than its own");
            return;
        }
    }
    Require(choice.prefix == nullptr, "an entry decides a package that it does not begin");
}

bool Same(const CodeChoice& a, const CodeChoice& b) {
    return a.code == b.code && std::string(a.switchName) == b.switchName &&
           std::string(a.listName == nullptr ? "" : a.listName) ==
               (b.listName == nullptr ? "" : b.listName) &&
           (a.prefix == nullptr) == (b.prefix == nullptr) &&
           (a.prefix == nullptr || *a.prefix == *b.prefix);
}

/** Packages that the file names, a longer one each, and one that it does not. */
std::vector<std::string> Names() {
    constexpr size_t kMost = 12;
    std::vector<std::string> names = {"com.example.none", "android.view.cts", ""};
    for (const Lists* lists :
         {&PolicyConfig::tables.appPkgFilterMap, &PolicyConfig::tables.gameFilterMap}) {
        for (const auto& [list, prefixes] : *lists) {
            for (const std::string& prefix : prefixes) {
                if (names.size() < kMost) {
                    names.insert(names.end(), {prefix, prefix + ".x"});
                }
            }
        }
    }
    return names;
}

/** The first entry that the file gives of each list is one that a clean file uses. */
void RequireEveryEntryUsed() {
    const ConfigTables& tables = PolicyConfig::tables;
    for (const bool game : {false, true}) {
        for (const auto& [list, prefixes] : game ? tables.gameFilterMap : tables.appPkgFilterMap) {
            for (const std::string& prefix : prefixes) {
                const CodeChoice choice = game ? ChooseGameCode(tables, 0, prefix)
                                               : ChooseAppCode(tables, 0, prefix, kTypeUnknown);
                Require(choice.prefix == nullptr || *choice.prefix == prefix,
                        "a clean file has an entry that decides nothing");
            }
        }
    }
}

struct Asked {
    std::string name;
    int32_t type;
    bool game;
    int32_t setting;
    Explanation explanation;
    std::string prefix;  // the explanation's is gone with its tables

    CodeChoice chosen() const {
        return game ? ChooseGameCode(PolicyConfig::tables, setting, name)
                    : ChooseAppCode(PolicyConfig::tables, setting, name, type);
    }
};

std::vector<Asked> Explain(const ConfigDocument& document) {
    const ConfigExplainer explainer(document);
    std::vector<Asked> asked;
    for (const std::string& name : Names()) {
        for (const int32_t setting : {0, 1, 2}) {
            for (const auto& [type, game] :
                 {std::pair(1, false), {kTypeUnknown, false}, {kTypeGame, true}}) {
                Explanation explanation = explainer.explain(name, type, game, setting);
                std::string prefix =
                    explanation.choice.prefix != nullptr ? *explanation.choice.prefix : "";
                asked.push_back({name, type, game, setting, explanation, std::move(prefix)});
            }
        }
    }
    return asked;
}

void RequireAgreement(const ConfigDocument& document, bool isClean) {
    std::vector<Asked> asked = Explain(document);
    gWarnings.clear();
    Load();
    Require(!isClean || gWarnings.empty(), "a clean file is loaded with a warning");
    for (Asked& each : asked) {
        const CodeChoice chosen = each.chosen();
        if (each.explanation.choice.prefix != nullptr) {
            each.explanation.choice.prefix = &each.prefix;
        }
        Require(Same(each.explanation.choice, chosen), "the explanation is of another choice");
        Require(each.prefix.find("line 0") != std::string::npos ||
                    each.explanation.reason.find("line 0") == std::string::npos,
                "the explanation names no line");
        if (each.game) {
            RequireChoice(chosen, PolicyConfig::tables.gameFilterMap, kGamePackages, each.setting,
                          each.name);
        } else {
            RequireChoice(chosen, PolicyConfig::tables.appPkgFilterMap, kAppPackages, each.setting,
                          each.name);
        }
    }
    if (isClean) {
        RequireEveryEntryUsed();
    }
}

void Run(const uint8_t* data, size_t size) {
    const MemoryFile file(data, size);
    SetPaths({file.path(), "/dev/null"});
    ConfigDocument document;
    if (!document.load(file.path())) {
        gWarnings.clear();
        Load();
        Require(
            gWarnings.size() == 1 && gWarnings[0].find("failed to load file") != std::string::npos,
            "a file is loaded that the checker can not read");
        return;
    }
    const std::vector<Finding> findings = ConfigChecker::Check(document);
    for (const Finding& finding : findings) {
        Require(TextOf(finding).find('\n') == std::string::npos, "a finding is not one line");
    }
    if (std::any_of(findings.begin(), findings.end(), [](const Finding& f) { return f.fatal; })) {
        const int end = EndOfALife([] {
            signal(SIGABRT, SIG_DFL);
            Load();
        });
        Require(WIFSIGNALED(end) && WTERMSIG(end) == SIGABRT,
                "a file is loaded that the checker calls fatal");
        return;
    }
    RequireAgreement(document, findings.empty());
}

}  // namespace
}  // namespace KVT::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    __android_log_set_logger(KVT::fuzz::NoteWarning);
    __android_log_set_minimum_priority(ANDROID_LOG_DEBUG);
    KVT::fuzz::Run(data, size);
    return 0;
}
