// SPDX-License-Identifier: Apache-2.0

/** The service's side, in this process: see NativeService.cpp. */
final class NativeService {
    private NativeService() {}

    /** Publishes the service. */
    static native void publish();

    /** Reports to the listener that registers, one rate after the other, on a new native thread. */
    static native void reportOnNativeThread(int[] rates);

    /** The same on this thread. */
    static native void report(int fps);
}
