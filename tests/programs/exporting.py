"""What the tests of tvsi-exporter share: it and its stand-in servers as processes."""

import os
import pathlib
import re
import signal
import socket
import subprocess
import tempfile
import time


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def until(condition, seconds=30):
    """What the condition is when it has come true, or the last of it."""
    end = time.monotonic() + seconds
    while not (value := condition()) and time.monotonic() < end:
        time.sleep(0.02)
    return value


def written(file):
    """What a process that shares the descriptor has written so far; doesn't move where it goes on."""
    return os.pread(file.fileno(), os.fstat(file.fileno()).st_size, 0).decode()


class Server:
    """A stand-in server in a global directory of its own."""

    def __init__(self, programs, directory, brox="demo", *options, **keywords):
        self.process = subprocess.Popen(
            [programs / "tvxstandin", "--brox", brox, "--dir", directory, "--host-id", "1f2e", *options],
            stdout=subprocess.PIPE, text=True, **keywords)
        self.ready = self.process.stdout.readline()

    def kill(self):
        if self.process.poll() is None:
            self.process.terminate()
        self.process.wait(30)
        self.process.stdout.close()


class Exporter:
    def __init__(self, programs, directory, *options, port=None, **keywords):
        self.port = port or free_port()
        self.errors = tempfile.TemporaryFile()
        self.process = subprocess.Popen(
            [programs / "tvsi-exporter", "--listen", f"127.0.0.1:{self.port}", *options],
            env=os.environ | {"TALVEX_GLOBAL_DIR": str(directory)}, stderr=self.errors, **keywords)
        until(lambda: self.process.poll() is not None or self.answers())

    def answers(self):
        try:
            return self.ask(b"GET /healthz HTTP/1.0\r\n\r\n").endswith(b"ok\n")
        except OSError:
            return False

    def connect(self, source="127.0.0.1"):
        return socket.create_connection(("127.0.0.1", self.port), 60, (source, 0))

    def ask(self, request, source="127.0.0.1"):
        with self.connect(source) as connection:
            connection.sendall(request)
            return self.rest(connection)

    @staticmethod
    def rest(connection):
        answer = b""
        try:
            while piece := connection.recv(1 << 20):
                answer += piece
        except ConnectionResetError:
            pass
        return answer

    def get(self, path, *headers, method="GET", source="127.0.0.1"):
        lines = [f"{method} {path} HTTP/1.1", "Host: localhost", "Connection: close", *headers, "", ""]
        head, _, body = self.ask("\r\n".join(lines).encode(), source).partition(b"\r\n\r\n")
        return head.decode(), body

    def series(self):
        """{series: value} of a scrape; a series that is there twice is a failure."""
        found = {}
        for line in self.get("/metrics")[1].decode().splitlines():
            if not line.startswith("#"):
                name, _, value = line.rpartition(" ")
                assert name not in found, name
                found[name] = float(value)
        return found

    def memory(self):
        """Resident kilobytes; None under a sanitizer, which keeps for a while what was freed."""
        proc = pathlib.Path(f"/proc/{self.process.pid}")
        if re.search("lib[at]san", (proc / "maps").read_text()):
            return None
        return int(re.search(r"VmRSS:\s+(\d+)", (proc / "status").read_text())[1])

    def said(self):
        return written(self.errors)

    def end(self, number=signal.SIGTERM):
        """The exit status."""
        self.process.send_signal(number)
        return self.process.wait(30)
