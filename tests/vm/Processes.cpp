// SPDX-License-Identifier: Apache-2.0
#include "tests/vm/Processes.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>

#include "sync/Clock.h"

namespace KVT::test {

Child::Child(const std::function<void()>& body) {
    fflush(nullptr);
    mPid = fork();
    if (mPid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
}

Child::~Child() {
    kill();
}

void Child::kill() {
    if (mPid > 0) {
        ::kill(mPid, SIGKILL);
        wait();
    }
}

int Child::wait() {
    if (mPid > 0) {
        int status = 0;
        waitpid(mPid, &status, 0);
        mStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        mPid = -1;
    }
    return mStatus;
}

int DriverCount(const std::string& kind) {
    std::ifstream stats("/sys/kernel/debug/binder/stats");
    std::string word;
    while (stats >> word) {
        int active = 0;
        if (word == kind + ":" && stats >> word && word == "active" && stats >> active) {
            return active;
        }
    }
    return -1;
}

bool Eventually(const std::function<bool()>& question) {
    constexpr int64_t kPatienceNs = 10 * kNsPerS;
    constexpr int64_t kPauseNs = 10 * kNsPerMs;
    for (const int64_t deadline = MonotonicNow() + kPatienceNs; MonotonicNow() < deadline;) {
        if (question()) {
            return true;
        }
        SleepFor(kPauseNs);
    }
    return question();
}

}  // namespace KVT::test
