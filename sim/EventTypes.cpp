// SPDX-License-Identifier: Apache-2.0
#include "sim/EventTypes.h"

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <vector>

#include "common/Codes.h"
#include "host/DidYouMean.h"
#include "linux/vendor/Protocol.h"
#include "policy/FpsCommon.h"
#include "sim/Expectation.h"
#include "sim/FrameSource.h"
#include "sync/Clock.h"

namespace KVT::sim {
namespace {

constexpr int64_t kMaxInt = INT32_MAX;
constexpr int64_t kLongestMs = int64_t{24} * 3600 * 1000;
// As Android numbers the exceptions that a reply can carry.
constexpr int32_t kSecurityException = -1;

int32_t Int(Arguments& arguments, const char* name) {
    return static_cast<int32_t>(arguments.integer(name, -kMaxInt - 1, kMaxInt));
}

// --- Framework ---

/** Says so when the service did not get an event. */
void Note(World& world, android::status_t status) {
    if (status != android::OK) {
        world.phone.journal->add("not delivered: status " + std::to_string(status));
    }
}

Action Packages(Arguments& arguments) {
    const std::string focus = arguments.text("focus");
    const std::vector<std::string> visible = arguments.texts("visible");
    return [=](World& world) { Note(world, world.framework.packages(focus, visible)); };
}

/** An event that is one number. */
Action Value(const TransactionInfo& event, Arguments& arguments) {
    const int32_t value = Int(arguments, "value");
    return [&event, value](World& world) { Note(world, world.framework.send(event.code, value)); };
}

Action Fingerprint(Arguments& arguments) {
    const std::string pkg = arguments.text("package");
    const int32_t status = Int(arguments, "value");
    return [=](World& world) { Note(world, world.framework.fingerprint(pkg, status)); };
}

Action ApplicationState(Arguments& arguments) {
    const int32_t type = Int(arguments, "type");
    const int32_t state = Int(arguments, "state");
    const int32_t gameMode = Int(arguments, "game_mode");
    const std::string pkg = arguments.text("package");
    return [=](World& world) {
        Note(world, world.framework.applicationState(type, state, gameMode, pkg));
    };
}

Action SelfTest(Arguments&) {
    return [](World& world) {
        int32_t answer = 0;
        world.framework.ask(SELF_TEST, &answer);
        world.phone.journal->add("service answers " + std::to_string(answer));
    };
}

// --- Scenes without a transaction of their own ---

/** Runs `scene` where the policy is; another process can not be reached this way. */
template <typename Scene>
Action InPolicy(Scene scene) {
    return [scene](World& world) {
        if (world.inProcess) {
            scene();
        } else {
            world.phone.journal->add("nothing happens: this event needs the policy in its process");
        }
    };
}

Action VideoCall(Arguments& arguments) {
    const bool on = arguments.boolean("on");
    return InPolicy([=] { FpsCommon::SetLcdLowDownByWechatVideoScene(on); });
}

Action FullVideoScene(Arguments& arguments) {
    const int32_t value = Int(arguments, "value");
    return InPolicy([=] { FpsCommon::OnFullVideoStatusReceived(value); });
}

Action GameExit(Arguments& arguments) {
    const std::string pkg = arguments.text("package");
    const auto state = static_cast<int32_t>(arguments.integer("state", -kMaxInt - 1, kMaxInt, 0));
    return InPolicy([=] { FpsCommon::OnGameExitReceived(pkg, state); });
}

Action Recover(Arguments&) {
    return InPolicy([] { FpsCommon::RecoverLcd(); });
}

// --- Compositor ---

Action Touch(Arguments& arguments) {
    const bool down = arguments.boolean("down", false);
    const int32_t value =
        static_cast<int32_t>(arguments.integer("value", -kMaxInt - 1, kMaxInt, down ? 1 : 0));
    if (!arguments.describes() && arguments.has("down") == arguments.has("value")) {
        throw ScenarioError("touch: either 'down' or 'value' should be there");
    }
    return [=](World& world) {
        if (world.phone.compositor->wantsTouchEvents()) {
            world.compositorSide->SetLcdEvent(value);
        } else {
            world.phone.journal->add("compositor keeps the touch to itself");
        }
    };
}

FrameSource::Options FrameOptions(Arguments& arguments) {
    constexpr int64_t kShortestFrameNs = kNsPerMs;
    FrameSource::Options options;
    FramePattern& pattern = options.pattern;
    pattern.periodNs = static_cast<int64_t>(1e9 / arguments.number("fps", 0.1, 1000));
    // However a frame turns out, the next one is later.
    const int64_t mostJitterUs = (pattern.periodNs - kShortestFrameNs / 2) / kNsPerUs;
    pattern.jitterNs = arguments.integer("jitter_us", 0, mostJitterUs, 0) * kNsPerUs;
    pattern.dropPerMille = static_cast<int32_t>(arguments.integer("drop_per_mille", 0, 999, 0));
    options.lengthNs = arguments.integer("for_ms", 1, kLongestMs) * kNsPerMs;
    options.pauseEveryNs = arguments.integer("pause_every_ms", 0, kLongestMs, 0) * kNsPerMs;
    options.pauseNs = arguments.integer("pause_ms", 0, kLongestMs, 0) * kNsPerMs;
    options.seed = static_cast<uint64_t>(arguments.integer("seed", 0, INT64_MAX, 1));
    return options;
}

Action Frames(Arguments& arguments) {
    const FrameSource::Options options = FrameOptions(arguments);
    const std::string layer = arguments.text("layer");
    const bool flag = arguments.boolean("flag", false);
    return [=](World& world) {
        FrameSource::Start(world, options, [&world, layer, flag](int64_t timestamp) {
            LayerTimeInfo info{layer, timestamp, flag};
            world.compositorSide->SendLayerTimeInfo(info);
        });
    };
}

Action Refreshes(Arguments& arguments) {
    const FrameSource::Options options = FrameOptions(arguments);
    return [=](World& world) {
        FrameSource::Start(world, options, [&world](int64_t timestamp) {
            world.compositorSide->NotifyFrameRefresh(timestamp);
        });
    };
}

// --- The phone around the service ---

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
        arguments.integer("obeys_after", FakePanel::kNever, kMaxInt, wanted.obeysAfter));
    wanted.getError = static_cast<int32_t>(arguments.integer("get_error", -kMaxInt, kMaxInt, 0));
    wanted.setError = static_cast<int32_t>(arguments.integer("set_error", -kMaxInt, kMaxInt, 0));
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

// --- The scenario itself ---

/** Checked here, and done each on a thread of its own, all begun at the same time. */
Action Overlap(Arguments& arguments) {
    std::vector<Action> actions;
    for (const Json::Value& event : arguments.objects("events")) {
        Arguments own(event, "overlap");
        const std::string name = own.text("event");
        const EventType* const type = FindEventType(name);
        if (type == nullptr || type->kind != EventType::kHappens || name == "overlap") {
            throw ScenarioError("overlap: '" + name + "' is no event that can overlap");
        }
        Arguments its(event, "overlap: " + name);
        its.text("event");
        actions.push_back(type->prepare(its));
        its.finish();
    }
    return [=](World& world) {
        std::vector<std::function<void()>> parts;
        parts.reserve(actions.size());
        for (const Action& action : actions) {
            parts.emplace_back([&world, &action] { action(world); });
        }
        world.together(parts);
    };
}

Action Expect(Arguments& arguments) {
    const Expectation expected = Expectation::Read(arguments);
    if (!arguments.describes() && expected.isEmpty()) {
        throw ScenarioError("expect: nothing is expected");
    }
    if (arguments.has("tolerance") && !expected.fps) {
        throw ScenarioError("expect: 'tolerance' is of 'fps', which is missing");
    }
    return [=](World& world) {
        if (!world.inProcess) {
            world.phone.journal->add("nothing is looked at: the policy is in another process");
            return;
        }
        const std::string fault = expected.unmet(world.phone.panel->currentHz());
        if (!fault.empty()) {
            world.unmet.push_back(fault);
            world.phone.journal->add("NOT AS EXPECTED: " + fault);
        }
    };
}

Action End(Arguments&) {
    return [](World&) {};
}

constexpr const char* kValue = "value";
constexpr const char* kFrames =
    "fps, for_ms, [jitter_us, drop_per_mille, pause_every_ms, pause_ms, seed]";

// Without a meaning: a transaction of that name has it.
const EventType kOwnEventTypes[] = {
    {"packages", "focus, [visible]", nullptr, Packages},
    {"fingerprint", "package, value", nullptr, Fingerprint},
    {"application_state", "type, state, game_mode, package", nullptr, ApplicationState},
    {"self_test", "", "asks the service whether it is alive", SelfTest},
    {"touch", "down or value", "finger on the screen, sent while the compositor sends touches",
     Touch},
    {"frames",
     "layer, fps, for_ms, [flag, jitter_us, drop_per_mille, pause_every_ms, pause_ms, seed]",
     nullptr, Frames},
    {"refreshes", kFrames, "refreshes of the screen", Refreshes},
    {"video_call", "on", "scene of the service's process", VideoCall},
    {"full_video", kValue, "scene of the service's process: 1 on, 0 off", FullVideoScene},
    {"game_exit", "package, [state]", "a game reports that it ends (state 0)", GameExit},
    {"recover", "", "restores the panel's rate", Recover},
    {"panel", "[current, default, rates, obeys_after, get_error, set_error, version_1_1, vanished]",
     "how the panel behaves from now on (obeys_after -1: never)", Panel},
    {"panel_moves", "rate", "the panel changes by itself", PanelMoves},
    {"types", "types", "application types by package; 9 is a game", Types},
    {"withdraw", "service", "takes a service away, by its full name", Withdraw},
    {"publish", "", "brings all services back", Publish},
    {"classification", "[answers, after_ms]",
     "how the classification service answers from now on: types, fails, throws; and how late",
     Classification},
    {"sdk", "report", "report of the game SDK", Sdk},
    {"overlap", "events", "events without at_ms, each on a thread of its own", Overlap},
    {"expect", "[hz, cause, foreground, strategy, fps, tolerance]",
     "what should be so at that time; fps, the detected rate, within the tolerance", Expect,
     EventType::kLooks},
    {"end", "", "the scenario ends; without it, it goes on until the strategies have settled", End,
     EventType::kEnds},
};

/** Those above, and one for each transaction that is one number. */
std::vector<EventType> AllEventTypes() {
    std::vector<EventType> types(std::begin(kOwnEventTypes), std::end(kOwnEventTypes));
    for (const TransactionInfo& event : Transactions()) {
        if (event.event == nullptr) {
            continue;
        }
        const auto own = std::find_if(types.begin(), types.end(), [&](const EventType& type) {
            return strcmp(type.name, event.event) == 0;
        });
        if (own != types.end()) {
            own->meaning = own->meaning == nullptr ? event.meaning : own->meaning;
        } else if (event.takesOneNumber()) {
            types.push_back({event.event, kValue, event.meaning,
                             [&event](Arguments& arguments) { return Value(event, arguments); }});
        }
    }
    return types;
}

constexpr const char* kSetupMeaning = "what the phone is like before the service starts";
constexpr const char* kSetupArguments = "[config, properties, panel, types, missing]";

}  // namespace

const std::vector<EventType>& EventTypes() {
    static const std::vector<EventType> types = AllEventTypes();
    return types;
}

const EventType* FindEventType(const std::string& name) {
    for (const EventType& type : EventTypes()) {
        if (name == type.name) {
            return &type;
        }
    }
    return nullptr;
}

std::string MeantEvent(const std::string& name) {
    std::vector<std::string> names;
    for (const EventType& type : EventTypes()) {
        names.emplace_back(type.name);
    }
    return DidYouMean(name, names);
}

std::string DescribeEventTypes() {
    std::ostringstream text;
    text << "Each line has its event's arguments (in brackets those that may be missing) and the "
            "time at_ms,\n"
            "from 0 to 86400000. The first line may be setup, without a time.\n\n";
    text << "  " << std::left << std::setw(18) << "setup" << kSetupMeaning << "\n"
         << std::string(20, ' ') << kSetupArguments << "\n";
    for (const EventType& type : EventTypes()) {
        text << "  " << std::left << std::setw(18) << type.name << type.meaning << "\n";
        if (type.arguments[0] != '\0') {
            text << std::string(20, ' ') << type.arguments << "\n";
        }
    }
    return text.str();
}

}  // namespace KVT::sim
