#!/usr/bin/env python3
"""page_browser_test.py PROGRAMS_DIR SOURCE_DIR: the live page as people meet it, in Debian's Chromium. Skipped
where that is missing.
"""

import ctypes
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import unittest

try:
    from selenium import webdriver
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
    from selenium.webdriver.support.ui import Select
except ImportError:
    webdriver = None
if not webdriver or not shutil.which("chromedriver") or not shutil.which("chromium"):
    print("chromium, chromium-driver or python3-selenium is not installed")
    sys.exit(77)

from page_test import PageCase, programs, until  # noqa: E402 (takes its own arguments)

PATIENCE = 60
# Of every text that is seen, the contrast with what is behind it, by WCAG 2.1.
CONTRASTS = """
const parse = (text) => text.match(/[\\d.]+/g).map(Number);
const light = (rgb) => { const [r, g, b] = rgb.map((c) => (c /= 255) <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4);
  return 0.2126 * r + 0.7152 * g + 0.0722 * b; };
const contrast = (a, b) => { const [x, y] = [light(a), light(b)].sort((m, n) => n - m); return (x + 0.05) / (y + 0.05); };
const backOf = (e) => { for (; e; e = e.parentElement) { const c = parse(getComputedStyle(e).backgroundColor);
  if (c.length < 4 || c[3] > 0) return c.slice(0, 3); } };
const faults = [];
let count = 0;
for (const e of document.querySelectorAll("body *")) {
  const own = [...e.childNodes].some((n) => n.nodeType === 3 && n.data.trim()) || ["INPUT", "SELECT"].includes(e.tagName);
  if (!own || !e.checkVisibility() || e.closest("svg, datalist, option")) continue;
  const style = getComputedStyle(e);
  const backs = [backOf(e)];
  const bar = style.backgroundImage.match(/rgb\\([^)]*\\)/);
  if (bar) backs.push(parse(bar[0]));
  if (e.placeholder) style.placeholder = getComputedStyle(e, "::placeholder").color;
  for (const back of backs) {
    const value = contrast(parse(style.color).slice(0, 3), back);
    count++;
    if (value < 4.5 || (e.placeholder && contrast(parse(getComputedStyle(e, "::placeholder").color).slice(0, 3), back) < 4.5))
      faults.push([e.outerHTML.slice(0, 80), value]);
  }
}
return [count, faults];
"""
# How many pixels of a chart have each of these colours, given as the page's own names of them.
PIXELS = """
const canvas = document.querySelector(arguments[0] + " canvas");
if (!canvas) return [0];
const copy = new OffscreenCanvas(canvas.width, canvas.height).getContext("2d", {willReadFrequently: true});
copy.drawImage(canvas, 0, 0);
const data = copy.getImageData(0, 0, canvas.width, canvas.height).data;
const style = getComputedStyle(document.documentElement);
return arguments[1].map((name) => {
  const [r, g, b] = style.getPropertyValue(name).trim().match(/\\w\\w/g).map((hex) => parseInt(hex, 16));
  let count = 0;
  for (let i = 0; i < data.length; i += 4)
    if (data[i + 3] > 200 && Math.abs(data[i] - r) + Math.abs(data[i + 1] - g) + Math.abs(data[i + 2] - b) < 12) count++;
  return count;
});
"""


