"""Runs the console probe at one end of a pseudo-terminal and reads the other end.

usage: console_test.py HOST PROGRAM [ARGUMENT...]
"""

import os
import pty
import re
import sys

# The sequences that set a foreground colour on the host whose terminals are told colours by them.
POSIX_STREAM = (
    "info\r\n"
    "\033[36mother info\r\n\033[39m"
    "\033[33mwarning ä日\r\n\033[39m"
    "\033[37mother warning\r\n\033[39m"
    "\033[91merror\r\n\033[39m"
    "\033[95mother error\r\n\033[39m"
)
# On the other host the console is told by calls. It paints its screen to the terminal as it likes,
# but the colour in force before each text must be the one that was set.
WINDOWS_COLOURS = [
    ("info", "92"),
    ("other info", "96"),
    ("warning", "33"),
    ("other warning", "37"),
    ("error", "91"),
    ("other error", "95"),
]


def run(command):
    """The program's exit code and everything that it sent to its terminal."""
    received = []

    def read(terminal):
        data = os.read(terminal, 65536)
        received.append(data)
        return data

    os.environ["ZA_WINE_DIRECT"] = "1"  # keep the terminal as the program's standard streams
    status = pty.spawn(command, read)
    return os.waitstatus_to_exitcode(status), b"".join(received).decode("utf-8", "replace")


def foreground_of_texts(stream):
    """Each piece of text with the foreground colour in force; 39 stands for the default."""
    pieces = []
    colour = "39"
    for text, parameters in re.findall(r"([^\033]+)|\033\[([0-9;]*)m", stream):
        if text:
            pieces.append((text, colour))
            continue
        for parameter in parameters.split(";"):
            if parameter in ("", "0"):
                colour = "39"
            elif re.fullmatch(r"3[0-79]|9[0-7]", parameter):
                colour = parameter
    return pieces


def main():
    host, command = sys.argv[1], sys.argv[2:]
    code, stream = run(command)
    print(repr(stream))
    if code != 0:
        sys.exit(f"the console does not show what it should (exit code {code})")
    if host == "Posix":
        if stream != POSIX_STREAM:
            sys.exit(f"the terminal was sent something else than\n{POSIX_STREAM!r}")
        return
    pieces = foreground_of_texts(re.sub(r"\033\[[0-9;?]*[A-Za-ln-z]", "", stream))
    for text, colour in WINDOWS_COLOURS:
        if not any(text in piece and colour == shown for piece, shown in pieces):
            sys.exit(f"'{text}' did not come in colour {colour}: {pieces!r}")


main()
