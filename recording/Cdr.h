// Cdr.h - messages in CDR, little-endian, as ROS 2 has them on the wire: a head of four bytes, then fields, each at a
// multiple of its own size counted from behind the head.
#ifndef OX3D_RECORDING_CDR_H
#define OX3D_RECORDING_CDR_H

#include "recording/Bytes.h"

namespace ox3d {

class CCdrWriter {
public:
    // Appends a message to what is there.
    explicit CCdrWriter(ByteVector* out) : m_out(out) {
        Put(m_out, uint32_t{0x00000100}); // bytes 00 01 00 00: plain CDR, little-endian
        m_begin = m_out->size();
    }

    template <class Number>
    void Add(Number value) {
        m_out->resize(m_begin + AlignedTo(sizeof(value)));
        Put(m_out, value);
    }
    void Text(std::string_view text) {
        Add(static_cast<uint32_t>(text.size() + 1));
        m_out->insert(m_out->end(), text.begin(), text.end());
        m_out->push_back(0);
    }
    // An array of fixed length; a sequence has its length added before.
    template <class Numbers>
    void Array(const Numbers& numbers) {
        for (const auto number : numbers) {
            Add(number);
        }
    }
    // Room for a sequence of bytes, which the caller fills at once.
    std::span<uint8_t> Bytes(uint32_t lengthBytes) {
        Add(lengthBytes);
        m_out->resize(m_out->size() + lengthBytes);
        return std::span(*m_out).last(lengthBytes);
    }

private:
    size_t AlignedTo(size_t unit) const { return (m_out->size() - m_begin + unit - 1) / unit * unit; }

    ByteVector* m_out;
    size_t m_begin = 0;
};

class CCdrReader {
public:
    explicit CCdrReader(std::span<const uint8_t> message) : m_reader(message) {
        const auto head = m_reader.Bytes(4);
        m_isForeign = head.size() != 4 || head[0] != 0 || head[1] != 1;
        m_lengthBytes = m_reader.Left();
    }

    bool HasFailed() const { return m_isForeign || m_reader.HasFailed(); }
    size_t Left() const { return m_reader.Left(); }

    template <class Number>
    Number Take() {
        const size_t at = m_lengthBytes - m_reader.Left();
        m_reader.Bytes((at + sizeof(Number) - 1) / sizeof(Number) * sizeof(Number) - at);
        return m_reader.Take<Number>();
    }
    std::string Text() {
        const auto bytes = Bytes();
        return {bytes.begin(), bytes.empty() ? bytes.end() : bytes.end() - 1};
    }
    std::span<const uint8_t> Bytes() { return m_reader.Bytes(Take<uint32_t>()); }

private:
    CByteReader m_reader;
    size_t m_lengthBytes = 0;
    bool m_isForeign = false;
};

} // namespace ox3d

#endif
