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

echo "== cppcheck"
cppcheck --quiet --std=c++17 --enable=warning,performance,portability --inline-suppr --error-exitcode=1 -j "$jobs" \
    --suppressions-list=scripts/cppcheck-suppressions.txt -I src/lib src

echo "== clang-tidy, with the clang analyzer's checks"
[ -f build/clang/build.ninja ] || cmake --preset clang >/dev/null # only how each file is compiled is needed
# Those with a command line's parser take longest, and come first.
for rooms in 'src/(tools|command)|examples' 'src/(lib|host|hostsim|hostport|terminal|hostcheck|exchange|sockets|rig|json)'; do scripts/sources.sh | grep -E "^($rooms)/.*\.cpp$"; done |
    xargs -P "$jobs" -n 1 clang-tidy --quiet -p build/clang 2>/dev/null
echo "lint: no findings"
