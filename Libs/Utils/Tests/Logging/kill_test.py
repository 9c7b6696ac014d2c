"""Kills a program that logs from several threads, again and again: no acknowledged line is lost.

usage: kill_test.py PROGRAM [ARGUMENT...]

PROGRAM writes "killed.log" and, a byte for each line that it knows to be written, "threadN".
100 rounds; 500 when the environment variable ZA_TEST_ALL is set.
"""

import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import time

THREADS = 4
ROUNDS = 500 if os.environ.get("ZA_TEST_ALL") else 100
LONGEST_LIFE = 0.02  # seconds from the first acknowledged line on
LINE = re.compile(rb"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d INFO 100 thread (\d) line (\d+) ends here\r?\n")


def acknowledged(folder):
    """How many lines each thread knows to be written."""
    counts = []
    for thread in range(THREADS):
        file = folder / f"thread{thread}"
        counts.append(file.stat().st_size if file.exists() else 0)
    return counts


def run_and_kill(command, folder):
    process = subprocess.Popen(
        command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
    )
    try:
        deadline = time.monotonic() + 30
        while not any(acknowledged(folder)):
            if process.poll() is not None or time.monotonic() > deadline:
                sys.exit(f"the program does not log (exit code {process.poll()})")
            time.sleep(0.0005)
        time.sleep(random.uniform(0, LONGEST_LIFE))
    finally:
        process.kill()
        process.wait()


def complaint(log, counts):
    """What is wrong with the log, if anything. Only its last line may have been cut short."""
    next_lines = [0] * THREADS
    position = 0
    while match := LINE.match(log, position):
        thread, number = int(match[1]), int(match[2])
        if number != next_lines[thread]:
            return f"line {number} of thread {thread} came when {next_lines[thread]} was due"
        next_lines[thread] += 1
        position = match.end()
    if b"\n" in log[position:]:
        return f"not a line: {log[position:position + 100]!r}"
    for thread, count in enumerate(counts):
        # A call may have been killed between writing and acknowledging.
        if not count <= next_lines[thread] <= count + 1:
            return f"thread {thread} wrote {next_lines[thread]} lines and acknowledged {count}"
    return None


def main():
    os.environ["ZA_WINE_DIRECT"] = "1"  # what is killed is the program, not a script around it
    total = 0
    for number in range(ROUNDS):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            run_and_kill(sys.argv[1:], folder)
            counts = acknowledged(folder)
            if text := complaint((folder / "killed.log").read_bytes(), counts):
                sys.exit(f"round {number}: {text}")
            total += sum(counts)
    print(f"killed {ROUNDS} times, {total} acknowledged lines, none lost")


main()
