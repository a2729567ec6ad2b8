// SPDX-License-Identifier: Apache-2.0
#include "sim/StandInPhone.h"

int main(int argc, char** argv) {
    return KVT::sim::RunStandInPhone(argc, argv);
}
