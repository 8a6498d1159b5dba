"""What the tests of the programs share: stand-in servers, and programs whose output is read with a
bound on every wait. Nothing of it stays behind when the test ends.
"""

import contextlib
import ctypes
import os
import pathlib
import re
import select
import signal
import subprocess
import tempfile
import time
import traceback

PATIENCE = 50  # seconds, for a machine that is busy with other things
OTHER_USER = 65534


class Late(Exception):
    """Something hasn't come about in time."""


def eventually(condition, what):
    """The first true value of the condition."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        if value := condition():
            return value
        time.sleep(0.005)
    raise Late(what)


def attempt(test, *arguments):
    """The faults that a test finds, also that it could not go on."""
    try:
        return list(test(*arguments))
    except Exception:  # of whatever kind: what the other tests find is told, too
        return [f"{test.__name__}{arguments}: {traceback.format_exc()}"]


def children_of(pid):
    return [int(child) for child in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]


class Tool:
    """A program that runs; `out` is what it has written so far (nothing with a stream of one's own)."""

    def __init__(self, command, **settings):
        settings = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **settings}
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, **settings)
        self.pid = self.process.pid
        self.streams = {}
        for name in ("stdout", "stderr"):
            if stream := getattr(self.process, name):
                os.set_blocking(stream.fileno(), False)
                self.streams[stream] = b""

    def text(self, stream):
        return self.streams.get(stream, b"").decode(errors="replace")

    @property
    def out(self):
        return self.text(self.process.stdout)

    @property
    def err(self):
        return self.text(self.process.stderr)

    def read(self, seconds):
        ready, _, _ = select.select([s for s in self.streams if not s.closed], [], [], seconds)
        for stream in ready:
            piece = os.read(stream.fileno(), 1 << 16)
            self.streams[stream] += piece
            if not piece:
                stream.close()
        return ready

    def until(self, pattern, after=0):
        """The match of the pattern in what it writes from this place on, as soon as it is there."""
        end = time.monotonic() + PATIENCE
        while not (found := re.compile(pattern, re.M).search(self.out, after)):
            if time.monotonic() > end or (self.process.poll() is not None and not self.read(0)):
                raise Late(f"{pattern} has not come: {self.out[-300:]!r} {self.err[-300:]!r}")
            self.read(0.2)
        return found

    def cpu_seconds(self):
        """What it and its former children have taken of a processor."""
        words = pathlib.Path(f"/proc/{self.pid}/stat").read_text().rpartition(")")[2].split()
        return sum(map(int, words[11:15])) / os.sysconf("SC_CLK_TCK")

    def end(self, number=None):
        """Its status once it has ended, after this signal; 137 when it had to be killed."""
        if number is not None:
            self.process.send_signal(number)
        end = time.monotonic() + PATIENCE
        while self.process.poll() is None and time.monotonic() < end:
            if not self.read(0.02):
                time.sleep(0.002)
        self.kill()
        return self.process.returncode

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        while any(not stream.closed for stream in self.streams) and self.read(0):
            pass


class Server:
    """A stand-in server in a directory; its name, pids by what they are, and the tools to watch it."""

    def __init__(self, programs, directory, *options, brox="demo"):
        self.programs = programs
        directories = dict.fromkeys(["TALVEX_GLOBAL_DIR", "XDG_CONFIG_HOME"], str(directory))
        self.environment = {**os.environ, **directories}
        command = [f"{programs}/tvxstandin", "--brox", brox, "--dir", directory, *options]
        self.launcher = Tool(command)
        ready = self.launcher.until(r"monitor=(\d+) brox=(\d+)")
        self.pids = {"launcher": self.launcher.pid, "monitor": int(ready[1]), "brox": int(ready[2])}
        self.stopped = set()
        self.is_broken = False

    def watch(self, *words, **settings):
        settings = {"env": self.environment, **settings}
        return Tool([f"{self.programs}/tvsistat", *words], **settings)

    def pid_of(self, who, tool):
        """Of the reader of a tool, or of a process of the server (a Vok as the tool shows it)."""
        if who == "reader":
            return eventually(lambda: children_of(tool.pid), "no reader")[0]
        if who == "vok":
            return int(tool.until(r"^vok +(\d+)")[1])
        return self.pids[who]

    def signal(self, who, number, tool):
        pid = self.pid_of(who, tool)
        os.kill(pid, number)
        if number == signal.SIGSTOP and who != "reader":
            self.stopped.add(pid)

    def segment(self):
        """The id and the size of its memory segment."""
        for line in pathlib.Path("/proc/sysvipc/shm").read_text().splitlines()[1:]:
            words = line.split()
            if int(words[4]) == self.pids["monitor"]:
                return int(words[1]), int(words[3])
        raise Late("the segment is not there")

    def break_lock(self):
        """Gives a lock in the segment another name, once."""
        if self.is_broken:
            return
        self.is_broken = True
        library = ctypes.CDLL(None, use_errno=True)
        library.shmat.restype = ctypes.c_void_p
        number, size = self.segment()
        address = library.shmat(number, None, 0)
        name = ctypes.string_at(address, size).index(b"ChkptInfo")
        ctypes.memmove(address + name, b"Nonsense!", 9)
        library.shmdt(ctypes.c_void_p(address))

    def end(self):
        for pid in self.stopped:
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGCONT)
        self.launcher.end(signal.SIGTERM)


@contextlib.contextmanager
def server_directory(programs):
    """A directory for servers; what killed ones leave in it is taken away by another one."""
    with tempfile.TemporaryDirectory(prefix=f"tvsi-test.{os.getpid()}.") as directory:
        yield directory
        for monitor in pathlib.Path(directory).glob("locks/*~*..LCK"):
            Server(programs, directory, brox=monitor.name.split("~")[0]).end()


@contextlib.contextmanager
def running_server(programs, *options, brox="demo"):
    with server_directory(programs) as directory:
        server = Server(programs, directory, *options, brox=brox)
        try:
            yield server
        finally:
            server.end()
