"""A browser without a window, driven by the WebDriver protocol."""

import base64
import json
import pathlib
import re
import shutil
import subprocess
import time
import urllib.request

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # the protocol's name for one


def wait_for(what, seconds=10):
    """Calls what() until it is true; its value."""
    end = time.monotonic() + seconds
    while not (value := what()):
        if time.monotonic() > end:
            raise AssertionError(f"not within {seconds} s: {what.__doc__ or what}")
        time.sleep(0.02)
    return value


class Browser:
    """With a size of its window in pixels."""

    @staticmethod
    def missing():
        """The programs that are not here."""
        return [name for name in ("chromium", "chromedriver") if not shutil.which(name)]

    def __init__(self, width=1280, height=900):
        # pylint: disable=consider-using-with
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        line = ""
        while not (found := re.search(r"on port ([1-9]\d*)", line)):
            line = self.driver.stdout.readline()
            if not line:
                raise AssertionError("chromedriver does not start")
        self.base = f"http://127.0.0.1:{found[1]}"
        options = {
            "args": ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     f"--window-size={width},{height}"]
        }
        wanted = {"browserName": "chrome", "goog:chromeOptions": options,
                  "goog:loggingPrefs": {"browser": "ALL"}}
        try:
            opened = self.call("POST", "/session", {"capabilities": {"alwaysMatch": wanted}})
        except Exception:
            self.driver.terminate()
            raise
        self.base += f"/session/{opened['sessionId']}"
        self.resize(width, height)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self.call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait()
            self.driver.stdout.close()

    def call(self, method, path, body=None):
        data = json.dumps(body).encode() if body is not None else None
        request = urllib.request.Request(self.base + path, data, method=method)
        with urllib.request.urlopen(request, timeout=60) as answer:
            return json.load(answer)["value"]

    def resize(self, width, height):
        """The page gets that much room, also less than a window can have."""
        self.call("POST", "/goog/cdp/execute", {
            "cmd": "Emulation.setDeviceMetricsOverride",
            "params": {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False}})

    def open(self, url):
        self.call("POST", "/url", {"url": url})

    def run(self, script, *arguments):
        """The value that the body of a function in JavaScript returns."""
        return self.call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def find(self, selector):
        return self.call("POST", "/element", {"using": "css selector", "value": selector})[ELEMENT]

    def click(self, selector):
        self.call("POST", f"/element/{self.find(selector)}/click", {})

    def type(self, selector, text):
        """Replaces what a field holds. "\\ue007" is Enter."""
        field = self.find(selector)
        self.call("POST", f"/element/{field}/value", {"text": "\ue009a\ue000" + text})

    def text(self, selector):
        """The text of the elements, as it is shown."""
        return self.run("return [...document.querySelectorAll(arguments[0])]"
                        ".map(e => e.innerText ?? e.textContent).join('\\n')", selector)

    def console(self):
        """What the console of the page was told since the last call."""
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})]

    def shoot(self, path):
        picture = base64.b64decode(self.call("GET", "/screenshot"))
        pathlib.Path(path).write_bytes(picture)
