// SPDX-License-Identifier: Apache-2.0
// The programs as they run on a phone, and apps that attack the service. Meanwhile the framework's
// events take effect, and queries are answered; afterwards nothing of it is left.
//
// KVT_ATTACK_ROUNDS (4 unless set) is how many events the framework sends during each attack.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <optional>
#include <sstream>

#include "service/IKVTService.h"
#include "sync/Clock.h"
#include "tests/vm/Attacks.h"
#include "tests/vm/Framework.h"
#include "tests/vm/Processes.h"

namespace KVT::test {

// In the tests' names.
void PrintTo(const Attack& attack, std::ostream* out) {
    *out << attack.name;
}

namespace {

using namespace android;
namespace fs = std::filesystem;

constexpr int64_t kEventNs = 3 * kNsPerS;
constexpr int64_t kQueryNs = 200 * kNsPerMs;
constexpr int kMemoryKb = 2'048;
constexpr int64_t kBetweenBlowsNs = 5 * kNsPerMs;

int Rounds() {
    const char* const rounds = getenv("KVT_ATTACK_ROUNDS");
    return rounds == nullptr ? 4 : atoi(rounds);
}

/** What the processes of a test tell each other. */
struct Figures {
    std::atomic<int> blows{0};
    std::atomic<int64_t> slowestEvent{0};
    std::atomic<int64_t> slowestQuery{0};
};

/** Expects events to take effect, and answers. */
class SteadyFramework : public Framework {
  public:
    explicit SteadyFramework(Figures* figures) : mFigures(figures) {}

    void change() { note(Framework::change(kEventNs), "an event", &mFigures->slowestEvent); }
    void ask() { note(Framework::ask(), "an answer", &mFigures->slowestQuery); }

  private:
    static void note(std::optional<int64_t> duration, const char* what,
                     std::atomic<int64_t>* slowest) {
        EXPECT_TRUE(duration.has_value()) << what << " did not come";
        *slowest = std::max<int64_t>(*slowest, duration.value_or(kEventNs));
    }

    Figures* const mFigures;
};

/** A program of the system; what it logs is in a file with its name. */
class Program {
  public:
    Program(const fs::path& folder, const fs::path& program, std::vector<std::string> arguments)
        : mLog(folder / program.filename()), mProcess([&] {
              const std::string log = mLog.string();
              // A page of 2 MB more or less says nothing about what the program keeps.
              prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);
              freopen(log.c_str(), "w", stdout);
              freopen(log.c_str(), "a", stderr);
              std::vector<char*> words = {const_cast<char*>(program.c_str())};
              for (std::string& argument : arguments) {
                  words.push_back(argument.data());
              }
              words.push_back(nullptr);
              execv(program.c_str(), words.data());
              abort();
          }) {}

    pid_t pid() const { return mProcess.pid(); }
    std::string log() const {
        std::stringstream text;
        text << std::ifstream(mLog).rdbuf();
        return text.str();
    }

  private:
    const fs::path mLog;
    Child mProcess;
};

/** What a process has, beside the pool of binder threads, which grows to its limit and stays. */
struct Holdings {
    int threads = 0;
    int descriptors = 0;
    int memoryKb = 0;
};

Holdings HoldingsOf(pid_t pid) {
    const std::string process = "/proc/" + std::to_string(pid);
    Holdings holdings;
    for (const auto& thread : fs::directory_iterator(process + "/task")) {
        std::string name;
        std::getline(std::ifstream(thread.path() / "comm"), name);
        holdings.threads += name.compare(0, 7, "binder:") != 0;
    }
    holdings.descriptors = ProcessCount(pid, "fd");
    std::ifstream status(process + "/status");
    for (std::string line; std::getline(status, line);) {
        sscanf(line.c_str(), "VmRSS: %d", &holdings.memoryKb);
    }
    return holdings;
}

class AttackVm : public testing::Test {
  protected:
    AttackVm() {
        InProcess([] { EXPECT_NE(Manager(), nullptr); });
        mPhone.emplace(mFolder, KVT_PHONE,
                       std::vector<std::string>{KVT_SOURCE_DIR "/tests/vm/faults.jsonl"});
        EXPECT_TRUE(Eventually(
            [this] { return mPhone->log().find("the phone is up") != std::string::npos; }));
        mService.emplace(mFolder, KVT_SERVICE,
                         std::vector<std::string>{"--config", KVT_SOURCE_DIR "/tests/vm/faults.xml",
                                                  "--cpuset", mFolder / "cpus"});
        // The first change also makes what is made once.
        InProcess([this] {
            SteadyFramework framework(mFigures);
            for (int i = 0; i < 4; ++i) {
                framework.change();
                framework.ask();
                framework.dump();
            }
        });
    }

