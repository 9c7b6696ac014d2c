#include <atomic>
#include <mutex>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Os/Directory.h"
#include "zaUtils/Os/Environment.h"
#include "zaUtils/Os/KnownFolders.h"

std::string zaFile::_tmp_envvar_name;
std::vector<std::string> zaFile::_tmp_files;

namespace {

constexpr const char* kTmpDirVariable = "ZARN_TMP_DIR";
constexpr const char* kOutputDirVariable = "ZARN_FILEIO_TMP_DIR";

/// An empty value counts as none: one host cannot have it.
bool isSet(const std::string& variable, std::string& value) {
    return za::os::environmentValue(variable, value) && !value.empty();
}

bool isDirectory(const std::string& path) {
    return za::os::pathKind(path) == za::os::PathKind::Directory;
}

/// Whether the directory exists now; another process may create it at the same moment.
bool ensureDirectory(const std::string& path) {
    return isDirectory(path) || zaFile::createDir(path) || isDirectory(path);
}

/// The same with a warning on failure.
bool ensureTmpDir(const std::string& path) {
    const bool exists = ensureDirectory(path);
    if (!exists) zaLog::warning("Couldn't create tmp directory '%s'", path.c_str());
    return exists;
}

std::string joinPath(const std::string& directory, const std::string& name) {
    const bool isJoined =
        !directory.empty() && (directory.back() == '\\' || directory.back() == '/');
    return directory + (isJoined ? "" : "\\") + name;
}

std::string chooseTmpDir(const std::string& dirname) {
    std::string directory;
    static_cast<void>(za::os::temporaryPath(directory));  // without one, the name stands alone
    directory = joinPath(directory, dirname);
    if (ensureTmpDir(directory)) return directory;
    directory = zaFile::expandFilename("$ZARN_ROOT\\tmp");
    ensureTmpDir(directory);  // chosen in any case: there is nowhere else to go
    return directory;
}

/// Held while the temporary directory is chosen, so that no thread misses the variable. Recursive:
/// a callback of the log may ask for the directory meanwhile. Never destroyed.
std::recursive_mutex& initialisation() {
    static auto& mutex = *new std::recursive_mutex;
    return mutex;
}

}  // namespace

void zaFile::initTmpDir(const std::string& dirname) {
    if (dirname.empty()) {
        zaLog::warning("zaFile::initTmpDir: dirname is empty.\n");
        return;
    }
    static bool isInitialised = false;
    const std::lock_guard<std::recursive_mutex> lock(initialisation());
    if (isInitialised) return;
    isInitialised = true;
    _tmp_envvar_name = kTmpDirVariable;

    std::string directory;
    if (isSet(_tmp_envvar_name, directory)) {
        ensureTmpDir(directory);
    } else {
        directory = chooseTmpDir(dirname);
        za::os::setEnvironmentValue(_tmp_envvar_name, directory);
    }
    zaLog::info("%s = '%s'", _tmp_envvar_name.c_str(), directory.c_str());
}

std::string zaFile::getTmpDir() {
    initTmpDir("zarn");
    std::string directory;
    if (isSet(_tmp_envvar_name, directory)) return directory;
    zaLog::info("zaFile::getTmpDir: Couldn't get tmp dir!");  // deliberately no error
    return {};
}

std::string zaFile::getTeamcenterTmpDir() {
    std::string base = getTmpDir();
    if (base.empty()) {
        zaLog::warning("zaFile::getTeamcenterTmpDir : Couldn't get base tmp dir!");
        return {};
    }
    std::string directory = base + "\\teamcenter";
    if (ensureDirectory(directory)) return directory;
    zaLog::warning("zaFile::getTeamcenterTmpDir : Couldn't create teamcenter tmp dir!");
    return base;
}

std::string zaFile::getOutpath(const std::string& input, const std::string& extension) {
    const auto outputDirectory = [&input] {
        std::string directory;
        if (isSet(kOutputDirVariable, directory)) {
            if (isDirectory(directory)) return directory;
            zaLog::warning("User defined temp path doesn't exist, using default temp path.");
        }
        if (isSet(kTmpDirVariable, directory) && ensureDirectory(directory)) return directory;
        return getFilePath(input);
    };
    std::string path = outputDirectory() + '\\' + getBaseName(input);
    if (!extension.empty()) path += (extension[0] == '.' ? "" : ".") + extension;
    return path;
}

std::string zaFile::getTmpName(const std::string& directory, const std::string& prefix) {
    // Counted in more bits than a number has, so that the first one never follows the last.
    constexpr std::uint64_t kEnd = std::uint64_t{1} << 32;
    static std::atomic<std::uint64_t> counter{0};
    const auto isUsable = [](const std::string& text) {
        return !text.empty() && text.find('\0') == std::string::npos;
    };
    if (!isUsable(directory) || !isUsable(prefix)) return {};

    const std::string start = directory + '\\' + prefix;
    for (std::uint64_t number = counter++; number < kEnd; number = counter++) {
        // Read as signed, as "%d" prints it.
        std::string path = start;
        path += std::to_string(static_cast<std::int32_t>(number));
        if (!exists(path)) return path;
    }
    return {};
}

void zaFile::addTmpFile(const std::string& path) {
    _tmp_files.push_back(path);
}

bool zaFile::removeTmpFile(const std::string& path) {
    if (path.empty()) return false;
    const std::string directory = getTmpDir();
    return !directory.empty() && remove(directory + '\\' + getFileName(path));
}

void zaFile::removeTmpFiles() {
    for (const std::string& path : _tmp_files)
        remove(path);
    _tmp_files.clear();
}

void zaFile::clearTmpDir() {
    zaLog::error("zaFile::clearTmpDir: NOT IMPLEMENTED YET!");
}
