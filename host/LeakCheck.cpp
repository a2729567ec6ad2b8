// SPDX-License-Identifier: Apache-2.0
// In builds with the leak sanitizer a process that ends by quick_exit is looked through, too.
#include <sanitizer/lsan_interface.h>

#include <cstdlib>

namespace {

[[maybe_unused]] const int registered = std::at_quick_exit(__lsan_do_leak_check);

}  // namespace