    ~AttackVm() override {
        if (HasFailure()) {
            const std::string log = mService->log();
            std::cerr << log.substr(log.size() - std::min<size_t>(log.size(), 1'500));
        }
        munmap(mFigures, sizeof(Figures));
        mService.reset();
        fs::remove_all(mFolder);
    }

    /** As so many apps, until the object goes. */
    std::vector<std::unique_ptr<Child>> attack(const Attack& attack) {
        std::vector<std::unique_ptr<Child>> apps;
        for (int process = 0; process < attack.processes; ++process) {
            apps.push_back(std::make_unique<Child>([this, &attack, process] {
                Strike(attack, process, &mFigures->blows, kBetweenBlowsNs);
            }));
        }
        return apps;
    }

    static fs::path MakeFolder() {
        char folder[] = "/tmp/attack.XXXXXX";
        return mkdtemp(folder);
    }

    Figures* const mFigures = new (mmap(nullptr, sizeof(Figures), PROT_READ | PROT_WRITE,
                                        MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Figures;
    const fs::path mFolder = MakeFolder();
    Program mManager{mFolder, KVT_MANAGER, {}};
    std::optional<Program> mPhone;
    std::optional<Program> mService;
};

TEST_F(AttackVm, AppsAreRefusedWhateverChangesTheState) {
    for (const uid_t uid : {kApp, kIsolated}) {
        InProcess([uid] {
            const sp<IBinder> service = Manager()->getService(IKVTService::descriptor);
            ASSERT_EQ(setuid(uid), 0);
            for (const TransactionInfo& row : Transactions()) {
                Parcel data;
                Parcel reply;
                data.writeInterfaceToken(IKVTService::descriptor);
                const bool isForAll = row.sender == Sender::kListener || row.code == SELF_TEST ||
                                      row.code == GET_MAX_LCD_FPS ||
                                      row.code == GET_NEW_SCHEME_SUPPORTED;
                EXPECT_EQ(service->transact(row.code, data, &reply) == PERMISSION_DENIED, !isForAll)
                    << row.name << " by " << uid;
            }
            EXPECT_EQ(Manager()->checkService(IKVTService::descriptor) == nullptr,
                      uid == kIsolated);
        });
    }
}

class EachAttackVm : public AttackVm, public testing::WithParamInterface<Attack> {
  protected:
    /** The framework at work under attack. */
    void endure(int rounds) {
        const auto apps = attack(GetParam());
        InProcess([this, rounds] {
            const int begin = mFigures->blows;
            EXPECT_TRUE(Eventually([&] { return mFigures->blows > begin; }));
            SteadyFramework framework(mFigures);
            for (int round = 0; round < rounds && !HasFailure(); ++round) {
                framework.change();
                for (int i = 0; i < 5; ++i) {
                    SleepFor(20 * kNsPerMs);
                    framework.ask();
                }
            }
        });
    }

    /** What the service holds when all of the attackers are gone. */
    Holdings holdings() {
        Holdings found;
        EXPECT_TRUE(Eventually([&] {
            found = HoldingsOf(mService->pid());
            return found.threads <= mQuiet.threads && found.descriptors <= mQuiet.descriptors;
        })) << found.threads
            << " threads, before " << mQuiet.threads << "; " << found.descriptors
            << " descriptors, before " << mQuiet.descriptors;
        return found;
    }

    const Holdings mQuiet = HoldingsOf(mService->pid());
};

TEST_P(EachAttackVm, IsEnduredAndLeavesNothing) {
    mFigures->slowestQuery = 0;
    InProcess([this] {
        SteadyFramework framework(mFigures);
        for (int i = 0; i < 20; ++i) {
            framework.ask();
        }
    });
    const int64_t quietQuery = mFigures->slowestQuery.exchange(0);
    mFigures->slowestEvent = 0;
    // The pool of threads grows first, and each keeps some memory.
    constexpr int kWarmUp = 2;
    endure(kWarmUp);
    const Holdings before = holdings();
    endure(Rounds());
    InProcess([this] { SteadyFramework(mFigures).change(); });
    const Holdings after = holdings();
    const int64_t event = mFigures->slowestEvent;
    const int64_t query = mFigures->slowestQuery;
    EXPECT_LT(event, kEventNs);
    EXPECT_LT(query, std::max(kQueryNs, 10 * quietQuery));
    EXPECT_LT(after.memoryKb - before.memoryKb, kMemoryKb);
    printf("%d blows: events %lld ms, queries %lld ms (quiet %lld us), memory %+d kB\n",
           mFigures->blows.load(), static_cast<long long>(event / kNsPerMs),
           static_cast<long long>(query / kNsPerMs), static_cast<long long>(quietQuery / kNsPerUs),
           after.memoryKb - before.memoryKb);
}

INSTANTIATE_TEST_SUITE_P(Apps, EachAttackVm, testing::ValuesIn(Attacks()),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace KVT::test
