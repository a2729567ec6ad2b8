// SPDX-License-Identifier: Apache-2.0
import com.norvik.android.zraps.ApsKVTAdapter;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;

/**
 * Prints the game frame rates that the service reports, as a process of its own.
 *
 * <p>Usage: GameFpsPrinter COUNT SECONDS. Ends after COUNT reports with status 0, or after SECONDS with
 * status 1.
 */
public final class GameFpsPrinter {
    private GameFpsPrinter() {}

    /**
     * Lets this process take calls. On a phone the framework's process has such threads already; here
     * nobody else starts them.
     */
    private static native void startBinderThreadPool();

    public static void main(String[] arguments) throws InterruptedException {
        int count = Integer.parseInt(arguments[0]);
        long deadline = System.nanoTime() + TimeUnit.SECONDS.toNanos(Long.parseLong(arguments[1]));

        // A report keeps a thread of the process; it is only handed over there.
        BlockingQueue<Integer> reports = new LinkedBlockingQueue<>();
        ApsKVTAdapter.setReceiver(reports::add);
        new ApsKVTAdapter().register();
        System.loadLibrary("kvt_jni_example");
        startBinderThreadPool();

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
