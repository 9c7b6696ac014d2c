"""The log command: logs of every layout are read, merged, filtered and followed."""

import json
import os
import random
import unittest

from zaToolTesting import FAILED, ON_WINDOWS, SUCCESS, USAGE, Background, Terminal, ToolTestCase

CSV_HEADER = "Date;Time;Type of Message;Message Number;Description\n"
WORDS = {"info": "INFO", "warning": "WARN", "error": "ERROR"}
COLOURS = {"info": ("008c00", "008c8c"), "warning": ("b4b400", "b4b48c"), "error": ("b40000", "b4008c")}


def html_header(time):
    year, month, day = time[:10].split("-")
    dashes = '<font color="#b40000">' + "-" * 52 + "</font><br>"
    return ('<head><style type="text/css">span { white-space: pre-wrap;}</style></head><br><p align="middle">'
            f'{dashes}<font color="#b40000">Log file from {day}.{month}.{year} {time[11:]}</font><br>'
            f"{dashes}</p>\n")


def escaped(text):
    return "".join(f"&#{ord(c)};" if c in '"&<>' else c for c in text)


def plain(time, kind, nr, text):
    return f"{time} {WORDS[kind]} {nr} {text}\n"


def csv(time, kind, nr, text):
    year, month, day = time[:10].split("-")
    return f"{day}.{month}.{year};{time[11:]};{WORDS[kind]};{nr};{text}\n"


def html(time, kind, nr, text, alternate=0):
    stamp = time and time + " "
    return f'<span style="color:#{COLOURS[kind][alternate]};">{stamp}{escaped(text)}</span><br>\n'


def at(second):
    return f"2024-03-07 09:{second // 60:02}:{second % 60:02}"


class LogTestCase(ToolTestCase):
    def log(self, name, text):
        return self.make(name, text.encode("utf-8", "surrogateescape"))

    def entries(self, *arguments, code=SUCCESS):
        result = self.run_tool("log", "--json", *arguments)
        self.assertEqual((code, ""), (result.code, result.err))
        document = json.loads(result.out)
        self.assertEqual(code, document["exitCode"])
        return document["entries"]

    def texts(self, *arguments, code=SUCCESS):
        return [entry["text"] for entry in self.entries(*arguments, code=code)]


