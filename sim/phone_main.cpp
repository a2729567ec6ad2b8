// SPDX-License-Identifier: Apache-2.0
#include "host/StandardOutput.h"
#include "sim/StandInPhone.h"

int main(int argc, char** argv) {
    return KVT::FinishStandardOutput("kvt-phone", KVT::sim::RunStandInPhone(argc, argv));
}
