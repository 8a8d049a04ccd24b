#!/usr/bin/env python3
"""Checks which part of the project includes which: the stairs go one way.

The rooms, and what each may include of the project and of log4cplus:

  core        function core                      nothing but freestanding C headers
  objects     messages, frames, vocabulary,      core
              printer
  machines    pure state machines of the links   core, objects; no thread, lock, file or log header
  link base   physical layer, helpers of the     core, objects, log4cplus
              stateful layers
  links       UART, I2C, SPI, dummy              all above, serialcomm
  transport                                      core, objects, link base, log4cplus
  serialcomm  the serial library                 serialcomm, log4cplus
  public      simulator, tools, examples         public headers of hostlink and serialcomm, each other
"""
import os
import re
import subprocess
import sys

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
HOSTLINK = "src/lib/hostlink/"

LINK_BASE = {"HostLinkPhysicalLayer", "HostLinkPhysicalLayerFactory", "Trace", "CallGate"}
MACHINES = {"UartStream", "IrqReply", "IrqExchange"}
OBJECTS_HIDDEN = {"ValueNaming"}
ANY_THREADING = {"thread", "mutex", "condition_variable", "atomic", "future", "shared_mutex"}
FILES_AND_LOG = {"fstream", "iostream", "cstdio", "unistd.h", "fcntl.h", "poll.h"}
CORE_HEADERS = {"stddef.h", "stdint.h", "string.h", "assert.h"}


def room_of(path):
    if path.startswith("src/lib/serialcomm/"):
        return "serialcomm"
    if path.startswith(("src/hostsim/", "src/tools/", "examples/")):
        return "public"
    if not path.startswith(HOSTLINK):
        return None
    rest = path[len(HOSTLINK):]
    name = os.path.splitext(os.path.basename(rest))[0]
    if rest.startswith("core/") or name in ("HostLinkLib", "HostLinkExport"):
        return "core"
    if rest.startswith("physicalLayers/"):
        return "machines" if name in MACHINES else "links"
    if name == "HostLinkTransportLayer":
        return "transport"
    if name == "HostLinkPhysicalLayerFactory":
        return "links"
    return "link base" if name in LINK_BASE else "objects"


MAY = {
    "core": {"core"},
    "objects": {"core", "objects"},
    "machines": {"core", "objects", "machines"},
    "link base": {"core", "objects", "link base"},
    "links": {"core", "objects", "machines", "link base", "links", "serialcomm"},
    "transport": {"core", "objects", "link base", "transport"},
    "serialcomm": {"serialcomm"},
    "public": {"core", "objects", "link base", "links", "transport", "serialcomm", "public"},
}
MAY_LOG = {"link base", "links", "transport", "serialcomm"}


def resolve(path, name):
    for folder in (os.path.dirname(path), "src/lib", "src", "examples"):
        candidate = os.path.normpath(os.path.join(folder, name))
        if os.path.isfile(os.path.join(TOP, candidate)):
            return candidate
    return None


def public_headers():
    return {p for p in sources() if p.startswith("src/lib/") and p.endswith(".h") and "/core/" not in p
            and (room_of(p) != "serialcomm" or os.path.basename(p) in
                 {"ByteArray.h", "Uart.h", "SerialBus.h", "I2c.h", "Spi.h", "dbglog.h"})
            and os.path.splitext(os.path.basename(p))[0] not in MACHINES | OBJECTS_HIDDEN | {"Trace", "CallGate",
                                                                                               "SharedUart"}}


def sources():
    out = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "*.h", "*.cpp", "*.c"],
                         cwd=TOP, check=True, capture_output=True, text=True).stdout
    return [p for p in out.split("\n") if p and os.path.isfile(os.path.join(TOP, p))]


def complaints(path, room, public):
    with open(os.path.join(TOP, path), encoding="utf-8") as file:
        text = file.read()
    for number, line in enumerate(text.split("\n"), 1):
        match = re.match(r'\s*#\s*include\s*[<"]([^>"]+)[>"]', line)
        if not match:
            continue
        name = match.group(1)
        where = f"{path}:{number}: {room}"
        target = resolve(path, name)
        if name.startswith("log4cplus/") and room not in MAY_LOG | {"public"}:
            yield f"{where} must not log"
        elif target is None:
            if room == "core" and name not in CORE_HEADERS:
                yield f"{where} may include only {', '.join(sorted(CORE_HEADERS))}, not <{name}>"
            if room == "machines" and name in ANY_THREADING | FILES_AND_LOG:
                yield f"{where} must not include <{name}>: no thread, lock, file or log here"
        else:
            to = room_of(target)
            if to is not None and to not in MAY[room]:
                # The one place outside the links that asks the serial library for a text.
                if path.endswith("hostlink/Trace.cpp") and target.endswith("serialcomm/dbglog.h"):
                    continue
                yield f"{where} must not include {target} ({to})"
            if room == "public" and target.startswith("src/lib/") and target not in public:
                yield f"{where} includes {target}, which is not a public header"


def main():
    public = public_headers()
    found = [c for p in sources() if (room := room_of(p)) for c in complaints(p, room, public)]
    print("\n".join(found) if found else "The stairs go one way.")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
