"""hash, base64 and shader: results beside Python's own, the offsets of wrong bytes, what becomes of
files, and the progress that the user sees and stops."""

import base64
import json
import os
import random
import struct
import unittest
import zlib

from zaToolTesting import (FAILED, ON_WINDOWS, SUCCESS, USAGE, Terminal, ToolTestCase, host_path,
                           with_file_size_limit)

CHUNK = 1 << 20  # what the tool reads at once
INTERRUPTED = 130

# Of the nine digits, as published for these functions.
CHECK = b"123456789"
CHECK_HASHES = {"crc32": "cbf43926", "murmur3-x86-32": "b4fef382"}


class Hash(ToolTestCase):
    def test_prints_every_hash_of_every_file(self):
        self.make("f/a", CHECK)
        self.make("f/sub/b", b"")
        self.make("f/c", os.urandom(CHUNK + 5))
        result = self.run_tool("hash", "-r", "f", "none")
        self.assertEqual((FAILED, "none: cannot be read: No such file or directory\n"),
                         (result.code, result.err))
        lines = dict(line.split(" = ") for line in result.out.splitlines())
        self.assertEqual(15, len(lines))
        for name, value in CHECK_HASHES.items():
            self.assertEqual(value, lines[f"{name} ({host_path('f/a')})"])
        self.assertEqual("0" * 32, lines[f"murmur3-x64-128 ({host_path('f/sub/b')})"])
        self.assertEqual("%08x" % zlib.crc32(self.content("f/c")),
                         lines[f"crc32 ({host_path('f/c')})"])

    def test_tells_programs_the_same_as_people(self):
        self.make("a", CHECK)
        result = self.run_tool("hash", "--json", "--by", "crc32", "a", ".", "none")
        self.assertEqual(
            {"exitCode": FAILED,
             "files": [{"file": "a", "crc32": "cbf43926"},
                       {"file": ".", "problem": "is a folder (-r takes the files below it)"},
                       {"file": "none", "problem": "cannot be read: No such file or directory"}]},
            json.loads(result.out))
        self.expect_code(USAGE, "hash", "--by", "md5", "a")


class Base64(ToolTestCase):
    def test_encodes_and_decodes_as_others_do(self):
        for size in (0, 1, 2, 3, 57, 58, CHUNK - 1, CHUNK, CHUNK + 1, 2 * CHUNK + 1):
            with self.subTest(size):
                content = random.Random(size).randbytes(size)
                self.make("in", content)
                for name in ("text", "out"):
                    (self.folder / name).unlink(missing_ok=True)
                self.expect(SUCCESS, "", "", "base64", "encode", "in", "-o", "text")
                self.assertEqual(base64.encodebytes(content), self.content("text"))
                self.expect(SUCCESS, "", "", "base64", "decode", "text", "-o", "out")
                self.assertEqual(content, self.content("out"))

    def test_breaks_lines_where_it_is_told(self):
        for wrap, text in (("0", "Zm9vYmFy"), ("1", "Z\nm\n9\nv\nY\nm\nF\ny\n"),
                           ("5", "Zm9vY\nmFy\n"), ("8", "Zm9vYmFy\n")):
            self.expect(SUCCESS, text, "", "base64", "encode", "--wrap", wrap,
                        stdin=self.pipe(b"foobar"))

    def test_tells_the_first_wrong_byte(self):
        lines = base64.encodebytes(bytes(2 * CHUNK))
        cases = [(b"Zm9v\nYm!y", 8 - 1), (b"Zm9", 3), (b"Zm9vYg=", 7), (b"Zg==\nZg==", 5),
                 (b"Z===", 1), (b"Zh==", 1), (b"=", 0), (b"\0", 0)]
        for at in (CHUNK - 2, CHUNK - 1, CHUNK, CHUNK + 1, CHUNK + 76):
            cases.append((lines[:at] + b"?" + lines[at + 1:], at))
        cases.append((lines[:CHUNK] + b"AA", None))
        for content, at in cases:
            offset = len(content) if at is None else at
            self.make("in", content)
            with self.subTest(offset):
                self.expect(FAILED, "", f"in: is no Base64: byte {offset} is wrong\n",
                            "base64", "decode", "in", "-o", "out")
                self.assertFalse((self.folder / "out").exists())
        self.expect(SUCCESS, "foobar", "", "base64", "decode", "--ignore-garbage",
                    stdin=self.pipe(b"Zm9v-*\xff\0 Ym.Fy"))

    def pipe(self, content):
        path = self.folder / "standard input"
        path.write_bytes(content)
        stream = open(path, "rb")
        self.addCleanup(stream.close)
        return stream


