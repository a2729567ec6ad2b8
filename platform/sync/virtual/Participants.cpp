// SPDX-License-Identifier: Apache-2.0
// How threads come to take part, step outside and leave.
#include <algorithm>
#include <utility>

#include "sync/virtual/Scheduler.h"
#include "sync/virtual/Unseen.h"

namespace KVT::virtualtime {

uint64_t Scheduler::Announce(std::string name) {
    Unseen unseen;
    Lock lock(mLock);
    auto participant = std::make_unique<Participant>();
    participant->id = mNextId++;
    participant->name = std::move(name);
    MakeReady(participant.get());
    mParticipants.push_back(std::move(participant));
    DispatchIfIdle();
    return mNextId - 1;
}

void Scheduler::Withdraw(const std::string& name) {
    Unseen unseen;
    Lock lock(mLock);
    for (const auto& participant : mParticipants) {
        if (!participant->arrived && participant->name == name) {
            RemovePlace(participant.get());
            DispatchIfIdle();
            return;
        }
    }
}

void Scheduler::Arrive(const std::string& name) {
    Unseen unseen;
    Lock lock(mLock);
    for (const auto& participant : mParticipants) {
        if (!participant->arrived && participant->name == name) {
            TakePlace(lock, participant.get());
            return;
        }
    }
}

void Scheduler::Arrive(uint64_t id) {
    Unseen unseen;
    Lock lock(mLock);
    TakePlace(lock, Find(id));
}

void Scheduler::Leave() {
    Unseen unseen;
    Lock lock(mLock);
    RemovePlace(std::exchange(tSelf, nullptr));
    DispatchIfIdle();
}

void Scheduler::AwaitEnd(const std::string& name) {
    Unseen unseen;
    Lock lock(mLock);
    while (const Participant* participant = Find(name)) {
        MakeWaiting(WaitFor::kEnd, participant, kNever);
        GiveUpTurn(lock);
    }
}

void Scheduler::AwaitEnd(uint64_t id) {
    Unseen unseen;
    Lock lock(mLock);
    if (const Participant* participant = Find(id)) {
        MakeWaiting(WaitFor::kEnd, participant, kNever);
        GiveUpTurn(lock);
    }
}

void Scheduler::GoOutside() {
    Unseen unseen;
    Lock lock(mLock);
    if (tSelf != nullptr && tSelf->outsideDepth++ == 0) {
        tSelf->state = Participant::State::kOutside;
        mRunning = nullptr;
        Dispatch();
    }
}

void Scheduler::ComeBack() {
    Unseen unseen;
    Lock lock(mLock);
    if (tSelf != nullptr && --tSelf->outsideDepth == 0) {
        MakeReady(tSelf);
        DispatchIfIdle();
        AwaitTurn(lock, tSelf);
    }
}

Participant* Scheduler::Find(const std::string& name) {
    const auto found = std::find_if(mParticipants.begin(), mParticipants.end(),
                                    [&](const auto& each) { return each->name == name; });
    return found == mParticipants.end() ? nullptr : found->get();
}

Participant* Scheduler::Find(uint64_t id) {
    const auto found = std::find_if(mParticipants.begin(), mParticipants.end(),
                                    [&](const auto& each) { return each->id == id; });
    return found == mParticipants.end() ? nullptr : found->get();
}

void Scheduler::TakePlace(Lock& lock, Participant* self) {
    tSelf = self;
    self->arrived = true;
    AwaitTurn(lock, self);
}

void Scheduler::RemovePlace(Participant* participant) {
    for (const auto& each : mParticipants) {
        if (each->state == Participant::State::kWaiting && each->waitFor == WaitFor::kEnd &&
            each->object == participant) {
            MakeReady(each.get());
        }
    }
    if (mRunning == participant) {
        mRunning = nullptr;
    }
    mParticipants.erase(std::find_if(mParticipants.begin(), mParticipants.end(),
                                     [&](const auto& each) { return each.get() == participant; }));
}

}  // namespace KVT::virtualtime
