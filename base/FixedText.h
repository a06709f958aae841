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
    explicit CFixedText(const char (&field)[N]) noexcept {
        const size_t nLength = strnlen(field, N);
        memcpy(m_text, field, nLength);
        m_text[nLength] = '\0';
    }

    [[nodiscard]] const char* c_str() const noexcept { return m_text; }

private:
    char m_text[N + 1]; // filled up to the terminator only
};

/// As a temporary in a call: `OX_LOG_INFO("... %s", FixedText(info.chSerialNumber).c_str())`.
template <size_t N>
[[nodiscard]] CFixedText<N> FixedText(const char (&field)[N]) noexcept {
    return CFixedText<N>(field);
}

} // namespace ox3d

#endif
