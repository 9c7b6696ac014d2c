#include "zaUtils/Os/Error.h"

#include <cerrno>

namespace za::os {

namespace {

ErrorKind kindOf(int code) {
    switch (code) {
        case ENOENT:
        case ENOTDIR:
            return ErrorKind::NotFound;
        case EACCES:
        case EPERM:
        case EROFS:
            return ErrorKind::AccessDenied;
        case EEXIST:
            return ErrorKind::AlreadyExists;
        case EISDIR:
            return ErrorKind::IsDirectory;
        case ENOSPC:
            return ErrorKind::NoSpace;
        case EMFILE:
        case ENFILE:
            return ErrorKind::TooManyOpenFiles;
        case EIO:
            return ErrorKind::Io;
        default:
            return ErrorKind::Other;
    }
}

}  // namespace

Error lastError() {
    return {kindOf(errno), errno};
}

Error failWith(int code) {
    errno = code;
    return lastError();
}

}  // namespace za::os
