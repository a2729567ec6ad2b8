// SPDX-License-Identifier: Apache-2.0
import com.norvik.android.zraps.ApsKVTAdapter;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;

/**
 * Prints the game frame rates that the service reports, as a process of its own, which may start before the
 * service and outlives it.
 *
 * <p>Usage: GameFpsPrinter COUNT SECONDS. Ends after COUNT reports with status 0, or after SECONDS with
 * status 1.
 */
public final class GameFpsPrinter {
    private GameFpsPrinter() {}

    // On a phone the framework's process has such threads already, and android.os has the other two:
    // ServiceManager.getService and IBinder.linkToDeath. Here nobody else does it.

    /** Lets this process take calls. */
    private static native void startBinderThreadPool();

    /** Returns once there is a service. */
    private static native void awaitService();

    /** Returns once the service that awaitService() has found is gone. */
    private static native void awaitServiceEnd();

    /** Only register() with a service there counts, and only until that service's end. */
    private static void stayRegistered() {
        ApsKVTAdapter adapter = new ApsKVTAdapter();
        while (true) {
            awaitService();
            adapter.register();
            awaitServiceEnd();
            adapter.unregister(); // or the next register() would do nothing
        }
    }

    public static void main(String[] arguments) throws InterruptedException {
        int count = Integer.parseInt(arguments[0]);
        long deadline = System.nanoTime() + TimeUnit.SECONDS.toNanos(Long.parseLong(arguments[1]));

        // A report keeps a thread of the process; it is only handed over there.
        BlockingQueue<Integer> reports = new LinkedBlockingQueue<>();
        ApsKVTAdapter.setReceiver(reports::add);
        System.loadLibrary("kvt_jni_example");
        startBinderThreadPool();
        new Thread(GameFpsPrinter::stayRegistered).start();

        for (int i = 0; i < count; i++) {
            Integer fps = reports.poll(deadline - System.nanoTime(), TimeUnit.NANOSECONDS);
            if (fps == null) {
                System.exit(1);
            }
            System.out.println(fps);
        }
        System.exit(0);
    }
}
