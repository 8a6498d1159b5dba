#!/usr/bin/env python3
"""exporter_load_test.py PROGRAMS_DIR [--long]: many scrapes while the server restarts, requests that no client would
make, clients that are slow, and readers that are killed, all at once with clients that are to notice nothing of it.

--long takes a few minutes: 1,000 scrapes and 20 restarts, 10,000 malformed requests.
"""

import contextlib
import gzip
import os
import pathlib
import random
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from exporting import Exporter, Server, until

programs = pathlib.Path(sys.argv.pop(1))
IS_LONG = "--long" in sys.argv and not sys.argv.remove("--long")
DEADLINE = 10 if IS_LONG else 60  # seconds: Prometheus gives up after 10, on a machine of its own
NAME, LABEL = r"[a-zA-Z_:][a-zA-Z0-9_:]*", r'[a-zA-Z_]\w*="(?:[^"\\\n]|\\[\\"n])*"'
SERIES = re.compile(rf"({NAME})(?:\{{{LABEL}(?:,{LABEL})*\}})?\Z", re.ASCII)
NUMBER = re.compile(r"-?\d+(?:\.\d+)?(?:e[+-]\d+)?\Z")


def fault_of(text, is_open):
    """What is wrong with a text of metrics, strictly; None when nothing is."""
    lines = text.split("\n")
    if lines.pop() != "" or (is_open and lines.pop() != "# EOF"):
        return "the text doesn't end as it should"
    begun, family, series = set(), None, set()
    for line in lines:
        words = line.split(" ", 3)
        if words[0] == "#":
            if words[1] == "HELP":
                if words[2] in begun:
                    return f"a family is there twice: {line}"
                begun.add(family := words[2])
                kind = None
            elif words[1:2] + words[2:3] == ["TYPE", family] and words[3] in ("counter", "gauge"):
                kind = words[3]
            elif not (is_open and words[1] == "UNIT" and family.endswith("_" + words[3])):
                return f"no comment is due: {line}"
            continue
        labelled, _, number = line.rpartition(" ")
        name = SERIES.match(labelled)
        wanted = f"{family}_total" if is_open and kind == "counter" else family
        if not name or name[1] != wanted or not kind or not NUMBER.match(number) or labelled in series:
            return f"no such series is due: {line}"
        series.add(labelled)
    return None if "tvsi_up" in begun and series else "the exporter's own series are missing"


class Client:
    """Scrapes over one connection, and over another one when the server has ended it, as Prometheus does."""

    def __init__(self, exporter, source, is_zipped, is_open):
        self.exporter, self.source, self.is_zipped, self.is_open = exporter, source, is_zipped, is_open
        self.connection, self.waited = None, 0
        accept = "application/openmetrics-text" if is_open else "text/plain"
        encoding = "gzip" if is_zipped else "identity"
        self.request = (f"GET /metrics HTTP/1.1\r\nHost: localhost\r\nAccept: {accept}\r\n"
                        f"Accept-Encoding: {encoding}\r\n\r\n").encode()

    def scrape(self):
        """The text; an answer that isn't whole fails."""
        began = time.monotonic()
        for _ in range(5):
            is_new = self.connection is None
            if is_new:
                self.connection = self.exporter.connect(self.source)
            try:
                self.connection.sendall(self.request)
                head, _, body = self.connection.recv(1 << 16).partition(b"\r\n\r\n")
            except ConnectionError:
                head = b""
            if head:
                break
            self.close()  # it was kept for longer than the server keeps it, or there is no room
            time.sleep(0.05 if is_new else 0)
        assert head.startswith(b"HTTP/1.1 200 "), head
        length = int(re.search(rb"Content-Length: (\d+)", head)[1])
        while len(body) < length:
            piece = self.connection.recv(1 << 18)
            assert piece, "an answer was cut off"
            body += piece
        assert len(body) == length
        self.waited = max(self.waited, time.monotonic() - began)
        return (gzip.decompress(body) if self.is_zipped else body).decode()

    def close(self):
        if self.connection:
            self.connection.close()
        self.connection = None


def sip_from(exporter, source, pause):
    """Takes an answer byte by byte until it is cut off, or the pause, which waits, says that it is over."""
    with socket.socket() as connection:
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
        connection.bind((source, 0))
        connection.connect(("127.0.0.1", exporter.port))
        connection.sendall(b"GET /metrics HTTP/1.1\r\nHost: a\r\n\r\n")
        while connection.recv(1) and not pause():
            pass


