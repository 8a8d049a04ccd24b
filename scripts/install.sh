#!/bin/sh
# install.sh BUILD_DIRECTORY: puts what stands there below PREFIX (/usr/local), for packagers below DESTDIR first. Both may
# be relative, to the folder that this is called in.
set -eu
build=$(cd "$1" && pwd)

absolute() {
    case $1 in
    "" | /*) printf '%s' "$1" ;;
    *) printf '%s/%s' "$(pwd)" "$1" ;;
    esac
}
prefix=$(absolute "${PREFIX:-/usr/local}")
DESTDIR=$(absolute "${DESTDIR:-}")
export DESTDIR

cd "$(dirname "$0")/.."
. scripts/one-make.sh
one_make "$build"
umask 022 # what is installed is for everybody, whoever installs
cmake --install "$build" --prefix "$prefix"
