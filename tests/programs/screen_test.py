#!/usr/bin/env python3
"""screen_test.py TVSISTAT TVXSTANDIN: the live screen in tmux against a stand-in server, at several
sizes, through death and return; what is read is the text of the screen. Skipped without tmux.
"""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

TVSISTAT, STANDIN = sys.argv[1:]
PATIENCE = 50  # seconds, for a machine that is busy with other things


class Screen:
    def __init__(self, directory):
        self.directory = directory
        self.socket = f"{directory}/tmux"
        self.environment = {**os.environ, "TALVEX_GLOBAL_DIR": directory, "LC_ALL": "C.UTF-8"}
        self.environment.pop("NO_COLOR", None)
        self.environment.pop("TMUX", None)
        self.tmux("-f", "/dev/null", "new-session", "-d", "-x", "80", "-y", "24", "bash --norc")
        self.send("PS1=ready; stty -ixon; clear", "Enter")
        self.wait("^ready")

    def tmux(self, *words):
        return subprocess.run(["tmux", "-S", self.socket, *words], env=self.environment,
                              capture_output=True, text=True, check=True, timeout=PATIENCE).stdout

    def send(self, *keys):
        self.tmux("send-keys", *keys)

    def resize(self, width, height):
        self.tmux("resize-window", "-x", str(width), "-y", str(height))

    def text(self):
        return self.tmux("capture-pane", "-p")

    def wait(self, *patterns, without=()):
        """Until the screen has all of these and none of those."""
        end = time.monotonic() + PATIENCE
        while True:
            text = self.text()
            missing = [p for p in patterns if not re.search(p, text, re.M)]
            missing += [f"without {p}" for p in without if re.search(p, text, re.M)]
            if not missing:
                return text
            if time.monotonic() > end:
                sys.exit(f"{missing} never came:\n{text}")
            time.sleep(0.05)

    def press(self, keys, *patterns, without=()):
        self.send(*keys.split(" ") if len(keys) > 1 else [keys])
        return self.wait(*patterns, without=without)

    def run(self, words):
        """In the shell, after the screen that runs has been quit."""
        if not re.search(r"^ready *$", self.text(), re.M):
            self.send("q")
            self.wait("^(ready|status)")
        self.send(f"clear; {words}", "Enter")

    def end(self):
        self.tmux("kill-server")


class Server:
    def __init__(self, directory, brox="demo", sessions=30):
        command = [STANDIN, "--brox", brox, "--dir", directory, "--sessions", str(sessions)]
        self.launcher = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        ready = self.launcher.stdout.readline()
        self.monitor, self.brox = (int(re.search(f"{who}=(\\d+)", ready)[1])
                                   for who in ("monitor", "brox"))

    def end(self):
        self.launcher.terminate()
        self.launcher.wait(PATIENCE)


def children_of(pid):
    return pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()


