// Operations on path names keep their invariants for any text.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <string>

#include "Fuzzing.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Strings/zaString.h"

namespace {

/// Rooted, and no component is empty, ".", ".." or, taken alone, an absolute path ("$a", "a:b").
/// A separator may end it.
bool isNormal(const std::string& path) {
    std::string rest = zaFile::convertToUnixSeparators(path);
    if (rest.size() > 1 && rest[1] == ':') rest.erase(0, 2);
    if (rest.empty() || rest[0] != '/') return false;
    const auto components = zaString::split(rest.substr(1), '/');
    return std::none_of(components.begin(), components.end(), [](const std::string& component) {
        return !zaFile::isRelative(component) || component == "." || component == "..";
    });
}

void checkWays(const std::string& base, const std::string& path) {
    const std::string way = zaFile::abs2Rel(base, path);
    const std::string back = zaFile::rel2Abs(base, way);
    require(zaFile::rel2Abs(base, path).find('/') == std::string::npos,
            "absolute paths are native");
    if (zaFile::isRelative(path)) require(way == path, "a relative path stays");
    if (!isNormal(base) || !isNormal(path)) return;
    require(back == zaFile::convertSeparators(path), "the way there and back gives the path");
    if (way != path) require(way.size() < 2048 && zaFile::isRelative(way), "the way is relative");
}

void checkParts(const std::string& path) {
    const std::string name = zaFile::getFileName(path);
    const std::string directory = zaFile::getFilePath(path);
    require(name.find_first_of("/\\") == std::string::npos, "a name has no separators");
    if (name.size() < path.size()) {
        const char separator = path[directory.size()];
        require(separator == '/' || separator == '\\', "a separator stands between the parts");
        require(directory + separator + name == path, "the parts make the path");
    } else {
        require(directory == ".", "a name alone lies in the working directory");
    }
    require(zaString::startsWith(name, zaFile::getBaseName(path)), "a base name starts the name");

    const std::string extension = zaFile::getExtension(path);
    require(extension.find('.') == std::string::npos, "an extension has no dot");
    require(zaFile::hasExtension(path, extension), "a path has its extension");
    if (path.empty()) return;
    const std::string other = zaFile::setExtension(path, "x");
    require(zaFile::getExtension(other) == "x", "an extension set is the extension");
    require(zaFile::setExtension(other, ".x") == other, "an extension set again stays");
}

void checkValidName(const std::string& name) {
    constexpr const char* kForbidden = "<>:\"/\\|?*";
    std::string valid = name;
    zaFile::makeValidFileName(valid);
    require(valid.find_first_of(kForbidden) == std::string::npos, "no forbidden character is left");
    require(valid.size() <= name.size(), "a name does not grow");
    const bool isClean =
        valid.empty() || (valid.front() != '.' && valid.back() != '.' && valid.back() != ' ');
    std::string again = valid;
    zaFile::makeValidFileName(again);
    if (isClean) require(again == valid, "a clean name stays");
}

void checkFilter(const std::string& filter) {
    const std::string extension = zaFile::getExtensionFromFilter(filter);
    require(extension.find_first_of(" \t;,)*?") == std::string::npos, "an extension is one word");
    require(extension.empty() || zaString::contains(filter, "*." + extension),
            "an extension stands in its filter");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const std::string base = input.ConsumeRandomLengthString();
    const std::string path = input.ConsumeRemainingBytesAsString();
    checkWays(base, path);
    checkWays(base, base + "/" + path);
    checkParts(path);
    checkValidName(path);
    checkFilter(path);
    zaFile::isumlaut(path);
    return 0;
}
