#include "zaUtils/Os/KnownFolders.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <shlobj.h>

#include <cerrno>

namespace za::os {

namespace {

Error knownFolder(int folder, std::string& path) {
    wchar_t buffer[MAX_PATH] = L"";
    const HRESULT result =
        SHGetFolderPathW(nullptr, folder | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, buffer);
    if (result != S_OK) {
        return failWith(result == E_ACCESSDENIED ? EACCES : ENOENT);
    }
    path = narrow(buffer);
    return {};
}

}  // namespace

Error roamingDataFolder(std::string& path) {
    return knownFolder(CSIDL_APPDATA, path);
}

Error sharedDataFolder(std::string& path) {
    return knownFolder(CSIDL_COMMON_APPDATA, path);
}

Error temporaryPath(std::string& path) {
    wchar_t buffer[MAX_PATH + 2] = L"";  // the longest result and its NUL
    const DWORD length = GetTempPathW(MAX_PATH + 2, buffer);
    if (length == 0 || length > MAX_PATH + 1) return failWith(ENOENT);
    path = narrow(buffer);
    return {};
}

}  // namespace za::os
