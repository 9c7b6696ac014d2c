"""The JSON document, the report file, and the questions at the terminal."""

import json
import os
import subprocess
import unittest

from zaToolTesting import (FAILED, MISSING, ON_WINDOWS, SUCCESS, WRONG, Terminal, ToolTestCase, footer,
                           metadata_block, with_checksum)

CHECK = b"123456789"


class JsonDocument(ToolTestCase):
    def document(self, code, *arguments):
        result = self.run_tool("checksum", *arguments, "--json")
        self.assertEqual((code, ""), (result.code, result.err))
        document = json.loads(result.out)
        self.assertEqual(code, document["exitCode"])
        return document

    def test_holds_every_file_and_nothing_else_is_printed(self):
        self.make("correct ü", with_checksum(CHECK, metadata_block(b"m")))
        self.make("wrong", b"head" + CHECK + footer(b"00000000"))
        self.make("missing", CHECK)
        document = self.document(FAILED, "verify", "correct ü", "wrong", "missing", "none", ".")
        self.assertEqual(("verify", 0), (document["command"], document["skip"]))
        self.assertEqual(
            [("correct ü", "correct", SUCCESS), ("wrong", "wrong", WRONG),
             ("missing", "missing", MISSING), ("none", "failed", FAILED), (".", "failed", FAILED)],
            [(file["file"], file["result"], file["exitCode"]) for file in document["files"]])
        correct, wrong, missing, none, _ = document["files"]
        self.assertEqual(
            ("CBF43926", "CBF43926", 9, 9, 17, 42),
            tuple(correct[key] for key in ("stored", "computed", "payloadSize", "footerPosition",
                                           "metadataSize", "fileSize")))
        self.assertEqual(("00000000", 13), (wrong["stored"], wrong["payloadSize"]))
        self.assertNotIn("stored", missing)
        self.assertEqual("cannot be read: No such file or directory", none["message"])

    def test_tells_what_was_done(self):
        self.make("a", b"head" + CHECK)
        for arguments, word in ((["add"], "added"), (["add", "--force"], "renewed"),
                                (["show"], "found"), (["strip"], "removed")):
            document = self.document(SUCCESS, *arguments, "--skip", "4", "a")
            self.assertEqual(4, document["skip"])
            (file,) = document["files"]
            self.assertEqual((word, "CBF43926", 9, 13),
                             (file["result"], file["stored"], file["payloadSize"], file["footerPosition"]))
        (self.folder / "empty").mkdir()
        self.assertEqual([], self.document(SUCCESS, "verify", "-r", "empty")["files"])

    @unittest.skipIf(ON_WINDOWS, "names on Windows are always Unicode")
    def test_is_valid_whatever_the_file_is_called(self):
        for name in (b"\xff\xfe", b'"quoted"', b"a\nb\x01"):
            with self.subTest(name):
                folder = os.fsencode(self.folder) + b"/names"
                os.makedirs(folder, exist_ok=True)
                with open(folder + b"/" + name, "wb") as file:
                    file.write(CHECK)
        files = self.document(MISSING, "verify", "-r", "names")["files"]
        self.assertEqual(['names/"quoted"', "names/a\nb\x01", "names/\ufffd\ufffd"],
                         [file["file"] for file in files])

    @unittest.skipIf(ON_WINDOWS, "there is no file that stands for a full disk")
    def test_output_that_gets_lost_is_a_failure(self):
        self.make("a", with_checksum(CHECK))
        for arguments in (["--version"], ["checksum", "verify", "a"], ["checksum", "verify", "a", "--json"]):
            with open("/dev/full", "wb") as full:
                result = self.run_tool(*arguments, stdout=full)
            self.assertEqual((FAILED, "standard output cannot be written: No space left on device\n"),
                             (result.code, result.err))


