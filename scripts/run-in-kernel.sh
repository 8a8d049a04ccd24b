#!/bin/sh
# run-in-kernel.sh [OPTION...] PROGRAM [ARGUMENT...]
#
# Runs PROGRAM on a real kernel, Debian's, in an emulated machine: with three 16550 serial ports and a USB one, and with I2C
# adapters, SPI devices and GPIO lines whose hardware is played by the rig. `scripts/build-kernel-guest.sh` comes first. The
# exit code is PROGRAM's; 70 when the guest hangs or goes down, 77 when there can be none here, with the reason on the
# standard error.
#
#   --arch arm64             AArch64 instead of amd64
#   --rig [HOST_OPTIONS]     with the simulated host behind the buses, and its control socket in ZENT_RIG_CONTROL
#   --with FILE              another program or file to put into the guest, at its own path and by its name in /bin
#   --env NAME=VALUE         in PROGRAM's environment
#   --limit SECONDS          the guest is killed after that time (300)
#   --times                  before each line, when it came
#
# PROGRAM is a file of this machine, which is put into the guest with the libraries that it loads, or a program of busybox:
#   scripts/run-in-kernel.sh --rig= build/release/bin/buslink_tests --gtest_filter='*Stop*'
#   scripts/run-in-kernel.sh sh -c 'ls -l /dev/tty*'
# In the guest, the serial ports are in ZENT_PORT_FIRST, _SECOND, _CARD and _USB; what can be asked of the world outside, by
# a line to /dev/outside, is told in tests/kernel/outside.py. docs/testing.md tells the rest.
exec python3 -B "$(dirname -- "$(readlink -f -- "$0")")/../tests/kernel/run_in_guest.py" "$@"
