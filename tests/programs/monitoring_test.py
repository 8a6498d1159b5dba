#!/usr/bin/env python3
"""monitoring_test.py PROGRAMS_DIR SOURCE_DIR: Debian's own Prometheus scrapes tvsi-exporter, and its
promtool has nothing to say about alerts, configuration and metrics. Skipped where they are missing.
"""

import base64
import json
import os
import pathlib
import re
import shutil
import socket
import ssl
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request

if __name__ == "__main__" and not shutil.which("prometheus"):
    print("prometheus is not installed")
    sys.exit(77)
programs, source = map(pathlib.Path, sys.argv[1:3])
del sys.argv[1:3]
FIELD, SERIES = "rdbfDiskReads", 'tvsi_common_rdbf_disk_reads_total{kind="vok",brox="%s"}'


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def until(condition, seconds=60):
    end = time.monotonic() + seconds
    while not (value := condition()) and time.monotonic() < end:
        time.sleep(0.2)
    return value


def promtool(directory, *arguments, **keywords):
    return subprocess.run(["promtool", *arguments], cwd=directory, capture_output=True, text=True, **keywords)


class Monitoring(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.directory = pathlib.Path(holder.name)
        (self.directory / "targets").mkdir()
        for file in ["exporter/alerts.yml", "exporter/prometheus.yml", "tests/package/alerts_test.yml"]:
            shutil.copy(source / file, self.directory)

    def start(self, *command, **keywords):
        process = subprocess.Popen(command, stderr=subprocess.DEVNULL,
                                   env=os.environ | {"TALVEX_GLOBAL_DIR": str(self.directory)}, **keywords)
        self.addCleanup(lambda: (process.terminate(), process.wait(60)))
        return process

    def serve(self, brox):
        server = self.start(programs / "tvxstandin", "--brox", brox, "--dir", self.directory, "--host-id", "1f2e",
                            "--sessions", "20", "--rate", "50", stdout=subprocess.PIPE)
        self.addCleanup(server.stdout.close)
        server.stdout.readline()
        return server

    def export(self, *options):
        self.port = free_port()
        self.start(programs / "tvsi-exporter", "--listen", f"127.0.0.1:{self.port}", "--interval", "0.5", *options)
        return until(lambda: "tvsi_brox_" in self.metrics() and self.metrics())

    def metrics(self):
        try:
            return urllib.request.urlopen(f"http://127.0.0.1:{self.port}/metrics").read().decode()
        except OSError:
            return ""

    def query(self, expression):
        """[(labels, value)]"""
        return [(entry["metric"], float(entry["value"][1])) for entry in self.result(expression)]

    def result(self, expression):
        url = f"http://127.0.0.1:{self.prometheus}/api/v1/query?query={urllib.parse.quote(expression)}"
        return json.load(urllib.request.urlopen(url))["data"]["result"]

    def truth(self, brox):
        """What the processes have counted, and when."""
        line = subprocess.run([programs / "tvsistat", "-j", "-A", "--total", "-k", "vok", "-f", FIELD, brox],
                              env=os.environ | {"TALVEX_GLOBAL_DIR": str(self.directory)},
                              capture_output=True, check=True).stdout
        sample = json.loads(line)
        return sample["kinds"][0]["values"][FIELD], sample["monotonic_ns"] / 1e9

    def test_rules_and_configuration(self):
        rules = promtool(self.directory, "test", "rules", "alerts_test.yml")
        self.assertEqual(rules.returncode, 0, rules.stdout + rules.stderr)
        checked = promtool(self.directory, "check", "config", "prometheus.yml")
        self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)

    def test_metrics(self):
        self.serve("a")
        text = self.export("--per-process", "--session-stats")
        checked = promtool(self.directory, "check", "metrics", input=text)
        self.assertEqual((checked.returncode, checked.stdout + checked.stderr), (0, ""))
        names = set(re.findall(r"^# TYPE (\w+)", text, re.M))
        wanted = set(re.findall(r"\btvsi_\w+", (self.directory / "alerts.yml").read_text()))
        self.assertGreater(len(wanted), 8)
        self.assertEqual(wanted - names, set())

    @unittest.skipUnless(shutil.which("nginx"), "nginx is not installed")
    def test_a_proxy_adds_encryption_and_a_password(self):
        self.serve("a")
        self.export()
        port = free_port()
        server = (source / "exporter/nginx.conf").read_text()
        for setting, value in [("listen", f"127.0.0.1:{port} ssl"), ("ssl_certificate", "cert.pem"),
                               ("ssl_certificate_key", "key.pem"), ("auth_basic_user_file", "passwords"),
                               ("proxy_pass", f"http://127.0.0.1:{self.port}")]:
            server, count = re.subn(rf"^(\s*{setting}) .*;", rf"\1 {self.directory}/{value};"
                                    if value.endswith(("pem", "words")) else rf"\1 {value};", server, flags=re.M)
            self.assertEqual(count, 1, setting)
        (self.directory / "nginx.conf").write_text(
            f"pid {self.directory}/pid; events {{}} http {{ access_log off; {server} }}")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-keyout", "key.pem", "-out", "cert.pem", "-days", "1", "-subj", "/CN=localhost",
                        "-addext", "subjectAltName=IP:127.0.0.1"], cwd=self.directory, capture_output=True, check=True)
        (self.directory / "passwords").write_text("prometheus:{PLAIN}secret\n")
        os.chmod(self.directory, 0o755)
        self.start("nginx", "-p", self.directory, "-c", self.directory / "nginx.conf", "-e", "stderr",
                   "-g", "daemon off;")
        context = ssl.create_default_context(cafile=self.directory / "cert.pem")

        def status(path, password):
            request = urllib.request.Request(f"https://127.0.0.1:{port}{path}")
            request.add_header("Authorization", "Basic " + base64.b64encode(f"prometheus:{password}".encode()).decode())
            try:
                with urllib.request.urlopen(request, context=context) as answer:
                    return answer.status, b"tvsi_up" in answer.read()
            except urllib.error.HTTPError as error:
                return error.code, False
            except OSError:
                return None

        self.assertTrue(until(lambda: status("/metrics", "secret")))
        self.assertEqual(status("/metrics", "secret"), (200, True))
        self.assertEqual(status("/metrics", "wrong"), (401, False))
        self.assertEqual(status("/ready", "secret"), (404, False))

    def test_three_caches_one_of_which_dies_and_comes_back(self):
        servers = {brox: self.serve(brox) for brox in "abc"}
        self.export("--all")
        config = (self.directory / "prometheus.yml").read_text()
        (self.directory / "prometheus.yml").write_text(re.sub(r"_interval: 15s", "_interval: 1s", config))
        rules = (self.directory / "alerts.yml").read_text()
        (self.directory / "alerts.yml").write_text(re.sub(r"for: \w+", "for: 2s", rules))
        (self.directory / "targets/all.yml").write_text(f"[{{targets: ['127.0.0.1:{self.port}']}}]")
        self.prometheus = free_port()
        self.start("prometheus", "--config.file=prometheus.yml", "--storage.tsdb.path=data",
                   f"--web.listen-address=127.0.0.1:{self.prometheus}", cwd=self.directory, stdout=subprocess.DEVNULL)

        def answers(expression, wanted):
            try:
                return len(self.query(expression)) == wanted
            except OSError:
                return False

        self.assertTrue(until(lambda: answers("tvsi_up == 1", 3)))
        first = {brox: self.truth(brox) for brox in "abc"}
        time.sleep(25)
        last = {brox: self.truth(brox) for brox in "abc"}
        rates = {}
        for brox in "abc":
            (count, begin), (later, end) = first[brox], last[brox]
            truth = (later - count) / (end - begin)
            (_, rates[brox]), = self.query(f"rate({SERIES % brox}[{round(end - begin) - 2}s])")
            self.assertAlmostEqual(rates[brox] / truth, 1, delta=0.02)
        self.assertEqual(self.query('ALERTS{alertname="TvsiCacheDown",alertstate="firing"}'), [])

        servers["b"].terminate()
        servers["b"].wait(60)
        self.assertTrue(until(lambda: answers('ALERTS{alertname="TvsiCacheDown",alertstate="firing",brox="b"}', 1)))
        self.assertEqual(self.query(SERIES % "b"), [], "no stale values")
        self.serve("b")
        self.assertTrue(until(lambda: answers("tvsi_up == 1", 3)))
        self.assertTrue(until(lambda: answers('ALERTS{alertname="TvsiCacheDown"}', 0)))
        time.sleep(8)
        counters = self.result('{__name__=~"tvsi_.*_total"}[10m]')
        self.assertGreater(len(counters), 1000)
        for counter in counters:
            values = [float(value) for _, value in counter["values"]]
            self.assertEqual(values, sorted(values), counter["metric"])
        spikes = self.query(f"max_over_time(rate({SERIES % 'b'}[5s])[1m:1s]) > {3 * rates['b']}")
        self.assertEqual(spikes, [])
        self.assertEqual(self.query("increase(tvsi_attaches_total[5m]) > 0.5")[0][0]["brox"], "b")


if __name__ == "__main__":
    unittest.main()
