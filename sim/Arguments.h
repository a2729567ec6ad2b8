// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace KVT::sim {

/** A mistake of whoever wrote a scenario; what() says what was expected. */
class ScenarioError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/**
 * The arguments of a scenario event: each is read by name and kind, and what was never asked for is
 * a mistake, too. All readers throw ScenarioError.
 */
class Arguments {
  public:
    Arguments(const Json::Value& object, std::string where);

    int64_t integer(const char* name, int64_t least, int64_t most);
    int64_t integer(const char* name, int64_t least, int64_t most, int64_t fallback);
    double number(const char* name, double least, double most);
    bool boolean(const char* name);
    bool boolean(const char* name, bool fallback);
    std::string text(const char* name);
    std::string text(const char* name, const std::string& fallback);
    /** A list of texts; empty when it is not there. */
    std::vector<std::string> texts(const char* name);
    /** An object, as JSON; null when it is not there. */
    Json::Value object(const char* name);
    bool has(const char* name) const { return mObject.isMember(name); }

    /** Refuses arguments that nobody read. */
    void finish() const;

  private:
    const Json::Value& need(const char* name);
    [[noreturn]] void refuse(const char* name, const std::string& expected) const;

    const Json::Value mObject;
    const std::string mWhere;
    std::vector<std::string> mRead;
};

}  // namespace KVT::sim
