// Ipv4Text.cpp - see Ipv4Text.h.
#include "src/Manager/Ipv4Text.h"

int IsValidIpv4(const char* text) {
    if (text == nullptr) {
        return 0;
    }
    int groups = 0;
    int digits = 0;
    int value = 0;
    for (const char* at = text;; ++at) {
        if (*at == '.' || *at == '\0') {
            if (digits == 0 || value > 255) {
                return 0;
            }
            ++groups;
            digits = 0;
            value = 0;
            if (*at == '\0') {
                return groups == 4 ? 1 : 0;
            }
        } else if (*at >= '0' && *at <= '9' && digits < 3) {
            value = value * 10 + (*at - '0');
            ++digits;
        } else {
            return 0;
        }
    }
}
