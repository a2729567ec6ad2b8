// SPDX-License-Identifier: Apache-2.0
package com.norvik.android.zraps;

/** An adapter that the bridge can not report to. */
public final class ApsKVTAdapter {
    static {
        System.loadLibrary("kvt_jni");
    }

    public void register() {
        nativeKVTRegisterListener();
    }

    private native void nativeKVTRegisterListener();
}
