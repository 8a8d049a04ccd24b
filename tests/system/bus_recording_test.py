"""bus_recording_test.py BUILD_DIRECTORY TEST: recordings of buses, made and played in the bus rig."""
import os
import sys
import tempfile

from bus_shell_test import NOBODY_PRESSES
from command_bus_test import I2C, SPI, shell
from command_contract_test import Schema
from command_test import BAD_USAGE, GOOD, HOST_SAID_NO
from programs_test import expect, run
from recording_test import FROM_HOST, RECORDINGS, TO_HOST, Recorded

# Nothing is given up, and nothing said twice, while a busy machine takes its time.
CALM = NOBODY_PRESSES + ",responseTimeoutMs=60000,interruptRepeatMs=60000"
PATIENT = "--timeout 60000 "
REPLAY = "hostlink --json replay --patience 30000 "
GET = "hostlink " + PATIENT + "get PlayerVolume PlayerPlayStatus MetaTitle "
FILE = str(RECORDINGS / "file.txt")


class Rig:
    """Runs scripts in rigs, with a folder for what they leave."""

    def __init__(self, build):
        self.build = build
        self.folder = tempfile.TemporaryDirectory()
        self.recording = os.path.join(self.folder.name, "it.pcapng")

    def replays(self, script, options=CALM):
        """The exit code of the script, and what its replay told: the differences, and the end."""
        code, out, err = shell(self.build, script, options)
        print(out, err)
        lines = [line for line in out.splitlines() if line.startswith("{")]
        return code, Schema().check("replay", "\n".join(lines))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.folder.cleanup()


def as_recorded(told):
    code, lines = told
    expect("came as recorded", (code, lines[:-1], lines[-1]["same"], lines[-1]["different"]),
           (GOOD, [], lines[-1]["expected"], 0))
    return lines[-1]["expected"]


def RecordedBusComesAsRecorded(build):
    """The host for a program, and the module for a host."""
    path = RECORDINGS / "bus.pcapng"
    recorded = Recorded(path)
    expect("wire", recorded.description(), ["i2c transactions, address 0x42"])
    packets = [data for way, data, _, _ in recorded.packets if way == TO_HOST and data]
    with Rig(build) as rig:
        program = REPLAY + str(path) + " -- hostlink " + PATIENT + "send %s --i2c {} --address 0x42 --gpio 17" % FILE
        expect("packets", as_recorded(rig.replays(program)), len(packets))
        answers = [data for way, data, _, _ in recorded.packets if way == FROM_HOST and data.startswith("ff fe")]
        expect("packets", as_recorded(rig.replays(REPLAY + str(path) + " " + I2C)), len(answers))


def DifficultBusComesAsRecorded(build):
    """A host that refuses, is late, and says how much it has first; the link gets over that, then and now."""
    difficult = "nackFirst=1,irqNackFirst=1,irqAnnounceFirst=1,lateTransfers=2," + CALM
    with Rig(build) as rig:
        record = GET + "%s --record %s >/dev/null && " % (SPI, rig.recording)
        as_recorded(rig.replays(record + REPLAY + rig.recording + " -- " + GET + SPI.replace("/dev/spidev0.0", "{}"),
                                difficult))
        comments = [words for _, _, words, _ in Recorded(rig.recording).packets]
        assert "line low" in comments and "verdict Rejected" in comments, comments
        module = REPLAY + "%s %s" % (rig.recording, SPI)
        as_recorded(rig.replays(module, difficult))
        as_recorded(rig.replays(module + " --speed recorded", difficult))


def BusReplayTellsWhatIsDifferent(build):
    with Rig(build) as rig:
        code, lines = rig.replays("hostlink get PlayerVolume %s --record %s >/dev/null && zent-busrig-say set PlayerVolume 31 && "
                                  % (I2C, rig.recording) + REPLAY + rig.recording + " " + I2C)
        *different, end = lines  # one, or more where the answer took its time and the question was asked again
        expect("host", (code, {each["kind"] for each in different}), (HOST_SAID_NO, {"different"}))
        assert all("09 00 cc 1e" in each["expected"] and "09 00 cc 1f" in each["came"] for each in different), different
        expect("counts", (end["different"], end["expected"] - end["same"]), (len(different), len(different)))
        code, lines = rig.replays(REPLAY + rig.recording + " -- hostlink get PlayerVolume MetaTitle " + I2C)
        assert code == HOST_SAID_NO and lines[0]["kind"] == "different", lines
        assert "02 00 01 09 00" in lines[0]["expected"] and "02 00 02 09 00 0c 00" in lines[0]["came"], lines
        # A host that answers nothing, one that never asks, and a program that asks for nothing.
        impatient = "hostlink --json replay --patience 1 " + rig.recording
        for words in ["zent-busrig-say fault silent all; " + impatient + " " + I2C,
                      "zent-busrig-say fault stuck-line 1; " + impatient + " " + I2C, impatient + " -- hostlink states Muted"]:
            code, lines = rig.replays(words)
            expect(words, (code, {each["kind"] for each in lines}), (HOST_SAID_NO, {"missing", "end"}))


def WhatDoesNotFitABusIsRefused(build):
    path = str(RECORDINGS / "bus.pcapng")
    for words, text in [([path], "run-in-rig.sh"), ([path, "--uart", "/dev/null"], "none can be played there"),
                        ([path, "--link", "/tmp/x"], "none can be played there"),
                        ([path, "--as", "module"], "--i2c or --spi names its bus"),
                        ([path, "--as", "host", "--spi", "/dev/spidev0.0", "--gpio", "17"], "without --i2c and --spi"),
                        ([path, "--i2c", "/dev/i2c-1"], "--address"),
                        ([path, "--spi", "/nowhere", "--gpio", "17"], "cannot open /nowhere"),
                        ([str(RECORDINGS / "file.pcapng"), "--spi", "/dev/null", "--gpio", "1"], "none can be played there")]:
        code, _, err = run(build, "hostlink", "replay", *words)
        expect(words, (code, text in err), (BAD_USAGE, True))


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
