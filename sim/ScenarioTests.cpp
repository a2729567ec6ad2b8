// SPDX-License-Identifier: Apache-2.0
#include "sim/ScenarioTests.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <tinyxml2.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <sstream>

#include "common/CleanText.h"
#include "sim/Arguments.h"
#include "sync/Clock.h"

namespace KVT::sim {
namespace {

namespace fs = std::filesystem;

/** A scenario that is being played, and where its faults come. */
struct Run {
    size_t index;
    int faults;
    int64_t since;
};

[[noreturn]] void PlayInChild(const std::string& path, const PlayScenario& play, int faults,
                              pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(2);  // it ended before
    }
    std::ostringstream text;
    const int status = play(path, text);
    const std::string all = text.str();
    const bool isWritten =
        write(faults, all.data(), all.size()) == static_cast<ssize_t>(all.size());
    _exit(isWritten ? status : 2);  // threads of virtual time are still there
}

std::string ReadAll(int file) {
    std::string text;
    char part[4096];
    lseek(file, 0, SEEK_SET);
    for (ssize_t size; (size = read(file, part, sizeof(part))) > 0;) {
        text.append(part, static_cast<size_t>(size));
    }
    return text;
}

void Conclude(int status, ScenarioOutcome* outcome) {
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        outcome->kind = ScenarioOutcome::kMet;
    } else if (WIFEXITED(status) && WEXITSTATUS(status) == 1) {
        outcome->kind = ScenarioOutcome::kUnmet;
    } else if (outcome->faults.empty()) {
        outcome->faults = outcome->path + ": its player ended " +
                          (WIFSIGNALED(status) ? std::string("by ") + strsignal(WTERMSIG(status))
                                               : std::string("by itself")) +
                          "\n";
    }
}

constexpr const char* kWords[] = {"ok      ", "FAILED  ", "BROKEN  "};

/** Prints the lines of those at the front that have ended. */
class OrderedLines {
  public:
    OrderedLines(const std::vector<ScenarioOutcome>& outcomes, std::ostream& out)
        : mOutcomes(outcomes), mOut(out), mEnded(outcomes.size()) {}

    void onEnd(size_t index) {
        mEnded[index] = true;
        for (; mNext < mEnded.size() && mEnded[mNext]; ++mNext) {
            const ScenarioOutcome& outcome = mOutcomes[mNext];
            mOut << kWords[outcome.kind] << CleanText(outcome.path, "=") << "\n";
            std::istringstream faults(outcome.faults);
            for (std::string fault; std::getline(faults, fault);) {
                mOut << "        " << CleanText(fault, "=") << "\n";
            }
            mOut.flush();
        }
    }

  private:
    const std::vector<ScenarioOutcome>& mOutcomes;
    std::ostream& mOut;
    std::vector<bool> mEnded;
    size_t mNext = 0;
};

}  // namespace

std::vector<std::string> ScenarioFiles(const std::vector<std::string>& paths) {
    std::vector<std::string> files;
    for (const std::string& path : paths) {
        std::error_code error;
        if (!fs::is_directory(path, error)) {
            files.push_back(path);
            continue;
        }
        std::vector<std::string> found;
        for (auto entry = fs::recursive_directory_iterator(path, error);
             !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
            if (std::error_code unknown;
                entry->path().extension() == ".jsonl" && entry->is_regular_file(unknown)) {
                found.push_back(entry->path().string());
            }
        }
        if (error) {
            throw ScenarioError(path + ": " + error.message());
        }
        if (found.empty()) {
            throw ScenarioError(path + ": no scenario (*.jsonl) is there");
        }
        std::sort(found.begin(), found.end());
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

std::vector<ScenarioOutcome> TestScenarios(const std::vector<std::string>& files, size_t jobs,
                                           const PlayScenario& play, std::ostream& out) {
    std::vector<ScenarioOutcome> outcomes(files.size());
    OrderedLines lines(outcomes, out);
    std::map<pid_t, Run> runs;
    const pid_t self = getpid();
    signal(SIGCHLD, SIG_DFL);  // ignored, as it may be inherited, children would not be waited for
    out.flush();
    for (size_t next = 0; next < files.size() || !runs.empty();) {
        if (next < files.size() && runs.size() < jobs) {
            outcomes[next].path = files[next];
            const int faults = memfd_create("faults", MFD_CLOEXEC);
            const pid_t child = faults < 0 ? -1 : fork();
            if (child == 0) {
                PlayInChild(files[next], play, faults, self);
            }
            if (child < 0) {
                close(faults);
                if (runs.empty()) {
                    outcomes[next].faults = files[next] + ": no process to play it\n";
                    lines.onEnd(next++);
                } else {
                    jobs = runs.size();  // there is no room for more
                }
                continue;
            }
            runs.insert({child, {next++, faults, MonotonicNow()}});
            continue;
        }
        int status = 0;
        const pid_t ended = waitpid(-1, &status, 0);
        const auto run = runs.find(ended);
        if (run == runs.end()) {
            continue;  // a signal, or a child of somebody else
        }
        ScenarioOutcome& outcome = outcomes[run->second.index];
        outcome.seconds = static_cast<double>(MonotonicNow() - run->second.since) / kNsPerS;
        outcome.faults = ReadAll(run->second.faults);
        close(run->second.faults);
        Conclude(status, &outcome);
        lines.onEnd(run->second.index);
        runs.erase(run);
    }
    return outcomes;
}

bool WriteJunit(const std::vector<ScenarioOutcome>& outcomes, const std::string& file) {
    tinyxml2::XMLPrinter xml;
    const auto count = [&outcomes](ScenarioOutcome::Kind kind) {
        return std::count_if(outcomes.begin(), outcomes.end(),
                             [kind](const ScenarioOutcome& o) { return o.kind == kind; });
    };
    xml.PushHeader(false, true);
    xml.OpenElement("testsuite");
    xml.PushAttribute("name", "kvt-sim");
    xml.PushAttribute("tests", static_cast<unsigned>(outcomes.size()));
    xml.PushAttribute("failures", static_cast<unsigned>(count(ScenarioOutcome::kUnmet)));
    xml.PushAttribute("errors", static_cast<unsigned>(count(ScenarioOutcome::kBroken)));
    for (const ScenarioOutcome& outcome : outcomes) {
        xml.OpenElement("testcase");
        xml.PushAttribute("classname", "scenario");
        xml.PushAttribute("name", CleanText(outcome.path, "=").c_str());
        xml.PushAttribute("time", outcome.seconds);
        if (outcome.kind != ScenarioOutcome::kMet) {
            xml.OpenElement(outcome.kind == ScenarioOutcome::kUnmet ? "failure" : "error");
            const std::string faults = CleanText(outcome.faults, "=\n");
            xml.PushAttribute("message", faults.substr(0, faults.find('\n')).c_str());
            xml.PushText(faults.c_str());
            xml.CloseElement();
        }
        xml.CloseElement();
    }
    xml.CloseElement();

    const std::string part = file + ".part";
    FILE* const out = fopen(part.c_str(), "we");
    if (out == nullptr) {
        return false;
    }
    const bool isWritten = fputs(xml.CStr(), out) >= 0;
    if (fclose(out) != 0 || !isWritten || rename(part.c_str(), file.c_str()) != 0) {
        unlink(part.c_str());
        return false;
    }
    return true;
}

}  // namespace KVT::sim
