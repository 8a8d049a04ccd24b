#!/usr/bin/env python3
"""unpack_kernel.py VMLINUZ OUT: the kernel as an emulator starts it most quickly.

An x86 kernel is an ELF file inside a program that unpacks it; unpacked here, the guest need not do that under emulation.
An ARM64 kernel is started as it is, once it is not compressed as a whole.
"""

import gzip
import lzma
import struct
import sys

X86_MAGIC = (0x202, b"HdrS")
ARM64_MAGIC = (0x38, b"ARM\x64")
PAYLOAD = 0x248  # where the boot protocol says offset and length of the packed kernel
SECTORS = 0x1F1  # of 512 bytes before the packed kernel, less one


def has(image, magic):
    place, text = magic
    return image[place : place + len(text)] == text


def unpacked(data):
    if data.startswith(b"\xfd7zXZ\0"):
        return lzma.LZMADecompressor(lzma.FORMAT_XZ).decompress(data)
    if data.startswith(b"\x1f\x8b"):
        return gzip.decompress(data)
    return data


def kernel(image):
    if has(image, X86_MAGIC):
        offset, length = struct.unpack_from("<II", image, PAYLOAD)
        start = (image[SECTORS] + 1) * 512 + offset
        elf = unpacked(image[start : start + length])
        return elf if elf.startswith(b"\x7fELF") else image
    return unpacked(image)


def main():
    source, target = sys.argv[1:]
    with open(source, "rb") as file:
        image = kernel(file.read())
    if not (image.startswith(b"\x7fELF") or has(image, X86_MAGIC) or has(image, ARM64_MAGIC)):
        sys.exit(f"unpack_kernel.py: {source} is no kernel that is known here")
    with open(target, "wb") as file:
        file.write(image)


if __name__ == "__main__":
    main()
