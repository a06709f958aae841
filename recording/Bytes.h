// Bytes.h - little-endian numbers and texts with their length before them, appended to bytes and taken from them.
// A reader knows its end: what is not there is 0 or empty, and HasFailed() tells. Relies on nothing.
#ifndef OX3D_RECORDING_BYTES_H
#define OX3D_RECORDING_BYTES_H

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ox3d {

static_assert(std::endian::native == std::endian::little, "numbers are copied as they lie in memory");

using ByteVector = std::vector<uint8_t>;
using TextMap = std::map<std::string, std::string>;

template <class Number>
requires std::integral<Number> || std::floating_point<Number>
void Put(ByteVector* out, Number value) {
    const size_t at = out->size();
    out->resize(at + sizeof(value));
    std::memcpy(out->data() + at, &value, sizeof(value));
}

inline void PutBytes(ByteVector* out, std::span<const uint8_t> bytes) {
    out->insert(out->end(), bytes.begin(), bytes.end());
}

inline void PutText(ByteVector* out, std::string_view text) {
    Put(out, static_cast<uint32_t>(text.size()));
    const size_t at = out->size();
    out->resize(at + text.size());
    std::copy(text.begin(), text.end(), out->begin() + static_cast<std::ptrdiff_t>(at));
}

class CByteReader {
public:
    explicit CByteReader(std::span<const uint8_t> bytes) : m_left(bytes) {}

    size_t Left() const { return m_left.size(); }
    bool HasFailed() const { return m_hasFailed; }

    std::span<const uint8_t> Bytes(uint64_t lengthBytes) {
        if (lengthBytes > m_left.size()) {
            m_hasFailed = true;
            m_left = {};
            return {};
        }
        const auto bytes = m_left.first(lengthBytes);
        m_left = m_left.subspan(lengthBytes);
        return bytes;
    }
    template <class Number>
    requires std::integral<Number> || std::floating_point<Number> Number Take() {
        Number value{};
        const auto bytes = Bytes(sizeof(value));
        if (!bytes.empty()) {
            std::memcpy(&value, bytes.data(), sizeof(value));
        }
        return value;
    }
    std::string Text() {
        const auto bytes = Bytes(Take<uint32_t>());
        return {bytes.begin(), bytes.end()};
    }

private:
    std::span<const uint8_t> m_left;
    bool m_hasFailed = false;
};

} // namespace ox3d

#endif
