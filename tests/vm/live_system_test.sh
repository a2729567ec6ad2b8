#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage, inside the virtual machine: live_system_test.sh BUILD_DIRECTORY
# Service manager, phone, service and client as processes of their own: what they do together, and how they
# end.
set -euo pipefail

KVT_BUILD=$1
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

check_client_statuses() {
    ctl self-test
    expect "self-test" "$status $out" "0 20"
    ctl max-rate
    expect "maximum rate" "$status $out" "0 90"
    ctl setting 7
    expect "argument out of range" "$status" 2
    ctl
    expect "no command" "$status" 2
    ctl --help
    expect "help" "$status" 0
}

check_rates() {
    ctl packages com.example.reader
    expect "packages" "$status $err" "0 "
    eventually "the panel goes up" grep -q "90 Hz  panel 60 -> 90 Hz" "$work/phone"
    eventually "the rule is named" last_decision_is "com.example.reader app-fixed rule app-code code 3 90 Hz"
    eventually "the rate is confirmed" status_is confirmed_hz 90
    ctl packages com.example.mail
    eventually "the panel goes down" grep -q "60 Hz  panel 90 -> 60 Hz" "$work/phone"
    ctl packages com.example.shooter
    eventually "a game with code 3" last_decision_is "com.example.shooter game-const-high rule game-code code 3 90 Hz"
    ctl power-mode 4
    eventually "power saving is above it" last_decision_is "com.example.shooter hold rule power-saving 60 Hz"
    eventually "and holds 60 Hz" status_is confirmed_hz 60
    ctl power-mode 0
}

check_listeners() {
    expect "no listener" "$(status_value registered)" 0
    kvtctl watch >"$work/watch" 2>&1 &
    local watcher=$!
    eventually "a listener" status_is registered 1
    crash "$watcher"
    eventually "a dead listener is dropped" status_is registered 0

    ctl packages com.example.racer
    ctl frames 'SurfaceView - com.example.racer#0' --fps 60 --for 4
    expect "frames" "$status $out" "0 240 frames sent"
    eventually "their rate is detected" status_is detected_fps 60
}

check_garbage() {
    local seed
    for seed in 1 2 3 4; do
        garbage_client "$seed" 1000 2>"$work/err" && status=0 || status=$?
        expect "garbage, seed $seed" "$status $(<"$work/err")" "0 "
    done
    ctl self-test
    expect "the service lives on" "$status $out" "0 20"
}

check_lost_service() {
    kvtctl watch >"$work/watch" 2>&1 &
    local watcher=$!
    eventually "a listener again" status_is registered 1
    kill -TERM "$service"
    await_end "$service"
    expect "kvtd ends cleanly" "$status" 0
    await_end "$watcher"
    expect "the watcher notices" "$status $(<"$work/watch")" "1 kvtctl: the service is gone"
    kill -TERM "$phone"
    await_end "$phone"
    expect "kvt-phone ends cleanly" "$status" 0
}

check_without_system
start_manager
start_phone
start_service
check_client_statuses
check_rates
check_listeners
check_garbage # leaves the service in whatever state
check_lost_service
kill "$manager"
finish
