// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/config/Findings.h"

namespace KVT {

/** Reports markup that the library's parser accepts, and drops or reads as something else. */
void CheckMarkup(const ConfigDocument& document, Findings& findings);

}  // namespace KVT