class Layouts(LogTestCase):
    MESSAGES = [
        (at(1), "info", 100, "Szene geöffnet; 日本 😀"),
        (at(2), "warning", 205, '<b>"a" & b</b> &#34; &amp; &'),
        (at(2), "error", -7, "first\n\n  second; 07.03.2024\nthird"),
        (at(3), "info", 2147483647, ""),
        (at(3), "warning", 200, "blank lines behind\n\n"),
        (at(4), "error", 300, "2024-03-07 INFO 100 not this"),
    ]

    def test_every_layout_with_either_line_end_gives_the_same_entries(self):
        for layout, start in ((plain, ""), (csv, CSV_HEADER), (html, html_header(at(0)))):
            for line_end in ("\n", "\r\n"):
                with self.subTest(layout=layout.__name__, line_end=line_end):
                    text = start + "".join(layout(*message) for message in self.MESSAGES)
                    self.log("a", text.replace("\n", line_end))
                    keys = ("file", "time", "kind", "nr", "text")
                    expected = [dict(zip(keys, ("a", *message))) for message in self.MESSAGES]
                    if layout is html:
                        for entry in expected:
                            del entry["nr"]
                    self.assertEqual(expected, self.entries("a"))

    def test_lines_show_what_is_known_of_an_entry(self):
        self.log("a", plain(at(1), "warning", 200, "one\ntwo\n") + html(at(2), "info", 0, "a <b>")
                 + html("", "error", 0, "no stamp") + "loose\n" + csv(at(3), "error", 301, "tab\there"))
        lines = (f"{at(1)} WARN 200 one | two\n{at(2)} INFO a <b>\nERROR no stamp\nloose\n"
                 f"{at(3)} ERROR 301 tab here\n")
        self.expect(SUCCESS, lines, "", "log", "a")
        self.expect(SUCCESS, "".join("a: " + line for line in lines.splitlines(True)), "",
                    "log", "--file", "a")

    def test_kinds_in_html_are_known_by_both_colours_and_headers_are_skipped(self):
        self.log("a", "".join(html_header(at(10 * i)) + html("", kind, 0, f"{kind} {alternate}", alternate)
                              for i, kind in enumerate(WORDS) for alternate in (0, 1)))
        self.assertEqual([f"{kind} {alternate}" for kind in WORDS for alternate in (0, 1)], self.texts("a"))
        for kind in WORDS:
            self.assertEqual([f"{kind} 0", f"{kind} 1"], self.texts("a", "--kind", kind))
        # Without stamps, the time is that of the header.
        self.assertEqual(["warning 0", "warning 1"], self.texts("a", "--since", at(10), "--until", at(19)))

    def test_lines_that_only_look_like_the_start_of_an_entry_belong_to_the_one_before(self):
        for line in ("2024-13-01 09:00:00 INFO 100 x", "2024-02-30 09:00:00 INFO 100 x", f"{at(1)} DEBUG 1 x",
                     f"{at(1)} INFO x", f"{at(1)} INFO 99999999999 x", "2024-03-07 24:00:00 INFO 100 x",
                     "07.03.2024;09:00:00;INFO;1 x", "07.03.2024 09:00:00;INFO;1;x",
                     " " + plain(at(1), "info", 1, "x")[:-1],
                     '<span style="color:#008c00">x', "<", "</span><br>", ""):
            with self.subTest(line):
                self.log("a", plain(at(0), "info", 100, "a\n" + line) + plain(at(1), "info", 100, "b"))
                self.assertEqual(["a\n" + line, "b"], self.texts("a"))

    def test_files_without_stamps_or_without_a_last_line_end(self):
        for text, expected in (("", []), ("\n\n", []), ("a", ["a"]), ("a\n\nb", ["a", "b"]), (CSV_HEADER, []),
                               (html_header(at(0)), []), (plain(at(0), "info", 100, "a")[:-1], ["a"]),
                               (html(at(0), "info", 100, "a\nb")[:-3], ["a\nb</span><b"]),
                               (html(at(0), "info", 100, "cut")[:-12] + "\n" + html(at(0), "info", 1, "b"),
                                ["cut", "b"])):
            with self.subTest(text):
                self.log("a", text)
                self.assertEqual(expected, self.texts("a"))

    def test_a_message_of_any_length_comes_in_pieces_of_its_kind(self):
        mib = 1 << 20
        for text in ("x" * (3 * mib), "line\n" * (mib // 2) + "end"):
            self.log("a", plain(at(0), "warning", 200, text) + plain(at(1), "info", 100, "next"))
            *pieces, last = self.entries("a")
            self.assertEqual("next", last["text"])
            self.assertGreater(len(pieces), 1)
            self.assertLess(max(len(piece["text"]) for piece in pieces), 2 * mib)
            self.assertEqual({("warning", at(0))}, {(piece["kind"], piece["time"]) for piece in pieces})
            self.assertEqual(text.replace("\n", ""), "".join(p["text"] for p in pieces).replace("\n", ""))


class Merging(LogTestCase):
    def test_several_logs_are_ordered_by_time_then_file_then_line(self):
        generator = random.Random(1)
        for _ in range(20):
            expected = []
            names = [f"{number}.log" for number in range(generator.randrange(2, 6))]
            for number, name in enumerate(names):
                content, second = "", 0
                layout = generator.choice((plain, csv, html))
                for line in range(generator.randrange(30)):
                    second += generator.choice((0, 0, 1, 5))
                    text = f"{number} {line}"
                    content += layout(at(second), "info", 100, text)
                    expected.append((second, number, line, text))
                self.log(name, content)
            self.assertEqual([text for *_, text in sorted(expected)], self.texts(*names))

    def test_entries_without_time_and_a_clock_set_back_keep_their_place_in_the_file(self):
        self.log("a", "start\n" + html(at(5), "info", 0, "five") + html("", "info", 0, "after five")
                 + html(at(2), "info", 0, "two"))
        self.log("b", plain(at(3), "info", 100, "three") + plain(at(6), "info", 100, "six"))
        self.assertEqual(["start", "three", "five", "after five", "two", "six"], self.texts("a", "b"))

    def test_files_are_named_when_there_are_several(self):
        self.log("a", plain(at(0), "info", 100, "x"))
        self.log("ü", plain(at(0), "info", 100, "y"))
        line = f"{at(0)} INFO 100"
        self.expect(SUCCESS, f"a: {line} x\nü: {line} y\n", "", "log", "a", "ü")
        self.expect(SUCCESS, f"{line} x\n{line} y\n", "", "log", "a", "ü", "--no-file")


class Filters(LogTestCase):
    def setUp(self):
        super().setUp()
        self.log("a", plain("2024-03-06 23:59:59", "info", 100, "0 Alpha")
                 + plain("2024-03-07 00:00:00", "warning", 200, "1 beta")
                 + plain("2024-03-07 09:05:01", "error", 300, "2 [alpha]")
                 + plain("2024-03-07 09:05:59", "info", 199, "3 {}\nin the second line")
                 + plain("2024-03-07 09:06:00", "info", 101, "4 Ä")
                 + plain("2024-03-08 00:00:00", "error", 305, "5 beta"))

    def test_each_filter_takes_what_it_names_and_all_must_hold(self):
        for arguments, expected in (
                ("", "012345"), ("--kind error", "25"), ("--kind info --kind warning", "0134"),
                ("--nr 199", "3"), ("--nr 101-300", "1234"), ("--nr 100 --nr 300-305", "025"), ("--nr 0-99", ""),
                ("--since 2024-03-07", "12345"), ("--until 2024-03-07", "01234"), ("--since 2024-03-07|09:05", "2345"),
                ("--until 2024-03-07|09:05", "0123"), ("--until 2024-03-07|09:05:58", "012"),
                ("--since 2024-03-07|09:05:59 --until 2024-03-07|09:05:59", "3"), ("--since 2024-03-09", ""),
                ("--text beta", "15"), ("--text alpha", "2"), ("--text ALPHA -i", "02"), ("--text ä -i", ""),
                ("--text [alpha]", "2"), ("--text {}", "3"), ("--text second|line", "3"), ("--text Alpha", "0"),
                ("--text beta --kind error --since 2024-03-07", "5"), ("-n 2", "45"), ("-n 0", ""),
                ("--lines 99", "012345"), ("--kind info -n 1", "4")):
            with self.subTest(arguments):
                words = [word.replace("|", " ") for word in arguments.split()]
                self.assertEqual(expected, "".join(text[0] for text in self.texts(*words, "a")))

    def test_what_an_entry_lacks_does_not_match(self):
        self.log("a", "loose\n" + html(at(0), "info", 0, "html"))
        for arguments, expected in ((["--nr", "0-999"], []), (["--kind", "info"], ["html"]),
                                    (["--until", "2025-01-01"], ["html"]), (["--since", "2000-01-01"], ["html"])):
            self.assertEqual(expected, self.texts(*arguments, "a"))

    def test_the_last_entries_count_over_all_files(self):
        self.log("b", plain("2024-03-07 09:05:30", "info", 100, "6") + plain("2024-03-09 00:00:00", "info", 100, "7"))
        self.assertEqual("3457", "".join(text[0] for text in self.texts("a", "b", "-n", "4")))

    def test_values_that_are_none_are_refused(self):
        for arguments in ("--kind fatal", "--nr x", "--nr 5-4", "--nr -5", "--nr 1-", "--nr 1-2-3", "--since today",
                          "--since 2024-3-7", "--until 2023-02-29", "--since 2024-03-07|24:00",
                          "--until 2024-03-07T09:05", "-n -1", "-n 0x10", "-n x", "--file --no-file", "--unknown"):
            with self.subTest(arguments):
                words = [word.replace("|", " ") for word in arguments.split()]
                result = self.run_tool("log", "a", *words)
                self.assertEqual((USAGE, ""), (result.code, result.out))
        self.expect_code(USAGE, "log")


class Failures(LogTestCase):
    def test_files_that_cannot_be_read_are_named_and_the_others_shown(self):
        self.log("a", plain(at(0), "error", 300, "x"))
        (self.folder / "folder").mkdir()
        missing = "cannot be read: No such file or directory"
        self.expect(FAILED, f"a: {at(0)} ERROR 300 x\n", f"none: {missing}\nfolder: is a folder\n",
                    "log", "none", "a", "folder")
        result = self.run_tool("log", "--json", "none", "a")
        document = json.loads(result.out)
        self.assertEqual((FAILED, "", ["x"]), (result.code, result.err, [e["text"] for e in document["entries"]]))
        self.assertEqual([{"file": "none", "message": missing}], document["failures"])

    @unittest.skipIf(ON_WINDOWS, "there is no file that stands for a full disk")
    def test_output_that_gets_lost_is_a_failure(self):
        self.log("a", plain(at(0), "info", 100, "x" * 100) * 10000)
        with open("/dev/full", "wb") as full:
            result = self.run_tool("log", "a", stdout=full)
        self.assertEqual(FAILED, result.code)
        self.assertIn("standard output cannot be written", result.err)

    def test_hostile_bytes_neither_reach_the_terminal_nor_break_the_document(self):
        self.make("a", plain(at(0), "info", 100, "").encode()[:-1] + b"\x1b[31m\x00\x07\x7f\xc2\x9b31m\xff\xc3 \r.\n")
        self.expect(SUCCESS, f"{at(0)} INFO 100 ?[31m????31m\ufffd\ufffd ?.\n", "", "log", "a")
        result = self.run_tool("log", "a", "--json")
        (entry,) = json.loads(result.out)["entries"]
        self.assertEqual("\x1b[31m\0\x07\x7f\x9b31m\ufffd\ufffd \r.", entry["text"])
        self.assertNotRegex(result.out, "[\0-\x09\x0b-\x1f\x7f-\x9f]")

    def test_random_bytes_give_clean_lines_and_a_valid_document(self):
        generator = random.Random(2)
        lines = [layout(at(7), "error", 300, 'a"&<') for layout in (plain, csv, html)]
        pieces = [part.encode() for line in lines for part in line.split("a")]
        pieces += [html_header(at(0)).encode(), CSV_HEADER.encode(), b"\n", b"\r\n", b"&#3", b"\0", b"</span><br>"]
        for number in range(300):
            parts = (generator.choice((generator.choice(pieces), generator.randbytes(3))) for _ in range(40))
            content = bytearray(b"".join(parts))
            content[generator.randrange(len(content))] = generator.randrange(256)
            self.make(f"{number}", bytes(content))
        names = [str(number) for number in range(300)]
        entries = self.entries(*names)
        result = self.run_tool("log", *names)
        self.assertEqual(len(entries), len(result.out.splitlines()))
        self.assertNotRegex(result.out, "[\0-\x09\x0b-\x1f\x7f-\x9f]")


class OnATerminal(LogTestCase):
    def test_each_kind_has_its_colour(self):
        self.log("a", "".join(plain(at(0), kind, 1, f"<{kind}>") for kind in WORDS))
        with Terminal(self.folder, "log", "a") as terminal:
            for kind in WORDS:
                terminal.wait_for(f"<{kind}>")
            self.assertEqual(SUCCESS, terminal.exit_code())
            if not ON_WINDOWS:  # where the console draws, as tested with the log
                self.assertIn(f"\x1b[33m{at(0)} WARN 1 <warning>".encode(), terminal.shown)
                self.assertIn(f"\x1b[91m{at(0)} ERROR 1 <error>".encode(), terminal.shown)


class Following(LogTestCase):
    def append(self, name, text):
        with open(self.folder / name, "ab") as file:
            file.write(text.encode())

    def follow(self, *arguments):
        return Background(self.folder, "log", "-f", *arguments)

    def test_shows_what_is_added_and_holds_back_a_line_until_its_end(self):
        self.log("a", plain(at(0), "info", 100, "a0"))
        self.log("b", "")
        with self.follow("a", "b", "--no-file") as tool:
            tool.wait_for("a0\n")
            self.append("a", plain(at(1), "info", 100, "a1") + plain(at(2), "info", 100, "half")[:-3])
            for number in (1, 2, 3):  # each is shown in a later look at both files
                self.append("b", plain(at(number), "info", 100, f"b{number}"))
                tool.wait_for(f"b{number}\n")
            self.assertNotIn("ha", tool.text())
            self.append("a", "lf\n")
            tool.wait_for("half\n")
            code, out, err = tool.interrupt()
        self.assertEqual((SUCCESS, ""), (code, err))
        self.assertEqual(["a0", "a1", "b1", "b2", "b3", "half"], sorted(line.split()[-1] for line in out.splitlines()))

    def test_a_log_that_is_set_aside_is_read_to_its_end_before_the_new_one(self):
        for layout, header, suffix in ((plain, "", "20240307-090000"), (csv, CSV_HEADER, "20240307-090000"),
                                       (html, html_header(at(0)), "00000-000000")):
            with self.subTest(layout.__name__):
                self.log("a", header + layout(at(0), "info", 100, "old") * 50)
                with self.follow("a", "-n", "1") as tool:
                    tool.wait_for("old\n")
                    self.append("a", layout(at(1), "info", 100, "last words"))
                    os.rename(self.folder / "a", self.folder / f"a{suffix}")
                    header = header.replace("07.03", "08.03")
                    self.log("a", header + layout("2024-03-08 00:00:00", "info", 100, "new") * 99)
                    tool.wait_for("new\n")
                    self.append("a", layout("2024-03-08 00:00:01", "info", 100, "more"))
                    tool.wait_for("more\n")
                    code, out, err = tool.interrupt()
                self.assertEqual((SUCCESS, ""), (code, err))
                words = [line.split()[-1] for line in out.splitlines()]
                self.assertEqual(["old", "words"] + ["new"] * 99 + ["more"], words)

    def test_a_log_that_is_cut_short_or_comes_later_is_read_from_its_start(self):
        line = plain(at(0), "info", 100, "before")
        self.log("a", line * 100)
        with self.follow("a", "late", "--json", "-n", "1", "--kind", "info") as tool:
            tool.wait_for("before")
            self.append("a", plain(at(0), "info", 100, "added"))
            tool.wait_for("added")
            os.truncate(self.folder / "a", len(line) * 90)
            self.append("a", plain(at(1), "info", 100, "cut"))
            tool.wait_for("cut")
            self.log("late", plain(at(2), "error", 300, "not wanted") + plain(at(2), "info", 100, "late"))
            tool.wait_for('"late"}')
            os.remove(self.folder / "late")
            self.append("a", plain(at(3), "info", 100, "end"))
            tool.wait_for("end")
            code, out, err = tool.interrupt()
        self.assertEqual((SUCCESS, "late: cannot be read: No such file or directory\n"), (code, err))
        entries = [(entry["file"], entry["text"]) for entry in map(json.loads, out.splitlines())]
        self.assertEqual([("a", "before"), ("a", "added")] + [("a", "before")] * 90
                         + [("a", "cut"), ("late", "late"), ("a", "end")], entries)

    def test_a_file_that_never_came_is_a_failure(self):
        self.log("a", plain(at(0), "info", 100, "x"))
        with self.follow("a", "never") as tool:
            tool.wait_for("x\n")
            self.assertEqual(FAILED, tool.interrupt()[0])


if __name__ == "__main__":
    unittest.main()
