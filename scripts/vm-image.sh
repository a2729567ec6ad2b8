# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
# What scripts/vm boots: the packages it needs, a kernel unpacked (never installed) from its Debian
# package, and an initramfs. Sourced by scripts/vm.
#
# The cache holds the downloaded package and, for each package and list of modules, a folder with the kernel
# and the modules; in it, one initramfs for each version of what goes into it. Entries appear by a
# rename and never change, so that any number of machines may start while another one is being made.

readonly VM_PACKAGES=(qemu-system-x86 busybox-static cpio xz-utils)
readonly VM_KERNEL_METAPACKAGE=linux-image-amd64
readonly VM_CACHE="${XDG_CACHE_HOME:-${HOME:-/var/tmp}/.cache}/kvt-vm"

# In the order in which they must be loaded, with their parameters.
readonly VM_MODULES='virtio_ring
virtio
virtio_pci_legacy_dev
virtio_pci_modern_dev
virtio_pci
netfs
fscache
9pnet
9pnet_virtio
9p
overlay
binder_linux devices=binder,hwbinder,vndbinder'

as_root() {
    if [[ $EUID -eq 0 ]]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        die "needs root or sudo for: $*"
    fi
}

missing_packages() {
    local package
    for package in "${VM_PACKAGES[@]}"; do
        [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] ||
            echo "$package"
    done
}

cached_kernel_package() { # the newest one, if any
    find "$VM_CACHE" -maxdepth 1 -name 'linux-image-*.deb' 2>/dev/null | sort -V | tail -n 1 || true
}

digest() { sha256sum | cut -c 1-16; }

kernel_dir() { # DEB
    echo "$VM_CACHE/kernel-$({ basename "$1"; echo "$VM_MODULES"; } | digest)"
}

initramfs_path() { # KERNEL_DIR
    echo "$1/initramfs-$(cat "$VM_SCRIPTS/vm-image.sh" "$VM_SCRIPTS/vm-init.sh" /bin/busybox | digest)"
}

install_packages() {
    local missing
    mapfile -t missing < <(missing_packages)
    [[ ${#missing[@]} -gt 0 ]] || return 0
    say "installing ${missing[*]}"
    local install=(apt-get install -y -qq -o DPkg::Lock::Timeout=300 --no-install-recommends "${missing[@]}")
    as_root env DEBIAN_FRONTEND=noninteractive "${install[@]}" >&2 || {
        as_root apt-get update -qq >&2
        as_root env DEBIAN_FRONTEND=noninteractive "${install[@]}" >&2
    } || die "cannot install ${missing[*]}"
}

try_download() ( # INTO; fails when the package lists are missing or too old
    cd "$1" || exit 1
    package=$(apt-cache depends "$VM_KERNEL_METAPACKAGE" 2>/dev/null |
        sed -n 's/^ *Depends: \(linux-image-[0-9].*\)/\1/p' | head -n 1)
    [[ -n $package ]] || exit 1
    say "downloading $package"
    apt-get download -qq -o APT::Sandbox::User="$(id -un)" "$package" >&2
)

# Runs a step that adds to the cache: one at a time, with an empty folder to work in.
in_cache() ( # FUNCTION ARGUMENT...; the function gets the folder as its first argument
    mkdir -p "$VM_CACHE"
    exec 9>"$VM_CACHE/lock"
    flock 9
    tmp=$VM_CACHE/tmp
    rm -rf "$tmp" # of a run that was cut off
    mkdir "$tmp"
    "$1" "$tmp" "${@:2}"
    rm -rf "$tmp"
)

download_kernel_package() { # TMP
    [[ -z $(cached_kernel_package) ]] || return 0
    try_download "$1" || {
        as_root apt-get update -qq >&2
        try_download "$1"
    } || die "cannot download the kernel package behind $VM_KERNEL_METAPACKAGE"
    mv "$1"/linux-image-*.deb "$VM_CACHE/"
}

# A bzImage unpacks itself, which takes seconds under emulation; the ELF file inside boots at once.
# Offsets are those of the x86 boot protocol's header.
unpack_bzimage() { # BZIMAGE
    local sectors offset length
    sectors=$(od -An -tu1 -j $((0x1f1)) -N 1 "$1")
    offset=$(od -An -tu4 -j $((0x248)) -N 4 "$1")
    length=$(od -An -tu4 -j $((0x24c)) -N 4 "$1")
    dd if="$1" bs=1M iflag=skip_bytes,count_bytes skip=$(((sectors + 1) * 512 + offset)) \
        count=$((length)) status=none | xz -dc --single-stream
}

unpack_kernel() { # TMP DEB INTO
    say "unpacking $(basename "$2")"
    local patterns=(./boot/vmlinuz-\*) module
    while read -r module _; do
        patterns+=("*/$module.ko")
    done <<<"$VM_MODULES"
    mkdir "$1/package" "$1/kernel"
    dpkg-deb --fsys-tarfile "$2" | tar -x -C "$1/package" --wildcards "${patterns[@]}" ||
        die "cannot unpack $2"
    find "$1/package" -name '*.ko' -exec mv -t "$1/kernel" {} +
    unpack_bzimage "$1"/package/boot/vmlinuz-* >"$1/kernel/vmlinux" || die "cannot unpack the kernel of $2"
    mv -T "$1/kernel" "$3"
}

make_initramfs() { # TMP KERNEL_DIR PATH
    mkdir -p "$1/root/bin" "$1/root/modules"
    cp /bin/busybox "$1/root/bin/"
    install -m 755 "$VM_SCRIPTS/vm-init.sh" "$1/root/init"
    cp "$2"/*.ko "$1/root/modules/"
    echo "$VM_MODULES" >"$1/root/modules/list"
    (cd "$1/root" && find . | cpio -o -H newc -R 0:0 --quiet) >"$1/initramfs"
    mv "$1/initramfs" "$3"
}

build_image() { # TMP DEB; needs no network
    local dir initramfs
    dir=$(kernel_dir "$2")
    initramfs=$(initramfs_path "$dir")
    [[ -d $dir ]] || unpack_kernel "$1" "$2" "$dir"
    [[ -e $initramfs ]] || make_initramfs "$1" "$dir" "$initramfs"
}

setup_image() {
    [[ $(uname -m) == x86_64 ]] || die "runs on x86-64 hosts only, not on $(uname -m)"
    command -v apt-get >/dev/null || die "setting up needs Debian's apt-get"
    install_packages
    in_cache download_kernel_package
    require_image
}

# Sets vm_kernel and vm_initramfs to what is to be booted, made anew when an input of theirs has changed.
require_image() {
    local missing deb dir
    mapfile -t missing < <(missing_packages)
    deb=$(cached_kernel_package)
    [[ -n $deb ]] || missing+=("a kernel in $VM_CACHE")
    [[ ${#missing[@]} -eq 0 ]] || die "missing: ${missing[*]}; run scripts/vm --setup"
    dir=$(kernel_dir "$deb")
    # shellcheck disable=SC2034 # used by scripts/vm
    vm_kernel=$dir/vmlinux
    vm_initramfs=$(initramfs_path "$dir")
    [[ -e $vm_initramfs ]] || in_cache build_image "$deb"
}
