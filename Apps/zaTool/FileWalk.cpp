#include "FileWalk.h"

#include <algorithm>
#include <system_error>

#include "zaUtils/Files/zaFile.h"

namespace fs = std::filesystem;

namespace {

std::vector<fs::directory_entry> sortedEntries(const fs::path& folder, std::error_code& error) {
    std::vector<fs::directory_entry> entries;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        entries.push_back(*entry);
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

void addFilesBelow(const fs::path& folder, std::vector<FileTarget>& files);

/// @throws std::system_error  the name is no Unicode text, which Windows allows
void addEntry(const fs::directory_entry& entry, std::vector<FileTarget>& files) {
    std::error_code error;
    const fs::file_status status = entry.symlink_status(error);
    if (error) {
        files.push_back({entry.path().u8string(), "cannot be read: " + error.message()});
    } else if (fs::is_directory(status)) {
        addFilesBelow(entry.path(), files);
    } else if (fs::is_regular_file(status)) {
        files.push_back({entry.path().u8string(), {}});
    }
}

void addFilesBelow(const fs::path& folder, std::vector<FileTarget>& files) {
    std::error_code error;
    const auto entries = sortedEntries(folder, error);
    if (error) files.push_back({folder.u8string(), "cannot be read: " + error.message()});
    for (const fs::directory_entry& entry : entries) {
        try {
            addEntry(entry, files);
        } catch (const std::system_error& failure) {
            files.push_back({folder.u8string(), failure.what()});
        }
    }
}

void addNamed(const std::string& name, bool recursive, std::vector<FileTarget>& files) {
    const fs::path path = toStandardPath(name);
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status)) {
        if (recursive) {
            addFilesBelow(path, files);
        } else {
            files.push_back({name, "is a folder (-r takes the files below it)"});
        }
    } else if (fs::exists(status) && !fs::is_regular_file(status)) {
        // Devices and pipes may never end, or wait for ever.
        files.push_back({name, "is no regular file"});
    } else {
        files.push_back({name, {}});
    }
}

}  // namespace

fs::path toStandardPath(const std::string& path) {
    return fs::u8path(zaFile::convertToUnixSeparators(path)).make_preferred();
}

std::vector<FileTarget> findFiles(const std::vector<std::string>& names, bool recursive) {
    std::vector<FileTarget> files;
    for (const std::string& name : names)
        addNamed(name, recursive, files);
    return files;
}

std::uint64_t sizeOf(const FileTarget& target) {
    return target.problem.empty() ? zaFile::getFileSize(target.path) : 0;
}

std::uint64_t sizeOf(const std::vector<FileTarget>& targets) {
    std::uint64_t size = 0;
    for (const FileTarget& target : targets)
        size += sizeOf(target);
    return size;
}
