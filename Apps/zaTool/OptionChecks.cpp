#include "OptionChecks.h"

std::string checkDecimal(const std::string& text) {
    const bool decimal = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    return decimal && (text == "0" || text.front() != '0') ? "" : "must be a decimal number";
}
