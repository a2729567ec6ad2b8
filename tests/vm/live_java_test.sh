#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage, inside the virtual machine: live_java_test.sh BUILD_DIRECTORY JAVA LIBRARY_PATH CLASS_PATH
# A JVM as a process of its own and "kvtctl watch" both hear the rate of the frames that "kvtctl frames" sends.
# Takes its time: the service reports no rate in the first 121 s of a game.
set -euo pipefail

KVT_BUILD=$1
java=$2
library_path=$3
class_path=$4
PATIENCE=60 # a JVM starts slowly there
# shellcheck source=tests/vm/system.sh
. "$(dirname "${BASH_SOURCE[0]}")/system.sh"

start_manager
start_phone
start_service
"$java" -Xcheck:jni -Xshare:auto -Xint "-Djava.library.path=$library_path" -cp "$class_path" \
    GameFpsPrinter 1 170 >"$work/java" 2>&1 &
printer=$!
kvtctl watch --count 1 --for 170 >"$work/watch" 2>&1 &
watcher=$!
eventually "two listeners" status_is registered 2
ctl packages com.example.racer
kvtctl frames 'SurfaceView - com.example.racer#0' --fps 60 --for 140 >"$work/frames" 2>&1 &
frames=$!
wait "$watcher" && status=0 || status=$?
expect "kvtctl watch hears the rate" "$status $(<"$work/watch")" "0 60"
await_end "$printer"
expect "Java hears the rate" "$status $(<"$work/java")" "0 60"
eventually "both are gone" status_is registered 0
kill "$frames" 2>/dev/null || true
kill "$service"
await_end "$service"
expect "kvtd ends cleanly" "$status" 0
kill "$phone" "$manager"
finish
