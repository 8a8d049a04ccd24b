#!/bin/sh
# install_test.sh SOURCE_DIR BUILD_DIR CXX [EMULATOR]: installs into a folder of its own and builds a program against what is
# there, by pkg-config and by the CMake package, and one in C over the function core; EMULATOR runs the program where it is another architecture's.
set -eu
source=$1
build=$2
cxx=$3
emulator=${4:-}
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

cmake --install "$build" --prefix "$prefix/usr" >/dev/null

# The public headers and no other: helpers of the library's insides stay there.
sed -n 's/^\([a-z][^ ]*\) .*/\1/p' "$source/src/public-headers.txt" | sort >"$prefix/public"
(cd "$prefix/usr/include" && find . -type f | sed 's,^\./,,' | sort) >"$prefix/installed"
diff "$prefix/public" "$prefix/installed" >&2 || { echo "other headers are installed (>) than are public (<)" >&2; exit 1; }

cmp "$source/packaging/udev/70-zent-hostlink.rules" "$prefix/usr/share/zent-hostlink/udev/70-zent-hostlink.rules"

flags=$(PKG_CONFIG_PATH="$prefix/usr/lib/pkgconfig:$(ls -d "$prefix"/usr/lib/*/pkgconfig 2>/dev/null || true)" \
    pkg-config --cflags --libs zent-hostlink)
libdir=$(dirname "$(find "$prefix/usr" -name libzent_hostLinkLib.so)")
# shellcheck disable=SC2086 # flags are words
"$cxx" -std=c++17 -Wall -Wextra -Werror "$source/tests/system/consumer.cpp" -o "$prefix/consumer" $flags
LD_LIBRARY_PATH=$libdir $emulator "$prefix/consumer"

mkdir "$prefix/project"
cp "$source/tests/system/consumer.cpp" "$source/tests/system/core_consumer.c" "$prefix/project/"
cat >"$prefix/project/CMakeLists.txt" <<'LISTS'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C CXX)
find_package(zent_hostlink 1.0 REQUIRED)
add_executable(consumer consumer.cpp)
target_link_libraries(consumer PRIVATE zent::zent_hostLinkLib)
add_executable(core_consumer core_consumer.c)
target_link_libraries(core_consumer PRIVATE zent::hostLinkCore)
LISTS
cmake -S "$prefix/project" -B "$prefix/project/build" -DCMAKE_PREFIX_PATH="$prefix/usr" -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
cmake --build "$prefix/project/build" >/dev/null
$emulator "$prefix/project/build/consumer"
$emulator "$prefix/project/build/core_consumer"

# The Python package finds the libraries that were installed with it; where it is not built there is none.
for package in "$prefix"/usr/lib/python3*/dist-packages; do
    [ ! -d "$package" ] || PYTHONPATH=$package /usr/bin/python3 -B -c \
        'import hostlink, sys; assert hostlink.__file__.startswith(sys.argv[1]), hostlink.__file__; hostlink.Host().close()' "$package"
done
echo "installed headers and libraries serve a program of their own"
