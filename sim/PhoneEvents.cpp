// SPDX-License-Identifier: Apache-2.0
#include "sim/PhoneEvents.h"

#include <cstdint>
#include <string>
#include <vector>

#include "common/Codes.h"
#include "sync/Clock.h"

namespace KVT::sim {
namespace {

// As Android numbers the exceptions that a reply can carry.
constexpr int32_t kSecurityException = -1;

}  // namespace

/** Rates stay as they were where they are not named; all else is as a panel is that nobody told. */
Action Panel(Arguments& arguments) {
    const std::vector<std::string>& known = FakePanel::KnownRates();
    const bool moves = arguments.has("current");
    const bool lists = arguments.has("rates");
    const bool hasNormal = arguments.has("default");
    FakePanel::Behaviour wanted;
    wanted.current = arguments.choice("current", known, wanted.current);
    wanted.normal = arguments.choice("default", known, wanted.normal);
    wanted.rates = arguments.texts("rates", known);
    wanted.obeysAfter = static_cast<int32_t>(
        arguments.integer("obeys_after", FakePanel::kNever, INT32_MAX, wanted.obeysAfter));
    wanted.getError =
        static_cast<int32_t>(arguments.integer("get_error", -INT32_MAX, INT32_MAX, 0));
    wanted.setError =
        static_cast<int32_t>(arguments.integer("set_error", -INT32_MAX, INT32_MAX, 0));
    wanted.hasVersion11 = arguments.boolean("version_1_1", true);
    wanted.vanished = arguments.boolean("vanished", false);
    if (moves && lists && !wanted.shows(wanted.current)) {
        throw ScenarioError("panel: 'current' should be one of its rates, and is " +
                            wanted.current);
    }
    return [=](World& world) {
        world.phone.panel->change([&](FakePanel::Behaviour& behaviour) {
            FakePanel::Behaviour next = wanted;
            next.current = moves ? wanted.current : behaviour.current;
            next.normal = hasNormal ? wanted.normal : behaviour.normal;
            next.rates = lists ? wanted.rates : behaviour.rates;
            behaviour = next;
        });
    };
}

Action PanelMoves(Arguments& arguments) {
    const std::string rate = arguments.choice("rate", FakePanel::KnownRates());
    return [=](World& world) {
        if (!world.phone.panel->changeByItself(rate)) {
            world.phone.journal->add("nothing happens: the panel has no such rate");
        }
    };
}

Action Types(Arguments& arguments) {
    Json::Value type;
    type["type"] = "integer";
    const Json::Value types = arguments.object("types", type);
    for (const std::string& pkg : types.getMemberNames()) {
        if (!types[pkg].isInt()) {
            throw ScenarioError("types: the type of '" + pkg + "' should be a whole number");
        }
        if (!IsKnownType(types[pkg].asInt())) {
            throw ScenarioError("types: the type of '" + pkg + "' should be from -1 to 36, or 255");
        }
    }
    return [=](World& world) {
        for (const std::string& pkg : types.getMemberNames()) {
            world.phone.classifier->setType(pkg, types[pkg].asInt());
        }
    };
}

Action Withdraw(Arguments& arguments) {
    const std::string service = arguments.choice("service", FakePhone::FullNames());
    return [=](World& world) { world.phone.withdraw(service); };
}

Action Classification(Arguments& arguments) {
    constexpr int64_t kLatestMs = 5'000;  // behind the last line a scenario goes on for longer
    const std::string answers = arguments.choice("answers", {"types", "fails", "throws"}, "types");
    const int64_t delayNs = arguments.integer("after_ms", 0, kLatestMs, 0) * kNsPerMs;
    return [=](World& world) {
        FakeClassifier& classifier = *world.phone.classifier;
        classifier.failCalls(answers == "fails" ? android::FAILED_TRANSACTION : android::OK);
        classifier.throwException(answers == "throws" ? kSecurityException : 0);
        classifier.answerAfter(delayNs);
    };
}

Action Publish(Arguments&) {
    return [](World& world) { world.phone.publish(); };
}

Action Sdk(Arguments& arguments) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    const std::string report = Json::writeString(writer, arguments.object("report"));
    return [=](World& world) { world.phone.gameSdk->report(report); };
}

}  // namespace KVT::sim
