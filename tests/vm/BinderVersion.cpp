// SPDX-License-Identifier: Apache-2.0
// Prints the protocol version of the kernel's binder driver.
#include <fcntl.h>
#include <linux/android/binder.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

int main() {
    const int fd = open("/dev/binder", O_RDWR | O_CLOEXEC);
    binder_version version{};
    if (fd < 0 || ioctl(fd, BINDER_VERSION, &version) < 0) {
        std::fprintf(stderr, "/dev/binder: %s\n", std::strerror(errno));
        return 1;
    }
    std::printf("protocol version %d\n", version.protocol_version);
    close(fd);
    return 0;
}
