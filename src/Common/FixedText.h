// Text fields of fixed size, as records of the camera library carry them: possibly without a terminator.
// Relies on nothing.
#ifndef OX3D_COMMON_FIXED_TEXT_H
#define OX3D_COMMON_FIXED_TEXT_H

#include <cstddef>
#include <cstring>

namespace ox3d {

/// A terminated copy of a field of N bytes, on the stack.
template <size_t N>
class CFixedText {
public:
    explicit CFixedText(const char (&achField)[N]) noexcept : m_nLength(strnlen(achField, N)) {
        memcpy(m_achText, achField, m_nLength);
        m_achText[m_nLength] = '\0';
    }

    [[nodiscard]] const char* c_str() const noexcept { return m_achText; }
    [[nodiscard]] size_t Length() const noexcept { return m_nLength; }
    [[nodiscard]] bool Empty() const noexcept { return m_nLength == 0; }

private:
    size_t m_nLength;
    char m_achText[N + 1]; // filled up to the terminator only
};

/// As a temporary in a call: `OX_LOG_INFO("... %s", FixedText(info.chSerialNumber).c_str())`.
template <size_t N>
[[nodiscard]] CFixedText<N> FixedText(const char (&achField)[N]) noexcept {
    return CFixedText<N>(achField);
}

/// Fills the whole destination: the source's text up to its terminator, its end or the destination's end,
/// then zeros. A text that fills the destination has no terminator there.
template <size_t N, size_t M>
void CopyFixed(char (&achDestination)[N], const char (&achSource)[M]) noexcept {
    const size_t nLength = strnlen(achSource, N < M ? N : M);
    memcpy(achDestination, achSource, nLength);
    memset(achDestination + nLength, 0, N - nLength);
}

} // namespace ox3d

#endif
