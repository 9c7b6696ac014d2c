#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "Support/LogCapture.h"
#include "Support/ScratchFolder.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Messages/zaMessage.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

using Texts = std::vector<std::string>;

/// Answers the library's questions and keeps them, in one list with the log's messages.
class Files : public testing::Test {
protected:
    Files() {
        zaUtils::init(ask);
        _hasAnswer = false;
        _returns = true;
    }
    ~Files() override { zaUtils::init(nullptr); }

    static void answerWith(int button) {
        _hasAnswer = true;
        _answer = button;
    }

    ScratchFolder folder;
    LogCapture log;

    static inline bool _returns = true;

private:
    static bool ask(const char* name, zaMessage& message, int flags) {
        std::string text;
        getFromMessage(message, "text", text);
        std::string request = "H " + std::string(name) + " " + std::to_string(flags) + ": " + text;
        for (const char* key : {"button0", "button1", "button2"}) {
            if (std::string label; getFromMessage(message, key, label)) request += "|" + label;
        }
        for (const char* key : {"default button", "escape button"}) {
            if (int index; getFromMessage(message, key, index)) {
                request += "|" + std::to_string(index);
            }
        }
        LogCapture::messages().push_back(request);
        if (_hasAnswer) message.set("button", _answer, true);
        return _returns;
    }

    static inline bool _hasAnswer = false;
    static inline int _answer = 0;
};

TEST_F(Files, ExistsSeesFilesAndFolders) {
    folder.make("file", "x");
    std::filesystem::create_directory(folder.native("sub"));
    EXPECT_TRUE(zaFile::exists(folder.path("file")));
    EXPECT_TRUE(zaFile::exists(folder.path() + "/file", false, false));
    EXPECT_TRUE(zaFile::exists(folder.path("sub"), true, true));
    EXPECT_TRUE(zaFile::exists(folder.path("sub\\")));
    EXPECT_TRUE(zaFile::exists(folder.path("sub/")));
    EXPECT_FALSE(zaFile::exists(folder.path("missing")));
    EXPECT_FALSE(zaFile::exists(folder.path("file\\below")));
    EXPECT_FALSE(zaFile::exists(""));
}

TEST_F(Files, CheckReadWarnsFirstAndLogsThen) {
    const std::string missing = folder.path("missing");
    EXPECT_FALSE(zaFile::checkRead("", true, true));
    EXPECT_FALSE(zaFile::checkRead(missing, false, false));
    EXPECT_TRUE(log.messages().empty());

    const std::string text = "File '" + missing + "' doesn't exist!";
    EXPECT_FALSE(zaFile::checkRead(missing, true, true));
    EXPECT_EQ(log.messages(), (Texts{"H showMainWarning 0: " + text, "E checkRead:: " + text}));

    log.messages().clear();
    EXPECT_FALSE(zaFile::checkRead(folder.path(), false, true));
    EXPECT_EQ(log.messages(), (Texts{"E checkRead:: File '" + folder.path() +
                                     "' is not readable (wrong permissions)!"}));

    log.messages().clear();
    EXPECT_TRUE(zaFile::checkRead(folder.make("file", ""), true, true));
    EXPECT_TRUE(log.messages().empty());
}

TEST_F(Files, CheckWriteOfANewFileLeavesNothingBehind) {
    EXPECT_TRUE(zaFile::checkWrite(folder.path("new"), true, true));
    EXPECT_EQ(folder.entries(), 0u);
    EXPECT_FALSE(zaFile::checkWrite("", true, true));
    EXPECT_TRUE(log.messages().empty());

    const std::string path = folder.path("missing\\new");
    const std::string text = "File '" + path + "' is not writable (wrong permissions)!";
    EXPECT_FALSE(zaFile::checkWrite(path, true, true));
    EXPECT_EQ(log.messages(), (Texts{"H showMainWarning 0: " + text, "E checkWrite: " + text}));
}

TEST_F(Files, CheckWriteAsksBeforeItOverwrites) {
    const std::string path = folder.make("file", "content");
    const Texts question{"H showMainWarning 0: File '" + path +
                         "' already exists!\nOverwrite file?|&Yes|&No|Cancel|0|2"};
    for (const int button : {0, 1, 2, -1}) {
        SCOPED_TRACE(button);
        answerWith(button);
        log.messages().clear();
        EXPECT_EQ(zaFile::checkWrite(path, true, true), button <= 0);
        EXPECT_EQ(log.messages(), question);
    }
    // No answer is a yes, and an answer of a hook that fails is none.
    answerWith(1);
    _returns = false;
    EXPECT_TRUE(zaFile::checkWrite(path, true, true));
    zaUtils::init([](const char*, zaMessage&, int) { return true; });
    EXPECT_TRUE(zaFile::checkWrite(path, true, true));
    zaUtils::init(nullptr);
    EXPECT_TRUE(zaFile::checkWrite(path, true, true));
    EXPECT_TRUE(zaFile::checkWrite(path, false, true));
    EXPECT_EQ(folder.content("file"), "content");
}

