#pragma once

#include <string>
#include <vector>

#include "zaUtils/Logging/zaLog.h"

/// Collects the messages of the log while it lives; one at a time. Messages reach the console too.
class LogCapture {
public:
    LogCapture() {
        messages().clear();
        zaLog::setInfoCB([](const char* text) { messages().push_back(std::string("I ") + text); });
        zaLog::setWarningCB(
            [](const char* text) { messages().push_back(std::string("W ") + text); });
        zaLog::setErrorCB([](const char* text) { messages().push_back(std::string("E ") + text); });
    }
    ~LogCapture() {
        zaLog::setInfoCB(nullptr);
        zaLog::setWarningCB(nullptr);
        zaLog::setErrorCB(nullptr);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Each message as its kind's letter (I, W, E), a blank and the text.
    static std::vector<std::string>& messages() {
        static std::vector<std::string> collected;
        return collected;
    }
};
