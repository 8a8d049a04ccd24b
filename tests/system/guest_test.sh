#!/bin/sh
# guest_test.sh SOURCE_DIR CXX CC [TOOLCHAIN EMULATOR]: the project inside another one, by add_subdirectory and by FetchContent.
# That project has several files compiled at a time, which it may, and which is the sooner done.
# It brings its libraries, as C++ and the function core from C, and no test, no program and no warning that stops a build.
set -eu
source=$1
cxx=$2
cc=$3
toolchain=${4:-}
emulator=${5:-}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

fail() {
    echo "guest_test: $*" >&2
    exit 1
}

# configure HOW: writes folder/HOW and configures it.
configure() {
    mkdir -p "$folder/$1"
    cp "$source/tests/system/consumer.cpp" "$source/tests/system/core_consumer.c" "$folder/$1/"
    cat >"$folder/$1/CMakeLists.txt"
    if [ -n "$toolchain" ]; then
        set -- "$1" -DCMAKE_TOOLCHAIN_FILE="$toolchain"
    else
        set -- "$1" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_C_COMPILER="$cc"
    fi
    name=$1
    shift
    cmake -G Ninja -S "$folder/$name" -B "$folder/$name/build" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=16 "$@" >"$folder/log" 2>&1 || {
        cat "$folder/log" >&2
        fail "cmake refused the $name project"
    }
}

# build HOW TARGET: builds and runs it.
build() {
    cmake --build "$folder/$1/build" -j "${JOBS:-1}" --target "$2" >"$folder/log" 2>&1 || {
        cat "$folder/log" >&2
        fail "$2 of the $1 project does not build"
    }
    $emulator "$folder/$1/build/$2" || fail "$2 of the $1 project does not run"
}

configure subdirectory <<END
cmake_minimum_required(VERSION 3.25)
project(foreign LANGUAGES C CXX)
enable_testing()
add_subdirectory("$source" host_link)
add_executable(consumer consumer.cpp)
target_link_libraries(consumer PRIVATE zent::zent_hostLinkLib)
add_executable(core_consumer core_consumer.c)
target_link_libraries(core_consumer PRIVATE zent::hostLinkCore)
get_property(type CACHE CMAKE_BUILD_TYPE PROPERTY VALUE)
if(type)
    message(FATAL_ERROR "The guest chose the build type \${type}")
endif()
END
guest=$folder/subdirectory/build
! grep -q -- '-Werror' "$guest/compile_commands.json" || fail "the guest's warnings stop the build"
tests=$(ctest --test-dir "$guest" -N | sed -n 's/^Total Tests: //p')
[ "$tests" = 0 ] || fail "the guest brought $tests tests"
programs=$(ninja -C "$guest" -t targets all | sed -n 's/: CXX_EXECUTABLE_LINKER__.*//p; s/: C_EXECUTABLE_LINKER__.*//p' |
    grep -vxE '(core_)?consumer' || true)
[ -z "$programs" ] || fail "the guest brought programs:" $programs
! grep -rq 'file(INSTALL' --include=cmake_install.cmake "$guest" || fail "the guest installs files"
build subdirectory core_consumer
build subdirectory consumer

configure content <<END
cmake_minimum_required(VERSION 3.25)
project(foreign LANGUAGES C CXX)
include(FetchContent)
FetchContent_Declare(host_link SOURCE_DIR "$source")
FetchContent_MakeAvailable(host_link)
add_executable(core_consumer core_consumer.c)
target_link_libraries(core_consumer PRIVATE zent::hostLinkCore)
END
build content core_consumer
echo "a good guest: libraries, and nothing else"
