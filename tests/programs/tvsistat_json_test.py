#!/usr/bin/env python3
"""tvsistat_json_test.py BIN_DIR SOURCE_DIR: each line of --json is as the schema in docs/ says.

A stand-in server runs in a temporary directory; it is stopped while tvsistat looks at it.
"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile

import jsonschema

BIN, SOURCE = map(pathlib.Path, sys.argv[1:])
SCHEMA = json.loads((SOURCE / "docs/tvsistat.schema.json").read_text())
VALIDATOR = jsonschema.Draft7Validator(SCHEMA)
FORMS = ["-1", "0.05 3", "-A 0.05 2", "--delta -z 0.05 2", "-k vok -f sessionStats,commitCount -1", "-N 1 -S pid -1"]


def lines_of(text):
    lines = [json.loads(line) for line in text.splitlines()]
    assert lines, "nothing was printed"
    for line in lines:
        VALIDATOR.validate(line)
    return lines


def tvsistat(options, stream=None):
    command = [BIN / "tvsistat", "--json", *options.split()]
    return subprocess.run(command, input=stream, stdout=subprocess.PIPE, timeout=60, check=False).stdout.decode()


def refuses(line, **changes):
    """The schema would notice a wrong line."""
    return not VALIDATOR.is_valid({**line, **changes})


with tempfile.TemporaryDirectory() as directory:
    os.environ["TALVEX_GLOBAL_DIR"] = directory
    server = subprocess.Popen(
        [BIN / "tvxstandin", "--brox", "prod", "--dir", directory], stdout=subprocess.PIPE, text=True
    )
    try:
        assert server.stdout.readline().startswith("ready ")
        for form in FORMS:
            sample = lines_of(tvsistat(form))[-1]
            assert sample["event"] == "sample" and sample.get("processes", sample.get("kinds"))
        whole = lines_of(tvsistat("-1"))[0]
        assert {process["kind"] for process in whole["processes"]} >= {"monitor", "brox", "vok"}
        assert refuses(whole, version=2) and refuses(whole, extra=1) and refuses(whole, event="gone")
        assert refuses(whole, processes=[{**whole["processes"][0], "state": "DEAD"}])
        assert refuses(whole, processes=[{**whole["processes"][0], "values": {"commitCount": "many"}}])

        recorded = subprocess.run(
            [BIN / "tvsi-reader", "--brox=prod", "--interval=0", "--count=3"], stdout=subprocess.PIPE, check=True
        ).stdout
        read = lines_of(tvsistat("--read -", recorded))
        assert [line["event"] for line in read] == ["sample"] * 3 + ["ended"]
        assert read[0]["interval"] is None and read[1]["interval"] > 0

        watch = subprocess.Popen([BIN / "tvsistat", "-j", "prod", "0.05"], stdout=subprocess.PIPE, text=True)
        output = watch.stdout.readline()
        server.send_signal(signal.SIGTERM)
        output += watch.communicate(timeout=60)[0]
        assert lines_of(output)[-1]["event"] == "gone" and watch.returncode == 7
    finally:
        server.terminate()
        server.wait(30)
