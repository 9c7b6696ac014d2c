#include "Support/TestEnvironment.h"

#include <stdlib.h>

#include <filesystem>

// The wide call of the C library: it changes the process's environment and the C library's copy.

void setTestVariable(const std::string& name, const std::string& value) {
    const auto wide = [](const std::string& text) {
        return std::filesystem::u8path(text).wstring();
    };
    ::_wputenv((wide(name) + L'=' + wide(value)).c_str());
}

void unsetTestVariable(const std::string& name) {
    setTestVariable(name, "");
}
