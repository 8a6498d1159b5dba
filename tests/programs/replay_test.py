#!/usr/bin/env python3
"""replay_test.py BIN_DIR: a recording says what was seen when it was made: each question is asked
once of caches that run, while they are recorded, and once of the recording.
"""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys

from running import PATIENCE, Server, Tool, attempt, children_of, eventually, server_directory

PROGRAMS = pathlib.Path(sys.argv[1])
QUESTIONS = [
    "",
    "-L",
    "-j",
    "-c -I *",
    "-w 60 -t --utc",
    "-j -A --delta",
    "-k vok -S commitCount -N 2 -r -f pid,name,commitCount:total",
    "-z --rate -n ^Vok -I time* --unit time*=ms -c",
    "--no-header -g commit -t",
    "-j -p 1",
]


def tvsistat(server, *words, **settings):
    settings = {"env": server.environment, "capture_output": True, "timeout": PATIENCE, **settings}
    return subprocess.run([PROGRAMS / "tvsistat", *words], check=False, **settings)


def difference(what, one, other):
    for name in ("returncode", "stdout", "stderr"):
        if getattr(one, name) != getattr(other, name):
            yield f"{what}: {name}: {getattr(one, name)[-300:]!r} is not {getattr(other, name)[-300:]!r}"


def ask(server, directory, question):
    """Two caches, that are named in either order. Where a sample was held up until the other cache's
    next one had come, live shows it after that, as it must: then it is asked again, slower."""
    for order in (["prod", "demo"], ["demo", "prod"]):
        asked = question.split()
        for interval in ("0.1", "0.5", "2"):
            file = pathlib.Path(directory) / f"recording{hash((question, interval, *order))}"
            live = tvsistat(server, "--write", file, *asked, *order, interval, "5")
            replayed = tvsistat(server, "--read", file, *asked, *order)
            faults = list(difference(f"{question} {order}", live, replayed))
            if not faults:
                break
        yield from faults


def ask_alone(server, directory, question):
    file = pathlib.Path(directory) / f"alone{hash(question)}"
    live = tvsistat(server, "--write", file, *question.split(), "demo", "0.1", "5")
    yield from difference(question, live, tvsistat(server, "-R", file, *question.split()))


def see_an_end(directory, form):
    """The cache goes while it is recorded."""
    words = [form] * bool(form) + ["-f", "pid,commitCount", "-k", "vok"]
    file = pathlib.Path(directory) / f"end{form}"
    server = Server(PROGRAMS, directory, brox="mortal")
    try:
        tool = server.watch("--write", file, *words, "mortal", "0.1")
        tool.until(r"(?s)commitCount.*\n.*\d+.*\n")
    finally:
        server.end()
    status = tool.end()
    replayed = tvsistat(server, "--read", file, *words)
    got = (replayed.returncode, replayed.stdout.decode(), replayed.stderr.decode())
    if status != 7 or got != (status, tool.out, tool.err):
        yield f"{form}: {status} {tool.out[-700:]} {tool.err} is not {got}"


def see_a_return(directory, form):
    """The cache goes and comes back while it is followed and recorded."""
    words = [form] * bool(form) + ["-f", "pid,commitCount", "-k", "vok"]
    file = pathlib.Path(directory) / f"return{form}"
    server = Server(PROGRAMS, directory, brox="phoenix")
    tool = server.watch("--write", file, *words, "-F", "phoenix", "0.1", "25")
    try:
        tool.until(r"(?s)commitCount.*\n.*\d+.*\n")
        server.end()
        server = Server(PROGRAMS, directory, brox="phoenix")
        status = tool.end()
    finally:
        tool.kill()
        server.end()
    replayed = tvsistat(server, "--read", file, *words, "phoenix")
    got = (replayed.returncode, replayed.stdout.decode(), replayed.stderr.decode())
    if status != 0 or "back" not in tool.out + tool.err or got != (status, tool.out, tool.err):
        yield f"{form}: {status} {tool.out[-700:]} {tool.err} is not {got}"


