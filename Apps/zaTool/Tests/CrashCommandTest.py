"""The reports of zaTool crash, of each kind and on either host."""

import re
import unittest

from zaToolTesting import FAILED, ON_WINDOWS, ToolTestCase, USAGE

# What the first line says, and the function to blame.
KINDS = {
    "null-pointer": ("null pointer access", "crashOnNullPointer"),
    "null-call": ("call of a null pointer", "callNullPointer"),
    "abort": (r"abort \(SIGABRT\)", "abortDeliberately"),
    "stack-overflow": ("stack overflow", "overflowStack(Further)?"),
    # The Windows compiler leaves the place of a pure function in its table empty.
    "pure-call": ("pure virtual function called|call of a null pointer",
                  "(Shape::announce|callPureFunction)"),
    "heap-corruption": (".", "corruptHeap"),
    "exception": ("uncaught exception of type std::runtime_error: nobody catches this", "throwUncaught"),
}  # fmt: skip

HEADINGS = [r"Stack of thread \d+, which crashed", r"Last error of the thread: \d+",
            r"Last messages of the log: 1", "Modules", "Machine", r"Written in \d+ ms"]


class CrashReports(ToolTestCase):
    def crash(self, *arguments):
        """Exit code and report; there is exactly one."""
        result = self.run_tool("crash", *arguments)
        self.assertNotIn("has survived", result.out)
        reports = list(self.folder.iterdir())
        self.assertEqual(1, len(reports), (result.out, result.err))
        self.assertRegex(reports[0].name, r"^zaTool-crash-\d{8}-\d{6}-\d+\.txt$")
        text = reports[0].read_text(encoding="utf-8", errors="replace")
        reports[0].unlink()
        return result.code, text

    def check(self, text, reason, culprit):
        lines = text.splitlines()
        self.assertRegex(lines[0], f"^zaTool has crashed: .*({reason})")
        self.assertRegex(lines[1], rf"^in \(anonymous namespace\)::{culprit} "
                                   rf"\(.*Crashes\.cpp:\d+\) \[zaTool(\.exe)?\+0x[0-9A-F]+\]$")
        self.assertRegex(lines[2], r"^at \d+-\d\d-\d\d \d\d:\d\d:\d\d UTC, process \d+, thread \d+$")
        self.assertIn('version "zaTool"', lines[3])
        found = [next((i for i, line in enumerate(lines) if re.fullmatch(heading, line.split(" (")[0])), None)
                 for heading in HEADINGS]
        self.assertEqual(sorted(found), found, HEADINGS)
        self.assertLess(int(lines[-1].split()[2]), 2000)
        self.assertTrue(any(re.search(r"zaTool(\.exe)?(, |$)", line) for line in lines[found[3]:]))
        self.assertRegex(text, r"\n\d+ processors: \S")

    def test_name_the_culprit_first(self):
        for kind, (reason, culprit) in KINDS.items():
            for worker in ([], ["--worker"]):
                with self.subTest(kind=kind, worker=worker):
                    code, text = self.crash(kind, *worker)
                    self.assertNotEqual(0, code)
                    if not ON_WINDOWS:  # the signal that would have come anyway
                        self.assertIn(code, (-6, -11))
                    self.check(text, reason, culprit)
                    self.assertRegex(text, rf"\n\d\d:\d\d:\d\d I crashes by {kind}\n")

    def test_show_the_other_threads(self):
        _, text = self.crash("null-pointer", "--worker")
        other = text.split("\nStack of thread ")[2]
        self.assertRegex(other, r"main \(.*\) \[zaTool")

    def test_need_a_folder_that_can_be_written(self):
        for folder in ("missing", "file"):
            self.make("file", b"")
            result = self.run_tool("crash", "abort", "--folder", folder)
            self.assertEqual(FAILED, result.code)
            self.assertIn("cannot be written", result.err)
        self.expect_code(USAGE, "crash", "nonsense")


if __name__ == "__main__":
    unittest.main()
