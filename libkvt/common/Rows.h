// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace KVT {

/** The rows of a table that lives as long as the process. */
template <typename Row>
struct Rows {
    const Row* first;
    const Row* last;

    const Row* begin() const { return first; }
    const Row* end() const { return last; }
};

/** Whether each row stands at the place that its key, an enumerator, names. */
template <typename Row, typename Key, size_t N>
constexpr bool AreInPlace(const Row (&rows)[N], Key Row::*key) {
    for (size_t i = 0; i < N; ++i) {
        if (static_cast<size_t>(rows[i].*key) != i) {
            return false;
        }
    }
    return true;
}

}  // namespace KVT
