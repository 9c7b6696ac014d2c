"""The four checksum commands: result lines, exit codes, and what they do to files."""

import os
import unittest
import unittest.mock

from zaToolTesting import (FAILED, MISSING, ON_WINDOWS, SUCCESS, USAGE, WRONG, ToolTestCase, crc,
                           footer, host_path, metadata_block, with_checksum, with_file_size_limit,
                           without_file_privileges)

# The check value that every description of CRC-32 gives for these nine digits.
CHECK = b"123456789"
CHECK_CRC = b"CBF43926"

BAD_METADATA = b"ZARNMETAnonsense"


class Commands(ToolTestCase):
    def test_add_writes_the_footer_of_the_published_check_value(self):
        self.make("a", CHECK)
        self.expect(SUCCESS, "a: checksum CBF43926 added\n", "", "checksum", "add", "a")
        self.assertEqual(CHECK + b"\0ZARNCRC" + CHECK_CRC, self.content("a"))

    def test_verify_tells_correct_wrong_missing_and_unreadable_apart(self):
        flipped = bytearray(with_checksum(CHECK))
        flipped[4] ^= 0x10
        cases = [
            ("correct", with_checksum(CHECK), SUCCESS, "correct CBF43926"),
            ("metadata", with_checksum(CHECK, metadata_block(b"m" * 50)), SUCCESS, "correct CBF43926"),
            ("flipped", bytes(flipped), WRONG,
             f"wrong checksum: computed {crc(bytes(flipped[:9])).decode()}, stored CBF43926"),
            ("lower case", CHECK + footer(CHECK_CRC.lower()), WRONG,
             "wrong checksum: computed CBF43926, stored cbf43926"),
            ("plain", CHECK * 10, MISSING, "no checksum"),
            ("lost metadata", CHECK + metadata_block(b"m" * 50), MISSING, "no checksum"),
            ("bad metadata", with_checksum(CHECK) + BAD_METADATA, MISSING,
             "no checksum: the length in its metadata footer is no number"),
        ]
        for name, content, code, text in cases:
            with self.subTest(name):
                self.make(name, content)
                line = f"{name}: {text}\n"
                out, err = ("", line) if code == WRONG else (line, "")
                self.expect(code, out, err, "checksum", "verify", name)
        self.expect(FAILED, "", "none: cannot be read: No such file or directory\n",
                    "checksum", "verify", "none")

    def test_show_reports_the_footer_without_comparing(self):
        self.make("a", CHECK + footer(b"01234567") + metadata_block(b"m" * 50))
        self.make("b", CHECK)
        self.expect(SUCCESS, "a: 01234567, payload 9 bytes, footer at 9, metadata 66 bytes\n", "",
                    "checksum", "show", "a")
        self.expect(MISSING, "b: no checksum\n", "", "checksum", "show", "b")

    def test_strip_undoes_add(self):
        # 81920 is how much is read at a time when the bytes behind the footer move up.
        payloads = [b"", b"\0", CHECK, b"Z" * 16, os.urandom(100_000)]
        blocks = [b"", metadata_block(b""), metadata_block(b"m" * 81903), metadata_block(b"m" * 81904),
                  metadata_block(os.urandom(200_000))]
        for payload in payloads:
            for block in blocks:
                with self.subTest(payload=len(payload), metadata=len(block)):
                    self.make("a", payload)
                    self.expect_code(SUCCESS, "checksum", "add", "a")
                    self.assertEqual(with_checksum(payload), self.content("a"))
                    self.make("a", with_checksum(payload, block))
                    self.expect(SUCCESS, f"a: checksum {crc(payload).decode()} removed\n", "",
                                "checksum", "strip", "a")
                    self.assertEqual(payload + block, self.content("a"))

    def test_strip_leaves_a_file_without_checksum_alone(self):
        for content in (CHECK, b"", CHECK + metadata_block(b"m"), with_checksum(CHECK) + BAD_METADATA):
            with self.subTest(content):
                self.make("a", content)
                self.expect_code(MISSING, "checksum", "strip", "a")
                self.assertEqual(content, self.content("a"))

    def test_add_changes_a_file_with_checksum_only_when_forced(self):
        block = metadata_block(b"metadata that stays")
        outdated = CHECK + footer(b"00000000") + block
        self.make("a", outdated)
        self.expect(FAILED, "", "a: checksum not added: there is one already (--force renews it)\n",
                    "checksum", "add", "a")
        self.assertEqual(outdated, self.content("a"))
        self.expect(SUCCESS, "a: checksum CBF43926 renewed\n", "", "checksum", "add", "--force", "a")
        self.assertEqual(with_checksum(CHECK, block), self.content("a"))

        self.make("plain", CHECK)
        self.expect(SUCCESS, "plain: checksum CBF43926 added\n", "",
                    "checksum", "add", "--force", "plain")

    def test_files_around_the_size_of_a_footer(self):
        for size in (0, 1, 15, 16, 17):
            with self.subTest(size):
                payload = b"\0ZARNCRC00000000x"[-size:] if size else b""
                self.make("a", payload)
                self.expect(MISSING, "a: no checksum\n", "", "checksum", "verify", "a")
                self.expect_code(SUCCESS, "checksum", "add", "a")
                self.assertEqual(with_checksum(payload), self.content("a"))
                self.expect_code(SUCCESS, "checksum", "verify", "a")
        self.make("a", footer(b"00000000"))
        self.expect(SUCCESS, "a: correct 00000000\n", "", "checksum", "verify", "a")

    def test_skip_leaves_the_head_out_for_every_command(self):
        # Beyond 8192 bytes the head no longer fits into one piece.
        for head in (b"head", b"h" * 8192, b"h" * 8193, b"h" * 100_000):
            skip = str(len(head))
            with self.subTest(skip):
                self.make("a", head + CHECK)
                at = len(head) + len(CHECK)
                self.expect(SUCCESS, "a: checksum CBF43926 added\n", "",
                            "checksum", "add", "--skip", skip, "a")
                self.assertEqual(head + with_checksum(CHECK), self.content("a"))
                self.expect(SUCCESS, f"a: CBF43926, payload 9 bytes, footer at {at}\n", "",
                            "checksum", "show", "a", "--skip", skip)
                self.make("a", b"H" + head[1:] + with_checksum(CHECK))
                self.expect_code(SUCCESS, "checksum", "verify", "--skip=" + skip, "a")
                self.expect_code(WRONG, "checksum", "verify", "a")
                self.expect_code(SUCCESS, "checksum", "add", "--force", "--skip", skip, "a")
                self.expect_code(SUCCESS, "checksum", "strip", "--skip", skip, "a")
                self.assertEqual(b"H" + head[1:] + CHECK, self.content("a"))

    def test_skip_beyond_the_file(self):
        self.make("a", CHECK)
        self.expect(FAILED, "", "a: checksum not added: the file has 9 bytes, fewer than the 10 to skip\n",
                    "checksum", "add", "--skip", "10", "a")
        self.assertEqual(CHECK, self.content("a"))
        self.expect(SUCCESS, "a: checksum 00000000 added\n", "", "checksum", "add", "--skip", "9", "a")
        for command in ("verify", "show", "strip"):
            self.expect(SUCCESS, unittest.mock.ANY, "", "checksum", command, "--skip", "9", "a")
            self.make("a", CHECK + footer(b"00000000"))
            self.expect(MISSING, "a: no checksum\n", "", "checksum", command, "--skip", "10", "a")
            self.expect(MISSING, "a: no checksum\n", "", "checksum", command, "--skip", "4294967295", "a")


