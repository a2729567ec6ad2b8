#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage, inside the virtual machine: live_faults_test.sh BUILD_DIRECTORY
# The phone's services as processes of their own, which crash one after the other while clients go on; then as
# many frames as a busy phone sends, and more than a frozen service can take.
# shellcheck disable=SC2317 # some functions are called by "eventually" only
# shellcheck source=tests/vm/system.sh
. "$(dirname "${BASH_SOURCE[0]}")/system.sh"
phone_scenario=$source_dir/tests/vm/faults.jsonl
service_config=$source_dir/tests/vm/faults.xml

readonly CLIENTS=4
readonly LOAD_SECONDS=20
readonly LOAD_FPS=120

are_frames_of() { [[ $(frames_of "$1") == "received $2 disordered 0" ]]; } # LAYER COUNT
binder_processes() { find /sys/kernel/debug/binder/proc -type f | wc -l; }
are_binder_processes() { (($(binder_processes) == $1)); }
refused_by_driver() { sed -n '/^proc/q; s/^BR_FAILED_REPLY: //p' /sys/kernel/debug/binder/stats; }
has_failed_changes() { (($(status_value failed_changes) > 0)); }
is_told_of_no_service() {
    ctl self-test
    [[ "$status $err" == "1 kvtctl: KVTService is not running" ]]
}
# Of a client's frames: sets sent and failed.
count_frames() { # FILE
    sent=$(sed -n 's/ frames sent$//p' "$1")
    failed=$(sed -n 's/^kvtctl: \([0-9]*\) frames .* refused$/\1/p' "$1")
    failed=${failed:-0}
}
lines_with() { grep -c "$1" "$2" || true; }
has_lines() { (($(lines_with "$2" "$3") >= $1)); }

# Events for kvt-phone, one every 100 ms for so many seconds.
scenarios=$(mktemp -d)
write_scenario() { # NAME SECONDS EVENT OTHER-EVENT
    local i
    {
        grep setup "$phone_scenario"
        for ((i = 1; i <= $2 * 10; i += 2)); do
            printf '{"at_ms":%d,%s}\n{"at_ms":%d,%s}\n' "${i}00" "$3" "$((i + 1))00" "$4"
        done
    } >"$scenarios/$1"
}

check_command_line() {
    kvt-phone --services display,toaster >"$work/out" 2>&1 && status=0 || status=$?
    expect "a service that no phone has" "$status" 2
}

start_phone_in_parts() {
    write_scenario touches 60 '"event":"touch","down":true' '"event":"touch","down":false'
    start_part compositor compositor "$scenarios/touches"
    start_part classification classification
    start_part display display
    start_part rest scheduler,performance,display-engine,game-sdk
}

check_lost_compositor() {
    ctl packages com.example.feed
    eventually "touches move the panel" grep -q "panel 60 -> 90 Hz" "$work/display"
    kvtctl frames traffic#0 --fps 120 --for 8 >"$work/frames" 2>&1 &
    local frames=$!
    eventually "frames arrive" has_frames_of traffic#0
    crash "${part[compositor]}"
    ctl packages com.example.mail
    ctl packages com.example.reader
    ctl self-test
    expect "no compositor: the service answers" "$status $out" "0 20"
    eventually "no compositor: it decides" last_decision_is "com.example.reader app-fixed rule app-code code 3 90 Hz"
    wait "$frames" && status=0 || status=$?
    expect "no compositor: frames are sent" "$status $(<"$work/frames")" "0 960 frames sent"
    eventually "no compositor: frames are received" are_frames_of traffic#0 960
    eventually "no compositor: the panel does not change" has_failed_changes
    start_part compositor compositor
    ctl packages com.example.feed
    eventually "a new compositor is told" grep -q "touch strategy on" "$work/compositor"
    ctl packages com.example.mail
    eventually "and draws the frames that the panel waits for, down" status_is confirmed_hz 60
    ctl packages com.example.reader
    eventually "and up" status_is confirmed_hz 90
}

check_silent_classification() {
    kill -STOP "${part[classification]}"
    ctl packages com.example.silent
    ctl power-mode 1
    kvtctl frames silent#0 --fps 60 --for 1 >"$work/frames" 2>&1
    eventually "classification is silent: frames are received" are_frames_of silent#0 60
    ctl self-test
    expect "classification is silent: the service answers" "$status $out" "0 20"
    kill -CONT "${part[classification]}"
    eventually "events are acted on in their order" \
        last_decision_is "com.example.silent hold rule power-saving 60 Hz"
    ctl power-mode 2
}

