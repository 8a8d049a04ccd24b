"""command_shell_test.py BUILD_DIRECTORY TEST: what shells and man make of what hostlink says of itself."""
import os
import subprocess
import sys
import tempfile

from command_contract_test import commands_of
from command_test import BAD_USAGE, GOOD
from programs_test import PATIENCE, expect, run
from terminal import Terminal


def written(build, *words):
    code, text, err = run(build, "hostlink", *words)
    expect(" ".join(words), (code, err), (GOOD, ""))
    return text


def environment(build):
    return {**os.environ, "PATH": os.path.join(os.path.abspath(build), "bin") + ":" + os.environ["PATH"], "LC_ALL": "C.UTF-8"}


def check(*words, **other):
    """A program that finds nothing to say."""
    done = subprocess.run(words, capture_output=True, timeout=PATIENCE, check=False, **other)
    expect(" ".join(words), (done.returncode, done.stdout, done.stderr), (0, b"", b""))


def ShellsTakeTheirCompletions(build):
    for shell in ["bash", "zsh", "fish"]:
        with tempfile.NamedTemporaryFile("w", suffix="." + shell) as file:
            file.write(written(build, "completion", shell))
            file.flush()
            check(shell, "-n", file.name, env=environment(build))
    code, out, err = run(build, "hostlink", "completion", "csh")
    expect("another shell", (code, out), (BAD_USAGE, ""))
    assert "csh" in err, err


# What is typed, and what is offered for its last word.
OFFERS = [
    ("se", ["send", "set"]),
    ("--ba", ["--baud"]),
    ("set --conf", ["--config", "--confirm"]),
    ("get PlayerVol", ["PlayerVolume"]),
    ("get PlayerMute PlayerVol", ["PlayerVolume"]),
    ("completion z", ["zsh"]),
    ("--parity e", ["even"]),
    ("get 1 --log-level i", ["info"]),
    ("watch --to", ["--top"]),
    ("ping --state PlayerVol", ["PlayerVolume"]),
    ("--config %s/prof", ["%s/profiles"]),
    ("--config %s/profiles get --profile be", ["bench"]),
    ("send %s/prof", ["%s/profiles"]),
    ("receive %s/fo", ["%s/folder"]),
    ("press 3 ", []),
]


class Offers:
    """A folder with what there is to offer, and a shell that is asked."""

    def __init__(self, build):
        self.folder = tempfile.TemporaryDirectory()
        self.environment = {**environment(build), "XDG_CONFIG_HOME": self.folder.name, "HOME": self.folder.name}
        os.mkdir(self.path("folder"))
        os.mkdir(self.path("hostlink"))
        for name in ["profiles", "hostlink/profiles.toml"]:
            with open(self.path(name), "w", encoding="utf-8") as file:
                file.write('[bench]\nuart = "/dev/ttyS1"\n[board]\nuart = "/dev/ttyS2"\n')

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def filled(self, text):
        return text % self.folder.name if "%s" in text else text

    def ask(self, *words):
        done = subprocess.run(words, capture_output=True, timeout=PATIENCE, check=False, env=self.environment)
        expect("complaints", (done.returncode, done.stderr.decode()), (0, ""))
        return done.stdout.decode()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.folder.cleanup()


def BashCompletes(build):
    with Offers(build) as offers:
        for typed, wanted in OFFERS:
            words = offers.filled(typed).split(" ")
            script = ('source <(hostlink completion bash); COMP_WORDS=(hostlink %s); COMP_CWORD=%d; _hostlink; '
                      'printf "%%s\\n" "${COMPREPLY[@]}"' % (" ".join(word or "''" for word in words), len(words)))
            expect(typed, sorted(offers.ask("bash", "-c", script).split()), [offers.filled(word) for word in wanted])


def FishCompletes(build):
    with Offers(build) as offers:
        for typed, wanted in OFFERS:
            script = "hostlink completion fish | source; complete -C 'hostlink %s'" % offers.filled(typed)
            told = [line.split("\t")[0].rstrip("/") for line in offers.ask("fish", "--no-config", "-c", script).splitlines()]
            expect(typed, sorted(told), [offers.filled(word) for word in wanted])


def ZshCompletes(build):
    """Its completion works in its line editor alone: on a terminal, with the file where `make install` puts it."""
    with Offers(build) as offers:
        os.mkdir(offers.path("functions"))
        with open(offers.path("functions/_hostlink"), "w", encoding="utf-8") as file:
            file.write(written(build, "completion", "zsh"))
        with open(offers.path(".zshrc"), "w", encoding="utf-8") as file:
            file.write("fpath=(%s $fpath); autoload -U compinit; compinit -u -D; PROMPT='zsh> '; unsetopt beep\n"
                       "setopt noautolist nolistambiguous\n" % offers.path("functions"))
        with Terminal(["zsh", "-d", "-i"], columns=200, env={**offers.environment, "ZDOTDIR": offers.folder.name,
                                                           "TERM": "xterm"}) as shell:
            shell.wait_for("zsh>")
            for typed, wanted in OFFERS:
                if len(wanted) != 1:
                    continue  # what is offered is not one word that is written there
                line = "zsh> hostlink " + offers.filled(typed)
                shell.type("hostlink " + offers.filled(typed))
                shell.wait_until(lambda lines, line=line: any(each == line for each in lines))
                shell.type("\t")
                # Where an argument may begin behind it, a blank or a mark follows.
                whole = line[:line.rfind(" ") + 1] + offers.filled(wanted[0])
                shell.wait_until(lambda lines, whole=whole: any(each.rstrip("=/ ") == whole for each in lines))
                shell.type("\x15\x0c")  # the line away, the screen empty
                shell.wait_until(lambda lines: lines[0] == "zsh>" and not any(lines[1:]))
            shell.type("exit\n")
            expect("code", shell.end(), GOOD)


def ManualIsAManualPage(build):
    with tempfile.TemporaryDirectory() as folder:
        page = os.path.join(folder, "hostlink.1")
        with open(page, "w", encoding="utf-8") as file:
            file.write(written(build, "manual"))
        done = subprocess.run(["groff", "-man", "-ww", "-Kutf8", "-Tutf8", "-rLL=100n", page], capture_output=True,
                              timeout=PATIENCE, check=False, env={**environment(build), "GROFF_NO_SGR": "1"})
        expect("groff", (done.returncode, done.stderr.decode()), (0, ""))
        text = done.stdout.decode()
        plain = "".join(text[i] for i in range(len(text))
                        if text[i] != "\b" and (i + 1 == len(text) or text[i + 1] != "\b"))  # bold is struck twice
        for heading in ["NAME", "SYNOPSIS", "DESCRIPTION", "COMMANDS", "OPTIONS", "EXIT STATUS"]:
            assert "\n" + heading + "\n" in "\n" + plain, heading
        for command in commands_of(build):
            assert "\n   " + command in plain, command


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
