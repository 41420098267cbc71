"""A headless Chromium, driven through chromedriver (W3C WebDriver) with Python's own library."""
import base64
import json
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile
import time
import urllib.request

SWITCHES = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync",
            "--disable-dev-shm-usage", "--hide-scrollbars", "--force-device-scale-factor=1"]
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Browser:
    """One window. `with Browser(1440, 900) as browser: ...`"""

    def __init__(self, width, height, dark=False):
        self.size = (width, height)
        self.dark = dark

    def __enter__(self):
        self.folder = tempfile.mkdtemp(prefix="velorix-web-")
        self.downloads = pathlib.Path(self.folder, "downloads")
        self.downloads.mkdir()
        port = free_port()
        self.base = f"http://127.0.0.1:{port}"
        self.session = None
        self.driver = subprocess.Popen(["chromedriver", f"--port={port}"], stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL)
        try:
            self.wait_for_driver()
            self.open_session()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        try:
            if self.session:
                self.call("DELETE", "")  # ends the browser, which outlives its driver otherwise
        finally:
            self.driver.terminate()
            self.driver.wait(20)
            shutil.rmtree(self.folder, ignore_errors=True)

    def wait_for_driver(self):
        for _ in range(200):
            try:
                with urllib.request.urlopen(self.base + "/status", timeout=5):
                    return
            except OSError:
                time.sleep(0.1)
        raise RuntimeError("chromedriver does not answer")

    def open_session(self):
        width, height = self.size
        options = {
            "args": SWITCHES + [f"--user-data-dir={self.folder}/profile", f"--window-size={width},{height}"] +
                    (["--force-dark-mode", "--blink-settings=preferredColorScheme=0"] if self.dark else []),
            "prefs": {"download.default_directory": str(self.downloads)},
            "perfLoggingPrefs": {"enableNetwork": True},
        }
        wanted = {"browserName": "chrome", "goog:chromeOptions": options,
                  "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"}}
        answer = self.post(self.base + "/session", {"capabilities": {"alwaysMatch": wanted}})
        self.session = answer["sessionId"]
        # The window's inside, whatever the size of its frame: a narrow window is wider than asked for.
        self.cdp("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    @staticmethod
    def post(url, body, method="POST"):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(url, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=120) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def call(self, method, path, body=None):
        if body is None and method == "POST":
            body = {}
        return self.post(f"{self.base}/session/{self.session}{path}", body, method)

    def cdp(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def open(self, path):
        """Opens a report and waits until it is there; the seconds that took."""
        start = time.monotonic()
        self.call("POST", "/url", {"url": pathlib.Path(path).resolve().as_uri()})
        self.wait("return document.documentElement.dataset.ready === 'yes'")
        took = time.monotonic() - start
        self.settle()
        return took

    def run(self, script, *args):
        return self.call("POST", "/execute/sync", {"script": script, "args": list(args)})

    def run_async(self, script, *args):
        return self.call("POST", "/execute/async", {"script": script, "args": list(args)})

    def wait(self, script, *args, seconds=60):
        """Until the script gives something true, which is returned."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            value = self.run(script, *args)
            if value:
                return value
            time.sleep(0.05)
        raise TimeoutError(script)

    def settle(self):
        """Two frames: everything asked for is drawn."""
        self.run_async("const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(() => done(1)))")

    def element(self, selector):
        return self.call("POST", "/element", {"using": "css selector", "value": selector})[ELEMENT]

    def click(self, selector):
        self.call("POST", f"/element/{self.element(selector)}/click")
        self.settle()

    def type(self, selector, text):
        self.call("POST", f"/element/{self.element(selector)}/value", {"text": text})
        self.settle()

    def press(self, *keys):
        """Keys for whatever has the focus."""
        actions = [{"type": kind, "value": key} for key in keys for kind in ("keyDown", "keyUp")]
        self.call("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})
        self.settle()

    def mouse(self, *steps):
        """("move", x, y), ("down",), ("up",): where in the window."""
        actions = []
        for kind, *at in steps:
            if kind == "move":
                actions.append({"type": "pointerMove", "x": round(at[0]), "y": round(at[1]), "duration": 30})
            else:
                actions.append({"type": "pointerDown" if kind == "down" else "pointerUp", "button": 0})
        self.call("POST", "/actions", {"actions": [{"type": "pointer", "id": "mouse", "actions": actions}]})
        self.settle()

    def tab(self, name):
        self.run("[...document.querySelectorAll('[role=tab]')].find((t) => t.textContent === arguments[0]).click()", name)
        self.settle()

    def svg(self, figure):
        return self.run("return velorix.figures.get(arguments[0]).svg()", figure)

    def rows(self, selector):
        """Texts of a table's rows."""
        return self.run("return [...document.querySelectorAll(arguments[0] + ' tbody tr:not([aria-hidden])')]"
                        ".map((row) => [...row.children].map((cell) => cell.textContent))", selector)

    def complaints(self):
        """What the console has said, errors and warnings."""
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})
                if entry["level"] in ("SEVERE", "WARNING")]

    def requests(self):
        """Addresses that were asked for, but for the page itself and what it holds in memory."""
        out = []
        for entry in self.call("POST", "/se/log", {"type": "performance"}):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                url = message["params"]["request"]["url"]
                if not url.startswith(("file:", "blob:", "data:", "chrome:")):
                    out.append(url)
        return out

    def screenshot(self, path, whole=False):
        options = {"format": "png", "captureBeyondViewport": whole}
        if whole:
            size = self.cdp("Page.getLayoutMetrics")["cssContentSize"]
            options["clip"] = {"x": 0, "y": 0, "width": size["width"], "height": size["height"], "scale": 1}
        picture = self.cdp("Page.captureScreenshot", **options)
        os.makedirs(os.path.dirname(os.path.abspath(path)), exist_ok=True)
        pathlib.Path(path).write_bytes(base64.b64decode(picture["data"]))
