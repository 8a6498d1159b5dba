#!/usr/bin/env python3
"""manual_functions_test.py SOURCE_DIR: tvsi(3) has the functions of tvsi.h with their types and
arguments, in their order, says something of each, and has the statuses of tvsierr.h by number.
"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
header = re.sub(r"/\*.*?\*/", "", (root / "include/tvsi.h").read_text(), flags=re.S)
page = (root / "man/tvsi.3").read_text()
synopsis, _, description = page.partition(".Sh DESCRIPTION")


def spaced(text):
    return re.sub(r"\s+", " ", text.replace("*", " * ")).strip()


declared = [
    (spaced(kind), name, [spaced(argument) for argument in arguments.split(",")])
    for kind, name, arguments in re.findall(r"^(\w+) (Tvsi\w+)\((.*?)\);", header, re.M | re.S)
]
shown = [
    (spaced(kind), name, [spaced(argument) for argument in re.findall(r'"([^"]+)"|(\S+)', arguments)
                          for argument in argument if argument])
    for kind, name, arguments in re.findall(r"^\.Ft (.*)\n\.Fn (\w+) (.*)$", synopsis, re.M)
]
statuses = re.findall(r"^ +(TVSI_\w+) = (\d+)", (root / "include/tvsierr.h").read_text(), re.M)
listed = [(name, number) for number, name in re.findall(r"^\.It (\d+) Dv (TVSI_\w+)$", page, re.M)]
told = set(re.findall(r"^\.Fn (\w+)", description, re.M))

faults = [f"the header has {d}, the page {s}" for d, s in zip(declared, shown) if d != s]
if len(declared) != len(shown) or not declared or len(re.findall(r"^\.F[no] ", synopsis, re.M)) != len(shown):
    faults.append(f"the header has {len(declared)} functions, the synopsis {len(shown)}")
faults += [f"nothing is said of {name}" for _, name, _ in declared if name not in told]
faults += [f"there is no function {name}" for name in told - {name for _, name, _ in declared}]
if statuses != listed or not statuses:
    faults.append(f"the header has the statuses {statuses}, the page {listed}")
if faults:
    sys.exit("\n".join(faults))