def program_of(shell):
    """The process that the shell in the terminal runs now."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        if pids := children_of(shell):
            return int(pids[0])
        time.sleep(0.05)
    return sys.exit("the shell runs nothing")


def check_sizes(screen):
    screen.wait("^demo~.* Brox demo .* slots +every 1 s", r"\[1 Voks\]", r"^commits +[\d.k]+/s",
                "^vok .* Vok1 ", without=["events", "│"])
    screen.resize(160, 50)
    screen.wait("│vok", "│localPageCacheMisses", "^events")
    screen.resize(39, 9)
    screen.wait("The screen has 39 x 9")
    screen.resize(80, 24)
    screen.wait("^vok .* Vok1 ", without=["The screen has"])


def check_keys(screen):
    screen.press("2", r"\[2 Brox\]", "^brox +")
    screen.press("Tab", r"\[3 Cache\]", "^monitor")
    screen.press("1", r"\[1 Voks\]")
    screen.press("/ k 2 [ 4 5 ] Enter", "/k2", "Vok24", "Vok25", "2 shown", without=["Vok1 "])
    screen.press("Escape", "Vok1 ", without=["/k2"])
    screen.press("> > > r", "name↓")
    screen.press("r", "name↑", "Vok1 ")
    screen.press("Enter", "^vok .*1-[0-9]+ of", "^localPageCacheMisses")
    screen.press("\\", "fields whose name holds:")
    screen.press("h i t P Enter", "^hitPercent", without=["^localPageCacheMisses"])
    screen.press("Escape", "^kind .*hit%")
    screen.press("Escape", "^kind .*commits")
    screen.press("?", "^Keys of tvsistat", "Up, k")
    screen.press("G", "^Signs")
    screen.press("Escape", "^vok ")
    screen.press("Space", r"PAUSED \+[1-9]\d* behind")
    screen.press("Space", "every 1 s", without=["PAUSED"])
    screen.press("+", "every 2 s")
    screen.press("-", "every 1 s")
    screen.press("G", "^vokthr .*VokThr15 ")


def check_new_interval(screen, file):
    """A second reader takes over; the rates go on, as the monitor is the same."""
    screen.press("+", "every 2 s")
    for _ in range(PATIENCE * 2):
        read = subprocess.run([TVSISTAT, "-R", file, "-j", "-k", "monitor"], capture_output=True, timeout=PATIENCE)
        samples = [line for line in map(json.loads, read.stdout.splitlines()) if "interval" in line]
        intervals = [sample["interval"] or 0 for sample in samples]
        if any(1.9 < each < 2.1 for each in intervals[-2:]):
            break
        time.sleep(0.5)
    else:
        sys.exit(f"a sample is never taken every two seconds: {intervals}")
    if not all(intervals[1:]):
        sys.exit(f"rates begin anew with another interval: {intervals}")
    screen.press("-", "every 1 s")


def check_recording(screen):
    """Keys begin a recording, set a mark and end it."""
    file = f"{screen.directory}/r"
    screen.press("w", "^record to the file: ")
    screen.press("C-u", "^record to the file:$")
    screen.send(file, "Enter")
    screen.wait(f"^recording to {file}", "REC ")
    screen.press("m", "^mark:$")
    screen.send("slow here", "Enter")
    screen.wait("^mark: slow here")
    check_new_interval(screen, file)
    screen.press("w", "has ended", without=["REC "])
    recorded = pathlib.Path(file).read_bytes()
    if not recorded.startswith(b"\x89TVSREC") or len(recorded) < 8192:
        sys.exit(f"no recording, but {len(recorded)} bytes that begin with {recorded[:16]}")
    screen.send("w", "C-u", "/nonexistent/r", "Enter")
    screen.wait("/nonexistent/r.*(No such|cannot)", without=["REC "])


def check_replay(screen):
    """What was recorded is moved about in; damage is said, and is the exit status."""
    file = f"{screen.directory}/r"
    screen.run(f"{TVSISTAT} -i --read {file}; echo status $?")
    screen.wait(r"^demo~.* Brox demo .* REPLAY \d\d:\d\d:\d\d", "^vok .* Vok1 ")
    screen.press("End", "at its end")
    last = screen.press("[", "stands x1")
    screen.press("]", "at its end")
    if (again := screen.press("[", "stands x1")) != last:
        sys.exit(f"another picture of the same moment:\n{last}\n{again}")
    screen.press("N", "^mark: slow here", "m")
    screen.press("Home", "stands x1 *$")
    screen.press("x x x", "^10 times as fast")
    screen.press("p", "at its end", "this is the end of what was recorded")
    screen.press("w", "recorded already")
    screen.press("e", "^Events", "mark: slow here")
    screen.press("Enter", "^mark: slow here")
    screen.press("b", "^time ")
    screen.press("n o Enter", "'no' is no time")
    screen.press("/ k 2 [ 4 5 ] Enter", "/k2", "2 shown")
    screen.press("q", "^status 0$")
    content = bytearray(pathlib.Path(file).read_bytes())
    content[content.index(b"TVRM") + 200] ^= 1
    pathlib.Path(file + "x").write_bytes(content)
    screen.run(f"{TVSISTAT} -i -R {file}x -R {file}; echo status $?")
    screen.wait("REPLAY")
    screen.press("End", "at its end")
    screen.press("Home", "stands x1")
    screen.press("e", "rx is damaged")
    screen.press("q")
    screen.press("q", "^status 10$")


def check_stream(screen):
    """A stream through a pipe, with keys from the terminal."""
    reader = pathlib.Path(TVSISTAT).with_name("tvsi-reader")
    screen.run(f"{reader} -i 0.2 -b demo 2>&1 | {TVSISTAT} -i --read -; echo status $?")
    screen.wait("^demo~.* Brox demo .* STREAM \d\d:", "^vok .* Vok1 ")
    screen.press("Space", r"PAUSED \+[1-9]\d* behind")
    screen.press("Space", "Vok1 ", without=["PAUSED"])
    screen.press("[", "goes forwards only")
    screen.press("q", "^status 0$")
    screen.run(f"{reader} -n 2 -b demo | {TVSISTAT} -i -R -; echo status $?")
    screen.wait("STREAM ended", "the stream has come to its end", "Vok1 ")
    screen.press("q", "^status 0$")
    screen.run(f"setsid -w {TVSISTAT} -i -R - < /dev/null; echo status $?")
    screen.wait("takes its keys from the terminal", "^status 2$")


def check_mouse(screen):
    """A row, a title and the wheel, as the terminal sends them."""
    def mouse(button, x, y):
        screen.tmux("send-keys", "-H", "1b", "5b", "4d", *(f"{32 + n:x}" for n in (button, x + 1, y + 1)))

    lines = screen.press("1", r"\[1 Voks\]", "Vok3 ").splitlines()
    title = next(i for i, line in enumerate(lines) if line.startswith("kind "))
    mouse(0, lines[title].index("pid"), title)
    mouse(3, lines[title].index("pid"), title)
    screen.wait("pid↑")
    row = next(i for i, line in enumerate(screen.text().splitlines()) if " Vok3 " in line)
    mouse(0, 3, row)
    screen.press("Enter", "^vok .* Vok3 .*1-")
    mouse(65 - 32 + 32, 3, 12)
    screen.wait("^vok .* Vok3 .* 4-")
    screen.press("Escape", "^kind ")
    screen.press("< <", without=["pid↑"])


def check_caches(screen):
    """Two caches, one after the other."""
    other = Server(screen.directory, "other", 2)
    try:
        screen.run(f"{TVSISTAT} -i demo other")
        screen.wait("^demo~.*1 of 2 caches", " Vok3 ")
        screen.press("B", "^other~.*2 of 2 caches", without=[" Vok3 "])
        screen.press("B", "^demo~.*1 of 2 caches", " Vok3 ")
        screen.run(f"{TVSISTAT} -i")
        screen.wait("^(demo|other)~.* of 2 caches")
        screen.run(f"{TVSISTAT} -i demo")
        screen.wait("^demo~", "^vok .* Vok1 ", without=["caches"])
        screen.press("G", "^vokthr .*VokThr15 ")
    finally:
        other.end()


def check_death_and_return(screen, server):
    os.kill(server.brox, signal.SIGKILL)
    screen.wait(rf"^! its Brox \(pid {server.brox}\) has ended; its figures stand still", "/s=")
    server.end()
    screen.wait(r"^demo~[^ ]+  Brox demo  8", r"^GONE since \d\d:\d\d:\d\d: its monitor ended",
                "VokThr1 ")
    again = Server(screen.directory)
    screen.wait("^demo~.* up ", "VokThr1 ", without=["GONE", "its Brox"])
    screen.resize(120, 44)
    screen.wait(rf"its monitor \(process {server.monitor}\) has ended",
                f"is back: monitor {again.monitor}; it was {server.monitor}", "rates begin anew")
    screen.resize(80, 24)
    return again


def check_ends(screen, shell):
    """The terminal is as it was, whatever ends the screen, and no reader is left."""
    screen.press("C-z", "Stopped")
    screen.press("f g Enter", "^demo~", "VokThr1 ", without=["Stopped"])
    deaths = {"q": "q"} | {name: getattr(signal, name) for name in
                           ("SIGTERM", "SIGHUP", "SIGINT", "SIGSEGV", "SIGABRT")}
    for name, how in deaths.items():
        program = program_of(shell)
        readers = children_of(program)
        if name == "q":
            screen.send("q")
        else:
            os.kill(program, how)
        screen.wait("^ready", without=["Vok1 "])
        screen.send(f"clear; stty -a; echo it was {name}", "Enter")
        screen.wait("[^-]icanon", "[^-]echo ", f"^it was {name}")
        end = time.monotonic() + PATIENCE
        while [pid for pid in readers if os.path.exists(f"/proc/{pid}")]:
            if time.monotonic() > end:
                sys.exit(f"{name}: readers {readers} are left")
            time.sleep(0.05)
        screen.send(f"clear; {TVSISTAT} -i demo", "Enter")
        screen.wait("^vok .* Vok1 ")
    screen.press("q", "^ready", without=["Vok1 "])


def check_refusals(screen):
    cases = {
        f"TERM=dumb {TVSISTAT} -i": "TERM is.*unset or dumb.*without -i.*-1.*tvsistat 2",
        f"TERM=nonsense {TVSISTAT} -i": "does not know the terminal 'nonsense'",
        f"{TVSISTAT} -i < /dev/null": "needs a terminal",
        f"{TVSISTAT} -i nobody": "nobody",
    }
    for i, (words, sentence) in enumerate(cases.items()):
        screen.send(f"clear; {words}; echo case {i} status $?", "Enter")
        text = screen.wait(rf"^case {i} status [23]")
        if not re.search(sentence, text.replace("\n", ""), re.S):
            sys.exit(f"{words}:\n{text}")
    screen.send(f"clear; NO_COLOR=1 LC_ALL=C TERM=vt100 {TVSISTAT} -i demo", "Enter")
    screen.wait("^vok .* Vok1 ", "^commits +[^ ]+ +[.:=+*#-]+ ", without=["▁", "█"])
    screen.press("q", "^ready")


def main():
    if shutil.which("tmux") is None:
        sys.exit(77)
    with tempfile.TemporaryDirectory(prefix="tvsi-test.") as directory:
        server = Server(directory)
        screen = Screen(directory)
        try:
            shell = int(screen.tmux("display-message", "-p", "#{pane_pid}"))
            screen.send(f"clear; {TVSISTAT} -i demo", "Enter")
            check_sizes(screen)
            check_keys(screen)
            check_recording(screen)
            check_replay(screen)
            check_stream(screen)
            screen.send(f"clear; {TVSISTAT} -i demo", "Enter")
            screen.wait("^vok .* Vok1 ")
            check_mouse(screen)
            check_caches(screen)
            server = check_death_and_return(screen, server)
            check_ends(screen, shell)
            check_refusals(screen)
        finally:
            screen.end()
            server.end()


main()
