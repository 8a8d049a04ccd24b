#!/bin/sh
# build-kernel-guest.sh [amd64|arm64]: a kernel of Debian and what it boots into, in build/kernel/ARCH.
#
#   kernel          the kernel, as the emulator starts it
#   guest.cpio      busybox, the kernel's modules that the tests use, those of tests/kernel/modules, tests/kernel/guest
#   modules.order   which modules are loaded, in that order
#   booted-*        the machine once it has booted, which the first test after this one makes (tests/kernel/booted.py)
#
# Packages are downloaded and unpacked, never installed: they stay in build/kernel/ARCH/VERSION until Debian brings another
# version. Needs no root.
set -eu
cd "$(dirname "$0")/.."
arch=${1:-amd64}
case $arch in
amd64) suffix= linux=x86 compiler= ;;
arm64) suffix=:arm64 linux=arm64 compiler=aarch64-linux-gnu- ;;
*) echo "build-kernel-guest.sh: there is no guest for $arch, only for amd64 and arm64" >&2; exit 2 ;;
esac
out=$(pwd)/build/kernel/$arch
mkdir -p "$out"
exec 9<"$out" # one at a time
flock 9

# An index from an earlier day may lack packages or name some that are gone. Once, and only for whoever may.
start_over_with_a_new_index() {
    if [ "$(id -u)" != 0 ] || [ -n "${INDEX_IS_NEW:-}" ]; then return; fi
    apt-get update -qq && INDEX_IS_NEW=1 exec scripts/build-kernel-guest.sh "$arch"
}

# "6.1.0-31-amd64", by what Debian's package for "the kernel" depends on; without an index, what was downloaded last.
release=$(apt-cache depends "linux-image-$arch$suffix" 2>/dev/null | sed -n 's/.*Depends: linux-image-\([^:]*\).*/\1/p' | head -1)
[ -n "$release" ] || release=$(cat "$out/release" 2>/dev/null) || {
    start_over_with_a_new_index
    echo "build-kernel-guest.sh: no package linux-image-$arch is known here: apt-get update" >&2
    exit 1
}
root=$out/$release

download() {
    (cd "$root/packages" && apt-get -qq -o APT::Sandbox::User=root -o Acquire::Retries=3 download "$@") || {
        start_over_with_a_new_index
        echo "build-kernel-guest.sh: cannot download $*: apt-get update may bring the index up to date" >&2
        exit 1
    }
}

# Headers come with the tools that use them, which are programs of this machine whatever the guest is.
if [ ! -f "$root/unpacked" ]; then
    echo "Downloading Linux $release"
    rm -rf "$root"
    mkdir -p "$root/packages"
    kbuild=$(apt-cache depends "linux-headers-$release$suffix" | sed -n 's/.*\(linux-kbuild-[0-9.]*\).*/\1/p' | head -1)
    download "linux-image-$release$suffix" "linux-headers-$release$suffix" "linux-headers-${release%-"$arch"}-common" \
        "$kbuild" "busybox-static$suffix"
    for package in "$root"/packages/*.deb; do dpkg-deb -x "$package" "$root"; done
    rm -r "$root/packages"
    sed -i "s|/usr/src/|$root/usr/src/|" "$root/usr/src/linux-headers-$release/Makefile"
    depmod -b "$root" "$release"
    touch "$root/unpacked"
    for old in "$out"/*/unpacked; do [ "$old" = "$root/unpacked" ] || rm -rf "$(dirname "$old")"; done
    echo "$release" >"$out/release"
fi
if [ ! -f "$root/kernel" ]; then
    python3 -B tests/kernel/unpack_kernel.py "$root/boot/vmlinuz-$release" "$root/kernel.new"
    mv "$root/kernel.new" "$root/kernel"
fi
ln -sf "$release/kernel" "$out/kernel"

modules=$out/modules
mkdir -p "$modules"
cp -u tests/kernel/modules/* "$modules"
make -s -C "$root/usr/src/linux-headers-$release" ARCH=$linux CROSS_COMPILE=$compiler M="$modules" modules >"$out/modules.log" 2>&1 || {
    cat "$out/modules.log" >&2
    exit 1
}

# Modules of the kernel with those that they need before them. Some are built in, which differs by architecture.
folder=$root/lib/modules/$release
wanted="virtio_pci virtio_console i2c-dev spidev xhci-pci ftdi_sio"
: >"$out/modules.new"
for name in $wanted; do
    if grep -q "/$name\.ko$" "$folder/modules.builtin"; then continue; fi
    sed -n "s|^\([^:]*/$name\.ko\): *\(.*\)|\1 \2|p" "$folder/modules.dep" | tr ' ' '\n' | sed '/^$/d' | tac >"$out/modules.one"
    [ -s "$out/modules.one" ] || {
        echo "build-kernel-guest.sh: Linux $release has no module $name" >&2
        exit 1
    }
    cat "$out/modules.one" >>"$out/modules.new"
done
rm -f "$out/modules.one"
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
chmod 755 "$tree"
mkdir -p "$tree/bin" "$tree/lib" "$tree/dev" "$tree/proc" "$tree/sys" "$tree/tmp" "$tree/etc" "$tree/modules"
cp "$root/bin/busybox" "$tree/bin/"
for file in $(awk '!seen[$0]++' "$out/modules.new"); do
    cp "$folder/$file" "$tree/modules/"
    basename "$file"
done >"$tree/modules/order"
rm "$out/modules.new"
cp "$modules/riggpio.ko" "$modules/rigbus.ko" "$tree/modules/"
printf '%s\n' riggpio.ko rigbus.ko >>"$tree/modules/order"
"${compiler}strip" --strip-debug "$tree"/modules/*.ko
install -m 755 tests/kernel/guest/init.sh "$tree/init"
install -m 755 tests/kernel/guest/ask.sh "$tree/bin/ask"
cp tests/kernel/guest/passwd tests/kernel/guest/group "$tree/etc/"
(cd "$tree" && find . | LC_ALL=C sort | cpio --quiet -o -H newc --owner 0:0) >"$out/guest.new"
mv "$out/guest.new" "$out/guest.cpio"
echo "The guest for $arch: Linux $release"
