#!/usr/bin/env python3
"""The page of kxcms report as a browser shows it: what is where, and what pixels show.

Environment: KXCMS (the command), KXCMS_SAMPLE (the sample generator).
"""

import html
import json
import os
import re
import shutil
import subprocess
import sys

from PIL import Image

import report_test
import surroundings

BROWSER = shutil.which("chromium")

# Tells where things are, in a copy of the page: the page itself has no script.
SCRIPT = """<script>
addEventListener('load', () => {
  const rect = e => {
    const r = e.getBoundingClientRect();
    return [r.left + scrollX, r.top + scrollY, r.right + scrollX, r.bottom + scrollY];
  };
  const plots = [...document.querySelectorAll('svg.plot')].map(svg => ({
    name: svg.getAttribute('class').split(' ')[1], rect: rect(svg),
    x: svg.getAttribute('data-x').split(' ').map(Number),
    y: svg.getAttribute('data-y').split(' ').map(Number),
    width: Number(svg.getAttribute('viewBox').split(' ')[2]),
    texts: [...svg.querySelectorAll('text')].map(t => [t.textContent, rect(t)]),
    axes: rect(svg.querySelector('.axes'))}));
  const told = {plots, width: document.documentElement.scrollWidth,
    height: document.documentElement.scrollHeight, inner: innerWidth,
    blocks: [...document.querySelectorAll('section')].map(s => [...s.children].map(rect)),
    images: [...document.images].map(i => [i.complete, i.naturalWidth])};
  document.body.innerHTML = '<pre id="told"></pre>';
  document.getElementById('told').textContent = JSON.stringify(told);
});
</script></body>"""


def overlap(one, two, allowance=0.5):
    return (one[0] < two[2] - allowance and two[0] < one[2] - allowance
            and one[1] < two[3] - allowance and two[1] < one[3] - allowance)


class Browser(report_test.Pictures):
    def setUp(self):
        super().setUp()
        self.sample()
        dice = [([n / 90, n * n / 8100, (90 - n) / 90], [n, 40 - n, n - 30]) for n in range(90)]
        self.write("chart.ti3", report_test.chart(dice))
        self.found = self.report("scanner.icc", options=(
            "--image", "scan-8.tif", "--chart", "chart.ti3", "--compare", report_test.ADOBE))
        self.found = self.found["profiles"][0]

    def browse(self, *options, page="page.html", width=1100, height=1000):
        done = subprocess.run(
            [BROWSER, "--headless", "--disable-gpu", "--hide-scrollbars", "--no-first-run",
             f"--user-data-dir={self.path('browser')}", "--force-device-scale-factor=1",
             *(["--no-sandbox"] if os.geteuid() == 0 else []), f"--window-size={width},{height}",
             *options, "file://" + self.path(page)],
            cwd=self.folder, stdin=subprocess.DEVNULL, capture_output=True, timeout=300)
        self.assertEqual(done.returncode, 0, done.stderr[-500:])
        return done.stdout.decode()

    def layout(self, width=1100):
        page = self.read("page.html").decode()
        self.write("told.html", page.replace("</body>", SCRIPT).encode())
        shown = self.browse("--dump-dom", page="told.html", width=width)
        return json.loads(html.unescape(re.search('<pre id="told">(.*?)</pre>', shown, re.S)[1]))

    def screenshot(self, height, *options):
        self.browse("--screenshot=" + self.path("page.png"), *options, height=height)
        return Image.open(self.path("page.png")).convert("RGB")

    def test_nothing_overlaps(self):
        for width in (1100, 600):
            layout = self.layout(width)
            self.assertLessEqual(layout["width"], layout["inner"], "the page is wider than the window")
            self.assertGreater(len(layout["plots"]), 18)
            rects = [plot["rect"] for plot in layout["plots"]]
            for n, one in enumerate(rects):
                for two in rects[n + 1:]:
                    self.assertFalse(overlap(one, two))
            for plot in layout["plots"]:
                with self.subTest(plot["name"], width=width):
                    self.assertGreater(len(plot["texts"]), 6)
                    for n, (text, one) in enumerate(plot["texts"]):
                        left, top, right, bottom = plot["rect"]
                        self.assertGreaterEqual(one[0], left - 1, text)
                        self.assertLessEqual(one[2], right + 1, text)
                        self.assertGreaterEqual(one[1], top - 1, text)
                        self.assertLessEqual(one[3], bottom + 1, text)
                        for other, two in plot["texts"][n + 1:]:
                            self.assertFalse(overlap(one, two), (text, other))
            for blocks in layout["blocks"]:
                for n, one in enumerate(blocks):
                    for two in blocks[n + 1:]:
                        self.assertFalse(overlap(one, two))

    def test_pixels(self):
        layout = self.layout()
        self.assertEqual(layout["images"], [[True, 160]] * 3)
        picture = self.screenshot(layout["height"] + 200)
        points = self.stated_points("scanner.icc", self.found)
        seen = set()
        for plot in layout["plots"]:
            scale = (plot["rect"][2] - plot["rect"][0]) / plot["width"]

            def pixel(x, y, plot=plot, scale=scale):
                return [start + scale * (p0 + (p1 - p0) * (value - low) / (high - low))
                        for value, (low, high, p0, p1), start in
                        zip((x, y), (plot["x"], plot["y"]), plot["rect"])]
            (left, right), (bottom, top) = plot["x"][:2], plot["y"][:2]
            with self.subTest(plot["name"]):
                for x, y in ((left, (bottom + top) / 2), ((left + right) / 2, bottom)):
                    self.expect_color(picture, pixel(x, y), self.DARK)
                if plot["name"] not in seen:
                    for x, y, color in points.get(plot["name"], ()):
                        self.expect_color(picture, pixel(x, y), color)
            seen.add(plot["name"])
        self.assertLessEqual(points.keys(), seen)
        self.assertLessEqual({"grid", "intents", "compared", "chart", "chart-accuracy",
                              "histogram-before", "histogram-after"}, seen)

    def test_dark(self):
        picture = self.screenshot(1000, "--blink-settings=preferredColorScheme=0")
        self.assertEqual(picture.getpixel((3, 3)), (0x18,) * 3)
        self.assertEqual(self.screenshot(1000).getpixel((3, 3)), (255,) * 3)

    def test_print(self):
        """Every section gets onto paper."""
        self.browse("--print-to-pdf=" + self.path("page.pdf"))
        text = subprocess.run(["pdftotext", "page.pdf", "-"], cwd=self.folder, check=True,
                              capture_output=True).stdout.decode()
        for title in ("Neutral axis", "Gamut", "Colour grid", "Accuracy of the conversion",
                      "Chart chart.ti3", "Image scan-8.tif"):
            self.assertIn(title, text)


if __name__ == "__main__":
    if BROWSER is None:
        print("SKIP: chromium is not installed")
        sys.exit(surroundings.SKIPPED)
    surroundings.main()
