#!/bin/sh
# The function core builds without a C++ library and needs nothing but memcpy, memmove and the report of its assertion.
set -eu
cd "$(dirname "$0")/.."
object=$(mktemp)
trap 'rm -f "$object"' EXIT

for compiler in g++ clang++; do
    command -v $compiler >/dev/null || continue
    $compiler -std=c++17 -ffreestanding -fno-exceptions -fno-rtti -fno-threadsafe-statics -O2 -Wall -Wextra -Werror \
        -c src/lib/hostlink/HostLinkLib.cpp -o "$object"
    extra=$(nm -u "$object" | awk '{ print $2 }' | grep -vE '^(memcpy|memmove|__assert_fail|_GLOBAL_OFFSET_TABLE_)$' || true)
    if [ -n "$extra" ]; then
        printf 'The function core needs more than it may (%s):\n%s\n' "$compiler" "$extra" >&2
        exit 1
    fi
    echo "The function core is freestanding ($compiler)."
done
