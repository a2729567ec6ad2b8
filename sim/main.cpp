// SPDX-License-Identifier: Apache-2.0
#include <iostream>

#include "host/StandardOutput.h"
#include "sim/SimCommand.h"

int main(int argc, char** argv) {
    return KVT::FinishStandardOutput("kvt-sim", KVT::sim::RunSim(argc, argv, std::cout, std::cerr));
}
