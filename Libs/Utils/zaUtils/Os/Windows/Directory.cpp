#include "zaUtils/Os/Directory.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <aclapi.h>
#include <direct.h>
#include <io.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <vector>

namespace za::os {

namespace {

constexpr int kWriteAccess = 2;  // of _waccess

/// An open handle to a file or directory, without access to its content.
class FileHandle {
public:
    explicit FileHandle(const std::string& path)
        : _handle(CreateFileW(wide(path).c_str(), 0,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)) {}
    ~FileHandle() {
        if (_handle != INVALID_HANDLE_VALUE) CloseHandle(_handle);
    }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;

    bool information(BY_HANDLE_FILE_INFORMATION& result) const {
        return _handle != INVALID_HANDLE_VALUE && GetFileInformationByHandle(_handle, &result);
    }

private:
    HANDLE _handle;
};

}  // namespace

PathKind pathKind(const std::string& path) {
    const DWORD attributes = GetFileAttributesW(wide(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return PathKind::Missing;
    return attributes & FILE_ATTRIBUTE_DIRECTORY ? PathKind::Directory : PathKind::File;
}

bool isWritable(const std::string& path) {
    return _waccess(wide(path).c_str(), kWriteAccess) == 0;
}

bool isSameFile(const std::string& a, const std::string& b) {
    BY_HANDLE_FILE_INFORMATION first;
    BY_HANDLE_FILE_INFORMATION second;
    return FileHandle(a).information(first) && FileHandle(b).information(second) &&
           first.dwVolumeSerialNumber == second.dwVolumeSerialNumber &&
           first.nFileIndexHigh == second.nFileIndexHigh &&
           first.nFileIndexLow == second.nFileIndexLow;
}

Error ownerName(const std::string& path, std::string& name) {
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD code =
        GetNamedSecurityInfoW(wide(path).c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION,
                              &owner, nullptr, nullptr, nullptr, &descriptor);
    if (code != ERROR_SUCCESS) return failWith(code == ERROR_ACCESS_DENIED ? EACCES : ENOENT);
    const std::unique_ptr<void, decltype(&LocalFree)> release(descriptor, LocalFree);

    DWORD nameSize = 0;
    DWORD domainSize = 0;
    SID_NAME_USE use;
    LookupAccountSidW(nullptr, owner, nullptr, &nameSize, nullptr, &domainSize, &use);
    std::vector<wchar_t> account(nameSize + 1);
    std::vector<wchar_t> domain(domainSize + 1);
    if (!LookupAccountSidW(nullptr, owner, account.data(), &nameSize, domain.data(), &domainSize,
                           &use)) {
        return failWith(ENOENT);
    }
    name = narrow(account.data());
    return {};
}

Error currentDirectory(std::string& path) {
    const std::unique_ptr<wchar_t, decltype(&std::free)> found(_wgetcwd(nullptr, 0), std::free);
    if (!found) return lastError();
    path = narrow(found.get());
    return {};
}

Error setCurrentDirectory(const std::string& path) {
    return _wchdir(wide(path).c_str()) == 0 ? Error{} : lastError();
}

}  // namespace za::os
