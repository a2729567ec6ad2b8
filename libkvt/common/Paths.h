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

/** Gives other paths than the phone's. Only before FpsCommon::Init. */
void SetPaths(const Paths& paths);

const Paths& GetPaths();

}  // namespace KVT
