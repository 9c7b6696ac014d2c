// Every file is read, told apart and repaired as its bytes say: the readers of the checksum footer
// agree with one another and with a reader that has the file in memory.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <boost/crc.hpp>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "Fuzzing.h"
#include "zaUtils/Files/zaFile.h"

namespace {

using State = zaFile::ChecksumState;

const std::string kChecksumMark("\0ZARNCRC", 8);
const std::string kMetadataMark = "ZARNMETA";
constexpr std::size_t kFooterSize = 16;

std::string path() {
    static const std::string name =
        (std::filesystem::temp_directory_path() / "zaUtils checksum fuzzer").u8string();
    return name;
}

void writeFile(const std::string& content) {
    std::ofstream(path(), std::ios::binary) << content;
}

std::string readFile() {
    std::ifstream file(path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::uint32_t crcOf(const std::string& bytes) {
    boost::crc_32_type sum;
    sum.process_bytes(bytes.data(), bytes.size());
    return sum.checksum();
}

std::string digitsOf(std::uint32_t crc) {
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08X", static_cast<unsigned>(crc));
    return digits;
}

/// What is to be found in the file.
struct Expected {
    State state = State::Missing;
    std::size_t footer = 0;
    std::string computed;
};

Expected expect(const std::string& content, std::size_t skip) {
    Expected expected;
    if (content.size() < skip + kFooterSize) return expected;
    std::size_t end = content.size();
    if (content.compare(end - kFooterSize, 8, kMetadataMark) == 0) {
        const std::string digits = content.substr(end - 8);
        char* readTo = nullptr;
        const auto length = static_cast<std::uint32_t>(std::strtoul(digits.c_str(), &readTo, 16));
        expected.state = State::MalformedMetadata;
        if (readTo == digits.c_str()) return expected;
        expected.state = State::Missing;
        if (end - skip < length + kFooterSize) return expected;
        end -= length;
    }
    expected.footer = end - kFooterSize;
    if (content.compare(expected.footer, 8, kChecksumMark) != 0) return expected;
    expected.computed = digitsOf(crcOf(content.substr(skip, expected.footer - skip)));
    const bool isRight = content.compare(expected.footer + 8, 8, expected.computed) == 0;
    expected.state = isRight ? State::Correct : State::Incorrect;
    return expected;
}

bool isFound(State state) {
    return state == State::Correct || state == State::Incorrect;
}

void checkPrinting(const Expected& expected, unsigned skip) {
    unsigned crc = 4711;
    try {
        const bool result = zaFile::checkChecksum(path(), crc, skip);
        require(expected.state != State::MalformedMetadata, "a malformed length throws");
        require(result == (expected.state != State::Incorrect), "only a wrong checksum is false");
        require(expected.state == State::Correct ? digitsOf(crc) == expected.computed : crc == 0,
                "the checksum comes back only when it is right");
    } catch (const std::invalid_argument&) {
        require(expected.state == State::MalformedMetadata, "only a malformed length throws");
        require(crc == 0, "the checksum is 0 after an exception");
    }
}

void checkReading(const std::string& content, const Expected& expected, unsigned skip) {
    const zaFile::ChecksumInfo info = zaFile::verifyChecksum(path(), skip);
    require(info.state == expected.state, "verifying tells the state");
    require(info.computed == expected.computed, "verifying computes the checksum");
    require(info.fileSize == content.size(), "verifying tells the size");
    require(!isFound(info.state) || info.footerPosition == expected.footer, "the footer is found");

    const zaFile::ChecksumInfo found = zaFile::findChecksum(path(), skip);
    require(found.state == (isFound(info.state) ? State::Found : info.state),
            "finding and verifying tell the same state");
    require(found.hasMetadata == info.hasMetadata && found.metadataSize == info.metadataSize &&
                found.footerPosition == info.footerPosition && found.stored == info.stored &&
                found.fileSize == info.fileSize && found.computed.empty(),
            "finding and verifying tell the same facts");

    unsigned crc = 0;
    const bool isLongEnough = content.size() >= skip;
    require(zaFile::computeChecksum(path(), skip, crc) == isLongEnough, "a short file fails");
    require(crc == (isLongEnough ? crcOf(content.substr(skip)) : 0), "the checksum is computed");
    require(zaFile::getChecksum(path(), static_cast<int>(skip)) == crc, "a failure gives 0");
}

void checkRepairing(const std::string& content, const Expected& expected, unsigned skip) {
    const bool hasFooter = isFound(expected.state);
    std::string renewed = content;
    if (hasFooter) renewed.replace(expected.footer + 8, 8, expected.computed);
    require(zaFile::renewChecksum(path(), skip) == hasFooter, "a footer can be renewed");
    require(readFile() == renewed, "only the digits are renewed");

    std::string removed = renewed;
    if (hasFooter) removed.erase(expected.footer, kFooterSize);
    // A length below that of a footer makes both footers overlap.
    require(zaFile::removeChecksum(path(), skip) == hasFooter, "a footer can be removed");
    require(readFile() == removed, "only the footer is removed");
}

}  // namespace

int LLVMFuzzerInitialize(int*, char***) {
    return std::freopen("/dev/null", "w", stdout) ? 0 : 1;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const unsigned skip = input.ConsumeBool() ? input.ConsumeIntegralInRange(0U, 64U)
                                              : input.ConsumeIntegralInRange(0U, 0x7FFFFFFFU);
    const bool addsFooter = input.ConsumeBool();
    const bool addsMetadata = input.ConsumeBool();
    std::string metadata = input.ConsumeRandomLengthString();
    const std::string metadataSize = input.ConsumeBytesAsString(8);
    // Now and then larger than the buffers.
    const std::size_t copies = input.ConsumeIntegral<unsigned char>() < 250
                                   ? 1
                                   : input.ConsumeIntegralInRange<std::size_t>(1, 2000);
    const std::string piece = input.ConsumeRemainingBytesAsString();

    std::string content;
    for (std::size_t i = 0; i < copies && content.size() < 200000; ++i)
        content += piece;
    if (addsFooter) {
        content += kChecksumMark +
                   digitsOf(crcOf(content.substr(std::min<std::size_t>(skip, content.size()))));
    }
    if (addsMetadata) {
        metadata += kMetadataMark;
        content += metadata + (metadataSize.size() == 8
                                   ? metadataSize
                                   : digitsOf(static_cast<std::uint32_t>(metadata.size() + 8)));
    }
    writeFile(content);
    const Expected expected = expect(content, skip);
    checkPrinting(expected, skip);
    checkReading(content, expected, skip);
    checkRepairing(content, expected, skip);
    return 0;
}
