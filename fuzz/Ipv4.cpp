// Ipv4.cpp - texts of IPv4 addresses against a reader that is written another way: a state machine over
// characters, where the library splits at the points.
#include "base/Ipv4.h"

#include <algorithm>
#include <memory>
#include <optional>

#include "fuzz/Input.h"
#include "src/Manager/Ipv4Text.h"

namespace {

using namespace ox3d;
using namespace ox3d::fuzz;

std::optional<uint32_t> Reference(std::string_view text, EOctetForm form) {
    uint64_t ip = 0;
    uint32_t group = 0;
    size_t digits = 0;
    bool isZeroFirst = false;
    int groups = 0;
    for (size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] >= '0' && text[i] <= '9') {
            isZeroFirst = digits == 0 ? text[i] == '0' : isZeroFirst;
            group = group > 255 ? group : 10 * group + static_cast<uint32_t>(text[i] - '0');
            ++digits;
            continue;
        }
        const bool isEnd = i == text.size();
        const bool isLong = form == EOctetForm::AnyDigits ? false : digits > 3;
        const bool hasZeros = form == EOctetForm::Plain && isZeroFirst && digits > 1;
        if ((!isEnd && text[i] != '.') || digits == 0 || group > 255 || isLong || hasZeros || ++groups > 4) {
            return std::nullopt;
        }
        ip = ip * 256 + group;
        group = 0;
        digits = 0;
    }
    return groups == 4 ? std::optional(static_cast<uint32_t>(ip)) : std::nullopt;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    const std::string text = input.Text(lengthBytes);
    for (const EOctetForm form : {EOctetForm::Plain, EOctetForm::ThreeDigits, EOctetForm::AnyDigits}) {
        // An own allocation of exactly this length: a reader that looks past the view's end is seen.
        const std::unique_ptr<char[]> exact(new char[text.size()]);
        std::copy(text.begin(), text.end(), exact.get());
        const auto ip = ParseIpv4({exact.get(), text.size()}, form);
        OX3D_FUZZ_EXPECT(ip == Reference(text, form));
        if (ip) {
            OX3D_FUZZ_EXPECT(ParseIpv4(Ipv4Text(*ip), EOctetForm::Plain) == ip);
        }
    }
    const std::string_view terminated = text.c_str();
    const auto wanted = Reference(terminated, EOctetForm::ThreeDigits);
    OX3D_FUZZ_EXPECT(IsValidIpv4(text.c_str()) == (wanted ? 1 : 0));
    if (wanted) {
        uint32_t ones = 0;
        bool isMask = *wanted != 0;
        for (uint32_t bit = 0x80000000u; bit != 0; bit >>= 1) {
            ones += (*wanted & bit) != 0 ? 1 : 0;
            isMask = isMask && ((*wanted & bit) == 0 || *wanted >= ~(bit - 1));
        }
        OX3D_FUZZ_EXPECT(IsSubnetMask(*wanted) == (isMask && ones > 0));
        OX3D_FUZZ_EXPECT(IsHostAddress(*wanted) == (*wanted >= 0x01000000u && *wanted < 0xE0000000u));
    }
    return 0;
}
