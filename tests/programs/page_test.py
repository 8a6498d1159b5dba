#!/usr/bin/env python3
"""page_test.py PROGRAMS_DIR SOURCE_DIR: what tvsi-exporter --web-page says over HTTP, to those who may ask."""

import base64
import gzip
import hashlib
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import time
import unittest

source = pathlib.Path(sys.argv.pop(2))

from exporter_test import Case, programs, until  # noqa: E402 (takes its own argument)

POLICY = ("default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
          "base-uri 'none'; frame-ancestors 'none'")
CACHE = "cache=demo~1f2e"
FIELDS = "pageLocateCount,rdbfDiskReads"


class PageCase(Case):
    def api(self, exporter, path):
        head, body = exporter.get(f"/api/{path}", "Accept-Encoding: gzip")
        self.assertTrue(head.startswith("HTTP/1.1 20"), (path, head, body))
        return json.loads(gzip.decompress(body) if "Content-Encoding: gzip" in head else body)

    def live(self, exporter, path=f"sample?{CACHE}&fields={FIELDS}"):
        """The first answer with rates."""
        def answer():
            caches = self.api(exporter, "caches")["caches"]
            body = caches and self.api(exporter, path)
            return body and body["seconds"] and body["cache"]["state"] == "live" and body
        return until(answer)

    def truth(self, *options):
        line = subprocess.run([programs / "tvsistat", "-j", "-1", *options, "demo"], check=True, capture_output=True, timeout=50,
                              env=os.environ | {"TALVEX_GLOBAL_DIR": self.directory}).stdout
        return json.loads(line)

    def freeze(self):
        """What the server's processes have, which stand still from now on."""
        pids = {process["pid"] for process in self.truth()["processes"]}
        for pid in pids:
            os.kill(pid, signal.SIGSTOP)
        self.addCleanup(lambda: [os.kill(pid, signal.SIGCONT) for pid in pids])
        return self.truth()["processes"]


