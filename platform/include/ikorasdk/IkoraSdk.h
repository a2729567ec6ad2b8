// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

/**
 * Registers a callback with the resource-awareness game SDK.
 *
 * @param callback binder that gets the reports, as JSON texts
 * @param name     subscription: which package, which keys
 * @return non-zero on success
 */
int iKoraSdkRegisterGameCallbck(const android::sp<android::IBinder>& callback, const char* name);