readonly classify_error="fpscommon: ikora transact err"
check_lost_classification() {
    ctl packages com.example.racer
    eventually "a game" last_decision_is "com.example.racer game-dynamic rule game-code code 9 60 Hz"
    crash "${part[classification]}"
    ctl packages com.example.shooter
    eventually "no classification: a game that is not known counts as an application" \
        last_decision_is "com.example.shooter app-dynamic rule app-code code 9"
    eventually "no classification: the call fails with its line" \
        has_lines 1 "$classify_error" "$work/kvtd"
    local failed
    failed=$(lines_with "$classify_error" "$work/kvtd")
    ctl packages com.example.racer
    eventually "no classification: what is known stays known" \
        last_decision_is "com.example.racer game-dynamic rule game-code code 9 60 Hz"
    start_part classification classification
    ctl packages com.example.shooter
    eventually "the connection is kept: a new one is not asked" \
        has_lines $((failed + 1)) "$classify_error" "$work/kvtd"
    ctl packages com.example.reader
    eventually "and the panel follows the decisions" status_is confirmed_hz 90
}

check_lost_service() {
    write_scenario packages 60 \
        '"event":"packages","focus":"com.example.mail"' '"event":"packages","focus":"com.example.reader"'
    kvt-phone --no-services "$scenarios/packages" >"$work/framework" 2>&1 &
    local framework=$!
    kvtctl frames traffic#1 --fps 120 --for 10 >"$work/frames" 2>&1 &
    local frames=$!
    eventually "frames arrive" has_frames_of traffic#1
    eventually "package events arrive" has_lines 3 "focus pkgName - com.example.mail" "$work/kvtd"
    crash "$service"
    eventually "no service: a new client is told" is_told_of_no_service
    eventually "no service: events fail cleanly" has_lines 1 "not delivered: status -32" "$work/framework"
    # So that it still has frames to send when the service is back, however long that takes.
    kill -STOP "$frames"
    start_service
    kill -CONT "$frames"
    eventually "a new service serves the old client" has_frames_of traffic#1
    ctl packages com.example.shooter
    eventually "and asks the new classification service" \
        last_decision_is "com.example.shooter game-const-high rule game-code code 3 90 Hz"
    expect "which answers" "$(lines_with "$classify_error" "$work/kvtd")" 0
    wait "$frames" && status=0 || status=$?
    count_frames "$work/frames"
    expect "the client counts the calls that failed" "$status $((failed > 0)) $((sent + failed))" "1 1 1200"
    kill -TERM "$framework"
    await_end "$framework"
    expect "the framework goes on" "$status" 0
    # The manager, four parts of the phone, and the service.
    eventually "nothing is left of the dead" are_binder_processes 6
}

check_lost_display() {
    crash "${part[display]}"
    ctl packages com.example.reader
    ctl packages com.example.mail
    await_end "$service"
    expect "no display: the service dies" "$status" 134
    expect "and says so once" "$(lines_with "fatal: " "$work/kvtd")" 1
    start_part display display
    start_service
    ctl packages com.example.reader
    eventually "a restart recovers" grep -q "panel 60 -> 90 Hz" "$work/display"
}

# Each client's frames are delivered in order, or refused by the driver and counted.
check_load() {
    local i senders=() refused=0 driver begin=$SECONDS
    driver=$(refused_by_driver)
    ctl packages com.example.racer
    for ((i = 1; i <= CLIENTS; ++i)); do
        kvtctl frames "load#$i" --fps "$LOAD_FPS" --for "$LOAD_SECONDS" >"$work/load$i" 2>&1 &
        senders+=($!)
    done
    for ((i = 1; i <= CLIENTS; ++i)); do
        wait "${senders[i - 1]}" || true
        count_frames "$work/load$i"
        expect "client $i: every frame was sent or refused ($failed)" $((sent + failed)) $((LOAD_FPS * LOAD_SECONDS))
        eventually "client $i: every sent frame arrived, in order" are_frames_of "load#$i" "$sent"
        refused=$((refused + failed))
    done
    expect "the driver refused as many" $(($(refused_by_driver) - driver)) "$refused"
    echo "load: $CLIENTS clients took $((SECONDS - begin)) s"
}

check_refusals() {
    local name before driver
    name=$(printf 'x%.0s' {1..1000}) # so that few frames fill the space for one-way calls
    before=$(status_value received)
    driver=$(refused_by_driver)
    watch frozen --timeout 1
    eventually "one who watches reports" grep -q "nothing is reported" "$work/frozen.errors"
    kill -STOP "$service"
    kvtctl frames "$name" --fps 500 --for 2 >"$work/frames" 2>&1 && status=0 || status=$?
    count_frames "$work/frames"
    expect "a frozen service: all that was not sent was refused" \
        "$status $((failed > 0)) $((sent > 0)) $((sent + failed))" "1 1 1 1000"
    await_end "${watcher[frozen]}"
    expect "who watches is told" "$status $(tail -n 1 "$work/frozen.errors")" \
        "1 kvtctl: asking whether the service is there failed: no answer in time"
    kill -CONT "$service"
    driver=$(($(refused_by_driver) - driver))
    expect "the driver counts as many" "$driver" "$failed"
    eventually "all that was sent arrives later" status_is received $((before + sent))
}

check_command_line
start_manager
start_phone_in_parts
start_service
check_lost_compositor
check_silent_classification
check_lost_classification
check_lost_service
check_lost_display
check_load
check_refusals
kill "$service" "${part[@]}" "$manager"
finish
