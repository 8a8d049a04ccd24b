#!/usr/bin/env python3
"""dump_transfer.py PORT [FILES]: takes files that the host sends and prints them as bytes; ends after so many."""
import itertools
import sys

import hostlink


def main(port: str, files: str = "") -> int:
    complete = True
    with hostlink.Client(port) as host, host.receive_files() as arriving:
        for file in itertools.islice(arriving, int(files) if files else None):
            complete = complete and file.complete
            print(f"{file.name}: {file.end}, {file.size} bytes, checksum {file.checksum:08X}")
            for at in range(0, len(file.data), 16):
                line = file.data[at : at + 16]
                text = "".join(chr(byte) if 32 <= byte < 127 else "." for byte in line)
                print(f"{at:08x}  {line.hex(' '):47}  {text}")
    return 0 if complete else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
