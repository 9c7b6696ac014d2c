#pragma once

// The one place that includes the system's header.

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <string>

#include "zaUtils/Os/Text.h"

namespace za::os {

/// The UTF-16 that the system takes; malformed UTF-8 becomes U+FFFD.
inline std::wstring wide(const std::string& text) {
    std::wstring result;
    utf8ToUtf16(text.c_str(), OnMalformed::Replace, result);
    return result;
}

inline std::string narrow(const wchar_t* text) {
    std::string result;
    utf16ToUtf8(text, OnMalformed::Replace, result);
    return result;
}

}  // namespace za::os
