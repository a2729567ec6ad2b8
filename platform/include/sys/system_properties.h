// SPDX-License-Identifier: Apache-2.0
#pragma once

// Limits of the phone's property service, terminating zero included, for cutils/properties.h.
#define PROP_NAME_MAX 32
#define PROP_VALUE_MAX 92
