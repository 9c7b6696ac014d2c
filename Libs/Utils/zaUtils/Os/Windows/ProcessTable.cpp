#include "zaUtils/Os/ProcessTable.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <process.h>
#include <string.h>
#include <tlhelp32.h>

namespace za::os {

namespace {

/// A list of what runs, taken at one moment.
class Snapshot {
public:
    explicit Snapshot(DWORD content)
        : _handle(CreateToolhelp32Snapshot(content, GetCurrentProcessId())) {}
    ~Snapshot() {
        if (_handle != INVALID_HANDLE_VALUE) CloseHandle(_handle);
    }
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

    template <typename Predicate>
    bool findProcess(PROCESSENTRY32W& entry, Predicate predicate) const {
        entry.dwSize = sizeof(entry);
        for (BOOL more = Process32FirstW(_handle, &entry); more;
             more = Process32NextW(_handle, &entry)) {
            if (predicate(entry)) return true;
        }
        return false;
    }

    bool hasThreadOf(DWORD process) const {
        THREADENTRY32 entry;
        entry.dwSize = sizeof(entry);
        for (BOOL more = Thread32First(_handle, &entry); more;
             more = Thread32Next(_handle, &entry)) {
            if (entry.th32OwnerProcessID == process) return true;
        }
        return false;
    }

private:
    HANDLE _handle;
};

}  // namespace

int currentProcessId() {
    return _getpid();
}

int parentProcessId() {
    const Snapshot snapshot(TH32CS_SNAPPROCESS | TH32CS_SNAPTHREAD);
    const auto withId = [](DWORD id) {
        return [id](const PROCESSENTRY32W& entry) { return entry.th32ProcessID == id; };
    };
    PROCESSENTRY32W entry;
    if (!snapshot.findProcess(entry, withId(GetCurrentProcessId()))) return 0;
    const DWORD parent = entry.th32ParentProcessID;
    if (!snapshot.findProcess(entry, withId(parent)) || !snapshot.hasThreadOf(parent)) return 0;
    return static_cast<int>(parent);
}

bool isProgramRunning(const std::string& fileName) {
    const Snapshot snapshot(TH32CS_SNAPPROCESS);
    PROCESSENTRY32W found;
    return snapshot.findProcess(found, [&](const PROCESSENTRY32W& entry) {
        return _stricmp(narrow(entry.szExeFile).c_str(), fileName.c_str()) == 0;
    });
}

}  // namespace za::os
