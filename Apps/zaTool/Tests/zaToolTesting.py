"""Runs zaTool on either host, and makes files with checksum footers independently of it."""

import ctypes
import os
import pty
import re
import select
import shutil
import signal
import subprocess
import tempfile
import time
import tty
import unittest
import zlib
from pathlib import Path

EMULATOR = [word for word in os.environ.get("ZATOOL_EMULATOR", "").split(";") if word]
COMMAND = EMULATOR + [os.environ["ZATOOL"]]
ON_WINDOWS = os.environ["ZATOOL"].endswith(".exe")

SUCCESS, WRONG, MISSING, FAILED, USAGE = 0, 1, 2, 3, 64

TIMEOUT = 60  # seconds for one run, which takes milliseconds


def crc(payload):
    return b"%08X" % zlib.crc32(payload)


def footer(digits):
    return b"\0ZARNCRC" + digits


def with_checksum(payload, metadata=b""):
    return payload + footer(crc(payload)) + metadata


def metadata_block(content):
    return content + b"ZARNMETA%08X" % (len(content) + 16)


def host_path(path):
    """A path below a folder as zaTool shows it."""
    return path.replace("/", "\\") if ON_WINDOWS else path


class Result:
    def __init__(self, code, out, err):
        self.code = code
        self.out = out.decode("utf-8", "replace").replace("\r\n", "\n")
        self.err = err.decode("utf-8", "replace").replace("\r\n", "\n")


class ToolTestCase(unittest.TestCase):
    """Each test works in an empty folder of its own, which is the tool's working directory."""

    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="zatool-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def make(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        return name

    def content(self, name):
        return (self.folder / name).read_bytes()

    def run_tool(self, *arguments, **options):
        options.setdefault("stdin", subprocess.DEVNULL)
        options.setdefault("stdout", subprocess.PIPE)
        done = subprocess.run(COMMAND + list(arguments), cwd=self.folder, stderr=subprocess.PIPE,
                              timeout=TIMEOUT, **options)
        return Result(done.returncode, done.stdout or b"", done.stderr)

    def expect(self, code, out, err, *arguments, **options):
        """Runs the tool and compares its exit code and all of its output."""
        result = self.run_tool(*arguments, **options)
        self.assertEqual((code, out, err), (result.code, result.out, result.err))

    def expect_code(self, code, *arguments, **options):
        """Runs the tool and compares its exit code; what it printed tells of a wrong one."""
        result = self.run_tool(*arguments, **options)
        self.assertEqual(code, result.code, result.out[-1000:] + result.err[-1000:])


class Terminal:
    """zaTool on a pseudo-terminal, with a person who types."""

    def __init__(self, folder, *arguments, stdout=None):
        self.keyboard, screen = pty.openpty()
        if ON_WINDOWS:
            tty.setraw(screen)  # a Windows console edits the line itself
        self.shown = b""
        self.process = subprocess.Popen(
            COMMAND + list(arguments), cwd=folder, stdin=screen, stderr=screen,
            stdout=screen if stdout is None else stdout, start_new_session=True,
            env=dict(os.environ, ZA_WINE_DIRECT="1", TERM="xterm"))
        os.close(screen)
        self.deadline = time.monotonic() + TIMEOUT

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        os.close(self.keyboard)

    def text(self):
        """What is on the screen, without the sequences that place and colour it."""
        plain = re.sub(rb"\x1b(\[[0-9;?]*[a-zA-Z]|\][^\x07]*\x07|[=>()][0-9A-Z]?)", b"", self.shown)
        return plain.decode("utf-8", "replace")

    def wait_for(self, text, count=1):
        while self.text().count(text) < count:
            if not self._read():
                raise AssertionError(f"{text!r} does not appear in {self.text()[-1000:]!r}")

    def type(self, keys):
        os.write(self.keyboard, keys)

    def press_end_of_input(self):
        self.type(b"\x1a\r" if ON_WINDOWS else b"\x04")

    def press_interrupt(self):
        """What Ctrl-C comes to; the keys reach a program only through a terminal of its own."""
        self.process.send_signal(signal.SIGINT)

    def exit_code(self):
        while self._read():
            pass
        return self.process.wait(timeout=TIMEOUT)

    def _read(self):
        left = self.deadline - time.monotonic()
        if left <= 0 or not select.select([self.keyboard], [], [], left)[0]:
            raise AssertionError(f"nothing more after {self.text()[-1000:]!r}")
        try:
            data = os.read(self.keyboard, 4096)
        except OSError:  # the other side is closed
            return False
        self.shown += data
        return bool(data)


class Background:
    """zaTool running on until it is interrupted, with its output in a pipe."""

    def __init__(self, folder, *arguments):
        self.errors = open(folder / "errors", "w+b")
        self.process = subprocess.Popen(
            COMMAND + list(arguments), cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=self.errors, env=dict(os.environ, ZA_WINE_DIRECT="1"))
        self.shown = b""
        self.deadline = time.monotonic() + TIMEOUT

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.process.stdout.close()
        self.errors.close()

    def text(self):
        return self.shown.decode("utf-8", "replace").replace("\r\n", "\n")

    def wait_for(self, text):
        while text not in self.text():
            left = self.deadline - time.monotonic()
            if left <= 0 or not select.select([self.process.stdout], [], [], left)[0]:
                raise AssertionError(f"{text!r} does not appear in {self.text()[-1000:]!r}")
            data = os.read(self.process.stdout.fileno(), 65536)
            if not data:
                raise AssertionError(f"ended without {text!r}: {self.end()}")
            self.shown += data

    def interrupt(self):
        """What `end` gives after Ctrl-C."""
        self.process.send_signal(signal.SIGINT)
        return self.end()

    def end(self):
        """Waits for it: exit code, all output and all errors."""
        rest, _ = self.process.communicate(timeout=TIMEOUT)
        self.shown += rest
        self.errors.seek(0)
        return self.process.returncode, self.text(), self.errors.read().decode().replace("\r\n", "\n")


def without_file_privileges():
    """To be called in the child: the permissions of files hold for root, too, from here on."""
    change_bounding_set = 24
    override_permissions, search_everywhere = 1, 2
    libc = ctypes.CDLL(None, use_errno=True)
    for capability in (override_permissions, search_everywhere):
        if os.geteuid() == 0 and libc.prctl(change_bounding_set, capability, 0, 0, 0) != 0:
            raise OSError(ctypes.get_errno(), "cannot give up privileges")


def with_file_size_limit(size):
    """Makes a function for the child, after which writes beyond `size` fail as on a full disk."""
    import resource

    def limit():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        most = resource.getrlimit(resource.RLIMIT_FSIZE)[1]
        resource.setrlimit(resource.RLIMIT_FSIZE, (size, most))

    return limit
