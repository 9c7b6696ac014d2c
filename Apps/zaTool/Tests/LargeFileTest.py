"""Large files: positions beyond 4 GiB are right, and memory does not grow with the file."""

import ctypes
import os
import re
import subprocess
import time
import unittest
import zlib

from zaToolTesting import COMMAND, SUCCESS, WRONG, ToolTestCase, crc, footer, metadata_block

MIB = 1 << 20
GIB = 1 << 30
ALLOWED_GROWTH = 16 * MIB

# The bytes on both sides of the 4 GiB mark, in a file that is otherwise a hole.
MARKED_POSITION = 4 * GIB - 5
MARK = b"0123456789"
PAYLOAD_SIZE = 4 * GIB + 12345
METADATA = metadata_block(b"m" * 1000)


def payload_crc():
    hole = bytes(16 * MIB)
    value = 0
    for start in range(0, MARKED_POSITION, len(hole)):
        value = zlib.crc32(hole[:min(len(hole), MARKED_POSITION - start)], value)
    value = zlib.crc32(MARK, value)
    return zlib.crc32(bytes(PAYLOAD_SIZE - MARKED_POSITION - len(MARK)), value)


def adopt_orphans():
    set_child_subreaper = 36
    if ctypes.CDLL(None, use_errno=True).prctl(set_child_subreaper, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "cannot become the parent of orphaned processes")


class LargeFile(ToolTestCase):
    @classmethod
    def setUpClass(cls):
        adopt_orphans()
        cls.digits = b"%08X" % payload_crc()

    def setUp(self):
        super().setUp()
        with open(self.folder / "large", "wb") as file:
            file.truncate(PAYLOAD_SIZE)
            file.seek(MARKED_POSITION)
            file.write(MARK)
            file.seek(PAYLOAD_SIZE)
            file.write(footer(self.digits) + METADATA)

    def overwrite(self, position, data):
        with open(self.folder / "large", "r+b") as file:
            file.seek(position)
            file.write(data)

    def measure(self, *arguments):
        """Exit code, output and peak memory in bytes of one run."""
        with open(self.folder / "out", "w+b") as out:
            process = self.start_from_small_parent(arguments)
            started = time.monotonic()
            _, status, usage = os.wait4(process, 0)
            seconds = time.monotonic() - started
            text = out.read().decode().replace("\r\n", "\n")
        text = re.sub(r"(?m)^(Checksums|Reading): +\d+% ?.*\n", "", text)  # the progress
        peak = usage.ru_maxrss * 1024
        print(f"\n{' '.join(arguments)}: {peak / MIB:.1f} MiB, {seconds:.2f} s", flush=True)
        return os.waitstatus_to_exitcode(status), text, peak

    def start_from_small_parent(self, arguments):
        """Starts the tool as a child of ours that was forked from a shell.

        A child's peak counts the memory of the process that it was forked from, and ours would hide
        the tool's. The tool starts only when the shell is gone, which else might wait for it first.
        """
        script = 'exec 3<&0; { read -r go <&3; exec "$@" 3<&-; } >out 2>&1 & echo $!'
        gate, opener = os.pipe()
        try:
            shell = subprocess.run(["/bin/sh", "-c", script, "sh", *COMMAND, *arguments],
                                   cwd=self.folder, env=dict(os.environ, ZA_WINE_DIRECT="1"),
                                   stdin=gate, stdout=subprocess.PIPE, check=True)
        finally:
            os.close(gate)
            os.close(opener)
        return int(shell.stdout)

    def test_verify_finds_a_byte_beyond_4_gib_in_constant_memory(self):
        digits = self.digits.decode()
        _, _, empty_run = self.measure("--version")
        code, text, peak = self.measure("checksum", "verify", "large")
        self.assertEqual((SUCCESS, f"large: correct {digits}\n"), (code, text))
        self.assertLess(peak - empty_run, ALLOWED_GROWTH)

        self.overwrite(PAYLOAD_SIZE - 1, b"\x01")
        code, text, peak = self.measure("checksum", "verify", "large")
        self.assertEqual(WRONG, code)
        self.assertRegex(text, f"^large: wrong checksum: computed [0-9A-F]{{8}}, stored {digits}\n$")
        self.assertLess(peak - empty_run, ALLOWED_GROWTH)

    def test_show_strip_and_skip_reach_beyond_4_gib(self):
        line = (f"large: {self.digits.decode()}, payload {PAYLOAD_SIZE} bytes, "
                f"footer at {PAYLOAD_SIZE}, metadata {len(METADATA)} bytes\n")
        self.expect(SUCCESS, line, "", "checksum", "show", "large")

        # The largest head leaves out all but the last bytes, which are known.
        skip = 4 * GIB - 1
        rest = MARK[4:] + bytes(PAYLOAD_SIZE - MARKED_POSITION - len(MARK))
        self.overwrite(PAYLOAD_SIZE, footer(crc(rest)))
        self.expect(SUCCESS, f"large: correct {crc(rest).decode()}\n", "",
                    "checksum", "verify", "--skip", str(skip), "large")

        self.expect_code(SUCCESS, "checksum", "strip", "large")
        with open(self.folder / "large", "rb") as file:
            file.seek(PAYLOAD_SIZE - 1)
            self.assertEqual(b"\0" + METADATA, file.read())

    def test_a_long_log_is_shown_in_constant_memory(self):
        lines = [b"2024-03-07 09:00:%02d INFO 100 %s\n" % (second, b"x" * 200) for second in range(60)]
        for name, line_end in (("a", b"\n"), ("b", b"\r\n")):
            with open(self.folder / name, "wb") as file:
                for line in lines:
                    file.write(line.replace(b"\n", line_end) * 5000)
        with open(self.folder / "c", "wb") as file:
            file.write(lines[0] + b"no entry begins here\n" * (3 * MIB) + b"x" * (64 * MIB))
        _, _, empty_run = self.measure("--version")
        for arguments, count in ((["a"], 0), (["a", "b", "-i"], 0), (["c", "--text", "xxx", "-n", "1"], 1),
                                 (["a", "b", "--nr", "100", "-n", "3"], 3)):
            text = [] if count else ["--text", "needle"]
            code, out, peak = self.measure("log", *text, *arguments)
            self.assertEqual((SUCCESS, count), (code, out.count("\n")))
            self.assertLess(peak - empty_run, ALLOWED_GROWTH)


if __name__ == "__main__":
    unittest.main()
