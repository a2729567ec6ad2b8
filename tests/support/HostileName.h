// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace KVT {

/** A name that, shown as it is, forges a log line and a key, drives a terminal and turns texts. */
inline constexpr const char* kHostileName =
    "com.evil\nKVTService I fatal \x1b[2J\u009b31m\rconfirmed_hz=90 \u202eemag\u2066\u061c\u2028"
    "\x7f";
/** How it is shown, everywhere. */
inline constexpr const char* kHostileNameShown =
    "com.evil?KVTService I fatal ?[2J?31m?confirmed_hz?90 ?emag????";

}  // namespace KVT
