// SPDX-License-Identifier: Apache-2.0
import com.norvik.android.zraps.ApsKVTAdapter;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/** Runs one test of the bridge, by name, in a JVM of its own: the bridge is process-wide state. */
public final class BridgeTest {
    private static final List<Integer> sReceived = Collections.synchronizedList(new ArrayList<>());

    public static void main(String[] args) {
        System.loadLibrary("kvt_jni");
        NativeService.publish();
        int status = 1;
        try {
            BridgeTest.class.getDeclaredMethod(args[0]).invoke(null);
            status = 0;
        } catch (Throwable failure) {
            failure.printStackTrace();
        }
        // Threads that the bridge has attached never detach, so main can not just return.
        System.exit(status);
    }

    /** So many that a reference left behind by each would be noticed. */
    private static void reports() {
        Set<Thread> threads = Collections.synchronizedSet(new HashSet<>());
        ApsKVTAdapter.setReceiver(
                fps -> {
                    threads.add(Thread.currentThread());
                    sReceived.add(fps);
                });
        new ApsKVTAdapter().unregister(); // which makes the adapter known, too
        new ApsKVTAdapter().register();
        int[] rates = IntStream.range(30, 1030).toArray();
        NativeService.reportOnNativeThread(rates);
        expect(sReceived, Arrays.stream(rates).boxed().collect(Collectors.toList()));
        expect(threads.size(), 1);
        expect(threads.contains(Thread.currentThread()), false);
    }

    /** Threads that end while they are attached leave a VM that still collects and reports. */
    private static void exceptions() {
        ApsKVTAdapter.setReceiver(
                fps -> {
                    sReceived.add(fps);
                    throw new IllegalStateException("refused " + fps);
                });
        new ApsKVTAdapter().register();
        for (int i = 0; i < 100; ++i) {
            NativeService.reportOnNativeThread(new int[] {60, 61});
            if (i % 25 == 0) {
                System.gc();
            }
        }
        expect(sReceived.size(), 200);
        try {
            NativeService.report(64);
            throw new AssertionError("the exception did not reach its Java caller");
        } catch (IllegalStateException left) {
            expect(left.getMessage(), "refused 64");
        }
        ApsKVTAdapter.setReceiver(sReceived::add);
        NativeService.report(65);
        expect(sReceived.get(201), 65);
    }

    private static void expect(Object actual, Object expected) {
        if (!expected.equals(actual)) {
            throw new AssertionError("expected " + expected + ", got " + actual);
        }
    }
}
