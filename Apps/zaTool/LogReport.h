#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "LogParser.h"

/// Prints the entries that were found: each on one line, or as JSON.
///
/// Entries go to standard output whatever their kind. On a terminal they are shown in the log's
/// colours. Files that cannot be read go to standard error, or into the JSON document.
class LogReport {
public:
    enum class Form {
        Lines,
        LinesWithFile,  ///< each line begins with the file's name
        JsonDocument,   ///< one document, which is whole after `end`
        JsonLines,      ///< one object for each entry
    };

    LogReport(Form form, const std::vector<std::string>& files);

    void begin();
    void addEntry(std::size_t file, const LogEntry& entry);
    void addFailure(const std::string& file, const std::string& problem);
    void end(int exitCode);

    void flush();
    /// False when the output is lost.
    bool canGoOn() const;

private:
    void print(LogEntry::Kind kind, const std::string& line) const;
    std::string lineOf(std::size_t file, const LogEntry& entry) const;
    std::string jsonOf(std::size_t file, const LogEntry& entry) const;
    void addToDocument(const std::string& json);

    Form _form;
    std::vector<std::string> _files;
    std::vector<std::string> _labels;
    bool _isTerminal;
    bool _errorsAreSeenThere;
    std::string _heldEntry;  ///< of the document, until it is known whether a comma follows
    std::vector<std::pair<std::string, std::string>> _failures;  ///< of the document
};
