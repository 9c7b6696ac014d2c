"""Opens an HTML log in a headless browser and compares what the browser computed.

usage: browser_test.py PROGRAM LOG [SCREENSHOT]

PROGRAM writes the log, whose path is its argument. SCREENSHOT is a PNG file to write. Takes long and
needs a browser, so it runs only where ZA_TEST_ALL is set; elsewhere it exits with 77.
"""

import base64
import contextlib
import json
import os
import pathlib
import re
import subprocess
import sys
import time
import urllib.error
import urllib.request

SKIPPED = 77
DEADLINE = 60  # seconds, for the browser to start

# What the program logs, by the colours of the kinds, and how the browser is to show it.
STAMP = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d "
EXPECTED = [
    ("rgb(0, 140, 0)", "an info"),
    ("rgb(180, 180, 0)", "a warning: 5 < 6 && \"x\" > 'y'"),
    ("rgb(180, 0, 0)", "an error: größe Ω ж <b>not bold</b> &amp;"),
    ("rgb(0, 140, 140)", "another info"),
    ("rgb(180, 180, 140)", "two\n    lines   with   blanks"),
    ("rgb(180, 0, 140)", "another error"),
]
READ_PAGE = """
return {
    title: Array.from(document.querySelectorAll('p font')).map(font => ({
        text: font.innerText, colour: getComputedStyle(font).color})),
    lines: Array.from(document.querySelectorAll('span')).map(span => ({
        text: span.innerText, colour: getComputedStyle(span).color,
        space: getComputedStyle(span).whiteSpace, children: span.children.length})),
};
"""


class Browser:
    """A browser steered through its driver, by the WebDriver protocol."""

    def __init__(self, port):
        self.root = f"http://127.0.0.1:{port}"
        options = {"args": ["--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=900,420",
                            "--disable-dev-shm-usage", "--hide-scrollbars"]}
        capabilities = {"alwaysMatch": {"browserName": "chrome", "goog:chromeOptions": options}}
        self.session = self.call("/session", capabilities=capabilities)["sessionId"]

    def call(self, path, method="POST", **arguments):
        body = json.dumps(arguments).encode() if method == "POST" else None
        request = urllib.request.Request(self.root + path, data=body, method=method)
        with urllib.request.urlopen(request, timeout=DEADLINE) as answer:
            return json.load(answer)["value"]

    def in_session(self, path, method="POST", **arguments):
        return self.call(f"/session/{self.session}{path}", method, **arguments)


@contextlib.contextmanager
def browser():
    """Lets the driver choose its port, and ends both when done."""
    driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
    try:
        ports = (re.search(r"on port (\d+)\.$", line) for line in driver.stdout)
        port = next(match[1] for match in ports if match)
        opened = open_session(port)
        yield opened
        opened.in_session("", "DELETE")
    finally:
        driver.terminate()
        driver.wait()


def open_session(port):
    end = time.monotonic() + DEADLINE
    while True:
        try:
            return Browser(port)
        except urllib.error.URLError:
            if time.monotonic() > end:
                raise


def check(page):
    title = [entry["text"] for entry in page["title"]]
    assert len(title) == 3 and title[0] == title[2] == 52 * "-", title
    assert re.fullmatch(r"Log file from \d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d", title[1]), title
    assert {entry["colour"] for entry in page["title"]} == {"rgb(180, 0, 0)"}, page["title"]
    assert len(page["lines"]) == len(EXPECTED), page["lines"]
    for line, (colour, text) in zip(page["lines"], EXPECTED):
        assert line["colour"] == colour, (line, colour)
        assert re.fullmatch(STAMP + re.escape(text), line["text"]), (line, text)
        assert line["space"] == "pre-wrap" and line["children"] == 0, line


def main():
    if not os.environ.get("ZA_TEST_ALL"):
        print("only where ZA_TEST_ALL is set")
        sys.exit(SKIPPED)
    program, log = sys.argv[1], pathlib.Path(sys.argv[2]).resolve()
    log.unlink(missing_ok=True)
    subprocess.run([program, str(log)], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    with browser() as steered:
        steered.in_session("/url", url=log.as_uri())
        page = steered.in_session("/execute/sync", script=READ_PAGE, args=[])
        if len(sys.argv) > 3:
            picture = steered.in_session("/screenshot", "GET")
            pathlib.Path(sys.argv[3]).write_bytes(base64.b64decode(picture))
    print(json.dumps(page, indent=1, ensure_ascii=False))
    check(page)


main()
