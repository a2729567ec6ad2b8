// SPDX-License-Identifier: Apache-2.0
#include "common/Paths.h"

namespace KVT {
namespace {

Paths& Current() {
    static Paths paths;
    return paths;
}

}  // namespace

void SetPaths(const Paths& paths) {
    Current() = paths;
}

const Paths& GetPaths() {
    return Current();
}

}  // namespace KVT
