// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace KVT {

/** Why a rate is asked for, or why none is. */
struct Cause {
    enum Kind : uint8_t {
        /** A caller of SetLcdFps(fps) that gives none. */
        kUnnamed,
        /** A decision, by its rule; of one that leaves the rate to a strategy, too. */
        kDecision,
        /** The policy is off: the panel has no high rate, or a property fixes one. */
        kFixedMode,
        /** The rate was changed behind the policy's back, and is set back. */
        kRecovery,
        kTouchDown,
        /** No finger on the screen, and the picture has come to rest. */
        kTouchRest,
        /** A game's frame rate rose above that of the low panel rate. */
        kClimb,
        /** A game's frame rate fell far below it. */
        kFall,
        /** A game at exactly 60 fps gets 90 Hz for five seconds, to climb if it can. */
        kTrial,
        /** It did not climb. */
        kTrialOver,
        /** The AI scheduler is told 90 fps for five seconds; the panel is at 90 Hz anyway. */
        kBoost,
    };

    Kind kind = kUnnamed;
    /** Of a decision: the name of its rule, which lives as long as the process. */
    const char* rule = nullptr;
    /** Of a decision by the package: its refresh-rate code; else -1. */
    int32_t code = -1;

    /** As dump, log, kvtctl and the simulator print it: the rule's name, or that of the kind. */
    const char* name() const;
    /** Why such a rate is asked for, for people; of a decision only its rule tells. */
    const char* meaning() const;

    bool operator==(const Cause& other) const {
        return kind == other.kind && rule == other.rule && code == other.code;
    }
};

}  // namespace KVT
