#!/usr/bin/env python3
"""plot_response_times.py PORT IMAGE [COUNT]: a histogram of how long the host takes to answer."""
import sys
import time

import matplotlib

matplotlib.use("Agg")  # into a file; needs no display
import matplotlib.pyplot as plt

import hostlink


def main(port: str, image: str, count: str = "1000") -> None:
    times = []
    with hostlink.Client(port) as host:
        for _ in range(int(count)):
            began = time.perf_counter()
            host.get("PlayerVolume")
            times.append((time.perf_counter() - began) * 1000)
    plt.hist(times, bins=50, log=True)
    plt.title(f"{count} answers, half of them within {sorted(times)[len(times) // 2]:.2f} ms")
    plt.xlabel("ms")
    plt.savefig(image)


if __name__ == "__main__":
    main(*sys.argv[1:])
