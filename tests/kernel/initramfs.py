"""What is put into a guest beside the system that is always there: programs, and the libraries that they load."""

import os
import re
import shlex
import shutil
import subprocess


class Tree:
    """A folder that becomes a part of the guest's file system."""

    def __init__(self, folder, prefix, library_folders):
        """prefix: of the binutils for the guest's programs, "" or "aarch64-linux-gnu-"."""
        self.folder = folder
        self.prefix = prefix
        self.library_folders = library_folders
        self.libraries = set()
        os.chmod(folder, 0o755)

    def place(self, path):
        """The file in this folder that is `path` in the guest."""
        place = self.folder + path
        os.makedirs(os.path.dirname(place), exist_ok=True)
        return place

    def add_program(self, path):
        """At its own absolute path, where other programs look for it, and by its name in /bin."""
        path = os.path.realpath(path)
        place = self.place(path)
        shutil.copy(path, place)
        name = self.place("/bin/" + os.path.basename(path))
        if not os.path.lexists(name) and name != place:
            os.symlink(path, name)
        if self.is_elf(path):
            self.strip(place)
            self.add_what_it_loads(path)

    def strip(self, place):
        """Nobody reads the names in there, and each byte goes through an emulated device."""
        subprocess.run([self.prefix + "strip", place], check=True)

    @staticmethod
    def is_elf(path):
        with open(path, "rb") as file:
            return file.read(4) == b"\x7fELF"

    def add_what_it_loads(self, path):
        """Libraries, and theirs, to /lib; the loader to where the program says."""
        text = subprocess.run(
            [self.prefix + "readelf", "--dynamic", "--program-headers", "--wide", path], capture_output=True, text=True, check=True
        ).stdout
        for loader in re.findall(r"\[Requesting program interpreter: ([^\]]+)\]", text):
            if loader not in self.libraries:
                self.libraries.add(loader)
                shutil.copy(os.path.realpath(loader), self.place(loader))
        for name in re.findall(r"\(NEEDED\)\s+Shared library: \[([^\]]+)\]", text):
            if name not in self.libraries:
                self.libraries.add(name)
                self.add_library(name, path)

    def add_library(self, name, wanted_by):
        for folder in self.library_folders:
            path = os.path.join(folder, name)
            if os.path.exists(path):
                place = self.place("/lib/" + name)
                if not os.path.exists(place):
                    shutil.copy(os.path.realpath(path), place)
                    self.strip(place)
                self.add_what_it_loads(path)
                return
        raise SystemExit(f"run-in-kernel: {wanted_by} loads {name}, which is in none of {' '.join(self.library_folders)}")

    def write(self, path, text):
        with open(self.place(path), "w", encoding="utf-8") as file:
            file.write(text)

    def archive(self):
        names = subprocess.run(["find", ".", "-mindepth", "1"], cwd=self.folder, capture_output=True, check=True).stdout
        pack = ["cpio", "--quiet", "-o", "-H", "newc", "--owner", "0:0"]
        return subprocess.run(pack, cwd=self.folder, input=names, capture_output=True, check=True).stdout


def shell_words(words):
    return " ".join(shlex.quote(word) for word in words)
