#include "InfoCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <streambuf>
#include <string>

#include "zaProduct/zaProduct.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Platform/zaCPUInfo.h"
#include "zaUtils/Platform/zaDPIHelper.h"
#include "zaUtils/Platform/zaPlatform.h"
#include "zaUtils/Platform/zaProcessInfo.h"
#include "zaUtils/Platform/zaUtils.h"
#include "zaUtils/Strings/zaString.h"

using Json = nlohmann::ordered_json;

namespace {

/// Keeps quiet what the library itself reports while it is asked, so that the document stays one.
class Silence {
public:
    Silence() : _cout(std::cout.rdbuf(nullptr)) { zaLog::setEnabled(false); }
    ~Silence() {
        zaLog::setEnabled(true);
        std::cout.rdbuf(_cout);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    std::streambuf* _cout;
};

Json identity() {
    return {{"product", zaProduct::the().getName()},
            {"productInFull", zaProduct::the().getFullName()},
            {"application", zaPlatform::getAppName()},
            {"versionName", zaPlatform::getAppVersionName()},
            {"maker", zaPlatform::getCompName()},
            {"platform", zaPlatform::getPlatform()},
            {"sharedLibraryPrefix", zaPlatform::getSOPrefix()},
            {"sharedLibrarySuffix", zaPlatform::getSOSuffix()}};
}

Json directories() {
    return {{"executable", zaPlatform::getExeDir()},
            {"base", zaPlatform::getBaseDir()},
            {"programs", zaPlatform::getBinDir()},
            {"libraries", zaPlatform::getLibDir()},
            {"plugIns", zaPlatform::getPluginsDir()},
            {"qtPlugIns", zaPlatform::getQtPluginsDir()},
            {"data", zaPlatform::getDataDir()},
            {"examples", zaPlatform::getExamplesDir()},
            {"preferences", zaPlatform::getPreferencesDir()},
            {"writableData", zaPlatform::getWritableDataDir()},
            {"sharedData", zaPlatform::getKestrovaAppDataDir()},
            {"temporary", zaFile::getTmpDir()},
            {"working", zaFile::getCurrentDir()},
            {"thisProgram", zaPlatform::getThisSharedLibraryPath(0)}};
}

Json processor() {
    const zaCPUInfo& cpu = zaCPUInfo::getCPUInfo();
    return {{"count", zaPlatform::getNumCPUs()},
            {"vendor", cpu.getVendor()},
            {"brand", cpu.getBrand()},
            {"sse2", cpu.hasSSE2Support()},
            {"sse42", cpu.hasSSE42Support()},
            {"avx", cpu.hasAVXSupport()},
            {"avx2", cpu.hasAVX2Support()},
            {"avx512", cpu.hasAVX512Support()},
            {"features", zaString::join(cpu.getFeatures(), " ", false)}};
}

Json display() {
    const auto [x, y] = zaDPIHelper::getSystemDPI();
    zaPlatform::setDpi(x, y);
    return {{"systemDpiX", x},
            {"systemDpiY", y},
            {"systemScale", zaDPIHelper::getSystemDPIScale()},
            {"dpi", zaPlatform::getDpiX()},
            {"scale", zaPlatform::getDpiScaleX()},
            {"miniIcon", zaPlatform::getMiniIconSizeX()},
            {"smallIcon", zaPlatform::getSmallIconSizeX()},
            {"mediumIcon", zaPlatform::getMediumIconSizeX()},
            {"largeIcon", zaPlatform::getLargeIconSizeX()},
            {"treeViewIcon", zaPlatform::getTreeViewIconSizeX()},
            {"internalPreview", zaPlatform::getInternalPreviewSizeX()},
            {"mediumPreview", zaPlatform::getMediumPreviewSizeX()},
            {"largePreview", zaPlatform::getLargePreviewSizeX()}};
}

Json versions() {
    Json object;
    for (const auto& [library, version] : zaUtils::getLibraryVersions())
        object[library] = version;
    object["CLI11"] = CLI11_VERSION;
    object["nlohmann_json"] = std::to_string(NLOHMANN_JSON_VERSION_MAJOR) + '.' +
                              std::to_string(NLOHMANN_JSON_VERSION_MINOR) + '.' +
                              std::to_string(NLOHMANN_JSON_VERSION_PATCH);
    return object;
}

Json gather() {
    const Silence silence;
    zaPlatform::init("zaTool");  // the running program is found by its name
    return {{"identity", identity()},
            {"directories", directories()},
            {"processor", processor()},
            {"process", {{"id", zaProcessInfo::getpid()}, {"parentId", zaProcessInfo::getppid()}}},
            {"display", display()},
            {"versions", versions()}};
}

std::string valueText(const Json& value) {
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

/// A heading for each section, and below it a line for each value.
std::string toText(const Json& document) {
    std::string text;
    for (const auto& [heading, section] : document.items()) {
        if (!text.empty()) text += '\n';
        text += heading + '\n';
        std::size_t width = 0;
        for (const auto& [name, value] : section.items())
            width = std::max(width, name.size());
        for (const auto& [name, value] : section.items())
            text +=
                "  " + name + std::string(width + 2 - name.size(), ' ') + valueText(value) + '\n';
    }
    text.pop_back();  // the log adds it
    return text;
}

void run(bool json) {
    const Json document = gather();
    const std::string text =
        json ? document.dump(2, ' ', false, Json::error_handler_t::replace) : toText(document);
    zaLog::infoI(text.c_str(), 0, false);
}

}  // namespace

void addInfoCommand(CLI::App& app) {
    CLI::App& info = *app.add_subcommand(
        "info", "Tells what the library knows of this program, machine and user");
    const auto json = std::make_shared<bool>(false);
    info.add_flag("--json", *json, "Print a JSON document");
    info.callback([json] { run(*json); });
}
