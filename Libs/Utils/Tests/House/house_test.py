"""Keeps the house in order: who may include what, and where the operating system may show.

usage: house_test.py [-v]

Each rule is a function that takes the project's root and yields its violations as "file:line: text".
It runs over the project itself, and over small made-up trees that break it once, which shows that
it bites.
"""

import pathlib
import re
import tempfile
import unittest

PROJECT_ROOT = pathlib.Path(__file__).resolve().parents[4]
LIBRARY = "Libs/Utils/zaUtils"
PRODUCT = "Libs/Product/zaProduct"

SOURCE_SUFFIXES = {".h", ".hpp", ".cpp", ".cc", ".c", ".inl"}
TEST_FOLDERS = {"Tests", "Benchmarks", "Fuzz"}

# The rooms of the library by their height. A room may include its own layer and what lies below.
LAYER_OF_ROOM = {
    "Os": 0,
    "Streams": 1, "Encoding": 1, "Strings": 1, "Helpers": 1,
    "Logging": 2, "Messages": 2, "Files": 2, "Platform": 2,
    "Imaging": 3, "Formats": 3, "Diagnostics": 3, "Progress": 3,
}  # fmt: skip

# The log's core serves every room, so it needs none but the seam.
ROOMS_OF_LOG_CORE = {"Os", "Logging"}
LOG_CORE = {"Logging/zaLog.h", "Logging/zaLog.cpp"}

HOST_MACRO = re.compile(
    r"\b(_?_?WIN(32|64)(__|_)?|_WINDOWS|__MINGW(32|64)__|__CYGWIN__|_?_?linux(__)?|_?_?unix(__)?"
    r"|__APPLE__|__MACH__|__FreeBSD__|__ANDROID__|_POSIX_\w+|__GLIBC__)\b"
)

STANDARD_HEADERS = set(
    """algorithm any array atomic bitset cassert ccomplex cctype cerrno cfenv cfloat charconv chrono
    cinttypes ciso646 climits clocale cmath codecvt complex condition_variable csetjmp csignal
    cstdalign cstdarg cstdbool cstddef cstdint cstdio cstdlib cstring ctgmath ctime cuchar cwchar
    cwctype deque exception execution filesystem forward_list fstream functional future
    initializer_list iomanip ios iosfwd iostream istream iterator limits list locale map memory
    memory_resource mutex new numeric optional ostream queue random ratio regex scoped_allocator set
    shared_mutex sstream stack stdexcept streambuf string string_view strstream system_error thread
    tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant vector
    assert.h ctype.h errno.h float.h inttypes.h limits.h locale.h math.h setjmp.h signal.h stdalign.h
    stdarg.h stdbool.h stddef.h stdint.h stdio.h stdlib.h string.h time.h wchar.h wctype.h""".split()
)
# Libraries that are the same on every host, and the processor's instructions.
PORTABLE_HEADER = re.compile(
    r"(boost|tbb|oneapi|CLI|nlohmann|stb)/.+|zstd(_errors)?\.h|j(peglib|error)\.h|\w*intrin\.h"
)
INCLUDE = re.compile(r'\s*#\s*include\s*([<"])([^>"]+)[>"]')

COMMENT_OR_LITERAL = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(?P<fence>[^()\\\s]*)\(.*?\)(?P=fence)"'
    r"|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])*'",
    re.DOTALL,
)


# --- reading ---


def source_files(root, *folders):
    """The sources below the folders; test code and the like is left out."""
    for folder in folders:
        for path in sorted((root / folder).rglob("*")):
            parts = path.relative_to(root).parts
            if path.suffix in SOURCE_SUFFIXES and not TEST_FOLDERS & set(parts) and path.is_file():
                yield path


def product_files(root):
    return source_files(root, "Libs", "Apps", "Examples")


