// SPDX-License-Identifier: Apache-2.0
#include "sim/Scenario.h"

#include <cutils/properties.h>
#include <json/json.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <memory>
#include <sstream>

#include "common/CleanText.h"
#include "sim/fakes/FakePhone.h"
#include "sync/Clock.h"

namespace KVT::sim {
namespace {

constexpr int64_t kLatestMs = int64_t{24} * 3600 * 1000;
constexpr size_t kLongestLine = size_t{64} * 1024;
// Three times what a day with an event a second takes, at sixty characters an event.
constexpr size_t kLargestFile = size_t{16} * 1024 * 1024;

/** A line without its end, of which `left` characters may be left; no more than is good is read. */
std::string ReadLine(std::istream& in, size_t* left) {
    std::string line;
    for (int c = in.get(); c != std::istream::traits_type::eof(); c = in.get()) {
        if ((*left)-- == 0) {
            throw ScenarioError("the file is too long");
        }
        if (c == '\n') {
            break;
        }
        if (line.size() == kLongestLine) {
            throw ScenarioError("the line is too long");
        }
        line += static_cast<char>(c);
    }
    return line;
}

Json::Value ParseLine(const std::string& line) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["stackLimit"] = 32;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value object;
    std::string errors;
    try {
        if (!reader->parse(line.data(), line.data() + line.size(), &object, &errors)) {
            errors.erase(errors.find_last_not_of('\n') + 1);
            std::replace(errors.begin(), errors.end(), '\n', ' ');
            throw ScenarioError("no JSON: " + errors);
        }
    } catch (const Json::Exception& e) {
        throw ScenarioError(std::string("no JSON: ") + e.what());
    }
    if (!object.isObject()) {
        throw ScenarioError("each line should be a JSON object");
    }
    return object;
}

/** "packages focus=com.example.app visible=[...]": the event as the report shows it. */
std::string Describe(const Json::Value& object) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    std::string text = object["event"].asString();
    for (const std::string& name : object.getMemberNames()) {
        if (name != "event" && name != "at_ms") {
            const Json::Value& value = object[name];
            text +=
                " " + name + "=" +
                CleanText(value.isString() ? value.asString() : Json::writeString(writer, value));
        }
    }
    return text;
}

/** The arguments of a setup, of which those of events under their names are still to be read. */
struct Setup {
    std::string config;
    Json::Value properties;
    Json::Value panel;
    Json::Value types;
    std::vector<std::string> missing;
};

Setup ReadArguments(Arguments& arguments) {
    Setup setup;
    setup.config = arguments.text("config", "");
    Json::Value text;
    text["type"] = "string";
    setup.properties = arguments.object("properties", text);
    setup.panel = arguments.object("panel");
    setup.types = arguments.object("types");
    setup.missing = arguments.texts("missing", FakePhone::FullNames());
    return setup;
}

Action Prepare(const char* event, const Json::Value& itsArguments) {
    Arguments arguments(itsArguments, event);
    Action action = FindEventType(event)->prepare(arguments);
    arguments.finish();
    return action;
}

void ReadSetup(Json::Value object, const std::string& folder, Scenario* scenario) {
    object.removeMember("event");
    Arguments arguments(object, "setup");
    const Setup setup = ReadArguments(arguments);
    arguments.finish();
    if (!setup.config.empty()) {
        scenario->configFile = setup.config[0] == '/' ? setup.config : folder + setup.config;
        if (!std::ifstream(scenario->configFile)) {
            throw ScenarioError("setup: configuration file '" + scenario->configFile +
                                "' can not be read");
        }
    }
    for (const std::string& name : setup.properties.getMemberNames()) {
        const Json::Value& value = setup.properties[name];
        if (!value.isString()) {
            throw ScenarioError("setup: property '" + name + "' should be a text");
        }
        if (name.empty() || name[0] == '.' || name.find('/') != std::string::npos ||
            value.asString().size() >= PROPERTY_VALUE_MAX) {
            throw ScenarioError("setup: property '" + name +
                                "' should have a plain name and at most 91 characters");
        }
        scenario->properties.emplace_back(name, value.asString());
    }
    if (object.isMember("panel")) {
        scenario->before.push_back(Prepare("panel", setup.panel));
    }
    Json::Value types;
    types["types"] = setup.types;
    scenario->before.push_back(Prepare("types", types));
    scenario->missing = setup.missing;
}

ScenarioEvent ReadEvent(const Json::Value& object, int line) {
    Arguments arguments(object, "event");
    const std::string name = arguments.text("event");
    const EventType* type = FindEventType(name);
    if (type == nullptr) {
        throw ScenarioError("there is no event '" + name + "'" + MeantEvent(name) +
                            " (kvt-sim events lists them)");
    }
    Arguments own(object, name);
    own.text("event");
    const int64_t atMs = own.integer("at_ms", 0, kLatestMs);
    Action action = type->prepare(own);
    own.finish();
    return {atMs * kNsPerMs, line, type->kind, Describe(object), std::move(action)};
}

