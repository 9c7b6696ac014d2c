#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "Support/ScratchFolder.h"
#include "zaUtils/Files/zaFile.h"

namespace {

using namespace std::string_literals;

constexpr std::size_t kBufferSize = 2048;  // of a computed path, its final NUL included

TEST(PathNames, AbsoluteAndRelative) {
    for (const char* path : {"/", "\\", "/a", "\\a", "C:", "C:/a", "C:a", "c:\\a", "$HOME/a", "$",
                             "1:x", "//server/share", "::"}) {
        EXPECT_FALSE(zaFile::isRelative(path)) << path;
    }
    EXPECT_FALSE(zaFile::isRelative(""));
    for (const char* path : {"a", ".", "..", "./a", "a/b", "a\\b", ":", ":a", "ab:", "~", "~/a",
                             " /a", "a$b", u8"é:"}) {
        EXPECT_TRUE(zaFile::isRelative(path)) << path;
    }
}

TEST(PathNames, SeparatorsAreConvertedByteByByte) {
    EXPECT_EQ(zaFile::convertSeparators("a/b\\c//d\\/"), "a\\b\\c\\\\d\\\\");
    EXPECT_EQ(zaFile::convertToUnixSeparators("a/b\\c\\\\d\\/"), "a/b/c//d//");
    EXPECT_EQ(zaFile::convertSeparators(u8"é/日\0/"s), u8"é\\日\0\\"s);
    EXPECT_EQ(zaFile::convertSeparators(""), "");
    EXPECT_EQ(zaFile::convertToUnixSeparators(""), "");
}

TEST(PathNames, Parts) {
    const struct {
        std::string path, directory, name, base, extension;
    } rows[] = {
        {"", ".", "", "", ""},
        {"file", ".", "file", "file", ""},
        {"/file", "", "file", "file", ""},
        {"\\file", "", "file", "file", ""},
        {"/", "", "", "", ""},
        {"C:\\dir/file.txt", "C:\\dir", "file.txt", "file", "txt"},
        {"C:/dir\\file.txt", "C:/dir", "file.txt", "file", "txt"},
        {"C:file.txt", ".", "C:file.txt", "C:file", "txt"},
        {"a/b/", "a/b", "", "", ""},
        {"a//b", "a/", "b", "b", ""},
        {"a/b.tar.gz", "a", "b.tar.gz", "b.tar", "gz"},
        {"A.TXT", ".", "A.TXT", "A", "txt"},
        {"name.", ".", "name.", "name", ""},
        {".hidden", ".", ".hidden", "", "hidden"},
        {"a/.hidden", "a", ".hidden", "", "hidden"},
        {"..", ".", "..", ".", ""},
        // Only the extension is looked for beyond the last separator.
        {"dir.d/name", "dir.d", "name", "name", "d/name"},
        {"Dir.D\\Name", "Dir.D", "Name", "Name", "d\\name"},
        {u8"é.d/日本.PNG", u8"é.d", u8"日本.PNG", u8"日本", "png"},
        {"a.\xC9", ".", "a.\xC9", "a", "\xC9"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(zaFile::getFilePath(row.path), row.directory);
        EXPECT_EQ(zaFile::getFileName(row.path), row.name);
        EXPECT_EQ(zaFile::getBaseName(row.path), row.base);
        EXPECT_EQ(zaFile::getExtension(row.path), row.extension);
    }
}

TEST(PathNames, ExtensionsAreComparedAndReplaced) {
    EXPECT_TRUE(zaFile::hasExtension("a.TXT", "txt"));
    EXPECT_TRUE(zaFile::hasExtension("a.txt", "TxT"));
    EXPECT_TRUE(zaFile::hasExtension("a", ""));
    EXPECT_TRUE(zaFile::hasExtension("a.", ""));
    EXPECT_TRUE(zaFile::hasExtension("d.X/y", "x/Y"));
    EXPECT_FALSE(zaFile::hasExtension("a.txt", ".txt"));
    EXPECT_FALSE(zaFile::hasExtension("a.txt", ""));
    EXPECT_FALSE(zaFile::hasExtension("a.tar.gz", "tar.gz"));
    EXPECT_FALSE(zaFile::hasExtension("", "txt"));

    const struct {
        std::string path, extension, expected;
    } rows[] = {
        {"a.txt", "png", "a.png"},    {"a.txt", ".png", "a.png"},
        {"a", "png", "a.png"},        {"a.", "png", "a.png"},
        {"a.b.c", "d", "a.b.d"},      {"C:\\d/a.T", "Png", "C:\\d/a.Png"},
        {"dir.d/name", "x", "dir.x"}, {".hidden", "x", ".x"},
        {u8"é.日", u8"本", u8"é.本"}, {"a.txt", "", "a."},
        {"a.txt", "..x", "a..x"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(zaFile::setExtension(row.path, row.extension), row.expected);
    }
}

TEST(PathNames, TheFirstExtensionOfAFilter) {
    const struct {
        std::string filter, extension;
    } rows[] = {
        {"", ""},
        {"Images", ""},
        {"Images (*.png *.jpg)", "png"},
        {"Images (*.png;*.jpg)", "png"},
        {"Images (*.png, *.jpg)", "png"},
        {"*.png", "png"},
        {"Archives (*.tar.gz)", "tar.gz"},
        {"Upper (*.PNG)", "PNG"},
        {"All files (*.*)", ""},
        {"All files (*.*);;Images (*.jpg)", "jpg"},
        {"Any (*.t?t *.txt)", "txt"},
        {"None (*. *.a)", "a"},
        {"Stars (**.a)", "a"},
        {"Open (*.", ""},
        {u8"Bilder é (*.日本)", u8"日本"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(zaFile::getExtensionFromFilter(row.filter), row.extension) << row.filter;
    }
}

std::string madeValid(std::string name) {
    zaFile::makeValidFileName(name);
    return name;
}

TEST(PathNames, AFileNameIsMadeValid) {
    const struct {
        std::string name, expected;
    } rows[] = {
        {"", ""},
        {"name.txt", "name.txt"},
        {".a<b>c:d. ", "abcd."},
        {".", ""},  // taken off at the end, so that none is left for the start
        {" ", ""},
        {"..", ""},
        {"...", "."},
        {". ", ""},
        {"a.", "a"},
        {"a..", "a."},
        {"a  ", "a "},
        {" a", " a"},
        {".a", "a"},
        {"..a", ".a"},
        {"<>:\"/\\|?*", ""},
        {"<.a", ".a"},  // the characters go last
        {"a.>", "a."},
        {"a\tb\n", "a\tb\n"},
        {u8"Größe: 日/本?", u8"Größe 日本"},
        {"a\0b*"s, "a\0b"s},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(madeValid(row.name), row.expected) << testing::PrintToString(row.name);
    }

    std::mt19937 random(7);
    const std::string characters = "<>:\"/\\|?*. ab";
    for (int i = 0; i < 5000; ++i) {
        std::string name(random() % 8, '\0');
        for (char& c : name)
            c = characters[random() % characters.size()];
        const std::string valid = madeValid(name);
        ASSERT_EQ(valid.find_first_of("<>:\"/\\|?*"), std::string::npos) << name;
        // Clean text comes back; dots and blanks at the ends may still follow one another.
        const bool isClean = valid.empty() || (valid[0] != '.' && !std::strchr(". ", valid.back()));
        if (isClean) {
            ASSERT_EQ(madeValid(valid), valid) << name;
        }
    }
}

TEST(PathNames, BytesFrom161CountAsUmlauts) {
    EXPECT_FALSE(zaFile::isumlaut(""));
    EXPECT_FALSE(zaFile::isumlaut("abc~\x7F"));
    EXPECT_FALSE(zaFile::isumlaut("\x80\xA0"));
    EXPECT_TRUE(zaFile::isumlaut("a\xA1"));
    EXPECT_TRUE(
        zaFile::isumlaut("\xFF"
                         "a"));
    EXPECT_TRUE(zaFile::isumlaut("\xC3\xA4"));
    EXPECT_TRUE(zaFile::isumlaut("a\0\xE4"s));
}

TEST(PathNames, AbsoluteToRelative) {
    const struct {
        std::string base, path, expected;
    } rows[] = {
        {"C:/a/b", "C:/a/b/c/d.txt", "c/d.txt"},
        {"C:/a/b", "C:/a/x/y", "../x/y"},
        {"C:\\a\\b", "C:\\a\\x\\y", "../x/y"},
        {"/a/b", "/a/b/c", "c"},
        {"/a/b/", "/a/b/c", "c"},
        {"/a/b", "/a/bc", "../bc"},  // no common component
        {"/a/bc", "/a/b", "../b"},
        {"/a/b/c", "/a", "../.."},
        {"/a/b/c", "/a/", "../../"},
        {"/a/b/", "/a", ".."},
        {"/a/b//", "/a", "../.."},  // each separator with text behind it counts
        {"/", "/a", "a"},
        {"/a", "/", "../"},
        {"/a/b", "/", "../../"},
        {"/", "/", "./"},
        {"/a", "/a", "."},
        {"/a/", "/a", "."},
        {"/a", "/a/", "./"},
        {"/a/", "/a/", "./"},
        {"C:/a", "C:/a", "."},
        {"C:/", "C:/", "./"},
        {"/a", "/a//", "/"},
        {"/a", "/a//b", "/b"},
        {"/x", "/y", "../y"},
        {u8"/é/日", u8"/é/本", u8"../本"},
        {"//server/share/a", "//server/share/b", "../b"},
        {"/A", "/a/b", "../a/b"},  // case counts
        // Relative paths come back as they are.
        {"/a", "b/c\\d", "b/c\\d"},
        {"C:/a", "..\\x", "..\\x"},
        // Other drive, or only one of both: as it is, not converted.
        {"D:/a", "C:/a/y", "C:/a/y"},
        {"c:/a", "C:/a/y", "C:/a/y"},
        {"/a", "C:/a/y", "C:/a/y"},
        {"C:/a", "/a/y", "/a/y"},
        {"C:/a", "$HOME/a", "$HOME/a"},
        {"", "C:/x", "C:/x"},
        {"C:/a", "", ""},
        // Nothing to compare: in native form.
        {"/a", "$HOME/a/b", "$HOME\\a\\b"},
        {"$HOME", "$HOME/a", "$HOME\\a"},
        {"C:/a", "C:x/y", "C:x\\y"},
        {"C:", "C:", "C:"},
        {"/a", "", ""},
        // A base without root has no way to a rooted path.
        {"", "/x", ""},
        {"a", "/x", ""},
        {"C:a", "C:/x", ""},
        {"$HOME", "/x", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(zaFile::abs2Rel(row.base, row.path), row.expected) << row.base << " " << row.path;
    }
}

TEST(PathNames, RelativePathsAreComputedInABufferOf2048Bytes) {
    for (const std::size_t size : {2045U, 2046U, 2047U, 2048U, 2049U, 2050U}) {
        SCOPED_TRACE(size);
        const bool fits = size < kBufferSize;
        // The part behind the branch point.
        const std::string name(size, 'x');
        EXPECT_EQ(zaFile::abs2Rel("C:/a", "C:/a/" + name), fits ? name : "C:/a/" + name);
        EXPECT_EQ(zaFile::abs2Rel("/a/b", "/a/" + name.substr(3)),
                  fits ? "../" + name.substr(3) : "/a/" + name.substr(3));
        // A path that stays as it is has one byte less.
        const std::string rest = "x/" + name.substr(2);
        EXPECT_EQ(zaFile::abs2Rel("C:/a", "C:" + rest),
                  size < kBufferSize - 1 ? "C:x\\" + name.substr(2) : "C:" + rest);
        const std::string variable = "$/" + name.substr(2);
        EXPECT_EQ(zaFile::abs2Rel("/a", variable),
                  size < kBufferSize - 1 ? "$\\" + name.substr(2) : variable);
    }
    // 682 steps up are 2046 bytes, 683 are 2049.
    for (const int steps : {682, 683}) {
        std::string base = "/a";
        std::string up;
        for (int i = 0; i < steps; ++i) {
            base += "/d";
            up += "../";
        }
        up.pop_back();
        EXPECT_EQ(zaFile::abs2Rel(base, "/a"), steps == 682 ? up : "/a");
        EXPECT_EQ(zaFile::abs2Rel(base, "/a/x"), steps == 682 ? up + "/x" : "/a/x");
        EXPECT_EQ(zaFile::abs2Rel(base, "/a/xy"), "/a/xy");
    }
}

/// The way from `base` to `path`, both rooted, walked byte by byte.
std::string walk(const std::string& base, const std::string& path) {
    const char* p = path.c_str();
    const char* b = base.c_str();
    const char* branch = p;
    for (; *p && *p == *b; ++p, ++b) {
        if (*p == '/') branch = p;
    }
    const auto ends = [](const char* text) { return !*text || (*text == '/' && !text[1]); };
    if (ends(p) && ends(b)) return *p == '/' || p[-1] == '/' ? "./" : ".";
    if ((!*p && *b == '/') || (*p == '/' && !*b)) branch = p;
    std::string way;
    for (b = base.c_str() + (branch - path.c_str()); *b; ++b) {
        if (*b == '/' && b[1]) way += "../";
    }
    if (!*branch) return way.substr(0, way.size() - 1);
    return way + (branch + 1);
}

TEST(PathNames, RelativePathsOfSmallTreesFollowTheWalk) {
    std::vector<std::string> paths;  // every text of up to 6 bytes of these three, rooted
    for (std::size_t length = 0; length <= 5; ++length) {
        std::size_t count = 1;
        for (std::size_t i = 0; i < length; ++i)
            count *= 3;
        for (std::size_t number = 0; number < count; ++number) {
            std::string path = "/";
            for (std::size_t i = 0, rest = number; i < length; ++i, rest /= 3) {
                path += "/ab"[rest % 3];
            }
            paths.push_back(path);
        }
    }
    for (const std::string& base : paths) {
        for (const std::string& path : paths) {
            ASSERT_EQ(zaFile::abs2Rel(base, path), walk(base, path)) << base << " " << path;
        }
    }
}

TEST(PathNames, RelativeToAbsolute) {
    const struct {
        std::string base, path, expected;
    } rows[] = {
        {"C:/a/b", "c/d.txt", "C:\\a\\b\\c\\d.txt"},
        {"C:/a/b/", "c", "C:\\a\\b\\c"},
        {"C:\\a\\b", "../x/y", "C:\\a\\x\\y"},
        {"/a/b", ".", "\\a\\b"},
        {"/a/b", "./", "\\a\\b\\"},
        {"/a/b", "../..", "\\"},
        {"/a/b", "../../../../x", "\\x"},  // never above the root
        {"C:/", "..\\x", "C:\\x"},
        {"/a", "./b/./../c/", "\\a\\c\\"},
        {"/a", "b/../../c", "\\c"},
        {"/", "a", "\\a"},
        {"a", "b", "a\\b"},
        {"a/b", "../../../x", "..\\x"},
        {"", "a/b", "a\\b"},
        {"", "../a", "..\\a"},
        {"", "./", ""},
        {"a", "../", ""},
        {u8"/é", u8"日/本", u8"\\é\\日\\本"},
        // Dots and doubled separators in the base are components of no name.
        {"/a/..", "x", "\\a\\..\\x"},
        {"/a/..", "../x", "\\a\\..\\..\\x"},
        {"/a/.", "../x", "\\x"},
        {"/a//b", "../../x", "\\x"},
        {"//server/share", "../x", "\\\\server\\x"},
        // Absolute paths only have their separators converted.
        {"/a", "/x/./../y", "\\x\\.\\..\\y"},
        {"/a", "C:/x", "C:\\x"},
        {"/a", "C:x/y", "C:x\\y"},
        {"/a", "$HOME/x", "$HOME\\x"},
        {"/a", "\\x/", "\\x\\"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(zaFile::rel2Abs(row.base, row.path), row.expected) << row.base << " " << row.path;
    }
}

TEST(PathNames, TheWayThereAndBackGivesThePathInNativeForm) {
    std::mt19937 random(8);
    const char* names[] = {"a", "b", "ab", "c.d", u8"é", "..x", ".h", "x y"};
    const auto randomPath = [&](bool maySeparatorEndIt) {
        std::string path = random() % 2 ? "C:" : "";
        const std::size_t components = random() % 5;
        for (std::size_t i = 0; i < components; ++i) {
            path += random() % 2 ? '/' : '\\';
            path += names[random() % std::size(names)];
        }
        if (components == 0 || (maySeparatorEndIt && random() % 4 == 0)) path += '/';
        return path;
    };
    for (int i = 0; i < 20000; ++i) {
        const std::string base = randomPath(true);
        const std::string path = randomPath(true);
        ASSERT_EQ(zaFile::rel2Abs(base, zaFile::abs2Rel(base, path)),
                  zaFile::convertSeparators(path))
            << base << " " << path;
    }
}

TEST(PathNames, PathfindTakesTheFirstFileAlongTheSearchPath) {
    const ScratchFolder folder;
    for (const char* name : {"one", "two", u8"drei é"}) {
        std::filesystem::create_directory(folder.native(name));
    }
    folder.make("one/a", "");
    folder.make("two/a", "");
    folder.make("two/b.txt", "");
    folder.make(u8"drei é/日", "");
    std::filesystem::create_directory(folder.native("one/b.txt"));
    const std::string one = folder.path("one");
    const std::string two = folder.path("two");
    const std::string three = folder.path(u8"drei é");
    const std::string all = one + ";" + two + "|;" + three + "/";

    EXPECT_EQ(zaFile::pathfind("a", all, ";|"), one + "\\a");
    EXPECT_EQ(zaFile::pathfind("a", two + ";" + one, ";"), two + "\\a");
    EXPECT_EQ(zaFile::pathfind("b.txt", all, "|;"), two + "\\b.txt");  // not the directory
    EXPECT_EQ(zaFile::pathfind(u8"日", all, ";|"), three + "/" + u8"日");
    EXPECT_EQ(zaFile::pathfind("two/a", ";;" + folder.path(), ";"), folder.path() + "\\two/a");
    EXPECT_EQ(zaFile::pathfind("a", one, ""), one + "\\a");
    EXPECT_EQ(zaFile::pathfind(two + "/a", "", ";"), two + "/a");  // absolute: as it stands

    EXPECT_EQ(zaFile::pathfind("missing", all, ";|"), "");
    EXPECT_EQ(zaFile::pathfind(two + "/missing", all, ";|"), "");
    EXPECT_EQ(zaFile::pathfind("a", "", ";"), "");
    EXPECT_EQ(zaFile::pathfind("", all, ";|"), "");
    EXPECT_EQ(zaFile::pathfind("a", one + ";" + two, "|"), "");
}

}  // namespace
