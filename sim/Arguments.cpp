// SPDX-License-Identifier: Apache-2.0
#include "sim/Arguments.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "host/DidYouMean.h"

namespace KVT::sim {
namespace {

std::string Range(double least, double most) {
    std::ostringstream text;
    text.precision(12);
    text << "from " << least << " to " << most;
    return text.str();
}

Json::Value OfType(const char* type) {
    Json::Value schema;
    schema["type"] = type;
    return schema;
}

Json::Value Enumeration(const std::vector<std::string>& allowed) {
    Json::Value schema = OfType("string");
    for (const std::string& value : allowed) {
        schema["enum"].append(value);
    }
    return schema;
}

}  // namespace

Arguments::Arguments(const Json::Value& object, std::string where)
    : mObject(object), mWhere(std::move(where)) {}

Arguments Arguments::Describing(Json::Value* schema) {
    Arguments arguments(Json::Value(Json::objectValue), "");
    arguments.mSchema = schema;
    return arguments;
}

void Arguments::refuse(const char* name, const std::string& expected) const {
    throw ScenarioError(mWhere + ": '" + name + "' should be " + expected);
}

template <typename T, typename Take>
T Arguments::read(const char* name, const Json::Value& schema, const std::optional<T>& fallback,
                  T least, Take take) {
    if (mSchema != nullptr) {
        (*mSchema)["properties"][name] = schema;
        if (!fallback.has_value()) {
            (*mSchema)["required"].append(name);
        }
        return fallback.value_or(least);
    }
    if (!has(name)) {
        if (!fallback.has_value()) {
            throw ScenarioError(mWhere + ": '" + name + "' is missing");
        }
        return *fallback;
    }
    mRead.emplace_back(name);
    return take(mObject[name]);
}

int64_t Arguments::integer(const char* name, int64_t least, int64_t most,
                           std::optional<int64_t> fallback) {
    Json::Value schema = OfType("integer");
    schema["minimum"] = Json::Int64{least};
    schema["maximum"] = Json::Int64{most};
    return read(name, schema, fallback, least, [&](const Json::Value& value) {
        if (!value.isInt64() || value.asInt64() < least || value.asInt64() > most) {
            refuse(name, "a whole number " +
                             Range(static_cast<double>(least), static_cast<double>(most)));
        }
        return value.asInt64();
    });
}

double Arguments::number(const char* name, double least, double most) {
    Json::Value schema = OfType("number");
    schema["minimum"] = least;
    schema["maximum"] = most;
    return read(name, schema, std::optional<double>(), least, [&](const Json::Value& value) {
        if (!value.isNumeric() || value.asDouble() < least || value.asDouble() > most) {
            refuse(name, "a number " + Range(least, most));
        }
        return value.asDouble();
    });
}

bool Arguments::boolean(const char* name, std::optional<bool> fallback) {
    return read(name, OfType("boolean"), fallback, false, [&](const Json::Value& value) {
        if (!value.isBool()) {
            refuse(name, "true or false");
        }
        return value.asBool();
    });
}

std::string Arguments::text(const char* name, const std::optional<std::string>& fallback) {
    return read(name, OfType("string"), fallback, std::string(), [&](const Json::Value& value) {
        if (!value.isString()) {
            refuse(name, "a text");
        }
        return value.asString();
    });
}

void Arguments::requireAllowed(const char* name, const std::string& value,
                               const std::vector<std::string>& allowed) const {
    if (std::find(allowed.begin(), allowed.end(), value) == allowed.end()) {
        std::string all;
        for (const std::string& one : allowed) {
            all += (all.empty() ? "" : ", ") + one;
        }
        refuse(name, "one of " + all + ", and is '" + value + "'" + DidYouMean(value, allowed));
    }
}

std::string Arguments::choice(const char* name, const std::vector<std::string>& allowed,
                              const std::optional<std::string>& fallback) {
    return read(name, Enumeration(allowed), fallback, allowed.front(),
                [&](const Json::Value& value) {
                    if (!value.isString()) {
                        refuse(name, "a text");
                    }
                    requireAllowed(name, value.asString(), allowed);
                    return value.asString();
                });
}

std::vector<std::string> Arguments::texts(const char* name,
                                          const std::vector<std::string>& allowed) {
    using Texts = std::vector<std::string>;
    Json::Value schema = OfType("array");
    schema["items"] = allowed.empty() ? OfType("string") : Enumeration(allowed);
    return read(name, schema, std::optional(Texts()), Texts(), [&](const Json::Value& value) {
        if (!value.isArray()) {
            refuse(name, "a list of texts");
        }
        Texts list;
        for (const Json::Value& entry : value) {
            if (!entry.isString()) {
                refuse(name, "a list of texts");
            }
            if (!allowed.empty()) {
                requireAllowed(name, entry.asString(), allowed);
            }
            list.push_back(entry.asString());
        }
        return list;
    });
}

Json::Value Arguments::object(const char* name, const Json::Value& values) {
    const Json::Value empty(Json::objectValue);
    Json::Value schema = OfType("object");
    schema["additionalProperties"] = values;
    return read(name, schema, std::optional(empty), empty, [&](const Json::Value& value) {
        if (!value.isObject()) {
            refuse(name, "an object");
        }
        return value;
    });
}

std::vector<Json::Value> Arguments::objects(const char* name) {
    using Objects = std::vector<Json::Value>;
    Json::Value schema = OfType("array");
    schema["items"] = OfType("object");
    return read(name, schema, std::optional<Objects>(), Objects(), [&](const Json::Value& value) {
        if (!value.isArray()) {
            refuse(name, "a list of objects");
        }
        for (const Json::Value& entry : value) {
            if (!entry.isObject()) {
                refuse(name, "a list of objects");
            }
        }
        return Objects(value.begin(), value.end());
    });
}

void Arguments::finish() const {
    for (const std::string& name : mObject.getMemberNames()) {
        if (std::find(mRead.begin(), mRead.end(), name) == mRead.end()) {
            throw ScenarioError(mWhere + ": there is no argument '" + name + "'");
        }
    }
}

}  // namespace KVT::sim
