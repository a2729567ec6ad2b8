// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "policy/FpsCommon.h"
#include "sim/fakes/FakeClassifier.h"

namespace KVT {

/**
 * A configuration with a package for each thing that a package can lead to: any application gets 60
 * Hz, app.high 90 Hz, app.touch* the touch strategy, any game the dynamic strategy, game.const the
 * constant-high one, game.plain 60 Hz. To be called before the policy starts.
 */
inline void ConfigureMixedPackages(sim::FakeClassifier* classifier) {
    ConfigTables& tables = FpsCommon::tables;
    tables.settingSwitchMap[0] = {{"app_default", 2},
                                  {"game_default", 9},
                                  {"app_perceptible_switch", 3},
                                  {"app_imperceptible_switch", 9},
                                  {"game_perceptible_switch", 3},
                                  {"game_imperceptible_switch", 2}};
    tables.appPkgFilterMap["app_pkg_perceptible_list"].insert("app.high");
    tables.appPkgFilterMap["app_pkg_imperceptible_list"].insert("app.touch");
    tables.gameFilterMap["game_pkg_perceptible_list"].insert("game.const");
    tables.gameFilterMap["game_pkg_imperceptible_list"].insert("game.plain");
    for (const char* game : {"game.dynamic", "game.other", "game.const", "game.plain"}) {
        classifier->setType(game, kTypeGame);
    }
}

}  // namespace KVT
