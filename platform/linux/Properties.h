// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace KVT {

/**
 * Says where the system properties of this process live.
 *
 * An empty folder (the default) keeps them in memory. Otherwise each property is a file of its name
 * in that folder, replaced atomically, so that processes share them and "persist." ones survive.
 * Programs call this from main(), before anything reads a property.
 */
void UsePropertyFolder(const std::string& folder);

}  // namespace KVT
