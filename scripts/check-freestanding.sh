#!/bin/sh
# The function core builds without a C++ library, needs nothing but memcpy, memmove and the report of its assertion, and
# shows what links it the public functions alone: no other global symbol and no weak one, optimised or not.
set -eu
cd "$(dirname "$0")/.."
object=$(mktemp)
trap 'rm -f "$object"' EXIT
hook='-DHOSTLINK_ASSERT(condition)=((condition) ? (void)0 : __builtin_trap())'

# compile COMPILER FLAG...
compile() {
    compiler=$1
    shift
    "$compiler" -std=c++17 -ffreestanding -fno-exceptions -fno-rtti -fno-threadsafe-statics -Wall -Wextra -Werror "$@" \
        -c src/lib/hostlink/core/HostLinkLib.cpp -o "$object"
}

# refuse COMPLAINT NAMES: fails when there are names.
refuse() {
    [ -z "$2" ] || { printf '%s:\n%s\n' "$1" "$2" >&2; exit 1; }
}

# needs ALLOWED: what the object asks for beyond that.
needs() {
    nm -u "$object" | awk '{ print $2 }' | grep -vxE "$1|_GLOBAL_OFFSET_TABLE_" || true
}

shows() {
    nm -g --defined-only "$object" | awk '{ print $2, $3 }' | grep -vxE 'T (hostLink|dataTransfer|genDataTransfer)[A-Za-z0-9]+' || true
}

for compiler in g++ clang++; do
    command -v $compiler >/dev/null || continue
    for level in -O0 -Os -O2; do
        compile $compiler $level
        refuse "The function core needs more than it may ($compiler $level)" "$(needs 'memcpy|memmove|__assert_fail')"
        refuse "The function core shows names that are not public ($compiler $level)" "$(shows)"
        compile $compiler $level "$hook"
        refuse "The function core needs more than it may under HOSTLINK_ASSERT ($compiler $level)" "$(needs 'memcpy|memmove')"
    done
    echo "The function core is freestanding and shows its public functions alone ($compiler)."
done
