#!/usr/bin/env python3
"""situations_test.py MANUAL TVSISTAT TVSI_READER TVXSTANDIN: tvsistat ends as the table of its manual
page says, whatever happens to the server, the reader or the output; with --follow it goes on.
"""

import concurrent.futures
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile

MANUAL, TVSISTAT, READER, STANDIN = sys.argv[1:]
PATIENCE = 50  # seconds, for a machine that is busy with other things
SIGNALS = {"killed": signal.SIGKILL, "stopped": signal.SIGSTOP}


class Server:
    def __init__(self, directory, *options):
        self.environment = {**os.environ, "TALVEX_GLOBAL_DIR": directory}
        command = [STANDIN, "--brox", "demo", "--dir", directory, "--sessions", "1", *options]
        self.launcher = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        ready = self.launcher.stdout.readline()
        self.pids = {who: int(re.search(f"{who}=(\\d+)", ready)[1]) for who in ("monitor", "brox")}
        self.pids["launcher"] = self.launcher.pid
        self.stopped = []

    def watch(self, *words, **streams):
        command = [TVSISTAT, "--no-header", "-f", "kind,pid", *words]
        streams = {"stdout": subprocess.PIPE, "stderr": subprocess.DEVNULL, **streams}
        return subprocess.Popen(command, text=True, env=self.environment, **streams)

    def pid_of(self, who, tool):
        if who == "reader":
            return int(pathlib.Path(f"/proc/{tool.pid}/task/{tool.pid}/children").read_text())
        return self.pids[who]

    def end(self):
        for pid in self.stopped:
            os.kill(pid, signal.SIGCONT)
        self.launcher.terminate()
        self.launcher.wait()


def read_until(tool, pattern):
    for line in tool.stdout:
        if found := re.search(pattern, line):
            return found
    return sys.exit(f"{pattern} never came")


def status_of(tool):
    try:
        tool.communicate(timeout=PATIENCE)
    except subprocess.TimeoutExpired:
        tool.kill()
        tool.communicate()
    return tool.returncode


def of_stream(server, spoil):
    stream = subprocess.run(
        [READER, "--brox", "demo", "--count", "2", "--interval", "0.01"],
        env=server.environment, capture_output=True, check=True,
    ).stdout
    words = [TVSISTAT, "--read", "-"]
    return subprocess.run(words, input=spoil(stream), capture_output=True).returncode


def happen(server, situation, expected):
    """The exit status of tvsistat when this happens while it shows reports."""
    if situation == "The stream is cut off":
        return of_stream(server, lambda stream: stream[:-3])
    if situation == "The stream is damaged":
        return of_stream(server, lambda stream: stream[: len(stream) // 2].ljust(len(stream), b"\xff"))
    if situation == "The output is full":
        with open("/dev/full", "w") as full:
            return server.watch("demo", stdout=full).wait(PATIENCE)
    count = ["20"] if expected == 0 and "signal" not in situation else []
    tool = server.watch("demo", "0.1", *count)
    server.pids["vok"] = int(read_until(tool, r"^vok +(\d+)")[1])
    if situation == "The output is closed":
        tool.stdout.close()
        return tool.wait(PATIENCE)
    if situation == "A signal ends tvsistat":
        tool.terminate()
    elif situation == "The server ends":
        server.launcher.terminate()
    else:
        who, what = re.fullmatch(r"\w+ (\w+) is (\w+)", situation).groups()
        pid = server.pid_of(who.lower(), tool)
        os.kill(pid, SIGNALS[what])
        if what == "stopped" and who != "reader":
            server.stopped.append(pid)
    return status_of(tool)


def try_situation(situation, expected):
    with tempfile.TemporaryDirectory(prefix="tvsi-test.") as directory:
        server = Server(directory)
        try:
            status = happen(server, situation, expected)
        finally:
            server.end()
            Server(directory).end()  # takes away what a killed server has left
    return [] if status == expected else [f"{situation}: {status}, not {expected}"]


def try_follow():
    with tempfile.TemporaryDirectory(prefix="tvsi-test.") as directory:
        server = Server(directory)
        tool = server.watch("--follow", "demo", "0.1")
        try:
            read_until(tool, "^vok")
            os.kill(server.pid_of("reader", tool), signal.SIGKILL)
            read_until(tool, "is back")
            server.end()
            server = Server(directory, "--host-id", "abc")
            read_until(tool, "cache demo~abc is back")
            read_until(tool, "^vok")
            tool.terminate()
            status = status_of(tool)
        finally:
            tool.kill()
            server.end()
    return [] if status == 0 else [f"--follow: {status}"]


def main():
    page = pathlib.Path(MANUAL).read_text()
    table = re.findall(r"^\.It ([A-Z].*) Ta (\d+)$", page, re.M)
    if len(table) < 15:
        sys.exit("the manual's table was not recognised")
    with concurrent.futures.ThreadPoolExecutor(6) as pool:
        jobs = [pool.submit(try_situation, name, int(status)) for name, status in table]
        jobs.append(pool.submit(try_follow))
        faults = [fault for job in jobs for fault in job.result()]
    if faults:
        sys.exit("\n".join(faults))


main()
