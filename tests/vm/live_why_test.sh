#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage, inside the virtual machine: live_why_test.sh BUILD_DIRECTORY [strategies]
# kvtctl names the cause of the rate, whatever it is; what it would be otherwise; and what does not work as it should:
# each of the phone's services killed or stopped, and a configuration that is missing, broken or replaced. Or, by
# itself, what the strategies do: a game's frame rate has to be exact, which takes a clock that counts instructions.
# shellcheck disable=SC2317 # some functions are called by "eventually" only
# shellcheck source=tests/vm/system.sh
. "$(dirname "${BASH_SOURCE[0]}")/system.sh"
phone_scenario=$source_dir/tests/vm/faults.jsonl
service_config=$work/why.xml
cp "$source_dir/tests/vm/why.xml" "$service_config"

# The first line, without how long it has been so, and the line of that label.
why() { kvtctl why | sed -n -E '1s/ for [0-9.a-z ]+: / /p'; }
why_is() { [[ $(why) == "$1"* ]]; } # BEGINNING
why_line() { kvtctl why | sed -n "s/^  $1  *//p"; }
says() { [[ $(why_line "$1") == *"$2"* ]]; } # LABEL PART

# An event, and what is said of the rate it leads to: its beginning, and what would be without it.
readonly reader="com.example.reader is an application of code 3 (why.xml:16, app_pkg_perceptible_list)"
check_scenes() {
    ctl packages com.example.reader
    eventually "a package by its list" why_is "90 Hz app-code: $reader"
    eventually "and what it would be by default" says "without it" "60 Hz: app_default"
    local event rule
    while read -r event rule; do
        # shellcheck disable=SC2086 # a command and its value
        ctl ${event/=/ }
        eventually "$rule" why_is "60 Hz $rule ("
        eventually "without $rule" says "without it" "90 Hz: $reader"
        # shellcheck disable=SC2086
        ctl ${event%%=*} "$([[ $event == power-mode* ]] && echo 2 || echo 0)"
    done <<'EVENTS'
hotplug=1 display-hotplug
virtual-display=1 virtual-display
touch-pointer=1 touch-pointer
power-mode=4 power-saving
gpu-composition=1 gpu-composition
EVENTS
    expect "the power mode is named" "$(kvtctl history | grep -c 'power-saving')" 1
    ctl gpu-composition 1
    ctl gpu-composition 0
    eventually "gpu-composition-count" why_is "60 Hz gpu-composition-count ("
    ctl packages com.example.mail com.example.reader com.example.mail
    eventually "multi-app-mixed" why_is "90 Hz multi-app-mixed ("
    ctl hotplug 1
    eventually "the rule that comes first" why_is "60 Hz display-hotplug ("
    eventually "and the next one that holds" says "without it" "90 Hz: multi-app-mixed"
    ctl hotplug 0
    ctl packages com.example.reader
    ctl fingerprint com.example.bank 2
    eventually "fingerprint-low" why_is "60 Hz fingerprint-low ("
    ctl fingerprint com.example.bank 0
    ctl packages com.example.mail
    ctl fingerprint com.example.bank 1
    eventually "fingerprint-high" why_is "90 Hz fingerprint-high ("
    ctl fingerprint com.example.bank 0
    ctl packages android.view.cts
    eventually "compatibility-test" why_is "60 Hz compatibility-test ("
    ctl packages com.example.mail
    ctl packages com.example.reader
    eventually "it is over" why_is "90 Hz app-code"
}

check_strategies() {
    ctl packages com.example.feed
    eventually "a package that the touch strategy moves" says "without it" "app_default"
    ctl touch 1
    eventually "touch-down" why_is "90 Hz touch-down ("
    ctl touch 0
    eventually "touch-rest" why_is "60 Hz touch-rest ("
    ctl packages com.example.racer
    local layer="SurfaceView - com.example.racer#0"
    kvtctl frames "$layer" --fps 60 --for 10 >"$work/frames" 2>&1 &
    local frames=$!
    eventually "trial" why_is "90 Hz trial ("
    eventually "trial-over" why_is "60 Hz trial-over ("
    await_end "$frames"
    kvtctl frames "$layer" --fps 85 --for 30 >"$work/frames" 2>&1 &
    frames=$!
    eventually "climb" why_is "90 Hz climb ("
    kill "$frames"
    kvtctl frames "$layer" --fps 30 --for 30 >"$work/frames" 2>&1 &
    frames=$!
    eventually "fall" why_is "60 Hz fall ("
    kill "$frames"
    ctl packages com.example.shooter
    eventually "a game with code 3" why_is "90 Hz game-code: com.example.shooter is a game of code 3"
    kvtctl frames "${layer/racer/shooter}" --fps 60 --for 10 >"$work/frames" 2>&1 &
    frames=$!
    eventually "boost" why_is "90 Hz boost ("
    eventually "boost is over" why_is "90 Hz game-code"
    await_end "$frames"
}

