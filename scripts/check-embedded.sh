#!/bin/sh
# The function core and the host's engine build for a micro-controller without a C++ library, need nothing but memcpy,
# memmove, memset and the report of the core's assertion, keep no data of their own, and stay within their sizes.
set -eu
cd "$(dirname "$0")/.."
compiler=arm-none-eabi-g++
if ! command -v $compiler >/dev/null; then
    echo "Not built for a micro-controller: no $compiler here (scripts/install-packages.sh lint)"
    exit 0
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

may_need='memcpy|memmove|memset|__assert_func'
core_limit=4096   # bytes of code and constants
engine_limit=6144 # both wires together

# build CPU PART FILE...: compiles the files and puts them together as one object, $work/PART.o.
build() {
    cpu=$1
    part=$2
    shift 2
    mkdir "$work/$part.parts"
    for file in "$@"; do
        $compiler -std=c++17 -mcpu="$cpu" -mthumb -Os -ffreestanding -fno-exceptions -fno-rtti -fno-threadsafe-statics \
            -nostdlib -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -I src -I src/lib \
            -c "$file" -o "$work/$part.parts/$(basename "$file").o"
    done
    arm-none-eabi-ld -r "$work/$part.parts"/*.o -o "$work/$part.o"
    rm -r "$work/$part.parts"
}

# refuse COMPLAINT NAMES: fails when there are names.
refuse() {
    [ -z "$2" ] || { printf '%s:\n%s\n' "$1" "$2" >&2; exit 1; }
}

# What both together ask for, less what they may.
needs() {
    arm-none-eabi-ld -r "$work/core.o" "$work/engine.o" -o "$work/all.o"
    arm-none-eabi-nm -u "$work/all.o" | awk '{ print $2 }' | grep -vxE "$may_need" || true
}

# measure CPU PART LIMIT: prints the sizes and fails when they are beyond the limit.
measure() {
    set -- "$@" $(arm-none-eabi-size "$work/$2.o" | awk 'NR == 2 { print $1, $2, $3 }')
    printf '%-10s %-6s  text %4d of %d  data %d  bss %d\n' "$1" "$2" "$4" "$3" "$5" "$6"
    [ "$4" -le "$3" ] || refuse "Too large for $1" "$2: $4 bytes of code and constants, $3 are allowed"
    [ "$5" -eq 0 ] && [ "$6" -eq 0 ] || refuse "Keeps memory of its own on $1" "$2: data $5, bss $6"
}

for cpu in cortex-m0 cortex-m4; do
    build $cpu core src/lib/hostlink/core/HostLinkLib.cpp
    build $cpu engine src/host/*.cpp
    refuse "Needs more than it may on $cpu" "$(needs)"
    measure $cpu core $core_limit
    measure $cpu engine $engine_limit
done

# The headers as a firmware in C includes them.
for header in host/HostLinkHost host/HostLinkHostUart host/HostLinkHostBus hostlink/HostLinkVocabularyNumbers; do
    echo "#include <$header.h>" | arm-none-eabi-gcc -std=c99 -mcpu=cortex-m0 -mthumb -ffreestanding -Wall -Wextra \
        -Wpedantic -Werror -I src -I src/lib -fsyntax-only -x c -
done
