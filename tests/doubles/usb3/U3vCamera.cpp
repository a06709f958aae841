// U3vCamera.cpp - the transport's own registers beside the model's, and the layout of commands and frames.
#include "tests/doubles/usb3/U3vCamera.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace ox3d::test {
namespace {

using Bytes = CU3vCamera::Bytes;

constexpr uint64_t kTransport = 0xF0000000; // where the bootstrap registers say that the transport's own are
constexpr uint64_t kStream = kTransport + 0x40;
constexpr size_t kTransportBytes = 0x80;
constexpr uint32_t kCommandMagic = 0x43563355;
constexpr uint32_t kLeaderBytes = 52;
constexpr uint32_t kTrailerBytes = 36;
constexpr uint32_t kMainImageChunk = 1;

template <typename T>
void Append(Bytes* bytes, T value) {
    const size_t at = bytes->size();
    bytes->resize(at + sizeof(value)); // g++ takes an insertion here for an overflow
    std::memcpy(bytes->data() + at, &value, sizeof(value));
}

template <typename T>
T Get(const uint8_t* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof(value));
    return value;
}

struct Register {
    uint64_t m_address;
    uint32_t m_lengthBytes;
    uint64_t m_value;
};

// GenCP 1.0, half a second for every answer; one stream, commands and answers of at most 1024 bytes.
constexpr Register kRegisters[] = {{0x0000, 4, 0x00010000},           {0x01CC, 4, 500},
                                   {0x01D8, 8, kTransport},           {kTransport, 4, 0x00010000},
                                   {kTransport + 0x04, 8, 1},         {kTransport + 0x14, 4, 1024},
                                   {kTransport + 0x18, 4, 1024},      {kTransport + 0x1C, 4, 1},
                                   {kTransport + 0x20, 8, kStream},   {kTransport + 0x28, 4, 0x30},
                                   {kStream + 0x10, 4, kLeaderBytes}, {kStream + 0x14, 4, kTrailerBytes}};

bool IsTransport(uint64_t address, size_t lengthBytes) {
    return address >= kTransport && address + lengthBytes <= kTransport + kTransportBytes;
}

// The part of a register that lies within the bytes from an address on.
void Overlay(const Register& reg, uint64_t address, Bytes* bytes) {
    for (uint64_t i = 0; i < reg.m_lengthBytes; ++i) {
        const uint64_t at = reg.m_address + i - address;
        if (at < bytes->size()) {
            (*bytes)[at] = static_cast<uint8_t>(reg.m_value >> (8 * i));
        }
    }
}

uint16_t StatusOf(EModelStatus status) {
    switch (status) {
    case EModelStatus::Ok:
        return 0;
    case EModelStatus::Access:
        return 0x8004;
    case EModelStatus::Range:
        return 0x8002;
    default:
        return 0x8003;
    }
}

void AppendChunk(const uint8_t* data, uint32_t lengthBytes, uint32_t id, Bytes* payload) {
    payload->insert(payload->end(), data, data + lengthBytes);
    Append(payload, id);
    Append(payload, lengthBytes);
}

} // namespace

CU3vCamera::CU3vCamera(const CameraConfig& config) : m_model(config), m_streamRegisters(kTransportBytes) {
    std::string error;
    if (m_model.Prepare(&error) != EModelStatus::Ok) {
        throw std::invalid_argument(error);
    }
}

uint16_t CU3vCamera::Read(uint64_t address, Bytes* out) {
    EModelStatus status = EModelStatus::Ok;
    if (IsTransport(address, out->size())) {
        std::copy_n(m_streamRegisters.begin() + static_cast<std::ptrdiff_t>(address - kTransport),
                    out->size(), out->begin());
    } else {
        status = m_model.ReadMemory(address, out->data(), out->size());
    }
    for (const Register& reg : kRegisters) {
        Overlay(reg, address, out);
    }
    IntegerValue payload;
    m_model.GetInteger("PayloadSize", &payload);
    Overlay({kStream + 0x08, 8, static_cast<uint64_t>(payload.m_value)}, address, out);
    return StatusOf(status);
}

uint16_t CU3vCamera::Write(uint64_t address, const uint8_t* bytes, size_t lengthBytes) {
    if (IsTransport(address, lengthBytes)) {
        std::copy_n(bytes, lengthBytes, m_streamRegisters.data() + (address - kTransport));
        return 0;
    }
    return StatusOf(m_model.WriteMemory(address, bytes, lengthBytes));
}

Bytes CU3vCamera::Answer(const uint8_t* command, size_t lengthBytes) {
    constexpr size_t kHeaderBytes = 12;
    constexpr uint16_t kReadCommand = 0x0800;
    constexpr uint16_t kWriteCommand = 0x0802;
    constexpr size_t kMaxAnswerBytes = 1024;
    if (lengthBytes <= kHeaderBytes + 8) {
        return {};
    }
    const auto code = Get<uint16_t>(command + 6);
    const auto address = Get<uint64_t>(command + kHeaderBytes);
    Bytes data;
    uint16_t status = 0x8001; // no such command
    if (code == kReadCommand) {
        data.resize(std::min<size_t>(Get<uint16_t>(command + kHeaderBytes + 10), kMaxAnswerBytes - 12));
        status = Read(address, &data);
        data.resize(status == 0 ? data.size() : 0);
    } else if (code == kWriteCommand) {
        const size_t written = lengthBytes - kHeaderBytes - 8;
        status = Write(address, command + kHeaderBytes + 8, written);
        Append<uint16_t>(&data, 0);
        Append(&data, static_cast<uint16_t>(written));
    }
    Bytes answer;
    Append(&answer, kCommandMagic);
    Append(&answer, status);
    Append(&answer, static_cast<uint16_t>(code + 1));
    Append(&answer, static_cast<uint16_t>(data.size()));
    Append(&answer, Get<uint16_t>(command + 10));
    answer.insert(answer.end(), data.begin(), data.end());
    return answer;
}

// Block ids begin at 0 with every acquisition.
CU3vCamera::FrameParts CU3vCamera::Pack(const CameraFrame& frame) {
    const uint64_t blockId = frame.m_number - 1;
    FrameParts parts;
    Bytes& leader = parts[0];
    Append<uint32_t>(&leader, 0x4C563355);
    Append(&leader, kLeaderBytes << 16);
    Append(&leader, blockId);
    Append(&leader, frame.m_isChunked ? 0x4001U << 16 : 0x0001U << 16);
    Append(&leader, frame.m_timestampNs);
    for (const uint32_t word : {frame.m_pixelFormat, frame.m_width, frame.m_height, 0U, 0U, 0U}) {
        Append(&leader, word);
    }
    Bytes& payload = parts[1];
    if (frame.m_isChunked) {
        AppendChunk(frame.m_image.data(), frame.m_imageLengthBytes, kMainImageChunk, &payload);
        for (uint32_t i = 0; i < frame.m_chunkCount; ++i) {
            const CameraChunk& chunk = frame.m_chunks[i];
            AppendChunk(chunk.m_bytes.data(), chunk.m_lengthBytes, chunk.m_id, &payload);
        }
    } else {
        payload.assign(frame.m_image.begin(), frame.m_image.end());
    }
    Bytes& trailer = parts[2];
    Append<uint32_t>(&trailer, 0x54563355);
    Append(&trailer, kTrailerBytes << 16);
    Append(&trailer, blockId);
    Append<uint32_t>(&trailer, 0);
    Append<uint64_t>(&trailer, payload.size());
    Append(&trailer, frame.m_height);
    Append<uint32_t>(&trailer, 0);
    return parts;
}

} // namespace ox3d::test
