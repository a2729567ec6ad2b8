// SPDX-License-Identifier: Apache-2.0
import com.norvik.android.zraps.ApsKVTAdapter;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Map;

/** Runs one test of the bridge, by name, in a JVM of its own: the bridge is process-wide state. */
public final class BridgeTest {
    private static final Map<String, Runnable> TESTS =
            Map.of(
                    "reports", BridgeTest::reports,
                    "secondRegistration", BridgeTest::secondRegistration,
                    "unregistration", BridgeTest::unregistration,
                    "unregistrationFirst", BridgeTest::unregistrationFirst,
                    "noAdapter", BridgeTest::noAdapter,
                    "noMethod", BridgeTest::noMethod,
                    "exception", BridgeTest::exception,
                    "endingThreads", BridgeTest::endingThreads,
                    "thousandReports", BridgeTest::thousandReports);

    private static final List<Integer> sReceived = Collections.synchronizedList(new ArrayList<>());

    public static void main(String[] args) {
        System.loadLibrary("kvt_jni");
        NativeService.publish();
        int status = 1;
        try {
            TESTS.get(args[0]).run();
            status = 0;
        } catch (Throwable failure) {
            failure.printStackTrace();
        }
        // Threads that the bridge has attached never detach, so main can not just return.
        System.exit(status);
    }

    private static void reports() {
        List<Thread> threads = Collections.synchronizedList(new ArrayList<>());
        ApsKVTAdapter.setReceiver(
                fps -> {
                    threads.add(Thread.currentThread());
                    sReceived.add(fps);
                });
        registerAndAwait(new ApsKVTAdapter(), 1);
        NativeService.reportOnNativeThread(new int[] {90, 60});
        expect(sReceived, List.of(90, 60));
        expect(threads.get(0) == Thread.currentThread(), false);
        expect(threads.get(0), threads.get(1));
        expect(threads.get(0).isAlive(), true);
    }

    private static void secondRegistration() {
        ApsKVTAdapter.setReceiver(sReceived::add);
        ApsKVTAdapter adapter = new ApsKVTAdapter();
        registerAndAwait(adapter, 1);
        adapter.register();
        new ApsKVTAdapter().register();
        expect(NativeService.takeErrors("kvt has registered listener"), 2);
        NativeService.reportOnNativeThread(new int[] {72});
        expect(sReceived, List.of(72));
        expect(NativeService.listeners(), 1);
    }

    private static void unregistration() {
        ApsKVTAdapter.setReceiver(sReceived::add);
        ApsKVTAdapter adapter = new ApsKVTAdapter();
        registerAndAwait(adapter, 1);
        adapter.unregister();
        adapter.unregister();
        expect(NativeService.unregistrations(), 0);
        NativeService.reportOnNativeThread(new int[] {60});
        expect(sReceived, List.of(60));

        registerAndAwait(adapter, 2);
        expect(NativeService.takeErrors("kvt has registered listener"), 0);
        sReceived.clear();
        NativeService.reportOnNativeThread(new int[] {61});
        expect(sReceived, List.of(61, 61));
    }

    private static void unregistrationFirst() {
        ApsKVTAdapter.setReceiver(sReceived::add);
        new ApsKVTAdapter().unregister();
        expect(NativeService.listeners(), 0);
        expect(NativeService.unregistrations(), 0);
        expect(NativeService.reportToBridge(60), 0); // the adapter is known all the same
        expect(sReceived, List.of(60));
    }

    private static void noAdapter() {
        ApsKVTAdapter.setReceiver(sReceived::add);
        expect(NativeService.reportToBridge(60), -1);
        expect(NativeService.takeErrors("javaZrKVTScene is NULL"), 1);
        expect(sReceived, List.of());
    }

    /** Runs with the adapter that lacks the method. */
    private static void noMethod() {
        registerAndAwait(new ApsKVTAdapter(), 1);
        NativeService.reportOnNativeThread(new int[] {60, 61, 62});
        expect(NativeService.takeErrors("setGameFps is NULL"), 3);
        try {
            NativeService.report(63);
            throw new AssertionError("no NoSuchMethodError");
        } catch (NoSuchMethodError left) {
            expect(NativeService.takeErrors("setGameFps is NULL"), 1);
        }
    }

    private static void exception() {
        ApsKVTAdapter.setReceiver(
                fps -> {
                    sReceived.add(fps);
                    throw new IllegalStateException("refused " + fps);
                });
        registerAndAwait(new ApsKVTAdapter(), 1);
        NativeService.reportOnNativeThread(new int[] {60, 61, 62});
        NativeService.reportOnNativeThread(new int[] {63});
        expect(sReceived, List.of(60, 61, 62, 63));
        try {
            NativeService.report(64);
            throw new AssertionError("the exception did not reach its Java caller");
        } catch (IllegalStateException left) {
            expect(left.getMessage(), "refused 64");
        }
        ApsKVTAdapter.setReceiver(sReceived::add);
        NativeService.report(65);
        expect(sReceived, List.of(60, 61, 62, 63, 64, 65));
    }

    /** Threads that end while they are attached leave a VM that still collects, dumps and reports. */
    private static void endingThreads() {
        ApsKVTAdapter.setReceiver(
                fps -> {
                    sReceived.add(fps);
                    if (fps % 2 == 1) {
                        throw new IllegalStateException("refused " + fps);
                    }
                });
        registerAndAwait(new ApsKVTAdapter(), 1);
        for (int i = 0; i < 200; ++i) {
            NativeService.reportOnNativeThread(new int[] {i});
            if (i % 50 == 0) {
                System.gc();
                Thread.getAllStackTraces();
            }
        }
        System.gc();
        expect(sReceived.size(), 200);
        expect(Thread.getAllStackTraces().size() > 0, true);
    }

    private static void thousandReports() {
        ApsKVTAdapter.setReceiver(sReceived::add);
        registerAndAwait(new ApsKVTAdapter(), 1);
        int[] rates = new int[1000];
        List<Integer> expected = new ArrayList<>();
        for (int i = 0; i < rates.length; ++i) {
            rates[i] = 30 + i % 91;
            expected.add(rates[i]);
        }
        NativeService.reportOnNativeThread(rates);
        expect(sReceived, expected);
    }

    private static void registerAndAwait(ApsKVTAdapter adapter, int listeners) {
        adapter.register();
        expect(NativeService.awaitListeners(listeners), true);
    }

    private static void expect(Object actual, Object expected) {
        if (!expected.equals(actual)) {
            throw new AssertionError("expected " + expected + ", got " + actual);
        }
    }
}
