// Ipv4Text.cpp - see Ipv4Text.h.
#include "src/Manager/Ipv4Text.h"

#include "base/Ipv4.h"

int IsValidIpv4(const char* text) {
    return text != nullptr && ox3d::ParseIpv4(text, ox3d::EOctetForm::ThreeDigits).has_value() ? 1 : 0;
}