class SeveralFiles(ToolTestCase):
    def test_the_worst_result_decides_in_any_order(self):
        self.make("correct", with_checksum(CHECK))
        self.make("wrong", CHECK + footer(b"00000000"))
        self.make("missing", CHECK)
        cases = [
            (SUCCESS, ["correct", "correct"]),
            (MISSING, ["correct", "missing"]),
            (WRONG, ["missing", "wrong", "correct"]),
            (FAILED, ["none", "wrong", "missing"]),
        ]
        for code, names in cases:
            for order in (names, names[::-1]):
                with self.subTest(order):
                    result = self.run_tool("checksum", "verify", *order)
                    self.assertEqual(code, result.code)
                    lines = (result.out + result.err).splitlines()
                    self.assertEqual(sorted(order), sorted(line.split(":")[0] for line in lines))

    def test_one_failure_does_not_keep_the_others_from_being_done(self):
        self.make("a", CHECK)
        self.make("b", CHECK)
        self.expect_code(FAILED, "checksum", "add", "a", "none", "b")
        self.assertEqual([with_checksum(CHECK)] * 2, [self.content("a"), self.content("b")])
        self.assertFalse((self.folder / "none").exists())


class Names(ToolTestCase):
    def test_names_that_are_not_ascii(self):
        for name in ("Größe ß.dat", "データ/файл.dat", "😀/𝒳.dat"):
            with self.subTest(name):
                self.make(name, CHECK)
                self.expect(SUCCESS, f"{name}: checksum CBF43926 added\n", "", "checksum", "add", name)
                self.expect(SUCCESS, f"{name}: correct CBF43926\n", "", "checksum", "verify", name)
                self.assertEqual(with_checksum(CHECK), self.content(name))

    def test_names_that_look_like_something_else(self):
        # Formats, lists, options, commands.
        for name in ("100%s%n.dat", "a b", "show", "checksum"):
            with self.subTest(name):
                self.make(name, CHECK)
                self.expect(MISSING, f"{name}: no checksum\n", "", "checksum", "verify", name)
        self.make("-r", CHECK)
        self.expect(MISSING, "-r: no checksum\n", "", "checksum", "verify", "--", "-r")
        self.make("b", with_checksum(CHECK))
        for name in ("[b]", "[a,b]", "{}"):
            self.make(name, CHECK)
            self.expect(MISSING, f"./{name}: no checksum\n", "", "checksum", "strip", name)

    def test_absolute_names_and_both_separators(self):
        self.make("d/a", with_checksum(CHECK))
        for name in (f"{self.folder}/d/a", "d\\a", "./d/../d/a"):
            self.expect(SUCCESS, f"{name}: correct CBF43926\n", "", "checksum", "verify", name)

    @unittest.skipIf(ON_WINDOWS, "Windows forbids such names")
    def test_a_name_with_control_characters_stays_on_its_line(self):
        self.make("a\nb\x1b[31m", CHECK)
        self.expect(MISSING, "a?b?[31m: no checksum\n", "", "checksum", "verify", "a\nb\x1b[31m")


