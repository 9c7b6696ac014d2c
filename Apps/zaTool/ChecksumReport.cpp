#include "ChecksumReport.h"

#include <nlohmann/json.hpp>

#include "ExitCode.h"
#include "TerminalText.h"
#include "zaUtils/Logging/zaLog.h"

using Json = nlohmann::ordered_json;
using Kind = ChecksumResult::Kind;

namespace {

const char* wordOf(Kind kind) {
    switch (kind) {
        case Kind::Correct:
            return "correct";
        case Kind::Found:
            return "found";
        case Kind::Added:
            return "added";
        case Kind::Renewed:
            return "renewed";
        case Kind::Removed:
            return "removed";
        case Kind::Missing:
            return "missing";
        case Kind::Wrong:
            return "wrong";
        case Kind::Failed:
            return "failed";
    }
    return "";
}

Json toJson(const ChecksumResult& result, unsigned int skip) {
    Json object{{"file", result.file},
                {"result", wordOf(result.kind)},
                {"exitCode", exitCodeOf(result.kind)},
                {"message", result.text}};
    const zaFile::ChecksumInfo& info = result.info;
    if (info.stored.empty()) return object;
    object["stored"] = info.stored;
    if (!info.computed.empty()) object["computed"] = info.computed;
    object["payloadSize"] = info.footerPosition - skip;
    object["footerPosition"] = info.footerPosition;
    object["metadataSize"] = info.metadataSize;
    object["fileSize"] = info.fileSize;
    return object;
}

}  // namespace

void logResult(const ChecksumResult& result) {
    const std::string line = withoutControlCharacters(result.file + ": " + result.text);
    switch (exitCodeOf(result.kind)) {
        case ExitCode::kSuccess:
            return zaLog::infoIPython(line.c_str());
        case ExitCode::kMissing:
            return zaLog::warningIPython(line.c_str());
        default:
            return zaLog::errorIPython(line.c_str());
    }
}

std::string toJson(const ChecksumReport& report) {
    Json files = Json::array();
    for (const ChecksumResult& result : report.results)
        files.push_back(toJson(result, report.skip));
    const Json document{{"command", report.command},
                        {"skip", report.skip},
                        {"exitCode", report.exitCode},
                        {"files", std::move(files)}};
    return document.dump(2, ' ', false, Json::error_handler_t::replace);
}
