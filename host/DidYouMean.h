// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace KVT {

/**
 * "; did you mean status?" for a word that is nearly one of the names (a letter in three is missing,
 * wrong, too many or changed places with the next), or the beginning of one; else "".
 */
std::string DidYouMean(std::string_view word, const std::vector<std::string>& names);

}  // namespace KVT
