#include "Support/TestEnvironment.h"

#include <stdlib.h>

void setTestVariable(const std::string& name, const std::string& value) {
    ::setenv(name.c_str(), value.c_str(), 1);
}

void unsetTestVariable(const std::string& name) {
    ::unsetenv(name.c_str());
}