class ReportFile(ToolTestCase):
    def test_is_written_next_to_the_lines_or_to_the_document(self):
        self.make("a", with_checksum(CHECK))
        arguments = ["checksum", "verify", "a", "none"]
        missing = "none: cannot be read: No such file or directory\n"
        self.expect(FAILED, "a: correct CBF43926\n", missing, *arguments, "--output", "1ü.json")
        self.assertEqual(FAILED, json.loads(self.content("1ü.json"))["exitCode"])
        result = self.run_tool(*arguments, "--json", "--output", "2.json")
        self.assertEqual((FAILED, ""), (result.code, result.err))
        self.assertEqual(json.loads(result.out), json.loads(self.content("2.json")))
        self.assertEqual(json.loads(result.out), json.loads(self.content("1ü.json")))

    def test_nobody_to_ask_means_no_and_nothing_is_done(self):
        self.make("a", CHECK)
        self.make("report", b"old")
        arguments = ["checksum", "add", "a", "--output", "report"]
        refusal = ("File 'report' already exists!\nOverwrite file? No (standard input is no terminal)\n"
                   "report: the report may not be written, so nothing was done\n")
        self.expect(FAILED, "", refusal, *arguments)
        self.expect(FAILED, "", refusal, *arguments, stdin=None, input=b"y\n")
        result = self.run_tool(*arguments, "--json")
        self.assertEqual((FAILED, refusal), (result.code, result.err))
        self.assertEqual((FAILED, []), (json.loads(result.out)["exitCode"], json.loads(result.out)["files"]))
        self.assertEqual((b"old", CHECK), (self.content("report"), self.content("a")))

    def test_a_place_that_cannot_be_written_stops_the_work_before_it_starts(self):
        self.make("a", CHECK)
        (self.folder / "folder").mkdir()
        for place in ("none/report", "folder"):
            with self.subTest(place):
                result = self.run_tool("checksum", "add", "a", "--output", place)
                self.assertEqual((FAILED, ""), (result.code, result.out))
                self.assertIn(f"{place}: the report may not be written", result.err)
                self.assertEqual(CHECK, self.content("a"))


class Questions(ToolTestCase):
    CHOICES = "[Y]es (default), [N]o, Cancel?"

    def setUp(self):
        super().setUp()
        self.make("a", CHECK)
        self.make("report", b"old")

    def ask(self, *answers, report="report", stdout=None):
        """Answers the overwrite question, the answer None being the end of the input."""
        with Terminal(self.folder, "checksum", "add", "a", "--output", report, stdout=stdout) as terminal:
            terminal.wait_for(f"File '{report}' already exists!")
            for count, answer in enumerate(answers, 1):
                terminal.wait_for(self.CHOICES, count)
                if answer is None:
                    terminal.press_end_of_input()
                else:
                    terminal.type(answer.encode() + b"\r")
            return terminal.exit_code(), terminal.text()

    def test_yes_and_the_empty_line_overwrite(self):
        for answers in (["y"], ["Yes"], [""], [" Y "], ["maybe", "yesno", "ye", "y"]):
            with self.subTest(answers):
                self.make("a", CHECK)
                self.make("report", b"old")
                code, text = self.ask(*answers)
                self.assertEqual((SUCCESS, len(answers)), (code, text.count(self.CHOICES)))
                self.assertEqual("added", json.loads(self.content("report"))["files"][0]["result"])
                self.assertEqual(with_checksum(CHECK), self.content("a"))

    def test_no_cancel_and_the_end_of_the_input_refuse(self):
        for answers in (["n"], ["NO"], ["cancel"], [None], ["what", None]):
            with self.subTest(answers):
                code, text = self.ask(*answers)
                self.assertEqual(FAILED, code)
                self.assertIn("report: the report may not be written", text)
                self.assertEqual((b"old", CHECK), (self.content("report"), self.content("a")))

    def test_is_asked_where_it_is_seen_when_the_output_is_redirected(self):
        with open(self.folder / "out", "wb") as out:
            code, _ = self.ask("y", stdout=out)
        self.assertEqual((SUCCESS, b"a: checksum CBF43926 added"), (code, self.content("out").rstrip()))

    def test_shows_names_that_are_not_ascii(self):
        self.make("Größe.json", b"old")
        code, text = self.ask("y", report="Größe.json")
        self.assertEqual(SUCCESS, code)
        self.assertIn("File 'Größe.json' already exists!", text)

    @unittest.skipIf(ON_WINDOWS, "there is no file that stands for a full disk")
    def test_a_report_that_does_not_fit_is_a_failure(self):
        code, text = self.ask("y", report="/dev/full")
        self.assertEqual(FAILED, code)
        self.assertIn("/dev/full: the report cannot be written: No space left on device", text)


if __name__ == "__main__":
    unittest.main()
