#!/usr/bin/env python3
"""Drives headless Chromium through chromedriver's HTTP interface; see scripts/check_report."""

import base64
import json
import os
import pathlib
import re
import subprocess
import sys
import urllib.request

WIDTHS = (1200, 360)
faults = []


def check(good, what):
    print(("ok      " if good else "FAILED  ") + what)
    if not good:
        faults.append(what)


class Browser:
    """One session; `cdp` reaches what the driver protocol has no word for, like narrow windows."""

    def __init__(self):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        port = None
        for line in self.driver.stdout:
            found = re.search(r"started successfully on port (\d+)", line)
            if found:
                port = found.group(1)
                break
        if port is None:
            raise SystemExit("chromedriver does not start")
        self.base = f"http://127.0.0.1:{port}/session"
        arguments = ["--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars"]
        if os.geteuid() == 0:
            arguments.append("--no-sandbox")
        wanted = {"alwaysMatch": {"goog:chromeOptions": {"args": arguments}, "goog:loggingPrefs": {"browser": "ALL"}}}
        self.base += "/" + self.call("", {"capabilities": wanted})["sessionId"]

    def call(self, path, body=None, method="POST"):
        data = json.dumps(body or {}).encode() if method == "POST" else None
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"}, method=method)
        with urllib.request.urlopen(request, timeout=120) as answer:
            return json.load(answer)["value"]

    def cdp(self, command, **parameters):
        return self.call("/goog/cdp/execute", {"cmd": command, "params": parameters})

    def script(self, text):
        return self.call("/execute/sync", {"script": text, "args": []})

    def screenshot(self, clip=None):
        extra = {"clip": dict(clip, scale=1)} if clip else {}
        shot = self.cdp("Page.captureScreenshot", captureBeyondViewport=True, **extra)
        return base64.b64decode(shot["data"])

    def difference(self, one, other):
        """Mean difference of two screenshots in grey levels; the page's own canvas decodes them."""
        images = ["data:image/png;base64," + base64.b64encode(png).decode() for png in (one, other)]
        return self.call("/execute/async", {"args": images, "script": """
            const [a, b, done] = arguments;
            const pixels = async uri => {
              const image = new Image();
              image.src = uri;
              await image.decode();
              const canvas = new OffscreenCanvas(image.width, image.height).getContext("2d");
              canvas.drawImage(image, 0, 0);
              return canvas.getImageData(0, 0, image.width, image.height).data;
            };
            Promise.all([pixels(a), pixels(b)]).then(([p, q]) =>
              done(p.reduce((sum, v, i) => sum + Math.abs(v - q[i]), 0) / (0.75 * p.length)));"""})

    def close(self):
        try:
            self.call("", method="DELETE")
        finally:
            self.driver.terminate()
            self.driver.wait()


def press(browser, x, y):
    steps = [{"type": "pointerMove", "x": round(x), "y": round(y)}, {"type": "pointerDown", "button": 0},
             {"type": "pointerUp", "button": 0}]
    browser.call("/actions", {"actions": [{"type": "pointer", "id": "mouse", "actions": steps}]})


def keys(browser, key, times):
    steps = [{"type": kind, "value": key} for _ in range(times) for kind in ("keyDown", "keyUp")]
    browser.call("/actions", {"actions": [{"type": "key", "id": "keys", "actions": steps}]})


def split_of(browser):
    return browser.script("""const clip = getComputedStyle(document.querySelector("#pair .after")).clipPath;
        return parseFloat(clip.match(/([\\d.]+)%\\)$/)[1]);""")


def check_slider(browser, width):
    browser.script('document.getElementById("pair").scrollIntoView({block: "center"})')
    box = browser.script("""const b = document.getElementById("pair").getBoundingClientRect();
        return {x: b.x, y: b.y, width: b.width, height: b.height, top: b.y + scrollY};""")
    # Between a quarter and half of the width, and right of the middle, clear of the handle and the labels.
    moved = {"x": box["x"] + 0.30 * box["width"], "y": box["top"] + 0.60 * box["height"],
             "width": 0.12 * box["width"], "height": 0.35 * box["height"]}
    still = dict(moved, x=box["x"] + 0.70 * box["width"])
    at_half = browser.screenshot(moved), browser.screenshot(still)
    press(browser, box["x"] + 0.25 * box["width"], box["y"] + 0.4 * box["height"])
    check(abs(split_of(browser) - 25) < 1, f"width {width}: a click at a quarter moves the split there")
    at_quarter = browser.screenshot(moved), browser.screenshot(still)
    changed = browser.difference(at_half[0], at_quarter[0])
    unchanged = browser.difference(at_half[1], at_quarter[1])
    check(changed > 1, f"width {width}: the picture changes where the split passed ({changed:.2f} grey levels)")
    check(unchanged < 0.1, f"width {width}: and nowhere else ({unchanged:.2f})")
    before = split_of(browser)
    keys(browser, "\ue014", 6)  # right arrow
    check(split_of(browser) > before, f"width {width}: arrow keys move it too ({before} to {split_of(browser)})")
    keys(browser, "\ue011", 1)  # home
    check(split_of(browser) == 0, f"width {width}: Home shows the result alone")
    rest = browser.difference(browser.screenshot(moved), at_quarter[0])
    check(rest < 0.1, f"width {width}: what the split uncovered was the result ({rest:.2f})")


def check_width(browser, url, width, folder):
    browser.cdp("Emulation.setDeviceMetricsOverride", width=width, height=800, deviceScaleFactor=1, mobile=False)
    browser.call("/url", {"url": url})
    overflow = browser.script("return document.documentElement.scrollWidth - innerWidth")
    check(overflow <= 0, f"width {width}: nothing runs over the side ({overflow} px)")
    broken = browser.script("return [...document.images].filter(i => !i.complete || !i.naturalWidth).length")
    count = browser.script("return document.images.length")
    check(count > 4 and broken == 0, f"width {width}: all {count} pictures are shown")
    loaded = browser.script('return performance.getEntriesByType("resource").map(e => e.name)'
                            '.filter(n => !n.startsWith("data:"))')
    check(loaded == [], f"width {width}: nothing is loaded from elsewhere {loaded or ''}")
    check_slider(browser, width)
    browser.script('const s = document.getElementById("split"); s.value = 50; s.dispatchEvent(new Event("input"));'
                   's.blur(); scrollTo(0, 0)')
    for scheme in ("light", "dark"):
        browser.cdp("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        size = browser.cdp("Page.getLayoutMetrics")["cssContentSize"]
        name = folder / f"report-{width}-{scheme}.png"
        name.write_bytes(browser.screenshot({"x": 0, "y": 0, "width": width, "height": size["height"]}))
        print("        " + str(name))


def main():
    page, folder = pathlib.Path(sys.argv[1]).resolve(strict=True), pathlib.Path(sys.argv[2])
    folder.mkdir(exist_ok=True)
    browser = Browser()
    try:
        for width in WIDTHS:
            check_width(browser, page.as_uri(), width, folder)
        said = [entry["message"] for entry in browser.call("/se/log", {"type": "browser"})]
        check(said == [], f"the console stays silent {said or ''}")
    finally:
        browser.close()
    print(f"{len(faults)} failed" if faults else "all good")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
