#!/usr/bin/env python3
"""hardening_test.py CONFIGURATION FILE...: the files are hardened, as far as one can see from
outside, and the debug information says so of each of their own compilation units.
"""

import pathlib
import re
import subprocess
import sys

OPTIONS = ["-fstack-protector-strong", "-fstack-clash-protection", "-fcf-protection=full"]


def readelf(*arguments):
    command = ["readelf", "--wide", *arguments]
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def faults(file, is_library, is_optimised):
    """What the file lacks."""
    dynamic, segments = readelf("--dynamic", file), readelf("--program-headers", file)
    imported = set(re.findall(r" UND (\w+)", readelf("--dyn-syms", file)))
    notes = re.search("x86 feature: (.*)", readelf("--notes", file))
    marks = set(notes[1].split(", ")) if notes else set()
    units = readelf("--debug-dump=info", "--dwarf-depth=1", file)
    producers = re.findall(r"DW_AT_producer.*: (GNU C.*)", units)
    folders = re.findall(r"DW_AT_comp_dir.*: (.*?)\s*$", units, re.M)
    stack = re.search(r"GNU_STACK .*? (R\S*) ", segments)
    wanted = {
        "position-independent": "(Shared object file)" in readelf("--file-header", file)
        if is_library
        else re.search(r"FLAGS_1.* PIE", dynamic),
        "read-only relocations": "GNU_RELRO" in segments,
        "binding at load time": re.search(r"FLAGS.* (BIND_NOW|NOW)", dynamic),
        "no text relocations": "TEXTREL" not in dynamic,
        "no search paths": not re.search("RPATH|RUNPATH", dynamic),
        "a stack without code": stack and stack[1] == "RW",
        "no segment to write and execute": not re.search(r" LOAD .* RWE ", segments),
        "canaries": "__stack_chk_fail" in imported,
        "checked calls": not is_optimised
        or any(re.fullmatch("__(?!stack).*_chk", name) for name in imported),
        "the mark of shadow stacks": "SHSTK" in marks,
        "the mark of checked branches": not is_library or "IBT" in marks,
        "debug information": len(producers) >= 5,
        "a folder that is the same everywhere": set(folders) == {"build"},
    }
    lacking = [what for what, holds in wanted.items() if not holds]
    return lacking + [
        f"{option} in a compilation unit"
        for option in OPTIONS
        if any(option not in producer.split() for producer in producers)
    ]


def main():
    configuration, *files = sys.argv[1:]
    found = [
        f"{pathlib.Path(file).name} lacks {fault}"
        for file in files
        for fault in faults(file, ".so" in file, configuration != "Debug")
    ]
    if found:
        sys.exit("\n".join(found))


main()
