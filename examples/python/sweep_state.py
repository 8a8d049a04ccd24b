#!/usr/bin/env python3
"""sweep_state.py PORT STATE FIRST LAST [STEP]: sets a state to each value and says what the host then holds."""
import sys

import hostlink


def main(port: str, state: str, first: str, last: str, step: str = "1") -> int:
    wrong = 0
    with hostlink.Client(port) as host:
        before = host.get(state)
        for value in range(int(first), int(last) + 1, int(step)):
            try:
                host.set(state, value)
                held = host.get(state)
            except hostlink.HoldsAnother as refused:
                held = next(iter(refused.held.values()))
            wrong += held != value
            print(f"{state} {value:6} -> {held.name(state)}{'' if held == value else '  <-- another'}")
        host.set(state, before)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
