// SPDX-License-Identifier: Apache-2.0
#include "linux/binder/kernel/Driver.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KVT_THREAD_SANITIZER
#endif
#elif defined(__SANITIZE_THREAD__)
#define KVT_THREAD_SANITIZER
#endif

#ifdef KVT_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace android::driver {
namespace {

/**
 * What one thread has told the driver is over before another hears of it. ThreadSanitizer can not
 * see that order in the kernel, so it is told.
 */
void BeforeTheDriver() {
#ifdef KVT_THREAD_SANITIZER
    __tsan_release(reinterpret_cast<void*>(&Ioctl));
#endif
}

void AfterTheDriver() {
#ifdef KVT_THREAD_SANITIZER
    __tsan_acquire(reinterpret_cast<void*>(&Ioctl));
#endif
}

}  // namespace

int Open(const char* device) {
    const int fd = open(device, O_RDWR | O_CLOEXEC);
    return fd < 0 ? -errno : fd;
}

void Close(int fd) {
    close(fd);
}

void* Map(int fd, size_t size) {
    void* address = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_NORESERVE, fd, 0);
    return address == MAP_FAILED ? nullptr : address;
}

void Unmap(void* address, size_t size) {
    munmap(address, size);
}

int Ioctl(int fd, unsigned long request, void* argument) {
    BeforeTheDriver();
    const int result = ioctl(fd, request, argument);
    AfterTheDriver();
    return result < 0 ? -errno : result;
}

}  // namespace android::driver
