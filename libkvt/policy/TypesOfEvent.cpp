// SPDX-License-Identifier: Apache-2.0
// The types that an event needs, and those that come after it.
#include <algorithm>

#include "common/Codes.h"
#include "peers/TypeAsker.h"
#include "policy/FpsCommon.h"
#include "sync/Clock.h"

namespace KVT {

FpsCommon::Event* FpsCommon::currentEvent = nullptr;
bool FpsCommon::isChosenFromShown = true;
Atomic<uint64_t> FpsCommon::packageEvents{0};
uint64_t FpsCommon::lastPackageEvent = 0;

FpsCommon::Event::Event() {
    lock();
}

FpsCommon::Event::Event(const std::string& focus, const std::unordered_set<std::string>& visible) {
    const uint64_t number = ++packageEvents;
    learnShown(focus, visible);
    lock();
    mIsOvertaken = number < lastPackageEvent;
    lastPackageEvent = std::max(number, lastPackageEvent);
}

FpsCommon::Event::~Event() {
    currentEvent = nullptr;
    decisionMutex.unlock();
}

void FpsCommon::Event::lock() {
    decisionMutex.lock();
    currentEvent = this;
}

void FpsCommon::Event::learnShown(const std::string& focus,
                                  const std::unordered_set<std::string>& visible) {
    // With nothing else visible the type makes a difference to a change only.
    if (!typeOf(focus).has_value() && !(visible.empty() && focus == CurrentPkgName())) {
        learn({focus});
    }
    if (!visible.empty() && typeOf(focus) != kTypeGame) {
        std::vector<std::string> unknown;
        for (const std::string& pkg : visible) {
            if (pkg != focus && !typeOf(pkg).has_value()) {
                unknown.push_back(pkg);
            }
        }
        learn(unknown);
    }
}

std::optional<int32_t> FpsCommon::Event::typeOf(const std::string& pkg) const {
    if (const std::optional<int32_t> type = RememberedType(pkg); type.has_value()) {
        return type;
    }
    const auto answer = mAnswers.find(pkg);
    return answer == mAnswers.end() ? std::nullopt : std::optional(answer->second);
}

void FpsCommon::Event::learn(const std::vector<std::string>& pkgs) {
    if (pkgs.empty()) {
        return;
    }
    if (mDeadlineNs == 0) {
        mDeadlineNs = MonotonicNow() + TypeAsker::kPatienceNs;
    }
    TypeAsker::GetInstance()->Ask(pkgs, mDeadlineNs, mAnswers);
}

void FpsCommon::Event::ask(const std::string& pkg) {
    if (typeOf(pkg).has_value()) {
        return;
    }
    const std::vector<std::string> unknown{pkg};
    decisionMutex.unlock();
    learn(unknown);
    lock();
}

void FpsCommon::Event::askShown() {
    const std::string focus = focusApp;
    const std::unordered_set<std::string> visible = visibleAppSet;
    decisionMutex.unlock();
    learnShown(focus, visible);
    lock();
}

std::optional<int32_t> FpsCommon::AnsweredType(const std::string& pkg) {
    const std::optional<int32_t> type = currentEvent->typeOf(pkg);
    if (!type.has_value()) {
        TypeAsker::GetInstance()->AskForListener(pkg);
    }
    return type;
}

void FpsCommon::LearnForeground(When when) {
    if (!currentEvent->typeOf(Foreground()).has_value() && !IsUnlocking(when) &&
        !DecideByScene(TakeSnapshot()).has_value()) {
        currentEvent->ask(Foreground());
    }
}

void FpsCommon::OnTypesLearned(const std::vector<std::string>& pkgs) {
    Event event;
    const bool isInFront = std::find(pkgs.begin(), pkgs.end(), Foreground()) != pkgs.end();
    const auto isShown = [&](const std::string& pkg) REQUIRES(decisionMutex) {
        return pkg == focusApp || visibleAppSet.count(pkg) != 0;
    };
    if (isChosenFromShown && std::any_of(pkgs.begin(), pkgs.end(), isShown)) {
        if (ChooseAgain()) {
            return;
        }
    } else if (!isInFront) {
        return;
    }
    if (isInFront && gameScene != IsGame(Foreground())) {
        FollowGame();
    }
    if (switchAll == 0) {
        RunDecision(kUnlessUnlocking);
    }
}

}  // namespace KVT
