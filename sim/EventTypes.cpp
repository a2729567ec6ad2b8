// SPDX-License-Identifier: Apache-2.0
#include "sim/EventTypes.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

#include "host/DidYouMean.h"
#include "policy/FpsCommon.h"
#include "sim/Expectation.h"
#include "sim/FrameSource.h"
#include "sim/PhoneEvents.h"
#include "sync/Clock.h"

namespace KVT::sim {
namespace {

constexpr int64_t kMaxInt = INT32_MAX;
constexpr int64_t kLongestMs = int64_t{24} * 3600 * 1000;

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

Action End(Arguments&) {
    return [](World&) {};
}

// Without a meaning: a transaction of that name has it.
const EventType kOwnEventTypes[] = {
    {"packages", nullptr, Packages},
    {"fingerprint", nullptr, Fingerprint},
    {"application_state", nullptr, ApplicationState},
    {"self_test", "asks the service whether it is alive", SelfTest},
    {"touch", "finger on the screen, down or any value, sent while the compositor sends touches",
     Touch},
    {"frames", nullptr, Frames},
    {"refreshes", "refreshes of the screen", Refreshes},
    {"video_call", "scene of the service's process", VideoCall},
    {"full_video", "scene of the service's process: 1 on, 0 off", FullVideoScene},
    {"game_exit", "a game reports that it ends (state 0)", GameExit},
    {"recover", "restores the panel's rate", Recover},
    {"panel", "how the panel behaves from now on (obeys_after -1: never)", Panel},
    {"panel_moves", "the panel changes by itself", PanelMoves},
    {"types", "application types by package; 9 is a game", Types},
    {"withdraw", "takes a service away, by its full name", Withdraw},
    {"publish", "brings all services back", Publish},
    {"classification",
     "how the classification service answers from now on: types, fails, throws; and how late",
     Classification},
    {"sdk", "report of the game SDK", Sdk},
    {"overlap", "events without at_ms, each on a thread of its own", Overlap},
    {"expect", "what should be so at that time; fps, the detected rate, within the tolerance",
     Expect, EventType::kLooks},
    {"end", "the scenario ends; without it, it goes on until the strategies have settled", End,
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
            types.push_back({event.event, event.meaning,
                             [&event](Arguments& arguments) { return Value(event, arguments); }});
        }
    }
    return types;
}

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

}  // namespace KVT::sim
