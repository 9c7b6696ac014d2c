#include "zaUtils/Formats/zaFileExtension.h"

#include <algorithm>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Strings/zaString.h"

bool zaFileExtension::addFormat(const std::string& name, const std::set<std::string>& extensions) {
    return _formats.try_emplace(name, extensions).second;
}

void zaFileExtension::replaceFormat(const std::string& name,
                                    const std::set<std::string>& extensions) {
    _formats.insert_or_assign(name, extensions);
}

bool zaFileExtension::subFormat(const std::string& name) {
    return _formats.erase(name) != 0;
}

void zaFileExtension::addFormats(const zaFileExtension& other) {
    for (const auto& [name, extensions] : other._formats)
        addFormat(name, extensions);
}

bool zaFileExtension::hasExtension(const std::string& extension) const {
    return std::any_of(_formats.begin(), _formats.end(),
                       [&](const auto& format) { return format.second.count(extension) != 0; });
}

bool zaFileExtension::checkFilename(const std::string& filename) const {
    for (const auto& [name, extensions] : _formats) {
        for (const std::string& extension : extensions) {
            if (zaFile::hasExtension(filename, extension)) return true;
        }
    }
    return false;
}

std::string zaFileExtension::getName(const std::string& extension) const {
    for (const auto& [name, extensions] : _formats) {
        if (extensions.count(extension) != 0) return name;
    }
    return {};
}

std::set<std::string> zaFileExtension::getNames() const {
    std::set<std::string> names;
    for (const auto& [name, extensions] : _formats)
        names.insert(names.end(), name);
    return names;
}

std::set<std::string> zaFileExtension::getExtensions(const std::string& name) const {
    const auto found = _formats.find(name);
    return found == _formats.end() ? std::set<std::string>() : found->second;
}

std::set<std::string> zaFileExtension::getExtensions() const {
    std::set<std::string> all;
    for (const auto& [name, extensions] : _formats)
        all.insert(extensions.begin(), extensions.end());
    return all;
}

std::string zaFileExtension::getExtensionsString(const std::string& separator) const {
    const std::set<std::string> all = getExtensions();
    return zaString::join({all.begin(), all.end()}, separator, false);
}

const zaFileExtension::ExtensionMap& zaFileExtension::getExtensionMap() const {
    return _formats;
}
