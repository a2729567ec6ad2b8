// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace KVT {

/** Whoever acts on types of packages that are learned only after they were needed. */
class TypeListener {
  public:
    /** They are remembered by now. Called on the asker's thread, as a part of its turn. */
    virtual void onTypesLearned(const std::vector<std::string>& pkgs) = 0;

  protected:
    ~TypeListener() = default;
};

}  // namespace KVT
