// SPDX-License-Identifier: Apache-2.0

/** The service's side, in this process: see NativeService.cpp. */
final class NativeService {
    private NativeService() {}

    /** Publishes the service and captures the log from here on. */
    static native void publish();

    /** Waits until the service holds that many listeners; false when it never does. */
    static native boolean awaitListeners(int count);

    /** How many listeners the service holds. */
    static native int listeners();

    /** How often it was asked to let one go. */
    static native int unregistrations();

    /** Reports to all listeners, one rate after the other, on one new native thread. */
    static native void reportOnNativeThread(int[] rates);

    /** Reports to all listeners on this thread. */
    static native void report(int fps);

    /** Gives the rate to the bridge's own listener, whether or not anyone has registered. */
    static native int reportToBridge(int fps);

    /** How often the bridge's errors since the last call were that line. */
    static native int takeErrors(String line);
}
