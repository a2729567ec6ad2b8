// SPDX-License-Identifier: Apache-2.0
// A scenario: any text is either refused with the place of its fault, or played to its end.
#include <android/log.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <sstream>

#include "fuzz/FuzzInput.h"
#include "fuzz/OneLife.h"
#include "sim/Player.h"
#include "sync/virtual/VirtualTime.h"

namespace KVT::fuzz {
namespace {

/** Virtual seconds of a scenario that are played: a day of frames takes minutes. */
constexpr int64_t kLongestNs = 20 * kNsPerS;

/** Ends a life, well, at one of the faults of the phone on which the service has to end. */
void EndAtFatalFault(const __android_logger_data*, const char* message) {
    if (strncmp(message, "fatal: ", strlen("fatal: ")) == 0) {
        EndLife();
    }
}

void Play(const sim::Scenario& scenario) {
    VirtualTime::Enter({});
    VirtualThread end("end of the life", [] {
        SleepFor(kLongestNs);
        EndLife();
    });
    std::ostringstream out;
    sim::Player(scenario, out).play();
    Require(out.str().find("\nSummary of ") != std::string::npos, "a scenario has no summary");
    EndLife();  // before its end would be awaited
}

void Run(const uint8_t* data, size_t size) {
    const int file = memfd_create("scenario", MFD_CLOEXEC);
    Require(write(file, data, size) == static_cast<ssize_t>(size), "no memory for a file");
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    try {
        const sim::Scenario scenario = sim::ReadScenarioFile(path);
        PlayALife([&scenario] { Play(scenario); });
    } catch (const sim::ScenarioError& e) {
        const std::string fault = e.what();
        Require(fault.rfind(path + ":", 0) == 0, "a fault without its file");
    }
    close(file);
}

}  // namespace
}  // namespace KVT::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    __android_log_set_logger(KVT::fuzz::EndAtFatalFault);
    KVT::fuzz::Run(data, size);
    return 0;
}
