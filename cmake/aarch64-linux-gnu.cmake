# The target: AArch64 Linux, with Debian's cross compiler and the multi-arch :arm64 libraries. Test programs run under
# user emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Debian keeps the libraries of all architectures under one root, told apart by their directories.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)

# Without -L: it would pair the cross package's dynamic linker with the C library of libc6:arm64, and creating a thread
# then loops for ever. libc6:arm64 brings the linker at its own path, so no prefix is needed.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
