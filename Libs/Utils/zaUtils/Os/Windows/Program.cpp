#include "zaUtils/Os/Program.h"

#include <cerrno>
#include <utility>

#include "zaUtils/Os/Windows/WindowsApi.h"

namespace za::os {

namespace {

HANDLE handleOf(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

Error creationError() {
    return failWith(GetLastError() == ERROR_ACCESS_DENIED ? EACCES : ENOENT);
}

}  // namespace

Program::~Program() {
    if (_id == 0 || _leavesHandlesOpen) return;
    CloseHandle(handleOf(_handles.thread));
    CloseHandle(handleOf(_handles.process));
}

Error Program::start(const std::string& commandLine, Supervision) {
    std::wstring line = wide(commandLine);  // the system may write into it
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr,
                        nullptr, &startup, &process)) {
        return creationError();
    }
    _id = process.dwProcessId;
    _handles = {reinterpret_cast<std::intptr_t>(process.hProcess),
                reinterpret_cast<std::intptr_t>(process.hThread)};
    return {};
}

bool Program::waitFor(unsigned int milliseconds) {
    _hasEnded =
        _hasEnded || WaitForSingleObject(handleOf(_handles.process), milliseconds) != WAIT_TIMEOUT;
    return _hasEnded;
}

std::uint32_t Program::exitCode() const {
    DWORD code = kUnknownExitCode;
    return GetExitCodeProcess(handleOf(_handles.process), &code) ? code : kUnknownExitCode;
}

Error CommandPipe::open(const std::string& command) {
    _pipe = _wpopen(wide(command).c_str(), L"r");
    return _pipe ? Error{} : lastError();
}

std::size_t CommandPipe::read(void* buffer, std::size_t size) {
    return std::fread(buffer, 1, size, _pipe);
}

int CommandPipe::close() {
    std::FILE* pipe = std::exchange(_pipe, nullptr);
    return pipe ? _pclose(pipe) : -1;
}

}  // namespace za::os