class Shader(ToolTestCase):
    TEXT = b"void main() { gl_Position = vec4(0.0); }\n" * 1000

    def test_packs_and_unpacks(self):
        for text in (self.TEXT, b"", os.urandom(3 * CHUNK)):
            self.make("in", text)
            for name in ("blob", "out"):
                (self.folder / name).unlink(missing_ok=True)
            self.expect(SUCCESS, "", "", "shader", "pack", "--level", "3", "in", "-o", "blob")
            blob = self.content("blob")
            self.assertEqual((len(text), len(blob) - 8, 0xFD2FB528), struct.unpack("<III", blob[:12]))
            self.expect(SUCCESS, "", "", "shader", "unpack", "blob", "-o", "out")
            self.assertEqual(text, self.content("out"))

    def test_refuses_what_it_cannot_unpack(self):
        self.make("in", self.TEXT)
        self.run_tool("shader", "pack", "in", "-o", "blob")
        blob = self.content("blob")
        end = "is no packed shader, is damaged, or unpacks to more than {} bytes (--max-size)\n"
        for bad in (b"", blob[:-1], blob + b"\0", blob[:1] + b"\xff" + blob[2:]):
            self.make("bad", bad)
            self.expect(FAILED, "", "bad: " + end.format(1 << 28), "shader", "unpack", "bad")
        size = len(self.TEXT)
        self.expect(FAILED, "", "blob: " + end.format(size - 1), "shader", "unpack", "blob",
                    "--max-size", str(size - 1))
        self.expect_code(SUCCESS, "shader", "unpack", "blob", "--max-size", str(size))


class Files(ToolTestCase):
    def names(self):
        return sorted(path.name for path in self.folder.iterdir())

    def test_is_written_as_a_whole_or_not_at_all(self):
        self.make("in", os.urandom(3 * CHUNK))
        self.make("out", b"before")
        self.expect(FAILED, "", "File 'out' already exists!\nOverwrite file? No (standard input is "
                    "no terminal)\nout: not written\n", "base64", "encode", "in", "-o", "out")
        self.make("bad", b"Zm9v?")
        self.expect_code(FAILED, "base64", "decode", "bad", "-o", "new")
        self.expect(FAILED, "", ".: is no regular file\n", "base64", "encode", "in", "-o", ".")
        if not ON_WINDOWS:
            result = self.run_tool("base64", "encode", "in", "-o", "new",
                                   preexec_fn=with_file_size_limit(CHUNK))
            self.assertEqual((FAILED, "new: cannot be written: File too large\n"),
                             (result.code, result.err))
            self.expect_code(FAILED, "base64", "encode", "in", "-o", "/dev/full")
        self.assertEqual((["bad", "in", "out"], b"before"), (self.names(), self.content("out")))

    def test_is_replaced_when_the_user_agrees(self):
        self.make("in", CHECK)
        self.make("out", b"before")
        with Terminal(self.folder, "base64", "encode", "in", "-o", "out") as terminal:
            terminal.wait_for("[N]o")
            terminal.type(b"y\r")
            self.assertEqual(SUCCESS, terminal.exit_code())
        self.assertEqual((["in", "out"], base64.encodebytes(CHECK)),
                         (self.names(), self.content("out")))


class Progress(ToolTestCase):
    def test_is_shown_and_stopped_by_ctrl_c(self):
        """A file without end, so to speak; whatever the speed, there is time to press Ctrl-C."""
        with open(self.folder / "endless", "wb") as file:
            file.truncate(1 << 40)
        self.make("next", b"")
        for command in (["hash", "--by", "crc32"], ["checksum", "verify"]):
            arguments = command + ["endless", "next"]
            if command[0] == "checksum":
                with open(self.folder / "endless", "r+b") as file:
                    file.seek(0, os.SEEK_END)
                    file.write(b"\0ZARNCRC00000000")
            with self.subTest(command), Terminal(self.folder, *arguments) as terminal:
                terminal.wait_for(" MB/s")
                terminal.wait_for(" left")
                terminal.press_interrupt()
                self.assertEqual(INTERRUPTED, terminal.exit_code())
                shown = terminal.text()
                self.assertRegex(shown, r"(Hashing|Checksums) \[\.+\]   0%  \d+\.\d MB/s  \d+:")
                self.assertIn("cancelled", shown)
                self.assertNotIn("next", shown)


if __name__ == "__main__":
    unittest.main()
