#include "zaUtils/Os/Environment.h"

#include <cstdlib>

namespace za::os {

bool environmentValue(const std::string& name, std::string& value) {
    const char* found = std::getenv(name.c_str());
    if (!found) return false;
    value = found;
    return true;
}

}  // namespace za::os
