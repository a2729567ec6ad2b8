# shellcheck shell=bash disable=SC2034 # variables are for the tests
# SPDX-License-Identifier: Apache-2.0
# For tests of the programs together, inside the virtual machine: starts and ends the system's processes, and
# counts what was not as expected. Sourced, by scripts whose first argument is the build directory. Each process
# writes to a file of its own in $work.
set -euo pipefail

PATH=$1/tools:$1/host:$1/sim:$1/platform:$1/tests/vm:$PATH
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
failures=0
readonly PATIENCE=60 # seconds; an emulated machine can be very slow
# Each process's sanitizer, if it has one, reports to a file of its own. (An option that comes last counts.)
export ASAN_OPTIONS=${ASAN_OPTIONS-}:log_path=$work/sanitizer
export TSAN_OPTIONS=${TSAN_OPTIONS-}:log_path=$work/sanitizer
export UBSAN_OPTIONS=${UBSAN_OPTIONS-}:log_path=$work/sanitizer
export LSAN_OPTIONS=${LSAN_OPTIONS-}:suppressions=$source_dir/cmake/lsan.supp:print_suppressions=0
phone_scenario=$source_dir/sim/scenarios/live.jsonl
service_config=$source_dir/sim/scenarios/first_light.xml

expect() { # WHAT ACTUAL EXPECTED
    if [[ $2 == "$3" ]]; then
        echo "ok: $1"
    else
        printf 'FAILED: %s\n  expected: %s\n  actual:   %s\n' "$1" "$3" "$2"
        failures=$((failures + 1))
    fi
}

# A command that fails unexpectedly ends the test, but not silently.
show_logs() { tail -n 20 "$work"/* || true; }
trap 'echo "FAILED: a command in the test itself"; show_logs' EXIT

# Asks again until the command succeeds.
eventually() { # WHAT COMMAND...
    local what=$1 deadline=$((SECONDS + PATIENCE))
    shift
    while ((SECONDS < deadline)); do
        if "$@" >/dev/null 2>&1; then
            echo "ok: $what"
            return
        fi
        sleep 0.1
    done
    printf 'FAILED: %s\n  never: %s\n' "$what" "$*"
    failures=$((failures + 1))
    finish # what follows builds on it
}

# One call of kvtctl; sets status, out and err.
ctl() {
    kvtctl "$@" >"$work/out" 2>"$work/err" && status=0 || status=$?
    out=$(<"$work/out")
    err=$(<"$work/err")
}

# The value of one line of the status.
status_value() { kvtctl status | sed -n "s/^$1=//p"; }
status_is() { [[ $(status_value "$1") == "$2" ]]; }
last_decision() { kvtctl status | sed -n 's/^[0-9]*=at [0-9.]* //p' | tail -n 1; }
last_decision_is() { [[ $(last_decision) == "$1" ]]; }

# What became of the frames of a layer: "received COUNT disordered COUNT".
frames_of() { kvtctl status | sed -n "s/^$1=\(received .*\) last .*/\1/p"; }
has_frames_of() { [[ $(frames_of "$1") == received* ]]; }

manager_answers() { [[ $(kvtctl self-test 2>&1) == *"KVTService is not running"* ]]; }

start_manager() {
    kvt-servicemanager >"$work/manager" 2>&1 &
    manager=$!
    eventually "the service manager answers" manager_answers
}

start_phone() {
    kvt-phone "$phone_scenario" >"$work/phone" 2>&1 &
    phone=$!
    eventually "the phone is up" grep -q "the phone is up" "$work/phone"
}

# Some of the phone's services in a process of their own, whose id becomes the value of part[NAME].
declare -A part
start_part() { # NAME SERVICES [SCENARIO]
    kvt-phone --services "$2" "${3:-$phone_scenario}" >"$work/$1" 2>&1 &
    part[$1]=$!
    eventually "$1 is up" grep -q "the phone is up" "$work/$1"
}

start_service() {
    kvtd --config "$service_config" --cpuset "$work/cpus" >"$work/kvtd" 2>&1 &
    service=$!
    eventually "the service answers" kvtctl self-test
}

# A listener to game frame rates, whose id becomes the value of watcher[NAME].
declare -A watcher
watch() { # NAME OPTION...
    kvtctl watch --fps "${@:2}" >"$work/$1" 2>"$work/$1.errors" &
    watcher[$1]=$!
}

# As a process that crashes ends.
crash() { # PID
    kill -KILL "$1"
    { wait "$1"; } 2>/dev/null || true
}

# Waits for a process of this shell; sets status. One that does not end is killed, which shows in its status.
await_end() { # PID
    local deadline=$((SECONDS + PATIENCE))
    while ((SECONDS < deadline)) && kill -0 "$1" 2>/dev/null; do
        sleep 0.1
    done
    kill -KILL "$1" 2>/dev/null || true
    { wait "$1"; } 2>/dev/null && status=0 || status=$?
}

# To be called last. A sanitizer's report is a failure, whatever the process's status was.
finish() {
    expect "no sanitizer reports" "$(cat "$work"/sanitizer.* 2>/dev/null)" ""
    if ((failures > 0)); then
        show_logs
    fi
    trap - EXIT
    exit $((failures > 0))
}
