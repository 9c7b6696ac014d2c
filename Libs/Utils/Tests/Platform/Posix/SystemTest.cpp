#include <gtest/gtest.h>

#include <cerrno>

#include "Support/ScratchFolder.h"
#include "zaUtils/Platform/zaUtils.h"

// With this host's error texts, and its room for long paths.

namespace {

TEST(LastError, IsTheThreadsErrorNumberAndItsText) {
    errno = ENOENT;
    EXPECT_EQ(zaUtils::getLastError(), " (Error 2: 'No such file or directory')");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(zaUtils::loadSharedLibrary("no such library", false, false), nullptr);
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_EQ(zaUtils::getLastError(), "");
}

TEST(LibraryPath, IsCutToWholeCharactersIn2047Bytes) {
    const ScratchFolder scratch;
    const std::string folders = '/' + std::string(200, 'f');
    const std::string name = u8"/é.dll";  // the second character lies at its bytes 1 and 2
    for (const std::size_t size : {2046u, 2047u, 2048u, 2053u}) {
        SCOPED_TRACE(size);
        std::string folder = scratch.path();
        while (folder.size() + folders.size() < size - name.size() - 1)
            folder += folders;
        folder += '/' + std::string(size - folder.size() - 1 - name.size(), 'l');
        const std::string path = folder + name;
        ASSERT_EQ(path.size(), size);
        std::filesystem::create_directories(folder);
        std::filesystem::copy_file(PLUGIN_FOLDER "/PluginNeighbour.dll", path);

        void* handle = zaUtils::loadSharedLibrary(path, false, false);
        ASSERT_NE(handle, nullptr) << zaUtils::getLastError();
        const std::size_t kept =
            size == 2053 ? size - name.size() + 1 : std::min<std::size_t>(size, 2047);
        EXPECT_EQ(zaUtils::getSharedLibraryPath(handle), path.substr(0, kept));
        EXPECT_TRUE(zaUtils::unloadSharedLibrary(handle));
    }
}

}  // namespace
