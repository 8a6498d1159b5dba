#!/usr/bin/env python3
"""manual_html_test.py HTML_DIR PAGE...: the manual pages as HTML are valid, all of them are in the
index, and what they link to, file or place in it, exists."""

import html.parser
import pathlib
import subprocess
import sys

directory = pathlib.Path(sys.argv[1])
pages = {f"{pathlib.Path(page).name}.html" for page in sys.argv[2:]}


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.links, self.places = set(), {""}
        self.feed(path.read_text())

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        self.places.add(attributes.get("id", ""))
        self.links |= {attributes[name] for name in ("href", "src") if name in attributes}


read = {path.name: Page(path) for path in directory.glob("*.html")}
faults = [f"{name} is no page" for name in read.keys() - pages - {"index.html"}]
faults += [f"{name} isn't in the index" for name in pages - read["index.html"].links]
for name, page in read.items():
    for link in page.links:
        file, _, place = link.partition("#")
        target = read.get(file or name)
        foreign = link.startswith("https://manpages.debian.org/bookworm/")
        if file == "manual.css" or foreign and f"{link.rpartition('/')[2]}.html" not in pages:
            continue
        if not target or place not in target.places:
            faults.append(f"{name} leads to {link}")
    tidy = subprocess.run(["tidy", "-quiet", "-errors", directory / name], capture_output=True, text=True)
    faults += [f"{name}: {line}" for line in tidy.stderr.splitlines()]
if not (directory / "manual.css").exists():
    faults.append("there is no style sheet")
sys.exit("\n".join(sorted(faults)) or None)
