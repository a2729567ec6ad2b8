// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "linux/servicemanager/ServiceManager.h"

int main(int argc, char** argv) {
    if (argc > 1) {
        fprintf(stderr,
                "Usage: %s\nThe directory of services of /dev/binder. Takes no arguments.\n",
                argv[0]);
        return 2;
    }
    return KVT::RunServiceManager();
}
