#include <algorithm>
#include <boost/crc.hpp>
#include <cerrno>
#include <cstring>
#include <limits>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Messages/zaMessage.h"
#include "zaUtils/Os/Directory.h"
#include "zaUtils/Os/File.h"
#include "zaUtils/Platform/zaUtils.h"

using za::os::File;
using za::os::OpenMode;
using za::os::PathKind;

zaFile* zaFile::_me = [] {
    static zaFile instance;
    return &instance;
}();

namespace {

constexpr const char* kWarningRequest = "showMainWarning";

bool endsWithSeparator(const std::string& path) {
    return !path.empty() && (path.back() == '/' || path.back() == '\\');
}

bool isDirectory(const std::string& path) {
    return za::os::pathKind(path) == PathKind::Directory;
}

void showWarning(const std::string& text) {
    zaMessage warning;
    warning.set("text", text, true);
    zaUtils::call(kWarningRequest, warning, 0);
}

/// Asks the application whether to overwrite; without an answer the default button counts.
bool mayOverwrite(const std::string& path) {
    constexpr int kYes = 0;
    constexpr int kCancel = 2;
    zaMessage question;
    question.set("text", "File '" + path + "' already exists!\nOverwrite file?", true);
    question.set("button0", std::string("&Yes"), true);
    question.set("button1", std::string("&No"), true);
    question.set("button2", std::string("Cancel"), true);
    question.set("default button", kYes, true);
    question.set("escape button", kCancel, true);
    int button = kYes;
    if (!zaUtils::call(kWarningRequest, question, 0)) return true;
    getFromMessage(question, "button", button);
    return button <= kYes;
}

/// Whether the file could be written, found out without changing anything that exists.
bool isWritableFile(const std::string& path) {
    if (zaFile::exists(path)) return !isDirectory(path) && za::os::isWritable(path);
    File file;
    // An exclusive creation: a file that another process makes meanwhile is not ours to remove.
    if (!file.open(path, OpenMode::CreateNew).ok()) return false;
    const bool closed = file.close().ok();
    return za::os::removeFile(path).ok() && closed;
}

/// Opens a file for reading and takes its size, with the position back at the start.
bool openWithSize(const std::string& path, File& file, std::uint64_t& size) {
    return !path.empty() && file.open(path, OpenMode::Read).ok() && file.seekToEnd(size).ok() &&
           file.seek(0).ok();
}

/// Reads a whole file into a container of bytes.
template <typename Container>
bool readAll(const std::string& path, Container& content) {
    File file;
    std::uint64_t size = 0;
    if (!openWithSize(path, file, size)) return false;
    content.resize(static_cast<std::size_t>(size));
    std::size_t count = 0;
    static_cast<void>(file.read(content.data(), content.size(), count));
    content.resize(count);
    return count > 0;
}

bool writeAll(const std::string& path, OpenMode mode, const std::string& content) {
    File file;
    if (path.empty() || !file.open(path, mode).ok()) return false;
    // A full disk may show only when the file is closed.
    return file.write(content.data(), content.size()).ok() && file.close().ok();
}

std::uint32_t crcOf(const void* data, std::size_t size) {
    boost::crc_32_type crc;
    crc.process_bytes(data, size);
    return crc.checksum();
}

}  // namespace

bool zaFile::exists(const std::string& path, bool, bool) {
    return !path.empty() && za::os::pathKind(path) != PathKind::Missing;
}

bool zaFile::checkRead(const std::string& path, bool showWarning_, bool logError) {
    if (path.empty()) return false;
    std::string message;
    if (!exists(path)) {
        message = "File '" + path + "' doesn't exist!";
    } else {
        if (File file; file.open(path, OpenMode::Read).ok()) return true;
        message = "File '" + path + "' is not readable (wrong permissions)!";
    }
    if (showWarning_) showWarning(message);
    if (logError) zaLog::error("checkRead:: %s", message.c_str());
    return false;
}

bool zaFile::checkWrite(const std::string& path, bool showWarning_, bool logError) {
    if (path.empty()) return false;
    if (showWarning_ && exists(path) && !mayOverwrite(path)) return false;
    if (isWritableFile(path)) return true;
    const std::string message = "File '" + path + "' is not writable (wrong permissions)!";
    if (showWarning_) showWarning(message);
    if (logError) zaLog::error("checkWrite: %s", message.c_str());
    return false;
}

