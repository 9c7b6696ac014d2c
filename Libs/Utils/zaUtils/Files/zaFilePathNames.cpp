#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Os/Directory.h"
#include "zaUtils/Os/Environment.h"
#include "zaUtils/Os/Text.h"
#include "zaUtils/Strings/zaString.h"

namespace {

/// Paths are computed in buffers of this size, the final NUL included.
constexpr std::size_t kPathBufferSize = 2048;
constexpr std::size_t kMaxPathLength = kPathBufferSize - 1;

constexpr const char* kSeparators = "/\\";

bool isSeparator(char c) {
    return c == '/' || c == '\\';
}

bool hasDrive(std::string_view path) {
    return path.size() > 1 && path[1] == ':';
}

bool isAbsolute(std::string_view path) {
    return !path.empty() && (isSeparator(path[0]) || hasDrive(path) || path[0] == '$');
}

// --- expansion of variables ---

/// The variable reference at the start of a text that begins with '$'.
struct VariableReference {
    std::string name;
    std::size_t length;  ///< how far the reference reaches, the '$' included
    bool wellFormed;
};

VariableReference readReference(std::string_view text, std::size_t maxNameLength) {
    constexpr const char* kNameCharacters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    const char open = text.size() > 1 ? text[1] : '\0';
    const bool enclosed = open == '(' || open == '{';
    const std::string_view rest = text.substr(enclosed ? 2 : 1);
    const std::size_t end = !enclosed     ? rest.find_first_not_of(kNameCharacters)
                            : open == '(' ? rest.find_first_of(") ")
                                          : rest.find_first_of("} ");
    // Only an enclosed name is cut where the room ends.
    const std::string_view name = rest.substr(0, enclosed ? std::min(end, maxNameLength) : end);
    if (!enclosed) return {std::string(name), 1 + name.size(), true};
    const char close = name.size() < rest.size() ? rest[name.size()] : '\0';
    return {std::string(name), 3 + name.size(), close == (open == '(' ? ')' : '}')};
}

/// The value of a variable that is set, not empty and fits the buffer.
bool usableValue(const std::string& name, std::string& value) {
    return za::os::environmentValue(name, value) && !value.empty() &&
           value.size() < kPathBufferSize;
}

bool isHomeReference(const std::string& path, std::size_t position) {
    if (path[position] != '~') return false;
    constexpr std::string_view kBefore = "\t ;<>|";
    return position == 0 || kBefore.find(path[position - 1]) != std::string_view::npos;
}

// --- relative paths ---

/// Takes the drive prefix ("C:") off the path and returns it; empty when there is none.
std::string takeDrive(std::string& path) {
    if (!hasDrive(path)) return {};
    std::string drive = path.substr(0, 2);
    path.erase(0, 2);
    return drive;
}

/// Whether nothing, or one separator alone, is left from the position on.
bool endsAt(const std::string& path, std::size_t position) {
    return position == path.size() || (position + 1 == path.size() && path[position] == '/');
}

/// The way from the directory `base` to `path`; both begin with '/'.
std::string wayBetween(const std::string& base, const std::string& path) {
    const auto difference = std::mismatch(path.begin(), path.end(), base.begin(), base.end());
    const auto common = static_cast<std::size_t>(difference.first - path.begin());
    if (endsAt(path, common) && endsAt(base, common)) {
        return path.back() == '/' ? "./" : ".";
    }

    // Where the paths part: the last separator in common, or the end of the one within the other.
    const bool nested = (common == path.size() && base[common] == '/') ||
                        (common == base.size() && path[common] == '/');
    const std::size_t branch = nested ? common : path.rfind('/', common - 1);
    std::string way;
    for (std::size_t i = branch; i + 1 < base.size(); ++i) {
        if (base[i] == '/') way += "../";
    }
    if (branch < path.size()) {
        way.append(path, branch + 1, std::string::npos);
    } else if (!way.empty()) {
        way.pop_back();
    }
    return way;
}

/// Goes from the directory `base` along the components of `path`, with '/' throughout.
std::string follow(const std::string& base, const std::string& path) {
    std::string result = base;
    const std::string drive = takeDrive(result);
    const bool rooted = !result.empty() && result[0] == '/';
    const auto trimEnd = [&] {
        while (result.size() > 1 && result.back() == '/')
            result.pop_back();
    };
    trimEnd();

    // False when ".." has to be written. The base may itself hold "//", "." and "..".
    const auto goUp = [&] {
        for (;;) {
            const std::size_t start = result.rfind('/') + 1;  // npos + 1 is 0
            const std::string last = result.substr(start);
            if (last.empty()) return rooted;
            if (last == "..") return false;
            result.erase(start);
            trimEnd();
            if (last != ".") return true;
        }
    };
    const auto goDown = [&](const std::string& component) {
        if (!result.empty() && result.back() != '/') result += '/';
        result += component;
    };
    for (const std::string& component : zaString::split(path, '/')) {
        if (component.empty() || component == ".") continue;
        if (component != ".." || !goUp()) goDown(component);
    }
    if (path.size() > 1 && path.back() == '/' && !result.empty() && result.back() != '/') {
        result += '/';
    }
    return drive + result;
}

}  // namespace

