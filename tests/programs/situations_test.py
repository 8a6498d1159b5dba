#!/usr/bin/env python3
"""situations_test.py MANUAL PROGRAMS: tvsistat ends as the table of its manual page says, whatever
happens to the server, the reader, the output or its rights, and says why; with --follow it goes on.
"""

import concurrent.futures
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time

from running import OTHER_USER, Late, Server, Tool, attempt, server_directory

MANUAL, PROGRAMS = sys.argv[1:]
SIGNALS = {"killed": signal.SIGKILL, "stopped": signal.SIGSTOP}
SHOWN = ["-f", "kind,pid,state", "demo"]

# What is shown of a process, and what stands in the heading, once it is killed or stopped.
STATES = {"killed": "DEAD|ZOMBIE", "stopped": "STOPPED"}
HEADINGS = {
    "brox killed": r"^its Brox \(pid \d+\) has ended; its figures stand still",
    "brox stopped": r"^its Brox \(pid \d+\) is stopped",
    "monitor stopped": r"^its monitor \(pid \d+\) is stopped",
}
# The file that another user may not read, its mode meanwhile, and what is said of it.
FILES = {
    "The registry directory": ("locks", 0o700, "to read the registry directory"),
    "The registry's files": ("locks/demo*..LCK", 0o600, "to read the registry file"),
    "The host id": ("locks/talvex.hostid", 0o600, "to read the host id"),
    "The segment": ("locks/none", 0, "it belongs to user root and group root with mode 0600"),
}
NAMESPACES = {
    "PID": (["--fork", "--pid"], "runs in a PID namespace of its own"),
    "IPC": (["--ipc"], "runs in another IPC namespace"),
}


def of_stream(server, spoil):
    stream = subprocess.run(
        [f"{PROGRAMS}/tvsi-reader", "--brox", "demo", "--count", "2", "--interval", "0.01"],
        env=server.environment, capture_output=True, check=True,
    ).stdout
    words = [f"{PROGRAMS}/tvsistat", "--read", "-"]
    return subprocess.run(words, input=spoil(stream), capture_output=True).returncode


def of_recording(server, directory, what):
    """A recording is cut as a power cut cuts it, or one of its bytes is changed."""
    file = pathlib.Path(directory) / "recording"
    for _ in range(2):
        server.watch("--write", file, "-q", "demo", "0.05", "3").end()
    content = bytearray(file.read_bytes())
    blocks = [at for at in range(0, len(content), 4096) if content[at + 12 : at + 16] == b"TVRM"]
    if what == "damaged":
        content[blocks[0] + 200] ^= 1
    else:
        del content[blocks[-1] :]
    file.write_bytes(content)
    tool = server.watch("--read", file)
    status = tool.end()
    return status if (status == 0) == (tool.err == "") else tool.err or "silence"


def of_output(server, how):
    if how == "full":
        with open("/dev/full", "w") as full:
            return server.watch("demo", stdout=full).end()
    tool = server.watch(*SHOWN, "0.1")
    tool.until("^vok")
    tool.process.stdout.close()
    del tool.streams[tool.process.stdout]
    return tool.end()


def said(status, tool, pattern):
    """The status, when the tool has also said this in the end."""
    return status if re.search(f"^tvsistat: .*{pattern}.*\n\\Z", tool.err, re.M) else tool.err or "silence"


def of_other_user(server, directory, what):
    """The status of another user, of a cache that is named and of all: the worse counts."""
    if os.geteuid() != 0:
        return None
    pattern, mode, sentence = FILES[what]
    directory = pathlib.Path(directory)
    directory.chmod(0o755)
    for program in ("tvsistat", "tvsi-reader"):  # the build folder may be closed to others
        shutil.copy(f"{PROGRAMS}/{program}", directory)
    for file in directory.glob(pattern):
        file.chmod(mode)
    lists = what in ("The registry directory", "The registry's files")
    for names in [["demo"], []] if lists else [["demo"]]:
        tool = Tool([directory / "tvsistat", *names], env=server.environment, user=OTHER_USER,
                    group=OTHER_USER, extra_groups=[])
        status = said(tool.end(), tool, sentence if names or what != "The registry's files"
                      else "2 registry files may not be read by this user")
        if status != 4:
            break
    return status


def of_namespace(server, kind):
    options, sentence = NAMESPACES[kind]
    if subprocess.run(["unshare", *options, "true"], capture_output=True).returncode != 0:
        return None
    tool = Tool(["unshare", *options, f"{PROGRAMS}/tvsistat", "demo"], env=server.environment)
    return said(tool.end(), tool, sentence)


def of_broken_lock(server):
    server.break_lock()
    start = time.monotonic()
    tool = server.watch("demo", "1")
    status = said(tool.end(), tool, "the segment is damaged, or not the server's")
    return status if time.monotonic() - start < 20 else "much too late"


