#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Usage: install_test.sh SOURCE_DIRECTORY BUILD_DIRECTORY CXX RESULT_DIRECTORY
# The README's way to an installation works on a fresh tree, and what it installs is complete in itself: libraries,
# programs, documents, and what other projects build with, the examples among them. The installation and the
# examples' programs are left in RESULT_DIRECTORY.
set -euo pipefail

source=$(realpath "$1")
build=$(realpath "$2")
cxx=$3
result=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "install_test: $*" >&2
    exit 1
}

# Runs a command, which is heard of only when it fails.
quietly() { # COMMAND...
    "$@" >"$work/log" 2>&1 || {
        cat "$work/log" >&2
        fail "failed: $*"
    }
}

# All but the compiling, which would take minutes: it is planned only, and this build installed in its place.
run_readme() {
    local line
    mkdir "$work/tree"
    tar -C "$source" --exclude=./build --exclude=./.git -c . | tar -C "$work/tree" -x
    cd "$work/tree"
    mapfile -t lines < <(sed -n '/^## Integrate/,/^```$/p' README.md | sed '1,/^```sh$/d; /^```$/d')
    ((${#lines[@]} > 0)) || fail "the README does not say how to install"
    for line in "${lines[@]}"; do
        case $line in
            'cmake --build '*) line+=' -- -n' ;;
            'cmake --install build/default --prefix /usr/local')
                line="cmake --install $build --prefix $result/unpacked"
                ;;
        esac
        quietly bash -c "$line"
    done
}

check_links() {
    local document target
    while read -r document; do
        while read -r target; do
            [[ $target == *:* || -e $(dirname "$document")/${target%%#*} ]] || fail "$document links to $target"
        done < <(grep -o '](.[^)]*)' "$document" | sed 's/^](//; s/)$//')
    done < <(find share/doc -name '*.md')
}

rm -rf "$result"
mkdir -p "$result"
result=$(realpath "$result")
run_readme
mv "$result/unpacked" "$result/moved" # works wherever it lies
cd "$result/moved"
check_links

mapfile -t libraries < <(find lib* -name '*.so')
for file in "${libraries[@]}" bin/*; do
    ldd -r "$file" >"$work/ldd" 2>&1 || fail "$file can not be loaded"
    ! grep -v "=> $result/" "$work/ldd" | grep -E 'undefined symbol|not found|=> '"$build" || fail "$file is not complete"
done
runtimes=$(nm -D --defined-only --print-file-name "${libraries[@]}" | grep -c 'ProcessState4selfEv$' || true)
((runtimes == 1)) || fail "a process with all libraries has $runtimes binder runtimes"

quietly cmake -S share/doc/libkvt/examples/cpp -B "$result/examples" -G Ninja "-DCMAKE_CXX_COMPILER=$cxx" \
    -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wshadow -Wconversion -Werror" -DCMAKE_PREFIX_PATH="$PWD"
quietly cmake --build "$result/examples"

[[ $(bin/kvtctl config check share/kvt/kvt_config.xml) == *": clean" ]] || fail "the sample is not clean"
bin/kvt-sim run share/kvt/scenarios/first_light.jsonl >/dev/null || fail "the scenarios do not play"
