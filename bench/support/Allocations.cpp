// SPDX-License-Identifier: Apache-2.0
#include "bench/support/Allocations.h"

#include <atomic>
#include <cstddef>

// Interposes the C library's allocator, since the phone's texts and parcels do not use operator
// new; and operator new ends here, too.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
}

namespace KVT {
namespace {

std::atomic<int64_t> gAllocations{0};

void Count() {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

int64_t AllocationCount() {
    return gAllocations.load(std::memory_order_relaxed);
}

}  // namespace KVT

extern "C" {

void* malloc(size_t size) {
    KVT::Count();
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    KVT::Count();
    return __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) {
    KVT::Count();
    return __libc_realloc(block, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
    KVT::Count();
    return __libc_memalign(alignment, size);
}
}
