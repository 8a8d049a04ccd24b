#!/usr/bin/env python3
"""soak_link.py PORT SECONDS: asks the host as fast as it answers, and says what the wire has done to it."""
import collections
import sys
import time

import hostlink


def main(port: str, seconds: str) -> int:
    ends: collections.Counter[str] = collections.Counter()
    with hostlink.Client(port) as host:
        until = time.monotonic() + float(seconds)
        while time.monotonic() < until:
            try:
                host.get("HostFirmwareVersion")
                ends["Done"] += 1
            except hostlink.HostlinkError as error:
                ends[error.outcome] += 1
        told = host.statistics()
    print(*(f"{count} {end}" for end, count in ends.most_common()), sep=", ")
    for name in ("refusedPackets", "unansweredPackets", "repeatedPackets", "garbageBytes", "reconnects"):
        print(f"{name:18} {told[name]}")
    return 0 if set(ends) == {"Done"} else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
