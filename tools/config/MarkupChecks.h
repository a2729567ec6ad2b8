// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/config/Findings.h"

namespace KVT {

/** Reports what the library's parser accepts as markup, and then drops or reads as something else.
 */
void CheckMarkup(const ConfigDocument& document, Findings& findings);

}  // namespace KVT
