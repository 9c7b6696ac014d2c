"""Runs the progress probe with a terminal, with its user's Ctrl-C, and without a terminal.

usage: console_progress_test.py PROGRAM [ARGUMENT...]
"""

import fcntl
import os
import pty
import re
import struct
import subprocess
import sys
import termios
import unicodedata

COMMAND = sys.argv[1:]
LABEL = "Working on 日本 with a label that is much too long to fit"
COLUMNS = 60
CTRL_C = b"\x03"
# One host's terminals are sent single characters, with the cursor hidden and moved in between.
CONTROL_SEQUENCE = re.compile(r"\033\[(1C|[0-9;?]*[A-Za-z])")


def expect(condition, message, stream):
    if not condition:
        sys.exit(f"{message}: {stream!r}")


def run_on_terminal(seconds, *prompts):
    """All that came to the terminal. Ctrl-C is pressed at each prompt, one after the other."""
    pid, terminal = pty.fork()
    if pid == 0:
        fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 24, COLUMNS, 0, 0))
        os.environ["ZA_WINE_DIRECT"] = "1"  # keep the terminal as the program's standard streams
        os.execvp(COMMAND[0], [*COMMAND, str(seconds)])
    received, stream, prompts = b"", "", list(prompts)
    while data := read(terminal):
        received += data
        text = received.decode("utf-8", "replace")
        stream = CONTROL_SEQUENCE.sub(lambda match: " " if match[1] == "1C" else "", text)
        if prompts and prompts[0] in stream:
            del prompts[0]
            os.write(terminal, CTRL_C)
    os.waitpid(pid, 0)
    return stream


def read(terminal):
    try:
        return os.read(terminal, 65536)
    except OSError:  # the other end is closed
        return b""


def width(text):
    return sum(2 if unicodedata.east_asian_width(c) in "WF" else 1 for c in text)


stream = run_on_terminal(1)
expect(all(width(line) < COLUMNS for line in re.split(r"[\r\n]+", stream)), "too wide", stream)
expect(re.search(r"Working on .*\[#+\] 100%", stream), "not complete", stream)

stream = run_on_terminal(20, "%/s", "asked to stop")
expect("cancelled" in stream, "the first Ctrl-C did not ask to stop", stream)
expect("survived" not in stream, "the second Ctrl-C did not end the program", stream)

result = subprocess.run([*COMMAND, "0.2"], capture_output=True, check=True, encoding="utf-8")
lines = result.stderr.splitlines()
expect(lines[:-1] == [f"{LABEL}: {tenth}0%" for tenth in range(1, 10)], "tenths", result.stderr)
expect(lines[-1].startswith(f"{LABEL}: 100% in 0:0"), "wrong end", result.stderr)
expect(result.stdout.splitlines() == ["done"], "standard output has more", result.stdout)
