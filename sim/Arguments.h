// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <cstdint>
#include <optional>
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
 *
 * What reads arguments also tells what they are: with Describing(), every reader notes what it would
 * take in a JSON schema, and returns the least of it.
 */
class Arguments {
  public:
    Arguments(const Json::Value& object, std::string where);
    /** @param schema gets "properties" and "required"; lives as long as this */
    static Arguments Describing(Json::Value* schema);

    // Each is required unless it has a fallback.
    int64_t integer(const char* name, int64_t least, int64_t most,
                    std::optional<int64_t> fallback = {});
    double number(const char* name, double least, double most);
    bool boolean(const char* name, std::optional<bool> fallback = {});
    std::string text(const char* name, const std::optional<std::string>& fallback = {});
    /** One of `allowed`. */
    std::string choice(const char* name, const std::vector<std::string>& allowed,
                       const std::optional<std::string>& fallback = {});
    /** A list of texts, of those that are allowed if any are named; empty when it is not there. */
    std::vector<std::string> texts(const char* name, const std::vector<std::string>& allowed = {});
    /** An object, as JSON, each value of it as in the schema `values`; empty when it is not there. */
    Json::Value object(const char* name, const Json::Value& values = Json::Value(true));
    /** A list of objects. */
    std::vector<Json::Value> objects(const char* name);
    bool describes() const { return mSchema != nullptr; }
    bool has(const char* name) const { return mObject.isMember(name); }

    /** Refuses arguments that nobody read. */
    void finish() const;

  private:
    /** @return what `take` makes of the value; the fallback of one that is missing */
    template <typename T, typename Take>
    T read(const char* name, const Json::Value& schema, const std::optional<T>& fallback, T least,
           Take take);
    void requireAllowed(const char* name, const std::string& value,
                        const std::vector<std::string>& allowed) const;
    [[noreturn]] void refuse(const char* name, const std::string& expected) const;

    const Json::Value mObject;
    const std::string mWhere;
    std::vector<std::string> mRead;
    Json::Value* mSchema = nullptr;
};

}  // namespace KVT::sim
