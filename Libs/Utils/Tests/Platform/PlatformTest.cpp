#include <gtest/gtest.h>

#include <clocale>
#include <filesystem>
#include <functional>
#include <thread>

#include "Support/LogCapture.h"
#include "Support/OtherFolders.h"
#include "Support/ScratchFolder.h"
#include "Support/TestEnvironment.h"
#include "zaProduct/zaProduct.h"
#include "zaUtils/Os/KnownFolders.h"
#include "zaUtils/Platform/zaPlatform.h"

namespace {

using Messages = std::vector<std::string>;

// First in its program, since what is computed before the start stays.
TEST(PlatformDirectories, AreReportedBeforeTheStartAndKeptAfterIt) {
    const ScratchFolder folder;
    OtherFolders others;
    others.setShared(folder.path());
    const struct {
        const char* name;
        std::function<std::string()> get;
        const char* unset;
        bool isKept;
    } getters[] = {
        {"exe", zaPlatform::getExeDir, "", false},
        {"base", zaPlatform::getBaseDir, "", false},
        {"qt plugins", zaPlatform::getQtPluginsDir, "\\bin\\WIN64\\qtplugins", true},
        {"bin", zaPlatform::getBinDir, "\\bin\\WIN64", true},
        {"lib", zaPlatform::getLibDir, "\\lib\\WIN64", true},
        {"plugins", zaPlatform::getPluginsDir, "\\lib\\plugins\\WIN64", true},
        {"examples", zaPlatform::getExamplesDir, "\\examples", true},
        {"data", zaPlatform::getDataDir, "\\data", true},
        {"common", [] { return zaPlatform::getCommonDir("x"); }, "\\x", false},
    };
    const LogCapture log;
    for (const auto& getter : getters) {
        SCOPED_TRACE(getter.name);
        for (int call = 1; call <= 2; ++call) {
            LogCapture::messages().clear();
            EXPECT_EQ(getter.get(), getter.unset);
            EXPECT_EQ(LogCapture::messages(), Messages{"E zaPlatform not initialized!"});
        }
    }
    LogCapture::messages().clear();
    EXPECT_STREQ(zaPlatform::getPreferencesDir(), "");
    EXPECT_STREQ(zaPlatform::getWritableDataDir(), "");

    std::filesystem::create_directories(folder.native("bin/WIN64"));
    zaPlatform::init(folder.path().c_str(), "app");
    for (const auto& getter : getters) {
        if (!getter.isKept) continue;
        EXPECT_EQ(getter.get(), getter.unset) << getter.name;
    }
    EXPECT_EQ(zaPlatform::getBaseDir(), folder.path());
    EXPECT_EQ(zaPlatform::getCommonDir("x"), folder.path("x"));
    EXPECT_EQ(zaPlatform::getCommonDir(nullptr), "");
    EXPECT_EQ(LogCapture::messages(), Messages{});
}

TEST(PlatformStart, TakesABaseWithBinariesAndReplacesAnyOther) {
    const ScratchFolder folder;
    std::filesystem::create_directories(folder.native("valid/bin/WIN64"));
    const std::string up = std::filesystem::current_path().u8string() + "\\..\\..";
    const struct {
        std::string base;
        const char* name;
        std::string resultingBase;
        const char* resultingName;
    } starts[] = {
        {folder.path("valid"), "app", folder.path("valid"), "app"},
        {folder.path("valid") + "\\.", "app", folder.path("valid") + "\\.", "app"},
        {folder.path("missing"), "metaio", folder.path("missing"), "metaio"},
        {folder.path("missing"), "metaio2", up, "zarn"},
        {folder.path("missing"), "app", up, "zarn"},
    };
    zaPlatform::_preferences_dir = "untouched";
    for (const auto& start : starts) {
        SCOPED_TRACE(start.base + ", " + start.name);
        const std::string report = "Couldn't get valid zarn root dir trying '" + up + "'!\n";
        testing::internal::CaptureStderr();
        zaPlatform::init(start.base.c_str(), start.name);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), start.resultingBase == up ? report : "");
        EXPECT_EQ(zaPlatform::getBaseDir(), start.resultingBase);
        EXPECT_STREQ(zaPlatform::getAppName(), start.resultingName);
    }
    EXPECT_STREQ(zaPlatform::getPreferencesDir(), "untouched");
}

TEST(PlatformStart, SetsTheCLocale) {
    const char* set = nullptr;
    for (const char* name : {"C.UTF-8", "German", "English"}) {
        if (!set) set = std::setlocale(LC_ALL, name);
    }
    ASSERT_NE(set, nullptr);
    ASSERT_STRNE(set, "C");
    zaPlatform::initLocale();
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
}

