#pragma once

#include <cstdio>
#include <exception>
#include <typeinfo>

#include "zaUtils/Os/Crash.h"

namespace za::os {

/// Describes why std::terminate was called; for its handler, where the exception is still there.
inline void describeTermination(CrashEvent& event) {
    std::snprintf(event.reason, sizeof event.reason, "std::terminate was called");
    if (!std::current_exception()) return;
    std::snprintf(event.reason, sizeof event.reason, "uncaught exception");
    try {
        throw;
    } catch (const std::exception& exception) {
        std::snprintf(event.exceptionType, sizeof event.exceptionType, "%s",
                      typeid(exception).name());
        std::snprintf(event.exceptionText, sizeof event.exceptionText, "%s", exception.what());
    } catch (...) {
        std::snprintf(event.exceptionText, sizeof event.exceptionText,
                      "not derived from std::exception");
    }
}

}  // namespace za::os
