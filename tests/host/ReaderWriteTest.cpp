// SPDX-License-Identifier: Apache-2.0
#include "host/ReaderWrite.h"

#include <android-base/file.h>
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <future>
#include <vector>

namespace KVT {
namespace {

using android::base::unique_fd;
using std::chrono::milliseconds;

constexpr milliseconds kPatience{100};
// More than any pipe or socket takes without a reader.
const std::string kText = std::string(1 << 20, 'x') + "end";

constexpr uid_t kReader = 2000;
std::string Gather() {
    return kText;
}

struct Ends {
    unique_fd reader;
    unique_fd writer;
};

Ends Open(bool socket = false) {
    int ends[2];
    EXPECT_EQ(socket ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends) : pipe(ends), 0);
    return {unique_fd(ends[0]), unique_fd(ends[1])};
}

TEST(ReaderWriteTest, GivesTheWholeTextToWhoReads) {
    for (const bool socket : {false, true}) {
        Ends ends = Open(socket);
        std::string read;
        auto reading = std::async([&] { android::base::ReadFdToString(ends.reader, &read); });
        EXPECT_EQ(WriteToReader(ends.writer.get(), kReader, Gather, milliseconds(10'000)),
                  android::OK);
        ends.writer.reset();
        reading.get();
        EXPECT_TRUE(read == kText) << read.size();
    }
    TemporaryFile file;
    std::string read;
    EXPECT_EQ(WriteToReader(file.fd, kReader, Gather, milliseconds(10'000)), android::OK);
    EXPECT_TRUE(android::base::ReadFileToString(file.path, &read));
    EXPECT_TRUE(read == kText) << read.size();
}

TEST(ReaderWriteTest, GivesUpWhoDoesNotRead) {
    const uint64_t nearlyFull = UINT64_MAX - 2;  // poll says that it takes more
    unique_fd counter(eventfd(0, EFD_CLOEXEC));
    ASSERT_EQ(write(counter.get(), &nearlyFull, sizeof(nearlyFull)), 8);
    const unique_fd device(open("/dev/null", O_WRONLY | O_CLOEXEC));
    Ends pipe = Open(), socket = Open(true), closedPipe = Open(), closedSocket = Open(true);
    closedPipe.reader.reset();
    closedSocket.reader.reset();
    struct {
        const char* name;
        int fd;
        android::status_t status;
    } const rows[] = {
        {"pipe", pipe.writer.get(), android::TIMED_OUT},
        {"full pipe", pipe.writer.get(), android::TIMED_OUT},
        {"socket", socket.writer.get(), android::TIMED_OUT},
        {"full socket", socket.writer.get(), android::TIMED_OUT},
        {"pipe without reader", closedPipe.writer.get(), -EIO},
        {"socket without reader", closedSocket.writer.get(), -EIO},
        {"event counter", counter.get(), android::BAD_TYPE},
        {"device", device.get(), android::BAD_TYPE},
        {"nothing", -1, android::BAD_TYPE},
    };
    for (const auto& row : rows) {
        const int flags = fcntl(row.fd, F_GETFL);
        EXPECT_EQ(WriteToReader(row.fd, kReader, Gather, kPatience), row.status) << row.name;
        EXPECT_EQ(fcntl(row.fd, F_GETFL), flags) << row.name;
    }
}

TEST(ReaderWriteTest, HasOneDeadlineForAllOfAText) {
    Ends ends = Open();
    auto reading = std::async([&] {
        for (char piece[4096]; read(ends.reader.get(), piece, sizeof(piece)) > 0;) {
            poll(nullptr, 0, 5);
        }
    });
    EXPECT_EQ(WriteToReader(ends.writer.get(), kReader, Gather, kPatience), android::TIMED_OUT);
    ends.writer.reset();
    reading.get();
}

TEST(ReaderWriteTest, HoldsFewThreadsAtATime) {
    std::vector<Ends> pipes;
    std::vector<std::future<android::status_t>> writes;
    for (const uid_t reader : {0u, 1000u, 2000u, 2000u}) {
        const int fd = pipes.emplace_back(Open()).writer.get();
        writes.push_back(std::async(std::launch::async, [fd, reader] {
            return WriteToReader(fd, reader, Gather, std::chrono::seconds(100));
        }));
        char first;
        EXPECT_EQ(read(pipes.back().reader.get(), &first, 1), 1) << "under way";
    }
    const Ends extra = Open();
    bool gathered = false;
    const auto write = [&](uid_t reader) {
        const auto gather = [&gathered] {
            gathered = true;
            return kText;
        };
        return WriteToReader(extra.writer.get(), reader, gather, kPatience);
    };
    EXPECT_EQ(write(1000), android::WOULD_BLOCK) << "four are under way";
    pipes[0].reader.reset();
    EXPECT_EQ(writes[0].get(), -EIO);
    EXPECT_EQ(write(2000), android::WOULD_BLOCK) << "of which one reader has two";
    EXPECT_FALSE(gathered);
    EXPECT_EQ(write(1000), android::TIMED_OUT);
    for (Ends& ends : pipes) {
        ends.reader.reset();
    }
}

}  // namespace
}  // namespace KVT