def cut(server, directory):
    """What a question to a part of a recording finds; the whole of it as Prometheus's blocks."""
    file = pathlib.Path(directory) / "parts"
    tvsistat(server, "--write", file, "-q", "demo", "0.1", "20")
    lines = [json.loads(line) for line in tvsistat(server, "-R", file, "-j", "-k", "monitor").stdout.splitlines()]
    start, end = lines[5]["time"], lines[12]["time"]
    part = tvsistat(server, "-R", file, "--start", start, "--end", end, "-j", "-k", "monitor")
    times = [json.loads(line)["time"] for line in part.stdout.splitlines()]
    if times != [line["time"] for line in lines[5:13]]:
        yield f"{start} to {end}: {times}"
    if thinned := [json.loads(line) for line in tvsistat(server, "-R", file, "-j", "0.5").stdout.splitlines()]:
        if not 3 <= len(thinned) <= 5 or not all(0.4 < line["interval"] < 0.8 for line in thinned[1:]):
            yield f"every half second: {[(line['time'], line['interval']) for line in thinned]}"
    metrics = pathlib.Path(directory) / "metrics"
    exported = tvsistat(server, "-R", file, "--export", "openmetrics", "-k", "vok").stdout
    metrics.write_bytes(exported)
    if not exported.endswith(b"# EOF\n") or exported.count(b"tvsi_process_vok_commit_total{") != 20 * 4:
        yield f"the export has {exported.count(b'tvsi_process_vok_commit_total{')} commits"
    if shutil.which("promtool"):
        command = ["promtool", "tsdb", "create-blocks-from", "openmetrics", metrics, pathlib.Path(directory) / "blocks"]
        made = subprocess.run(command, capture_output=True, check=False, timeout=PATIENCE)
        if made.returncode != 0:
            yield f"promtool: {made.stderr.decode()}"


def stream_again(server, directory):
    """A recorded cache as a stream says the same; between losses, and beside another one, too."""
    file = pathlib.Path(directory) / "two"
    tvsistat(server, "--write", file, "-q", "demo", "prod", "0.1", "5")
    for name, cache in ((file, "prod"), (pathlib.Path(directory) / "end-j", "mortal")):
        stream = tvsistat(server, "-R", name, "--export", "stream", cache)
        shown = tvsistat(server, "-R", name, "-j", cache).stdout.splitlines()
        again = tvsistat(server, "-R", "-", "-j", input=stream.stdout).stdout.splitlines()
        if again[: len(shown)] != shown or [line for line in again[len(shown) :] if b'"ended"' not in line]:
            yield f"{cache}: {shown} is not {again}"
    both = tvsistat(server, "-R", file, "--export", "stream")
    if both.returncode != 2 or b"name the one that is wanted" not in both.stderr:
        yield f"two caches: {both.returncode} {both.stderr}"


def damage(server, directory):
    """A block that is damaged costs itself: the rest is shown, the sentence names the file."""
    file = pathlib.Path(directory) / "damaged"
    for _ in range(3):
        tvsistat(server, "--write", file, "-q", "demo", "0.05", "3")
    whole = tvsistat(server, "-R", file, "-c", "-k", "monitor").stdout
    content = bytearray(file.read_bytes())
    blocks = [at for at in range(0, len(content), 4096) if content[at + 12 : at + 16] == b"TVRM"]
    content[blocks[1] + 200] ^= 1
    file.write_bytes(content)
    read = tvsistat(server, "-R", file, "-c", "-k", "monitor")
    shown = read.stdout.splitlines()
    if read.returncode != 10 or str(file).encode() not in read.stderr or not 1 < len(shown) < len(whole.splitlines()):
        yield f"damaged: {read}"


def fill_disk(server, directory):
    """The disk is full, and then no more: that is said, the view goes on, what was recorded is good."""
    disk, kept = pathlib.Path(directory) / "disk", pathlib.Path(directory) / "kept"
    disk.mkdir()
    mount = ["unshare", "--mount", "sh", "-c", f"mount -t tmpfs -o size=400k none {disk} && exec \"$@\"", "sh"]
    if subprocess.run([*mount, "true"], capture_output=True, check=False).returncode != 0:
        return  # nobody may mount here
    script = f"{PROGRAMS}/tvsistat --write {disk}/r -j -k monitor demo 0.1; status=$?; cp -r {disk} {kept}; exit $status"
    tool = Tool([*mount, "sh", "-c", script], env=server.environment)
    inside = pathlib.Path(f"/proc/{tool.pid}/root{disk}")

    def wait(condition, what):
        eventually(lambda: [tool.read(0.1), condition()][1], f"{what}: {tool.err}")

    def recorded():
        return [(inside / name).stat().st_size for name in ("r", "r.tail")]

    try:
        tool.until(r"version")
        wait(lambda: recorded()[1], "the tail is empty")
        with contextlib.suppress(OSError), (inside / "ballast").open("wb", buffering=0) as ballast:
            while True:
                ballast.write(bytes(4096))
        wait(lambda: "recording waits until it can" in tool.err, "no complaint")
        tool.until(r"(?s)(version.*){9}", len(tool.out))
        (inside / "ballast").unlink()
        before = recorded()
        wait(lambda: "can be written again" in tool.err, "no recovery")
        wait(lambda: recorded() != before, "nothing more is recorded")
        os.kill(eventually(lambda: children_of(tool.pid), "no child")[0], signal.SIGINT)
    finally:
        status = tool.end()
    seen = [json.loads(line)["time"] for line in tool.out.splitlines()]
    status, lines = rows(server, "-R", kept / "r")
    if status or [line["time"] for line in lines] != seen or "No space left" not in tool.err:
        yield f"disk full: {status}, {len(lines)} of {len(seen)}, {tool.err}"


