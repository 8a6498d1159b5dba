#!/usr/bin/env python3
"""manyhosts_bench.py PROGRAMS_DIR [HOSTS [SECONDS]]: as many exporters on loopback addresses as there
are hosts, one Prometheus that finds them by file_sd, and a second one that federates sums of it.
Prints what each of them costs.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import urllib.parse
import urllib.request

programs = pathlib.Path(sys.argv[1])
hosts, seconds = (int(word) for word in (sys.argv[2:] + ["100", "120"][len(sys.argv) - 2:])[:2])
PORT, SCRAPE = 9964, 15
RULES = """groups:
  - name: site
    rules:
      - {record: "site:tvsi_up:sum", expr: "sum(tvsi_up)"}
      - {record: "site:tvsi_brox_commits:rate1m", expr: "sum by (brox) (rate(tvsi_brox_commits_total[1m]))"}
      - {record: "site:tvsi_common_rdbf_disk_reads:rate1m",
         expr: "sum by (kind) (rate(tvsi_common_rdbf_disk_reads_total[1m]))"}
"""


def address(host):
    return f"127.0.{1 + host // 250}.{1 + host % 250}:{PORT}"


def query(port, expression):
    url = f"http://127.0.0.1:{port}/api/v1/query?query={urllib.parse.quote(expression)}"
    result = json.load(urllib.request.urlopen(url))["data"]["result"]
    return float(result[0]["value"][1]) if result else 0.0


def cost(pid):
    """CPU seconds so far and resident MB."""
    words = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    return (int(words[11]) + int(words[12])) / os.sysconf("SC_CLK_TCK"), int(re.search(r"VmRSS:\s+(\d+)", status)[1]) / 1024


processes = []


def start(*command, **keywords):
    processes.append(subprocess.Popen(command, stderr=subprocess.DEVNULL, **keywords))
    return processes[-1]


def prometheus(directory, port, config):
    directory.mkdir()
    (directory / "prometheus.yml").write_text(config)
    (directory / "rules.yml").write_text(RULES)
    return start("prometheus", "--config.file=prometheus.yml", "--storage.tsdb.path=data",
                 f"--web.listen-address=127.0.0.1:{port}", cwd=directory, stdout=subprocess.DEVNULL)


def run(directory):
    server = start(programs / "tvxstandin", "--brox", "demo", "--dir", directory, "--sessions", "20", "--rate", "1",
                   stdout=subprocess.PIPE)
    server.stdout.readline()
    environment = os.environ | {"TALVEX_GLOBAL_DIR": str(directory)}
    exporters = [start(programs / "tvsi-exporter", "--brox", "demo", "--interval", "5", "--listen", address(host),
                       env=environment) for host in range(hosts)]
    (directory / "targets.yml").write_text(json.dumps([{"targets": [address(host) for host in range(hosts)]}]))
    common = f"global: {{scrape_interval: {SCRAPE}s, evaluation_interval: {SCRAPE}s}}\nscrape_configs:\n"
    one = prometheus(directory / "one", 9980, "rule_files: [rules.yml]\n" + common +
                     f"  - job_name: tvsi\n    file_sd_configs: [{{files: ['{directory}/targets.yml']}}]\n")
    two = prometheus(directory / "two", 9981, common + "  - job_name: site\n    honor_labels: true\n"
                     "    metrics_path: /federate\n    params: {'match[]': ['{__name__=~\"site:.*\"}']}\n"
                     "    static_configs: [{targets: ['127.0.0.1:9980']}]\n")
    time.sleep(3 * SCRAPE)
    before = {name: cost(process.pid) for name, process in [("one", one), ("two", two), ("exporter", exporters[0])]}
    time.sleep(seconds)
    print(f"{hosts} hosts, a scrape every {SCRAPE} s, {seconds} s:")
    for name, process, port in [("one", one, 9980), ("two", two, 9981)]:
        cpu, memory = cost(process.pid)
        print(f"  Prometheus {name}: {100 * (cpu - before[name][0]) / seconds:.1f} % of a CPU, {memory:.0f} MB")
    cpu, memory = cost(exporters[0].pid)
    print(f"  an exporter: {100 * (cpu - before['exporter'][0]) / seconds:.2f} % of a CPU, {memory:.1f} MB")
    print(f"  live caches {query(9980, 'sum(tvsi_up)'):.0f}, series of a host {query(9980, 'max(scrape_samples_scraped)'):.0f}, "
          f"scrape {1000 * query(9980, 'avg(scrape_duration_seconds)'):.1f} ms on average, "
          f"{1000 * query(9980, 'max(scrape_duration_seconds)'):.1f} ms at most")
    sent = "avg(rate(tvsi_exporter_sent_bytes_total[1m]))"
    print(f"  bytes of a scrape {query(9980, sent) * SCRAPE:.0f}; federated: live {query(9981, 'site:tvsi_up:sum'):.0f}, "
          f"commits {query(9981, 'sum(site:tvsi_brox_commits:rate1m)'):.1f}/s, "
          f"scraped in {1000 * query(9981, 'max(scrape_duration_seconds)'):.1f} ms")
    print(f"  on disk: {sum(file.stat().st_size for file in (directory / 'one/data').rglob('*') if file.is_file()) / 1e6:.1f} MB")


with tempfile.TemporaryDirectory() as name:
    try:
        run(pathlib.Path(name))
    finally:
        for process in reversed(processes):
            process.terminate()
        for process in processes:
            process.wait(30)