class Folders(ToolTestCase):
    def make_tree(self):
        for name in ("t/b", "t/a", "t/Ordner ü/z", "t/Ordner ü/tief/x", "t/c"):
            self.make(name, CHECK)
        (self.folder / "t/empty").mkdir()

    def test_a_folder_needs_recursive(self):
        self.make_tree()
        self.expect(FAILED, "", "t: is a folder (-r takes the files below it)\n", "checksum", "add", "t")
        self.assertEqual(CHECK, self.content("t/a"))

    def test_recursive_takes_every_file_below_sorted_by_name(self):
        self.make_tree()
        names = [host_path(n) for n in ("t/Ordner ü/tief/x", "t/Ordner ü/z", "t/a", "t/b", "t/c")]
        lines = "".join(f"{name}: checksum CBF43926 added\n" for name in names)
        self.expect(SUCCESS, lines, "", "checksum", "add", "-r", "t")
        self.expect(SUCCESS, "".join(f"{name}: correct CBF43926\n" for name in names), "",
                    "checksum", "verify", "--recursive", "t")
        self.make("single", with_checksum(CHECK))
        self.expect(SUCCESS, "single: correct CBF43926\n", "", "checksum", "verify", "-r", "single")
        self.expect(SUCCESS, "", "", "checksum", "verify", "-r", "t/empty")

    @unittest.skipIf(ON_WINDOWS, "the emulator shows links as what they lead to")
    def test_links_are_followed_only_when_named(self):
        self.make("outside/a", CHECK)
        self.make("t/b", CHECK)
        os.symlink("../outside", self.folder / "t/folder")
        os.symlink("../outside/a", self.folder / "t/file")
        os.symlink("..", self.folder / "t/loop")
        self.expect(SUCCESS, "t/b: checksum CBF43926 added\n", "", "checksum", "add", "-r", "t")
        self.assertEqual(CHECK, self.content("outside/a"))
        self.expect(MISSING, "t/folder/a: no checksum\n", "", "checksum", "verify", "-r", "t/folder")
        self.expect(MISSING, "t/file: no checksum\n", "", "checksum", "verify", "t/file")


