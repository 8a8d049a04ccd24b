#!/bin/sh
# clean.sh: removes build/, when no other make works in it.
set -eu
cd "$(dirname "$0")/.."
[ -d build ] || exit 0
. scripts/one-make.sh
one_make
rm -rf build
