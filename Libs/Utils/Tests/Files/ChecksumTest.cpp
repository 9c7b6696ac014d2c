#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>

#include "Support/FaultyFileBackend.h"
#include "Support/ScratchFolder.h"
#include "zaUtils/Files/zaFile.h"

namespace {

using State = zaFile::ChecksumState;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using namespace std::string_literals;

constexpr const char* kNotFound = "Couldn't find file checksum!\n";
constexpr const char* kMeta = "Found meta footer.\n";
const std::string kDigits = "123456789";  // whose CRC-32 is published as CBF43926

std::string footer(const std::string& digits) {
    return "\0ZARNCRC"s + digits;
}

std::string metadata(const std::string& content, const std::string& size) {
    return content + "ZARNMETA" + size;
}

/// CRC-32 bit by bit, from its definition.
std::uint32_t referenceCrc(const std::string& data) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char c : data) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (crc & 1 ? 0xEDB88320u : 0u);
    }
    return ~crc;
}

std::string pattern(std::size_t size) {
    std::string data(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        data[i] = static_cast<char>(i * 167 + i / 253);
    return data;
}

std::string hex(std::uint32_t value) {
    char text[9];
    std::snprintf(text, sizeof text, "%08X", static_cast<unsigned int>(value));
    return text;
}

class Checksum : public testing::Test {
protected:
    struct Result {
        bool result;
        unsigned int crc;
        std::string output;
    };

    /// Checks a file and expects the quiet form to say the same.
    Result check(const std::string& content, unsigned int skip = 0) {
        return checkPath(folder.make("file", content), skip);
    }

    Result checkPath(const std::string& path, unsigned int skip = 0) {
        Result result{false, 0xDEAD, ""};
        CaptureStdout();
        result.result = zaFile::checkChecksum(path, result.crc, skip);
        result.output = GetCapturedStdout();
        EXPECT_EQ(zaFile::verifyChecksum(path, skip).state == State::Incorrect, !result.result);
        return result;
    }

    void expectNotFound(const Result& result, const std::string& output = kNotFound) {
        EXPECT_TRUE(result.result);
        EXPECT_EQ(result.crc, 0u);
        EXPECT_EQ(result.output, output);
    }

    ScratchFolder folder;
};

TEST_F(Checksum, IsTheStandardCrc) {
    EXPECT_EQ(zaFile::getChecksum(folder.make("file", kDigits), 0), 0xCBF43926u);
    EXPECT_EQ(zaFile::getChecksum(folder.make("file", ""), 0), 0u);
    for (const std::size_t size :
         {1u, 8191u, 8192u, 8193u, 16384u, 81919u, 81920u, 81921u, 163840u}) {
        SCOPED_TRACE(size);
        const std::string data = pattern(size);
        const std::string path = folder.make("file", data);
        EXPECT_EQ(zaFile::getChecksum(path, 0), referenceCrc(data));
        ASSERT_TRUE(zaFile::appendChecksum(path, referenceCrc(data)));
        EXPECT_EQ(zaFile::verifyChecksum(path, 0).computed, hex(referenceCrc(data)));
    }
}

TEST_F(Checksum, LeavesTheHeadOut) {
    const std::string data = pattern(20000);
    const std::string path = folder.make("file", data);
    for (const int skip : {-1, 0, 1, 8191, 8192, 8193, 16384, 19999, 20000}) {
        SCOPED_TRACE(skip);
        const auto head = static_cast<std::size_t>(std::max(skip, 0));
        EXPECT_EQ(zaFile::getChecksum(path, skip), referenceCrc(data.substr(head)));
    }
    unsigned int crc = 5;
    EXPECT_EQ(zaFile::getChecksum(path, 20001), 0u);
    EXPECT_FALSE(zaFile::computeChecksum(path, 20001, crc));
    EXPECT_EQ(crc, 5u);
    EXPECT_TRUE(zaFile::computeChecksum(path, 20000, crc));
    EXPECT_EQ(crc, 0u);
    for (const std::string& bad : {std::string(), folder.path("missing"), folder.path()}) {
        EXPECT_EQ(zaFile::getChecksum(bad, 0), 0u);
    }
    EXPECT_FALSE(zaFile::appendChecksum("", 1));
    EXPECT_FALSE(zaFile::appendChecksum(folder.path(), 1));
}

TEST_F(Checksum, TheFooterIsSixteenBytes) {
    const std::string path = folder.make("file", "x");
    ASSERT_TRUE(zaFile::appendChecksum(path, 0xABCDEF));
    EXPECT_EQ(folder.content("file"), "x\0ZARNCRC00ABCDEF"s);
}

TEST_F(Checksum, FindsRightAndWrongChecksums) {
    Result result = check(kDigits + footer("CBF43926"));
    EXPECT_TRUE(result.result);
    EXPECT_EQ(result.crc, 0xCBF43926u);
    EXPECT_EQ(result.output, "Found correct file checksum CBF43926.\n");

    result = check("head" + kDigits + footer("CBF43926"), 4);
    EXPECT_EQ(result.crc, 0xCBF43926u);

    // Digits are compared as text: the right value in lower case is wrong.
    result = check(kDigits + footer("cbf43926"));
    EXPECT_FALSE(result.result);
    EXPECT_EQ(result.crc, 0u);
    EXPECT_EQ(result.output, "Found incorrect file checksum CBF43926 != cbf43926!\n");

    result = check("023456789" + footer("CBF43926"));
    EXPECT_FALSE(result.result);
    EXPECT_EQ(result.output, "Found incorrect file checksum " + hex(referenceCrc("023456789")) +
                                 " != CBF43926!\n");
}

TEST_F(Checksum, APayloadWhoseCrcIsZeroLooksLikeOneWithout) {
    Result result = check("head" + footer("00000000"), 4);
    EXPECT_TRUE(result.result);
    EXPECT_EQ(result.crc, 0u);
    EXPECT_EQ(result.output, "Found correct file checksum 00000000.\n");

    const std::string path = folder.make("file", "\x9D\x0A\xD9\x6D" + footer("00000000"));
    EXPECT_EQ(checkPath(path).crc, 0u);
    EXPECT_EQ(zaFile::verifyChecksum(path, 0).state, State::Correct);
}

TEST_F(Checksum, FilesWithoutFooterAreNoFailure) {
    expectNotFound(check(""));
    expectNotFound(check("123456789012345"));
    expectNotFound(check("1234567890123456"));
    expectNotFound(check("Z234567890123456"));
    expectNotFound(check(kDigits + "\0ZARNCRX"s + "CBF43926"));
    expectNotFound(check(kDigits + footer("CBF43926") + "x"));
    // The head may not reach into the footer.
    expectNotFound(check("x" + footer("00000000"), 2));
    expectNotFound(check("x" + footer("00000000"), 0xFFFFFFFF));

    expectNotFound(checkPath(""), "");
    expectNotFound(checkPath(folder.path("missing")), "");
    expectNotFound(checkPath(folder.path()), "");
}

TEST_F(Checksum, MetadataMayFollowTheFooter) {
    const std::string file = kDigits + footer("CBF43926");
    const std::string block = metadata("anything", "00000018");
    const Result result = check(file + block);
    EXPECT_TRUE(result.result);
    EXPECT_EQ(result.crc, 0xCBF43926u);
    EXPECT_EQ(result.output, kMeta + "Found correct file checksum CBF43926.\n"s);

    // The length is read as a base 16 number, however it is written.
    for (const std::string size : {"      18", "0x000018", "18zzzzzz", "+0000018"}) {
        SCOPED_TRACE(size);
        EXPECT_EQ(check(file + metadata("anything", size)).crc, 0xCBF43926u);
    }
    EXPECT_FALSE(check("0" + file + block).result);
    EXPECT_EQ(check("0" + file + block, 1).crc, 0xCBF43926u);
}

TEST_F(Checksum, MetadataLengthsThatLeadNowhereFindNothing) {
    const std::string file = kDigits + footer("CBF43926");
    const std::string found = kMeta + std::string(kNotFound);
    // "-0000010" is a number too: 0xFFFFFFF0.
    for (const std::string size : {"00000000", "00000010", "00000017", "00000019", "00000022",
                                   "FFFFFFFF", "-0000010", "7FFFFFFF", "80000000"}) {
        SCOPED_TRACE(size);
        expectNotFound(check(file + metadata("anything", size)), found);
    }
    expectNotFound(check(metadata("", "00000010")), found);
    // The footer found must lie behind the head.
    expectNotFound(check(file + metadata("anything", "00000018"), 10), found);
    EXPECT_EQ(check(file + metadata("anything", "00000018"), 9).output,
              kMeta + "Found incorrect file checksum 00000000 != CBF43926!\n"s);
}

TEST_F(Checksum, AMetadataLengthThatIsNoNumberThrows) {
    const std::string path =
        folder.make("file", kDigits + footer("CBF43926") + metadata("", "zzzzzzzz"));
    unsigned int crc = 5;
    FaultyFileBackend backend;
    CaptureStdout();
    EXPECT_THROW(zaFile::checkChecksum(path, crc, 0), std::invalid_argument);
    EXPECT_EQ(GetCapturedStdout(), kMeta);
    EXPECT_EQ(crc, 0u);
    EXPECT_EQ(backend.openFiles(), 0);
    EXPECT_EQ(zaFile::verifyChecksum(path, 0).state, State::MalformedMetadata);
}

TEST_F(Checksum, AFileThatShrinksMeanwhileIsWrong) {
    const std::string data = pattern(200000);
    const std::string path = folder.make("file", data + footer(hex(referenceCrc(data))));
    FaultyFileBackend backend;
    backend.endAtRead(3);  // the footer, one chunk, and no more
    unsigned int crc = 5;
    CaptureStdout();
    EXPECT_FALSE(zaFile::checkChecksum(path, crc, 0));
    EXPECT_EQ(GetCapturedStdout(), "Found incorrect file checksum " +
                                       hex(referenceCrc(data.substr(0, 81920))) +
                                       " != " + hex(referenceCrc(data)) + "!\n");
    EXPECT_EQ(crc, 0u);
}

TEST_F(Checksum, PositionsGoBeyond4GiB) {
    const std::uint64_t size = (1ull << 32) + 1000;
    const std::string path = folder.make("large", "");
    std::filesystem::resize_file(folder.native("large"), size);
    const std::string payload(1001, '\0');  // what lies behind the largest head
    ASSERT_TRUE(zaFile::appendChecksum(path, referenceCrc(payload)));
    const zaFile::ChecksumInfo info = zaFile::findChecksum(path, 0);
    EXPECT_EQ(info.state, State::Found);
    EXPECT_EQ(info.footerPosition, size);
    EXPECT_EQ(info.fileSize, size + 16);
    EXPECT_EQ(checkPath(path, 0xFFFFFFFF).crc, referenceCrc(payload));
}

TEST_F(Checksum, TheQuietFormTellsEveryCaseApart) {
    const auto stateOf = [&](const std::string& content) {
        return zaFile::verifyChecksum(folder.make("file", content), 0).state;
    };
    CaptureStdout();
    EXPECT_EQ(stateOf(kDigits), State::Missing);
    EXPECT_EQ(stateOf(kDigits + footer("CBF43926")), State::Correct);
    EXPECT_EQ(stateOf(kDigits + footer("00000000")), State::Incorrect);
    EXPECT_EQ(zaFile::verifyChecksum(folder.path("missing"), 0).state, State::Unreadable);
    EXPECT_EQ(zaFile::verifyChecksum("", 0).state, State::Unreadable);
    const std::string path =
        folder.make("file", kDigits + footer("CBF43926") + metadata("anything", "00000018"));
    const zaFile::ChecksumInfo info = zaFile::findChecksum(path, 2);
    EXPECT_EQ(info.state, State::Found);
    EXPECT_TRUE(info.hasMetadata);
    EXPECT_EQ(info.metadataSize, 24u);
    EXPECT_EQ(info.fileSize, 49u);
    EXPECT_EQ(info.footerPosition, 9u);
    EXPECT_EQ(info.stored, "CBF43926");
    EXPECT_EQ(info.computed, "");
    EXPECT_EQ(GetCapturedStdout(), "");
}

TEST_F(Checksum, RenewsAndRemovesFootersInPlace) {
    for (const std::string& block :
         {""s, metadata("anything", "00000018"), metadata(pattern(100000), "000186B0")}) {
        SCOPED_TRACE(block.size());
        const std::string path = folder.make("file", "head" + kDigits + footer("00000000") + block);
        ASSERT_TRUE(zaFile::renewChecksum(path, 4));
        EXPECT_TRUE(folder.content("file") == "head" + kDigits + footer("CBF43926") + block);
        ASSERT_TRUE(zaFile::removeChecksum(path, 4));
        EXPECT_TRUE(folder.content("file") == "head" + kDigits + block);
        EXPECT_FALSE(zaFile::renewChecksum(path, 4));
        EXPECT_FALSE(zaFile::removeChecksum(path, 4));
        EXPECT_TRUE(folder.content("file") == "head" + kDigits + block);
    }
    EXPECT_FALSE(zaFile::renewChecksum(folder.path("missing"), 0));
    EXPECT_FALSE(zaFile::removeChecksum("", 0));
    EXPECT_FALSE(folder.has("missing"));
}

TEST_F(Checksum, TellsHowFarItIsAndStopsWhenToldSo) {
    const std::string path = folder.make("file", pattern(300000) + footer("00000000"));
    std::uint64_t done = 0;
    const auto count = [&](std::uint64_t bytes) { return done += bytes, true; };
    EXPECT_EQ(zaFile::verifyChecksum(path, 1000, count).state, State::Incorrect);
    EXPECT_EQ(done, 299000u);

    const auto stop = [](std::uint64_t) { return false; };
    unsigned int crc = 0;
    errno = 0;
    EXPECT_EQ(zaFile::verifyChecksum(path, 0, stop).state, State::Unreadable);
    EXPECT_EQ(errno, ECANCELED);
    EXPECT_FALSE(zaFile::computeChecksum(path, 0, crc, stop));
    EXPECT_FALSE(zaFile::renewChecksum(path, 0, stop));
    EXPECT_TRUE(folder.content("file") == pattern(300000) + footer("00000000"));
}

}  // namespace