class Failures(ToolTestCase):
    def test_a_read_only_file_is_not_changed(self):
        self.make("a", CHECK)
        self.make("b", with_checksum(CHECK))
        for name in "ab":
            os.chmod(self.folder / name, 0o444)
        options = {} if ON_WINDOWS else {"preexec_fn": without_file_privileges}
        self.expect(FAILED, "", "a: cannot be written: Permission denied\n",
                    "checksum", "add", "a", **options)
        self.expect(FAILED, "", "b: cannot be written: Permission denied\n",
                    "checksum", "add", "--force", "b", **options)
        self.expect(FAILED, "", "b: cannot be written: Permission denied\n",
                    "checksum", "strip", "b", **options)
        self.assertEqual([CHECK, with_checksum(CHECK)], [self.content("a"), self.content("b")])

    @unittest.skipIf(ON_WINDOWS, "the emulator opens files as root, whom no permission stops")
    def test_files_and_folders_without_permission_are_named(self):
        self.make("a", with_checksum(CHECK))
        self.make("t/closed/x", with_checksum(CHECK))
        self.make("t/z", with_checksum(CHECK))
        os.chmod(self.folder / "a", 0)
        os.chmod(self.folder / "t/closed", 0)
        self.addCleanup(os.chmod, self.folder / "t/closed", 0o700)
        for command in ("add", "verify", "show", "strip"):
            self.expect(FAILED, "", "a: cannot be read: Permission denied\n",
                        "checksum", command, "a", preexec_fn=without_file_privileges)
        self.expect(FAILED, "t/z: correct CBF43926\n", "t/closed: cannot be read: Permission denied\n",
                    "checksum", "verify", "-r", "t", preexec_fn=without_file_privileges)

    def test_a_footer_that_does_not_fit_leaves_the_file_as_it_was(self):
        # Run directly, or else the limit hits the file in which the emulator collects errors, too.
        direct = dict(os.environ, ZA_WINE_DIRECT="1")
        for room in (0, 1, 15):
            with self.subTest(room):
                self.make("a", CHECK)
                result = self.run_tool("checksum", "add", "a", env=direct, restore_signals=False,
                                       preexec_fn=with_file_size_limit(len(CHECK) + room))
                self.assertEqual((FAILED, ""), (result.code, result.out))
                # The emulator has no reason of its own for this one.
                reason = ".+" if ON_WINDOWS else "File too large"
                self.assertRegex(result.err, f"^a: checksum not added: {reason}\n$")
                self.assertEqual(CHECK, self.content("a"))

    @unittest.skipIf(ON_WINDOWS, "there are no such files")
    def test_devices_and_pipes_are_refused(self):
        os.mkfifo(self.folder / "pipe")
        for name in ("pipe", "/dev/full"):
            self.expect(FAILED, "", f"{name}: is no regular file\n", "checksum", "add", name)


class Usage(ToolTestCase):
    def test_bad_command_lines_have_a_code_of_their_own(self):
        self.make("a", CHECK)
        cases = [
            [], ["nonsense"], ["checksum"], ["checksum", "nonsense", "a"], ["checksum", "verify"],
            ["checksum", "verify", "a", "--nonsense"], ["checksum", "verify", "a", "--force"],
            ["checksum", "add", "a", "--skip"], ["checksum", "add", "a", "--skip", "-1"],
            ["checksum", "add", "a", "--skip", "x"], ["checksum", "add", "a", "--skip", "1x"],
            ["checksum", "add", "a", "--skip", "0x2"], ["checksum", "add", "a", "--skip", "010"],
            ["checksum", "add", "a", "--skip", ""], ["checksum", "add", "a", "--skip", "4294967296"],
        ]
        for arguments in cases:
            with self.subTest(arguments):
                result = self.run_tool(*arguments)
                self.assertEqual((USAGE, ""), (result.code, result.out))
                self.assertIn("--help", result.err)
        self.assertEqual(CHECK, self.content("a"))

    def test_help_and_version(self):
        for arguments in (["--help"], ["checksum", "--help"], ["checksum", "add", "--help"]):
            result = self.run_tool(*arguments)
            self.assertEqual((SUCCESS, ""), (result.code, result.err))
            self.assertIn("Usage: zaTool", result.out)
        version = self.run_tool("--version")
        self.assertEqual((SUCCESS, ""), (version.code, version.err))
        self.assertRegex(version.out, r"^zaTool \d+\.\d+\.\d+\n$")


if __name__ == "__main__":
    unittest.main()
