"""What the tool tells of program, machine and user."""

import json
import os
import unittest

from zaToolTesting import COMMAND, ON_WINDOWS, SUCCESS, USAGE, ToolTestCase


# A program that the emulator starts has no parent that it could see.
ERRORS = "Fatal: Could not get parent information.\n" if ON_WINDOWS else ""


class Info(ToolTestCase):
    def environment(self):
        """The user's folders lie in the test's own one, where the host allows it."""
        (self.folder / "tmp ü").mkdir(exist_ok=True)
        variables = dict(os.environ, XDG_DATA_HOME=str(self.folder / "user ü"))
        if not ON_WINDOWS:
            variables["TMPDIR"] = str(self.folder / "tmp ü")
        variables.pop("ZARN_TMP_DIR", None)
        return variables

    def document(self):
        result = self.run_tool("info", "--json", env=self.environment())
        self.assertEqual((SUCCESS, ERRORS), (result.code, result.err))
        return json.loads(result.out)  # fails when anything else was printed

    def test_tells_everything_in_one_document(self):
        document = self.document()
        self.assertEqual(["identity", "directories", "processor", "process", "display", "versions"],
                         list(document))
        self.assertEqual(("zaTool", "WIN64", ".dll"), tuple(
            document["identity"][key] for key in ("application", "platform", "sharedLibrarySuffix")))
        directories = document["directories"]
        programs = os.path.dirname(COMMAND[-1]).replace("/", "\\")
        self.assertEqual(programs, directories["executable"].removeprefix("Z:"))
        self.assertEqual(directories["base"] + "\\lib\\plugins\\WIN64", directories["plugIns"])
        self.assertTrue(directories["preferences"].endswith("\\zaTool\\\\"))
        self.assertTrue(directories["writableData"].endswith("\\zaTool-15.3\\data"))
        self.assertTrue(directories["temporary"].endswith("zarn"))
        self.assertGreaterEqual(document["processor"]["count"], 1)
        self.assertGreater(document["process"]["id"], 1)
        self.assertIn(document["display"]["dpi"], (96, 120, 144, 168, 192, 240))
        self.assertRegex(document["versions"]["zaUtils"], r"^\d+\.\d+\.\d+$")

    @unittest.skipIf(ON_WINDOWS, "the user's folders are the emulator's")
    def test_finds_the_folders_of_the_user_and_makes_them(self):
        directories = self.document()["directories"]
        self.assertEqual(f"{self.folder}/user ü\\zaTool\\\\", directories["preferences"])
        self.assertEqual(f"{self.folder}/tmp ü\\zarn", directories["temporary"])
        for made in ("user ü/zaTool", "user ü/zaTool-15.3/data", "tmp ü/zarn"):
            self.assertTrue((self.folder / made).is_dir(), made)

    def test_shows_the_same_as_text(self):
        result = self.run_tool("info", env=self.environment())
        self.assertEqual((SUCCESS, ERRORS), (result.code, result.err))
        lines = [line.split() for line in result.out.splitlines()]
        for heading, section in self.document().items():
            self.assertIn([heading], lines)
            for name in section:
                self.assertTrue(any(line[:1] == [name] for line in lines), name)

    def test_takes_no_file(self):
        self.expect_code(USAGE, "info", "file")


if __name__ == "__main__":
    unittest.main()
