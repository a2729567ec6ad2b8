// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "config/ConfigOwner.h"
#include "detect/GameRateListener.h"
#include "display/RateObserver.h"
#include "peers/TypeListener.h"

namespace KVT {

/**
 * What follows from what display, detection, configuration and the classification service's asker
 * report: they know nobody above them, and this passes on what they say.
 */
class Consequences : public RateObserver,
                     public GameRateListener,
                     public ConfigOwner,
                     public TypeListener {
  public:
    static Consequences* GetInstance();

    /** Has all of them report here. Before any of them is used. */
    static void Connect();

    void onFrameNeeded() override;
    void onRateSet(int32_t fps) override;
    void onGameRate(int32_t fps) override;
    void onCompositionParams(const CompositionParams& params) override;
    void onSlideModel(const std::string& text) override;
    void onParticalCompose(bool enabled) override;
    void onTypesLearned(const std::vector<std::string>& pkgs) override;

  private:
    Consequences();
    ~Consequences() = default;
};

}  // namespace KVT
