// SPDX-License-Identifier: Apache-2.0
// Holds docs/protocol.md to what the dispatcher serves and the clients send.
#include <android-base/file.h>
#include <android-base/strings.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <sstream>

#include "service/IKVTService.h"
#include "service/Transactions.h"
#include "sync/virtual/VirtualTime.h"
#include "tests/service/ClientSide.h"
#include "tests/support/Bytes.h"
#include "tests/support/Remote.h"
#include "tools/kvtctl/Kvtctl.h"

namespace KVT {
namespace {

using android::IBinder;
using android::OK;
using android::Parcel;
using android::base::Split;
using android::base::StartsWith;

/** The text between a heading and the next of its level. */
std::string Section(const std::string& heading) {
    std::string text;
    EXPECT_TRUE(android::base::ReadFileToString(KVT_SOURCE_DIR "/docs/protocol.md", &text));
    const size_t begin = text.find("\n## " + heading + "\n");
    return text.substr(begin, text.find("\n## ", begin + 1) - begin);
}

/** The rows of the table, without its head. */
std::vector<std::string> DocumentedTransactions() {
    constexpr int kBars = 10;
    std::vector<std::string> rows;
    for (const std::string& line : Split(Section("Transactions"), "\n")) {
        if (std::count(line.begin(), line.end(), '|') == kBars) {
            rows.push_back(line);
        }
    }
    rows.erase(rows.begin(), rows.begin() + 2);
    return rows;
}

/** A transaction's row, all but the example of its command. */
std::string RowOf(const TransactionInfo& t) {
    const char* const sender = t.sender == Sender::kListener    ? "listener"
                               : t.sender == Sender::kFramework ? "framework"
                                                                : "compositor";
    const char* const callers = t.callers == Callers::kAnyone      ? "anyone"
                                : t.callers == Callers::kFramework ? "framework"
                                                                   : "compositor";
    return "| " + std::to_string(t.code) + " | " + t.name + " | " + sender + " | " + callers +
           " | " + (t.call == Call::kOneWay ? "one-way" : "waits") + " | " +
           (t.checksToken ? "yes" : "no") + " | " + t.request + " | " + t.reply + " | ";
}

/** Reads a field by its description; `number` is the last int32. */
bool Read(const std::string& field, const Parcel& data, int32_t* number) {
    int64_t time;
    bool flag;
    size_t length;
    return StartsWith(field, "int32 ")      ? data.readInt32(number) == OK
           : StartsWith(field, "int64 ")    ? data.readInt64(&time) == OK
           : StartsWith(field, "bool ")     ? data.readBool(&flag) == OK
           : StartsWith(field, "String16 ") ? data.readString16Inplace(&length) != nullptr
           : StartsWith(field, "C string ")
               ? data.readCString() != nullptr
               : StartsWith(field, "strong binder ") && data.readStrongBinder() != nullptr;
}

void ReadAsDescribed(const std::string& request, const Parcel& data) {
    const std::string repeated = " count × ";
    int32_t number = 0;
    for (const std::string& field : Split(" " + request, ",")) {
        const bool isList = StartsWith(field, repeated);
        const int32_t times = isList ? number : 1;
        for (int32_t i = 0; i < times; ++i) {
            ASSERT_TRUE(Read(field.substr(isList ? repeated.size() : 1), data, &number)) << field;
        }
    }
}

using Look = std::function<void(uint32_t code, const Parcel& data, uint32_t flags)>;

/** Expects one call of a kvtctl command, and looks at it. */
void ExpectCall(const std::string& command, const Look& look) {
    int calls = 0;
    Publish(new Remote([&](uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
        ++calls;
        look(code, data, flags);
        return (flags & IBinder::FLAG_ONEWAY) != 0 ? OK : reply->writeInt32(0);
    }));
    const std::vector<std::string> words = Split(command, " ");
    std::vector<const char*> argv;
    for (const std::string& word : words) {
        argv.push_back(word.c_str());
    }
    std::ostringstream out;
    EXPECT_EQ(ctl::Run(static_cast<int>(argv.size()), argv.data(), out, out), 0) << out.str();
    EXPECT_EQ(calls, 1);
}

class ProtocolDoc : public testing::Test {
  public:
    ProtocolDoc() { VirtualTime::Enter({}); }
};

TEST_F(ProtocolDoc, ListsTheTransactionsThatTheDispatcherServesAndDescribesWhatIsSent) {
    const std::vector<std::string> rows = DocumentedTransactions();
    const std::vector<TransactionInfo> served(Transactions().begin(), Transactions().end());
    ASSERT_EQ(rows.size(), served.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        const std::string& row = rows[i];
        const TransactionInfo& t = served[i];
        const std::string command = t.command == nullptr ? "|" : std::string("`") + t.command;
        ASSERT_THAT(row, testing::StartsWith(RowOf(t) + command));
        if (t.command == nullptr) {
            continue;
        }
        const auto look = [&t](uint32_t code, const Parcel& data, uint32_t flags) {
            EXPECT_EQ(code, t.code);
            EXPECT_EQ(t.call == Call::kOneWay, (flags & IBinder::FLAG_ONEWAY) != 0);
            EXPECT_TRUE(!t.checksToken || data.enforceInterface(IKVTService::descriptor));
            if (code != SELF_TEST && t.request != std::string("none")) {
                ReadAsDescribed(t.request, data);  // self-test asks without saying what for
            }
            EXPECT_EQ(data.dataAvail(), 0u);
        };
        ExpectCall("kvtctl " + Split(row, "`")[1], look);
    }
}

TEST_F(ProtocolDoc, ShowsTheBytesThatAreSent) {
    // An example is a text with "code N", and a block in three backticks: the command, its bytes.
    const std::vector<std::string> parts = Split(Section("Worked examples"), "`");
    ASSERT_EQ(parts.size(), 13u) << "two examples";
    for (const size_t block : {3u, 9u}) {
        const std::string& intro = parts[block - 3];
        const std::vector<std::string> lines = Split(parts[block], "\n");
        std::string bytes;
        for (size_t i = 2; i < lines.size(); ++i) {
            bytes += lines[i].substr(0, lines[i].find('#'));
        }
        ExpectCall(lines[1], [&](uint32_t code, const Parcel& data, uint32_t flags) {
            EXPECT_THAT(intro, testing::ContainsRegex("code " + std::to_string(code) + "[^0-9]"));
            EXPECT_EQ(flags, IBinder::FLAG_ONEWAY);
            EXPECT_EQ(BytesOf(data), FromHex(bytes));
        });
    }
}

}  // namespace
}  // namespace KVT
