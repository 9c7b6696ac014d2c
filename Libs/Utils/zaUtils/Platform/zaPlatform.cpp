#include "zaUtils/Platform/zaPlatform.h"

#include <algorithm>
#include <clocale>
#include <cstdio>

#include "zaProduct/zaProduct.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Os/Directory.h"
#include "zaUtils/Os/KnownFolders.h"
#include "zaUtils/Os/Process.h"

std::string zaPlatform::_app_name;
std::string zaPlatform::_full_app_name;
std::string zaPlatform::_app_version_name;
std::string zaPlatform::_version_year;
std::string zaPlatform::_exe_dir;
std::string zaPlatform::_base_dir;
std::string zaPlatform::_preferences_dir;
std::string zaPlatform::_writable_data_dir;
bool zaPlatform::_analysis_mode = false;
bool zaPlatform::_unitTest = false;

namespace {

constexpr const char* kPlatform = "WIN64";
constexpr const char* kCompany = "Kestrova";
constexpr const char* kVersionSuffix = "15.3";
constexpr const char* kDataName = "data";
constexpr const char* kPreferences = "\\preferences";
constexpr const char* kBinaries = "\\bin\\WIN64";
constexpr const char* kTwoLevelsUp = "\\..\\..";

constexpr const char* kAnalysisName = "ZARNAnalysis";
constexpr const char* kAnalysisDisplayName = "ZARN NURBS Analysis";
/// An application that is laid out in its own way.
constexpr const char* kMetaioName = "metaio";
/// The name of an application that was given a wrong base.
constexpr const char* kFallbackName = "zarn";

constexpr const char* kAssetsName = "ZARNAssets";
constexpr const char* kAssetsRegistryKey = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrova\\ZARNAssets";
constexpr const char* kAssetsSubPath = "\\Data\\Assets";

std::string textOf(const char* text) {
    return text ? text : "";
}

/// A known folder comes as the system writes it, on some hosts with '/'.
std::string withSeparator(const std::string& folder) {
    const bool ends = !folder.empty() && (folder.back() == '\\' || folder.back() == '/');
    return ends ? folder : folder + '\\';
}

std::string workingDirectory() {
    std::string directory;
    static_cast<void>(za::os::currentDirectory(directory));
    return directory;
}

// --- the executable and the installation ---

/// The directory as the system writes it, with links and ".." resolved, with '\' throughout. The
/// system tells that of the working directory only; one that cannot be entered gives the present
/// working directory.
std::string resolve(const std::string& directory) {
    const std::string before = workingDirectory();
    static_cast<void>(za::os::setCurrentDirectory(directory));
    std::string resolved = zaFile::convertSeparators(workingDirectory());
    static_cast<void>(za::os::setCurrentDirectory(before));
    return resolved;
}

void setDirectoriesFrom(const std::string& executable) {
    zaPlatform::_exe_dir = resolve(zaFile::getFilePath(executable));
    zaPlatform::_base_dir = resolve(zaPlatform::_exe_dir + kTwoLevelsUp);
}

void findInstallation(const std::string& executable) {
    setDirectoriesFrom(executable);
    const std::string expected = zaPlatform::_base_dir + kBinaries + '\\' + zaPlatform::_app_name;
    if (zaFile::exists(expected)) return;
    // The path does not lead to the installation, or file names have an extension here.
    std::string module;
    if (za::os::applicationModule(zaPlatform::_app_name, module).ok()) setDirectoriesFrom(module);
}

// --- the user's directories ---

void chooseUserDirectories() {
    zaPlatform::_preferences_dir = zaPlatform::_base_dir + kPreferences;
    zaPlatform::_writable_data_dir = zaPlatform::getDataDir();

    std::string folder;
    if (!za::os::roamingDataFolder(folder).ok()) {
        std::fprintf(stderr,
                     "Couldn't get application data directory, using '%s', for preferences!\n",
                     zaPlatform::_preferences_dir.c_str());
        return;
    }
    const std::string start = withSeparator(folder) + zaPlatform::_app_name;
    // The doubled separator is deliberate; file systems take it for one.
    zaPlatform::_preferences_dir = start + "\\\\";
    zaPlatform::_writable_data_dir = start + '-' + kVersionSuffix + '\\' + kDataName;
}

void createIfMissing(const std::string& directory) {
    if (!zaFile::exists(directory)) zaFile::createPath(directory);
}

// --- directories below the base ---

void reportIfUnset(const std::string& directory) {
    if (directory.empty()) zaLog::error("zaPlatform not initialized!");
}

/// A text that outlives the static objects of other modules.
const std::string& keep(const std::string& text) {
    return *new std::string(text);
}

std::string findBinaries() {
    const std::string usual = zaPlatform::_base_dir + kBinaries;
    const bool isMetaio = zaPlatform::_app_name == kMetaioName;
    return isMetaio && !zaFile::exists(usual) ? zaPlatform::_base_dir + "\\bin" : usual;
}

const std::string& binDir() {
    static const std::string& directory = keep(findBinaries());
    return directory;
}

std::string commonDir(const std::string& name) {
    const std::string makersFolder = zaPlatform::getKestrovaAppDataDir();
    if (!makersFolder.empty()) {
        std::string shared =
            makersFolder + zaFile::getFileName(zaPlatform::_base_dir) + '\\' + name;
        if (zaFile::exists(shared)) return shared;
    }
    return zaPlatform::_base_dir + '\\' + name;
}

}  // namespace

