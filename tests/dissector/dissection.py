"""Runs tshark with the plugin and reads what it shows."""
import os
import pathlib
import re
import shutil
import subprocess
import xml.etree.ElementTree as ElementTree

from sources import TOP

ERRORS = ("Lua Error", "Lua: Error", "[Malformed", "Dissector bug")  # as tshark words them
PLUGIN = TOP / "dissector/hostlink.lua"


def errors_in(text):
    return "\n".join([line for line in text.splitlines() if any(word in line for word in ERRORS)][:5])


class Home:
    """A home of its own, in which the plugin lies where a user would put it, and nothing else."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        plugins = self.folder / ".local/lib/wireshark/plugins"
        plugins.mkdir(parents=True)
        shutil.copy(PLUGIN, plugins)

    def tshark(self, *words):
        environment = {**os.environ, "HOME": str(self.folder), "XDG_CONFIG_HOME": str(self.folder / ".config"),
                       "LC_ALL": "C.UTF-8", "TZ": "UTC"}
        done = subprocess.run(["tshark", *map(str, words)], env=environment, capture_output=True, timeout=300)
        output, complaints = done.stdout.decode(errors="replace"), done.stderr.decode(errors="replace")
        # Wireshark goes on after an error in a plugin and shows it among the fields.
        if any(word in text for text in (output, complaints) for word in ERRORS) or done.returncode != 0:
            raise AssertionError(f"tshark {words} ended with {done.returncode}:\n{complaints}{errors_in(output)}")
        return output

    def dissect(self, path, *words):
        """The packets of the capture, all of them, each a list of its parts. What Wireshark says of the frames, two
        thirds of it, is left out; an error in the plugin is not."""
        shown = self.tshark("-r", path, "-T", "pdml", "-J", "hostlink", *words)
        return [[Part(number, proto) for proto in packet.iter("proto") if proto.get("name") == "hostlink"]
                for number, packet in enumerate(ElementTree.fromstring(shown).iter("packet"), 1)]


class Part:
    """A packet, a message or something else of a capture packet; `number` is the latter's."""

    def __init__(self, number, element):
        self.number, self.element = number, element
        self.fields = list(element.iter("field"))

    def all(self, name):
        return [each for each in self.fields if each.get("name") == f"hostlink.{name}"]

    def show(self, name):
        found = self.all(name)
        return found[0].get("show") if found else None

    def word(self, name):
        """The name behind a number: "Format: message (3)" is "message"."""
        found = self.all(name)
        return name_in(found[0]) if found else None

    def findings(self):
        return [each.get("showname") for each in self.fields if each.get("name", "").startswith("hostlink.expert.")]

    def said(self):
        return [each.get("show") for each in self.fields if each.get("name") == "_ws.expert.message"]


def name_in(field):
    match = re.search(r": (.*) \((?:0x)?[0-9a-f]+\)$", field.get("showname"))
    return match[1] if match else None
