// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace KVT {

/** What RegisterListener and UnRegisterListener answer, the service's and the client's. */
enum RegistrationResult : int32_t {
    /** Also when that listener is registered, or unregistered, already. */
    REGISTRATION_DONE = 0,
    REGISTRATION_NULL_LISTENER = -1,
    /** There are too many, of this caller or in all; or it is the service itself. */
    REGISTRATION_REFUSED = -2,
    /** The client's own: there is no service, and nobody was asked. */
    REGISTRATION_NO_SERVICE = 3,
};

}  // namespace KVT
