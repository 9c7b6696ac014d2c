#include "zaUtils/Os/Environment.h"
#include "zaUtils/Platform/zaUtils.h"

int zaUtils::setenv(const char* name, const char* value) {
    return name && value ? za::os::setEnvironmentValue(name, value) : -1;
}

int zaUtils::unsetenv(const char* name) {
    return name ? za::os::setEnvironmentValue(name, "") : -1;
}

std::string zaUtils::getEnv(const std::string& name) {
    std::string value;
    za::os::environmentValue(name, value);
    return value;
}