def rows(server, *words):
    """What is shown, as JSON has it, of one kind of process that each sample has; how it ended."""
    run = tvsistat(server, "-j", "-k", "monitor", *words)
    return run.returncode, [json.loads(line) for line in run.stdout.splitlines()]


def merge(directory):
    """Two watch the same cache at once, to its end, and what one has recorded is copied: one time line
    has each sample once, and tells once what has happened; a part of it begins where it was cut."""
    names = [str(pathlib.Path(directory) / f"merge{i}") for i in range(5)]
    server = Server(PROGRAMS, directory, brox="mortal")
    try:
        tools = [server.watch("-j", "--write", name, "mortal", "0.05") for name in names[:2]]
        for tool in tools:
            tool.until(r"(?s)(version.*){5}")
    finally:
        server.end()
    for tool in tools:
        tool.end()
    tvsistat(server, "-R", names[0], "--write", names[2])
    single = [rows(server, "-R", name)[1] for name in names[:2]]
    times = sorted({line["time"] for lines in single for line in lines if line["event"] == "sample"})
    written = tvsistat(server, "--merge", "--write", names[3], *names[:3])
    if written.returncode or written.stdout:
        yield f"merge: {written}"
    for words in (["--merge", *names[:3]], ["-R", names[3]], ["--merge", names[2], "-R", names[1], "-R", names[0]]):
        status, lines = rows(server, *words)
        found = [(line["event"], line["time"]) for line in lines]
        if status != 7 or found[:-1] != [("sample", time) for time in times] or found[-1][0] != "gone":
            yield f"{words}: {status}, {found} is not {times}"
        if any(line["interval"] is None for line in lines[1:-1]):
            yield f"{words}: rates begin anew in the middle"
    tvsistat(server, "--merge", names[3], names[0], "--start", times[2], "--write", names[4])
    info = json.loads(tvsistat(server, "--info", names[4], "-j").stdout)
    if info["first"][:20] < times[2][:20] or info["samples"] != len(times) - 2:
        yield f"from {times[2]} on: {len(times)} {info}"


def history(server, directory):
    """What the service has recorded stands below its directory, by systemd's name of the Brox."""
    place = pathlib.Path(directory) / "history"
    here = {**server.environment, "TVSI_HISTORY_DIR": str(place)}
    odd = {"../x": r"..-x", ".x": r"\x2ex", "a-b/ä\\": r"a\x2db-\xc3\xa4\x5c"}
    for brox, name in odd.items():
        read = tvsistat(server, "--history", "--brox", brox, env=here)
        escaped = name.replace("..-x", r"\x2e.-x").replace("\\", "\\\\").encode()
        if read.returncode != 3 or escaped + b" is not there; the service tvsi-recorder@" not in read.stderr:
            yield f"{brox}: {read}, not {escaped}"
        if shutil.which("systemd-escape"):
            told = subprocess.run(["systemd-escape", "--", brox], capture_output=True, check=True).stdout.strip()
            if told.replace(b"\\", b"\\\\") != escaped:
                yield f"{brox}: {told} is not {escaped}"
    read = tvsistat(server, "--history", env=here)
    if read.returncode != 3 or b"nothing is recorded in " + str(place).encode() not in read.stderr:
        yield f"no history: {read}"
    place.mkdir()
    loop = place / "loop"
    loop.symlink_to("loop")
    read = tvsistat(server, "--history", env=here)
    if read.returncode != 1 or str(loop).encode() + b" cannot be read: " not in read.stderr:
        yield f"unreadable history: {read}"
    loop.unlink()
    live = {}
    for brox in ("demo", "prod"):
        live[brox] = tvsistat(server, "--write", place / brox, "--keep", "1d", "-j", brox, "0.05", "4")
    for brox in live:
        yield from difference(f"history of {brox}", live[brox], tvsistat(server, "--history", "-j", brox, env=here))
    for words in ([], ["all"], ["demo", "prod"]):
        status, lines = rows(server, "-R", place / "demo", "-R", place / "prod")
        read = tvsistat(server, "--history", "-j", "-k", "monitor", *words, env=here)
        if read.returncode != status or len(read.stdout.splitlines()) != len(lines) or len(lines) != 8:
            yield f"history of all: {read}"
    part = tvsistat(server, "--history", "demo", "--start", "1h", "-1", "-L", env=here)
    if part.returncode or b"commitCount" not in part.stdout:
        yield f"history of an hour: {part}"


