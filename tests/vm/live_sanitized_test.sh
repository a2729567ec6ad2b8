#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage, inside the virtual machine: live_sanitized_test.sh BUILD_DIRECTORY
# A short life of the system, for builds with a sanitizer: every kind of event, two crashes, garbage, and an end
# in the middle of traffic. What counts is that no process gets a report.
set -euo pipefail

KVT_BUILD=$1
# shellcheck source=tests/vm/system.sh
. "$(dirname "${BASH_SOURCE[0]}")/system.sh"

check_events() {
    ctl packages com.example.reader
    eventually "the panel goes up" grep -q "panel 60 -> 90 Hz" "$work/rest"
    ctl hotplug 1
    eventually "a scene holds the low rate" status_is confirmed_hz 60
    ctl hotplug 0
    ctl touch 1
    ctl refresh
    ctl fingerprint com.example.bank 1
    eventually "another one the high rate" status_is confirmed_hz 90
    ctl fingerprint com.example.bank 0
    ctl packages com.example.racer
    ctl frames 'SurfaceView - com.example.racer#0' --fps 60 --for 3
    expect "frames" "$status $out" "0 180 frames sent"
    eventually "their rate is detected" status_is detected_fps 60
}

check_crashes() {
    kvtctl watch >"$work/victim" 2>&1 &
    local victim=$!
    eventually "a listener" status_is registered 1
    crash "$victim"
    eventually "a dead listener is dropped" status_is registered 0
    crash "${part[classification]}"
    ctl packages com.example.shooter
    eventually "no classification: the call fails" grep -q "fpscommon: ikora transact err" "$work/kvtd"
    garbage_client 1 500 2>"$work/err" && status=0 || status=$?
    expect "garbage" "$status $(<"$work/err")" "0 "
}

check_end_in_traffic() {
    kvtctl watch >"$work/watch" 2>&1 &
    local watcher=$!
    eventually "a listener again" status_is registered 1
    kvtctl frames traffic#0 --fps 120 --for 4 >"$work/frames" 2>&1 &
    local frames=$!
    eventually "frames arrive" has_frames_of traffic#0
    ctl packages com.example.reader
    kill -TERM "$service"
    await_end "$service"
    expect "kvtd ends cleanly" "$status" 0
    await_end "$watcher"
    expect "the watcher notices" "$status $(<"$work/watch")" "1 kvtctl: the service is gone"
    await_end "$frames"
    expect "the client goes on" "$(grep -c "frames sent" "$work/frames")" 1
    kill -TERM "${part[rest]}"
    await_end "${part[rest]}"
    expect "kvt-phone ends cleanly" "$status" 0
}

start_manager
start_part classification classification
start_part rest display,compositor,scheduler,performance,display-engine,game-sdk
start_service
check_events
check_crashes
check_end_in_traffic
kill "$manager"
finish