def without_comments(text):
    """The text with its lines kept; comments become blank. Literals stay."""

    def blank(match):
        token = match.group()
        return "\n" * token.count("\n") + " " if token.startswith("/") else token

    return COMMENT_OR_LITERAL.sub(blank, text)


def directives(path):
    """The preprocessor's directives as (line number, text); continued lines are joined."""
    lines = without_comments(path.read_text(encoding="utf-8")).split("\n")
    number = 0
    while number < len(lines):
        first = number + 1
        text = lines[number]
        while text.endswith("\\") and number + 1 < len(lines):
            number += 1
            text = text[:-1] + " " + lines[number]
        number += 1
        if text.lstrip().startswith("#"):
            yield first, text


def includes(path):
    """What the file includes as (line number, whether in angle brackets, name)."""
    for number, text in directives(path):
        if match := INCLUDE.match(text):
            yield number, match[1] == "<", match[2]


def report(root, path, number, text):
    return f"{path.relative_to(root).as_posix()}:{number}: {text}"


def in_library(root, path):
    """The path inside the library ("Files/zaFile.h"), or None."""
    library = root / LIBRARY
    return path.relative_to(library).as_posix() if library in path.parents else None


def may_know_the_host(root, path):
    inside = in_library(root, path)
    is_api = path in (root / LIBRARY / "Api.h", root / PRODUCT / "Api.h")
    return is_api or (inside is not None and inside.startswith("Os/"))


def room_of(name):
    """The room of an include name or of a path inside the library; None for files of no room."""
    parts = name.removeprefix("zaUtils/").split("/")
    return parts[0] if len(parts) > 1 else None


# --- rules ---


def host_macros(root):
    """Outside the seam and the Api.h files, no directive asks for the operating system."""
    for path in product_files(root):
        if may_know_the_host(root, path):
            continue
        for number, text in directives(path):
            if match := None if INCLUDE.match(text) else HOST_MACRO.search(text):
                yield report(root, path, number, f"{match[0]} is known to the seam only")


def system_headers(root):
    """Outside the seam and the Api.h files, angle brackets hold the standard library and portable ones."""
    for path in product_files(root):
        if may_know_the_host(root, path):
            continue
        for number, is_angled, name in includes(path):
            is_ours = name.startswith(("zaUtils/", "zaProduct/"))
            is_portable = name in STANDARD_HEADERS or PORTABLE_HEADER.fullmatch(name) or is_ours
            if is_angled and not is_portable:
                yield report(root, path, number, f"<{name}> is a system header")


def windows_header(root):
    """One file includes the system's header."""
    for path in product_files(root):
        if in_library(root, path) == "Os/Windows/WindowsApi.h":
            continue
        for number, _, name in includes(path):
            if name.lower() == "windows.h":
                yield report(root, path, number, f"{name} is included by WindowsApi.h only")


def back_ends(root):
    """Both back ends have the same sources, and neither asks for the host."""
    folders = {host: root / LIBRARY / "Os" / host for host in ("Windows", "Posix")}
    names = {host: {p.name for p in folder.glob("*.cpp")} for host, folder in folders.items()}
    for host, other in (("Windows", "Posix"), ("Posix", "Windows")):
        for name in sorted(names[other] - names[host]):
            yield report(root, folders[host] / name, 0, "is missing, the other host has it")
        for path in source_files(root, folders[host].relative_to(root)):
            for number, text in directives(path):
                is_condition = re.match(r"\s*#\s*(el)?if", text)
                if is_condition and (match := HOST_MACRO.search(text)):
                    yield report(root, path, number, f"{match[0]}: the folder tells the host")


def layers(root):
    """Includes point down, or stay in their layer. The seam knows the standard library only."""
    for path in source_files(root, LIBRARY):
        inside = in_library(root, path)
        room = room_of(inside)
        if room is not None and room not in LAYER_OF_ROOM:
            yield report(root, path, 0, f"{room} is no room of the library")
            continue
        for number, is_angled, name in includes(path):
            if text := layer_violation(inside, room, is_angled, name):
                yield report(root, path, number, text)
    for path in source_files(root, "Libs/Product"):
        for number, _, name in includes(path):
            if name.startswith("zaUtils/"):
                yield report(root, path, number, f"{name} lies above the product description")


