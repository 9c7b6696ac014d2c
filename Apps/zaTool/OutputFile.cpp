#include "OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "FileWalk.h"
#include "LastReason.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Platform/zaConsole.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBuffer = std::size_t{1} << 16;

/// Why a file of this name must not be made; empty when it may.
std::string refusal(const std::string& name) {
    std::error_code error;
    const fs::file_status status = fs::status(toStandardPath(name), error);
    // Devices and pipes would be replaced by the file.
    if (fs::exists(status) && !fs::is_regular_file(status)) return "is no regular file";
    // The user hears of the reason, or has said no.
    return zaFile::checkWrite(name, true, false) ? "" : "not written";
}

std::string folderOf(const fs::path& path) {
    const fs::path folder = path.parent_path();
    return folder.empty() ? "." : folder.u8string();
}

}  // namespace

OutputFile::OutputFile(std::string name) : _name(std::move(name)) {
    if (_name == "-") {
        zaConsole::setBinary(zaConsole::Stream::Output);
        return;
    }
    _problem = refusal(_name);
    if (!_problem.empty()) return;
    const fs::path path = toStandardPath(_name);
    _temporaryName = zaFile::getTmpName(folderOf(path), path.filename().u8string() + ".unfinished");
    errno = 0;
    _file.emplace(_temporaryName.c_str(), kBuffer);
    if (!_file->is_open()) fail();
}

OutputFile::~OutputFile() {
    if (_temporaryName.empty()) return;
    if (_file) _file->close();
    zaFile::remove(_temporaryName);
}

bool OutputFile::fail() {
    _problem = "cannot be written: " + lastReason();
    return false;
}

bool OutputFile::write(std::string_view bytes) {
    if (!_problem.empty()) return false;
    errno = 0;
    if (!_file) {
        return std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() || fail();
    }
    _file->write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return _file->good() || fail();
}

bool OutputFile::commit() {
    if (!_problem.empty()) return false;
    errno = 0;
    if (!_file) return std::fflush(stdout) == 0 || fail();
    _file->close();
    if (!_file->good()) return fail();
    std::error_code error;
    fs::rename(toStandardPath(_temporaryName), toStandardPath(_name), error);
    if (error) {
        _problem = "cannot be written: " + error.message();
        return false;
    }
    _temporaryName.clear();
    return true;
}
