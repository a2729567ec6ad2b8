// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <cstring>

#include "linux/servicemanager/ServiceManager.h"

int main(int argc, char** argv) {
    if (argc > 1) {
        if (strcmp(argv[1], "--version") == 0) {
            puts("kvt-servicemanager " KVT_VERSION);
            return 0;
        }
        const bool asked = strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0;
        fprintf(asked ? stdout : stderr,
                "Usage: %s\nThe directory of services of /dev/binder, or of the device that the "
                "environment variable KVT_BINDER_DEVICE names.\nTakes no arguments.\n",
                argv[0]);
        return asked ? 0 : 2;
    }
    return KVT::RunServiceManager();
}