void Append(ScenarioEvent event, Scenario* scenario) {
    if (!scenario->events.empty()) {
        const ScenarioEvent& last = scenario->events.back();
        if (event.atNs < last.atNs) {
            throw ScenarioError("'at_ms' goes back in time");
        }
        if (last.kind == EventType::kEnds) {
            throw ScenarioError("the scenario has ended before");
        }
    }
    scenario->events.push_back(std::move(event));
}

/** Of an object with the arguments that `read` reads. */
Json::Value SchemaOf(const std::function<void(Arguments&)>& read) {
    Json::Value schema;
    schema["type"] = "object";
    schema["additionalProperties"] = false;
    Arguments arguments = Arguments::Describing(&schema);
    read(arguments);
    return schema;
}

/** The same, of a line with this event. */
Json::Value LineOf(const char* event, Json::Value schema) {
    schema["properties"]["event"]["const"] = event;
    schema["required"].append("event");
    return schema;
}

/** What stands in a setup under the name of an event. */
Json::Value PartOf(const char* event) {
    return SchemaOf(FindEventType(event)->prepare);
}

}  // namespace

size_t Scenario::expectations() const {
    return static_cast<size_t>(
        std::count_if(events.begin(), events.end(),
                      [](const ScenarioEvent& event) { return event.kind == EventType::kLooks; }));
}

Scenario ReadScenarioFile(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISFIFO(status.st_mode)) {
        throw ScenarioError(path + ": is neither a file nor a pipe");
    }
    std::ifstream in(path);
    if (!in || in.peek() == std::ifstream::traits_type::eof()) {
        throw ScenarioError(path + ": can not be read, or is empty");
    }
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    Scenario scenario;
    int number = 0;
    bool first = true;
    size_t left = kLargestFile;
    std::string line;
    while (in.peek() != std::ifstream::traits_type::eof()) {
        ++number;
        try {
            line = ReadLine(in, &left);
            if (line.find_first_not_of(" \t\r") == std::string::npos || line[0] == '#') {
                continue;
            }
            const Json::Value object = ParseLine(line);
            if (first && object["event"] == "setup") {
                ReadSetup(object, folder, &scenario);
            } else {
                Append(ReadEvent(object, number), &scenario);
            }
            first = false;
        } catch (const ScenarioError& e) {
            throw ScenarioError(path + ":" + std::to_string(number) + ": " + CleanText(e.what()));
        }
    }
    return scenario;
}

Json::Value LineSchema() {
    Json::Value schema;
    schema["$schema"] = "https://json-schema.org/draft/2020-12/schema";
    schema["title"] = "A line of a scenario of kvt-sim and kvt-phone";
    Json::Value setup = SchemaOf([](Arguments& arguments) { ReadArguments(arguments); });
    setup["properties"]["panel"] = PartOf("panel");
    setup["properties"]["types"] = PartOf("types")["properties"]["types"];
    setup["description"] = "the first line only: what the phone is like before the service starts";
    schema["oneOf"].append(LineOf("setup", setup));
    for (const EventType& type : EventTypes()) {
        Json::Value line = SchemaOf([&type](Arguments& arguments) {
            arguments.integer("at_ms", 0, kLatestMs);
            type.prepare(arguments);
        });
        line["description"] = type.meaning;
        schema["oneOf"].append(LineOf(type.name, line));
    }
    return schema;
}

std::string DescribeLines() {
    std::ostringstream text;
    text << "Each line but a setup has a time, at_ms from 0 to " << kLatestMs << ".\n\n";
    const Json::Value schema = LineSchema();
    for (const Json::Value& line : schema["oneOf"]) {
        std::string needed;
        std::string optional;
        const auto add = [](std::string* list, const std::string& name) {
            if (name != "event" && name != "at_ms") {
                *list += (list->empty() ? "" : ", ") + name;
            }
        };
        Json::Value others = line["properties"];
        for (const Json::Value& name : line["required"]) {
            add(&needed, name.asString());
            others.removeMember(name.asString());
        }
        for (const std::string& name : others.getMemberNames()) {
            add(&optional, name);
        }
        text << "  " << std::left << std::setw(18)
             << line["properties"]["event"]["const"].asString() << line["description"].asString()
             << "\n";
        if (!needed.empty() || !optional.empty()) {
            text << std::string(20, ' ') << needed
                 << (needed.empty() || optional.empty() ? "" : ", ")
                 << (optional.empty() ? "" : "[" + optional + "]") << "\n";
        }
    }
    return text.str();
}

}  // namespace KVT::sim
