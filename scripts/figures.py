#!/usr/bin/env python3
"""Makes the tables of docs/performance.md and the picture docs/performance.svg from the figures in
bench/figures. With --check: changes nothing, and fails when they are not what it would make."""

import csv
import html
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FIGURES = ROOT / "bench/figures"
PAGE = ROOT / "docs/performance.md"
PICTURE = ROOT / "docs/performance.svg"
BEGIN = "<!-- made by scripts/figures.py -->"
END = "<!-- end of what scripts/figures.py made -->"
SIZES = ("50", "1000", "10000")
PROGRAM_SIZES = ("200", "1000")
SESSIONS = ("10", "200", "1000")

# The rows of the page, in its order; the others stay in bench/figures.
BY_SIZE = (
    "miss by process id",
    "miss by process id, above the lock pair",
    "miss by session id",
    "miss by session id, against the kind first",
    "miss by page server session id",
    "miss by name",
    "count by kind range, no match",
    "count by expression, no match",
    "mask query, copy of every entry",
    "mask query, against the same copies",
    "tvsi.hpp: every record, and a sum over them",
    "Python: query",
    "Python: query and five fields as lists",
    "Python: query and five fields as rows",
    "Python: query and five attributes of each",
    "Python: query and three columns by NumPy",
    "attach",
    "first miss by process id after an attach",
    "a process's own memory after a first miss",
    "a sample encoded and written to a pipe",
    "the states of all processes, once more",
    "start, user and state of all processes",
)
OF_PROGRAMS = (
    "one report, time that passes",
    "one report, processor time",
    "a further report, processor time",
    "a value as JSON, processor time",
    *(
        f"{what} three a second, {measure}"
        for what in ("a sample,", "a report,", "JSON,")
        for measure in ("processor time", "page faults", "context switches")
    ),
)
OF_THE_EXPORTER = (
    "a series of a kind rendered",
    "the series of all kinds rendered",
    "a sample summed up",
    "a scrape, compressed, for each series",
    "a scrape, uncompressed, for each series",
)
OF_ANY_SIZE = (
    "TvsiCacheIsAlive",
    "TvsiFetchMaxProcessesInCache",
    "TvsiStatsForBrox",
    "TvsiStatsForShrPcMon",
    "tvsi.hpp: the Brox",
    "dlopen of the library",
    "`tvsistat -V`, processor time",
    "tvsi-reader's memory after 100,000 samples",
    "tvsistat's memory after 100,000 samples",
    "a series of a process rendered",
    "tvsi-exporter's memory, 100,000 series, at its peak",
    "tvsi-exporter's memory, 100,000 series, between scrapes",
    "tvsi-exporter's memory, 100,000 series, at its peak, uncompressed",
)

SCALES = {
    "ns": ((1e9, "s"), (1e6, "ms"), (1e3, "µs"), (1, "ns")),
    "B": ((1e9, "GB"), (1e6, "MB"), (1e3, "kB"), (1, "B")),
    "1": ((1, ""),),
}


def three_digits(value):
    digits = 3 if value < 0.0995 else 2 if value < 9.995 else 1 if value < 99.95 else 0
    return f"{value:.{digits}f}"


def quantity(value, unit):
    factor, name = next((s for s in SCALES[unit] if value >= s[0]), SCALES[unit][-1])
    return f"{three_digits(value / factor)} {name}".rstrip()


class Row:
    """One line of a file in bench/figures."""

    def __init__(self, fields):
        self.subject = fields["subject"]
        self.entries = fields["entries"]
        self.limit = fields["compared with"]
        self.is_count = fields["unit"] == "1"
        self.takes = quantity(float(fields["value"]), fields["unit"])
        self.ratio = float(fields["ratio"])
        self.is_excess = fields["target kind"] == "excess"
        self.measured = float(fields["excess"]) if self.is_excess else self.ratio
        self.target = float(fields["target"]) if fields["target"] else None
        self.is_missed = self.target is not None and self.measured > self.target

    def figure(self, value):
        return f"+{value:.0f} ns" if self.is_excess else three_digits(value)

    def cell(self):
        """What it takes, how often its limit, and what that must not exceed."""
        measured = self.figure(self.measured)
        if self.is_count:
            return self.takes
        if self.target is None:
            return f"{self.takes} · {measured}"
        measured = f"**{measured}**" if self.is_missed else measured
        return f"{self.takes} · {measured} (≤ {self.figure(self.target)})"


