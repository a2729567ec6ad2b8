// SPDX-License-Identifier: Apache-2.0
#include "fuzz/OneLife.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>

#include "fuzz/FuzzInput.h"

// The linker's names of where clang's coverage counters lie; null in a build without them.
extern "C" __attribute__((weak, visibility("hidden"))) uint8_t __start___sancov_cntrs[];
extern "C" __attribute__((weak, visibility("hidden"))) uint8_t __stop___sancov_cntrs[];

namespace KVT::fuzz {
namespace {

/** Real seconds after which a life counts as hanging; it takes a few milliseconds. */
constexpr unsigned kPatienceS = 30;

/** The counters of coverage, and memory through which a child hands its own over. */
class Coverage {
  public:
    Coverage() : mSize(static_cast<size_t>(__stop___sancov_cntrs - __start___sancov_cntrs)) {
        if (mSize > 0) {
            void* memory =
                mmap(nullptr, mSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
            Require(memory != MAP_FAILED, "no memory to share");
            mShared = static_cast<uint8_t*>(memory);
        }
    }

    void handOver() { copy(mShared, __start___sancov_cntrs); }
    void takeOver() { copy(__start___sancov_cntrs, mShared); }

  private:
    void copy(uint8_t* to, const uint8_t* from) const {
        if (mSize > 0) {
            memcpy(to, from, mSize);
        }
    }

    const size_t mSize;
    uint8_t* mShared = nullptr;
};

Coverage& TheCoverage() {
    static Coverage coverage;
    return coverage;
}

}  // namespace

void EndLife() {
    TheCoverage().handOver();
    _exit(0);  // its threads are still there
}

int EndOfALife(const std::function<void()>& life) {
    Coverage& coverage = TheCoverage();
    const pid_t child = fork();
    Require(child >= 0, "no process to live in");
    if (child == 0) {
        signal(SIGALRM, SIG_DFL);
        alarm(kPatienceS);
        life();
        EndLife();
    }
    int status = 0;
    pid_t ended = 0;
    do {
        ended = waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);  // the fuzzer has a clock of its own
    Require(ended == child, "a life's end was not seen");
    if (status == 0) {
        coverage.takeOver();
    }
    return status;
}

void PlayALife(const std::function<void()>& life) {
    const int status = EndOfALife(life);
    Require(!WIFSIGNALED(status) || WTERMSIG(status) != SIGALRM, "a life hung");
    Require(status == 0, "a life ended before its time");
}

}  // namespace KVT::fuzz
