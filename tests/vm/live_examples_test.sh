#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage, inside the virtual machine: live_examples_test.sh BUILD_DIRECTORY EXAMPLES_DIRECTORY
# The examples of a service host and of a client, as the installation test has built them, with the other programs:
# the host moves the panel, and the client hears a game's rate from the next one. Wants a clock that costs no time
# (scripts/vm --instruction-clock).
# shellcheck source=tests/vm/system.sh
. "$(dirname "${BASH_SOURCE[0]}")/system.sh"
PATH=$2:$PATH
phone_scenario=$source_dir/tests/vm/faults.jsonl
service_config=$source_dir/tests/vm/faults.xml

start_host() {
    kvt-example-host "$service_config" >"$work/host" 2>&1 &
    host=$!
    eventually "the host answers" kvtctl self-test
}
client_said() { [[ $(<"$work/client") == "$1" ]]; } # LINES
panel_went_up() { (($(grep -c "panel 60 -> 90 Hz" "$work/phone") == $1)); } # TIMES

start_manager
start_phone
kvt-example-client >"$work/client" 2>"$work/client_log" &
client=$!
start_host
eventually "the client registers with a host that came later" client_said registered
ctl packages com.example.reader
eventually "the host decides" panel_went_up 1
ctl packages com.example.mail
eventually "anew" grep -q "panel 90 -> 60 Hz" "$work/phone"
ctl packages com.example.feed
ctl touch 1
eventually "and takes touches" panel_went_up 2
crash "$host"
start_host
eventually "the client registers anew" client_said $'registered\nthe service is gone\nregistered'
ctl packages com.example.racer
sleep 122 # nothing is reported before
ctl frames 'SurfaceView - com.example.racer#0' --fps 60 --for 4
eventually "and hears the rate" client_said $'registered\nthe service is gone\nregistered\n60 fps'
kill "$client" "$host" "$phone" "$manager"
finish
