#!/usr/bin/env python3
"""sizes_test.py PROGRAMS: tvsistat on caches of 20, 200 and 1,000 processes: every option, on
terminals of 80 and 160 columns (where nothing wraps), aligned, and coloured where that is wanted.
"""

import json
import os
import pathlib
import pty
import re
import subprocess
import sys
import termios

from running import PATIENCE, eventually, running_server

PROGRAMS = sys.argv[1]
OTHERS = 9  # processes of a stand-in beside its sessions

# A set of options and what it selects of N sessions: lines of output, or None.
OPTIONS = {
    "--no-header -k vok -f pid": lambda n: n,
    "--no-header --kind vok,brox -f kind,pid --wide": lambda n: n + 1,
    "--no-header -k vok -f name --glob -n Vok?": lambda n: 9,
    "--no-header -f name -n vok1$ -y": lambda n: 1,
    "--no-header -f pid -s 7": lambda n: 1,
    "--no-header -k vok -S session -r -N 5 -f session": lambda n: 5,
    "--no-header -k vok -z -I commit* -X *Count": None,
    "--no-header -k vok -S index --top 3 --csv": lambda n: 3,
    "--no-header -k vok -A -f commitCount": lambda n: 1,
    "--no-header -k vok -I commitCount -L": lambda n: n,
    "-g commit,locks -X *Wait* -w 100": None,
    "-I * --total -t --utc": None,
    "0.1 2 --rate -k vok": None,
    "0.1 2 --delta -A --repeat-header 2": None,
    "0.1 2 --sum --json": lambda n: 2,
    "0.1 3 -j -I commit* --align": lambda n: 3,
    "-1 0.1 -L --nonzero": None,
    "--unit time*=us --label sessionStats[3]=orders --as counter:*[3] -k vok -I time* -I session*": None,
    "-W 5 -l": lambda n: 2,
    "--list-fields -k vok -g commit": None,
    "-F 0.1 --check": lambda n: 0,
    "--brox demo --color=never": None,
}
ON_TERMINAL = ["", "-A", "-I * -t", "-g commit,cache --rate 0.1 2", "-l", "-h",
               "all -k vok -S commitCount"]


class Terminal:
    """Programs in a tmux of one's own."""

    def __init__(self, directory, environment):
        self.environment = {**environment, "TERM": "xterm-256color", "SHELL": "/bin/sh"}
        self.command = ["tmux", "-S", f"{directory}/tmux", "-f", "/dev/null"]
        self.call("new-session", "-d", "cat", ";", "set", "-g", "history-limit", "50000")

    def call(self, *words):
        return subprocess.run([*self.command, *words], env=self.environment, check=True,
                              timeout=PATIENCE, capture_output=True, text=True).stdout

    def run(self, width, words):
        """The lines on the terminal, and the longer ones that have been wrapped to make them."""
        command = f"set -f; {PROGRAMS}/tvsistat {words}; echo The end: $?; cat"
        pane = self.call("new-session", "-d", "-P", "-F", "#{pane_id}", "-x", str(width), "-y", "24",
                         command).strip()

        def capture(*how):
            text = self.call("capture-pane", "-p", *how, "-S", "-", "-t", pane)
            return [line.rstrip() for line in text.rstrip().splitlines()]

        eventually(lambda: capture()[-1:] and capture()[-1].startswith("The end: "), words)
        shown, joined = capture(), capture("-J")
        self.call("kill-session", "-t", pane)
        return shown[-1][-1], shown[:-1], [line for line in joined if line not in shown]


def try_options(server, sessions):
    for words, expected in OPTIONS.items():
        tool = server.watch(*words.split())
        status = tool.end()
        lines = tool.out.splitlines()
        if status != 0 or tool.err:
            yield f"{words}: {status} {tool.err}"
        elif expected and len(lines) != expected(sessions):
            yield f"{words}: {len(lines)} lines, not {expected(sessions)}: {lines[:3]}"
        if "--align" in words:
            for line in lines:
                second = float(json.loads(line)["time"][17:-1])
                if second % 0.1 > 0.09:
                    yield f"{words}: {second}"


def try_sample(server, sessions):
    tool = server.watch("-j", "-1")
    tool.end()
    sample = json.loads(tool.out)
    processes = sample["processes"]
    voks = sum(process["kind"] == "vok" for process in processes)
    if (len(processes), sample["used"], voks) != (sessions + OTHERS, sessions + OTHERS, sessions):
        yield f"{len(processes)} processes, {sample['used']} used, {voks} Voks"
    if {process["state"] for process in processes} != {"alive"}:
        yield "not all are alive"


def try_terminals(server, directory):
    terminal = Terminal(directory, server.environment)
    try:
        for width in (80, 160):
            for words in ON_TERMINAL:
                status, lines, wrapped = terminal.run(width, words)
                if status != "0" or wrapped or not lines or max(map(len, lines)) > width:
                    yield f"{width} columns, {words}: {status} {lines[-3:]} {wrapped[:3]}"
        less, more = (int(re.search(r"^left out: .* and (\d+) more$", "\n".join(lines), re.M)[1])
                      for lines in (terminal.run(width, "-k vok -g cache")[1] for width in (160, 80)))
        if less >= more:
            yield f"{more} are left out at 80 columns, {less} at 160"
    finally:
        terminal.call("kill-server")


def written_to_terminal(server, words, environment):
    """All that tvsistat writes on a terminal that has just been opened."""
    master, slave = pty.openpty()
    termios.tcsetwinsize(slave, (24, 80))
    environment = {**server.environment, "TERM": "xterm", **environment}
    environment.pop("NO_COLOR" if not environment.get("NO_COLOR") else "", None)
    tool = server.watch("demo", *words.split(), stdout=slave, env=environment)
    os.close(slave)
    text = b""
    try:
        while piece := os.read(master, 65536):
            text += piece
    except OSError:  # nobody has it open any more
        pass
    os.close(master)
    tool.end()
    return text


def try_colors(server):
    for words, environment, expected in [
        ("", {}, True), ("--color auto", {}, True), ("--color=auto", {"NO_COLOR": "1"}, False),
        ("", {"NO_COLOR": "1"}, False), ("--color=always", {"NO_COLOR": "1"}, True),
        ("--color=never", {}, False), ("", {"TERM": "dumb"}, False), ("", {"TERM": ""}, False),
        ("-j", {}, False), ("-c", {}, False),
    ]:
        if (b"\033[" in written_to_terminal(server, words, environment)) != expected:
            yield f"{words} with {environment} is {'not ' if expected else ''}coloured"
    piped = server.watch("demo", "--color=auto")
    piped.end()
    if "\033" in piped.out:
        yield "a pipe is coloured"


def main():
    faults = []
    for size in (20, 200, 1000):
        options = ["--sessions", str(size - OTHERS), "--vok-threads", "0", "--page-servers", "0",
                   "--rate", "1"]
        with running_server(PROGRAMS, *options) as server:
            directory = pathlib.Path(server.environment["TALVEX_GLOBAL_DIR"])
            sample = ["-k", "vok", "-j"]
            eventually(lambda: len(json.loads(ended(server.watch(*sample)).out or '{"processes":[]}')
                                   ["processes"]) == size - OTHERS, f"{size} processes")
            found = [*try_options(server, size - OTHERS), *try_sample(server, size - OTHERS),
                     *try_terminals(server, directory), *(try_colors(server) if size == 20 else [])]
            faults += [f"{size} processes: {fault}" for fault in found]
    if faults:
        sys.exit("\n".join(faults))


def ended(tool):
    tool.end()
    return tool


main()
