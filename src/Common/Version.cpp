// The build stamp. Relies on __DATE__ ("Mmm dd yyyy", the day padded with a blank) and __TIME__.
#include "Common/Version.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// The decimal number in the nDigits characters at nOffset, 0 where the text is shorter.
int NumberAt(const char* pText, size_t nOffset, size_t nDigits) {
    char achDigits[8] = {};
    if (nDigits < sizeof(achDigits) && strlen(pText) > nOffset) {
        memcpy(achDigits, pText + nOffset, strnlen(pText + nOffset, nDigits));
    }
    return static_cast<int>(strtol(achDigits, nullptr, 10));
}

int MonthIn(const char* pDate) {
    int nMonth = 1;
    for (const char* pName : kMonths) {
        if (strstr(pDate, pName) != nullptr) {
            return nMonth;
        }
        ++nMonth;
    }
    return 0;
}

} // namespace

void ox3d::FormatBuildStamp(const char* pDate, const char* pTime, char* pOut) noexcept {
    char achStamp[128] = {};
    const int nYear = NumberAt(pDate, 7, 4) - 2000;
    snprintf(achStamp, sizeof(achStamp), "%02d%02d%02d_%s", nYear, MonthIn(pDate), NumberAt(pDate, 4, 2),
             pTime);
    memcpy(pOut, achStamp, strlen(achStamp) + 1);
}

void GetMyVersion(char* pOut) noexcept {
    if (pOut != nullptr) {
        ox3d::FormatBuildStamp(__DATE__, __TIME__, pOut);
    }
}
