#include "zaUtils/Os/Error.h"

#include <cerrno>
#include <cstring>

namespace za::os {

SystemError lastSystemError() {
    const int code = errno;
    char buffer[256];
    // This call is the one that may return a text of its own in place of the buffer.
    SystemError error{code, ::strerror_r(code, buffer, sizeof(buffer))};
    errno = code;
    return error;
}

}  // namespace za::os
