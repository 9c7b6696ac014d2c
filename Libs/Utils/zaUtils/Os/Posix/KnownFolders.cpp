#include "zaUtils/Os/KnownFolders.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "zaUtils/Os/Directory.h"
#include "zaUtils/Os/Environment.h"
#include "zaUtils/Os/Posix/PosixAccount.h"

// The folders are the XDG base directories, whose rules have relative paths ignored
// and folders of the user made for the user alone.

namespace za::os {

namespace {

constexpr mode_t kForTheUser = 0700;
constexpr mode_t kForEveryone = 0777;  // less what the umask takes away

bool isAbsolute(std::string_view path) {
    return !path.empty() && path[0] == '/';
}

/// Reads a variable that holds an absolute path.
bool absoluteValue(const char* name, std::string& path) {
    std::string value;
    if (!environmentValue(name, value) || !isAbsolute(value)) return false;
    path = value;
    return true;
}

Error homeFolder(std::string& path) {
    if (absoluteValue("HOME", path)) return {};
    Account account;
    const Error error = findAccount(::getuid(), account);
    if (error.ok()) path = account.home;
    return error;
}

/// Makes every missing folder along the absolute path.
Error provideFolder(const std::string& path, mode_t mode) {
    const auto exists = [&] { return pathKind(path) == PathKind::Directory; };
    for (std::size_t end = 0; end < path.size() && !exists();) {
        end = std::min(path.find('/', end + 1), path.size());
        if (::mkdir(path.substr(0, end).c_str(), mode) != 0 && errno != EEXIST) return lastError();
    }
    return exists() ? Error{} : failWith(ENOTDIR);
}

/// The first absolute entry of a list with ':' between the entries; empty when there is none.
std::string firstAbsolute(const std::string& list) {
    for (std::size_t start = 0; start < list.size();) {
        const std::size_t end = std::min(list.find(':', start), list.size());
        std::string entry = list.substr(start, end - start);
        if (isAbsolute(entry)) return entry;
        start = end + 1;
    }
    return {};
}

}  // namespace

Error roamingDataFolder(std::string& path) {
    std::string folder;
    if (!absoluteValue("XDG_DATA_HOME", folder)) {
        if (const Error error = homeFolder(folder); !error.ok()) return error;
        folder += "/.local/share";
    }
    const Error error = provideFolder(folder, kForTheUser);
    if (error.ok()) path = folder;
    return error;
}

Error sharedDataFolder(std::string& path) {
    std::string list;
    environmentValue("XDG_DATA_DIRS", list);
    std::string folder = firstAbsolute(list);
    if (folder.empty()) folder = "/usr/local/share";
    const Error error = provideFolder(folder, kForEveryone);
    if (error.ok()) path = folder;
    return error;
}

Error temporaryPath(std::string& path) {
    if (!absoluteValue("TMPDIR", path)) path = "/tmp";
    return {};
}

}  // namespace za::os
