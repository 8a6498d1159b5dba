#!/usr/bin/env python3
"""debian_files_test.py SOURCE_DIR: the files in debian/ agree with the project's version, that of
the server, the exported functions, and the packages that a build needs, whose notices are there."""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
faults = []


def read(path):
    return (root / path).read_text()


def expect(what, wanted, found):
    if wanted != found:
        faults.append(f"{what}: {found}, not {wanted}" if isinstance(wanted, str) else
                      f"{what}: {sorted(wanted ^ found)}")


release, interface = (
    re.search(rf'^#define TVSI_{name} "([\d.]+)"$', read("include/tvsi.h"), re.MULTILINE)[1]
    for name in ("RELEASE", "INTERFACE_VERSION")
)
expect("debian/changelog", release, re.match(r"tvsi \(([\d.]+)-\d+\)", read("debian/changelog"))[1])

control = read("debian/control")
library = f"libtvsi-{interface}-64"
names = {name for name in re.findall(r"\blibtvsi-\d[^\s,]*", control)}
expect("the library's package in debian/control", {library}, names)

node = f"TALVEX_{interface}"
functions = set(re.findall(r"\b(Tvsi\w+);", read("src/tvsi.map")))
symbols = read(f"debian/{library}.symbols").splitlines()
expect("debian/*.symbols", f"{library}.so {library} #MINVER#", symbols[0])
found = {line.split()[0] for line in symbols[2:]}
expect("debian/*.symbols", {f"{name}@{node}" for name in functions | {node}}, found)

tables = read("scripts/lib.sh")
needed, more = (re.search(rf'\[{key}\]="([^"]*)"', tables)[1].split() for key in ("build", "package"))
libraries = {name for name in needed if name.endswith("-dev")} - {"libc6-dev"}
paragraph = control.partition("\nPackage:")[0]
depends = re.findall(r"^ ([\w.+-]+)", paragraph.partition("Build-Depends:")[2], re.MULTILINE)
virtual = {"debhelper-compat": "debhelper", "dh-sequence-python3": "dh-python"}
depends = {virtual.get(name, name) for name in depends}
expect("build dependencies missing", set(), libraries - depends)
expect("scripts/package.sh doesn't install", set(), {"build-essential", *depends} - {*needed, *more})
notices = set(re.findall(r"`([\w.+-]+-dev)`", read("docs/third-party.md")))
expect("docs/third-party.md lacks", set(), libraries - notices)
sys.exit("\n".join(faults) or None)