def read():
    """All rows by subject and entries, and each remark on where they come from with its files."""
    rows, places = {}, {}
    for file in sorted(FIGURES.glob("*.csv")):
        lines = file.read_text().splitlines()
        for remark in (line[2:] for line in lines if line.startswith("# ")):
            places.setdefault(remark, []).append(f"`{file.name}`")
        for fields in csv.DictReader(line for line in lines if not line.startswith("#")):
            row = Row(fields)
            rows[row.subject, row.entries] = row
    return rows, places


def find(rows, subject, entries):
    found = [rows[subject, size] for size in entries if (subject, size) in rows]
    if not found:
        sys.exit(f"bench/figures has no row '{subject}'")
    return found


def table(rows, subjects, sizes):
    text = [f"| Operation | Compared with | {' | '.join(f'{int(size):,}' for size in sizes)} |"]
    text.append(f"|---|---|{'--:|' * len(sizes)}")
    for subject in subjects:
        limit = find(rows, subject, sizes)[0].limit
        cells = [rows[key].cell() if (key := (subject, size)) in rows else "" for size in sizes]
        text.append(f"| {subject} | {limit} | {' | '.join(cells)} |")
    return text


def tables(rows, places):
    text = [BEGIN, "", *(f"- {', '.join(files)}: {remark}" for remark, files in places.items()), ""]
    text += table(rows, BY_SIZE, SIZES)
    text += ["", *table(rows, OF_PROGRAMS, PROGRAM_SIZES)]
    text += ["", "By sessions of the server:", "", *table(rows, OF_THE_EXPORTER, SESSIONS)]
    text += ["", "| Operation | Compared with | Whatever the size |", "|---|---|--:|"]
    for subject in OF_ANY_SIZE:
        row = find(rows, subject, ("",))[0]
        text.append(f"| {subject} | {row.limit} | {row.cell()} |")
    return "\n".join([*text, "", END])


def picture(rows):
    """A bar for each row that has a target: what was measured, as a share of the target."""
    bars = [row for row in rows.values() if row.target is not None]
    left, scale, height, top = 380, 280, 22, 60
    width, bottom = left + 2 * scale + 200, top + len(bars) * height + 10
    target = left + scale
    text = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {bottom + 30}"'
        ' font-family="sans-serif" font-size="13" role="img">',
        "<title>Measured ratios, each as a share of its target</title>",
        f'<rect width="{width}" height="{bottom + 30}" fill="#ffffff"/>',
        '<text x="10" y="24" font-size="15">Measured, as a share of the target '
        "(shorter is better)</text>",
    ]
    for i, row in enumerate(bars):
        y = top + i * height
        share = row.measured / row.target
        name = row.subject + (f", {int(row.entries):,} entries" if row.entries else "")
        note = f"{row.figure(row.measured)}, at most {row.figure(row.target)}"
        end = left + min(share, 2) * scale
        colour, weight, verdict = (
            ("#c2410c", "bold", ": missed") if row.is_missed else ("#2b6ca3", "normal", "")
        )
        text += [
            f'<text x="{left - 8}" y="{y + 14}" text-anchor="end">{html.escape(name)}</text>',
            f'<rect x="{left}" y="{y + 2}" width="{end - left:.0f}" height="15" fill="{colour}"/>',
            f'<text x="{max(end, target) + 8:.0f}" y="{y + 14}" font-weight="{weight}">'
            f"{note}{verdict}</text>",
        ]
    text += [
        f'<line x1="{target}" y1="{top - 8}" x2="{target}" y2="{bottom}" stroke="#333333"'
        ' stroke-width="1.5" stroke-dasharray="4 3"/>',
        f'<text x="{target}" y="{top - 14}" text-anchor="middle">target</text>',
        f'<text x="{left}" y="{bottom + 18}">0</text>',
        f'<text x="{target}" y="{bottom + 18}" text-anchor="middle">1</text>',
        "</svg>",
    ]
    return "\n".join(text) + "\n"


def main():
    rows, places = read()
    page = PAGE.read_text()
    before, rest = page.split(BEGIN)
    after = rest.split(END)[1]
    made = {PAGE: before + tables(rows, places) + after, PICTURE: picture(rows)}
    for path, text in made.items():
        if sys.argv[1:] != ["--check"]:
            path.write_text(text)
        elif not path.exists() or path.read_text() != text:
            sys.exit(f"{path.relative_to(ROOT)} differs from bench/figures: run scripts/figures.py")


main()
