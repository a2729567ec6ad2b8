// SPDX-License-Identifier: Apache-2.0
#include "host/Kvtd.h"

int main(int argc, char** argv) {
    return KVT::RunKvtd(argc, argv);
}
