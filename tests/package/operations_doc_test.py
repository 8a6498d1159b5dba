#!/usr/bin/env python3
"""operations_doc_test.py SOURCE_DIR: docs/operations.md has every text that the library may print.

A text is a string literal of src/*.cpp, joined with those next to it, that has a blank, a bracket
or a line feed, or names an environment variable. Each of its lines with three letters in a row has
to stand in the page, but for the blanks around it. So do the exit statuses of tvsistat. In turn,
what the page shows as a print format has to be such a line.
"""

import pathlib
import re
import sys

LITERAL = r'"(?:\\.|[^"\\\n])*"'
TOKEN = re.compile(
    rf"""//[^\n]* | /\*.*?\*/ | ^[ ]*\#include[^\n]* | '(?:\\.|[^'\\])+'
    | (?P<text>{LITERAL}(?:\s*{LITERAL})*)""",
    re.DOTALL | re.MULTILINE | re.VERBOSE,
)
ESCAPES = {r"\n": "\n", r"\"": '"', r"\\": "\\"}
FEWEST_TEXTS = 100


def texts_of(source):
    for token in TOKEN.finditer(source):
        if token["text"]:
            joined = "".join(literal[1:-1] for literal in re.findall(LITERAL, token["text"]))
            yield re.sub(r"\\.", lambda escape: ESCAPES.get(escape[0], escape[0]), joined)


def is_message(text):
    return re.search(r"[ (\n]|^TX_|^TALVEX", text)


def lines_of(text):
    return [line.strip() for line in text.split("\n") if re.search("[A-Za-z]{3}", line)]


def formats_in(page):
    spans = re.findall("`([^`]+)`", re.sub("```.*?```", "", page, flags=re.DOTALL))
    return [line for span in spans if "%" in span for line in lines_of(span)]


def main():
    root = pathlib.Path(sys.argv[1])
    page = (root / "docs/operations.md").read_text().replace(r"\|", "|")
    sources = [*sorted(root.glob("src/*.cpp")), root / "samples/exitstatus.cpp"]
    messages = [
        (source.name, text)
        for source in sources
        for text in filter(is_message, texts_of(source.read_text()))
    ]
    if len(messages) < FEWEST_TEXTS:
        sys.exit(f"only {len(messages)} texts were found: the search has stopped working")
    lines = [(name, line) for name, text in messages for line in lines_of(text)]
    printed = {line for _, line in lines}
    faults = [f"not in the page: {line} ({name})" for name, line in lines if line not in page]
    faults += [f"no longer printed: {line}" for line in formats_in(page) if line not in printed]
    if faults:
        sys.exit("docs/operations.md\n  " + "\n  ".join(faults))
    print(f"all {len(messages)} texts are in the page")


main()
