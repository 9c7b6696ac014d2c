#include "Support/OtherFolders.h"

#include <windows.h>

#include <filesystem>

// The system reads the folders from the registry. A process can have keys of its own in place of
// the registry's roots, which leaves the user's alone.

namespace {

HKEY createKey(HKEY parent, const std::wstring& name) {
    HKEY key = nullptr;
    RegCreateKeyExW(parent, name.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                    &key, nullptr);
    return key;
}

std::wstring scratchKey() {
    return L"Software\\zaUtilsTests" + std::to_wstring(GetCurrentProcessId());
}

void setFolder(HKEY root, const wchar_t* name, const std::string& path) {
    RegOverridePredefKey(root, nullptr);
    const std::wstring part = root == HKEY_CURRENT_USER ? L"\\user" : L"\\machine";
    const HKEY substitute = createKey(HKEY_CURRENT_USER, scratchKey() + part);
    // These must be there already: the system cannot make lasting keys below a volatile one.
    const std::wstring software = L"Software\\Microsoft\\";
    const std::wstring explorer = software + L"Windows\\CurrentVersion\\Explorer\\";
    createKey(substitute, explorer + L"Shell Folders");
    createKey(substitute, software + L"Windows NT\\CurrentVersion\\ProfileList");
    const HKEY folders = createKey(substitute, explorer + L"User Shell Folders");

    const std::wstring value = std::filesystem::u8path(path).wstring();
    const auto size = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    RegSetValueExW(folders, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), size);
    RegOverridePredefKey(root, substitute);
}

}  // namespace

OtherFolders::OtherFolders() = default;

OtherFolders::~OtherFolders() {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegDeleteTreeW(HKEY_CURRENT_USER, scratchKey().c_str());
}

void OtherFolders::setRoaming(const std::string& path) {
    setFolder(HKEY_CURRENT_USER, L"AppData", path);
}

void OtherFolders::setShared(const std::string& path) {
    setFolder(HKEY_LOCAL_MACHINE, L"Common AppData", path);
}
