"""tvsi.open() on what tvsistat records of a running server, and on streams that are damaged.
Arguments: BROX CACHE MONITOR-PID BROX-PID ENTRIES"""

import datetime
import io
import json
import os
import pathlib
import subprocess
import sys
import tempfile

import tvsi
from checks import expect, refused

brox, location, monitor_pid, brox_pid, entries = sys.argv[1:]
KINDS = {kind.mask: kind.short_name for kind in tvsi.KINDS}
TVSISTAT = os.environ["TVSI_TVSISTAT"]


def tvsistat(*words):
    return subprocess.run([TVSISTAT, *words], check=True, capture_output=True, timeout=50).stdout


def children():
    return pathlib.Path(f"/proc/self/task/{os.getpid()}/children").read_text().split()


def check_against(lines, recording):
    """Each sample says what tvsistat prints of it."""
    for line, sample in zip(lines, recording, strict=True):
        shown = json.loads(line)
        expect((sample.slots, sample.used), (shown["slots"], shown["used"]))
        expect(round(sample.time * 1e9 / 1e3), round(shown["monotonic_ns"] / 1e3))
        for process, record, facts in zip(shown["processes"], sample.records, sample.processes, strict=True):
            expect(
                (record.processId, record.sessionId, record.name, facts.state),
                (process["pid"], process["session"], process["name"], process["state"]),
            )
            expect(KINDS[record.statType], process["kind"])
            values = record.values()
            for name, value in process["values"].items():
                if name in values:
                    expect((name, values[name]), (name, int(value)))


def check_files(directory):
    file = directory / "recording"
    lines = tvsistat("--write", file, "-j", "-k", "monitor,brox,vok", brox, "0.05", "6").splitlines()
    kinds = tvsi.MONITOR | tvsi.BROX | tvsi.VOK
    with tvsi.open(file) as recording:
        expect((recording.cache.location, recording.cache.monitor), (location, int(monitor_pid)))
        check_against(lines, recording.samples(kinds))
        expect([event.kind for event in recording.events], ["attached"])
    with tvsi.open(os.fspath(file), cache=location) as recording:
        first, *rest = [sample.records for sample in recording.samples(tvsi.VOK)]
        counts = [records[0].pageLocateCount for records in (first, *rest)]
        expect((len(rest), counts == sorted(counts), counts[0] < counts[-1]), (5, True, True))
        expect(first.column("sessionId")[0], first[0].sessionId)
    middle = datetime.datetime.fromisoformat(json.loads(lines[3])["time"])
    with tvsi.open(file, start=middle, brox=brox) as recording:
        expect(len(list(recording)), 3)
        expect(list(recording), [])
    with tvsi.open(file) as recording:
        next(iter(recording))
    expect((list(recording), children()), ([], []))
    expect(refused(tvsi.RecordingError, tvsi.open, directory / "no"), f"{directory}/no cannot be read: No such file or directory")
    sentence = refused(tvsi.RecordingError, tvsi.open, file, brox="nobody")
    expect(sentence, f"Brox nobody is not in the recording, which has cache {location}")
    refused(tvsi.DamagedRecordingError, tvsi.open, __file__)
    os.environ["TVSI_TVSISTAT"] = "/nowhere/tvsistat"
    sentence = refused(tvsi.RecordingError, tvsi.open, file)
    expect(sentence.startswith("/nowhere/tvsistat cannot be run: "), True)
    os.environ["TVSI_TVSISTAT"] = TVSISTAT
    content = bytearray(file.read_bytes())
    messages = content.index(b"TVRM", 4096) // 4096 * 4096
    content[messages + 150] ^= 1  # in the first block with samples
    file.write_bytes(content)
    refused(tvsi.DamagedRecordingError, lambda: list(tvsi.open(file)))
    expect(children(), [])


def check_streams(directory):
    file = directory / "streamed"
    tvsistat("--write", file, "-q", brox, "0.05", "4")
    whole = tvsistat("-R", file, "--export", "stream")
    with io.BytesIO(whole) as stream, tvsi.open(stream) as recording:
        check_against(tvsistat("-R", file, "-j").splitlines(), recording)
    refused(TypeError, tvsi.open, io.BytesIO(whole), brox=brox)

    def read(content):
        return [len(sample.records) for sample in tvsi.open(io.BytesIO(content))]

    for end in [*range(0, len(whole), 131), len(whole) - 24, len(whole) - 1]:  # an end has 24 bytes
        refused(tvsi.DamagedRecordingError, read, whole[:end])
    fewer = bytearray(whole)
    fewer[whole.index(b"TVSS") + 48] -= 1  # the number of records
    refused(tvsi.DamagedRecordingError, read, bytes(fewer))
    # A name that is shorter than the one before it in the same memory.
    shorter = bytearray(whole)
    name_at = shorter.index(b"Vok1", shorter.rindex(b"TVSS"))
    shorter[name_at - 13] = 3
    names = [sample.records[0].name for sample in tvsi.open(io.BytesIO(shorter)).samples(tvsi.VOK)]
    expect(names, ["Vok1", "Vok1", "Vok1", "Vok"])
    for at in range(0, len(whole), 23):
        damaged = bytearray(whole)
        damaged[at] ^= 0x55
        try:
            read(bytes(damaged))
        except tvsi.DamagedRecordingError:
            pass


with tempfile.TemporaryDirectory() as name:
    check_files(pathlib.Path(name))
    check_streams(pathlib.Path(name))
