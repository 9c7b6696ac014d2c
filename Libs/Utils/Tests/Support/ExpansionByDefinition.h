#pragma once

#include <cstdlib>
#include <regex>
#include <string>

/// What zaUtils::expandEnvironment promises, in the words of its contract; for short texts.
inline std::string expandedByDefinition(const std::string& text) {
    static const std::regex pattern("\\$\\{([^\\}]+)\\}|\\$([A-Za-z_0-9]+)");
    std::string result = text;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end;
         ++match) {
        const std::string name = (*match)[1].matched ? match->str(1) : match->str(2);
        const char* value = std::getenv(name.c_str());
        const std::string reference = match->str();
        if (value) result.replace(result.find(reference), reference.size(), value);
    }
    return result;
}
