// The expansion of variables agrees with its steps, written out with a fixed buffer and sscanf.

#include <algorithm>
#include <cstring>
#include <string>

#include "Fuzzing.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"

namespace {

constexpr std::size_t kBufferSize = 2048;

/// A path with such a tilde never comes to an end.
bool hasHomeReference(const std::string& path) {
    for (std::size_t i = path.find('~'); i != std::string::npos; i = path.find('~', i + 1)) {
        if (i == 0 || std::string("\t ;<>|").find(path[i - 1]) != std::string::npos) return true;
    }
    return false;
}

enum class Form { Plain, Round, Curly };

/// The name of a reference, as the scan pattern of its form reads it.
std::string scan(const char* text, Form form) {
    char name[kBufferSize + 1] = "";
    if (*text == '\0') return {};
    switch (form) {
        case Form::Plain:
            std::sscanf(text, "%2048[a-zA-Z0-9_]", name);
            break;
        case Form::Round:
            std::sscanf(text, "%2048[^) ]", name);
            break;
        case Form::Curly:
            std::sscanf(text, "%2048[^} ]", name);
            break;
    }
    return name;
}

std::string expandedByTheSteps(const std::string& path) {
    char out[kBufferSize + 1];
    std::size_t length = 0;
    std::size_t in = 0;
    while (in < path.size() && length < kBufferSize) {
        const char* rest = path.c_str() + in;
        if (*rest != '$') {
            out[length++] = *rest;
            ++in;
            continue;
        }
        std::string name;
        if (rest[1] == '(' || rest[1] == '{') {
            name = scan(rest + 2, rest[1] == '(' ? Form::Round : Form::Curly);
            name.resize(std::min(name.size(), kBufferSize - length));
            in += 3 + name.size();
        } else {
            name = scan(rest + 1, Form::Plain);
            if (name.empty()) {
                out[length++] = '$';
                ++in;
                continue;
            }
            in += 1 + name.size();
        }
        const char* value = std::getenv(name.c_str());
        if (!value || !*value || std::strlen(value) >= kBufferSize) return path;
        const std::size_t count = std::min(std::strlen(value), kBufferSize - length);
        std::memcpy(out + length, value, count);
        length += count;
    }
    return {out, std::min(length, kBufferSize - 1)};
}

}  // namespace

int LLVMFuzzerInitialize(int*, char***) {
    zaLog::setEnabled(false);
    ::setenv("A", "a", 1);
    ::setenv("B_2", "$A ~b", 1);
    ::setenv("E", "", 1);
    ::setenv("L", std::string(1000, 'l').c_str(), 1);
    ::setenv("M", std::string(2047, 'm').c_str(), 1);
    ::setenv("N", std::string(2048, 'n').c_str(), 1);
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path(reinterpret_cast<const char*>(data), size);
    if (size >= kBufferSize || path.find('\0') != std::string::npos || hasHomeReference(path)) {
        return -1;
    }
    const std::string expanded = zaFile::expandFilename(path);
    require(expanded.size() < kBufferSize, "the result has at most 2047 bytes");
    require(expanded == expandedByTheSteps(path), "the expansion follows its steps");
    return 0;
}