TEST_F(Files, CheckWriteRefusesFolders) {
    EXPECT_FALSE(zaFile::checkWrite(folder.path(), false, true));
    EXPECT_EQ(log.messages(), (Texts{"E checkWrite: File '" + folder.path() +
                                     "' is not writable (wrong permissions)!"}));
}

TEST_F(Files, ReadsWholeFilesInEachForm) {
    const std::string content("a\0b\r\nc\x1A\xFF end", 12);
    const std::string path = folder.make(u8"größe.bin", content);
    std::string text = "before";
    std::vector<char> bytes;
    unsigned char buffer[12];
    ASSERT_TRUE(zaFile::read(path, text));
    EXPECT_EQ(text, content);
    ASSERT_TRUE(zaFile::read(path, bytes));
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), content);
    ASSERT_EQ(zaFile::getFileSize(path), sizeof buffer);
    ASSERT_TRUE(zaFile::read(path, buffer));
    EXPECT_EQ(std::memcmp(buffer, content.data(), sizeof buffer), 0);
}

TEST_F(Files, WhatCannotBeReadIsFalse) {
    const std::string empty = folder.make("empty", "");
    std::string text;
    std::vector<char> bytes;
    unsigned char byte = 7;
    for (const std::string& path : {empty, std::string(), folder.path("missing"), folder.path()}) {
        SCOPED_TRACE(path);
        EXPECT_FALSE(zaFile::read(path, text));
        EXPECT_FALSE(zaFile::read(path, bytes));
        EXPECT_FALSE(zaFile::read(path, &byte));
        EXPECT_EQ(zaFile::getFileSize(path), 0u);
    }
    EXPECT_EQ(byte, 7);
    EXPECT_FALSE(zaFile::read(folder.make("file", "x"), static_cast<unsigned char*>(nullptr)));
}

TEST_F(Files, WritesReplaceAndAppendsAdd) {
    const std::string path = folder.path(u8"日本.txt");
    EXPECT_TRUE(zaFile::append(path, "a\n"));
    EXPECT_TRUE(zaFile::append(path, std::string("\0b", 2)));
    EXPECT_TRUE(zaFile::append(path, ""));
    EXPECT_EQ(folder.content(u8"日本.txt"), std::string("a\n\0b", 4));
    EXPECT_TRUE(zaFile::write(path, "new\n"));
    EXPECT_EQ(folder.content(u8"日本.txt"), "new\n");
    EXPECT_TRUE(zaFile::write(path, ""));
    EXPECT_EQ(folder.content(u8"日本.txt"), "");
    for (const std::string& bad : {std::string(), folder.path(), folder.path("missing\\x")}) {
        EXPECT_FALSE(zaFile::write(bad, "x"));
        EXPECT_FALSE(zaFile::append(bad, "x"));
    }
}

TEST_F(Files, RemovesFilesButNoFolders) {
    const std::string path = folder.make("file", "x");
    EXPECT_TRUE(zaFile::remove(path));
    EXPECT_FALSE(folder.has("file"));
    EXPECT_TRUE(zaFile::remove(path));
    EXPECT_FALSE(zaFile::remove(""));
    std::filesystem::create_directory(folder.native("sub"));
    EXPECT_FALSE(zaFile::remove(folder.path("sub")));
    EXPECT_TRUE(folder.has("sub"));
}

TEST_F(Files, MakesFolders) {
    EXPECT_TRUE(zaFile::createDir(folder.path(u8"eins ä")));
    EXPECT_FALSE(zaFile::createDir(folder.path(u8"eins ä")));
    EXPECT_FALSE(zaFile::createDir(folder.path("a\\b")));
    EXPECT_FALSE(zaFile::createDir(""));
    EXPECT_TRUE(zaFile::createDirectoryIfNotExists(folder.path("two")));
    EXPECT_TRUE(zaFile::createDirectoryIfNotExists(folder.path("two")));
    EXPECT_FALSE(zaFile::createDirectoryIfNotExists(""));

    EXPECT_TRUE(zaFile::createPath(folder.path("a/b\\c//d\\")));
    EXPECT_TRUE(std::filesystem::is_directory(folder.native("a/b/c/d")));
    EXPECT_TRUE(zaFile::createPath(folder.path("a")));
    EXPECT_FALSE(zaFile::createPath(""));
    const std::string file = folder.make("file", "x");
    EXPECT_FALSE(zaFile::createPath(file));
    EXPECT_FALSE(zaFile::createPath(file + "\\below"));
    EXPECT_EQ(folder.content("file"), "x");
}

