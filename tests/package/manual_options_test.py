#!/usr/bin/env python3
"""manual_options_test.py SOURCE_DIR PROGRAM...: each program's manual page has the options, with or
without an argument, that its --help has, and no others; its exit statuses are those of
samples/exitstatus.cpp, by number, and for tvsistat all of them, by their texts.
"""

import pathlib
import re
import subprocess
import sys

root, programs = pathlib.Path(sys.argv[1]), [pathlib.Path(name) for name in sys.argv[2:]]
source = (root / "samples/exitstatus.cpp").read_text()
numbers = re.findall(r"(\w+) = (\d+)", (root / "samples/exitstatus.h").read_text())
texts = dict(re.findall(r'ExitStatus::(\w+),\s*"([^"]*)"', source))
statuses = {int(number): texts[name] for name, number in numbers}


def options_of_help(text):
    """{(letter, name, has an argument)}; what CLI11 prints has TYPE=DEFAULT for an argument."""
    lines = re.findall(r"^ {2,6}(?:-(\w), ?)?--([a-z-]+)(.*)", text, re.M)
    return {(letter, name, bool(re.match(r" [^ ]", rest))) for letter, name, rest in lines}


def options_of_page(page):
    """The same of lines as: .It Fl k Ar kind , Fl Fl kind Ns = Ns Ar kind"""
    items = re.findall(r"^\.It (?:Fl (\w)\b.* , )?Fl Fl ([a-z-]+)(.*)", page, re.M)
    return {(letter, name, " Ar " in rest) for letter, name, rest in items}


faults = []
for program in programs:
    page = (root / "man" / f"{program.name}.1").read_text()
    usage = subprocess.run([program, "--help"], capture_output=True, text=True, check=True).stdout
    shown, told = options_of_help(usage), options_of_page(page)
    if len(shown) < 5 or len(told) != len(re.findall(r"^\.It Fl", page, re.M)):
        faults.append(f"{program.name}: options or their items weren't recognised")
    faults += [f"{program.name}: {option}" for option in sorted(shown ^ told)]
    section = page.split(".Sh EXIT STATUS")[1].split(".El")[0]
    found = {int(n): text for n, text in re.findall(r"^\.It (\d+)\n([^.]*)\.$", section, re.M)}
    if program.name == "tvsistat":
        wanted = {n: text[0].upper() + text[1:] for n, text in statuses.items()}
        faults += [f"tvsistat: exit status {n}" for n in wanted if wanted[n] != found.get(n)]
    faults += [f"{program.name}: exit status {n}" for n in found.keys() - statuses.keys()]
    brief = usage.partition("Exit status: ")[2]  # that of tvsi-reader is one sentence
    if brief and set(map(int, re.findall(r"\b\d+", brief))) != set(found):
        faults.append(f"{program.name}: other exit statuses than in its help")
if faults:
    sys.exit("of a page and of --help only one has:\n  " + "\n  ".join(faults))
