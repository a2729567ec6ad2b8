// SPDX-License-Identifier: Apache-2.0
package com.norvik.android.zraps;

import java.util.function.IntConsumer;

/**
 * Receives the frame rate of the game in front from the service. Nothing comes in a game's first 121 s; then
 * the highest rate so far, then every change.
 *
 * <p>A registration ends with its service, and one that finds no service is lost; the bridge notices neither,
 * and goes on counting the process as registered. So register once the service is there, link to its death
 * ({@code android.os.IBinder.linkToDeath}), and then call {@link #unregister} and, with the next service,
 * {@link #register}.
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

    /**
     * Starts to report. Does not wait for the service. Does nothing but log an error when the process counts as
     * registered, which it does from the first call on until {@link #unregister}.
     */
    public void register() {
        nativeKVTRegisterListener();
    }

    /**
     * Forgets the registration, so that the next one makes another. The service knows nothing of it
     * and goes on reporting: who registers again with the same service hears everything twice.
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
     * @param fps frames per second; 60 when the game renders fewer, 90 when it renders 70 or more
     */
    private static void setGameFps(int fps) {
        sReceiver.accept(fps);
    }
}
