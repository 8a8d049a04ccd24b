#!/bin/sh
# lint.sh: formatting, written files, rooms, exported names, static analysis. Each finding fails.
set -eu
cd "$(dirname "$0")/.."
jobs=${JOBS:-$(nproc)}

echo "== formatting"
scripts/sources.sh | xargs clang-format --dry-run --Werror

echo "== names and numbers of the protocol"
python3 protocol/generate.py --check

echo "== rooms"
python3 scripts/check-stairs.py
scripts/check-words.sh
scripts/check-suppressions.sh
scripts/check-freestanding.sh
scripts/check-embedded.sh

echo "== exported names"
scripts/build.sh release
python3 scripts/check-stairs.py --links build/release
scripts/check-exports.sh build/release/lib/libzent_hostLinkLib.so
[ ! -f build/release/lib/libzent_serialComm.so ] || scripts/check-exports.sh build/release/lib/libzent_serialComm.so
scripts/check-exports.sh build/release/lib/libzent_hostLinkClient.so

# Both analysers spend much of their time on memory. With this allocator, and in large pages, they take up to a fifth less.
quick='env LD_PRELOAD=libmimalloc.so.2 MIMALLOC_LARGE_OS_PAGES=1'

echo "== cppcheck"
$quick cppcheck --quiet --std=c++17 --enable=warning,performance,portability --inline-suppr --error-exitcode=1 -j "$jobs" \
    --suppressions-list=scripts/cppcheck-suppressions.txt -I src/lib src
# The firmware's C, as one of its boards builds it.
firmware="-I src -I src/lib -I firmware -DMPS2_IMAGE=\"an385.h\""
$quick cppcheck --quiet --std=c99 --enable=warning,performance,portability --inline-suppr --error-exitcode=1 -j "$jobs" \
    --suppressions-list=scripts/cppcheck-suppressions.txt $firmware firmware

echo "== clang-tidy, with the clang analyzer's checks"
# A few files of a target together: what their headers cost is paid once. Not many, and not those that call each other: the
# analyzer follows each function into those of the files beside it, and gives it up after so many steps, whether it has seen
# its end or not. "UnifiedSource" in the path tells it to look at the files behind such a one as closely as at a file of its
# own.
together=build/UnifiedSource
[ -f build/clang/build.ninja ] || cmake --preset clang >/dev/null # only how each file is compiled is needed
cmake --preset clang -B "$together" -D CMAKE_UNITY_BUILD=ON -D CMAKE_UNITY_BUILD_BATCH_SIZE=8 >/dev/null
files=$(scripts/sources.sh | grep -E "^(src|examples)/.*\.cpp$")
# Three checks do not look behind it. They are for what these files have.
apart='misc-unused-using-decls,misc-unused-alias-decls,bugprone-suspicious-include'
few=$(echo "$files" | xargs grep -lE '^ *(using [A-Za-z0-9_:]+::[A-Za-z0-9_]+;|namespace [A-Za-z0-9_]+ =)|^ *#include .*\.(c|cc|cpp|cxx)[">]')
{
    scripts/tidy-units.py "$together" build/clang $files | sed 's/^/--checks=-bugprone-suspicious-include -p /'
    echo "$few" | sed "s/^/--checks=-*,$apart -p build\/clang /"
} | xargs -P "$jobs" -n 4 $quick clang-tidy --quiet 2>/dev/null
# A register is a number that becomes an address.
scripts/sources.sh | grep '^firmware/.*\.c$' |
    xargs -P "$jobs" -I@ $quick clang-tidy --quiet --checks=-performance-no-int-to-ptr --header-filter='/(src|firmware)/' @ -- \
        -std=c99 --target=armv7m-none-eabi -ffreestanding -isystem /usr/include/newlib $firmware 2>/dev/null
echo "lint: no findings"
