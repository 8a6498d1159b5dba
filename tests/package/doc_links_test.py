#!/usr/bin/env python3
"""doc_links_test.py SOURCE_DIR: what the Markdown pages point at exists.

Every relative link leads to a file, and to a heading of it where it names one. Every path of a
folder, file or script, and every file name, between backticks that looks like one of the repository
is one; a star stands for anything. Every page can be reached from the README. Every name and text
of docs/frozen.md is in the library's source.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1]).resolve()
IGNORED = {".git", "build"}
SUFFIXES = r"c|cpp|h|hpp|py|sh|md|csv|svg|map|cmake"
FEWEST_LINKS = 30


def files():
    for path in ROOT.iterdir():
        if path.name not in IGNORED:
            yield from path.rglob("*") if path.is_dir() else [path]


def anchors(page):
    titles = re.findall(r"^#+ (.*)$", page.read_text(), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-") for title in titles}


def main():
    paths = sorted(files())
    names = {path.name for path in paths}
    folders = {path.name for path in ROOT.iterdir() if path.is_dir()} - IGNORED
    pages = [path for path in paths if path.suffix == ".md"]
    faults, leads, count = [], {}, 0
    for page in pages:
        text = re.sub(r"```.*?```", "", page.read_text(), flags=re.DOTALL)
        where = page.relative_to(ROOT)
        for target in re.findall(r"\]\(([^)\s]+)\)", text):
            if re.match("[a-z]+:", target):
                continue
            count += 1
            name, _, anchor = target.partition("#")
            path = (page.parent / name).resolve() if name else page
            leads.setdefault(page, set()).add(path)
            if not path.exists():
                faults.append(f"{where}: {target} leads nowhere")
            elif anchor and anchor not in anchors(path):
                faults.append(f"{where}: {target} names no heading")
        for span in re.findall(r"`([^`\n]+)`", text):
            if span.split("/")[0] in folders and re.fullmatch(
                rf"scripts/[\w.-]+|[\w.*/-]+(/|\.({SUFFIXES}))", span
            ):
                exists = any(ROOT.glob(span.rstrip("/")))
            elif re.fullmatch(rf"[\w-]+\.({SUFFIXES})", span):
                exists = span in names
            else:
                continue
            if not exists:
                faults.append(f"{where}: there is no `{span}`")
    reached, next_pages = set(), {ROOT / "README.md"}
    while next_pages:
        reached |= next_pages
        next_pages = set().union(*(leads.get(page, set()) for page in next_pages)) - reached
    faults += [
        f"{page.relative_to(ROOT)}: no page that the README leads to leads there"
        for page in pages
        if page not in reached
    ]
    sources = [path for path in paths if path.relative_to(ROOT).parts[0] in ("include", "src")]
    source = "\n".join(path.read_text() for path in sources)
    for span in re.findall(r"`([^`\n]+)`", (ROOT / "docs/frozen.md").read_text()):
        if "/" not in span and span.strip("(). ").replace("...", "") not in source:
            faults.append(f"docs/frozen.md: `{span}` is not in the source")
    if count < FEWEST_LINKS:
        faults.append(f"only {count} links were found: the search has stopped working")
    if faults:
        sys.exit("\n".join(faults))
    print(f"{len(pages)} pages with {count} links")


main()
