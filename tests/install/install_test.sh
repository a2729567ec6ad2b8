#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage: install_test.sh BUILD_DIRECTORY CXX
# What "cmake --install" writes is complete in itself: libraries, programs, and what other projects build with.
set -euo pipefail

build=$(realpath "$1")
cxx=$2
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "install_test: $*" >&2
    exit 1
}

cmake --install "$build" --prefix "$work/unpacked" >/dev/null
mv "$work/unpacked" "$work/moved" # works wherever it lies
cd "$work/moved"

mapfile -t libraries < <(find lib* -name '*.so')
for file in "${libraries[@]}" bin/*; do
    ldd -r "$file" >"$work/ldd" 2>&1 || fail "$file can not be loaded"
    ! grep -E 'undefined symbol|not found|=> '"$build" "$work/ldd" || fail "$file is not complete"
done
runtimes=$(nm -D --defined-only --print-file-name "${libraries[@]}" | grep -c 'ProcessState4selfEv$' || true)
((runtimes == 1)) || fail "a process with all libraries has $runtimes binder runtimes"

cmake -S "$here/consumer" -B "$work/consumer" -G Ninja "-DCMAKE_CXX_COMPILER=$cxx" \
    -DCMAKE_PREFIX_PATH="$PWD" >"$work/log" 2>&1 &&
    cmake --build "$work/consumer" >"$work/log" 2>&1 &&
    "$work/consumer/consumer" >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    fail "nobody can build with it"
}

[[ $(bin/kvtctl config check share/kvt/kvt_config.xml) == *": clean" ]] || fail "the sample is not clean"
bin/kvt-sim run share/kvt/scenarios/first_light.jsonl >/dev/null || fail "the scenarios do not play"
