// Input.h - the bytes that the fuzzer made up, taken from front to back: numbers first, the rest for the reader
// under test. An input that ends early gives zeros.
#ifndef OX3D_FUZZ_INPUT_H
#define OX3D_FUZZ_INPUT_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace ox3d::fuzz {

// What must hold whatever the input; stands where a test would have an expectation.
#define OX3D_FUZZ_EXPECT(condition)                                                             \
    do {                                                                                        \
        if (!(condition)) {                                                                     \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                       \
        }                                                                                       \
    } while (false)

class CInput {
public:
    CInput(const uint8_t* data, size_t lengthBytes) : m_left(data, lengthBytes) {}

    size_t Left() const { return m_left.size(); }

    template <class Value>
    requires std::is_trivially_copyable_v<Value> Value Take() {
        Value value{};
        const size_t length = std::min(sizeof(value), m_left.size());
        if (length > 0) {
            memcpy(&value, m_left.data(), length);
        }
        m_left = m_left.subspan(length);
        return value;
    }
    // A number from 0 to limit - 1.
    uint32_t Below(uint32_t limit) { return Take<uint32_t>() % limit; }
    bool Flag() { return (Take<uint8_t>() & 1) != 0; }

    std::span<const uint8_t> Bytes(size_t lengthBytes) {
        const auto bytes = m_left.first(std::min(lengthBytes, m_left.size()));
        m_left = m_left.subspan(bytes.size());
        return bytes;
    }
    std::span<const uint8_t> Rest() { return Bytes(m_left.size()); }
    std::string Text(size_t lengthBytes) {
        const auto bytes = Bytes(lengthBytes);
        return {bytes.begin(), bytes.end()};
    }
    // Up to the first byte of that value, which is taken, too.
    std::string TextUntil(char end) {
        const auto stop = std::find(m_left.begin(), m_left.end(), static_cast<uint8_t>(end));
        std::string text(m_left.begin(), stop);
        Bytes(text.size() + 1);
        return text;
    }

private:
    std::span<const uint8_t> m_left;
};

} // namespace ox3d::fuzz

#endif
