#!/usr/bin/env python3
"""tunnel-noise.py MEGABYTES [BUILD]: carries so much each way through a tunnel while one byte in a hundred is damaged.

The simulated host and the client's tunnel wait for little: 1 ms for the answer to a packet, 2 ms inside one. curl and a
web server are at the ends; both directions are under way at once, in four connections each. Every minute it says how far
it is. The exit code is 0 when the checksums (SHA-256) of what went in and what came out are the same in both directions.
SEED chooses the damage.
"""
import os
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "system"))
from exchange_test import MEGABYTE, Place, Server, content, curl, digest, very_bad_line  # noqa: E402

DAY = 86400
MINUTE = 60
PARTS = 4
RESPONSE_MS = 1
PACKET_MS = 2


class Direction:
    """One way, in parts; `carry` brings one and gives what has arrived."""

    def __init__(self, name, carry):
        self.name = name
        self.arrived = {}
        self.threads = [threading.Thread(target=self.bring, args=(carry, part), daemon=True) for part in range(PARTS)]
        self.began = time.monotonic()

    def start(self):
        for thread in self.threads:
            thread.start()

    def bring(self, carry, part):
        self.arrived[part] = carry(part)
        if len(self.arrived) == PARTS:
            took = time.monotonic() - self.began
            size = sum(len(data) for data in self.arrived.values())
            print("%s: %d bytes in %.0f s, %.0f B/s" % (self.name, size, took, size / took), flush=True)

    def is_on_its_way(self):
        return any(thread.is_alive() for thread in self.threads)

    def is_whole(self, wanted):
        seen = digest(b"".join(self.arrived.get(part, b"") for part in range(PARTS)))
        print("%s: SHA-256 %s, %s" % (self.name, seen, "as it was" if seen == wanted else "NOT " + wanted))
        return seen == wanted


def watch(tunnel, directions):
    tunnel.printed = ""
    while any(each.is_on_its_way() for each in directions):
        tunnel.say("\n")
        tunnel.wait_for("\n")
        print(tunnel.printed.splitlines()[-1], flush=True)
        tunnel.printed = ""
        end = time.monotonic() + MINUTE
        for thread in directions[0].threads + directions[1].threads:
            thread.join(max(0, end - time.monotonic()))


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    given = content(int(float(sys.argv[1]) * MEGABYTE))
    build = sys.argv[2] if len(sys.argv) == 3 else "build/release"
    step = -(-len(given) // PARTS)
    parts = [given[at:at + step] for at in range(0, len(given), step)]
    server = Server({"/file%d" % part: data for part, data in enumerate(parts)})
    options = very_bad_line(PACKET_MS, os.environ.get("SEED", "1"))
    with Place(build, "--tunnel", server.address, *options) as place, place.simulator():
        tunnel, url = place.tunnel(str(RESPONSE_MS), str(PACKET_MS))
        for part, data in enumerate(parts):
            with open(place.path("up%d" % part), "wb") as file:
                file.write(data)

        def down(part):
            return curl(url + str(part), patience=DAY)

        def up(part):
            curl("--header", "Expect:", "--upload-file", place.path("up%d" % part), url + str(part), patience=DAY)
            return server.kept["/file%d" % part]

        directions = [Direction("from the host", down), Direction("to the host", up)]
        with tunnel:
            for each in directions:
                each.start()
            watch(tunnel, directions)
    wanted = digest(given)
    sys.exit(0 if all([each.is_whole(wanted) for each in directions]) else 1)


if __name__ == "__main__":
    main()
