#include "zaUtils/Os/Environment.h"

#include <stdlib.h>

namespace za::os {

bool environmentValue(const std::string& name, std::string& value) {
    const char* found = ::getenv(name.c_str());
    if (!found) return false;
    value = found;
    return true;
}

int setEnvironmentValue(const std::string& name, const std::string& value) {
    return value.empty() ? ::unsetenv(name.c_str()) : ::setenv(name.c_str(), value.c_str(), 1);
}

}  // namespace za::os