def layer_violation(inside, room, is_angled, name):
    if not name.startswith("zaUtils/"):
        if room == "Os" and is_angled and PORTABLE_HEADER.fullmatch(name):
            return None if "intrin" in name else f"<{name}> is foreign to the seam"
        if not is_angled and not name.startswith("zaProduct/"):
            return f'"{name}" does not show the room'
        return None
    target = room_of(name)
    if target is None:
        return f"{name} lies outside the seam" if room == "Os" else None
    if target not in LAYER_OF_ROOM:
        return f"{target} is no room of the library"
    if room is None or LAYER_OF_ROOM[target] > LAYER_OF_ROOM[room]:
        return f"{name} lies above {room or 'the rooms'}"
    if inside in LOG_CORE and target not in ROOMS_OF_LOG_CORE:
        return f"{name} is not for the log's core"
    return None


def public_headers(root):
    """They start with #pragma once and never include the seam; what a room keeps to itself may."""
    for path in source_files(root, LIBRARY):
        inside = in_library(root, path)
        if path.suffix != ".h" or inside.startswith("Os/"):
            continue
        if not path.read_text(encoding="utf-8").startswith("#pragma once\n"):
            yield report(root, path, 1, "does not start with #pragma once")
        if "Internal" in path.parts:
            continue
        for number, _, name in includes(path):
            if name.startswith("zaUtils/Os/"):
                yield report(root, path, number, f"{name} is not installed")


RULES = [host_macros, system_headers, windows_header, back_ends, layers, public_headers]


# --- tests ---


class TheProject(unittest.TestCase):
    def test_is_found_where_the_rules_look(self):
        files = list(product_files(PROJECT_ROOT))
        self.assertGreater(len(files), 20)
        rooms = {room_of(in_library(PROJECT_ROOT, p)) for p in source_files(PROJECT_ROOT, LIBRARY)}
        self.assertLessEqual({"Os", "Strings", "Logging", "Files"}, rooms)

    def test_keeps_every_rule(self):
        for rule in RULES:
            with self.subTest(rule=rule.__name__):
                self.assertEqual([], list(rule(PROJECT_ROOT)), rule.__doc__)


