#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage, inside the virtual machine: soak.sh BUILD_DIRECTORY SECONDS
# The programs at work while apps attack the service, frames flood it, and the phone's services and the
# service's clients crash one after the other and come back. Meanwhile each event of the framework takes effect
# and each query is answered; afterwards the service holds what it held before. Prints an account.
# shellcheck disable=SC2317 # some functions are called by "eventually" only
# shellcheck source=tests/vm/system.sh
. "$(dirname "${BASH_SOURCE[0]}")/system.sh"
readonly soak_seconds=$2
phone_scenario=$source_dir/tests/vm/soak.jsonl
service_config=$source_dir/tests/vm/faults.xml

readonly LATE_MS=3000
readonly RESTORED_MS=5000
readonly MEMORY_KB=2048

# The emulator is slow, and shares its processors with whatever else runs beside it: ten times what was seen
# without any load comes to the limit.
limit() { # WHAT
    awk -v what="$1" -v limit=$LATE_MS '$1 == what { print int(limit + 10 * $4) }' "$work/quiet"
}

play_framework() { # FILE SECONDS EVENT_MS QUERY_MS
    soak_client framework "${@:2}" "$work/away" >"$work/$1" 2>&1
}

start_client() { # NAME
    local arguments=(watch --fps)
    [[ $1 != frames ]] || arguments=(frames traffic#0 --fps 1000 --for 86400)
    nice -n 10 kvtctl "${arguments[@]}" >"$work/$1" 2>&1 &
    part[$1]=$!
}

# The pool of binder threads grows to its limit and stays.
threads() { grep -L '^binder:' "/proc/$service/task"/*/comm | wc -l; }
descriptors() { find "/proc/$service/fd" -mindepth 1 | wc -l; }
memory_kb() { sed -n 's/^VmRSS:[^0-9]*\([0-9]*\) kB/\1/p' "/proc/$service/status"; }
holds_no_more() { (($(threads) <= $1 && $(descriptors) <= $2)); } # THREADS DESCRIPTORS

readonly services="compositor classification rest"
readonly clients="watch frames"
declare -A kills
crash_in_turn() { # SECONDS
    local name end=$((SECONDS + $1))
    while :; do
        for name in $services $clients; do
            ((SECONDS < end)) || return 0
            sleep 1
            # A client may have been refused, and be gone already.
            [[ $name != compositor ]] || touch "$work/away"
            crash "${part[$name]}" 2>/dev/null || true
            kills[$name]=$((${kills[$name]-0} + 1))
            sleep 0.5
            start_one "$name" >/dev/null
            rm -f "$work/away"
        done
    done
}

start_one() { # NAME
    case $1 in
        watch | frames) start_client "$1" ;;
        rest) start_part rest scheduler,performance,display-engine,game-sdk ;;
        *) start_part "$1" "$1" ;;
    esac
}

soak() { # SECONDS
    local attackers framework name
    for name in $clients; do
        start_client "$name"
    done
    soak_client attack "$1" >"$work/attack" 2>&1 &
    attackers=$!
    play_framework framework "$1" "$(limit events)" "$(limit queries)" &
    framework=$!
    crash_in_turn "$1"
    await_end "$attackers"
    expect "the attackers end" "$status" 0
    await_end "$framework"
    expect "each event took effect, and each query was answered" "$status" 0
    ((status == 0)) || cat "$work/framework"
    for name in $clients; do
        crash "${part[$name]}"
    done
}

# A page of 2 MB more or less says nothing about what the service keeps.
echo never >/sys/kernel/mm/transparent_hugepage/enabled 2>/dev/null || true
start_manager
start_part display display
for name in $services; do
    start_one "$name"
done
start_service
play_framework quiet 5 60000 60000
quiet_threads=$(threads)
quiet_descriptors=$(descriptors)
# What is made once, and the first of all that is remembered.
soak $((soak_seconds / 10 + 5))
eventually "after the warm-up nothing is left" holds_no_more "$quiet_threads" "$quiet_descriptors"
memory_before=$(memory_kb)
kills=()
soak "$soak_seconds"

play_framework restored 1 $RESTORED_MS $RESTORED_MS && status=0 || status=$?
expect "the rate is right when all is over" "$status" 0
eventually "threads and descriptors are what they were" holds_no_more "$quiet_threads" "$quiet_descriptors"
memory_after=$(memory_kb)
expect "memory grew by less than $MEMORY_KB kB" $((memory_after - memory_before < MEMORY_KB)) 1
ctl self-test
expect "the service is the same process" "$(kill -0 "$service" && echo "$status $out")" "0 20"
expect "nothing was fatal" "$(grep -c "fatal:" "$work/kvtd" || true)" 0

echo "soak of $soak_seconds s"
for name in $services $clients; do
    printf '  kill -9 of %s %d\n' "$name" "${kills[$name]-0}"
done
for name in attack framework; do
    sed 's/^/  /' "$work/$name"
done
sed 's/^/  without load: /' "$work/quiet"
echo "  threads $quiet_threads -> $(threads), descriptors $quiet_descriptors -> $(descriptors)," \
    "memory $memory_before -> $memory_after kB"
kvtctl status | grep -E "^(refused|uid|received|most|queue)" | sed 's/^/  service: /' || true
kill "$service" "${part[@]}" "$manager" 2>/dev/null || true
finish
