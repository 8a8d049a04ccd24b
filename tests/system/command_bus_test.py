"""command_bus_test.py BUILD_DIRECTORY TEST: hostlink over I2C and SPI, in the bus rig."""
import json
import os
import sys

from bus_shell_test import run
from command_test import BAD_USAGE, GOOD, HOST_SAID_NO, NO_LINK
from programs_test import expect

I2C = "--i2c /dev/i2c-1 --address 0x42 --gpio 17"
SPI = "--spi /dev/spidev0.0 --gpio 17"


def shell(build, script, options=""):
    """What a shell in the rig prints, with hostlink in its path."""
    path = os.path.join(os.path.abspath(build), "bin")
    return run(build, options, "sh", "-c", "PATH=%s:$PATH; %s" % (path, script))


def findings(build, script):
    """The exit code, and the findings of the last doctor by their names."""
    code, out, err = shell(build, script)
    lines = [json.loads(line) for line in out.splitlines() if line.startswith("{")]
    assert lines and "ok" in lines[-1], (out, err)
    return code, {each["finding"]: each for each in lines[:-1]}


def EveryCommandTakesEveryWire(build):
    for wire in [I2C, SPI]:
        code, out, err = shell(build, "hostlink get PlayerVolume {0}; hostlink set PlayerVolume=31 --confirm {0}; "
                                      "hostlink ping --count 1 --json {0}; hostlink watch PlayerVolume --count 1 {0}; "
                                      "head -c 3000 /dev/zero >/dev/shm/file; hostlink send /dev/shm/file --json {0} | "
                                      "tail -n 1; hostlink led SetPattern 1 --refusal-time 60000 {0}".format(wire))
        expect("code", code, HOST_SAID_NO)
        lines = out.splitlines()
        expect("lines", lines[:2] + [lines[4].split(") ")[1]],
               ["PlayerVolume = 30", "PlayerVolume = 31", "PlayerVolume = 31"])
        expect("pings", json.loads(lines[3])["answered"], 1)
        expect("file", json.loads(lines[5])["bytes"], 3000)
        assert "does not support" in err, err


def DoctorAsksTheBus(build):
    doctor = "hostlink --json doctor "
    code, found = findings(build, doctor + I2C)
    expect("code", code, GOOD)
    expect("findings", {name: each["verdict"] for name, each in found.items()},
           {"device": "ok", "access": "ok", "driver": "warn", "users": "ok", "functions": "ok", "address": "ok",
            "controller": "warn", "export": "ok"})
    expect("address", found["address"]["text"], "0x42 is acknowledged")
    code, found = findings(build, doctor + I2C.replace("0x42", "0x43"))
    expect("nobody", (code, found["address"]["text"]), (NO_LINK, "nobody acknowledges 0x43"))
    assert found["address"]["remedy"].startswith("i2cdetect -y 1 "), found
    code, found = findings(build, doctor + I2C.replace("0x42", "1"))
    expect("kept", (code, found["address"]["text"]),
           (NO_LINK, "0x01 is kept for other purposes: 0x03 to 0x77 are devices"))
    # A bus that somebody holds low.
    code, found = findings(build, "zent-busrig-say fault bus-nack 1 ETIMEDOUT >/dev/null; " + doctor + I2C)
    expect("stuck", (code, found["address"]["text"]), (NO_LINK, "0x42 cannot be asked: Connection timed out"))
    # While another program has the bus open, nothing is on it.
    code, found = findings(build, "exec 3</dev/i2c-1; " + doctor + I2C + "; zent-busrig-say bus-log")
    expect("used", (code, found["address"]["verdict"], found["users"]["verdict"]), (GOOD, "warn", "warn"))
    assert "sh (" in found["users"]["text"] and "sudo kill" in found["users"]["remedy"], found


def DoctorLeavesBusAndLineAsTheyAre(build):
    code, out, _ = shell(build, "hostlink doctor %s >/dev/null; zent-busrig-say bus-log; zent-busrig-say sysfs-log; "
                                "hostlink doctor %s >/dev/null; zent-busrig-say bus-log; ls /sys/class/gpio" % (I2C, SPI))
    expect("code", code, GOOD)
    # The address, without a byte behind it.
    expect("what was on the bus", out.splitlines(), ["i2c w -", "i2c w -", "export", "unexport"])
    # Nor does it take a packet that waits for the module: a link that comes later gets it.
    code, out, err = shell(build, "zent-busrig-say press 7 >/dev/null; hostlink doctor {0} >/dev/null; "
                                  "hostlink events --count 2 {0}".format(I2C))
    expect("events", (code, [line.split(") ")[1] for line in out.splitlines()], err),
           (GOOD, ["BUT_KeyPressed 7", "BUT_KeyReleased 7"], ""))


def DoctorLooksAtLineAndBuffer(build):
    doctor = "hostlink --json doctor "
    exported = "echo 17 >/sys/class/gpio/export; "
    code, found = findings(build, exported + doctor + SPI)
    expect("line", (code, found["interrupt"]["text"], found["level"]["text"]),
           (GOOD, "its controller has interrupts; edge: none", "high: the host has nothing to say"))
    _, found = findings(build, exported + "zent-busrig-say line 17 0 >/dev/null; " + doctor + SPI)
    expect("low", found["level"]["text"], "low: the host has a packet")
    parameter = ("mount -t tmpfs none /sys/module; mkdir -p /sys/module/spidev/parameters; "
                 "echo 128 >/sys/module/spidev/parameters/bufsiz; ")
    code, found = findings(build, parameter + doctor + SPI)
    expect("enough", (code, found["buffer"]["text"]),
           (GOOD, "spidev takes 128 bytes at once, packets have up to 64"))
    code, found = findings(build, parameter + doctor + SPI + " --packet-size 256")
    expect("too small", (code, found["buffer"]["verdict"]), (NO_LINK, "fail"))
    assert "options spidev bufsiz=256" in found["buffer"]["remedy"], found
    _, found = findings(build, doctor + SPI + " --speed 50000000")
    expect("speed", (found["speed"]["verdict"], found["speed"]["text"]),
           ("warn", "50000000 Hz; the device is declared for 25000000"))
    expect("no line", findings(build, doctor + "--spi /dev/spidev0.0")[1]["line"]["verdict"], "warn")


def ProfilesNameLines(build):
    script = ("mkdir -p /dev/shm/hostlink; export XDG_CONFIG_HOME=/dev/shm; "
              "printf '[board]\\ni2c = \"/dev/i2c-1\"\\naddress = \"0x42\"\\ngpio = 17\\ntwo-transactions = true\\n"
              "[chip]\\nspi = \"/dev/spidev0.0\"\\ngpio-chip = \"soc\"\\ngpio-line = \"HOST_IRQ\"\\nsecond-look = 20\\n"
              "[half]\\nspi = \"/dev/spidev0.0\"\\ngpio-line = \"HOST_IRQ\"\\n' >/dev/shm/hostlink/profiles.toml; ")
    code, out, err = shell(build, script + "hostlink profiles; hostlink get PlayerVolume --profile board; "
                                           "hostlink get 1 --profile half")
    expect("profiles", (code, out.splitlines()),
           (BAD_USAGE, ["board\ti2c /dev/i2c-1, address 66, gpio 17", "chip\tspi /dev/spidev0.0, 1000000 Hz, line HOST_IRQ of soc",
                        "PlayerVolume = 30"]))
    assert "--gpio-line needs --gpio-chip too" in err, err


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
