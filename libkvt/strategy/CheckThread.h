// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Turn.h"
#include "strategy/BaseThread.h"

namespace KVT {

/** The check thread of the singleton `Owner`, which repeats `Step`. */
template <typename Owner, void (Owner::*Step)()>
class CheckThread : public BaseThread {
  public:
    // Here and not left to the base, which has no threadLoop() any more.
    ~CheckThread() override {
        Stop([] {});
    }

  private:
    bool threadLoop() override {
        while (!exitPending()) {
            Turn::Take([this] {
                (Owner::GetInstance()->*Step)();
                if (exitPending()) {
                    Turn::DropPutOff();  // others that an event needs may be gone already
                }
            });
        }
        return false;
    }
};

}  // namespace KVT