// --- start-up ---

void zaPlatform::init(const char* argv0) {
    initLocale();
    const std::string executable = textOf(argv0);
    const std::string fileName = zaFile::getFileName(executable);
    _app_name = fileName.substr(0, fileName.find('.'));
    findInstallation(executable);
    chooseUserDirectories();
    createIfMissing(_preferences_dir);
    createIfMissing(_writable_data_dir);
}

void zaPlatform::init(const char* baseDir, const char* appName) {
    initLocale();
    _app_name = textOf(appName);
    _base_dir = textOf(baseDir);
    const bool hasBinaries = zaFile::exists(_base_dir + kBinaries);
    if (hasBinaries || _app_name == kMetaioName) return;

    _app_name = kFallbackName;
    _base_dir = workingDirectory() + kTwoLevelsUp;
    std::fprintf(stderr, "Couldn't get valid zarn root dir trying '%s'!\n", _base_dir.c_str());
}

void zaPlatform::initLocale() {
    std::setlocale(LC_ALL, "C");
}

void zaPlatform::initProduct() {
    const zaProduct& product = zaProduct::the();
    _app_name = product.getName();
    _full_app_name = product.getFullName();
    updateAppVersionName();
}

// --- names ---

const char* zaPlatform::getAppName() {
    return _app_name.c_str();
}

void zaPlatform::setAppName(const char* name) {
    _app_name = textOf(name);
}

void zaPlatform::setFullAppName(const char* name) {
    _full_app_name = textOf(name);
    updateAppVersionName();
}

void zaPlatform::setDisplayVersionYearString(const char* year) {
    _version_year = textOf(year);
    updateAppVersionName();
}

void zaPlatform::updateAppVersionName() {
    std::string name = _full_app_name.empty() ? _app_name : _full_app_name;
    if (_analysis_mode) name = kAnalysisName;
    _app_version_name = _version_year.empty() ? name : _version_year + ' ' + name;
}

const char* zaPlatform::getAppVersionName() {
    if (_app_name == kAnalysisName) return kAnalysisDisplayName;
    return _app_version_name.empty() ? _app_name.c_str() : _app_version_name.c_str();
}

const char* zaPlatform::getPlatform() {
    return kPlatform;
}

const char* zaPlatform::getCompName() {
    return kCompany;
}

const char* zaPlatform::getSOPrefix() {
    return "";
}

const char* zaPlatform::getSOSuffix() {
    return ".dll";
}

bool zaPlatform::isX64() {
    return true;
}

// --- directories ---

const char* zaPlatform::getExeDir() {
    reportIfUnset(_exe_dir);
    return _exe_dir.c_str();
}

const char* zaPlatform::getBaseDir() {
    reportIfUnset(_base_dir);
    return _base_dir.c_str();
}

const char* zaPlatform::getBinDir() {
    reportIfUnset(_base_dir);
    return binDir().c_str();
}

const char* zaPlatform::getLibDir() {
    reportIfUnset(_base_dir);
    static const std::string& directory = keep(_base_dir + "\\lib\\" + kPlatform);
    return directory.c_str();
}

const char* zaPlatform::getPluginsDir() {
    reportIfUnset(_base_dir);
    static const std::string& directory = keep(_base_dir + "\\lib\\plugins\\" + kPlatform);
    return directory.c_str();
}

const char* zaPlatform::getQtPluginsDir() {
    reportIfUnset(_base_dir);
    static const std::string& directory = keep(binDir() + "\\qtplugins");
    return directory.c_str();
}

const char* zaPlatform::getExamplesDir() {
    reportIfUnset(_base_dir);
    static const std::string& directory = keep(commonDir("examples"));
    return directory.c_str();
}

const char* zaPlatform::getDataDir() {
    reportIfUnset(_base_dir);
    static const std::string& directory = keep(commonDir(kDataName));
    return directory.c_str();
}

std::string zaPlatform::getCommonDir(const char* name) {
    if (!name) return {};
    reportIfUnset(_base_dir);
    return commonDir(name);
}

const char* zaPlatform::getPreferencesDir() {
    return _preferences_dir.c_str();
}

const char* zaPlatform::getWritableDataDir() {
    return _writable_data_dir.c_str();
}

std::string zaPlatform::getKestrovaAppDataDir() {
    std::string folder;
    if (!za::os::sharedDataFolder(folder).ok()) return {};
    return withSeparator(folder) + kCompany + '\\';
}

std::string zaPlatform::getZARNAssetsName() {
    return kAssetsName;
}

std::string zaPlatform::getZARNAssetsRegistryKey() {
    return kAssetsRegistryKey;
}

std::string zaPlatform::getZARNAssetsDir(const std::string& version) {
    const std::string folder = getKestrovaAppDataDir();
    if (folder.empty()) return {};
    return folder + kAssetsName + '-' + version + kAssetsSubPath;
}

int zaPlatform::getNumCPUs() {
    return std::max(za::os::processorCount(), 1);
}

bool zaPlatform::isUnittestActive() {
    return _unitTest;
}

void zaPlatform::setUnittestActive(bool active) {
    _unitTest = active;
}
