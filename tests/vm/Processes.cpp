// SPDX-License-Identifier: Apache-2.0
#include "tests/vm/Processes.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "sync/Clock.h"

namespace KVT::test {

using namespace android;

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
    if (const pid_t pid = mPid; pid > 0) {
        ::kill(pid, SIGKILL);
        wait();
        // The driver learns of a death a little later, and allows one service manager at a time.
        EXPECT_TRUE(Eventually([pid] { return DriverStats(pid).empty(); }));
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

void InProcess(const std::function<void()>& body) {
    EXPECT_EQ(Child(body).wait(), 0) << "see the process's failures above";
}

Signal::Signal() {
    EXPECT_EQ(pipe(mEnds), 0);
}

Signal::~Signal() {
    close(mEnds[0]);
    close(mEnds[1]);
}

void Signal::raise() const {
    EXPECT_EQ(write(mEnds[1], "", 1), 1);
}

void Signal::await() const {
    constexpr int kPatienceMs = 60'000;
    pollfd raised{mEnds[0], POLLIN, 0};
    ASSERT_EQ(poll(&raised, 1, kPatienceMs), 1);
    char byte;
    EXPECT_EQ(read(mEnds[0], &byte, 1), 1);
}

std::map<std::string, std::string> DriverStats(pid_t pid) {
    std::ifstream stats("/sys/kernel/debug/binder/stats");
    std::map<std::string, std::string> found;
    bool inside = false;
    for (std::string line; std::getline(stats, line);) {
        if (line.compare(0, 5, "proc ") == 0) {
            inside = line == "proc " + std::to_string(pid);
        } else if (const size_t colon = line.find(": "); inside && colon != std::string::npos) {
            const size_t begin = line.find_first_not_of(' ');
            found[line.substr(begin, colon - begin)] = line.substr(colon + 2);
        }
    }
    return found;
}

int ProcessCount(pid_t pid, const std::string& kind) {
    const auto folder = "/proc/" + std::to_string(pid) + "/" + kind;
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

bool Eventually(const std::function<bool()>& question) {
    constexpr int64_t kPatienceNs = 60 * kNsPerS;
    constexpr int64_t kPauseNs = 10 * kNsPerMs;
    for (const int64_t deadline = MonotonicNow() + kPatienceNs; MonotonicNow() < deadline;) {
        if (question()) {
            return true;
        }
        SleepFor(kPauseNs);
    }
    return question();
}

sp<IServiceManager> Manager() {
    Eventually([] { return defaultServiceManager() != nullptr; });
    return defaultServiceManager();
}

Parcel& Call(const sp<IBinder>& target, uint32_t code, Parcel* reply, int32_t argument) {
    Parcel data;
    data.writeInt32(argument);
    reply->freeData();
    EXPECT_EQ(target->transact(code, data, reply), OK) << "code " << code;
    return *reply;
}

}  // namespace KVT::test