std::string zaFile::expandFilename(const std::string& path) {
    if (path.size() >= kPathBufferSize) {
        std::fprintf(stderr,
                     "zaFile::expandFilename: skipped expanding environment variable, path too "
                     "long!\n");
        return path;
    }
    std::string result;
    for (std::size_t in = 0; in < path.size() && result.size() < kPathBufferSize;) {
        if (isHomeReference(path, in)) {
            // The position deliberately stays: such a path never comes to an end.
            zaLog::error("expandFilename: ~ not supported on Windows platform! Path: %s",
                         path.c_str());
            continue;
        }
        if (path[in] != '$') {
            result += path[in++];
            continue;
        }
        const std::size_t room = kPathBufferSize - result.size();
        const VariableReference reference = readReference(std::string_view(path).substr(in), room);
        if (reference.length == 1) {  // no name
            result += path[in++];
            continue;
        }
        if (!reference.wellFormed) {
            zaLog::error("expandFilename: syntax error in env.var %s! Path: %s",
                         reference.name.c_str(), path.c_str());
        }
        std::string value;
        if (!usableValue(reference.name, value)) {
            zaLog::error("expandFilename: couldn't expand env.var %s! Path: %s",
                         reference.name.c_str(), path.c_str());
            return path;
        }
        result += value;
        in += reference.length;
    }
    return result.substr(0, kMaxPathLength);
}

std::string zaFile::abs2Rel(const std::string& base, const std::string& path) {
    if (isRelative(path)) return path;
    std::string from = convertToUnixSeparators(base);
    std::string to = convertToUnixSeparators(path);
    const std::string drive = takeDrive(to);
    if (takeDrive(from) != drive) return path;

    if (to.empty() || to[0] != '/') {
        // Nothing can be made relative; the buffer's limit holds here as well.
        return to.size() < kMaxPathLength ? convertSeparators(drive + to) : path;
    }
    if (from.empty() || from[0] != '/') return {};
    const std::string way = wayBetween(from, to);
    return way.size() <= kMaxPathLength ? way : path;
}

std::string zaFile::rel2Abs(const std::string& base, const std::string& path) {
    if (isAbsolute(path)) return convertSeparators(path);
    return convertSeparators(follow(convertToUnixSeparators(base), convertToUnixSeparators(path)));
}

std::string zaFile::convertSeparators(const std::string& path) {
    std::string result = path;
    std::replace(result.begin(), result.end(), '/', '\\');
    return result;
}

std::string zaFile::convertToUnixSeparators(const std::string& path) {
    std::string result = path;
    std::replace(result.begin(), result.end(), '\\', '/');
    return result;
}

bool zaFile::isRelative(const std::string& path) {
    return !path.empty() && !isAbsolute(path);
}

std::string zaFile::getFilePath(const std::string& path) {
    const std::size_t separator = path.find_last_of(kSeparators);
    return separator == std::string::npos ? "." : path.substr(0, separator);
}

std::string zaFile::getFileName(const std::string& path) {
    return path.substr(path.find_last_of(kSeparators) + 1);  // npos + 1 is 0
}

std::string zaFile::getBaseName(const std::string& path) {
    const std::string name = getFileName(path);
    return name.substr(0, name.rfind('.'));
}

std::string zaFile::getExtension(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    return dot == std::string::npos ? std::string() : zaString::toLower(path.substr(dot + 1));
}

std::string zaFile::setExtension(const std::string& path, const std::string& extension) {
    if (path.empty()) return {};
    const bool hasDot = !extension.empty() && extension[0] == '.';
    return path.substr(0, path.rfind('.')) + (hasDot ? "" : ".") + extension;
}

bool zaFile::hasExtension(const std::string& path, const std::string& extension) {
    return getExtension(path) == zaString::toLower(extension);
}

std::string zaFile::getExtensionFromFilter(const std::string& filter) {
    constexpr const char* kEnd = " \t;,)";
    for (std::size_t star = filter.find("*."); star != std::string::npos;
         star = filter.find("*.", star + 1)) {
        const std::size_t start = star + 2;
        const std::size_t end = std::min(filter.find_first_of(kEnd, start), filter.size());
        std::string extension = filter.substr(start, end - start);
        const bool isPattern = extension.find_first_of("*?") != std::string::npos;
        if (!extension.empty() && !isPattern) return extension;
    }
    return {};
}

void zaFile::makeValidFileName(std::string& name) {
    if (!name.empty() && (name.back() == '.' || name.back() == ' ')) name.pop_back();
    if (!name.empty() && name.front() == '.') name.erase(0, 1);
    const auto isForbidden = [](char c) {
        return c != '\0' && std::strchr("<>:\"/\\|?*", c) != nullptr;
    };
    name.erase(std::remove_if(name.begin(), name.end(), isForbidden), name.end());
}

bool zaFile::isumlaut(const std::string& text) {
    constexpr unsigned char kFirst = 161;  // of the letters and signs of Latin-1
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) >= kFirst; });
}

std::string zaFile::pathfind(const std::string& name, const std::string& searchPath,
                             const std::string& separators) {
    const auto isFile = [](const std::string& path) {
        return za::os::pathKind(path) == za::os::PathKind::File;
    };
    if (name.empty()) return {};
    if (isAbsolute(name)) return isFile(name) ? name : std::string();

    for (std::size_t start = 0; start < searchPath.size();) {
        const std::size_t end =
            std::min(searchPath.find_first_of(separators, start), searchPath.size());
        std::string candidate = searchPath.substr(start, end - start);
        start = end + 1;
        if (candidate.empty()) continue;
        if (!isSeparator(candidate.back())) candidate += '\\';
        candidate += name;
        if (isFile(candidate)) return candidate;
    }
    return {};
}

std::wstring zaFile::Utf8ToUtf16(const std::string& text) {
    return Utf8ToUtf16(text.c_str());
}

std::wstring zaFile::Utf8ToUtf16(const char* text) {
    std::wstring result;
    za::os::utf8ToUtf16(text, za::os::OnMalformed::Replace, result);
    return result;
}

std::string zaFile::UTF16ToUTF8(const wchar_t* text) {
    std::string result;
    za::os::utf16ToUtf8(text, za::os::OnMalformed::Replace, result);
    return result;
}
