// SPDX-License-Identifier: Apache-2.0
// Holds docs/protocol.md to what the dispatcher serves and the clients send.
#include <android-base/file.h>
#include <android-base/strings.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <sstream>

#include "service/IKVTService.h"
#include "service/Transactions.h"
#include "sync/virtual/VirtualTime.h"
#include "tests/service/ClientSide.h"
#include "tests/support/Bytes.h"
#include "tools/kvtctl/Kvtctl.h"

namespace KVT {
namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::status_t;
using android::base::Split;
using android::base::StartsWith;
using android::base::StringReplace;
using android::base::Trim;

/** The lines between a heading and the next of its level. */
std::vector<std::string> Section(const std::string& heading) {
    std::string text;
    EXPECT_TRUE(android::base::ReadFileToString(KVT_PROTOCOL_DOC, &text));
    std::vector<std::string> lines;
    bool inside = false;
    for (const std::string& line : Split(text, "\n")) {
        if (StartsWith(line, "## ")) {
            inside = line == "## " + heading;
        } else if (inside) {
            lines.push_back(line);
        }
    }
    return lines;
}

struct Row {
    std::string name, sender, call, token, request, reply, command;
};

std::map<uint32_t, Row> DocumentedTransactions() {
    constexpr size_t kColumns = 8;
    std::map<uint32_t, Row> rows;
    for (const std::string& line : Section("Transactions")) {
        std::vector<std::string> cells = Split(line, "|");
        if (cells.size() != kColumns + 2 || !isdigit(static_cast<unsigned char>(line[2]))) {
            continue;
        }
        for (std::string& cell : cells) {
            cell = Trim(cell);
        }
        const auto code = static_cast<uint32_t>(std::stoul(cells[1]));
        const Row row{cells[2], cells[3], cells[4], cells[5], cells[6], cells[7], cells[8]};
        EXPECT_TRUE(rows.emplace(code, row).second) << "twice: " << line;
    }
    return rows;
}

/** Reads a request by the document's description of it. */
void ReadAsDescribed(const std::string& request, const Parcel& data) {
    int32_t number = 0;
    const std::pair<const char*, std::function<bool()>> types[] = {
        {"int32 ", [&] { return data.readInt32(&number) == android::OK; }},
        {"int64 ",
         [&] {
             int64_t value;
             return data.readInt64(&value) == android::OK;
         }},
        {"bool ",
         [&] {
             bool value;
             return data.readBool(&value) == android::OK;
         }},
        {"String16 ",
         [&] {
             size_t length;
             return data.readString16Inplace(&length) != nullptr;
         }},
        {"C string ", [&] { return data.readCString() != nullptr; }},
        {"strong binder ", [&] { return data.readStrongBinder() != nullptr; }},
    };
    if (request == "none") {
        return;
    }
    for (std::string field : Split(request, ",")) {
        field = Trim(field);
        int32_t times = 1;
        if (const std::string repeated = "count × "; StartsWith(field, repeated)) {
            times = number;
            field.erase(0, repeated.size());
        }
        const auto type = std::find_if(std::begin(types), std::end(types), [&field](const auto& t) {
            return StartsWith(field, t.first);
        });
        ASSERT_NE(type, std::end(types)) << field;
        for (int32_t i = 0; i < times; ++i) {
            ASSERT_TRUE(type->second()) << field;
        }
    }
}

/** Stands for the service in another process, and looks at each call. */
class Remote : public android::BBinder {
  public:
    std::function<void(uint32_t code, const Parcel& data, uint32_t flags)> look;

  protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        look(code, data, flags);
        return (flags & IBinder::FLAG_ONEWAY) != 0 ? android::OK : reply->writeInt32(0);
    }
};

class Listener : public BnKVTListener {
    void NotifyGameFpsToAps(int32_t) override {}
};

class ProtocolDoc : public testing::Test {
  public:
    ProtocolDoc() {
        VirtualTime::Enter({});
        Publish(remote);
    }

    using Look = decltype(Remote::look);

    /** Expects one call of what the action does, and looks at it. */
    void expectCall(const std::function<void()>& action, const Look& look) {
        int calls = 0;
        remote->look = [&](uint32_t code, const Parcel& data, uint32_t flags) {
            ++calls;
            look(code, data, flags);
        };
        action();
        EXPECT_EQ(calls, 1);
    }

