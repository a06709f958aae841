// RegisterFile.cpp - bytes, byte order and bounds of the register memory.
#include "virtual-camera/RegisterFile.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace ox3d {

void CRegisterFile::AddArea(uint32_t address, std::vector<uint8_t> bytes) {
    m_areas.push_back(Area{address, std::move(bytes)});
}

const uint8_t* CRegisterFile::Locate(uint64_t address, uint64_t lengthBytes) const {
    for (const Area& area : m_areas) {
        if (address >= area.m_address && address - area.m_address <= area.m_bytes.size() &&
            lengthBytes <= area.m_bytes.size() - (address - area.m_address)) {
            return area.m_bytes.data() + (address - area.m_address);
        }
    }
    return nullptr;
}

uint8_t* CRegisterFile::Locate(uint64_t address, uint64_t lengthBytes) {
    for (Area& area : m_areas) {
        if (address >= area.m_address && address - area.m_address <= area.m_bytes.size() &&
            lengthBytes <= area.m_bytes.size() - (address - area.m_address)) {
            return area.m_bytes.data() + (address - area.m_address);
        }
    }
    return nullptr;
}

bool CRegisterFile::Contains(uint64_t address, uint64_t lengthBytes) const {
    return lengthBytes > 0 && Locate(address, lengthBytes) != nullptr;
}

void CRegisterFile::Read(uint64_t address, void* out, uint64_t lengthBytes) const {
    if (const uint8_t* bytes = Locate(address, lengthBytes)) {
        std::memcpy(out, bytes, lengthBytes);
    }
}

void CRegisterFile::Write(uint64_t address, const void* in, uint64_t lengthBytes) {
    if (uint8_t* bytes = Locate(address, lengthBytes)) {
        std::memcpy(bytes, in, lengthBytes);
    }
}

uint64_t CRegisterFile::Decode(const uint8_t* bytes, uint32_t lengthBytes) const {
    uint64_t value = 0;
    for (uint32_t i = 0; i < lengthBytes; ++i) {
        const uint32_t at = m_isBigEndian ? i : lengthBytes - 1 - i;
        value = (value << 8) | bytes[at];
    }
    return value;
}

void CRegisterFile::Encode(uint64_t value, uint8_t* bytes, uint32_t lengthBytes) const {
    for (uint32_t i = 0; i < lengthBytes; ++i) {
        const uint32_t at = m_isBigEndian ? lengthBytes - 1 - i : i;
        bytes[at] = static_cast<uint8_t>(value >> (8 * i));
    }
}

uint64_t CRegisterFile::Number(uint64_t address, uint32_t lengthBytes) const {
    const uint8_t* bytes = Locate(address, lengthBytes);
    return bytes == nullptr ? 0 : Decode(bytes, lengthBytes);
}

void CRegisterFile::SetNumber(uint64_t address, uint32_t lengthBytes, uint64_t value) {
    if (uint8_t* bytes = Locate(address, lengthBytes)) {
        Encode(value, bytes, lengthBytes);
    }
}

float CRegisterFile::Float(uint64_t address) const {
    return std::bit_cast<float>(static_cast<uint32_t>(Number(address, 4)));
}

void CRegisterFile::SetFloat(uint64_t address, float value) {
    SetNumber(address, 4, std::bit_cast<uint32_t>(value));
}

std::string CRegisterFile::Text(uint64_t address, uint32_t lengthBytes) const {
    std::string text(lengthBytes, '\0');
    Read(address, text.data(), lengthBytes);
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

void CRegisterFile::SetText(uint64_t address, uint32_t lengthBytes, std::string_view text) {
    std::string field(text.substr(0, lengthBytes));
    field.resize(lengthBytes, '\0');
    Write(address, field.data(), lengthBytes);
}

} // namespace ox3d