TEST_F(Files, CopiesEveryByte) {
    for (const std::size_t size : {0u, 1u, 1023u, 1024u, 1025u, 65535u, 65536u, 65537u, 200000u}) {
        SCOPED_TRACE(size);
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>(i * 31 + i / 251);
        const std::string source = folder.make("source", content);
        const std::string target = folder.make("target", "something longer before");
        EXPECT_TRUE(zaFile::copy(source, target));
        EXPECT_TRUE(folder.content("target") == content);
    }
}

TEST_F(Files, CopyRefusesWhatItCannotOpen) {
    const std::string source = folder.make("source", "x");
    EXPECT_FALSE(zaFile::copy("", source));
    EXPECT_FALSE(zaFile::copy(source, ""));
    EXPECT_FALSE(zaFile::copy(folder.path("missing"), folder.path("target")));
    EXPECT_FALSE(folder.has("target"));
    EXPECT_FALSE(zaFile::copy(folder.path(), folder.path("target")));
    EXPECT_FALSE(zaFile::copy(source, folder.path()));
    // Onto itself it would empty the file.
    EXPECT_FALSE(zaFile::copy(source, folder.path() + "/./source"));
    EXPECT_EQ(folder.content("source"), "x");
}

TEST_F(Files, RenamesWithinAFolderAndNeverReplaces) {
    folder.make(u8"älter", "old");
    folder.make("taken", "taken");
    EXPECT_FALSE(zaFile::rename(folder.path(), u8"älter", "taken"));
    EXPECT_EQ(folder.content("taken"), "taken");
    EXPECT_TRUE(zaFile::rename(folder.path() + '\\', u8"älter", u8"neuér"));
    EXPECT_EQ(folder.content(u8"neuér"), "old");
    EXPECT_FALSE(folder.has(u8"älter"));
    EXPECT_FALSE(zaFile::rename(folder.path(), "missing", "new"));
    EXPECT_FALSE(zaFile::rename("", "taken", "new"));
    EXPECT_FALSE(zaFile::rename(folder.path(), "", "new"));
    EXPECT_FALSE(zaFile::rename(folder.path(), "taken", ""));
}

TEST_F(Files, SizesGoBeyond4GiB) {
    const std::string path = folder.make("large", "x");
    std::filesystem::resize_file(folder.native("large"), (1ull << 32) + 5);
    EXPECT_EQ(zaFile::getFileSize(path), (1ull << 32) + 5);
    EXPECT_EQ(zaFile::convertStreamPosToStreamOff(std::streampos((1ll << 32) + 5)),
              (1ll << 32) + 5);
    EXPECT_EQ(zaFile::convertStreamPosToStreamOff(std::streampos(-1)), -1);
}

TEST_F(Files, TheOwnerHasAName) {
    EXPECT_NE(zaFile::getOwner(folder.make("file", "")), "");
    EXPECT_EQ(zaFile::getOwner(folder.path("missing")), "");
    EXPECT_EQ(zaFile::getOwner(""), "");
}

TEST_F(Files, PerrorLogsTheReasonOfTheLastFailure) {
    std::string text;
    EXPECT_FALSE(zaFile::read(folder.path("missing"), text));
    zaFile::perror("Couldn't read 100%");
    EXPECT_FALSE(zaFile::write(folder.path("missing\\x"), text));
    zaFile::perror("Couldn't write");
    errno = EACCES;
    zaFile::perror("");
    EXPECT_EQ(log.messages(), (Texts{std::string("E Couldn't read 100%: ") + std::strerror(ENOENT),
                                     std::string("E Couldn't write: ") + std::strerror(ENOENT),
                                     std::string("E : ") + std::strerror(EACCES)}));
}

TEST_F(Files, IdentifiesContentBySizeAndStart) {
    // 0xCBF43926 is the published check value of this CRC.
    const std::string digits = "123456789";
    EXPECT_EQ(zaFile::getID(digits.data(), 9), 0xCBF43926u);
    EXPECT_EQ(zaFile::getID(digits.data(), 0), 0u);
    EXPECT_EQ(zaFile::getID(nullptr, 9), 0u);

    EXPECT_EQ(zaFile::getFileID(folder.make("digits", digits)), "93421780262");
    EXPECT_EQ(zaFile::getFileID(folder.make("empty", "")), "00");
    EXPECT_EQ(zaFile::getFileID(folder.path("missing")), "00");
    EXPECT_EQ(zaFile::getFileID(folder.path()), "00");
    EXPECT_EQ(zaFile::getFileID(""), "");
    // Only the first 8192 bytes count.
    const std::string start(8192, 'x');
    const std::string a = zaFile::getFileID(folder.make("a", start + "1"));
    EXPECT_EQ(a, zaFile::getFileID(folder.make("b", start + "2")));
    EXPECT_NE(a, zaFile::getFileID(folder.make("c", start.substr(1) + "12")));
    EXPECT_EQ(a, "8193" + std::to_string(zaFile::getID(start.data(), 8192)));
}

}  // namespace
