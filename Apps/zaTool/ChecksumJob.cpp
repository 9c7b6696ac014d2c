#include "ChecksumJob.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "ExitCode.h"
#include "FileWalk.h"
#include "LastReason.h"

using Info = zaFile::ChecksumInfo;
using Kind = ChecksumResult::Kind;
using State = zaFile::ChecksumState;

namespace {

ChecksumResult failed(const std::string& file, const std::string& text) {
    return {file, Kind::Failed, text, {}};
}

ChecksumResult missing(const std::string& file, const Info& info) {
    const char* text = info.state == State::MalformedMetadata
                           ? "no checksum: the length in its metadata footer is no number"
                           : "no checksum";
    return {file, Kind::Missing, text, info};
}

std::string describe(const Info& info, unsigned int skip) {
    std::string text = info.stored + ", payload " + std::to_string(info.footerPosition - skip) +
                       " bytes, footer at " + std::to_string(info.footerPosition);
    if (info.hasMetadata) text += ", metadata " + std::to_string(info.metadataSize) + " bytes";
    return text;
}

ChecksumResult renew(const std::string& file, unsigned int skip, const zaFile::OnBytes& onBytes) {
    if (!zaFile::renewChecksum(file, skip, onBytes)) {
        return failed(file, "checksum not renewed: " + lastReason());
    }
    const Info info = zaFile::findChecksum(file, skip);
    return {file, Kind::Renewed, "checksum " + info.stored + " renewed", info};
}

/// Gives the file back the size it had, because a part of the footer may have been written.
std::string undoAppend(const std::string& file, std::uint64_t size) {
    if (zaFile::getFileSize(file) == size) return {};
    std::error_code error;
    std::filesystem::resize_file(toStandardPath(file), size, error);
    return error ? "; the file could not be restored: " + error.message() : std::string();
}

ChecksumResult append(const std::string& file, unsigned int skip, std::uint64_t size,
                      const zaFile::OnBytes& onBytes) {
    if (size < skip) {
        return failed(file, "checksum not added: the file has " + std::to_string(size) +
                                " bytes, fewer than the " + std::to_string(skip) + " to skip");
    }
    unsigned int crc = 0;
    if (!zaFile::computeChecksum(file, skip, crc, onBytes)) {
        return failed(file, "cannot be read: " + lastReason());
    }
    if (!zaFile::appendChecksum(file, crc)) {
        const std::string reason = lastReason();
        return failed(file, "checksum not added: " + reason + undoAppend(file, size));
    }
    const Info info = zaFile::findChecksum(file, skip);
    return {file, Kind::Added, "checksum " + info.stored + " added", info};
}

}  // namespace

ChecksumResult verifyFile(const std::string& file, unsigned int skip,
                          const zaFile::OnBytes& onBytes) {
    errno = 0;
    const Info info = zaFile::verifyChecksum(file, skip, onBytes);
    switch (info.state) {
        case State::Unreadable:
            return failed(file, "cannot be read: " + lastReason());
        case State::Correct:
            return {file, Kind::Correct, "correct " + info.computed, info};
        case State::Incorrect:
            return {file, Kind::Wrong,
                    "wrong checksum: computed " + info.computed + ", stored " + info.stored, info};
        default:
            return missing(file, info);
    }
}

ChecksumResult showFile(const std::string& file, unsigned int skip) {
    errno = 0;
    const Info info = zaFile::findChecksum(file, skip);
    switch (info.state) {
        case State::Unreadable:
            return failed(file, "cannot be read: " + lastReason());
        case State::Found:
            return {file, Kind::Found, describe(info, skip), info};
        default:
            return missing(file, info);
    }
}

ChecksumResult addToFile(const std::string& file, unsigned int skip, bool mayRenew,
                         const zaFile::OnBytes& onBytes) {
    errno = 0;
    const Info info = zaFile::findChecksum(file, skip);
    if (info.state == State::Unreadable) return failed(file, "cannot be read: " + lastReason());
    const bool hasFooter = info.state == State::Found;
    if (hasFooter && !mayRenew) {
        return failed(file, "checksum not added: there is one already (--force renews it)");
    }
    if (!zaFile::checkWrite(file, false, false)) {
        return failed(file, "cannot be written: " + lastReason());
    }
    return hasFooter ? renew(file, skip, onBytes) : append(file, skip, info.fileSize, onBytes);
}

ChecksumResult stripFile(const std::string& file, unsigned int skip) {
    errno = 0;
    const Info info = zaFile::findChecksum(file, skip);
    if (info.state == State::Unreadable) return failed(file, "cannot be read: " + lastReason());
    if (info.state != State::Found) return missing(file, info);
    if (!zaFile::checkWrite(file, false, false)) {
        return failed(file, "cannot be written: " + lastReason());
    }
    if (!zaFile::removeChecksum(file, skip)) {
        return failed(file, "checksum not removed: " + lastReason());
    }
    return {file, Kind::Removed, "checksum " + info.stored + " removed", info};
}

int exitCodeOf(Kind kind) {
    switch (kind) {
        case Kind::Missing:
            return ExitCode::kMissing;
        case Kind::Wrong:
            return ExitCode::kWrong;
        case Kind::Failed:
            return ExitCode::kFailed;
        default:
            return ExitCode::kSuccess;
    }
}
