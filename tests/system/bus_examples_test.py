"""bus_examples_test.py BUILD_DIRECTORY TEST: the programs in examples that talk over a bus, in the bus rig."""
import os
import sys

from bus_shell_test import NOBODY_PRESSES, run
from programs_test import expect


def OverI2c(build):
    program = os.path.join(build, "bin", "hostlink-i2c")
    expect("i2c", run(build, NOBODY_PRESSES, program, "/dev/i2c-1", "0x42", "17"), (0, "the volume is 30\n", ""))
    code, out, err = run(build, NOBODY_PRESSES, program, "/dev/i2c-9", "0x42", "17")
    expect("no such bus", (code, out), (1, ""))
    assert "cannot open /dev/i2c-9: No such file or directory" in err, err


def OverSpi(build):
    expect("spi", run(build, NOBODY_PRESSES, os.path.join(build, "bin", "hostlink-spi"), "/dev/spidev0.0", "1000000", "17"),
           (0, "the volume is 40, not muted\n", ""))


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
