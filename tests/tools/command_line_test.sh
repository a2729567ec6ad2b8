#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage: command_line_test.sh BUILD_DIRECTORY
# Scripts tell their usage without doing anything; programs notice when their output gets lost, and tell their version.
set -euo pipefail

build=$(realpath "$1")
source=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../..")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

expect() { # WHAT ACTUAL WANTED
    if [[ $2 != "$3" ]]; then
        printf 'command_line_test: %s: "%s", not "%s"\n' "$@" >&2
        failures=$((failures + 1))
    fi
}

# Where there is nothing to build, and none of the tools that do anything.
mkdir "$work/bin"
cp -R "$source/scripts" "$work/scripts"
for tool in bash cat dirname nproc sed sh; do
    ln -s "$(command -v "$tool")" "$work/bin/$tool"
done
ln -s "$(python3 -c 'import sys; print(sys.executable)')" "$work/bin/python3"
for script in "$work"/scripts/*; do
    [[ -f $script && -x $script ]] || continue # a part of another one
    status=0
    (cd / && PATH=$work/bin "$script" --help) >"$work/out" 2>"$work/err" || status=$?
    expect "${script##*/} --help" "$status, $(cat "$work/err")" "0, "
    expect "${script##*/} --help" "$(grep -ci "usage: scripts/" "$work/out")" 1
done

run() { # PROGRAM ARGUMENT... > OUTPUT; leaves the exit status and what went to standard error
    local program=$1
    shift
    status=0
    "$program" "$@" 2>"$work/err" || status=$?
    errors=$(cat "$work/err")
}

cat >"$work/gone.py" <<'END' # PROGRAM ARGUMENT...: into a socket whose other end is closed
import socket, subprocess, sys

ours, theirs = socket.socketpair()
theirs.close()
sys.exit(subprocess.run(sys.argv[1:], stdout=ours, restore_signals=False).returncode)
END

scenario=$source/sim/scenarios/game.jsonl
config=$source/packaging/kvt_config.xml
for command in "tools/kvtctl --help" "tools/kvtctl config explain $config com.example" \
    "sim/kvt-sim events" "sim/kvt-sim run $scenario" "sim/kvt-phone --help" "host/kvtd --help"; do
    # shellcheck disable=SC2086 # arguments are words
    run $build/$command >/dev/full
    name=${command%% *}
    expect "$command" "$status, $errors" "1, ${name##*/}: standard output can not be written"
    # A reader that goes is no fault, whether or not the signal is there to say so.
    mkfifo "$work/pipe"
    exec 4<>"$work/pipe"
    exec 5>"$work/pipe"
    exec 4>&-
    trap '' PIPE
    # shellcheck disable=SC2086
    run $build/$command >&5
    trap - PIPE
    exec 5>&-
    rm "$work/pipe"
    expect "$command, without a reader" "$status, $errors" "0, "
    # shellcheck disable=SC2086
    run python3 "$work/gone.py" $build/$command
    expect "$command, whose socket was closed" "$status, $errors" "0, "
done

version=$(sed -n 's/^project(libkvt VERSION \([^ ]*\) .*/\1/p' "$source/CMakeLists.txt")
for program in host/kvtd platform/kvt-servicemanager sim/kvt-phone sim/kvt-sim tools/kvtctl; do
    expect "$program --version" "$("$build/$program" --version)" "${program##*/} $version"
done

# A configuration that was asked for has to be there.
for missing in "/nonexistent: No such file or directory" "/: not a plain file"; do
    run "$build/host/kvtd" --config "${missing%%:*}"
    expect "kvtd --config ${missing%%:*}" "$status, $errors" "2, kvtd: $missing"
done

# Completion follows the command line by itself; here is that bash takes it.
"$build/tools/kvtctl" completion bash >"$work/completion"
expect "bash -n" "$(bash -n "$work/completion" 2>&1)" ""
complete_words() { # WORD... > what the last one can become
    # shellcheck disable=SC2016 # it is bash that is to expand this
    bash -c '. "$0"; compopt() { COMPREPLY+=("$*"); }; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _kvtctl; echo "${COMPREPLY[@]}"' \
        "$work/completion" "$@"
}
expect "completion of a subcommand" "$(complete_words kvtctl hi)" history
expect "of its options" "$(complete_words kvtctl config check --ra)" --rates
expect "options are not offered unasked" "$(complete_words kvtctl why "")" ""
expect "a file where one is taken" "$(complete_words kvtctl config check "")" "-o default"
expect "not where none is" "$(complete_words kvtctl config "")" "check explain"
expect "of a subcommand behind an option" "$(complete_words kvtctl --x config e)" explain
expect "fish" "$("$build/tools/kvtctl" completion fish | grep -c "seen_subcommand_from config; and .*check.*-l rates")" 1
expect "fish, files behind a subcommand" \
    "$("$build/tools/kvtctl" completion fish | grep -c "from config; and not __fish_seen_subcommand_from check explain' -f")" 2
expect "zsh" "$("$build/tools/kvtctl" completion zsh | grep -c "('kvtctl config') choices=('check:")" 1

run "$build/tools/kvtctl" confgi
expect "a misspelt subcommand" "$status, $errors" \
    "2, kvtctl: no such subcommand: confgi; did you mean config? (kvtctl --help tells more)"
run "$build/sim/kvt-sim" events --al
expect "an unknown option" "$status, $errors" "2, kvt-sim: no such option: --al (kvt-sim --help tells more)"
for program in host/kvtd sim/kvt-phone; do
    run "$build/$program" --verbsoe
    expect "$program" "$status, ${errors%%:*}" "2, ${program##*/}"
done

exit $((failures > 0))
