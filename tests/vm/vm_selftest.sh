#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage: vm_selftest.sh PATH_OF_SCRIPTS_VM
# What a caller may rely on when a command runs in the virtual machine.
set -euo pipefail

vm=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export TMPDIR=$work/tmp
mkdir "$TMPDIR"
failures=0

expect() { # WHAT ACTUAL EXPECTED
    if [[ $2 == "$3" ]]; then
        echo "ok: $1"
    else
        printf 'FAILED: %s\n  expected: %s\n  actual:   %s\n' "$1" "$3" "$2"
        failures=$((failures + 1))
    fi
}

run() { # sets status; output in out and err
    "$vm" --timeout 60 "$@" >out 2>err && status=0 || status=$?
}

check_streams_and_status() {
    # shellcheck disable=SC2016 # expands in the machine
    run sh -c 'echo "$1"; echo complaint >/dev/stderr; pwd; sleep 1000 & exit 7' sh "it's \"quoted\"  \$HOME"
    expect "exit status" "$status" 7
    expect "arguments, output and working directory" "$(cat out)" "it's \"quoted\"  \$HOME"$'\n'"$work"
    expect "errors apart from output" "$(cat err)" complaint

    # shellcheck disable=SC2016
    "$vm" sh -c 'for i in 1 2 3; do echo out $i; echo err $i >&2; done; kill -KILL $$' >both 2>&1 && status=0 || status=$?
    expect "status of a killed command" "$status" 137
    expect "order kept in a common stream" "$(tr '\n' ' ' <both)" "out 1 err 1 out 2 err 2 out 3 err 3 "
}

check_environment() {
    mkdir share 'odd, name'
    # shellcheck disable=SC2016
    KVT_PASSED=yes ORDINARY=no CHOSEN='a b' run --share share --share 'odd, name' --env CHOSEN --env NEW=1 --cpus 1 sh -c '
        echo "$KVT_PASSED ${ORDINARY-unset} $CHOSEN $NEW $(nproc)"
        echo kept >share/file; echo kept >"odd, name/file"; echo lost >elsewhere'
    expect "variables and processors" "$(cat out err)" "yes unset a b 1 1"
    expect "file in a shared directory" "$(cat share/file 'odd, name/file')" kept$'\n'kept
    expect "other files are left alone" "$(cat elsewhere 2>/dev/null)" ""
}

check_endings() {
    "$vm" --timeout 3 sleep 1000 >out 2>err && status=0 || status=$?
    expect "time-out" "$status $(cat err)" "124 vm: no end after 3 s, stopped: sleep 1000"

    rm out
    "$vm" sh -c 'echo started; sleep 1000' >out 2>err &
    local script=$! machine
    until [[ -s out ]] || ! kill -0 "$script"; do sleep 0.1; done
    expect "output before the end" "$(cat out)" started
    machine=$(pgrep -P "$script" timeout)
    kill -TERM "$script"
    wait "$script" && status=0 || status=$?
    expect "status after SIGTERM" "$status" 143
    # The machine is told, not waited for.
    for _ in {1..150}; do kill -0 "$machine" 2>/dev/null || break; sleep 0.1; done
    expect "machine gone after SIGTERM" "$(kill -0 "$machine" 2>/dev/null && echo there)" ""
}

check_streams_and_status
check_environment
check_endings
expect "nothing left behind" "$(ls "$TMPDIR")" ""
exit $((failures > 0))
