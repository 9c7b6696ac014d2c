#include <cstdarg>
#include <cstdio>

#include "zaUtils/Diagnostics/zaStackWalker.h"
#include "zaUtils/Os/Stack.h"

using za::os::stackHost;

namespace {

/// A notification's text, cut to its size.
using Text = char[zaStackWalker::kTextSize];

ZAUTILS_PRINTF(2, 3) void formatText(Text& text, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
}

/// The system writes addresses with all their digits, whatever the C library does.
using AddressText = char[17];

const char* formatAddress(AddressText& text, unsigned long long address) {
    std::snprintf(text, sizeof text, "%016llX", address);
    return text;
}

int versionPart(unsigned long long version, int part) {
    return static_cast<int>((version >> (16 * part)) & 0xFFFF);
}

}  // namespace

// The search path is deliberately never output.
void zaStackWalker::OnSymInit(const char*, unsigned long, const char*) {
    za::os::SystemVersion version;
    if (!stackHost().systemVersion(version)) return;
    Text text;
    formatText(text, "OS-Version: %d.%d.%d (%s) 0x%x-0x%x\n", version.major, version.minor,
               version.build, version.servicePack.c_str(),
               static_cast<unsigned int>(version.suiteMask),
               static_cast<unsigned int>(version.productType));
    OnOutput(text);
}

// Deliberately outputs nothing.
void zaStackWalker::OnLoadModule(const char*, const char*, unsigned long long, unsigned long,
                                 unsigned long, const char*, const char*, unsigned long long) {}

std::string zaStackWalker::symInitText(const char* searchPath, unsigned long symOptions,
                                       const char* userName) {
    Text text;
    formatText(text, "SymInit: Symbol-SearchPath: '%s', symOptions: %d, UserName: '%s'\n",
               searchPath, static_cast<int>(symOptions), userName);
    return text;
}

std::string zaStackWalker::loadModuleText(const char* image, const char* module,
                                          unsigned long long base, unsigned long size,
                                          unsigned long result, const char* symType,
                                          const char* pdbName, unsigned long long fileVersion) {
    char version[64] = "";
    if (fileVersion != 0) {
        std::snprintf(version, sizeof version, ", fileVersion: %d.%d.%d.%d",
                      versionPart(fileVersion, 3), versionPart(fileVersion, 2),
                      versionPart(fileVersion, 1), versionPart(fileVersion, 0));
    }
    Text text;
    AddressText address;
    formatText(text, "%s:%s (%s), size: %d (result: %d), SymType: '%s', PDB: '%s'%s\n", image,
               module, formatAddress(address, base), static_cast<int>(size),
               static_cast<int>(result), symType, pdbName, version);
    return text;
}

void zaStackWalker::OnCallstackEntry(CallstackEntryType type, CallstackEntry& entry) {
    if (type == EntryLast || entry.offset == 0) return;
    const char* name = "(function-name not available)";
    for (const char* known : {entry.undFullName, entry.undName, entry.name}) {
        if (*known == '\0') continue;
        name = known;
        break;
    }
    Text text;
    if (*entry.lineFileName != '\0') {
        formatText(text, "%s (%d): %s\n", entry.lineFileName, static_cast<int>(entry.lineNumber),
                   name);
    } else {
        AddressText address;
        const char* module = *entry.moduleName ? entry.moduleName : "(module-name not available)";
        formatText(text, "%s (%s): %s: %s\n", formatAddress(address, entry.offset), module,
                   "(filename not available)", name);
    }
    OnOutput(text);
}

// Deliberately outputs nothing.
void zaStackWalker::OnDbgHelpErr(const char*, unsigned long, unsigned long long) {}

std::string zaStackWalker::dbgHelpErrText(const char* function, unsigned long error,
                                          unsigned long long address) {
    Text text;
    AddressText digits;
    formatText(text, "ERROR: %s, GetLastError: %d (Address: %s)\n", function,
               static_cast<int>(error), formatAddress(digits, address));
    return text;
}

void zaStackWalker::OnOutput(const char* text) {
    _output += text;
}
