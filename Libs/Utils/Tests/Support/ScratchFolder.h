#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

/// An empty folder with a name beyond ASCII and with blanks, removed with all that is in it.
class ScratchFolder {
public:
    ScratchFolder() {
        std::random_device random;
        const std::string name = u8"zaUtils tests é日本 " + std::to_string(random());
        _folder = std::filesystem::temp_directory_path() / std::filesystem::u8path(name);
        std::filesystem::create_directories(_folder);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(_folder, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string path() const { return _folder.u8string(); }
    /// Full name of an entry, joined as the library joins.
    std::string path(const std::string& name) const { return path() + '\\' + name; }

    // The standard library's ways to the same files, as an independent view of them.

    std::filesystem::path native(const std::string& name) const {
        return _folder / std::filesystem::u8path(name);
    }
    std::string make(const std::string& name, const std::string& content) const {
        std::ofstream(native(name), std::ios::binary) << content;
        return path(name);
    }
    std::string content(const std::string& name) const {
        std::ifstream file(native(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool has(const std::string& name) const { return std::filesystem::exists(native(name)); }
    std::size_t entries() const {
        const std::filesystem::directory_iterator first(_folder);
        return static_cast<std::size_t>(std::distance(first, {}));
    }

private:
    std::filesystem::path _folder;
};
