#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Support/LogCapture.h"
#include "Support/TestEnvironment.h"
#include "zaUtils/Files/zaFile.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

constexpr std::size_t kBufferSize = 2048;  // of a path, its final NUL included

std::string errorExpanding(const std::string& name, const std::string& path) {
    return "E expandFilename: couldn't expand env.var " + name + "! Path: " + path;
}

std::string errorInSyntax(const std::string& name, const std::string& path) {
    return "E expandFilename: syntax error in env.var " + name + "! Path: " + path;
}

/// Expands with a few variables set and the log collected.
class ExpandFilename : public testing::Test {
protected:
    static std::string expand(const std::string& path) {
        LogCapture::messages().clear();
        CaptureStderr();
        std::string result = zaFile::expandFilename(path);
        standardError = GetCapturedStderr();
        return result;
    }

    static inline std::string standardError;
    const LogCapture log;
    const TestVariable home{"ZA_TEST_HOME", "C:\\Users\\a"};
    const TestVariable empty{"ZA_TEST_EMPTY", ""};
    const TestVariable digits{"ZA_TEST_2", "two"};
    const TestVariable beyondAscii{"ZA_TEST_UTF", u8"Jürgen/é 日本/😀"};
    const TestVariable reference{"ZA_TEST_REFERENCE", "$ZA_TEST_2 ~"};
};

