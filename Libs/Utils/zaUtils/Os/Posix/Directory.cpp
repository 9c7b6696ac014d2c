#include "zaUtils/Os/Directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "zaUtils/Os/Posix/PosixAccount.h"
#include "zaUtils/Os/Posix/PosixPath.h"

namespace za::os {

PathKind pathKind(const std::string& path) {
    struct stat status {};
    if (::stat(nativePath(path).c_str(), &status) != 0) return PathKind::Missing;
    return S_ISDIR(status.st_mode) ? PathKind::Directory : PathKind::File;
}

bool isWritable(const std::string& path) {
    return ::access(nativePath(path).c_str(), W_OK) == 0;
}

bool isSameFile(const std::string& a, const std::string& b) {
    struct stat first {};
    struct stat second {};
    return ::stat(nativePath(a).c_str(), &first) == 0 &&
           ::stat(nativePath(b).c_str(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

Error ownerName(const std::string& path, std::string& name) {
    struct stat status {};
    if (::stat(nativePath(path).c_str(), &status) != 0) return lastError();
    Account owner;
    const Error error = findAccount(status.st_uid, owner);
    if (error.ok()) name = owner.name;
    return error;
}

Error currentDirectory(std::string& path) {
    std::vector<char> buffer(1024);
    while (!::getcwd(buffer.data(), buffer.size())) {
        if (errno != ERANGE) return lastError();
        buffer.resize(2 * buffer.size());
    }
    path = buffer.data();
    return {};
}

Error setCurrentDirectory(const std::string& path) {
    return ::chdir(nativePath(path).c_str()) == 0 ? Error{} : lastError();
}

}  // namespace za::os
