// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <unordered_map>

#include "sync/Mutex.h"

namespace KVT {

/**
 * Knows which layer of a game shows the game itself: a game has several, and only that one's frames
 * tell its frame rate. May be called from any thread.
 */
class GameFpsHelper {
  public:
    static GameFpsHelper* GetInstance();

    /**
     * Looks up a package, first among the built-in games, then among the added ones.
     *
     * @param layerName receives the layer's name, a prefix that ends in '#' for the built-in games;
     *        untouched when the package is unknown
     */
    bool SearchTargetLayer(const std::string& pkg, std::string& layerName);

    /** Adds a package; one that was added before keeps its layer. */
    void AddTargetLayer(const std::string& pkg, const std::string& layerName);

  private:
    GameFpsHelper() = default;

    Mutex mMutex;
    std::unordered_map<std::string, std::string> mAddedLayers GUARDED_BY(mMutex);
};

}  // namespace KVT
