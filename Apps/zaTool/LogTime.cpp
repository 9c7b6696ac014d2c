#include "LogTime.h"

namespace {

constexpr LogTime kMinute = 100;
constexpr LogTime kDay = 1'000'000;

struct Fields {
    int year = 0;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
};

int* fieldOf(Fields& fields, char letter) {
    switch (letter) {
        case 'Y':
            return &fields.year;
        case 'M':
            return &fields.month;
        case 'D':
            return &fields.day;
        case 'h':
            return &fields.hour;
        case 'm':
            return &fields.minute;
        case 's':
            return &fields.second;
        default:
            return nullptr;
    }
}

int daysIn(int year, int month) {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool isLeapYear = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return month == 2 && isLeapYear ? 29 : kDays[month - 1];
}

bool isMoment(const Fields& f) {
    constexpr int kLeapSecond = 60;
    return f.year > 0 && f.month >= 1 && f.month <= 12 && f.day >= 1 &&
           f.day <= daysIn(f.year, f.month) && f.hour < 24 && f.minute < 60 &&
           f.second <= kLeapSecond;
}

/// Adds what a moment may at most have beyond its last field, if `toTheEnd`.
LogTime momentOf(std::string_view text, bool toTheEnd) {
    struct Form {
        std::string_view pattern;
        LogTime rest;
    };
    constexpr Form kForms[] = {
        {"YYYY-MM-DD", kDay - 1}, {"YYYY-MM-DD hh:mm", kMinute - 1}, {"YYYY-MM-DD hh:mm:ss", 0}};
    for (const Form& form : kForms) {
        if (text.size() != form.pattern.size()) continue;
        const LogTime time = readTime(text, form.pattern);
        return time != kUnknownTime && toTheEnd ? time + form.rest : time;
    }
    return kUnknownTime;
}

}  // namespace

LogTime readTime(std::string_view text, std::string_view pattern) {
    if (text.size() < pattern.size()) return kUnknownTime;
    Fields fields;
    char last = '\0';
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        int* const field = fieldOf(fields, pattern[i]);
        if (!field) {
            if (text[i] != pattern[i]) return kUnknownTime;
        } else {
            if (text[i] < '0' || text[i] > '9') return kUnknownTime;
            if (pattern[i] != last) *field = 0;
            *field = *field * 10 + (text[i] - '0');
        }
        last = pattern[i];
    }
    if (!isMoment(fields)) return kUnknownTime;
    const LogTime date = (LogTime{fields.year} * 100 + fields.month) * 100 + fields.day;
    return ((date * 100 + fields.hour) * 100 + fields.minute) * 100 + fields.second;
}

std::string formatTime(LogTime time) {
    std::string text = "YYYY-MM-DD hh:mm:ss";
    for (std::size_t i = text.size(); i-- > 0;) {
        Fields fields;
        if (!fieldOf(fields, text[i])) continue;
        text[i] = static_cast<char>('0' + time % 10);
        time /= 10;
    }
    return text;
}

LogTime firstMomentOf(std::string_view text) {
    return momentOf(text, false);
}

LogTime lastMomentOf(std::string_view text) {
    return momentOf(text, true);
}
