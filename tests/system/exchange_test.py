"""exchange_test.py BUILD_DIRECTORY TEST: files and TCP connections between the programs and zent-hostsim."""
import hashlib
import http.server
import json
import os
import random
import re
import socket
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse

from programs_test import PATIENCE, Program, expect, kill_simulator

MEGABYTE = 1000000


def content(size):
    return random.Random(1).randbytes(size)


def digest(data):
    return hashlib.sha256(data).hexdigest()


class Server:
    """A web server that gives what it was made with, bytes or a dictionary of them by path, and keeps what is put to it."""

    def __init__(self, given):
        kept = {}

        class Handler(http.server.BaseHTTPRequestHandler):
            def log_message(self, *_):
                pass

            def do_GET(self):
                data = given if isinstance(given, bytes) else given[self.path]
                self.send_response(200)
                self.send_header("Content-Length", str(len(data)))
                self.end_headers()
                self.wfile.write(data)

            def do_PUT(self):
                kept[self.path] = self.rfile.read(int(self.headers["Content-Length"]))
                self.send_response(201)
                self.send_header("Content-Length", "0")
                self.end_headers()

        self.kept = kept
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        self.address = "127.0.0.1:%d" % self.server.server_port


class Place:
    """A folder with a simulator on a pseudo terminal in it."""

    def __init__(self, build, *options):
        self.build = build
        self.options = options
        self.folder = tempfile.TemporaryDirectory()
        self.line = os.path.join(self.folder.name, "host")

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def start(self, name, *words):
        return Program(os.path.join(self.build, "bin", name), *words)

    def simulator(self, *options):
        program = self.start("zent-hostsim", "--link", self.line, "--commands", *self.options, *options)
        program.wait_for("listening on")
        return program

    def tunnel(self, *words):
        program = self.start("hostlink-tunnel", self.line, "0", *words)
        program.wait_for("\n")
        port = re.search(r"port (\d+)", program.printed).group(1)
        return program, "http://127.0.0.1:%s/file" % port

    def wide_tunnel(self, packet):
        program = self.start("hostlink", "--json", "tunnel", "0", "--uart", self.line, "--packet-size", str(packet))
        program.wait_for("\n")
        return program, "http://127.0.0.1:%d/file" % json.loads(program.printed)["port"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.folder.cleanup()


def curl(*words, patience=PATIENCE):
    done = subprocess.run(["curl", "--silent", "--show-error", "--max-time", str(patience), *words], capture_output=True,
                          check=False)
    expect("curl", (done.returncode, done.stderr.decode()), (0, ""))
    return done.stdout


def carry(build, size, open_tunnel, *options):
    given = content(size)
    server = Server(given)
    with Place(build, "--tunnel", server.address, *options) as place, place.simulator():
        tunnel, url = open_tunnel(place)
        with tunnel:
            expect("from the host", digest(curl(url)), digest(given))
            with open(place.path("up"), "wb") as file:
                file.write(given)
            curl("--header", "Expect:", "--upload-file", place.path("up"), url)
            expect("to the host", digest(server.kept["/file"]), digest(given))


def TunnelCarriesAMegabyteBothWays(build):
    carry(build, MEGABYTE, lambda place: place.tunnel())


def TunnelCarriesTenMegabytesBothWays(build):
    # In packets of a thousand bytes: with 64 each way takes 20 s, of which nearly all is the wire's own give and take.
    carry(build, 10 * MEGABYTE, lambda place: place.wide_tunnel(1024), "--max-packet-size", "1024")


def TunnelCarriesSeveralConnectionsAtOnce(build):
    given = content(50000)
    server = Server(given)
    with Place(build, "--tunnel", server.address) as place, place.simulator():
        tunnel, url = place.tunnel()
        with tunnel:
            seen = []
            threads = [threading.Thread(target=lambda: seen.append(digest(curl(url)))) for _ in range(5)]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
            expect("all five", seen, 5 * [digest(given)])


def TunnelLosesNothingOnABadLine(build):
    # One byte of a thousand is damaged, in both directions.
    carry(build, 4000, lambda place: place.tunnel("50"), "--corrupt-rate", "0.001", "--response-timeout", "50", "--seed",
          "7")


# A line that damages a byte in a hundred, both ways: a host that gives up half a packet after PACKET ms, which is most of
# what it costs.
def very_bad_line(packet, seed):
    return ["--corrupt-rate", "0.01", "--max-packet-size", "128", "--packet-timeout", str(packet),
            "--response-timeout", str(packet), "--retry-delay", "1", "--seed", str(seed)]


def TunnelLosesNothingWhereAByteInAHundredIsDamaged(build):
    carry(build, 2000, lambda place: place.tunnel("10", "20"), *very_bad_line(20, 7))


def is_reset(url):
    """Whether who connects there is heard and then reset, be it while he still is connecting."""
    place = urllib.parse.urlsplit(url)
    try:
        with socket.create_connection((place.hostname, place.port), PATIENCE) as connection:
            connection.recv(1)
            return False  # an answer, or an end in good order
    except ConnectionResetError:
        return True


def TunnelWithoutAServerRefuses(build):
    with Place(build, "--tunnel", "127.0.0.1:1") as place, place.simulator():
        tunnel, url = place.tunnel()
        with tunnel:
            expect("connection", is_reset(url), True)
            # The connection is forgotten a moment after the reset: the count is asked for until it says so.
            deadline = time.monotonic() + PATIENCE
            while "0 open, " not in tunnel.printed:
                assert time.monotonic() < deadline, tunnel.printed
                tunnel.printed = ""
                tunnel.say("\n")
                tunnel.wait_for(" repeated\n")
            expect("exit code", tunnel.end(), 0)


def SimulatorSaysWhatIsWrongWithItsTunnel(build):
    for server, text in (("nowhere", "'nowhere' is not HOST:PORT"), (":80", "':80' is not HOST:PORT"),
                         ("a:0", "'a:0' is not HOST:PORT"), ("a:65536", "'a:65536' is not HOST:PORT"),
                         ("256.0.0.1.invalid:80", "no address for \"256.0.0.1.invalid\"")):
        done = subprocess.run([os.path.join(build, "bin", "zent-hostsim"), "--tunnel", server], capture_output=True,
                              timeout=PATIENCE, check=False)
        assert done.returncode != 0, server
        assert text in done.stderr.decode(), done.stderr.decode()


def send(place, size, *words):
    path = place.path("file.bin")
    with open(path, "wb") as file:
        file.write(content(size))
    return place.start("hostlink-send-file", place.line, path, *words)


def FileArrivesWithItsChecksum(build):
    with Place(build) as place, place.simulator(), send(place, MEGABYTE) as sending:
        sending.wait_for("the host holds 1000000 bytes, checksum 0x")
        expect("exit code", sending.end(), 0)
        took, again = re.search(r"after (\d+) ms, (\d+) chunks sent again, begun anew 0 times\n$", sending.printed).groups()
        # A chunk goes out again when a packet of it was not accepted for half a second, or its answer has not come for one.
        assert int(again) <= int(took) // 500, sending.printed[-300:]


def FileOutlivesAHostThatIsKilled(build):
    with Place(build) as place:
        # So slow that the file takes half a minute: a busy machine may keep us from killing the host for a while.
        with place.simulator("--baud", "115200") as first, send(place, 200000) as sending:
            sending.wait_for(" of 200000 bytes")
            kill_simulator(first, place.line)
            with place.simulator():
                sending.wait_for("the host holds 200000 bytes")
                expect("exit code", sending.end(), 0)
                assert "begun anew 1 times" in sending.printed, sending.printed[-300:]


def FileThatIsNoneIsSaidSo(build):
    with Place(build) as place, place.simulator():
        done = subprocess.run([os.path.join(build, "bin", "hostlink-send-file"), place.line, "/nowhere"],
                              capture_output=True, timeout=PATIENCE, check=False)
        expect("exit code", done.returncode, 1)
        assert "the file /nowhere cannot be opened" in done.stderr.decode(), done.stderr.decode()


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
