// SPDX-License-Identifier: Apache-2.0
#include <iostream>

#include "sim/SimCommand.h"

int main(int argc, char** argv) {
    return KVT::sim::RunSim(argc, argv, std::cout, std::cerr);
}
