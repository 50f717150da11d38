#!/usr/bin/env python3
"""Opens reports in headless Chromium, and uses them as a reader does.

    REPORT_PAGES=.../kvlstore_report_pages report_browser_test.py

Needs Debian's chromium, chromium-driver and python3-selenium (scripts/setup.sh). No network is used, and none is there.
"""

import json
import os
import pathlib
import subprocess
import tempfile
import time
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

PHONE = (390, 844)
DESKTOP = (1280, 900)
LIGHT_AND_DARK = ("light", "dark")
OPENS_WITHIN = 2000  # milliseconds, a store of 100,000 objects

# The texts that are seen, with the contrast of each to what is behind it.
CONTRASTS = """
const parse = (colour) => { const parts = colour.match(/[\\d.]+/g).map(Number); return parts.length < 4 ? [...parts, 1] : parts; };
const light = (colour) => { const part = (x) => { x /= 255; return x <= 0.03928 ? x / 12.92 : ((x + 0.055) / 1.055) ** 2.4; };
  return 0.2126 * part(colour[0]) + 0.7152 * part(colour[1]) + 0.0722 * part(colour[2]); };
const behind = (element) => { for (let at = element; at; at = at.parentElement) {
  const colour = parse(getComputedStyle(at).backgroundColor); if (colour[3] > 0.99) return colour; } return [255, 255, 255, 1]; };
const found = [];
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (walker.nextNode()) {
  const element = walker.currentNode.parentElement;
  if (!walker.currentNode.data.trim() || ['SCRIPT', 'STYLE', 'NOSCRIPT'].includes(element.tagName) || !element.getClientRects().length) continue;
  const style = getComputedStyle(element);
  const own = light(parse(element.namespaceURI.endsWith('svg') ? style.fill : style.color));
  const other = light(behind(element));
  found.push([(Math.max(own, other) + 0.05) / (Math.min(own, other) + 0.05), walker.currentNode.data.trim().slice(0, 60)]);
}
return found;
"""


def start_browser(folder):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                     "--disable-background-networking", "--disable-component-update", "--disable-sync",
                     "--host-resolver-rules=MAP * ~NOTFOUND", f"--user-data-dir={folder}/profile"]:
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


class ReportTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="kvl-report-")
        cls.addClassCleanup(cls.folder.cleanup)
        subprocess.run([os.environ["REPORT_PAGES"], cls.folder.name], check=True, timeout=120)
        cls.browser = start_browser(cls.folder.name)
        cls.addClassCleanup(cls.browser.quit)

    def open(self, page="example", size=DESKTOP, scheme="light"):
        """Opens a report, and forgets what the browser has logged."""
        width, height = size
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=size == PHONE)
        self.command("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": scheme}, {"name": "prefers-reduced-motion", "value": "reduce"}])
        self.browser.get_log("browser")
        self.browser.get_log("performance")
        self.browser.get(pathlib.Path(self.folder.name, f"{page}.html").as_uri())
        self.wait("return document.documentElement.dataset.complete")

    def command(self, name, **parameters):
        self.browser.execute_cdp_cmd(name, parameters)

    def run_script(self, script, *arguments):
        return self.browser.execute_script(script, *arguments)

    def wait(self, script):
        """Waits until a script returns something true, which is returned."""
        for _ in range(200):
            if result := self.run_script(script):
                return result
            time.sleep(0.02)
        return self.fail(f"never true: {script}")

    def press(self, *keys):
        chain = ActionChains(self.browser, duration=0)
        for key in keys:
            chain.send_keys(key)
        chain.perform()

    def focused(self, attribute="aria-label"):
        return self.run_script("return document.activeElement.getAttribute(arguments[0])", attribute) or ""

    def unfold(self):
        """Unfolds what can be unfolded, three levels deep, and waits for plots."""
        self.run_script("""
            for (let level = 0; level < 3; ++level)
              for (const item of document.querySelectorAll('[role=treeitem][aria-expanded=false]')) fold(item, true);
            for (const details of document.querySelectorAll('details')) details.open = true;""")
        self.wait("return document.querySelectorAll('.plot svg').length > 1")

    def test_the_tree_unfolds_by_mouse(self):
        self.open()
        item = self.browser.find_element("css selector", "[role=treeitem][aria-label*='box of samples']")
        item.find_element("css selector", ".row").click()
        self.assertEqual(item.get_attribute("aria-expanded"), "true")
        labels = [kid.get_attribute("aria-label") for kid in item.find_elements("css selector", "[role=treeitem]")]
        self.assertTrue(any("m_Curve: 20\u202f000 elements, " in label and "400 MPa" in label for label in labels), labels)
        self.assertTrue(any(label.startswith("m_Bolts: 450 elements") for label in labels), labels)
        item.find_element("css selector", ".row").click()
        self.assertEqual(item.get_attribute("aria-expanded"), "false")

    def test_everything_works_by_keyboard(self):
        self.open()
        self.press(Keys.TAB)
        self.assertEqual(self.focused("class"), "skip")
        self.press("/")
        self.assertEqual(self.focused("id"), "query")
        self.press("shared bolt")
        self.wait("return document.querySelectorAll('#hits button').length === 1")
        self.assertEqual(self.run_script("return document.getElementById('hits-count').textContent"), "1 object found")
        self.press(Keys.ENTER)
        self.assertEqual(self.run_script("return document.activeElement.tagName"), "BUTTON")
        self.press(Keys.ENTER)
        self.assertIn("m_First: shared bolt", self.focused())
        self.press(Keys.ARROW_RIGHT)
        self.assertEqual(self.focused("aria-expanded"), "true")
        self.press(Keys.ARROW_RIGHT)
        self.assertEqual(self.focused(), "m_Name: \u201cshared bolt\u201d, string")
        self.press(Keys.ARROW_DOWN)
        self.assertEqual(self.focused(), "m_Length: 12.5 mm, double")
        self.press(Keys.ARROW_DOWN)
        self.assertEqual(self.focused(), "m_Head: round, enumeration, = 7")
        self.press(Keys.ARROW_DOWN)
        self.assertEqual(self.focused(), "m_Serial: 9007199254740993, 64-bit integer")
        self.press(Keys.ARROW_LEFT, Keys.ARROW_LEFT)
        self.assertEqual(self.focused("aria-expanded"), "false")
        self.press("s")  # m_Second, a link to the same bolt
        self.assertIn("m_Second: shared bolt #", self.focused())
        self.press(Keys.ENTER)
        self.assertIn("m_First: shared bolt", self.focused())
        self.press(Keys.HOME)
        self.assertEqual(self.focused("aria-level"), "1")
        self.press(Keys.END)
        self.assertIn("samples/", self.run_script("return document.activeElement.closest('[aria-level=\"1\"]').getAttribute('aria-label')"))

    def test_the_focus_is_seen(self):
        self.open()
        for _ in range(12):
            self.press(Keys.TAB)
            outline = self.run_script("""
                const active = document.activeElement;
                const shown = active.getAttribute('role') === 'treeitem' ? active.firstElementChild : active;
                const style = getComputedStyle(shown);
                return [style.outlineStyle, parseFloat(style.outlineWidth), active.outerHTML.slice(0, 80)];""")
            self.assertEqual(outline[0], "solid", outline)
            self.assertGreaterEqual(outline[1], 2, outline)

    def test_search_finds_what_a_store_has(self):
        self.open()
        for text, count in [("bolt 44", 11), ("round", 451), ("mm", 451), ("samples/", 1), ("Heat", 1), ("m_plate", 1),
                            ("no such thing", 0)]:
            found = self.run_script("return search(arguments[0]).count", text)
            self.assertEqual(found, count, text)

    def test_arrays_are_plotted_with_their_peaks(self):
        self.open()
        self.run_script("document.querySelector('#arrays details').open = true")
        label = self.wait("return document.querySelector('#arrays .plot svg')?.getAttribute('aria-label')")
        self.assertIn("20\u202f000 values", label)
        self.assertIn("to 400 MPa at index 12\u202f345", label)
        edges = self.run_script("""
            const curve = document.querySelector('#arrays .plot .curve').getAttribute('d').match(/[\\d.]+ [\\d.]+/g);
            return Math.min(...curve.map((point) => Number(point.split(' ')[1])));""")
        self.assertLess(edges, 16)  # the peak of a single value reaches the top

    def test_the_mesh_is_drawn(self):
        self.open()
        canvas = self.browser.find_element("css selector", "#pictures canvas")
        self.assertIn("coloured by m_Values: smallest 280 K", canvas.get_attribute("aria-label"))
        colours = self.wait("""
            const canvas = document.querySelector('#pictures canvas');
            const data = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height).data;
            const found = new Set();
            for (let i = 0; i < data.length; i += 4) if (data[i + 3] === 255) found.add(data[i] << 16 | data[i + 1] << 8 | data[i + 2]);
            return found.size > 1 && [...found];""")
        legend = self.run_script("""
            return [...document.querySelectorAll('.legend .swatch')].map((swatch) => {
              const [r, g, b] = getComputedStyle(swatch).backgroundColor.match(/\\d+/g).map(Number); return r << 16 | g << 8 | b; });""")
        self.assertGreaterEqual(len(legend), 4)
        self.assertTrue(set(legend) <= set(colours), (legend, colours[:20]))

    def test_damage_is_said(self):
        self.open()
        notices = self.browser.find_element("id", "notices").text
        self.assertIn("could not be read", notices)

    def test_what_comes_from_the_store_stays_text(self):
        self.open()
        self.unfold()
        self.assertTrue(self.browser.title.startswith("example.kvs"))
        self.assertEqual(self.run_script("return document.querySelectorAll('main b, main img').length"), 0)
        self.assertIn("samples/<b>box</b>", self.browser.find_element("css selector", "[role=tree]").text)

    def test_nothing_is_wider_than_the_window(self):
        for size in (PHONE, DESKTOP, (320, 640)):
            self.open(size=size)
            self.unfold()
            width, room = self.run_script("return [document.documentElement.scrollWidth, document.documentElement.clientWidth]")
            self.assertLessEqual(width, room, size)

    def test_long_chains_fit(self):
        self.open(size=PHONE)
        self.run_script("""
            let item = document.querySelector('[role=treeitem][aria-label^="chain"]');
            for (let i = 0; i < 40; ++i) {
              fold(item, true);
              item = [...kidItems(item)].find((kid) => kid.getAttribute('aria-label').startsWith('m_Next'));
            }
            focusItem(item);""")
        self.assertEqual(self.focused("aria-level"), "41")
        width, room, left = self.run_script("""return [document.documentElement.scrollWidth, document.documentElement.clientWidth,
            document.activeElement.getBoundingClientRect().left]""")
        self.assertLessEqual(width, room)
        self.assertLess(left, room / 2)
        self.run_script("reveal(rowNumber(store.rows.find((row) => !isProblem(row) && classOf(row) === 'Link' && row[3] === 299)[0]))")
        self.assertRegex(self.focused(), r"^object \d+, Link, in Link #\d+, 298 levels below its root$")
        self.press(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
        self.assertEqual(self.focused(), "m_Number: 299, 32-bit integer")

    def test_contrast_suffices(self):
        for scheme in LIGHT_AND_DARK:
            self.open(scheme=scheme)
            self.unfold()
            self.run_script("const input = document.getElementById('query'); input.value = 'bolt'; input.dispatchEvent(new Event('input'))")
            self.wait("return document.querySelectorAll('#hits button').length")
            contrasts = self.run_script(CONTRASTS)
            self.assertGreater(len(contrasts), 300)
            low = [each for each in contrasts if each[0] < 4.5]
            self.assertEqual(low, [], scheme)
            print(f"contrast, {scheme}: at least {min(contrasts)[0]:.1f} in {len(contrasts)} texts")

    def test_it_speaks_to_screen_readers(self):
        self.open()
        self.unfold()
        faults = self.run_script("""
            const faults = [];
            const one = (selector) => { if (document.querySelectorAll(selector).length !== 1) faults.push(`not one ${selector}`); };
            ['body > header', 'nav[aria-label]', 'main', 'body > footer', 'h1', '[role=tree]', 'html[lang]'].forEach(one);
            let level = 1;
            for (const heading of document.querySelectorAll('h1, h2, h3, h4')) {
              const next = Number(heading.tagName[1]);
              if (next > level + 1) faults.push(`heading after level ${level}: ${heading.textContent}`);
              level = next;
            }
            for (const each of document.querySelectorAll('svg, canvas, [role=treeitem]'))
              if (!each.getAttribute('aria-label')) faults.push(`no label: ${each.outerHTML.slice(0, 80)}`);
            for (const each of document.querySelectorAll('section'))
              if (!document.getElementById(each.getAttribute('aria-labelledby'))) faults.push(`no name: ${each.id}`);
            for (const each of document.querySelectorAll('button, a, summary')) if (!each.textContent.trim()) faults.push('a control without text');
            const ids = [...document.querySelectorAll('[id]')].map((each) => each.id);
            if (new Set(ids).size !== ids.length) faults.push('an id is there twice');
            if (document.querySelectorAll('[role=tree] [tabindex="0"]').length !== 1) faults.push('not one item of the tree takes the focus');
            for (const group of document.querySelectorAll('[role=group]:not(.turn)'))
              if (group.parentElement.getAttribute('role') !== 'treeitem') faults.push('a group outside of an item');
            return faults;""")
        self.assertEqual(faults, [])

    def test_100000_objects_open_quickly(self):
        self.open("many")
        ready, complete = (float(self.run_script("return document.documentElement.dataset[arguments[0]]", name))
                           for name in ("ready", "complete"))
        size = pathlib.Path(self.folder.name, "many.html").stat().st_size
        start = time.monotonic()
        self.assertEqual(self.run_script("return search('bolt 99939').count"), 1)
        searched = 1000 * (time.monotonic() - start)
        print(f"100,000 objects: {size / 1e6:.1f} MB, tree after {ready:.0f} ms, all after {complete:.0f} ms, search {searched:.0f} ms")
        self.assertEqual(self.run_script("return store.rows.length"), 100000)
        self.assertLess(complete, OPENS_WITHIN)
        self.run_script("reveal(store.rows.length - 1)")
        self.assertIn("bolt 99939", self.focused())

    def test_no_errors_and_no_network(self):
        for page, scheme in [("example", "light"), ("example", "dark"), ("many", "light")]:
            self.open(page, scheme=scheme)
            if page == "example":
                self.unfold()
            self.assertEqual([entry["message"] for entry in self.browser.get_log("browser")], [])
            messages = (json.loads(entry["message"])["message"] for entry in self.browser.get_log("performance"))
            requested = {message["params"]["request"]["url"] for message in messages
                         if message["method"] == "Network.requestWillBeSent"}
            self.assertEqual(requested, {pathlib.Path(self.folder.name, f"{page}.html").as_uri()})

    def test_the_policy_lets_no_other_script_run(self):
        self.open()
        ran = self.run_script("""
            const script = document.createElement('script');
            script.textContent = 'window.wasRun = true';
            document.body.append(script);
            return window.wasRun === true;""")
        self.assertFalse(ran)


if __name__ == "__main__":
    unittest.main()
