// SPDX-License-Identifier: Apache-2.0
package com.norvik.android.zraps;

import java.util.function.IntConsumer;

/**
 * Receives the detected frame rate of the foreground game from the service.
 *
 * <p>The names of this class and of its three methods below are those that the bridge looks for.
 */
public final class ApsKVTAdapter {
    static {
        System.loadLibrary("kvt_jni");
    }

    private static volatile IntConsumer sReceiver = fps -> {};

    /** Decides who gets the frame rates; for all adapters of the process. */
    public static void setReceiver(IntConsumer receiver) {
        sReceiver = receiver;
    }

    /** Starts to report, unless the process is registered already. Does not wait for the service. */
    public void register() {
        nativeKVTRegisterListener();
    }

    /**
     * Forgets the registration, so that the next one makes another. The service knows nothing of it
     * and goes on reporting.
     */
    public void unregister() {
        nativeKVTUnRegisterListener();
    }

    private native void nativeKVTRegisterListener();

    private native void nativeKVTUnRegisterListener();

    /**
     * Called by the bridge on one of its native threads, once for each report. What it throws is
     * printed and dropped at the next report.
     *
     * @param fps frames per second
     */
    private static void setGameFps(int fps) {
        sReceiver.accept(fps);
    }
}
