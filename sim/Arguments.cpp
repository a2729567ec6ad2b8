// SPDX-License-Identifier: Apache-2.0
#include "sim/Arguments.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace KVT::sim {
namespace {

std::string Range(double least, double most) {
    std::ostringstream text;
    text.precision(12);
    text << "from " << least << " to " << most;
    return text.str();
}

}  // namespace

Arguments::Arguments(const Json::Value& object, std::string where)
    : mObject(object), mWhere(std::move(where)) {}

void Arguments::refuse(const char* name, const std::string& expected) const {
    throw ScenarioError(mWhere + ": '" + name + "' should be " + expected);
}

const Json::Value& Arguments::need(const char* name) {
    if (!has(name)) {
        throw ScenarioError(mWhere + ": '" + name + "' is missing");
    }
    mRead.emplace_back(name);
    return mObject[name];
}

int64_t Arguments::integer(const char* name, int64_t least, int64_t most) {
    const Json::Value& value = need(name);
    if (!value.isInt64() || value.asInt64() < least || value.asInt64() > most) {
        refuse(name,
               "a whole number " + Range(static_cast<double>(least), static_cast<double>(most)));
    }
    return value.asInt64();
}

int64_t Arguments::integer(const char* name, int64_t least, int64_t most, int64_t fallback) {
    return has(name) ? integer(name, least, most) : fallback;
}

double Arguments::number(const char* name, double least, double most) {
    const Json::Value& value = need(name);
    if (!value.isNumeric() || value.asDouble() < least || value.asDouble() > most) {
        refuse(name, "a number " + Range(least, most));
    }
    return value.asDouble();
}

bool Arguments::boolean(const char* name) {
    const Json::Value& value = need(name);
    if (!value.isBool()) {
        refuse(name, "true or false");
    }
    return value.asBool();
}

bool Arguments::boolean(const char* name, bool fallback) {
    return has(name) ? boolean(name) : fallback;
}

std::string Arguments::text(const char* name) {
    const Json::Value& value = need(name);
    if (!value.isString()) {
        refuse(name, "a text");
    }
    return value.asString();
}

std::string Arguments::text(const char* name, const std::string& fallback) {
    return has(name) ? text(name) : fallback;
}

std::vector<std::string> Arguments::texts(const char* name) {
    std::vector<std::string> list;
    if (!has(name)) {
        return list;
    }
    const Json::Value& value = need(name);
    if (!value.isArray()) {
        refuse(name, "a list of texts");
    }
    for (const Json::Value& entry : value) {
        if (!entry.isString()) {
            refuse(name, "a list of texts");
        }
        list.push_back(entry.asString());
    }
    return list;
}

Json::Value Arguments::object(const char* name) {
    if (!has(name)) {
        return Json::Value(Json::objectValue);
    }
    const Json::Value& value = need(name);
    if (!value.isObject()) {
        refuse(name, "an object");
    }
    return value;
}

void Arguments::finish() const {
    for (const std::string& name : mObject.getMemberNames()) {
        if (std::find(mRead.begin(), mRead.end(), name) == mRead.end()) {
            throw ScenarioError(mWhere + ": there is no argument '" + name + "'");
        }
    }
}

}  // namespace KVT::sim
