#include <algorithm>
#include <boost/crc.hpp>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <string_view>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Os/File.h"

using za::os::Error;
using za::os::File;
using za::os::OpenMode;

namespace {

using Info = zaFile::ChecksumInfo;
using State = zaFile::ChecksumState;

using namespace std::string_view_literals;

constexpr std::string_view kChecksumMark = "\0ZARNCRC"sv;
constexpr std::string_view kMetadataMark = "ZARNMETA"sv;
constexpr std::size_t kMarkSize = 8;
constexpr std::size_t kFooterSize = 16;
static_assert(kChecksumMark.size() == kMarkSize && kMetadataMark.size() == kMarkSize);

constexpr std::size_t kComputeChunk = 8192;
constexpr std::size_t kVerifyChunk = 81920;
constexpr std::uint64_t kToTheEnd = std::numeric_limits<std::uint64_t>::max();

std::string digits(std::uint32_t crc) {
    char text[kMarkSize + 1];
    std::snprintf(text, sizeof text, "%08X", static_cast<unsigned int>(crc));
    return text;
}

std::string footerOf(std::uint32_t crc) {
    return std::string(kChecksumMark) + digits(crc);
}

bool startsWith(std::string_view text, std::string_view mark) {
    return text.substr(0, mark.size()) == mark;
}

/// The 16 bytes at a position; fewer where the file ends.
Error readFooter(File& file, std::int64_t position, std::string& footer) {
    footer.assign(kFooterSize, '\0');
    std::size_t count = 0;
    Error error = file.seek(static_cast<std::uint64_t>(position));
    if (error.ok()) error = file.read(footer.data(), kFooterSize, count);
    footer.resize(count);
    return error;
}

/// The length in a metadata footer.
/// @throws std::invalid_argument, std::out_of_range  as std::stoul does
std::uint32_t metadataSizeOf(const std::string& footer) {
    return static_cast<std::uint32_t>(std::stoul(footer.substr(kMarkSize), nullptr, 16));
}

/// Fills in all but the checksum of the payload. The last 16 bytes tell whether there is metadata;
/// `onMetadata` is called as soon as that is known.
/// @throws what metadataSizeOf throws
template <typename OnMetadata>
void locate(File& file, unsigned int skip, Info& info, OnMetadata onMetadata) {
    if (!file.seekToEnd(info.fileSize).ok()) return;
    info.state = State::Missing;
    auto position = static_cast<std::int64_t>(info.fileSize - kFooterSize);
    if (position < skip) return;

    std::string footer;
    Error error = readFooter(file, position, footer);
    if (error.ok() && startsWith(footer, kMetadataMark)) {
        info.hasMetadata = true;
        onMetadata();
        info.metadataSize = metadataSizeOf(footer);
        position -= info.metadataSize;
        if (position < skip) return;
        error = readFooter(file, position, footer);
    }
    if (!error.ok()) {
        info.state = State::Unreadable;
    } else if (footer.size() == kFooterSize && startsWith(footer, kChecksumMark)) {
        info.state = State::Found;
        info.footerPosition = static_cast<std::uint64_t>(position);
        info.stored = footer.substr(kMarkSize);
    }
}

/// CRC-32 of the next `length` bytes, or of what there is of them.
Error computeCrc(File& file, std::uint64_t length, std::size_t chunk, std::uint32_t& crc,
                 const zaFile::OnBytes& onBytes) {
    std::vector<char> buffer(chunk);
    boost::crc_32_type sum;
    Error error;
    std::size_t wanted = 0;
    std::size_t count = 0;
    do {
        length -= count;
        wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length, chunk));
        error = file.read(buffer.data(), wanted, count);
        sum.process_bytes(buffer.data(), count);
        if (error.ok() && onBytes && !onBytes(count)) return za::os::failWith(ECANCELED);
    } while (error.ok() && count > 0 && count == wanted);
    crc = sum.checksum();
    return error;
}

Error computePayloadCrc(File& file, unsigned int skip, const Info& info, std::uint32_t& crc,
                        const zaFile::OnBytes& onBytes = {}) {
    if (const Error error = file.seek(skip); !error.ok()) return error;
    return computeCrc(file, info.footerPosition - skip, kVerifyChunk, crc, onBytes);
}

/// Reads on over the next `length` bytes; false when there are fewer.
bool skipBytes(File& file, std::size_t length) {
    char buffer[kComputeChunk];
    std::size_t count = 0;
    for (std::size_t left = length; left > 0; left -= count) {
        const std::size_t wanted = std::min(left, sizeof buffer);
        if (!file.read(buffer, wanted, count).ok() || count < wanted) return false;
    }
    return true;
}

