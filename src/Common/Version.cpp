// Version.cpp - see Version.h. Relies on __DATE__ ("Mmm dd yyyy", the day padded with a blank) and __TIME__.
#include "src/Common/Version.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The decimal number in the `count` characters at offset, 0 where the text is shorter.
int NumberAt(const char* text, size_t offset, size_t count) {
    char digits[8] = {};
    if (count < sizeof(digits) && strlen(text) > offset) {
        memcpy(digits, text + offset, strnlen(text + offset, count));
    }
    return static_cast<int>(strtol(digits, nullptr, 10));
}

int MonthIn(const char* date) {
    int month = 1;
    for (const char* name : kMonths) {
        if (strstr(date, name) != nullptr) {
            return month;
        }
        ++month;
    }
    return 0;
}

} // namespace

void ox3d::FormatBuildStamp(const char* date, const char* time, char* out) noexcept {
    char stamp[128] = {};
    const int year = NumberAt(date, 7, 4) - 2000;
    snprintf(stamp, sizeof(stamp), "%02d%02d%02d_%s", year, MonthIn(date), NumberAt(date, 4, 2), time);
    memcpy(out, stamp, strlen(stamp) + 1);
}

void GetMyVersion(char* out) noexcept {
    if (out != nullptr) {
        ox3d::FormatBuildStamp(__DATE__, __TIME__, out);
    }
}
