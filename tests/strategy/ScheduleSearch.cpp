// SPDX-License-Identifier: Apache-2.0
// Searches seeded schedules of events against the check threads for one that breaks a rule.
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cinttypes>
#include <csignal>
#include <cstdio>

#include "tests/strategy/ScheduleScenarios.h"

namespace {

/** Real seconds after which a schedule counts as hanging; it takes about a millisecond. */
constexpr unsigned kPatienceS = 30;

/** What a schedule shows of itself. */
enum class Output { kVerdict, kTraceOfFailure, kTrace };

/** Plays it in a process of its own. */
bool Passes(uint64_t seed, Output output) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kPatienceS);
        const char* broken = KVT::RunSchedule(seed);
        if (output == Output::kTrace || (broken != nullptr && output != Output::kVerdict)) {
            fprintf(stderr, "%s", KVT::ScheduleTrace().c_str());
        }
        if (broken != nullptr) {
            fprintf(stderr, "seed %" PRIu64 ": %s\n", seed, broken);
        }
        exit(broken == nullptr ? 0 : 1);  // not _exit(): the strategies' own end is tried as well
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        perror("schedule_search");
        return false;
    }
    if (WIFSIGNALED(status)) {
        fprintf(stderr, "seed %" PRIu64 ": ended by signal %d%s\n", seed, WTERMSIG(status),
                WTERMSIG(status) == SIGALRM ? " (it hung)" : "");
    }
    return status == 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Plays seeded schedules of events against the strategies' check threads.");
    uint64_t count = 10'000;
    uint64_t first = 0;
    uint64_t single = 0;
    app.add_option("--seeds", count, "Number of schedules")->capture_default_str();
    app.add_option("--first", first, "First seed")->capture_default_str();
    bool goesOn = false;
    app.add_flag("--keep-going", goesOn, "Go on after a failure");
    const CLI::Option* replay = app.add_option("--seed", single, "Replay this one, with its trace");
    CLI11_PARSE(app, argc, argv);
    if (*replay) {
        first = single;
        count = 1;
    }

    const Output output = *replay  ? Output::kTrace
                          : goesOn ? Output::kVerdict
                                   : Output::kTraceOfFailure;

    uint64_t failures = 0;
    for (uint64_t seed = first; seed < first + count; ++seed) {
        if (Passes(seed, output)) {
            continue;
        }
        ++failures;
        if (output != Output::kVerdict) {
            fprintf(stderr, "failed after %" PRIu64 " schedules; replay with --seed %" PRIu64 "\n",
                    seed - first + 1, seed);
            return 1;
        }
    }
    printf("%" PRIu64 " schedules passed\n", count - failures);
    return failures == 0 ? 0 : 1;
}
