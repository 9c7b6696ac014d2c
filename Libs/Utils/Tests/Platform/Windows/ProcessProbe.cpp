// A program that the tests start.
//
//   ProcessProbe             leaves the file "opened" beside itself
//   ProcessProbe child ID    exit code 0 if that is its parent's id
//   ProcessProbe parent      starts "ProcessProbe orphan HANDLE" with the same output, and ends
//   ProcessProbe orphan      prints its parent's id when its parent has ended

#include <windows.h>

#include <process.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "zaUtils/Platform/zaPlatform.h"
#include "zaUtils/Platform/zaProcessInfo.h"

namespace {

int leaveMark() {
    const std::string self = zaPlatform::getThisSharedLibraryPath(0);
    std::ofstream(std::filesystem::u8path(self).replace_filename("opened"));
    return 0;
}

int startOrphan(const char* self) {
    const HANDLE own = OpenProcess(SYNCHRONIZE, TRUE, GetCurrentProcessId());
    const std::string handle = std::to_string(reinterpret_cast<std::uintptr_t>(own));
    return _spawnl(_P_NOWAIT, self, "ProcessProbe", "orphan", handle.c_str(), nullptr) == -1;
}

int tellParent(const std::string& handle) {
    const auto parent = reinterpret_cast<HANDLE>(std::stoull(handle));
    WaitForSingleObject(parent, INFINITE);
    CloseHandle(parent);
    const int id = zaProcessInfo::getppid();
    std::fflush(stderr);  // buffered where it is a pipe
    std::printf("parent %d\n", id);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "child" && argc > 2) return zaProcessInfo::getppid() == std::stoi(argv[2]) ? 0 : 1;
    if (what == "parent") return startOrphan(argv[0]);
    if (what == "orphan" && argc > 2) return tellParent(argv[2]);
    return leaveMark();
}
