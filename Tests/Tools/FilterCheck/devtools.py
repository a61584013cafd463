"""Controls a headless browser through the pipe of its developer tools, without additional packages."""
import base64
import fcntl
import json
import os
import select
import shutil
import subprocess
import tempfile
import time

BROWSERS = ("chromium-headless-shell", "chromium", "google-chrome")
TIMEOUT = 90


class BrowserFailure(Exception):
    """The browser is missing, does not respond, or returned an error."""


def find_browser():
    for name in BROWSERS:
        path = shutil.which(name)
        if path:
            return path
    raise BrowserFailure(f"no browser is installed: none of {', '.join(BROWSERS)}")


class Browser:
    """One page in one browser. Network requests are recorded in `requests`."""

    def __init__(self):
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        # The browser reads from 3 and writes to 4. The pipe ends get higher numbers to avoid a collision.
        commands, self.input = os.pipe()
        self.output, answers = os.pipe()
        high = [fcntl.fcntl(end, fcntl.F_DUPFD, 10) for end in (commands, answers)]
        self.process = subprocess.Popen(
            [find_browser(), "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
             "--hide-scrollbars", "--remote-debugging-pipe", f"--user-data-dir={self.profile.name}", "about:blank"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            pass_fds=(3, 4), preexec_fn=lambda: (os.dup2(high[0], 3), os.dup2(high[1], 4)))
        for end in (commands, answers, *high):
            os.close(end)
        self.buffer = b""
        self.number = 0
        self.events = []
        self.requests = []
        self.session = None
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Network", "Runtime"):
            self.call(f"{domain}.enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        # Closing the browser also ends its child processes. A browser that does not respond is terminated.
        self.session = None
        try:
            self.call("Browser.close")
            self.process.wait(timeout=10)
        except (BrowserFailure, OSError, subprocess.TimeoutExpired):
            self.process.kill()
            self.process.wait()
        os.close(self.input)
        os.close(self.output)
        self.profile.cleanup()

    def receive(self, deadline):
        while b"\0" not in self.buffer:
            ready, _, _ = select.select([self.output], [], [], max(0, deadline - time.monotonic()))
            data = os.read(self.output, 1 << 16) if ready else b""
            if not data:
                raise BrowserFailure("the browser " + ("has ended" if ready else "does not answer"))
            self.buffer += data
        message, _, self.buffer = self.buffer.partition(b"\0")
        message = json.loads(message)
        if "method" in message:
            self.events.append(message["method"])
            if message["method"] == "Network.requestWillBeSent":
                self.requests.append(message["params"]["request"]["url"])
        return message

    def call(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.input, json.dumps(message).encode() + b"\0")
        deadline = time.monotonic() + TIMEOUT
        while True:
            answer = self.receive(deadline)
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise BrowserFailure(f"{method}: {answer['error']['message']}")
                return answer["result"]

    def show(self, path, width, scheme, medium="screen"):
        """Loads a file into a page of a width, in a light or dark color scheme, on screen or in print."""
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=900, deviceScaleFactor=1, mobile=False)
        self.call("Emulation.setEmulatedMedia", media=medium,
                  features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.events.clear()
        self.requests.clear()
        self.call("Page.navigate", url=path.as_uri())
        deadline = time.monotonic() + TIMEOUT
        while "Page.loadEventFired" not in self.events:
            self.receive(deadline)

    def evaluate(self, expression):
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True)
        if "exceptionDetails" in result:
            raise BrowserFailure(str(result["exceptionDetails"]))
        return result["result"].get("value")

    def screenshot(self, path, whole=True):
        """Creates a picture of the whole page, or of the part that the window shows."""
        shot = self.call("Page.captureScreenshot", format="png", captureBeyondViewport=whole)
        path.write_bytes(base64.b64decode(shot["data"]))