TEST(PlatformNames, FormTheVersionName) {
    zaPlatform::_app_version_name.clear();
    zaPlatform::setAppName("app");
    EXPECT_STREQ(zaPlatform::getAppVersionName(), "app");
    zaPlatform::updateAppVersionName();
    zaPlatform::setAppName("renamed");
    EXPECT_STREQ(zaPlatform::getAppName(), "renamed");
    EXPECT_STREQ(zaPlatform::getAppVersionName(), "app");  // until it is renewed
    zaPlatform::setDisplayVersionYearString("2024");
    EXPECT_STREQ(zaPlatform::getAppVersionName(), "2024 renamed");
    zaPlatform::setFullAppName("Studio");
    EXPECT_STREQ(zaPlatform::getAppVersionName(), "2024 Studio");

    zaPlatform::_analysis_mode = true;
    EXPECT_STREQ(zaPlatform::getAppVersionName(), "2024 Studio");
    zaPlatform::updateAppVersionName();
    EXPECT_STREQ(zaPlatform::getAppVersionName(), "2024 ZARNAnalysis");
    zaPlatform::setAppName("ZARNAnalysis2");
    EXPECT_STREQ(zaPlatform::getAppVersionName(), "2024 ZARNAnalysis");
    zaPlatform::setAppName("ZARNAnalysis");
    EXPECT_STREQ(zaPlatform::getAppVersionName(), "ZARN NURBS Analysis");

    zaPlatform::_analysis_mode = false;
    zaPlatform::initProduct();
    EXPECT_STREQ(zaPlatform::getAppVersionName(), "2024 " PRODUCT_FULL_NAME);
    zaPlatform::setDisplayVersionYearString("");
    EXPECT_STREQ(zaPlatform::getAppVersionName(), PRODUCT_FULL_NAME);
    EXPECT_STREQ(zaPlatform::getAppName(), PRODUCT_NAME);
    EXPECT_EQ(&zaProduct::the(), &zaProduct::the());
}

TEST(Platform, IsTheProductsOneOnEveryHost) {
    EXPECT_STREQ(zaPlatform::getPlatform(), "WIN64");
    EXPECT_STREQ(zaPlatform::getCompName(), "Kestrova");
    EXPECT_STREQ(zaPlatform::getSOPrefix(), "");
    EXPECT_STREQ(zaPlatform::getSOSuffix(), ".dll");
    EXPECT_TRUE(zaPlatform::isX64());
    // What the process may use is not more than what there is.
    EXPECT_GE(zaPlatform::getNumCPUs(), static_cast<int>(std::thread::hardware_concurrency()));
    EXPECT_GE(zaPlatform::getNumCPUs(), 1);

    EXPECT_FALSE(zaPlatform::isUnittestActive());
    zaPlatform::setUnittestActive(true);
    EXPECT_TRUE(zaPlatform::isUnittestActive());
    zaPlatform::setUnittestActive(false);
}

TEST(PlatformAssets, LieInTheMakersSharedFolder) {
    EXPECT_EQ(zaPlatform::getZARNAssetsName(), "ZARNAssets");
    EXPECT_EQ(zaPlatform::getZARNAssetsRegistryKey(),
              "HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrova\\ZARNAssets");
    const ScratchFolder folder;
    OtherFolders others;
    const char separator = static_cast<char>(std::filesystem::path::preferred_separator);
    for (const bool ends : {false, true}) {
        const std::string shared = folder.path() + separator + u8"shared ß";
        others.setShared(ends ? shared + separator : shared);
        const std::string start = shared + (ends ? separator : '\\') + "Kestrova\\";
        EXPECT_EQ(zaPlatform::getKestrovaAppDataDir(), start);
        EXPECT_EQ(zaPlatform::getZARNAssetsDir("2024"), start + "ZARNAssets-2024\\Data\\Assets");
    }
    EXPECT_TRUE(folder.has(u8"shared ß"));  // the system's own folder is made, the maker's is not
    EXPECT_FALSE(folder.has(u8"shared ß/Kestrova"));

    const std::string file = folder.make("file", "");
    others.setShared(folder.native("file").u8string() + separator + "nowhere");
    EXPECT_EQ(zaPlatform::getKestrovaAppDataDir(), "");
    EXPECT_EQ(zaPlatform::getZARNAssetsDir("2024"), "");
}

TEST(KnownFolders, TemporaryOneIsThatOfTheEnvironment) {
    const ScratchFolder folder;
    const TestVariable onPosix("TMPDIR", folder.path());
    const TestVariable onWindows("TMP", folder.path());
    std::string path;
    EXPECT_TRUE(za::os::temporaryPath(path).ok());
    if (path.back() == '\\') path.pop_back();  // which the system may add
    EXPECT_EQ(path, folder.path());
}

}  // namespace
