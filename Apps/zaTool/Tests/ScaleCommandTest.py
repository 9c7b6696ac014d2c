"""The command scale: formats, kernels and sizes, what it refuses, and what it leaves alone."""

import base64
import struct
import unittest
import zlib
from pathlib import Path

from zaToolTesting import FAILED, SUCCESS, USAGE, Terminal, ToolTestCase, host_path

# Two by two pixels of the inks 40, 80, 160 and 20 of 255, as image programs store them: inverted.
INKS = base64.b64decode(
    "/9j/7gAOQWRvYmUAZAAAAAAA/9sAQwACAQEBAQECAQEBAgICAgIEAwICAgIFBAQDBAYFBgYGBQYGBgcJCAYHCQcGBggLCA"
    "kKCgoKCgYICwwLCgwJCgoK/8AAFAgAAgACBEMRAE0RAFkRAEsRAP/EABUAAQEAAAAAAAAAAAAAAAAAAAgJ/8QAFBABAAAAAA"
    "AAAAAAAAAAAAAAAP/aAA4EQwBNAFkASwAAPwCrheD2tY//2Q==")

SIGNATURE = b"\x89PNG\r\n\x1a\n"
CHANNELS_OF_COLOUR_TYPE = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}


def chunk(kind, content):
    return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))


def png(width, height, colour_type, rows, depth=8, palette=b""):
    header = struct.pack(">IIBBBBB", width, height, depth, colour_type, 0, 0, 0)
    pixels = zlib.compress(b"".join(b"\0" + row for row in rows))
    plte = chunk(b"PLTE", palette) if palette else b""
    return SIGNATURE + chunk(b"IHDR", header) + plte + chunk(b"IDAT", pixels) + chunk(b"IEND", b"")


def grey(*rows):
    return png(len(rows[0]), len(rows), 0, [bytes(row) for row in rows])


def bmp(width, height, colour):
    row = bytes(colour[::-1]) * width
    pixels = (row + b"\0" * (-len(row) % 4)) * height
    info = struct.pack("<IiiHHIIiiII", 40, width, height, 1, 24, 0, len(pixels), 0, 0, 0, 0)
    return b"BM" + struct.pack("<IHHI", 54 + len(pixels), 0, 0, 54) + info + pixels


def tga(width, height, colour):
    return (struct.pack("<BBBHHBHHHHBB", 0, 0, 2, 0, 0, 0, 0, 0, width, height, 24, 0x20)
            + bytes(colour[::-1]) * (width * height))


def hdr(width, height, rgbe):
    return (b"#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y %d +X %d\n" % (height, width)
            + bytes(rgbe) * (width * height))


def paeth(left, up, corner):
    guess = left + up - corner
    return min((left, up, corner), key=lambda value: abs(guess - value))


def unfilter(kind, row, above, pixel):
    row = bytearray(row)
    for i in range(len(row)):
        left, corner = (row[i - pixel], above[i - pixel]) if i >= pixel else (0, 0)
        row[i] = (row[i] + (0, left, above[i], (left + above[i]) // 2,
                            paeth(left, above[i], corner))[kind]) & 0xFF
    return bytes(row)


def read_png(content, count=None):
    """The width, the channels and the first (or all) rows of a PNG of 8 bits a sample."""
    assert content.startswith(SIGNATURE)
    at, data = len(SIGNATURE), b""
    while at < len(content):
        length, kind = struct.unpack_from(">I4s", content, at)
        body = content[at + 8:at + 8 + length]
        if kind == b"IHDR":
            width, _, depth, colour_type = struct.unpack_from(">IIBB", body)
            assert depth == 8
        data += body if kind == b"IDAT" else b""
        at += length + 12
    data, pixel = zlib.decompress(data), CHANNELS_OF_COLOUR_TYPE[colour_type]
    rows, above = [], bytes(width * pixel)
    for start in range(0, len(data), width * pixel + 1)[:count]:
        above = unfilter(data[start], data[start + 1:start + 1 + width * pixel], above, pixel)
        rows.append(above)
    return width, pixel, rows


