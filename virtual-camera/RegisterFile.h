// RegisterFile.h - the register memory of a camera: a few areas of bytes in the transport's byte order.
//
// It knows addresses and bytes only. Access rules are the camera model's business.
#ifndef OX3D_VIRTUAL_CAMERA_REGISTER_FILE_H
#define OX3D_VIRTUAL_CAMERA_REGISTER_FILE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ox3d {

class CRegisterFile {
public:
    explicit CRegisterFile(bool isBigEndian) : m_isBigEndian(isBigEndian) {}

    bool IsBigEndian() const { return m_isBigEndian; }
    void AddArea(uint32_t address, std::vector<uint8_t> bytes);

    // Whether one area holds the whole range.
    bool Contains(uint64_t address, uint64_t lengthBytes) const;

    // The range must be contained.
    void Read(uint64_t address, void* out, uint64_t lengthBytes) const;
    void Write(uint64_t address, const void* in, uint64_t lengthBytes);

    // Numbers of 4 or 8 bytes, and texts with the bound of their field.
    uint64_t Number(uint64_t address, uint32_t lengthBytes) const;
    void SetNumber(uint64_t address, uint32_t lengthBytes, uint64_t value);
    float Float(uint64_t address) const;
    void SetFloat(uint64_t address, float value);
    std::string Text(uint64_t address, uint32_t lengthBytes) const;
    void SetText(uint64_t address, uint32_t lengthBytes, std::string_view text);

    uint64_t Decode(const uint8_t* bytes, uint32_t lengthBytes) const;
    void Encode(uint64_t value, uint8_t* bytes, uint32_t lengthBytes) const;

private:
    struct Area {
        uint32_t m_address;
        std::vector<uint8_t> m_bytes;
    };
    const uint8_t* Locate(uint64_t address, uint64_t lengthBytes) const;
    uint8_t* Locate(uint64_t address, uint64_t lengthBytes);

    bool m_isBigEndian;
    std::vector<Area> m_areas;
};

} // namespace ox3d

#endif
