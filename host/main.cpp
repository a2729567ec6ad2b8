// SPDX-License-Identifier: Apache-2.0
#include "host/Kvtd.h"
#include "host/StandardOutput.h"

int main(int argc, char** argv) {
    return KVT::FinishStandardOutput("kvtd", KVT::RunKvtd(argc, argv));
}
