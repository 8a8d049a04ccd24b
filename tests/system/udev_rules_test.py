#!/usr/bin/env python3
"""udev_rules_test.py PROGRAMS NAME: whether the rules that are shipped are rules, and whether that would be noticed."""
import glob
import os
import subprocess
import sys
import tempfile

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
CHECK = os.path.join(TOP, "scripts", "check-udev.py")
SHIPPED = glob.glob(os.path.join(TOP, "packaging", "udev", "*.rules"))


def check(*files):
    return subprocess.run([sys.executable, "-B", CHECK, *files], capture_output=True, text=True, check=False)


def told(text):
    with tempfile.NamedTemporaryFile("w", suffix=".rules", encoding="utf-8") as file:
        file.write(text)
        file.flush()
        result = check(file.name)
        assert (result.returncode != 0) == bool(result.stderr), result
        return result.stderr.replace(file.name, "")


def ShippedRulesAreRules():
    assert SHIPPED
    result = check(*SHIPPED)
    assert result.returncode == 0, result.stderr


def ShippedRulesNameWhatTheyAreFor():
    text = "".join(open(path, encoding="utf-8").read() for path in SHIPPED)
    for word in ('SYMLINK+="zent-host"', 'ENV{ID_MM_DEVICE_IGNORE}="1"', 'KERNEL=="gpiochip[0-9]*", GROUP="gpio"'):
        assert word in text, word


def MistakesAreTold():
    for rule, complaint in (
        ('KERNEL="ttyS1", GROUP="dialout"', ":1: KERNEL takes != ==, not =\n"),
        ('# a comment\n\nKERNEL=="ttyS1" GROUP="dialout"', ':3: no comma behind KERNEL=="ttyS1"\n'),
        ('KERNEL=="ttyS1", GROUP=dialout', ":1: cannot be read from here on: GROUP=dialout\n"),
        ('KERNEL=="ttyS1", GROUP="dialout', ':1: cannot be read from here on: GROUP="dialout\n'),
        ('KERNEL=="ttyS1", MODES="0660"', ":1: there is no key MODES\n"),
        ('KERNEL=="ttyS1", MODE="rw-rw"', ":1: MODE rw-rw is not octal\n"),
        ('ATTRS=="0403", GROUP="dialout"', ":1: ATTRS needs an attribute in braces\n"),
        ('GROUP{x}="dialout"', ":1: GROUP has no attribute\n"),
        ('KERNEL=="ttyS1"', ":1: matches and does nothing\n"),
        ('KERNEL=="ttyS1", \\\n  GROUP=="dialout", MODE="0660"', ":1: GROUP takes := =, not ==\n"),
        ('KERNEL=="ttyS1", \\', ":1: the last line goes on behind the end\n"),
    ):
        # Where udevadm can verify, it complains as well.
        assert told(rule).startswith(complaint), (rule, told(rule))


def RulesMayGoOnInTheNextLine():
    assert told('# GROUP=\nKERNEL=="ttyS1", \\\n  GROUP="dialout", RUN+="/bin/sh -c \'echo \\"x\\"\'"\n') == ""


if __name__ == "__main__":
    globals()[sys.argv[2]]()
