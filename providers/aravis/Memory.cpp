// Memory.cpp - cuts ranges into blocks that every transport carries.
#include "providers/aravis/Memory.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "providers/aravis/ArvError.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr uint64_t kBlockBytes = 512; // larger writes get lost on USB without an error
constexpr uint64_t kWordBytes = 4;

// The part of a range that goes with one command, and the whole words around it.
struct Block {
    uint64_t m_address; // of the first whole word
    uint32_t m_lengthBytes;
    uint64_t m_skipBytes; // before the wanted part
    uint64_t m_wantedBytes;

    Block(uint64_t address, uint64_t lengthBytes, bool isPadded) {
        m_skipBytes = isPadded ? address % kWordBytes : 0;
        m_address = address - m_skipBytes;
        m_wantedBytes = std::min(lengthBytes, kBlockBytes - m_skipBytes);
        const uint64_t end = m_skipBytes + m_wantedBytes;
        m_lengthBytes =
            static_cast<uint32_t>(isPadded ? (end + kWordBytes - 1) / kWordBytes * kWordBytes : end);
    }
    bool IsPadded() const { return m_wantedBytes != m_lengthBytes; }
};

using Buffer = std::array<uint8_t, kBlockBytes>;

int ReadBlock(ArvDevice* device, const Block& block, Buffer* buffer) {
    CArvError error;
    const bool isRead = arv_device_read_memory(device, block.m_address, block.m_lengthBytes, buffer->data(),
                                               error.Out()) != 0;
    return isRead || error.IsSet() ? error.Code() : Code(OX_CC_E_UNKNOWN);
}

bool IsRange(uint64_t address, uint64_t lengthBytes) {
    return lengthBytes <= UINT64_MAX - address;
}

} // namespace

int ReadDeviceMemory(ArvDevice* device, uint64_t address, void* bytes, uint64_t lengthBytes) {
    if (!IsRange(address, lengthBytes)) {
        return Code(OX_CC_E_PARAMETER);
    }
    auto* out = static_cast<uint8_t*>(bytes);
    while (lengthBytes > 0) {
        const Block block(address, lengthBytes, ARV_IS_GV_DEVICE(device));
        Buffer buffer{};
        if (const int code = ReadBlock(device, block, &buffer); code != kOk) {
            return code;
        }
        std::memcpy(out, buffer.data() + block.m_skipBytes, block.m_wantedBytes);
        out += block.m_wantedBytes;
        address += block.m_wantedBytes;
        lengthBytes -= block.m_wantedBytes;
    }
    return kOk;
}

int WriteDeviceMemory(ArvDevice* device, uint64_t address, const void* bytes, uint64_t lengthBytes) {
    if (!IsRange(address, lengthBytes)) {
        return Code(OX_CC_E_PARAMETER);
    }
    const auto* in = static_cast<const uint8_t*>(bytes);
    while (lengthBytes > 0) {
        const Block block(address, lengthBytes, ARV_IS_GV_DEVICE(device));
        Buffer buffer{};
        if (block.IsPadded()) {
            if (const int code = ReadBlock(device, block, &buffer); code != kOk) {
                return code;
            }
        }
        std::memcpy(buffer.data() + block.m_skipBytes, in, block.m_wantedBytes);
        CArvError error;
        if (arv_device_write_memory(device, block.m_address, block.m_lengthBytes, buffer.data(),
                                    error.Out()) == 0 ||
            error.IsSet()) {
            return error.IsSet() ? error.Code() : Code(OX_CC_E_UNKNOWN);
        }
        in += block.m_wantedBytes;
        address += block.m_wantedBytes;
        lengthBytes -= block.m_wantedBytes;
    }
    return kOk;
}

} // namespace ox3d
