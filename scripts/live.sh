#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The service at work between real processes, on a kernel that has the binder driver: the service manager,
# a stand-in phone, kvtd and kvtctl. Prints each command before it runs it.
# Usage: scripts/vm scripts/live.sh BUILD_DIRECTORY
set -euo pipefail
case ${1-} in
    --help | -h) sed -n '/^# The service at work/,/^# Usage/s/^# //p' "${BASH_SOURCE[0]}"; exit ;;
esac
cd "$(dirname "${BASH_SOURCE[0]}")/.."

if (($# != 1)); then
    echo "usage: scripts/live.sh BUILD_DIRECTORY" >&2
    exit 2
fi
build=$1
PATH=$build/tools:$build/host:$build/sim:$build/platform:$PATH
readonly PAUSE=1 # seconds; for the consequences of a command to show before the next one
pids=()

# shellcheck disable=SC2317 # called by the trap
end_processes() {
    local i
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
        kill "${pids[i]}" 2>/dev/null || true
        wait "${pids[i]}" || true
    done
}
trap end_processes EXIT

say() { printf '\n# %s\n' "$*"; }

# Runs a process in the background; its lines appear behind its name, without the log's columns and without
# what the service says of each entry of its configuration.
start() {
    printf '$ %s &\n' "$*"
    "$@" > >(sed -u -E "/fpscommon: xml:/d; s/^KVTService [A-Z] .{14} +[0-9]+ +[0-9]+ //; s/^/  $1: /") 2>&1 &
    pids+=($!)
}

run() {
    printf '$ %s\n' "$*"
    "$@" && status=0 || status=$?
    if ((status != 0)); then
        echo "  (exit status $status)"
    fi
    sleep "$PAUSE"
}

await_service() {
    local attempt
    for attempt in {1..100}; do
        if kvtctl self-test >/dev/null 2>&1; then
            return
        fi
        sleep 0.1
    done
    echo "live: kvtd did not come up after $attempt attempts" >&2
    exit 1
}

# Prints the parts of the status that the walk is about.
status_of() {
    printf '$ kvtctl status\n'
    kvtctl status | awk -v wanted=" $* " '
        /^\[/ { shown = index(wanted, " " substr($0, 2, length($0) - 2) " ") > 0 }
        shown && NF { print "  " $0 }'
    echo "  (more sections left out here)"
}

say "A service manager, as every binder system has: it knows the services by name."
start kvt-servicemanager
sleep "$PAUSE"
say "The phone around the service: a panel of 60 and 90 Hz, a compositor, and the rest."
start kvt-phone sim/scenarios/live.jsonl
sleep "$PAUSE"
say "The service. Its configuration gives com.example.reader code 3, which is 90 Hz, and other applications 60 Hz."
start kvtd --config sim/scenarios/first_light.xml --cpuset /tmp/kvt-vip-cpus
await_service
sleep "$PAUSE"

say "The framework says that the reader has the focus. The panel goes to 90 Hz."
run kvtctl packages com.example.reader
say "Which rule was it? See the last decision."
status_of foreground panel decisions
say "Another application: back to 60 Hz."
run kvtctl packages com.example.mail
say "A shooter game that the configuration gives a constant 90 Hz, and power saving above it."
run kvtctl packages com.example.shooter
run kvtctl power-mode 4
status_of strategy panel decisions
say "That is all. The processes are told to end."