class Browser(PageCase):
    @classmethod
    def setUpClass(cls):
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for argument in ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--lang=en"]:
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        service = webdriver.chrome.service.Service(shutil.which("chromedriver"))
        cls.driver = webdriver.Chrome(service=service, options=options)
        cls.driver.set_script_timeout(PATIENCE)
        cls.addClassCleanup(cls.driver.quit)

    def setUp(self):
        super().setUp()
        self.look(1280, "light")

    def tearDown(self):
        messages = self.driver.get_log("browser")
        self.driver.get("about:blank")  # which asks the exporter for nothing more
        self.assertEqual(messages, [])

    def look(self, width, scheme):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def open(self, *options, address="", sessions="6"):
        self.server = self.serve("demo", "--sessions", sessions)
        self.exporter = self.export("--web-page", *options)
        self.visit(address)

    def visit(self, address=""):
        self.driver.get("about:blank")
        self.driver.get(f"http://127.0.0.1:{self.exporter.port}/{address}")
        self.wait(lambda: self.rows())

    def wait(self, condition):
        value = until(condition, PATIENCE)
        self.assertTrue(value)
        return value

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def texts(self, selector):
        """Of all at once: the page changes every second."""
        return self.driver.execute_script(
            "return [...document.querySelectorAll(arguments[0])].map((e) => e.innerText.trim())", selector)

    def text(self, selector):
        return self.texts(selector)[0]

    def rows(self, section="processes"):
        """The texts of a table's cells, row by row."""
        return self.driver.execute_script(
            "return [...document.querySelectorAll(`#${arguments[0]} tbody tr`)].filter((row) => row.checkVisibility())"
            ".map((row) => [...row.cells].map((c) => c.innerText.trim()))", section)

    def click(self, selector):
        self.driver.execute_script("document.querySelector(arguments[0]).click()", selector)

    def sort_by(self, title):
        self.driver.execute_script(
            "[...document.querySelectorAll('#processes thead .plain')].find((b) => b.textContent === arguments[0]).click()", title)

    def type(self, selector, text):
        self.find(selector).send_keys(Keys.CONTROL + "a" + Keys.NULL, Keys.BACKSPACE, text)

    @staticmethod
    def number(text):
        return float(text.replace(",", ""))

    def test_values_are_those_of_the_server(self):
        self.open(address="#fields=voksInCacheCount,commitCount,timeLastCommit")
        truth = self.freeze()
        brox = next(process for process in truth if process["kind"] == "monitor")
        wanted = f"{brox['values']['voksInCacheCount']:,}"
        self.wait(lambda: [row for row in self.rows() if row[0] == "monitor" and row[4:7] == ["stopped", "" or wanted, "–"]])
        self.assertEqual(sorted(row[:4] for row in self.rows()), sorted(
            [process["kind"], str(process["pid"]), str(process["session"]), process["name"]] for process in truth))
        vok = next(process for process in truth if process["kind"] == "vok")
        self.click(f"#processes tr[data-id='vok.{vok['pid']}.{vok['session']}.0'] button")
        self.wait(lambda: self.rows("counters"))
        self.click("#zeros")
        totals, gauges = ({row[0].split()[0]: row[-1] for row in self.rows(part)} for part in ("counters", "gauges"))
        names = set(vok["values"]) & set(totals)
        self.assertGreater(len(names), 50)
        self.assertEqual({name: self.number(totals[name]) for name in names},
                         {name: vok["values"][name] for name in names})
        for name in ["freeFrameLimit", "newGenSizeKBytes", "pinnedPagesCount"]:
            self.assertEqual(self.number(gauges[name]), vok["values"][name], name)
        self.assertIn("unit unknown", self.text("#counters tr[data-field=timeInScavenge]"))

    def test_rates_sorting_filter_and_columns(self):
        self.open("--interval", "0.5")
        self.wait(lambda: "–" not in [row[5] for row in self.rows()])
        self.click("#pause")
        self.wait(lambda: self.text("#state").startswith("paused"))
        sums = {}
        for row in self.rows():
            sums[row[0]] = sums.get(row[0], 0) + self.number(row[5])
        for kind, _, rate, _ in self.rows("kinds"):  # which are rounded
            self.assertAlmostEqual(sums[kind], self.number(rate), delta=1 + 0.01 * sums[kind], msg=kind)
        for title, column, key in [("pageLocateCount", 5, self.number), ("Pid", 1, int), ("Name", 3, str), ("Kind", 0, str)]:
            for _ in range(2):
                self.sort_by(title)
                head = "#processes th[aria-sort]:not([aria-sort=none])"
                order = self.find(head).get_attribute("aria-sort")
                self.assertEqual(self.text(head).split("\n")[0].rstrip(" ▲▼"), title)
                values = [key(row[column]) for row in self.rows()]
                self.assertEqual(values, sorted(values, reverse=order == "descending"))
        self.assertEqual(len(self.find("#processes").find_elements(By.CSS_SELECTOR, "th[aria-sort]")), 7)
        everything = self.rows()
        self.type("#filter", "vOk2")
        self.assertEqual({row[3] for row in self.rows()}, {row[3] for row in everything if "vok2" in row[3].lower()})
        self.assertRegex(self.text("#shown"), rf"^\d+ of {len(everything)} processes")
        self.type("#filter", str(everything[0][1]))
        self.assertIn(everything[0], self.rows())
        self.type("#filter", "")
        Select(self.find("#kind")).select_by_value("vok")
        self.assertEqual(len(self.rows()), 6)
        self.click("#pause")
        self.type("#field", "nonsense" + Keys.ENTER)
        self.assertIn("nonsense", self.text("#field-problem"))
        self.type("#field", "sessionStats[3]" + Keys.ENTER)
        self.wait(lambda: len(self.rows()[0]) == 8 and self.rows()[0][7] != "")
        self.click("#processes .remove")
        self.wait(lambda: len(self.rows()[0]) == 7)
        self.assertNotIn("pageLocateCount", self.texts("#processes thead .plain"))

    def test_charts_are_drawn_and_their_numbers_are_in_a_table(self):
        self.open("--interval", "0.2", address="#kind=vok")
        self.wait(lambda: len(self.driver.find_elements(By.CSS_SELECTOR, "#kind-chart canvas")))
        self.wait(lambda: len(self.texts("#kind-chart .legend li")) >= 8)
        dashes = self.driver.execute_script(
            "return [...document.querySelectorAll('#kind-chart .legend line')].map((l) => [l.getAttribute('stroke'),"
            "l.getAttribute('stroke-dasharray')].join(' '))")
        self.assertEqual(len(set(dashes)), len(dashes))
        self.assertGreater(len({line.partition(" ")[2] for line in dashes}), 3)
        names = [f"--line-{i}" for i in range(4)]
        self.wait(lambda: min(self.driver.execute_script(PIXELS, "#kind-chart", names)) > 5)
        self.click("#kind-chart summary")
        rows = self.wait(lambda: len(self.rows("kind-chart")) > 3 and self.rows("kind-chart"))
        self.wait(lambda: len(self.rows("kind-chart")[0]) == 1 + len(self.texts("#kind-chart .legend li")))
        self.assertGreater(sum(self.number(text) for row in rows for text in row[1:] if text != "–"), 0)
        self.click("#processes tbody button")
        self.wait(lambda: self.driver.execute_script(PIXELS, "#charts", names[:1])[0] > 5)
        self.click("#counters tr[data-field=rdbfDiskReads] button")
        chart = "#charts figure[data-field=rdbfDiskReads]"
        self.wait(lambda: self.texts(f"{chart} canvas"))
        self.assertIn("reads from disk", self.text(f"{chart} figcaption"))
        self.wait(lambda: self.driver.execute_script(PIXELS, chart, names[:1])[0] > 5)
        self.look(1280, "dark")
        self.wait(lambda: min(self.driver.execute_script(PIXELS, "#kind-chart", names)) > 5)

    def test_a_server_that_dies_and_comes_back(self):
        self.open("--interval", "0.5")
        monitor = int(re.search(r"monitor=(\d+)", self.server.ready)[1])
        banner = self.find("#banner")
        self.assertEqual((banner.get_attribute("role"), banner.text), ("alert", ""))
        os.kill(monitor, signal.SIGKILL)
        self.wait(lambda: re.match(r"SERVER GONE \d\d:\d\d:\d\d: .*monitor.* has ended\. Retrying$", banner.text))
        self.assertEqual(self.text("#state"), "gone")
        self.assertIn("as of", self.text("#shown"))
        self.server.kill()
        self.serve("demo", "--sessions", "3")
        self.wait(lambda: banner.text == "" and self.text("#state") == "live")
        self.wait(lambda: len([row for row in self.rows() if row[0] == "vok"]) == 3)
        self.assertEqual(self.driver.get_log("browser"), [])
        self.exporter.end()
        self.wait(lambda: re.match(r"EXPORTER DOES NOT ANSWER since \d\d:\d\d:\d\d\. Retrying$", banner.text))
        self.driver.get("about:blank")
        self.assertEqual({entry["source"] for entry in self.driver.get_log("browser")}, {"network"}, "the browser's own")

    def test_every_text_can_be_read_in_light_and_dark_wide_and_narrow(self):
        self.open("--interval", "0.5")
        self.click("#processes tbody button")
        self.wait(lambda: self.rows("counters"))
        for scheme in ["light", "dark"]:
            for width in [1280, 400]:
                self.look(width, scheme)
                self.wait(lambda: self.driver.execute_script("return innerWidth") == width)
                self.assertLessEqual(self.driver.execute_script("return document.documentElement.scrollWidth"), width)
                count, faults = self.driver.execute_script(CONTRASTS)
                self.assertEqual(faults, [], (scheme, width))
                self.assertGreater(count, 100)
        self.assertNotEqual(self.driver.execute_script("return getComputedStyle(document.body).backgroundColor"),
                            "rgb(243, 245, 248)", "it is dark")
        os.kill(int(re.search(r"monitor=(\d+)", self.server.ready)[1]), signal.SIGKILL)
        self.wait(lambda: self.text("#banner"))
        self.assertEqual(self.driver.execute_script(CONTRASTS)[1], [])

    def test_names_are_texts_whatever_they_are(self):
        names = [b'<script>alert(1)</script>', b'"><img src=x onerror=alert(1)>', b"&lt;b'\\\xff\xc3\xa4"]
        self.open("--interval", "0.5")
        library = ctypes.CDLL(None, use_errno=True)
        library.shmat.restype = ctypes.c_void_p
        monitor = re.search(r"monitor=(\d+)", self.server.ready)[1]
        words, = (line.split() for line in pathlib.Path("/proc/sysvipc/shm").read_text().splitlines()
                  if line.split()[4] == monitor)
        address = library.shmat(int(words[1]), None, 0)
        for i, name in enumerate(names, 2):
            place = ctypes.string_at(address, int(words[3])).index(b"Vok%d\0" % i)
            ctypes.memmove(address + place, name + b"\0", len(name) + 1)
        library.shmdt(ctypes.c_void_p(address))
        shown = {names[0].decode(), names[1].decode(), "&lt;b'\\\\\\xffä"}
        self.wait(lambda: shown <= {row[3] for row in self.rows()})
        self.assertFalse(self.driver.find_elements(By.CSS_SELECTOR, "main script, main img, main b[onerror]"))
        self.type("#filter", "onerror")
        self.click("#processes tbody button")
        self.wait(lambda: names[1].decode() in self.text("#detail-title"))
        self.visit(self.driver.execute_script("return location.hash"))
        self.assertEqual(self.find("#filter").get_attribute("value"), "onerror")

    def test_the_address_holds_the_view(self):
        self.open(sessions="8")
        self.wait(lambda: "–" not in [row[5] for row in self.rows()])
        Select(self.find("#kind")).select_by_value("vok")
        self.type("#filter", "Vok")
        self.type("#field", "commitCount" + Keys.ENTER)
        self.wait(lambda: len(self.rows()[0]) == 8)
        self.sort_by("Session")
        Select(self.find("#chart-field")).select_by_value("commitCount")
        self.click("#processes tbody tr:nth-child(3) button")
        self.wait(lambda: self.rows("counters"))
        self.click("#counters tr[data-field=rdbfDiskReads] button")

        def seen():
            """What doesn't move from sample to sample."""
            return [[row[:5] for row in self.rows()], self.texts("#processes thead th"), self.text("#detail-title"),
                    self.texts("#charts figcaption"), self.find("#chart-field").get_attribute("value"),
                    self.find("#kind").get_attribute("value"), self.find("#filter").get_attribute("value")]

        self.wait(lambda: len(seen()[3]) == 3)
        before, address = seen(), self.driver.execute_script("return location.hash")
        self.visit(address)
        self.wait(lambda: seen() == before)
        self.driver.execute_script("location.hash = arguments[0]", address.replace("vok", "brox", 1) + "&filter=")
        self.wait(lambda: {row[0] for row in self.rows()} != {"vok"})

    def test_the_keyboard_alone(self):
        self.open("--interval", "0.5")
        active = webdriver.ActionChains(self.driver)

        def press(*keys):
            active.send_keys(*keys).perform()

        def focused():
            return self.driver.execute_script(
                "const e = document.activeElement; const style = getComputedStyle(e);"
                "return [e.id, e.textContent, style.outlineStyle, e.closest('section')?.id ?? '']")

        self.driver.execute_script("document.activeElement.blur()")
        for _ in range(60):
            press(Keys.TAB)
            identity, text, outline, section = focused()
            self.assertEqual(outline, "solid", "the focus is seen")
            if section == "processes" and text == "Session":
                break
        press(Keys.ENTER)
        self.wait(lambda: self.find("#processes th[aria-sort=descending]").text.startswith("Session"))
        self.assertEqual(focused()[1], "Session", "the focus stays")
        while not focused()[1].startswith("Vok"):
            press(Keys.TAB)
        chosen = focused()[1]
        press(Keys.SPACE)
        self.wait(lambda: focused()[0] == "detail-title")
        self.assertIn(chosen, focused()[1])
        press(Keys.ESCAPE)
        self.wait(lambda: not self.find("#detail").is_displayed())
        self.assertEqual(focused()[1], chosen)

    def test_a_hidden_tab_asks_for_nothing(self):
        self.open("--interval", "0.5")
        count = "return performance.getEntriesByType('resource').filter((e) => e.name.includes('/api/sample')).length"
        self.wait(lambda: self.driver.execute_script(count) > 2)
        hide = ("Object.defineProperty(document, 'hidden', {configurable: true, get: () => arguments[0]});"
                "document.dispatchEvent(new Event('visibilitychange'))")
        self.driver.execute_script(hide.replace("arguments[0]", "true"))

        def is_quiet():
            counts.append(self.driver.execute_script(count))
            self.driver.execute_async_script("setTimeout(arguments[0], 3000)")
            return self.driver.execute_script(count) == counts[-1]

        counts = []
        self.wait(is_quiet)  # once what was under way has come
        self.driver.execute_script(hide.replace("arguments[0]", "false"))
        self.wait(lambda: self.driver.execute_script(count) > counts[-1])

    def test_several_caches_and_a_recorded_past(self):
        first = self.serve("demo")
        self.serve("other", "--sessions", "2")
        recording = os.path.join(self.directory, "recording")
        subprocess.run([programs / "tvsistat", "--write", recording, "demo", "0.2", "10"], check=True, capture_output=True,
                       env=os.environ | {"TALVEX_GLOBAL_DIR": self.directory})
        self.exporter = self.export("--web-page", "--interval", "0.5", "--recording", recording)
        self.visit(f"#cache=demo~{first.ready.split('~')[1].split()[0]}")
        self.click("#kind-chart summary")
        self.wait(lambda: self.find("#span-label").is_displayed())
        opened = self.rows("kind-chart")[-1][0]
        self.wait(lambda: self.rows("kind-chart")[-1][0] < opened)
        self.wait(lambda: len(self.find("#cache").find_elements(By.CSS_SELECTOR, "option")) == 2)
        Select(self.find("#cache")).select_by_value("other~1f2e")
        self.wait(lambda: len([row for row in self.rows() if row[0] == "vok"]) == 2)
        self.assertIn("other", self.text("#whose"))


if __name__ == "__main__":
    unittest.main()
