// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace KVT {

/** Files of the phone that the library reads and writes. */
struct Paths {
    std::string configFile = "/zr_product/etc/xml/kvt_config.xml";
    /** CPUs of the "vip" set, as a list such as "4-7". */
    std::string vipCpus = "/dev/cpuset/vip/cpus";
};

namespace paths {
/** One for the whole process, however the libraries and the program in it are built. */
__attribute__((visibility("default"))) inline Paths& Current() {
    static Paths current;
    return current;
}
}  // namespace paths

/** Gives other paths than the phone's. Only before FpsCommon::Init. */
inline void SetPaths(const Paths& wanted) {
    paths::Current() = wanted;
}

inline const Paths& GetPaths() {
    return paths::Current();
}

}  // namespace KVT
