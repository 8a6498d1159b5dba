#!/usr/bin/python3
"""What the Python package costs, beside the raw call in the same run: batches alternate, medians of
the pairs count, as in the other benchmarks. Run as BUILD/bin/python_bench [--quick] [--csv=FILE]."""

import ctypes
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import time

BUILD = pathlib.Path(sys.argv[0]).absolute().parent.parent
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "python"))
os.environ["TVSI_LIBRARY"] = str(next((BUILD / "lib").glob("libtvsi-*-64.so")))

import tvsi  # noqa: E402

FIELDS = "processId", "sessionId", "commitCount", "pageLocateCount", "timeLastCommit"
QUICK = "--quick" in sys.argv
RECORDS = 50 if QUICK else 1000


def raw_call():
    """The mask query by ctypes alone, with the declarations of the package and memory of its own."""
    function = ctypes.CDLL(os.environ["TVSI_LIBRARY"]).TvsiAllStatsForMask
    function.argtypes = [ctypes.c_uint, ctypes.c_void_p, ctypes.POINTER(ctypes.c_int)]
    memory, count = ctypes.create_string_buffer(1800 * (RECORDS + 1)), ctypes.c_int()

    def call():
        count.value = RECORDS + 1
        if function(8, memory, ctypes.byref(count)) or count.value != RECORDS:
            sys.exit("the query failed")

    return call


def nanoseconds(function):
    start = time.thread_time_ns()
    function()
    return time.thread_time_ns() - start


def measure(cache):
    """The rows: subject, what it is compared with, the two functions, the target of the excess."""
    voks = cache.query(tvsi.VOK)
    if len(voks) != RECORDS:
        sys.exit(f"the cache has {len(voks)} Voks")
    del voks

    def query():
        return cache.query(tvsi.VOK)

    def attributes():
        return [(v.processId, v.sessionId, v.commitCount, v.pageLocateCount, v.timeLastCommit)
                for v in cache.query(tvsi.VOK)]

    def columns():
        records = cache.query(tvsi.VOK)
        return [records.column(name) for name in FIELDS]

    def arrays():
        array = cache.query(tvsi.VOK).array()
        return [array[name] for name in FIELDS[2:]]

    raw = raw_call()
    rows = [
        ("Python: query", "the call by ctypes", query, raw, 10_000),
        ("Python: query and five fields as lists", "the call by ctypes", columns, raw, 100_000),
        ("Python: query and five fields as rows", "the call by ctypes",
         lambda: cache.query(tvsi.VOK).rows(*FIELDS), raw, 100_000),
        ("Python: query and five attributes of each", "the call by ctypes", attributes, raw, None),
        ("Python: query and three columns by NumPy", "Python: query", arrays, query, 20_000),
    ]
    for subject, limit_name, function, limit, target in rows:
        pairs = [(nanoseconds(limit), nanoseconds(function)) for _ in range(3 if QUICK else 1001)][1:]
        takes = statistics.median(pair[1] for pair in pairs)
        limit_takes = statistics.median(pair[0] for pair in pairs)
        ratio = statistics.median(pair[1] / pair[0] for pair in pairs)
        excess = statistics.median(pair[1] - pair[0] for pair in pairs)
        print(f"{subject:52} {RECORDS:8} {takes / 1e3:7.1f} µs {limit_takes / 1e3:7.1f} µs {ratio:7.3f}"
              + (f" ≤ {target} ns above: {'met' if excess <= target else 'missed'} ({excess:.0f})"
                 if target else ""), flush=True)
        yield (f'"{subject}",{RECORDS},ns,{takes:.6g},"{limit_name}",{limit_takes:.6g},{ratio:.6g},'
               f"{excess:.6g}," + (f"excess,{target}" if target else ",") + "\n")


def main():
    with tempfile.TemporaryDirectory() as directory:
        server = subprocess.Popen(
            [BUILD / "bin/tvxstandin", "--brox", "bench", "--dir", directory, "--rate", "0.1",
             "--sessions", str(RECORDS), "--vok-threads", "0", "--page-servers", "0"],
            stdout=subprocess.PIPE, text=True)
        try:
            if not re.match("ready ", server.stdout.readline()):
                sys.exit("the server did not get ready")
            os.environ["TALVEX_GLOBAL_DIR"] = directory
            with tvsi.attach(brox="bench") as cache:
                rows = list(measure(cache))
        finally:
            server.terminate()
            server.wait()
    for option in sys.argv[1:]:
        if option.startswith("--csv="):
            with open(option[6:], "a", encoding="utf-8") as file:
                file.writelines(rows)


main()
