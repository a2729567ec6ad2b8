#!/bin/busybox sh
# shellcheck shell=dash
# SPDX-License-Identifier: Apache-2.0
# First process of the virtual machine that scripts/vm starts. It puts a writable layer above the host's
# files, runs the caller's command there and leaves the exit status in the job folder, which host and
# machine share: script (in), shares (in), terminal (in, its size; absent without one), out, err (absent
# when both streams are one), status.
set -eu
/bin/busybox --install -s /bin
export PATH=/bin
# Whatever fails from here on ends the machine; the host sees that there is no status.
trap 'reboot -f' EXIT

mount_9p() { # TAG DIRECTORY OPTIONS
    mount -t 9p -o "trans=virtio,version=9p2000.L,msize=512000,$3" "$1" "$2"
}

share() { # TAG DIRECTORY, called by the job's list of shares
    mkdir -p "/root$2"
    mount_9p "$1" "/root$2" cache=mmap
}

load_modules() {
    while read -r module parameters; do
        # shellcheck disable=SC2086 # parameters are words
        insmod "/modules/$module.ko" $parameters
    done </modules/list
}

mount_root() {
    mkdir -p /host /layer /root /job /cgroup
    mount_9p host /host ro,cache=loose
    mount_9p job /job cache=none
    mount -t tmpfs layer /layer
    mkdir /layer/upper /layer/work
    mount -t overlay -o lowerdir=/host,upperdir=/layer/upper,workdir=/layer/work overlay /root
    mount --bind /dev /root/dev
    mkdir -p /root/dev/shm /root/dev/pts
    mount -t tmpfs -o mode=1777 shm /root/dev/shm
    mount -t devpts -o ptmxmode=0666 devpts /root/dev/pts
    mount -t proc proc /root/proc
    mount -t sysfs sys /root/sys
    mount -t debugfs debug /root/sys/kernel/debug
    mount -t cgroup2 cgroup /cgroup
    ln -s /proc/self/fd /root/dev/fd
    ln -s fd/0 /root/dev/stdin
    ln -s fd/1 /root/dev/stdout
    ln -s fd/2 /root/dev/stderr
    chmod 666 /root/dev/binder /root/dev/hwbinder /root/dev/vndbinder
    # shellcheck disable=SC1091
    . /job/shares
}

# The streams are pipes, as most programs meet them: a regular file on 9p would cost a round trip per
# write and be truncated by whoever opens /dev/stderr anew.
copy_streams() {
    [ ! -e /job/terminal ] || return 0
    mkfifo /out /err
    cat /out >/job/out &
    if [ -e /job/err ]; then
        cat /err >/job/err &
    fi
}

run_command() {
    mkdir /cgroup/job
    (
        echo 0 >/cgroup/job/cgroup.procs
        if [ -e /job/terminal ]; then
            read -r rows columns </job/terminal
            exec </dev/ttyS1 >/dev/ttyS1 2>&1
            [ "$rows" = 0 ] || stty rows "$rows" columns "$columns"
            exec setsid -c chroot /root /bin/sh -c "$(cat /job/script)"
        fi
        if [ -e /job/err ]; then exec >/out 2>/err; else exec >/out 2>&1; fi
        exec chroot /root /bin/sh -c "$(cat /job/script)" </dev/null
    ) && status=0 || status=$?
    # What the command left running would hold the streams open.
    echo 1 >/cgroup/job/cgroup.kill
    wait
    sync
    echo "$status" >/job/status
}

mkdir -p /proc /dev
mount -t proc proc /proc
mount -t devtmpfs dev /dev
exec </dev/console >/dev/console 2>&1
load_modules
mount_root
hostname localhost
ip link set lo up
copy_streams
run_command
