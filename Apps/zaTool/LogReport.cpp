#include "LogReport.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "TerminalText.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Platform/zaConsole.h"

using Json = nlohmann::ordered_json;
using Kind = LogEntry::Kind;

namespace {

struct Words {
    const char* inLines;
    const char* inJson;
};

Words wordsOf(Kind kind) {
    switch (kind) {
        case Kind::Info:
            return {"INFO ", "info"};
        case Kind::Warning:
            return {"WARN ", "warning"};
        case Kind::Error:
            return {"ERROR ", "error"};
        case Kind::None:
            break;
    }
    return {"", ""};
}

/// Brings a message onto one line.
std::string flattened(const std::string& text) {
    if (isPrintableAscii(text)) return text;
    const std::size_t last = text.find_last_not_of("\r\n");
    std::string line;
    for (std::size_t i = 0; last != std::string::npos && i <= last; ++i) {
        if (text[i] == '\n') {
            line += " | ";
        } else {
            line += text[i] == '\t' ? ' ' : text[i];
        }
    }
    return withoutControlCharacters(std::move(line));
}

std::string dump(const Json& json) {
    return withoutControlCharactersInJson(
        json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

}  // namespace

LogReport::LogReport(Form form, const std::vector<std::string>& files)
    : _form(form),
      _files(files),
      _isTerminal(zaConsole::isTerminal(zaConsole::Stream::Output)),
      _errorsAreSeenThere(_isTerminal && zaConsole::isTerminal(zaConsole::Stream::Error)) {
    for (const std::string& file : files)
        _labels.push_back(form == Form::LinesWithFile ? withoutControlCharacters(file + ": ") : "");
}

/// Where nobody watches, the log's way to the console is left out: it costs a call into the system
/// for each line, and takes errors to standard error, which is right for a terminal alone.
void LogReport::print(Kind kind, const std::string& line) const {
    if (!_isTerminal) {
        std::fwrite(line.data(), 1, line.size(), stdout);
        std::fputc('\n', stdout);
    } else if (kind == Kind::Error && _errorsAreSeenThere) {
        zaLog::errorI(line.c_str(), 0, false);
    } else if (kind == Kind::Warning) {
        zaLog::warningI(line.c_str(), 0, false);
    } else {
        zaLog::infoI(line.c_str(), 0, false);
    }
}

std::string LogReport::lineOf(std::size_t file, const LogEntry& entry) const {
    std::string line = _labels[file];
    if (entry.hasTime) line += formatTime(entry.time) + ' ';
    line += wordsOf(entry.kind).inLines;
    if (entry.number) line += std::to_string(*entry.number) + ' ';
    return line += flattened(entry.text);
}

std::string LogReport::jsonOf(std::size_t file, const LogEntry& entry) const {
    Json object{{"file", _files[file]}};
    if (entry.hasTime) object["time"] = formatTime(entry.time);
    if (entry.kind != Kind::None) object["kind"] = wordsOf(entry.kind).inJson;
    if (entry.number) object["nr"] = *entry.number;
    object["text"] = entry.text;
    return dump(object);
}

void LogReport::begin() {
    if (_form == Form::JsonDocument) print(Kind::None, R"({"command": "log", "entries": [)");
}

void LogReport::addEntry(std::size_t file, const LogEntry& entry) {
    switch (_form) {
        case Form::Lines:
        case Form::LinesWithFile:
            return print(entry.kind, lineOf(file, entry));
        case Form::JsonLines:
            return print(Kind::None, jsonOf(file, entry));
        case Form::JsonDocument:
            return addToDocument(jsonOf(file, entry));
    }
}

void LogReport::addToDocument(const std::string& json) {
    if (!_heldEntry.empty()) print(Kind::None, _heldEntry + ',');
    _heldEntry = "  " + json;
}

void LogReport::addFailure(const std::string& file, const std::string& problem) {
    if (_form == Form::JsonDocument) {
        _failures.emplace_back(file, problem);
    } else {
        reportProblem(file, problem);
    }
}

void LogReport::end(int exitCode) {
    if (_form != Form::JsonDocument) return;
    if (!_heldEntry.empty()) print(Kind::None, _heldEntry);
    Json failures = Json::array();
    for (const auto& [file, problem] : _failures)
        failures.push_back(Json{{"file", file}, {"message", problem}});
    print(Kind::None, R"(], "failures": )" + dump(failures) + R"(, "exitCode": )" +
                          std::to_string(exitCode) + '}');
}

void LogReport::flush() {
    std::fflush(stdout);
}

bool LogReport::canGoOn() const {
    return std::ferror(stdout) == 0;
}
