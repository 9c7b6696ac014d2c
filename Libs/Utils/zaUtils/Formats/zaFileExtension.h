#pragma once

#include <map>
#include <set>
#include <string>

#include "zaUtils/Api.h"

/// The file formats that a component understands: the name of each with its file extensions.
///
/// Names and extensions are ordered by their bytes, so every listing is sorted. Extensions are kept
/// as they are passed in: without a dot, and in their case.
///
/// Thread safety: none; one object belongs to one thread at a time.
class ZAUTILS_API zaFileExtension {
public:
    using ExtensionMap = std::map<std::string, std::set<std::string>>;

    /// Adds a format; false, changing nothing, when there is one of that name.
    bool addFormat(const std::string& name, const std::set<std::string>& extensions);
    /// Adds a format in place of the one of that name, if any.
    void replaceFormat(const std::string& name, const std::set<std::string>& extensions);
    /// Removes a format; false when there is none of that name.
    bool subFormat(const std::string& name);
    /// Adds the formats of another registry whose names are not there yet.
    void addFormats(const zaFileExtension& other);

    /// Whether a format has exactly this extension. The case deliberately counts, unlike in
    /// `checkFilename`: "PNG" does not match "png".
    bool hasExtension(const std::string& extension) const;
    /// Whether the file name has an extension of a format, in whatever case
    /// (`zaFile::hasExtension`).
    bool checkFilename(const std::string& filename) const;

    /// The first format, by name, that has exactly this extension; empty when there is none.
    std::string getName(const std::string& extension) const;
    std::set<std::string> getNames() const;
    /// The extensions of one format; none when it is unknown.
    std::set<std::string> getExtensions(const std::string& name) const;
    /// The extensions of all formats.
    std::set<std::string> getExtensions() const;
    /// The extensions of all formats with `separator` between them.
    std::string getExtensionsString(const std::string& separator) const;
    const ExtensionMap& getExtensionMap() const;

private:
    ExtensionMap _formats;
};