def happen(server, directory, situation, expected):
    """The exit status of tvsistat when this happens while it shows reports; None: it can't be made
    to happen here."""
    if found := re.fullmatch(r"(.*) (?:is|are) not for this user", situation):
        return of_other_user(server, directory, found[1])
    if found := re.fullmatch(r"The (\w+) namespace is another", situation):
        return of_namespace(server, found[1])
    if found := re.fullmatch(r"The output is (\w+)", situation):
        return of_output(server, found[1])
    if found := re.fullmatch(r"The recording is (.*)", situation):
        return of_recording(server, directory, found[1])
    if situation == "The stream is cut off":
        return of_stream(server, lambda stream: stream[:-3])
    if situation == "The stream is damaged":
        return of_stream(server, lambda stream: stream[: len(stream) // 2].ljust(len(stream), b"\xff"))
    if situation == "The name of a lock is broken":
        return of_broken_lock(server)
    count = ["40"] if expected == 0 and "signal" not in situation else []
    tool = server.watch(*SHOWN, "0.1", *count)
    vok = server.pid_of("vok", tool)
    if situation == "A signal ends tvsistat":
        tool.process.terminate()
    elif situation == "The server ends":
        server.launcher.process.terminate()
    elif situation == "tvsistat is stopped and goes on":
        # A moment before it would give up its reader; that one takes longer to go on.
        reader = server.pid_of("reader", tool)
        for pid, number, pause in [(reader, signal.SIGSTOP, 2), (tool.pid, signal.SIGSTOP, 3),
                                   (tool.pid, signal.SIGCONT, 1.5), (reader, signal.SIGCONT, 0)]:
            os.kill(pid, number)
            time.sleep(pause)
    else:
        who, what = re.fullmatch(r"\w+ (\w+) is (\w+)", situation).groups()
        who = who.lower()
        server.pids["vok"] = vok
        server.signal(who, SIGNALS[what], tool)
        if expected == 0 and who != "launcher":
            tool.until(f"^{who} +{server.pids[who]} +({STATES[what]})$")
            tool.until(HEADINGS.get(f"{who} {what}", ""))
    return tool.end()


def try_situation(situation, expected):
    with server_directory(PROGRAMS) as directory:
        server = Server(PROGRAMS, directory, "--sessions", "1")
        try:
            status = happen(server, directory, situation, expected)
        except Late as late:
            status = late
        finally:
            server.end()
    if status is None:
        print(f"{situation}: it can't be made to happen here")
    return [] if status in (expected, None) else [f"{situation}: {status}, not {expected}"]


def try_follow():
    """Through the ends of readers and servers, the last of them with another host id."""
    with server_directory(PROGRAMS) as directory:
        options = ["--sessions", "1"]
        server = Server(PROGRAMS, directory, *options)
        tool = server.watch("--follow", *SHOWN, "0.1")
        tool.until("^vok")
        try:
            for who, number in [("reader", signal.SIGKILL), ("reader", signal.SIGSTOP),
                                ("monitor", signal.SIGKILL), ("launcher", signal.SIGKILL),
                                ("launcher", signal.SIGTERM)]:
                place = len(tool.out)
                server.signal(who, number, tool)
                tool.until("Brox demo.*( has gone away|its reader)", place)
                if who != "reader":
                    server.end()
                    if number == signal.SIGTERM:
                        options += ["--host-id", "abc"]
                    server = Server(PROGRAMS, directory, *options)
                back = tool.until("cache (demo~.*) is back: monitor", place)
                tool.until("^vok", back.end())
            status = tool.end(signal.SIGTERM)
        finally:
            tool.kill()
            server.end()
    return [] if (status, back[1]) == (0, "demo~abc") else [f"--follow: {status}, {back[1]}"]


def try_several():
    """Three caches in sections, named and all; a fourth that comes later joins those that are
    followed; whatever isn't shown by all changes the status."""
    faults = []
    with server_directory(PROGRAMS) as directory:
        servers = [Server(PROGRAMS, directory, "--sessions", "1", brox=name) for name in "abc"]
        try:
            def outcome(*words):
                tool = servers[0].watch("--no-header", "-f", "brox", "-k", "brox", *words)
                status, shown = tool.end(), tool.out.split()
                # One that is slow comes after the others of its round.
                return status, sorted(shown) if "0.05" in words else shown

            for words, expected in {
                "": (0, ["a", "b", "c"]),
                "all": (0, ["a", "b", "c"]),
                "c a": (0, ["c", "a"]),
                "a nobody b": (11, ["a", "b"]),
                "all 0.05 3": (0, ["a"] * 3 + ["b"] * 3 + ["c"] * 3),
            }.items():
                if (found := outcome(*words.split())) != expected:
                    faults.append(f"'{words}': {found}, not {expected}")
            tool = servers[0].watch("-k", "brox", "--repeat-header", "9", "0.05", "4")
            tool.end()
            heads = len(re.findall("^cache +kind +pid", tool.out, re.M))
            rows = sorted(re.findall(r"^(\w)~\w+ +brox +\d+ ", tool.out, re.M))
            if (heads, rows) != (6, sorted("abc" * 4)):
                faults.append(f"--repeat-header: {heads} headings for totals and rates, {rows}")
            tool = servers[0].watch("all", "-F", "0.2", "-f", "brox", "-k", "brox")
            tool.until("^a$")
            servers.append(Server(PROGRAMS, directory, "--sessions", "1", brox="later"))
            tool.until("cache later~.* is there: monitor")
            tool.until("^later$")
            servers[1].end()
            tool.until("cache b~.* has gone away")
            tool.until("^later$", len(tool.out))
            before = tool.cpu_seconds()
            time.sleep(2)
            if (used := tool.cpu_seconds() - before) > 0.5:
                faults.append(f"all --follow takes {used} s of a processor in 2 s")
            if (status := tool.end(signal.SIGINT)) != 0:
                faults.append(f"all --follow: {status}")
        finally:
            for server in servers:
                server.end()
    return faults


def main():
    page = pathlib.Path(MANUAL).read_text()
    table = re.findall(r"^\.It ([A-Zt].*) Ta (\d+)$", page, re.M)
    if len(table) < 24:
        sys.exit("the manual's table was not recognised")
    with concurrent.futures.ThreadPoolExecutor(6) as pool:
        jobs = [pool.submit(attempt, try_situation, name, int(status)) for name, status in table]
        jobs += [pool.submit(attempt, try_follow), pool.submit(attempt, try_several)]
        faults = [fault for job in jobs for fault in job.result()]
    if faults:
        sys.exit("\n".join(faults))


main()