class Scale(ToolTestCase):
    def scale(self, *arguments):
        result = self.run_tool("scale", *arguments)
        self.assertEqual((SUCCESS, ""), (result.code, result.err), arguments)
        return result.out

    def rows(self, name):
        return read_png(self.content(name))[2]

    def assert_near(self, expected, rows):
        for wanted, row in zip(expected, rows, strict=True):
            self.assertLessEqual(max(abs(a - b) for a, b in zip(wanted, row, strict=True)), 1, rows)

    def test_scales_by_the_kernel_that_is_named(self):
        self.make("a.png", grey([0, 100, 200, 100], [0, 100, 200, 100]))
        # Output position 1 is source position 2: half of it, and a quarter of each neighbour.
        self.assertEqual("o.png: 2x1, 1 channel\n",
                         self.scale("a.png", "o.png", "--size", "2x1", "--filter", "linear"))
        self.assert_near([[33, 150]], self.rows("o.png"))
        for kernel, width, expected in [("box", "0.5", [50, 133]), ("box", "0", [0, 200]),
                                        ("lanczos3", "1", [38, 145]), ("linear", "0.5", [0, 200])]:
            with self.subTest(kernel=kernel, width=width):
                self.scale("a.png", kernel + width + ".png", "--size", "2x1", "--filter", kernel,
                           "--width", width)
                self.assert_near([expected], self.rows(kernel + width + ".png"))

    def test_makes_the_same_of_a_photograph_on_each_host(self):
        # By Stefan van der Walt, CC0; the small one was made on Linux. Mathematics libraries differ.
        here = Path(__file__).parent
        self.make("photograph.jpg", (here / "photograph.jpg").read_bytes())
        self.scale("photograph.jpg", "o.png", "--size", "64x48")
        expected = read_png((here / "photograph-64x48.png").read_bytes())
        self.assert_near(expected[2], self.rows("o.png"))

    def test_reads_every_format(self):
        colour = (200, 100, 50)
        palette = bytes(colour) + bytes(range(9))
        deep = png(2, 2, 2, [struct.pack(">6H", *[v * 257 for v in colour * 2])] * 2, 16)
        for name, content, channels in [
            ("rgb.png", png(2, 2, 2, [bytes(colour * 2)] * 2), 3),
            ("deep.png", deep, 3),
            ("palette.png", png(2, 2, 3, [b"\0\0"] * 2, palette=palette), 3),
            ("opaque.png", png(2, 2, 6, [bytes((*colour, 255) * 2)] * 2), 4),
            ("a.bmp", bmp(3, 2, colour), 3),
            ("a.tga", tga(2, 2, colour), 3),
            ("one.tga", tga(1, 1, colour), 3),
        ]:
            with self.subTest(name):
                self.make(name, content)
                self.scale(name, "o-" + name + ".png", "--size", "5x3")
                pixel = (*colour, 255)[:channels]
                self.assertEqual((5, channels, [bytes(pixel * 5)] * 3),
                                 read_png(self.content("o-" + name + ".png")))

    def test_reads_the_four_inks_of_printing(self):
        self.make("inks.jpg", INKS)
        self.scale("inks.jpg", "o.png", "--size", "1x1")
        self.assert_near([[(255 - ink) * (255 - 20) / 255 for ink in (40, 80, 160)]], self.rows("o.png"))

    def test_refuses_colours_of_unknown_kind(self):
        two = INKS  # with the first two of its four components alone
        for marker, size_of_each in ((b"\xff\xc0", 3), (b"\xff\xda", 2)):
            at = two.index(marker)
            count_at = at + (9 if size_of_each == 3 else 4)
            self.assertEqual(4, two[count_at])
            two = (two[:at + 2] + struct.pack(">H", struct.unpack_from(">H", two, at + 2)[0] - 2 * size_of_each)
                   + two[at + 4:count_at] + b"\x02" + two[count_at + 1:count_at + 1 + 2 * size_of_each]
                   + two[count_at + 1 + 4 * size_of_each:])
        self.make("two.jpg", two)
        self.expect(FAILED, "", "two.jpg: is no picture that can be read: its colours are of no known kind\n",
                    "scale", "two.jpg", "o.png", "--size", "1x1")

    def test_writes_hdr_and_jpeg_that_read_back(self):
        self.make("light.hdr", hdr(4, 4, (128, 64, 32, 129)))  # 1, 0.5 and 0.25 in linear light
        self.scale("light.hdr", "o.hdr", "--size", "16x9")
        self.scale("o.hdr", "o.jpg", "--size", "32x16")
        self.scale("o.jpg", "o.png", "--size", "3x2")
        width, channels, rows = read_png(self.content("o.png"))
        self.assertEqual((3, 3), (width, channels))
        for row in rows:
            for value, wanted in zip(row, (255, 188, 137) * 3, strict=True):
                self.assertLessEqual(abs(value - wanted), 2)

    def test_adds_up_light_and_opacity_where_it_is_told(self):
        self.make("a.png", grey([0, 255, 0, 255, 0, 255]))
        for options, expected in [([], 128), (["--linear-light"], 188)]:
            self.scale("a.png", f"{expected}.png", "--size", "3x1", "--filter", "linear", *options)
            self.assertLessEqual(abs(expected - self.rows(f"{expected}.png")[0][1]), 1)
        self.make("b.png", png(2, 1, 6, [bytes((255, 0, 0, 0, 0, 200, 0, 255))]))
        self.scale("b.png", "c.png", "--size", "1x1", "--filter", "box", "--width", "1")
        self.assertEqual([bytes((0, 200, 0, 128))], self.rows("c.png"))

    def test_scales_volumes_of_samples(self):
        self.make("v", struct.pack("<8f", *range(8)))
        self.assertEqual("o: 2x2, 1 channel\n",
                         self.scale("v", "o", "--volume", "2x2x2:float", "--size", "2x2x1",
                                    "--filter", "box", "--width", "0"))
        self.assertEqual((0, 1, 2, 3), struct.unpack("<4f", self.content("o")))
        self.expect(FAILED, "", "v: has 32 bytes, and a volume of this size has 16\n", "scale", "v",
                    "o", "--volume", "2x2x2:half", "--size", "1x1x1")

    def test_writes_several_files_into_a_folder(self):
        self.make("a.bmp", bmp(2, 2, (1, 2, 3)))
        self.make("b.png", grey([9, 9]))
        (self.folder / "to").mkdir()
        out = self.scale("a.bmp", "b.png", "to", "--size", "4x4")
        self.assertEqual(host_path("to/a.png: 4x4, 3 channels\nto/b.png: 4x4, 1 channel\n"), out)
        self.assertEqual([b"\x09" * 4] * 4, self.rows("to/b.png"))
        self.expect(FAILED, "", "c.png: is no folder, which several files need\n", "scale", "a.bmp",
                    "b.png", "c.png", "--size", "4x4")

    def test_compares_the_kernels_on_one_picture(self):
        self.make("a.png", grey(*[[(x * y) & 0xFF for x in range(64)] for y in range(48)]))
        self.scale("--compare", "a.png", "o.png")
        width, channels, rows = read_png(self.content("o.png"), 110)  # names, and some of each
        self.assertEqual(3, channels)
        column = (width - 8) // 6
        columns = [[row[3 * (8 + i * column):3 * (i + 1) * column] for row in rows] for i in range(6)]
        # Each has a look of its own, but for two that find one sample each in this enlargement.
        self.assertEqual(5, len({tuple(c[32:]) for c in columns}))
        self.assertEqual(6, len({tuple(c[:32]) for c in columns}))
        for c in columns:
            self.assertIn(0, b"".join(c[8:32]))  # a name in ink

    def test_tells_what_is_no_picture_and_writes_nothing(self):
        whole = grey(*[[(x * y) & 0xFF for x in range(64)] for y in range(64)])
        early = "is no picture, or a part of one: it ends too early"
        for name, content, problem in [
            ("text.png", b"no picture at all", "is no picture that can be read: unknown image type"),
            ("empty.png", b"", early),
            ("none.bmp", bmp(0, 9, (1, 2, 3)), "is no picture that can be read: it is empty"),
            ("tables.jpg", b"\xff\xd8\xff\xc4\x00\x15\x00" + b"\xff" * 18,
             "is no picture that can be read: Bogus Huffman table definition"),
            ("cut.png", whole[:len(whole) // 2], early),
            ("cut.bmp", bmp(9, 9, (1, 2, 3))[:-1], early),
            ("cut.tga", tga(9, 9, (1, 2, 3))[:-1], early),
            ("promise.tga", tga(60000, 60000, ())[:30], early),
            ("cut.hdr", hdr(9, 9, (1, 2, 3, 128))[:-1], early),
        ]:
            with self.subTest(name):
                self.make(name, content)
                self.expect(FAILED, "", f"{name}: {problem}\n", "scale", name, "o.png", "--size", "4x4")
                self.assertFalse((self.folder / "o.png").exists())
        self.scale(self.make("a.png", whole), "a.jpg", "--size", "64x64")
        self.make("cut.jpg", self.content("a.jpg")[:-200])
        self.expect(FAILED, "", f"cut.jpg: {early}\n", "scale", "cut.jpg", "o.png", "--size", "4x4")
        self.expect(FAILED, "", "none.png: cannot be read: No such file or directory\n", "scale",
                    "none.png", "o.png", "--size", "4x4")

    def test_scales_extreme_sizes_or_says_why_not(self):
        self.make("long.png", grey(range(0, 200, 10)))
        self.scale("long.png", "wide.png", "--size", "20000x1")
        self.scale("wide.png", "dot.png", "--size", "1x1")
        self.scale("dot.png", "big.png", "--size", "300x200")
        self.assertEqual(1, len(set(b"".join(self.rows("big.png")))))
        self.expect(FAILED, "", "long.png: needs more memory than there is\n", "scale", "long.png",
                    "o.png", "--size", "999999999x999999999")
        self.expect(FAILED, "", "o.jpg: cannot be written: the format does not hold a picture of this "
                    "size\n", "scale", "long.png", "o.jpg", "--size", "70000x1")
        self.assertFalse((self.folder / "o.jpg").exists())
        result = self.run_tool("scale", "wide.png", "o.png", "--size", "20000x1", "--width", "10000")
        self.assertEqual(FAILED, result.code)
        self.assertIn("the contributions need more than 1 GiB", result.err)
        self.assertFalse((self.folder / "o.png").exists())

    def test_refuses_what_it_does_not_understand(self):
        self.make("a.png", grey([1]))
        for arguments in [
            ["a.png", "o.png"], ["a.png", "--size", "4x4"], ["a.png", "o.png", "--size", "4"],
            ["a.png", "o.png", "--size", "0x4"], ["a.png", "o.png", "--size", "4x-4"],
            ["a.png", "o.png", "--size", "4x4x4"], ["a.png", "o.png", "--size", "4x4x"],
            ["a.png", "o.png", "--size", "4000000000x4"],
            ["a.png", "o.png", "--size", "4x4", "--filter", "cubic"],
            ["a.png", "o.png", "--size", "4x4", "--width", "-1"],
            ["a.png", "o.png", "--size", "4x4", "--width", "nan"],
            ["a.png", "o.png", "--size", "4x4x4", "--volume", "2x2x2:int"],
            ["a.png", "o.png", "--size", "4x4", "--volume", "2x2x2:half"],
            ["a.png", "o.png", "--size", "4x4", "--compare"],
        ]:
            with self.subTest(arguments):
                self.expect_code(USAGE, "scale", *arguments)
        self.expect(FAILED, "", "o.gif: is not the name of a PNG, JPEG or HDR file\n", "scale", "a.png",
                    "o.gif", "--size", "4x4")

    def test_asks_before_it_overwrites(self):
        self.make("a.png", grey([7]))
        self.make("o.png", b"mine")
        refused = self.run_tool("scale", "a.png", "o.png", "--size", "2x2")
        self.assertEqual(FAILED, refused.code)
        self.assertTrue(refused.err.endswith("o.png: not written\n"), refused.err)
        self.assertEqual(b"mine", self.content("o.png"))
        self.assertEqual(["a.png", "o.png"], sorted(path.name for path in self.folder.iterdir()))
        with Terminal(self.folder, "scale", "a.png", "o.png", "--size", "2x2") as terminal:
            terminal.wait_for("Overwrite file?")
            terminal.type(b"y\r")
            self.assertEqual(SUCCESS, terminal.exit_code())
        self.assertEqual([b"\x07\x07"] * 2, self.rows("o.png"))


if __name__ == "__main__":
    unittest.main()