TEST_F(ExpandFilename, ReplacesEveryFormOfReference) {
    const struct {
        std::string path, expected;
    } rows[] = {
        {"", ""},
        {"plain/path\\name.txt", "plain/path\\name.txt"},
        {"$ZA_TEST_HOME", "C:\\Users\\a"},
        {"$ZA_TEST_HOME/x", "C:\\Users\\a/x"},
        {"${ZA_TEST_HOME}/x", "C:\\Users\\a/x"},
        {"$(ZA_TEST_HOME)/x", "C:\\Users\\a/x"},
        {"a/$ZA_TEST_2.$(ZA_TEST_2)${ZA_TEST_2}$ZA_TEST_2", "a/two.twotwotwo"},
        {"$ZA_TEST_2-x", "two-x"},
        {u8"$ZA_TEST_2é", u8"twoé"},
        {"$(ZA_TEST_UTF)/x", u8"Jürgen/é 日本/😀/x"},
        {"$ZA_TEST_REFERENCE", "$ZA_TEST_2 ~"},  // a value is not scanned again
        {"a~$ZA_TEST_2~b", "a~two~b"},
        {u8"é 日本", u8"é 日本"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(expand(row.path), row.expected);
        EXPECT_THAT(LogCapture::messages(), IsEmpty()) << row.path;
    }
}

TEST_F(ExpandFilename, ADollarThatStartsNoNameStays) {
    for (const std::string path :
         {"$", "a$", "a$-b", "$$", "$/x", "$ ZA_TEST_2", "$)", "$.", u8"$é", "50$ and 60$"}) {
        EXPECT_EQ(expand(path), path);
        EXPECT_THAT(LogCapture::messages(), IsEmpty()) << path;
    }
    EXPECT_EQ(expand("$$ZA_TEST_2$"), "$two$");
}

TEST_F(ExpandFilename, AnUnusableVariableIsLoggedAndLeavesThePathUnchanged) {
    const struct {
        std::string path, name;
    } rows[] = {
        {"$ZA_TEST_NOT_SET/x", "ZA_TEST_NOT_SET"},
        {"${ZA_TEST_NOT_SET}", "ZA_TEST_NOT_SET"},
        {"$(ZA_TEST_EMPTY)", "ZA_TEST_EMPTY"},
        {"$ZA_TEST_HOME/$ZA_TEST_NOT_SET/$ZA_TEST_ALSO_NOT", "ZA_TEST_NOT_SET"},
        {"$ZA_TEST_HOMEx", "ZA_TEST_HOMEx"},
        {"$(ZA_TEST_NOT_SET-$ZA_TEST_2)", "ZA_TEST_NOT_SET-$ZA_TEST_2"},
        {"$()", ""},
        {"a${}b", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(expand(row.path), row.path);
        EXPECT_THAT(LogCapture::messages(), ElementsAre(errorExpanding(row.name, row.path)));
    }
}

TEST_F(ExpandFilename, ASyntaxErrorIsLoggedAndTheScanGoesOn) {
    const struct {
        std::string path, name, expected;
    } rows[] = {
        // The byte where the bracket should be is passed over, whatever it is.
        {"$(ZA_TEST_2 x", "ZA_TEST_2", "twox"},
        {"${ZA_TEST_2 }x", "ZA_TEST_2", "two}x"},
        {"$(ZA_TEST_2", "ZA_TEST_2", "two"},
        {"a${ZA_TEST_2", "ZA_TEST_2", "atwo"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(expand(row.path), row.expected);
        EXPECT_THAT(LogCapture::messages(), ElementsAre(errorInSyntax(row.name, row.path)));
    }
    const struct {
        std::string path, name;
    } unknown[] = {
        {"${ZA_TEST_2/x", "ZA_TEST_2/x"},
        {"${ZA_TEST_2)/x", "ZA_TEST_2)/x"},  // each bracket ends with its own kind
        {"$(ZA_TEST_2}", "ZA_TEST_2}"},
        {"$(", ""},
        {"${ x}", ""},
    };
    for (const auto& row : unknown) {
        EXPECT_EQ(expand(row.path), row.path);
        EXPECT_THAT(LogCapture::messages(), ElementsAre(errorInSyntax(row.name, row.path),
                                                        errorExpanding(row.name, row.path)));
    }
}

TEST_F(ExpandFilename, PathsOf2048BytesAreReportedOnStandardErrorAlone) {
    for (const std::size_t size : {2046U, 2047U, 2048U, 2049U, 2050U, 5000U}) {
        SCOPED_TRACE(size);
        const std::string text(size - 10, 'x');
        const bool tooLong = size >= kBufferSize;
        const std::string path = "$ZA_TEST_2" + text;  // as an unknown name
        const std::string expandable = "$ZA_TEST_2" + std::string(size - 10, '/');

        EXPECT_EQ(expand(path), path);
        EXPECT_EQ(LogCapture::messages().size(), tooLong ? 0U : 1U);

        EXPECT_EQ(expand(expandable), tooLong ? expandable : "two" + std::string(size - 10, '/'));
        EXPECT_THAT(LogCapture::messages(), IsEmpty());
        EXPECT_EQ(standardError, tooLong ? "zaFile::expandFilename: skipped expanding environment "
                                           "variable, path too long!\n"
                                         : "");
    }
    // Too long for a scan, so that not even a tilde is met.
    const std::string tilde = "~" + std::string(kBufferSize - 1, 'x');
    EXPECT_EQ(expand(tilde), tilde);
    EXPECT_THAT(LogCapture::messages(), IsEmpty());
}

TEST_F(ExpandFilename, ValuesOf2048BytesAreUnusable) {
    for (const std::size_t size : {2046U, 2047U, 2048U, 2049U}) {
        SCOPED_TRACE(size);
        const std::string value(size, 'v');
        const TestVariable variable("ZA_TEST_LONG", value);
        if (size < kBufferSize) {
            EXPECT_EQ(expand("$ZA_TEST_LONG"), value);
            EXPECT_THAT(LogCapture::messages(), IsEmpty());
        } else {
            EXPECT_EQ(expand("$ZA_TEST_LONG"), "$ZA_TEST_LONG");
            EXPECT_THAT(LogCapture::messages(),
                        ElementsAre(errorExpanding("ZA_TEST_LONG", "$ZA_TEST_LONG")));
        }
    }
    // The limit counts the bytes of UTF-8.
    const TestVariable wide(
        "ZA_TEST_LONG", std::string(1, 'v') + [] {
            std::string text;
            for (int i = 0; i < 1023; ++i)
                text += u8"é";
            return text;
        }());
    EXPECT_EQ(expand("$ZA_TEST_LONG").size(), 2047U);
    setTestVariable("ZA_TEST_LONG", expand("$ZA_TEST_LONG") + "v");
    EXPECT_EQ(expand("$ZA_TEST_LONG"), "$ZA_TEST_LONG");
}

TEST_F(ExpandFilename, ResultsAreCutAt2047Bytes) {
    const std::string value(1500, 'v');
    const TestVariable variable("ZA_TEST_LONG", value);
    const std::string path = "$(ZA_TEST_LONG)";

    EXPECT_EQ(expand(path + std::string(547, 'x')), value + std::string(547, 'x'));
    EXPECT_EQ(expand(path + std::string(548, 'x')), value + std::string(547, 'x'));
    // In the middle of a value.
    EXPECT_EQ(expand(path + "/" + path), value + "/" + std::string(546, 'v'));
    // What follows a full buffer is not scanned: neither the unknown variable nor the tilde.
    EXPECT_EQ(expand(path + std::string(548, 'x') + "$ZA_TEST_NOT_SET ~"),
              value + std::string(547, 'x'));
    EXPECT_EQ(expand(path + path + "$ZA_TEST_NOT_SET ~"), std::string(2047, 'v'));
    EXPECT_THAT(LogCapture::messages(), IsEmpty());
    // With room for one more byte, the scan goes on.
    const std::string almost = path + std::string(547, 'x') + "$ZA_TEST_NOT_SET";
    EXPECT_EQ(expand(almost), almost);
    EXPECT_THAT(LogCapture::messages(), ElementsAre(errorExpanding("ZA_TEST_NOT_SET", almost)));
}

TEST_F(ExpandFilename, ABracketedNameIsReadAsFarAsThereIsRoom) {
    const TestVariable variable("ZA_TEST_LONG", std::string(2000, 'v'));
    const auto pathWithRoom = [](std::size_t room, const std::string& end) {
        return "$(ZA_TEST_LONG)" + std::string(48 - room, 'x') + end;
    };
    // 9 bytes are the whole name ZA_TEST_2.
    EXPECT_EQ(expand(pathWithRoom(9, "${ZA_TEST_2}")),
              std::string(2000, 'v') + std::string(39, 'x') + "two");
    EXPECT_THAT(LogCapture::messages(), IsEmpty());

    const std::string cut = pathWithRoom(8, "${ZA_TEST_2}");
    EXPECT_EQ(expand(cut), cut);
    EXPECT_THAT(LogCapture::messages(),
                ElementsAre(errorInSyntax("ZA_TEST_", cut), errorExpanding("ZA_TEST_", cut)));
    // A plain name is always read whole.
    EXPECT_EQ(expand(pathWithRoom(1, "$ZA_TEST_2")), std::string(2000, 'v') + std::string(47, 'x'));
}

TEST_F(ExpandFilename, ATildeStaysWhereItIsNoHomeDirectory) {
    for (const std::string& path :
         {"a~b"s, "a~"s, "/~"s, "\\~user"s, "C:~"s, "a,~"s, "(~)"s, u8"é~"s, "\n~"s, "a\0~b"s}) {
        EXPECT_EQ(expand(path), path);
    }
    EXPECT_THAT(LogCapture::messages(), IsEmpty());
}

TEST_F(ExpandFilename, AHomeDirectoryIsLoggedWithoutEnd) {
    struct Enough {};
    zaLog::setErrorCB([](const char* text) {
        LogCapture::messages().push_back(text);
        if (LogCapture::messages().size() == 3) throw Enough();
    });
    for (const std::string path :
         {"~", "~user/x", "a\t~", "a ~b", "a;~", "a<~", "a>~", "a|~", "$ZA_TEST_2 ~"}) {
        SCOPED_TRACE(path);
        LogCapture::messages().clear();
        CaptureStderr();
        EXPECT_THROW(zaFile::expandFilename(path), Enough);
        GetCapturedStderr();
        const std::string message =
            "expandFilename: ~ not supported on Windows platform! Path: " + path;
        EXPECT_THAT(LogCapture::messages(), ElementsAre(message, message, message));
    }
}

}  // namespace