Info locateQuietly(File& file, unsigned int skip) {
    Info info;
    try {
        locate(file, skip, info, [] {});
    } catch (const std::logic_error&) {
        info.state = State::MalformedMetadata;
    }
    return info;
}

/// Moves the bytes from `from` to the end of the file down to `to`.
Error moveDown(File& file, std::uint64_t from, std::uint64_t to) {
    std::vector<char> buffer(kVerifyChunk);
    std::size_t count = 0;
    do {
        Error error = file.seek(from);
        if (error.ok()) error = file.read(buffer.data(), buffer.size(), count);
        if (error.ok()) error = file.seek(to);
        if (error.ok()) error = file.write(buffer.data(), count);
        if (!error.ok()) return error;
        from += count;
        to += count;
    } while (count == buffer.size());
    return {};
}

}  // namespace

unsigned int zaFile::getChecksum(const std::string& path, int skip) {
    unsigned int crc = 0;
    const auto head = static_cast<unsigned int>(std::max(skip, 0));
    return computeChecksum(path, head, crc) ? crc : 0;
}

bool zaFile::computeChecksum(const std::string& path, unsigned int skip, unsigned int& crc,
                             const OnBytes& onBytes) {
    File file;
    if (path.empty() || !file.open(path, OpenMode::Read).ok() || !skipBytes(file, skip)) {
        return false;
    }
    std::uint32_t sum = 0;
    if (!computeCrc(file, kToTheEnd, kComputeChunk, sum, onBytes).ok()) return false;
    crc = sum;
    return true;
}

bool zaFile::appendChecksum(const std::string& path, unsigned int crc) {
    return append(path, footerOf(crc));
}

bool zaFile::checkChecksum(const std::string& path, unsigned int& crc, unsigned int skip) {
    crc = 0;
    File file;
    if (path.empty() || !file.open(path, OpenMode::Read).ok()) return true;

    Info info;
    locate(file, skip, info, [] { std::printf("Found meta footer.\n"); });
    if (info.state != State::Found) {
        std::printf("Couldn't find file checksum!\n");
        return true;
    }
    std::uint32_t sum = 0;
    // Bytes that cannot be read make the checksum wrong.
    static_cast<void>(computePayloadCrc(file, skip, info, sum));
    const std::string computed = digits(sum);
    if (computed != info.stored) {
        std::printf("Found incorrect file checksum %s != %s!\n", computed.c_str(),
                    info.stored.c_str());
        return false;
    }
    std::printf("Found correct file checksum %s.\n", computed.c_str());
    crc = sum;
    return true;
}

zaFile::ChecksumInfo zaFile::findChecksum(const std::string& path, unsigned int skip) {
    File file;
    if (path.empty() || !file.open(path, OpenMode::Read).ok()) return {};
    return locateQuietly(file, skip);
}

zaFile::ChecksumInfo zaFile::verifyChecksum(const std::string& path, unsigned int skip,
                                            const OnBytes& onBytes) {
    File file;
    if (path.empty() || !file.open(path, OpenMode::Read).ok()) return {};
    Info info = locateQuietly(file, skip);
    if (info.state != State::Found) return info;

    std::uint32_t sum = 0;
    if (!computePayloadCrc(file, skip, info, sum, onBytes).ok()) {
        info.state = State::Unreadable;
        return info;
    }
    info.computed = digits(sum);
    info.state = info.computed == info.stored ? State::Correct : State::Incorrect;
    return info;
}

bool zaFile::renewChecksum(const std::string& path, unsigned int skip, const OnBytes& onBytes) {
    File file;
    if (path.empty() || !file.open(path, OpenMode::Update).ok()) return false;
    const Info info = locateQuietly(file, skip);
    std::uint32_t sum = 0;
    if (info.state != State::Found) return false;
    if (!computePayloadCrc(file, skip, info, sum, onBytes).ok()) return false;
    return file.seek(info.footerPosition + kMarkSize).ok() &&
           file.write(digits(sum).data(), kMarkSize).ok() && file.close().ok();
}

bool zaFile::removeChecksum(const std::string& path, unsigned int skip) {
    File file;
    if (path.empty() || !file.open(path, OpenMode::Update).ok()) return false;
    const Info info = locateQuietly(file, skip);
    if (info.state != State::Found) return false;
    const std::uint64_t afterFooter = info.footerPosition + kFooterSize;
    return moveDown(file, afterFooter, info.footerPosition).ok() &&
           file.truncate(info.fileSize - kFooterSize).ok() && file.close().ok();
}
