#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "Support/ScratchFolder.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Platform/zaPlatform.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

namespace fs = std::filesystem;

/// A folder beyond ASCII with the plug-in and, beside it, the library that it needs.
class Library : public testing::Test {
protected:
    void SetUp() override {
        fs::copy_file(fs::path(PLUGIN_FOLDER) / "Plugin.dll", scratch.native("Plugin.dll"));
        fs::copy_file(fs::path(PLUGIN_FOLDER) / "PluginNeighbour.dll",
                      scratch.native("PluginNeighbour.dll"));
    }

    /// Loads the plug-in, lets it tell its path, compares, and unloads it.
    static void expectToLoad(const std::string& path) {
        SCOPED_TRACE(path);
        void* handle = zaUtils::loadSharedLibrary(path, false, true);
        ASSERT_NE(handle, nullptr) << zaUtils::getLastError();
        const auto call =
            reinterpret_cast<int (*)()>(zaUtils::resolveSymbol(handle, "callNeighbour"));
        const auto name =
            reinterpret_cast<void (*)(std::string&)>(zaUtils::resolveSymbol(handle, "nameModule"));
        ASSERT_TRUE(call && name);
        EXPECT_EQ(call(), 42);
        std::string ownPath;
        name(ownPath);
        EXPECT_EQ(zaUtils::getSharedLibraryPath(handle), ownPath);
        EXPECT_EQ(zaFile::getFileName(ownPath), "Plugin.dll");
        EXPECT_TRUE(fs::equivalent(fs::u8path(ownPath), fs::u8path(toNative(path))));
        EXPECT_TRUE(fs::u8path(ownPath).is_absolute());

        EXPECT_EQ(zaUtils::resolveSymbol(handle, "noSuchName"), nullptr);
        EXPECT_NE(zaUtils::getLastError(), "");
        EXPECT_TRUE(zaUtils::unloadSharedLibrary(handle));
    }

    static std::string toNative(const std::string& path) {
        return zaFile::convertToUnixSeparators(path);
    }

    ScratchFolder scratch;
};

TEST_F(Library, LoadsFromAnyFolderTogetherWithItsNeighbour) {
    expectToLoad(scratch.path("Plugin.dll"));
    expectToLoad(toNative(scratch.path("Plugin.dll")));

    const fs::path before = fs::current_path();
    fs::current_path(scratch.native(""));
    expectToLoad(".\\Plugin.dll");
    fs::current_path(before);
}

TEST_F(Library, IsNotFoundInTheWorkingDirectoryByItsName) {
    const fs::path before = fs::current_path();
    fs::current_path(scratch.native(""));
    for (const bool altered : {false, true})
        EXPECT_EQ(zaUtils::loadSharedLibrary("Plugin.dll", false, altered), nullptr);
    fs::current_path(before);
}

TEST_F(Library, IsFoundBesideTheProgramByItsName) {
    const fs::path program = fs::u8path(zaPlatform::getThisSharedLibraryPath(0));
    EXPECT_EQ(program.stem(), "ProcessTests");
    const fs::path copy = program.parent_path() / "BesideTheProgram.dll";
    fs::copy_file(scratch.native("PluginNeighbour.dll"), copy,
                  fs::copy_options::overwrite_existing);

    void* handle = zaUtils::loadSharedLibrary("BesideTheProgram.dll", false, false);
    ASSERT_NE(handle, nullptr) << zaUtils::getLastError();
    EXPECT_EQ(zaUtils::getSharedLibraryPath(handle), copy.u8string());
    EXPECT_NE(zaUtils::resolveSymbol(handle, "neighbour"), nullptr);
    EXPECT_TRUE(zaUtils::unloadSharedLibrary(handle));
    EXPECT_TRUE(fs::remove(copy));
}

TEST_F(Library, FailsWithAReason) {
    for (const std::string& path :
         {scratch.path("missing.dll"), scratch.make("text.dll", "no library"), scratch.path(),
          std::string("no such library.dll")}) {
        for (const bool altered : {false, true}) {
            SCOPED_TRACE(path);
            EXPECT_EQ(zaUtils::loadSharedLibrary(path, false, altered), nullptr);
            const std::string reason = zaUtils::getLastError();
            EXPECT_EQ(reason.substr(0, 8), " (Error ");
            EXPECT_EQ(reason.substr(reason.size() - 2), "')");
            EXPECT_EQ(zaUtils::getLastError(), reason);
        }
    }
}

TEST(NoLibrary, IsNoHandleAndNoError) {
    std::string error = "unset";
    std::thread([&] {  // a new thread has had no error
        EXPECT_EQ(zaUtils::loadSharedLibrary("", true, true), nullptr);
        EXPECT_FALSE(zaUtils::unloadSharedLibrary(nullptr));
        EXPECT_EQ(zaUtils::resolveSymbol(nullptr, "malloc"), nullptr);
        EXPECT_EQ(zaUtils::getSharedLibraryPath(nullptr), "");
        error = zaUtils::getLastError();
    })
        .join();
    EXPECT_EQ(error, "");
}

}  // namespace