class Load(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.directory, self.faults, self.threads = holder.name, [], []
        self.over = threading.Event()
        self.addCleanup(self.stop)

    def serve(self, *options):
        server = Server(programs, self.directory, "demo", *options)
        self.addCleanup(server.kill)
        return server

    def export(self, *options):
        self.exporter = Exporter(programs, self.directory, "--brox", "demo", "--interval", "0.2", *options)
        self.addCleanup(self.exporter.errors.close)
        self.addCleanup(lambda: (self.exporter.process.kill(), self.exporter.process.wait()))
        self.addCleanup(self.stop)
        return self.exporter

    def readers(self):
        pid = self.exporter.process.pid
        return [int(word) for word in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.exporter.process.pid}/fd"))

    def until_up(self):
        self.assertTrue(until(lambda: b"tvsi_brox_commits_total" in self.exporter.get("/metrics")[1]))

    def start(self, body, *arguments):
        """Runs the body until it is over, again and again."""
        def run():
            try:
                while not self.over.is_set():
                    body(*arguments)
            except Exception as error:  # of whatever kind: the test tells it
                self.faults.append(repr(error))

        self.threads.append(threading.Thread(target=run))
        self.threads[-1].start()

    def stop(self):
        self.over.set()
        for thread in self.threads:
            thread.join()

    def end(self, servers=()):
        """Nothing has gone wrong, and nothing is left."""
        self.stop()
        self.assertEqual(self.faults[:3], [])
        readers = self.readers()
        began = time.monotonic()
        self.assertEqual(self.exporter.end(), 0)
        self.assertLess(time.monotonic() - began, 10)  # 1 second, on a machine of its own
        self.assertFalse([pid for pid in readers if os.path.exists(f"/proc/{pid}")])
        for server in servers:
            server.kill()

    def test_scrapes_while_the_server_restarts(self):
        scrapes, restarts = (1000, 20) if IS_LONG else (250, 4)
        server = self.serve()
        self.export("--per-process")
        self.until_up()
        clients = [Client(self.exporter, f"127.0.0.{1 + i % 8}", i % 3 != 0, i % 2 == 1) for i in range(64)]
        texts = []

        def scrape(client):
            text = client.scrape()
            if fault := fault_of(text, client.is_open):
                self.faults.append(fault)
            texts.append(text if "tvsi_brox_commits" in text and not client.is_open else "")
            time.sleep(0.2)

        before = None
        for client in clients:
            self.start(scrape, client)
        for i in range(restarts):
            if i % 2 == 0:
                os.kill(int(re.search(r"monitor=(\d+)", server.ready)[1]), signal.SIGKILL)
            server.kill()
            server = self.serve()
            self.assertTrue(until(lambda: self.exporter.said().count("is attached") >= i + 2), self.exporter.said()[-500:])
            if i == restarts // 4:
                before, open_files = self.exporter.memory(), self.descriptors()
        self.assertTrue(until(lambda: len(texts) >= scrapes, 120))
        after = self.exporter.memory()
        self.stop()
        for client in clients:
            client.close()
        self.assertLess(max(client.waited for client in clients), DEADLINE)
        if shutil.which("promtool"):
            for text in [text for text in texts if text][::200]:
                checked = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True, text=True)
                self.assertEqual((checked.returncode, checked.stdout + checked.stderr), (0, ""))
        if before:
            self.assertLess(after - before, 4096)
        print(f"{len(texts)} scrapes, {restarts} restarts: {before} to {after} kB, {open_files} descriptors, "
              f"longest answer {max(client.waited for client in clients):.2f} s", file=sys.stderr)
        self.assertTrue(until(lambda: self.descriptors() < open_files))
        self.end([server])

    VALID = [b"GET /metrics HTTP/1.1\r\nHost: localhost:9964\r\nAccept: text/plain;q=0.5,*/*;q=0.1\r\n"
             b"Accept-Encoding: gzip\r\nUser-Agent: Prometheus/2.42.0\r\n\r\n",
             b"HEAD /ready?x=%20&y HTTP/1.0\r\nConnection: keep-alive\r\n\r\n",
             b"POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n",
             b"GET /healthz HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\nExpect: 100-continue\r\n\r\nhello",
             b"GET /\r\n"]
    STRANGE = [b"\0", b"\r", b"\n", b"\r\n\r\n", b"\xff\xfe", b"%00", b"%", b" ", b"\t", b"-1", b"18446744073709551616",
               b"Transfer-Encoding: chunked\r\n", b"Content-Length: 7\r\n", b"ffffffffffffffff\r\n", b"A" * 5000,
               b"X: y\r\n" * 300, b"Accept: " + b"q=" * 400 + b"\r\n", b"Host: [::1\r\n", b"/../" * 50, b"PRI * HTTP/2.0\r\n"]

    @classmethod
    def mutated(cls, chance):
        request = bytearray(b"".join(chance.choices(cls.VALID, k=chance.choice([1, 1, 1, 2, 5]))))
        for _ in range(chance.randint(1, 4)):
            place = chance.randrange(len(request) + 1)
            match chance.randrange(6):
                case 0:  # bits flipped
                    for at in chance.choices(range(len(request)), k=min(3, len(request))):
                        request[at] ^= 1 << chance.randrange(8)
                case 1:  # cut
                    del request[place:]
                case 2:  # a piece left out
                    del request[place:place + chance.randint(1, 20)]
                case 3:  # a piece twice
                    request[place:place] = request[place:place + chance.randint(1, 100)]
                case _:
                    request[place:place] = chance.choice(cls.STRANGE)
        return bytes(request)

    def test_malformed_requests(self):
        count = 10000 if IS_LONG else 1000
        server = self.serve()
        self.export()
        self.until_up()
        good = Client(self.exporter, "127.0.0.1", True, False)

        def scrape():
            if fault := fault_of(good.scrape(), False):
                self.faults.append(fault)
            time.sleep(0.05)

        def attack(chance, share, source):
            for _ in range(share):
                request = self.mutated(chance)
                try:
                    with self.exporter.connect(source) as connection:
                        connection.settimeout(chance.choice([0.001, 0.001, 0.02]))
                        cut = chance.randrange(len(request) + 1) if chance.random() < 0.1 else 0
                        connection.sendall(request[:cut])
                        time.sleep(0.02 if cut else 0)
                        connection.sendall(request[cut:])
                        connection.recv(1 << 16)
                except OSError:
                    pass  # incomplete, ended, or refused

        self.start(scrape)
        before = self.exporter.memory()
        attackers = [threading.Thread(target=attack, args=(random.Random(seed), count // 4, f"127.0.0.{2 + seed}"))
                     for seed in range(4)]
        for attacker in attackers:
            attacker.start()
        for attacker in attackers:
            attacker.join()
        self.assertIsNone(self.exporter.process.poll())
        after = self.exporter.memory()
        print(f"{count} malformed requests: {before} to {after} kB, longest answer meanwhile {good.waited:.2f} s",
              file=sys.stderr)
        if before:
            self.assertLess(after - before, 4096)
        self.stop()
        good.close()
        self.assertLess(good.waited, DEADLINE)
        self.assertTrue(until(lambda: self.exporter.series()["tvsi_exporter_open_connections"] == 1))
        self.end([server])

    def test_an_answer_has_thirty_seconds(self):
        server = self.serve("--sessions", "60")
        self.export("--per-process", "--max-series", "1000000")
        self.until_up()
        cut_off = "tvsi_exporter_connections_cut_off_total"
        before, began = self.exporter.series()[cut_off], time.monotonic()
        self.start(lambda: sip_from(self.exporter, "127.0.0.2", lambda: self.over.wait(1)))
        self.assertTrue(until(lambda: self.exporter.series()[cut_off] > before, 60))
        self.assertGreater(time.monotonic() - began, 28)
        self.stop()
        self.faults.clear()  # the reset, which the slow one has met
        self.end([server])

    def test_slow_clients_and_readers_that_are_killed(self):
        seconds = 60 if IS_LONG else 16
        server = self.serve("--sessions", "60")
        self.export("--per-process", "--max-series", "1000000")
        self.until_up()

        def dribble(chance, source):
            try:
                with self.exporter.connect(source) as connection:
                    for byte in b"GET /metrics HTTP/1.1\r\nHost: localhost\r\nX: " + b"y" * 1000:
                        connection.sendall(bytes([byte]))
                        if self.over.wait(chance.uniform(0.2, 2)):
                            return
            except OSError:
                self.over.wait(0.05)

        def sip(source):
            try:
                sip_from(self.exporter, source, lambda: self.over.wait(0.5))
            except OSError:
                self.over.wait(0.05)

        def kill_a_reader(chance):
            self.over.wait(chance.uniform(0, 1.5))
            for pid in self.readers():
                with contextlib.suppress(ProcessLookupError):  # it has ended by itself
                    os.kill(pid, signal.SIGKILL)

        waits = []

        def scrape(chance):
            good = Client(self.exporter, "127.0.0.1", chance.random() < 0.5, False)
            if fault := fault_of(good.scrape(), False):
                self.faults.append(fault)
            good.close()
            waits.append(good.waited)
            self.over.wait(0.3)

        for i in range(64):
            self.start(sip, f"127.0.0.{9 + i % 8}")
            self.start(dribble, random.Random(i), f"127.0.0.{1 + i % 8}")
        self.start(kill_a_reader, random.Random(7))
        self.start(scrape, random.Random(8))
        time.sleep(seconds)
        severed = 'tvsi_severed_total{cache="demo~1f2e",brox="demo",reason="reader_ended"}'
        until(lambda: len(waits) > 3 and self.exporter.series()[severed] > 2)
        self.stop()
        print(f"{len(waits)} scrapes beside 128 slow clients: {max(waits):.2f} s at most, "
              f"{sum(waits) / len(waits):.2f} s on average", file=sys.stderr)
        self.assertGreater(len(waits), 3)
        self.assertLess(max(waits), 2 * DEADLINE)  # 5 seconds and a bit, on a machine of its own; else 30
        self.assertGreater(self.exporter.series()[severed], 2)
        self.until_up()
        self.end([server])


if __name__ == "__main__":
    unittest.main()
