// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KVT {

/**
 * A text of another process or of a file (a package, a layer, a configured value), fit to be shown:
 * whatever it was, it is one line and one key of a log, a dump or a terminal, and always the same.
 *
 * A "?" stands for each character that could end a line, drive a terminal or turn what follows
 * around: controls (C0, DEL, C1), marks of writing direction, separators of lines and paragraphs,
 * code points that are no characters, "=", and what is no UTF-8, unpaired surrogates included. All
 * else stays byte for byte. The result is UTF-8, no longer than `text`, and clean to be cleaned
 * again. For showing only: what is compared or handed on stays as it came.
 *
 * @param kept ASCII characters that stay, for a text whose own they are: "=\n" for a whole dump
 */
std::string CleanText(std::string_view text, std::string_view kept = {});

/** The first `most` bytes of a clean text, or up to three less: a character is not cut in two. */
std::string_view Beginning(std::string_view text, size_t most);

}  // namespace KVT
