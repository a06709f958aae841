// BoundedText.h - text fields of fixed size, as records of the camera-control interface carry them: possibly without
// a terminator, so each is read and written with the field's bound. Relies on nothing.
#ifndef OX3D_BASE_BOUNDED_TEXT_H
#define OX3D_BASE_BOUNDED_TEXT_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace ox3d {

// The text of a field, without a copy.
template <size_t N>
[[nodiscard]] std::string_view BoundedText(const char (&field)[N]) noexcept {
    return {field, strnlen(field, N)};
}

// Characters that are not printable become '?', so that no camera can send commands to a terminal.
inline std::string PrintableText(std::string_view text) {
    std::string printable(text);
    for (char& character : printable) {
        const auto byte = static_cast<unsigned char>(character);
        character = byte < 0x20 || byte > 0x7E ? '?' : character;
    }
    return printable;
}

// Into a field of zeros: a text as long as the field has no terminator, a longer one is cut.
template <size_t N>
void CopyText(char (&field)[N], std::string_view text) noexcept {
    std::copy_n(text.begin(), std::min(text.size(), N), field);
}

// A terminated copy of a field of N bytes, on the stack.
template <size_t N>
class CFixedText {
public:
    explicit CFixedText(const char (&field)[N]) noexcept {
        const std::string_view text = BoundedText(field);
        text.copy(m_text, N);
        m_text[text.size()] = '\0';
    }

    [[nodiscard]] const char* c_str() const noexcept { return m_text; }

private:
    char m_text[N + 1]; // filled up to the terminator only
};

// As a temporary in a call: `OX_LOG_INFO("... %s", FixedText(info.chSerialNumber).c_str())`.
template <size_t N>
[[nodiscard]] CFixedText<N> FixedText(const char (&field)[N]) noexcept {
    return CFixedText<N>(field);
}

} // namespace ox3d

#endif
