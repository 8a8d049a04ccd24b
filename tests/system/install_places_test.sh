#!/bin/sh
# install_places_test.sh SOURCE_DIR BUILD_DIR CXX [EMULATOR]: installs into a folder with a blank in its name, given relatively, by
# somebody whose umask lets nobody in, for a packager too; each time a program finds what is there.
set -eu
source=$1
build=$2
cxx=$3
emulator=${4:-}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
# In a tree of its own: the project's may be busy with another make, for which it would wait.
mkdir tree
cp -r "$source/scripts" tree/

fail() {
    echo "install_places_test: $*" >&2
    exit 1
}

# usable ROOT PREFIX: everybody may enter each folder and read each file below ROOT, and the pkg-config file names PREFIX.
usable() {
    closed=$(find "$1" \( -type d ! -perm -o=rx \) -o \( -type f ! -perm -o=r \))
    [ -z "$closed" ] || fail "nobody else may read $closed"
    pc=$(find "$1" -name zent-hostlink.pc)
    [ -n "$pc" ] || fail "no zent-hostlink.pc below $1"
    grep -qxF "prefix=$2" "$pc" || fail "$pc does not say prefix=$2 but $(head -n 1 "$pc")"
}

(umask 077 && PREFIX='a place' DESTDIR='' tree/scripts/install.sh "$build" >/dev/null)
usable "$folder/a place" "$folder/a place"
# The flags quote the blank for a shell, which therefore has to read them.
flags=$(PKG_CONFIG_PATH=$(dirname "$(find "$folder/a place" -name zent-hostlink.pc)") pkg-config --cflags --libs zent-hostlink)
eval "\"$cxx\" -std=c++17 \"$source/tests/system/consumer.cpp\" -o consumer $flags"
LD_LIBRARY_PATH=$(dirname "$(find "$folder/a place" -name libzent_hostLinkLib.so)") $emulator ./consumer

(umask 077 && PREFIX=/usr DESTDIR='a package' tree/scripts/install.sh "$build" >/dev/null)
usable "$folder/a package/usr" /usr
echo "installations serve from every place"
