#!/bin/sh
# install-packages.sh GROUP...: installs the Debian packages that a step needs and that are not there yet.
# Root installs directly, anybody else through sudo where there is one.
set -eu

packages=
foreign= # an architecture beside this machine's own
for group in "$@"; do
    case $group in
    build) packages="$packages g++ cmake ninja-build pkg-config liblog4cplus-dev libcli11-dev libfuse3-dev fuse3" ;;
    test)
        packages="$packages libgtest-dev libgmock-dev librapidcheck-dev util-linux procps python3 curl"
        packages="$packages python3-pyte python3-jsonschema zsh fish groff-base" # terminals, JSON, completions, manual
        ;;
    clang) packages="$packages clang libclang-rt-14-dev llvm-14" ;; # run time of the sanitizers, and what names their lines
    lint)
        packages="$packages clang clang-format clang-tidy cppcheck libmimalloc2.0 python3 git"
        packages="$packages gcc-arm-none-eabi libnewlib-arm-none-eabi" # of the latter the headers alone
        ;;
    aarch64)
        foreign=arm64
        packages="$packages g++-aarch64-linux-gnu qemu-user-static libc6:arm64 libstdc++6:arm64 liblog4cplus-dev:arm64"
        packages="$packages libgtest-dev:arm64 libgmock-dev:arm64 librapidcheck-dev:arm64 libfuse3-dev:arm64"
        ;;
    counts) packages="$packages valgrind python3" ;;
    bench)
        packages="$packages valgrind python3 util-linux libbenchmark-dev"
        # What is compared with.
        packages="$packages libmsgpack-cxx-dev nanopb libnanopb-dev libflatbuffers-dev flatbuffers-compiler"
        packages="$packages libboost-dev zlib1g-dev libfmt-dev"
        ;;
    kernel) packages="$packages qemu-system-x86 cpio kmod binutils make libelf1 python3 device-tree-compiler" ;;
    kernel-arm64) packages="$packages qemu-system-arm" ;;
    coverage) packages="$packages gcovr" ;;
    firmware)
        packages="$packages cmake ninja-build python3 gcc-arm-none-eabi qemu-system-arm"
        packages="$packages libnewlib-arm-none-eabi" # the headers alone
        ;;
    dissector) packages="$packages tshark wireshark-common python3" ;; # who may capture is not asked: files need no right
    python) packages="$packages pybind11-dev python3-dev python3-pytest mypy python3-matplotlib" ;;
    docs) packages="$packages doxygen graphviz" ;;
    *) echo "install-packages.sh: unknown group '$group'" >&2; exit 2 ;;
    esac
done

# A package may be there for several architectures; without a suffix this machine's own is meant.
native=$(dpkg --print-architecture)
missing=
for package in $packages; do
    case $package in *:*) architecture=${package#*:} ;; *) architecture=$native ;; esac
    states=$(dpkg-query -W -f '${Architecture}=${db:Status-Status} ' "$package" 2>/dev/null || true)
    case " $states" in
    *" $architecture=installed "* | *" all=installed "*) ;;
    *) missing="$missing $package" ;;
    esac
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" != 0 ]; then
    as_root=sudo
    if ! command -v sudo >/dev/null; then
        echo "Please install as root:  apt-get install$missing" >&2
        exit 1
    fi
fi
# For apt-get alone, through sudo too, which passes no environment on: a package with a question takes its own answer. The
# machine's own daily update is waited for.
apt_get() {
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3 "$@"
}
echo "Installing:$missing"
if [ -n "$foreign" ] && ! dpkg --print-foreign-architectures | grep -qx "$foreign"; then
    $as_root dpkg --add-architecture "$foreign"
    apt_get update -qq
fi
# An index from an earlier day may name packages that are gone: fetch it anew when the first try fails.
apt_get install -y -qq --no-install-recommends $missing >/dev/null 2>&1 || {
    apt_get update -qq
    apt_get install -y -qq --no-install-recommends $missing >/dev/null
}
