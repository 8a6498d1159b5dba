#!/usr/bin/env python3
"""signals_test.py PROGRAMS: SIGINT, SIGTERM and SIGHUP end tvsistat and its reader within 100 ms,
whatever it does at that moment.

A machine that is busy with other things may take longer: of some tries one must be as fast.
"""

import concurrent.futures
import contextlib
import os
import random
import signal
import sys
import time

from running import Late, Server, attempt, children_of, eventually, running_server

PROGRAMS = sys.argv[1]
BOUND = 0.1  # seconds
TRIES = 20
SIGNALS = [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]


def reader_of(tool):
    return eventually(lambda: children_of(tool.pid), "no reader")[0]


def started(server):
    """While it starts and attaches; on a broken segment it does so again and again."""
    tool = server.watch("demo", "1", "-W", "0")
    time.sleep(random.uniform(0, 0.05))
    return tool


def waiting(server):
    tool = server.watch("nobody", "1", "-W", "0")
    eventually(lambda: tool.read(0.01) and "waiting for it" in tool.err, "it doesn't wait")
    return tool


def waiting_for_any(server):
    environment = {**server.environment, "TALVEX_GLOBAL_DIR": "/"}
    tool = server.watch("1", "-W", "0", env=environment)
    eventually(lambda: tool.read(0.01) and "waiting for one" in tool.err, "it doesn't wait")
    return tool


def between_samples(server):
    tool = server.watch("demo", "3600")
    tool.until("^vok")
    return tool


def reporting(server):
    """At full speed, to whoever reads it all."""
    tool = server.watch("demo", "0.01", "-L")
    tool.until("^vok")
    return tool


def blocked(server):
    """In the middle of a report that nobody takes."""
    tool = server.watch("demo", "0.01", "-L")
    tool.until("^vok")
    time.sleep(0.3)
    return tool


def with_stopped_reader(server):
    tool = server.watch("demo", "0.1")
    tool.until("^vok")
    os.kill(reader_of(tool), signal.SIGSTOP)
    return tool


def following(server):
    """Between two looks for a cache that has gone."""
    with contextlib.closing(Guest(server)) as guest:
        tool = server.watch("guest", "0.1", "-F")
        tool.until("^vok")
    tool.until("has gone away")
    time.sleep(0.6)
    return tool


class Guest(Server):
    """A further server beside another one."""

    def __init__(self, server):
        directory = server.environment["TALVEX_GLOBAL_DIR"]
        super().__init__(PROGRAMS, directory, "--sessions", "1", brox="guest")
        self.close = self.end


def on_broken_segment(server):
    server.break_lock()
    return started(server)


MOMENTS = [started, waiting, waiting_for_any, between_samples, reporting, blocked,
           with_stopped_reader, following, on_broken_segment]


def duration(tool, number):
    """From the signal to the end; the reader must be gone by then."""
    readers = children_of(tool.pid)
    start = time.monotonic()
    os.kill(tool.pid, number)
    tool.process.wait(30)
    taken = time.monotonic() - start
    if left := [pid for pid in readers if os.path.exists(f"/proc/{pid}/exe")]:
        raise Late(f"the reader {left} is left")
    return taken


def try_moment(moment):
    faults = []
    with running_server(PROGRAMS, "--sessions", "1") as server:
        for number in SIGNALS:
            taken = []
            while len(taken) < TRIES and min(taken, default=1) > BOUND:
                tool = moment(server)
                try:
                    taken.append(duration(tool, number))
                finally:
                    tool.kill()
            if tool.process.returncode not in (0, -number):
                faults.append(f"{moment.__name__}: status {tool.process.returncode}")
            if min(taken) > BOUND:
                faults.append(f"{moment.__name__}: {number.name} takes {min(taken):.3f} s")
            print(f"{moment.__name__}, {number.name}: {taken[-1] * 1000:.1f} ms, try {len(taken)}")
    return faults


def main():
    with concurrent.futures.ThreadPoolExecutor(3) as pool:
        jobs = [pool.submit(attempt, try_moment, moment) for moment in MOMENTS]
        faults = [fault for job in jobs for fault in job.result()]
    if faults:
        sys.exit("\n".join(faults))


main()