bool zaFile::read(const std::string& path, unsigned char* buffer) {
    File file;
    std::uint64_t size = 0;
    if (!buffer || !openWithSize(path, file, size)) return false;
    std::size_t count = 0;
    static_cast<void>(file.read(buffer, static_cast<std::size_t>(size), count));
    return count > 0;
}

bool zaFile::read(const std::string& path, std::string& content) {
    return readAll(path, content);
}

bool zaFile::read(const std::string& path, std::vector<char>& content) {
    return readAll(path, content);
}

bool zaFile::write(const std::string& path, const std::string& content) {
    return writeAll(path, OpenMode::Write, content);
}

bool zaFile::append(const std::string& path, const std::string& content) {
    return writeAll(path, OpenMode::Append, content);
}

bool zaFile::remove(const std::string& path) {
    if (path.empty()) return false;
    return !exists(path) || za::os::removeFile(path).ok();
}

bool zaFile::createDir(const std::string& path) {
    return !path.empty() && za::os::createDirectory(path).ok();
}

bool zaFile::createDirectoryIfNotExists(const std::string& path) {
    return exists(path) || createDir(path);
}

bool zaFile::createPath(const std::string& path) {
    if (path.empty()) return false;
    for (std::size_t end = 0; end < path.size() && !isDirectory(path);) {
        end = std::min(path.find_first_of("/\\", end + 1), path.size());
        const std::string parent = path.substr(0, end);
        if (!isDirectory(parent)) createDir(parent);
    }
    return isDirectory(path);
}

bool zaFile::copy(const std::string& source, const std::string& destination) {
    File in;
    File out;
    if (source.empty() || destination.empty() || !in.open(source, OpenMode::Read).ok())
        return false;
    // Opening the destination would empty the source.
    if (za::os::isSameFile(source, destination)) return false;
    if (!out.open(destination, OpenMode::Write).ok()) return false;

    constexpr std::size_t kBlockSize = std::size_t{64} * 1024;
    std::vector<char> block(kBlockSize);
    std::size_t count = 0;
    do {
        static_cast<void>(in.read(block.data(), block.size(), count));
        static_cast<void>(out.write(block.data(), count));  // deliberately not checked
    } while (count == block.size());
    return true;
}

bool zaFile::rename(const std::string& directory, const std::string& oldName,
                    const std::string& newName) {
    if (directory.empty() || oldName.empty() || newName.empty()) return false;
    const std::string start = endsWithSeparator(directory) ? directory : directory + '\\';
    const std::string from = start + oldName;
    return exists(from) && za::os::renameFile(from, start + newName).ok();
}

std::uint64_t zaFile::getFileSize(const std::string& path) {
    File file;
    std::uint64_t size = 0;
    return openWithSize(path, file, size) ? size : 0;
}

std::string zaFile::getOwner(const std::string& path) {
    std::string name;
    return !path.empty() && za::os::ownerName(path, name).ok() ? name : std::string();
}

std::string zaFile::getCurrentDir() {
    constexpr std::size_t kMaxLength = 2047;
    std::string path;
    return za::os::currentDirectory(path).ok() && path.size() <= kMaxLength ? path : std::string();
}

bool zaFile::setCurrentDir(const std::string& path) {
    if (path.empty()) return false;
    return za::os::setCurrentDirectory(path.back() == '\\' ? path : path + '\\').ok();
}

void zaFile::perror(const std::string& message) {
    const int code = errno;
    zaLog::error("%s: %s", message.c_str(), std::strerror(code));
}

std::string zaFile::getFileID(const std::string& path) {
    constexpr std::size_t kSampleSize = 8192;
    File file;
    std::uint64_t size = 0;
    char sample[kSampleSize];
    std::size_t count = 0;
    if (path.empty()) return {};
    if (openWithSize(path, file, size)) {
        static_cast<void>(file.read(sample, kSampleSize, count));
    }
    // Nothing between the two numbers, deliberately.
    return std::to_string(size) + std::to_string(crcOf(sample, count));
}

std::uint32_t zaFile::getID(const char* characters, unsigned int length) {
    return characters ? crcOf(characters, length) : 0;
}

std::int64_t zaFile::convertStreamPosToStreamOff(std::streampos position) {
    return static_cast<std::streamoff>(position);
}
