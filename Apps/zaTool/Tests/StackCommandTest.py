"""zaTool stack, on a program that waits."""

import os
import shutil
import subprocess
import unittest
from pathlib import Path

from zaToolTesting import COMMAND, EMULATOR, FAILED, ON_WINDOWS, SUCCESS, ToolTestCase, USAGE

PROBE = EMULATOR + [os.environ["ZA_STACK_PROBE"]]


class Stacks(ToolTestCase):
    def setUp(self):
        super().setUp()
        self.probe = subprocess.Popen(PROBE, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                      env=dict(os.environ, ZA_WINE_DIRECT="1"))
        self.process_id = self.probe.stdout.readline().decode().strip()

    def tearDown(self):
        self.probe.stdin.close()
        self.assertEqual(0, self.probe.wait(timeout=60), "the probe has not gone on")
        self.probe.stdout.close()

    def test_show_every_thread_which_then_goes_on(self):
        for _ in range(3):
            result = self.run_tool("stack", self.process_id)
            self.assertEqual((SUCCESS, ""), (result.code, result.err))
            threads = result.out.split("Thread ")[1:]
            self.assertGreaterEqual(len(threads), 2)
            for function in ("waitForTheEnd", "sleepUntilTheEnd"):
                matching = [t for t in threads if f"StackProbe.cpp (" in t and function in t]
                self.assertEqual(1, len(matching), result.out)

    def test_fail_for_what_is_no_process(self):
        result = self.run_tool("stack", "2147483600")
        self.assertEqual((FAILED, ""), (result.code, result.out))
        self.assertIn("no process 2147483600", result.err)
        self.expect_code(USAGE, "stack", "x")

    @unittest.skipIf(ON_WINDOWS, "everything belongs to one user there")
    def test_fail_without_permission(self):
        def become_nobody():
            if os.geteuid() == 0:
                os.setuid(65534)

        result = self.run_tool("stack", "1", preexec_fn=become_nobody)
        self.assertEqual(FAILED, result.code)
        self.assertNotIn(" (", result.out)


@unittest.skipIf(ON_WINDOWS, "the library has another name and other places there")
class WithoutSymbolLibrary(ToolTestCase):
    """A program looks for the library beside itself first: there lies one that is none, or another."""

    def run_copy(self, program, library, *arguments):
        copy = self.folder / Path(program).name
        shutil.copy(program, copy)
        if isinstance(library, bytes):
            (self.folder / "libdw.so.1").write_bytes(library)
        else:
            shutil.copy(library, self.folder / "libdw.so.1")
        return subprocess.run([copy, *arguments], capture_output=True, text=True, timeout=60,
                              stdin=subprocess.DEVNULL)

    def test_shows_names_but_no_lines(self):
        foreign = next(Path(PROBE[-1]).parent.glob("libzaProduct.so*"))
        for library in (b"", b"\x7fELF no library", foreign):
            with self.subTest(library=library):
                done = self.run_copy(PROBE[-1], library, "self")
                self.assertEqual(0, done.returncode)
                self.assertIn("(filename not available): zaUtils::printBTalways()", done.stderr)
                self.assertNotIn(".cpp (", done.stderr)
                done = self.run_copy(COMMAND[-1], library, "stack", str(os.getpid()))
                self.assertEqual((FAILED, ""), (done.returncode, done.stderr))
                self.assertIn("shows nothing", done.stdout)


if __name__ == "__main__":
    unittest.main()
