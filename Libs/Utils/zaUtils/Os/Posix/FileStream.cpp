#include "zaUtils/Os/FileStream.h"

#include <sys/file.h>
#include <unistd.h>

#include "zaUtils/Os/AdoptedFile.h"
#include "zaUtils/Os/File.h"

namespace za::os {

// The handles of this host's files are the C library's descriptors.

bool openForReading(const std::string& path, IoBuffer buffer, std::filebuf& file) {
    FileBackend::Handle handle;
    if (!hostFileBackend().open(path, OpenMode::Read, handle).ok()) return false;
    const int descriptor = static_cast<int>(handle);
    ::flock(descriptor, LOCK_SH | LOCK_NB);  // some file systems have no locks: then without
    return adopt(descriptor, std::ios_base::in, buffer, file, ::close);
}

bool openForWriting(const std::string& path, IoBuffer buffer, std::filebuf& file) {
    FileBackend::Handle handle;
    if (!hostFileBackend().open(path, OpenMode::Write, handle).ok()) return false;
    return adopt(static_cast<int>(handle), std::ios_base::out, buffer, file, ::close);
}

}  // namespace za::os