    static void run(const std::string& command) {
        const std::vector<std::string> words = Split(command, " ");
        std::vector<const char*> argv;
        for (const std::string& word : words) {
            argv.push_back(word.c_str());
        }
        std::ostringstream out;
        EXPECT_EQ(ctl::Run(static_cast<int>(argv.size()), argv.data(), out, out), 0) << out.str();
    }

    const sp<Remote> remote = new Remote;
};

TEST_F(ProtocolDoc, ListsTheTransactionsThatTheDispatcherServes) {
    std::map<uint32_t, Row> rows = DocumentedTransactions();
    const std::map<Sender, std::string> senders = {{Sender::kListener, "listener"},
                                                   {Sender::kFramework, "framework"},
                                                   {Sender::kCompositor, "compositor"}};
    for (const TransactionInfo& served : Transactions()) {
        SCOPED_TRACE(served.name);
        const auto row = rows.find(served.code);
        ASSERT_NE(row, rows.end()) << "code " << served.code << " is not documented";
        EXPECT_EQ(row->second.name, served.name);
        EXPECT_EQ(row->second.sender, senders.at(served.sender));
        EXPECT_EQ(row->second.call, served.call == Call::kOneWay ? "one-way" : "waits");
        EXPECT_EQ(row->second.token, served.checksToken ? "yes" : "no");
        EXPECT_EQ(row->second.request, served.request);
        EXPECT_EQ(row->second.reply, served.reply);
        const std::string command = served.command == nullptr ? "" : served.command;
        EXPECT_EQ(row->second.command.substr(0, command.size() + 1),
                  command.empty() ? "" : "`" + command);
        rows.erase(row);
    }
    for (const auto& [code, row] : rows) {
        ADD_FAILURE() << "nobody serves code " << code << ", " << row.name;
    }
}

TEST_F(ProtocolDoc, DescribesWhatIsSent) {
    for (const auto& entry : DocumentedTransactions()) {
        const uint32_t code = entry.first;
        const Row& row = entry.second;
        SCOPED_TRACE(row.name);
        const auto send = [&] {
            if (row.command.empty()) {
                ASSERT_EQ(code, UNREGISTER_LISTENER) << "every other one has a command";
                IKVTService::asInterface(remote)->UnRegisterListener(new Listener);
            } else {
                run("kvtctl " + Trim(StringReplace(row.command, "`", " ", true)));
            }
        };
        expectCall(send, [&](uint32_t sent, const Parcel& data, uint32_t flags) {
            EXPECT_EQ(sent, code);
            EXPECT_EQ(row.call, (flags & IBinder::FLAG_ONEWAY) != 0 ? "one-way" : "waits");
            if (row.token == "yes") {
                EXPECT_TRUE(data.enforceInterface(IKVTService::descriptor));
            }
            if (code != SELF_TEST) {  // which kvtctl asks without saying what for
                ReadAsDescribed(row.request, data);
            }
            EXPECT_EQ(data.dataAvail(), 0u);
        });
    }
}

TEST_F(ProtocolDoc, ShowsTheBytesThatAreSent) {
    // An example is a line ending in "code N, one-way:", and a fenced block of command and bytes.
    std::map<std::string, std::pair<uint32_t, Bytes>> examples;
    std::string command;
    uint32_t code = 0;
    bool fenced = false;
    for (const std::string& line : Section("Worked examples")) {
        if (line == "```") {
            fenced = !fenced;
        } else if (const size_t at = line.find("code "); !fenced && at != std::string::npos) {
            code = static_cast<uint32_t>(std::stoul(line.substr(at + strlen("code "))));
        } else if (fenced && StartsWith(line, "kvtctl ")) {
            command = line;
            examples[command].first = code;
        } else if (fenced) {
            const Bytes bytes = FromHex(line.substr(0, line.find('#')));
            Bytes& all = examples[command].second;
            all.insert(all.end(), bytes.begin(), bytes.end());
        }
    }
    EXPECT_EQ(examples.size(), 2u);
    for (const auto& entry : examples) {
        SCOPED_TRACE(entry.first);
        expectCall([&] { run(entry.first); },
                   [&](uint32_t sent, const Parcel& data, uint32_t flags) {
                       EXPECT_EQ(sent, entry.second.first);
                       EXPECT_EQ(flags, IBinder::FLAG_ONEWAY);
                       EXPECT_EQ(BytesOf(data), entry.second.second);
                   });
    }
}

}  // namespace
}  // namespace KVT
