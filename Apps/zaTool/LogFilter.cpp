#include "LogFilter.h"

#include <algorithm>

namespace {

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool contains(const std::string& text, const std::string& part, bool ignoreCase) {
    if (!ignoreCase) return text.find(part) != std::string::npos;
    const auto isSame = [](char a, char b) { return lower(a) == lower(b); };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), isSame) != text.end() ||
           part.empty();
}

}  // namespace

bool LogFilter::matches(const LogEntry& entry) const {
    const auto holdsNumber = [&](const std::pair<int, int>& range) {
        return entry.number && *entry.number >= range.first && *entry.number <= range.second;
    };
    if (!kinds.empty() && std::count(kinds.begin(), kinds.end(), entry.kind) == 0) return false;
    if (!numbers.empty() && std::none_of(numbers.begin(), numbers.end(), holdsNumber)) return false;
    if (entry.time < since || entry.time > until) return false;
    const bool isBounded = until != std::numeric_limits<LogTime>::max();
    if (isBounded && entry.time == kUnknownTime) return false;
    return contains(entry.text, text, ignoreCase);
}