def thin(server, directory):
    """Whoever records thins what is old meanwhile, says what can't be carried on, and leaves nothing."""
    place = pathlib.Path(directory) / "thin"
    write = ["--write", place, "--keep", "9999d", "-q", "demo", "0.05"]
    tvsistat(server, *write, "30")
    old, bad = (place / f"2020-01-01T0{hour}-00-00Z.tvsrec" for hour in (0, 1))
    next(place.glob("*.tvsrec")).rename(old)
    bad.write_text("nothing that was recorded")
    pathlib.Path(f"{bad}.thin").write_text("left by one that was killed")
    whole = {line["time"]: line["processes"][0] for line in rows(server, "-R", old)[1]}
    recorder = server.watch(*write, "--thin", "1s:1d")
    eventually(lambda: old.read_bytes()[10:12] == b"\1\0", "it isn't thinned")
    status = recorder.end(signal.SIGTERM)
    if status or f"{bad} is no recording; a new file is begun" not in recorder.err:
        yield f"the recorder: {status} {recorder.err}"
    names = {path.name for path in place.iterdir()}
    if len(names) != 3 or not {old.name, bad.name} < names:
        yield f"it has left {names}"
    lines = rows(server, "-R", old)[1]
    if not 2 <= len(lines) <= 4 or sum(line["samples"] for line in lines) != 30:
        yield f"thinned: {lines}"
    for line in lines:
        counters = {name: line["processes"][0]["values"][name] for name in ("otPageOps", "rdbfPageIoCount")}
        then = whole[line["time"]]["values"]
        if any(then[name] != value for name, value in counters.items()):
            yield f"at {line['time']}: {counters} is not {then}"
    free = "numberOfFreeFrames"
    shown = tvsistat(server, "-R", old, "-c", "--no-header", "-k", "monitor", "-f", f"{free}:min,{free},{free}:max")
    for row in shown.stdout.decode().split():
        least, average, most = map(int, row.split(","))
        if not least <= average <= most or most == least:
            yield f"free frames: {row}"


def stall(server, directory):
    """What has been recorded is safe in time also while nobody takes the reports."""
    file = pathlib.Path(directory) / "stalled"
    with subprocess.Popen([PROGRAMS / "tvsistat", "--write", file, "-j", "demo", "0.05"], env=server.environment,
                          stdout=subprocess.PIPE) as tool:
        try:
            eventually(lambda: os.path.exists(f"{file}.tail") and os.path.getsize(f"{file}.tail") > 0, "a part of the tail")
        finally:
            tool.kill()
        reports = tool.stdout.read().count(b"\n")
    recorded = tvsistat(server, "--read", file, "-j").stdout.count(b"\n")
    if not 0 < reports <= recorded:
        yield f"{reports} reports were taken, and {recorded} samples recorded"


def main():
    with server_directory(PROGRAMS) as directory:
        servers = [Server(PROGRAMS, directory, brox=brox) for brox in ("demo", "prod")]
        try:
            faults = [fault for question in QUESTIONS for fault in attempt(ask, servers[0], directory, question)]
            faults += [fault for question in QUESTIONS[:4] for fault in attempt(ask_alone, servers[0], directory, question)]
            faults += attempt(merge, directory) + attempt(history, servers[0], directory)
            faults += attempt(thin, servers[0], directory)
            faults += attempt(cut, servers[0], directory) + attempt(damage, servers[0], directory)
            faults += attempt(fill_disk, servers[0], directory)
            faults += [fault for form in ("-j", "", "-c") for see in (see_an_end, see_a_return)
                       for fault in attempt(see, directory, form)]
            faults += attempt(stall, servers[0], directory)
            faults += attempt(stream_again, servers[0], directory)
        finally:
            for server in servers:
                server.end()
    if faults:
        sys.exit("\n".join(faults))


main()