class MadeUpTree(unittest.TestCase):
    """Each test writes a tree that keeps all the rules, and breaks one of them in it."""

    GOOD = {
        f"{LIBRARY}/Api.h": "#pragma once\n#ifdef _WIN32\n#endif\n",
        f"{PRODUCT}/Api.h": "#pragma once\n#ifdef _WIN32\n#endif\n",
        f"{LIBRARY}/Os/File.h": "#pragma once\n#include <string>\n",
        f"{LIBRARY}/Os/Windows/WindowsApi.h": "#pragma once\n#ifndef NOMINMAX\n#endif\n#include <windows.h>\n",
        f"{LIBRARY}/Os/Windows/File.cpp": '#include "zaUtils/Os/Windows/WindowsApi.h"\n#include <io.h>\n',
        f"{LIBRARY}/Os/Posix/File.cpp": '#include "zaUtils/Os/File.h"\n#include <unistd.h>\n',
        f"{LIBRARY}/Logging/zaLog.h": '#pragma once\n#include "zaUtils/Api.h"\n',
        f"{LIBRARY}/Logging/zaLog.cpp": '#include "zaUtils/Logging/zaLog.h"\n#include "zaUtils/Os/File.h"\n',
        f"{LIBRARY}/Logging/zaLogFile.cpp": '#include "zaUtils/Files/zaFile.h"\n',
        f"{LIBRARY}/Files/zaFile.h": '#pragma once\n#include "zaUtils/Api.h"\n#include <boost/any.hpp>\n',
        f"{LIBRARY}/Files/zaFile.cpp": '#include "zaUtils/Strings/zaString.h"\n'
        'const char* folder = "lib\\\\WIN64";  // as on _WIN32: #include <windows.h>\n'
        "/*\n#include <windows.h>\n#ifdef _WIN32\n*/\n",
        f"{LIBRARY}/Files/Internal/Parts.h": '#pragma once\n#include "zaUtils/Os/File.h"\n',
        f"{LIBRARY}/Strings/zaString.h": "#pragma once\n#include <string>\n",
        f"{LIBRARY}/Encoding/zaCRC32Simd.cpp": "#ifdef __SSE4_2__\n#include <immintrin.h>\n#endif\n",
        "Libs/Utils/Tests/Any.cpp": "#ifdef _WIN32\n#include <windows.h>\n#endif\n",
        "Apps/zaTool/main.cpp": "#include <CLI/CLI.hpp>\n#include <iostream>\n",
        "Examples/first.cpp": "#include <zaUtils/Files/zaFile.h>\n",
    }

    def violations(self, changes):
        """What each rule says about the good tree with the changes; None removes a file."""
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for name, content in {**self.GOOD, **changes}.items():
                if content is not None:
                    (root / name).parent.mkdir(parents=True, exist_ok=True)
                    (root / name).write_text(content, encoding="utf-8")
            return {rule.__name__: found for rule in RULES if (found := list(rule(root)))}

    def assert_breaks(self, rule, name, content, line):
        found = self.violations({name: content})
        self.assertEqual([rule.__name__], list(found), f"{name}: {content!r}")
        self.assertEqual(1, len(found[rule.__name__]), found)
        self.assertTrue(found[rule.__name__][0].startswith(f"{name}:{line}: "), found)

    def test_without_fault_breaks_no_rule(self):
        self.assertEqual({}, self.violations({}))

    def test_host_macros(self):
        for name, content, line in [
            (f"{LIBRARY}/Files/zaFile.cpp", "\n#ifdef _WIN32\n#endif\n", 2),
            (f"{LIBRARY}/Files/zaFile.cpp", "#if 1 && \\\n  defined(__linux__)\n#endif\n", 1),
            (f"{LIBRARY}/Files/zaFile.h", "#pragma once\n#ifndef __MINGW32__\n#endif\n", 2),
            (f"{PRODUCT}/zaProduct.cpp", "#if 0\n#elif defined(__unix__)\n#endif\n", 2),
            (f"{LIBRARY}/Files/Api.h", "#pragma once\n#ifdef _WIN32\n#endif\n", 2),
            ("Apps/zaTool/main.cpp", "#  if defined WIN32\n#endif\n", 1),
            ("Examples/first.cpp", "#if defined(_WIN64)\n#endif\n", 1),
        ]:
            self.assert_breaks(host_macros, name, content, line)

    def test_system_headers(self):
        for name, content, line in [
            (f"{LIBRARY}/Files/zaFile.cpp", "#include <string>\n#include <unistd.h>\n", 2),
            (f"{LIBRARY}/Files/zaFile.cpp", "# include <sys/stat.h>\n", 1),
            (f"{LIBRARY}/Strings/zaString.h", "#pragma once\n#include <io.h>\n", 2),
            ("Apps/zaTool/main.cpp", "#include <fcntl.h>\n", 1),
            ("Examples/first.cpp", "#include <shellapi.h>\n", 1),
        ]:
            self.assert_breaks(system_headers, name, content, line)

    def test_windows_header(self):
        for include in ("<windows.h>", "<Windows.h>", '"windows.h"'):
            name = f"{LIBRARY}/Os/Windows/File.cpp"
            found = self.violations({name: f"#include {include}\n"})
            self.assertEqual([f"{name}:1"], [text.rsplit(":", 1)[0] for text in found["windows_header"]])

    def test_back_ends(self):
        windows, posix = f"{LIBRARY}/Os/Windows", f"{LIBRARY}/Os/Posix"
        for there, missing in ((windows, posix), (posix, windows)):
            found = self.violations({f"{there}/Clock.cpp": "\n"})
            self.assertEqual({"back_ends": [f"{missing}/Clock.cpp:0: is missing, the other host has it"]}, found)
        for name in (f"{windows}/File.cpp", f"{posix}/File.cpp", f"{posix}/PosixPath.h"):
            self.assert_breaks(back_ends, name, "#if defined(__APPLE__)\n#endif\n", 1)

    def test_layers(self):
        for name, content, line in [
            (f"{LIBRARY}/Strings/zaString.cpp", '\n#include "zaUtils/Files/zaFile.h"\n', 2),
            (f"{LIBRARY}/Strings/zaString.cpp", "#include <zaUtils/Logging/zaLog.h>\n", 1),
            (f"{LIBRARY}/Files/zaFile.cpp", '#include "zaUtils/Formats/zaFileExtension.h"\n', 1),
            (f"{LIBRARY}/Helpers/zaFont.h", '#pragma once\n#include "zaUtils/Platform/zaUtils.h"\n', 2),
            (f"{LIBRARY}/Os/File.cpp", '#include "zaUtils/Strings/zaString.h"\n', 1),
            (f"{LIBRARY}/Os/File.cpp", '#include "zaUtils/Api.h"\n', 1),
            (f"{LIBRARY}/Os/File.cpp", "#include <boost/any.hpp>\n", 1),
            (f"{LIBRARY}/Logging/zaLog.cpp", '#include "zaUtils/Strings/zaString.h"\n', 1),
            (f"{LIBRARY}/Logging/zaLog.cpp", '#include "zaUtils/Files/zaFile.h"\n', 1),
            (f"{LIBRARY}/Logging/zaLog.h", '#pragma once\n#include "zaUtils/Platform/zaUtils.h"\n', 2),
            (f"{LIBRARY}/Api.h", '#pragma once\n#include "zaUtils/Strings/zaString.h"\n', 2),
            (f"{LIBRARY}/Attic/zaOld.cpp", "\n", 0),
            (f"{LIBRARY}/Files/zaFile.cpp", '#include "zaUtils/Attic/zaOld.h"\n', 1),
            (f"{LIBRARY}/Files/zaFile.cpp", '#include "../Strings/zaString.h"\n', 1),
            (f"{PRODUCT}/zaProduct.cpp", '#include "zaUtils/Strings/zaString.h"\n', 1),
            (f"{PRODUCT}/zaProduct.h", '#pragma once\n#include "zaUtils/Api.h"\n', 2),
        ]:
            self.assert_breaks(layers, name, content, line)

    def test_layers_leave_neighbours_and_what_lies_below_in_peace(self):
        found = self.violations({
            f"{LIBRARY}/Progress/zaProgress.cpp": '#include "zaUtils/Imaging/ImageScaler.h"\n'
            '#include "zaUtils/Os/Clock.h"\n#include "zaProduct/zaProduct.h"\n',
            f"{LIBRARY}/Messages/zaMessage.cpp": '#include "zaUtils/Platform/zaUtils.h"\n',
            f"{LIBRARY}/Strings/zaString.cpp": '#include "zaUtils/Helpers/zaFont.h"\n',
        })  # fmt: skip
        self.assertEqual({}, found)

    def test_public_headers(self):
        name = f"{LIBRARY}/Files/zaFile.h"
        self.assert_breaks(public_headers, name, '#pragma once\n\n#include "zaUtils/Os/File.h"\n', 3)
        self.assert_breaks(public_headers, name, "#include <string>\n#pragma once\n", 1)
        self.assert_breaks(public_headers, name, "", 1)


if __name__ == "__main__":
    unittest.main()