check_silent() { # SERVICE NAME EVENT...
    kill -STOP "${part[$1]}"
    ctl "${@:3}"
    eventually "$2 that is stopped" says degraded "$2 silent for "
    kill -CONT "${part[$1]}"
    eventually "$2 that goes on" recovers
}
# A service counts as silent until it has answered the next question in time.
recovers() {
    kvtctl packages "com.example.n$((++asked))"
    is_well
}
asked=0
is_well() {
    local answer
    answer=$(kvtctl why) && [[ $answer =~ ^[0-9]+\ Hz\ for\  && $answer != *$'\n  degraded '* ]]
}

check_peers() {
    ctl packages com.example.mail
    eventually "nothing is degraded" is_well
    check_silent classification "classification service" packages com.example.silent
    check_silent compositor compositor packages com.example.reader
    check_silent display "display service" packages com.example.mail
    crash "${part[classification]}"
    ctl packages com.example.unknown
    eventually "classification service that is gone" says degraded "classification service failed "
    crash "${part[compositor]}"
    ctl packages com.example.reader
    eventually "compositor that is gone" says degraded "compositor missing for "
    eventually "a panel that waits for its frames" says degraded "panel asked for 90 Hz, and stays at 60"
    crash "${part[display]}"
    ctl packages com.example.mail
    await_end "$service"
    expect "without the display service it ends" "$(grep -c 'fatal: .*display service' "$work/kvtd")" 1
    start_service
    eventually "a display service that is not there" says degraded "display service missing for "
}

has_line() { grep -q "$1" "$work/kvtd"; }
check_configuration() {
    kill "$service"
    await_end "$service"
    start_part display display
    start_part compositor compositor
    start_part classification classification
    kvtd --config /no/such.xml >"$work/out" 2>&1 && status=0 || status=$?
    expect "a configuration that was named and is missing" "$status $(grep -c '/no/such.xml' "$work/out")" "2 1"
    start_service
    kvtd --config "$service_config" >"$work/out" 2>&1 && status=0 || status=$?
    expect "a second service" "$status $(<"$work/out")" "1 kvtd: process $service runs KVTService already"
    ctl packages com.example.mail com.example.reader com.example.mail
    eventually "the old configuration" why_is "90 Hz multi-app-mixed ("
    kvtctl frames traffic#0 --fps 120 --for 5 >"$work/frames" 2>&1 &
    local frames=$!
    sed -i 's/\(force_multi_app_lcd_fps" value=\)"0"/\1"1"/' "$service_config"
    kill -HUP "$service"
    ctl packages com.example.mail com.example.reader com.example.mail
    eventually "one replaced in mid-traffic" why_is "60 Hz multi-app-forced ("
    await_end "$frames"
    expect "all frames were taken" "$status $(<"$work/frames")" "0 600 frames sent"
    echo "<Config><Params" >"$service_config"
    kill -HUP "$service"
    eventually "a broken one is refused" has_line "configuration refused: .*why.xml"
    eventually "and why says so" says degraded why.xml
    eventually "the old one stays" why_is "60 Hz multi-app-forced ("
    sed 's/com.example.feed/com.example.*.feed/' "$source_dir/tests/vm/why.xml" >"$service_config"
    kill -HUP "$service"
    eventually "one with findings is taken" says degraded "finding"
    cp "$source_dir/tests/vm/why.xml" "$service_config"
    kill -HUP "$service"
    eventually "a clean one ends that" is_well
    kill "$service"
    await_end "$service"
    kvtd --cpuset "$work/cpus" >"$work/kvtd" 2>&1 &
    service=$!
    eventually "without any" says degraded "missing: built-in values in force"
    kill "$service"
    await_end "$service"
    mkdir "$work/properties"
    echo -n 90 >"$work/properties/persist.dynamicfps.switch"
    KVT_PROPERTY_DIR=$work/properties start_service
    eventually "fixed-mode" why_is "90 Hz fixed-mode ("
}

# What a person sees.
check_looks() {
    ctl why --json
    expect "JSON" "$(echo "$out" | python3 -c 'import json,sys; print(json.load(sys.stdin)["hz"])')" 90
    kill -STOP "$service"
    ctl why --timeout 1
    expect "a service that is stopped" "$status $out" "1 "
    expect "is told apart" "$(grep -c . "$work/err")" 1
    kill -CONT "$service"
}

start_manager
for name in display compositor classification; do
    start_part $name $name
done
start_part rest scheduler,performance,display-engine,game-sdk
start_service
if [[ ${2-} == strategies ]]; then
    check_strategies
else
    check_scenes
    check_peers
    check_configuration
    check_looks
fi
kill "$service" "${part[@]}" "$manager" 2>/dev/null || true
finish
