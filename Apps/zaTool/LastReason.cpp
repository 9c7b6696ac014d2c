#include "LastReason.h"

#include <cerrno>
#include <system_error>

std::string lastReason() {
    const int code = errno;
    return code == 0 ? "unknown reason" : std::generic_category().message(code);
}