class Http(PageCase):
    def test_files_are_whole_and_are_sent_once(self):
        exporter = self.export("--web-page")
        types = {"/": "text/html; charset=utf-8", "/page.css": "text/css; charset=utf-8",
                 "/page.js": "text/javascript; charset=utf-8", "/icon.svg": "image/svg+xml",
                 "/uplot.min.js": "text/javascript; charset=utf-8", "/uplot.min.css": "text/css; charset=utf-8"}
        for path, kind in types.items():
            head, body = exporter.get(path)
            for line in [f"Content-Type: {kind}", f"Content-Security-Policy: {POLICY}", "Cache-Control: no-cache",
                         "X-Content-Type-Options: nosniff", "Vary: Accept-Encoding"]:
                self.assertIn(f"\r\n{line}\r\n", head + "\r\n", path)
            self.assertNotIn("Access-Control", head)
            file = (source / "exporter/page" / (path[1:] or "index.html")).read_bytes()
            self.assertEqual(body, file)
            self.assertEqual(gzip.decompress(exporter.get(path, "Accept-Encoding: gzip")[1]), file)
            tag = re.search(r"\r\nETag: (.*)\r\n", head)[1]
            for known, status in [(tag, 304), (f'"x", {tag}', 304), ("*", 304), ('"x"', 200)]:
                head, body = exporter.get(path, f"If-None-Match: {known}")
                self.assertTrue(head.startswith(f"HTTP/1.1 {status} "), (known, head))
                self.assertEqual(body == b"", status == 304)
        page = exporter.get("/")[1].decode()
        self.assertNotRegex(page, r"<script(?![^>]* src=)|<style|\son\w+=|\sstyle=")
        self.assertTrue(exporter.get("/metrics")[0].startswith("HTTP/1.1 200"))

    def test_what_others_wrote_is_what_was_checked_in(self):
        folder = source / "exporter/page"
        subprocess.run(["sha256sum", "--quiet", "--strict", "-c", "uplot.sha256"], cwd=folder, check=True)
        page = (folder / "index.html").read_text()
        named = re.findall(r'(?:href|src)="(uplot[^"]*)"[^>]*?integrity="sha384-([^"]*)"', page)
        self.assertEqual(len(named), 2)
        for name, digest in named:
            self.assertEqual(base64.b64encode(hashlib.sha384((folder / name).read_bytes()).digest()).decode(), digest)
        version = re.search(r"uPlot (\d\S+),", (folder / "uplot.sha256").read_text())[1]
        self.assertIn(f"(v{version})", (folder / "uplot.min.js").read_text())
        self.assertRegex((source / "docs/third-party.md").read_text(), rf"uPlot {version}.*MIT")

    def test_only_names_that_are_allowed_are_served(self):
        self.serve()
        exporter = self.export("--web-page", "--host", "DB1.example.org", "--host", "[fd00::1]")
        self.live(exporter)
        for host, allowed in [("localhost", True), ("LocalHost:9964", True), ("127.0.0.1", True),
                              (f"127.0.0.1:{exporter.port}", True), ("db1.example.ORG:80", True), ("[FD00::1]:443", True),
                              ("evil.example", False), ("localhost.evil.example", False), ("db1.example.org.", False),
                              ("fd00::1", False), ("[localhost]", False), ("localhost:x", False), ("localhost:", True),
                              ("127.0.0.1@evil", False), ("", False), ("[fd00::1", False), ("[fd00::1]x", False)]:
            for path in ["/", "/page.js", "/api/caches", "/api/nothing", f"/api/sample?{CACHE}"]:
                answer = exporter.ask(f"GET {path} HTTP/1.0\r\nHost: {host}\r\n\r\n".encode()).decode()
                status = 404 if path.endswith("nothing") else 200
                self.assertRegex(answer, rf"^HTTP/1.[01] {status if allowed else 421} ", (host, path))
                self.assertIn(POLICY, answer)
                self.assertTrue(allowed or "demo" not in answer)
            self.assertIn("tvsi_up", exporter.ask(f"GET /metrics HTTP/1.0\r\nHost: {host}\r\n\r\n".encode()).decode())

    def test_what_is_wrong_is_told(self):
        self.serve()
        exporter = self.export("--web-page")
        self.live(exporter)
        for path, words in [
            ("sample", "cache: there is none"), ("sample?cache=x", "cache: there is none"),
            (f"sample?{CACHE}&fields=nonsense", "'nonsense' is unknown"), (f"sample?{CACHE}&fields=a%0a", r"'a\\x0a'"),
            (f"sample?{CACHE}&fields={'x' * 65}", "too long"), (f"sample?{CACHE}&fields=sessionStats", r"sessionStats\[0\]"),
            (f"sample?{CACHE}&fields={','.join(['rdbfDiskReads'] * 17)}", "more than 16"),
            (f"sample?{CACHE}&fields=,", "'' is unknown"), (f"process?{CACHE}", "no process"),
            (f"process?{CACHE}&process=vok.1.2", "no process"), (f"process?{CACHE}&process=vok.1.2.-1", "no process"),
            (f"process?{CACHE}&process=none.1.2.0", "no process"), (f"past?{CACHE}&fields=rdbfDiskReads", "no recording"),
        ]:
            head, body = exporter.get(f"/api/{path}")
            self.assertTrue(head.startswith("HTTP/1.1 400 "), (path, head))
            self.assertRegex(body.decode(), words)
        self.assertIsNone(self.api(exporter, f"process?{CACHE}&process=vok.1.2.0")["process"])
        for options, words in [(["--host", "a"], "--host is for"), (["--recording", "x"], "--recording is for"),
                               (["--web-page", "--recording", ""], "the path is empty"),
                               (["--web-page", "--host", "a:80"], "without a port"),
                               (["--web-page", "--recording", "/nonexistent"], "/nonexistent")]:
            ended = subprocess.run([programs / "tvsi-exporter", "--listen", "127.0.0.1:9", *options], capture_output=True,
                                   text=True, timeout=50)
            self.assertIn(words, ended.stderr)
            self.assertGreater(ended.returncode, 0)

    def test_values_are_those_of_the_server(self):
        self.serve("demo", "--sessions", "6")
        exporter = self.export("--web-page", "--interval", "0.2")
        first = self.live(exporter)
        seen = {first["time"]: first}

        def follows():
            """A sample and the one before it."""
            body = self.api(exporter, f"sample?{CACHE}&fields={FIELDS},hitPercent")
            seen[body["time"]] = body
            return next((seen[time] for time in seen if abs(body["time"] - time - body["seconds"] * 1000) < 2), None), body

        before, after = until(lambda: follows()[0] and follows()) or (None, None)
        while before is None:
            before, after = follows()
        self.assertEqual(after["processes"]["rates"][2], None, "a derived figure has none")
        for value, last, rate in zip(after["processes"]["values"][1], before["processes"]["values"][1],
                                     after["processes"]["rates"][1], strict=True):
            self.assertAlmostEqual((value - last) / after["seconds"], rate, delta=0.001)
        self.assertAlmostEqual(sum(after["processes"]["rates"][1]), sum(after["kinds"]["rates"][1]), delta=0.1)

        truth = self.freeze()
        self.assertTrue(until(lambda: self.api(exporter, f"sample?{CACHE}&fields={FIELDS}")["processes"]["values"] == [
            [process["values"].get(name) for process in truth] for name in FIELDS.split(",")]))
        shown = self.api(exporter, f"sample?{CACHE}")
        kinds = [shown["kinds"]["kind"][place] for place in shown["processes"]["kind"]]
        for name, column in [("kind", kinds), *shown["processes"].items()]:
            if name in ("pid", "session", "name", "kind") and column is not shown["processes"]["kind"]:
                self.assertEqual(column, [process[name] for process in truth])
        catalogue = self.api(exporter, "catalogue")
        for process in truth:
            address = f"{process['kind']}.{process['pid']}.{process['session']}.0"
            found = self.api(exporter, f"process?{CACHE}&process={address}")["process"]
            kind, = (kind for kind in catalogue["kinds"] if kind["name"] == process["kind"])
            names = [catalogue["fields"][index]["name"] for index in kind["fields"]]
            values = dict(zip(names, found["values"], strict=True))
            ages = {name for name in names if name.startswith("age") or "Percent" in name}
            self.assertEqual({name: values[name] for name in process["values"] if name not in ages},
                             {name: value for name, value in process["values"].items() if name not in ages})

    def test_an_answer_is_sent_once(self):
        self.serve()
        exporter = self.export("--web-page", "--interval", "50")
        path = f"/api/sample?{CACHE}&fields={FIELDS}"
        self.assertTrue(until(lambda: self.api(exporter, "caches")["caches"] and exporter.get(path)[0].startswith(
            "HTTP/1.1 200") and self.api(exporter, path[5:])["time"]))
        head, body = exporter.get(path)
        self.assertIn("Cache-Control: no-store", head)
        tag = re.search(r"\r\nETag: (.*)\r\n", head)[1]
        head, body = exporter.get(path, f"If-None-Match: {tag}")
        self.assertTrue(head.startswith("HTTP/1.1 304 "), head)
        self.assertRegex(head, r"\r\nSample-Age-Ms: \d+\r\n")

    def test_a_thousand_processes(self):
        self.serve("demo", "--sessions", "398", "--rate", "2")
        exporter = self.export("--web-page", "--interval", "2")
        body = self.live(exporter)
        self.assertGreaterEqual(body["processes"]["count"], 1000)
        path = f"/api/sample?{CACHE}&fields={FIELDS}&brief=1"
        head, zipped = exporter.get(path, "Accept-Encoding: gzip")
        self.assertEqual(json.loads(gzip.decompress(zipped))["processes"]["values"], [None, None])
        print(f"{body['processes']['count']} processes, 2 fields: {len(zipped)} bytes")
        self.assertLess(len(zipped), 14000)

    def test_a_recording_that_is_damaged_is_told(self):
        self.serve()
        whole = pathlib.Path(self.directory, "recording")
        for _ in range(3):
            subprocess.run([programs / "tvsistat", "--write", whole, "-q", "demo", "0.05", "3"], check=True, capture_output=True,
                           env=os.environ | {"TALVEX_GLOBAL_DIR": self.directory})
        content = whole.read_bytes()
        blocks = [at for at in range(0, len(content), 4096) if content[at + 12:at + 16] == b"TVRM"]

        def changed(at):
            return content[:at] + bytes([content[at] ^ 1]) + content[at + 1:]

        counts = {}
        for name, bytes_, words in [("whole", content, None), ("flipped", changed(blocks[1] + 200), "flipped is damaged: "),
                                    ("cut", content[:blocks[2] + 100], "cut is cut off or damaged"), ("gone", None, "gone")]:
            file = whole.with_name(name)
            file.write_bytes(content if bytes_ is None else bytes_)
            exporter = self.export("--web-page", "--recording", file)
            self.live(exporter)
            if bytes_ is None:
                file.unlink()
            path = f"past?{CACHE}&fields={FIELDS}&seconds=3600"
            past = until(lambda: (found := self.api(exporter, path)).get("times") is not None and found)
            self.assertRegex(past["problem"] or "none", words or "^none$")
            counts[name] = len(past["times"])
            for line in past["values"][0]:  # what is shown is true: counters that grow
                self.assertEqual(line, sorted(line))
            exporter.end()
        self.assertEqual(counts["gone"], 0)

    def test_a_recording_is_the_past(self):
        self.serve()
        recording = os.path.join(self.directory, "recording")
        subprocess.run([programs / "tvsistat", "--write", recording, "demo", "0.1", "15"], check=True, capture_output=True,
                       env=os.environ | {"TALVEX_GLOBAL_DIR": self.directory})
        exporter = self.export("--web-page", "--recording", recording)
        self.live(exporter)
        sample = self.api(exporter, f"sample?{CACHE}&fields={FIELDS}")
        pid = sample["processes"]["pid"][-1]
        kind = sample["kinds"]["kind"][sample["processes"]["kind"][-1]]
        for more, kinds in [("", sample["kinds"]["kind"]),
                            (f"&process={kind}.{pid}.{sample['processes']['session'][-1]}.0", [kind])]:
            path = f"past?{CACHE}&fields={FIELDS}&seconds=60{more}"
            past = until(lambda: (found := self.api(exporter, path)).get("times") is not None and found)
            self.assertEqual(past["kinds"], kinds)
            self.assertGreaterEqual(len(past["times"]), 5)
            self.assertLessEqual(len(past["times"]), 15)
            self.assertLess(past["times"][-1], sample["time"])
            for times, line, rates in zip([past["times"]] * 2, past["values"], past["rates"], strict=True):
                for values, own in zip(line, rates, strict=True):
                    self.assertEqual(values, sorted(values))
                    self.assertIsNone(own[0])
                    self.assertAlmostEqual((values[-1] - values[-2]) / (times[-1] - times[-2]) * 1000, own[-1],
                                           delta=own[-1] / 20 + 1)
        for seconds in ["", "59", "1e3", "99999999999999999999", "2678401"]:
            self.assertIn(b"seconds: ", exporter.get(f"/api/past?{CACHE}&seconds={seconds}")[1])
        began = time.monotonic()
        self.assertEqual(exporter.end(), 0)
        self.assertLess(time.monotonic() - began, 20)


if __name__ == "__main__":
    unittest.main()
