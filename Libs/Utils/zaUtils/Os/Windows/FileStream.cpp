#include "zaUtils/Os/FileStream.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <fcntl.h>
#include <io.h>

#include <cerrno>

#include "zaUtils/Os/AdoptedFile.h"
#include "zaUtils/Os/File.h"

namespace za::os {

bool openForReading(const std::string& path, IoBuffer buffer, std::filebuf& file) {
    const HANDLE handle = CreateFileW(wide(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD code = GetLastError();
        const bool isDenied = code == ERROR_ACCESS_DENIED || code == ERROR_SHARING_VIOLATION;
        return failWith(isDenied ? EACCES : ENOENT).ok();
    }
    const int descriptor =
        _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_RDONLY | _O_BINARY);
    if (descriptor < 0) {
        CloseHandle(handle);
        return false;
    }
    return adopt(descriptor, std::ios_base::in, buffer, file, _close);
}

bool openForWriting(const std::string& path, IoBuffer buffer, std::filebuf& file) {
    // The handles of this host's files are the C library's descriptors.
    FileBackend::Handle handle;
    if (!hostFileBackend().open(path, OpenMode::Write, handle).ok()) return false;
    return adopt(static_cast<int>(handle), std::ios_base::out, buffer, file, _close);
}

}  // namespace za::os
