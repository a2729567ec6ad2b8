#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage, inside the virtual machine: live_java_test.sh BUILD_DIRECTORY JAVA LIBRARY_PATH CLASS_PATH
# A JVM as a process of its own and "kvtctl watch --fps" both hear the rate of the frames that "kvtctl frames" sends,
# and go on hearing it when another listener dies and yet another does not answer. The JVM is there before the
# service, and outlives one.
# Takes its time: the service reports no rate in the first 121 s of a game.
# shellcheck source=tests/vm/system.sh
. "$(dirname "${BASH_SOURCE[0]}")/system.sh"

start_manager
start_phone
"$2" -Xcheck:jni -Xshare:auto -Xint "-Djava.library.path=$3" -cp "$4" \
    GameFpsPrinter 2 270 >"$work/java" 2>&1 &
printer=$!
start_service
eventually "Java registers with a service that came later" status_is registered 1
crash "$service"
start_service
eventually "and with the next one" status_is registered 1
watch once --count 1 --for 260
watch twice --count 2 --for 260
watch victim
watch frozen
eventually "all listen" status_is registered 5
kill -STOP "${watcher[frozen]}"
ctl packages com.example.racer
kvtctl frames 'SurfaceView - com.example.racer#0' --fps 60 --for 200 >"$work/frames" 2>&1 &
frames=$!
wait "${watcher[once]}" && status=0 || status=$?
expect "kvtctl watch --fps hears the rate" "$status $(<"$work/once")" "0 60"
eventually "so does the victim" grep -q 60 "$work/victim"
crash "${watcher[victim]}"
crash "$frames"
kvtctl frames 'SurfaceView - com.example.racer#0' --fps 90 --for 20 >"$work/frames" 2>&1 &
frames=$!
await_end "${watcher[twice]}"
expect "one listener dead, one frozen: another hears the next rate" \
    "$status $(head -n 1 "$work/twice") $(wc -l <"$work/twice")" "0 60 2"
await_end "$printer"
expect "so does Java" "$status $(<"$work/java")" "0 $(<"$work/twice")"
eventually "only the frozen one is left" status_is registered 1
crash "${watcher[frozen]}"
eventually "all are gone" status_is registered 0
kill "$frames" 2>/dev/null || true
kill "$service"
await_end "$service"
expect "kvtd ends cleanly" "$status" 0
kill "$phone" "$manager"
finish
