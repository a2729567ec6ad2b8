#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage, inside the virtual machine: live_system_test.sh BUILD_DIRECTORY
# Service manager, phone, service and client as processes of their own: what they do together, with every kind of
# event, two crashes, and an end in the middle of traffic. No sanitizer may have anything to report.
# shellcheck source=tests/vm/system.sh
. "$(dirname "${BASH_SOURCE[0]}")/system.sh"

check_without_system() {
    mv /dev/binder /dev/hidden
    kvtd >"$work/out" 2>&1 && status=0 || status=$?
    expect "no driver: status and lines" "$status $(wc -l <"$work/out")" "1 1"
    expect "no driver: the line names a way out" "$(grep -c scripts/vm "$work/out")" 1
    mv /dev/hidden /dev/binder
    kvt-phone >"$work/phone" 2>&1 &
    phone=$!
    kvtd >"$work/out" 2>&1 && status=0 || status=$?
    expect "no service manager" "$status $(<"$work/out")" \
        "1 kvtd: there is no service manager; start kvt-servicemanager first"
    await_end "$phone"
    expect "phone without service manager" "$status $(<"$work/phone")" \
        "1 kvt-phone: there is no service manager; start kvt-servicemanager first"
    ctl self-test
    expect "client without service manager" "$status $err" \
        "1 kvtctl: there is no service manager to ask for the service"
}

check_rates() {
    ctl self-test
    expect "self-test" "$status $out" "0 20"
    ctl max-rate
    expect "maximum rate" "$status $out" "0 90"
    ctl packages com.example.reader
    expect "packages" "$status $err" "0 "
    eventually "the panel goes up" grep -q "90 Hz  panel 60 -> 90 Hz" "$work/rest"
    eventually "the rule is named" last_decision_is "com.example.reader app-fixed rule app-code code 3 90 Hz"
    eventually "the rate is confirmed" status_is confirmed_hz 90
    ctl packages com.example.mail
    eventually "the panel goes down" grep -q "60 Hz  panel 90 -> 60 Hz" "$work/rest"
    ctl packages com.example.shooter
    eventually "a game with code 3" last_decision_is "com.example.shooter game-const-high rule game-code code 3 90 Hz"
    ctl power-mode 4
    eventually "power saving is above it" last_decision_is "com.example.shooter hold rule power-saving 60 Hz"
    eventually "and holds 60 Hz" status_is confirmed_hz 60
    ctl power-mode 0
}

check_scenes() {
    ctl hotplug 1
    eventually "a scene holds the low rate" status_is confirmed_hz 60
    ctl hotplug 0
    ctl touch 1
    ctl refresh
    ctl fingerprint com.example.bank 1
    eventually "another one the high rate" status_is confirmed_hz 90
    ctl fingerprint com.example.bank 0
    ctl packages com.example.racer
    ctl frames 'SurfaceView - com.example.racer#0' --fps 60 --for 4
    expect "frames" "$status $out" "0 240 frames sent"
    eventually "their rate is detected" status_is detected_fps 60
}

# shellcheck disable=SC2317 # called by eventually
says_why() { kvtctl why | head -n 1 | grep -q "^$1"; }
check_answers() {
    ctl packages com.example.shooter
    eventually "why names the cause and what chose the code" says_why \
        "90 Hz for .*: game-code: com.example.shooter is a game of code 3 (.*game_pkg_perceptible_list"
    kvtctl watch --count 1 >"$work/changes" 2>"$work/changes.errors" &
    local changes=$!
    eventually "a watch begins" grep -q TIME "$work/changes"
    ctl power-mode 4
    await_end "$changes"
    expect "it hears of a cause" "$status $(grep -c "power-saving, com.example.shooter" "$work/changes")" "0 1"
    ctl power-mode 0
    expect "a reader that goes" "$(kvtctl status 2>"$work/err" | head -n 1 | cut -d' ' -f1)" "service"
    expect "is no fault" "$(<"$work/err")" ""
    kill -STOP "$service"
    ctl why --timeout 1
    expect "a service that is stopped" "$status $err" "1 kvtctl: the dump failed: no answer in time"
    ctl watch --fps --timeout 1
    expect "nor does a listener wait for it" "$status $err" \
        "1 kvtctl: registering a listener failed: no answer in time"
    kill -CONT "$service"
    eventually "and goes on" kvtctl self-test
}

check_crashes() {
    watch victim
    eventually "a listener" status_is registered 1
    crash "${watcher[victim]}"
    eventually "a dead listener is dropped" status_is registered 0
    crash "${part[classification]}"
    ctl packages com.example.pilot
    eventually "no classification: the call fails" grep -q "fpscommon: ikora transact err" "$work/kvtd"
}

check_end_in_traffic() {
    watch watcher
    eventually "a listener again" status_is registered 1
    kvtctl frames traffic#0 --fps 120 --for 4 >"$work/frames" 2>&1 &
    local frames=$!
    eventually "frames arrive" has_frames_of traffic#0
    ctl packages com.example.reader
    kill -TERM "$service"
    await_end "$service"
    expect "kvtd ends cleanly" "$status" 0
    await_end "${watcher[watcher]}"
    expect "the watcher notices" "$status $(tail -n 1 "$work/watcher.errors")" "1 kvtctl: the service is gone"
    await_end "$frames"
    expect "the client goes on" "$(grep -c "frames sent" "$work/frames")" 1
    kill -TERM "${part[rest]}"
    await_end "${part[rest]}"
    expect "kvt-phone ends cleanly" "$status" 0
}

check_without_system
start_manager
start_part classification classification
start_part rest display,compositor,scheduler,performance,display-engine,game-sdk
start_service
check_rates
check_scenes
check_answers
check_crashes
check_end_in_traffic
kill "$manager"
finish
