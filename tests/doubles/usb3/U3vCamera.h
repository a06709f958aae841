// U3vCamera.h - a camera model behind the end points of USB3 Vision: commands to its registers, and its frames.
#ifndef OX3D_DOUBLE_U3V_CAMERA_H
#define OX3D_DOUBLE_U3V_CAMERA_H

#include <array>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "virtual-camera/CameraModel.h"

namespace ox3d::test {

class CU3vCamera {
public:
    using Bytes = std::vector<uint8_t>;

    // Without a usable image source there is no camera to test with: throws.
    explicit CU3vCamera(const CameraConfig& config) : m_model(config) {
        std::string error;
        if (m_model.Prepare(&error) != EModelStatus::Ok) {
            throw std::invalid_argument(error);
        }
        // GenCP 1.0, half a second for every answer; one stream, commands and answers of at most 1024 bytes.
        const struct {
            uint32_t m_address;
            uint32_t m_lengthBytes;
            uint64_t m_value;
        } registers[] = {{0x0000, 4, 0x00010000},           {0x01CC, 4, 500},
                         {0x01D8, 8, kTransport},           {kTransport, 4, 0x00010000},
                         {kTransport + 0x04, 8, 1},         {kTransport + 0x14, 4, 1024},
                         {kTransport + 0x18, 4, 1024},      {kTransport + 0x1C, 4, 1},
                         {kTransport + 0x20, 8, kStream},   {kTransport + 0x28, 4, 0x30},
                         {kStream + 0x10, 4, kLeaderBytes}, {kStream + 0x14, 4, kTrailerBytes}};
        m_transport.AddArea(kTransport, Bytes(kTransportBytes));
        for (const auto& reg : registers) {
            if (reg.m_address < kTransport) {
                m_transport.AddArea(reg.m_address, Bytes(reg.m_lengthBytes));
            }
            m_transport.SetNumber(reg.m_address, reg.m_lengthBytes, reg.m_value);
        }
    }

    CCameraModel& Model() { return m_model; }

    // The acknowledge to a command.
    Bytes Answer(const uint8_t* command, size_t lengthBytes) {
        constexpr size_t kAddressAt = 12; // behind the header
        constexpr size_t kDataAt = 20;
        constexpr uint16_t kReadCommand = 0x0800;
        const auto code = Get<uint16_t>(command + 6);
        const auto address = Get<uint64_t>(command + kAddressAt);
        Bytes data;
        uint16_t status = 0;
        if (code == kReadCommand) {
            data.resize(Get<uint16_t>(command + kDataAt + 2));
            status = Read(address, &data);
            data.resize(status == 0 ? data.size() : 0);
        } else {
            status = Write(address, command + kDataAt, lengthBytes - kDataAt);
            Append(&data, uint16_t{0}, static_cast<uint16_t>(lengthBytes - kDataAt));
        }
        Bytes answer;
        Append(&answer, uint32_t{0x43563355}, status, static_cast<uint16_t>(code + 1),
               static_cast<uint16_t>(data.size()), Get<uint16_t>(command + 10));
        answer.insert(answer.end(), data.begin(), data.end());
        return answer;
    }

    // Leader, payload and trailer. Block ids begin at 0 with every acquisition.
    static std::array<Bytes, 3> Pack(const CameraFrame& frame) {
        const uint64_t blockId = frame.m_number - 1;
        std::array<Bytes, 3> parts;
        auto& [leader, payload, trailer] = parts;
        Append(&leader, uint32_t{0x4C563355}, kLeaderBytes << 16, blockId,
               frame.m_isChunked ? 0x40010000U : 0x00010000U, frame.m_timestampNs, frame.m_pixelFormat,
               frame.m_width, frame.m_height, uint64_t{0}, uint32_t{0});
        payload.assign(frame.m_image.begin(), frame.m_image.end());
        if (frame.m_isChunked) {
            payload.resize(frame.m_imageLengthBytes);
            Append(&payload, kMainImageChunk, frame.m_imageLengthBytes);
            for (uint32_t i = 0; i < frame.m_chunkCount; ++i) {
                const CameraChunk& chunk = frame.m_chunks[i];
                payload.insert(payload.end(), chunk.m_bytes.data(),
                               chunk.m_bytes.data() + chunk.m_lengthBytes);
                Append(&payload, chunk.m_id, chunk.m_lengthBytes);
            }
        }
        Append(&trailer, uint32_t{0x54563355}, kTrailerBytes << 16, blockId, uint32_t{0},
               uint64_t{payload.size()}, frame.m_height, uint32_t{0});
        return parts;
    }

private:
    static constexpr uint32_t kTransport = 0xF0000000; // where the transport's own registers are
    static constexpr uint32_t kStream = kTransport + 0x40;
    static constexpr size_t kTransportBytes = 0x80;
    static constexpr uint32_t kLeaderBytes = 52;
    static constexpr uint32_t kTrailerBytes = 36;
    static constexpr uint32_t kMainImageChunk = 1;

    template <typename... TValue>
    static void Append(Bytes* bytes, TValue... values) {
        const auto append = [&](auto value) {
            const size_t at = bytes->size();
            bytes->resize(at + sizeof(value)); // g++ takes an insertion here for an overflow
            std::memcpy(bytes->data() + at, &value, sizeof(value));
        };
        (append(values), ...);
    }
    template <typename TValue>
    static TValue Get(const uint8_t* bytes) {
        TValue value;
        std::memcpy(&value, bytes, sizeof(value));
        return value;
    }
    static uint16_t StatusOf(EModelStatus status) {
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
    uint16_t Read(uint64_t address, Bytes* out) {
        IntegerValue payload;
        m_model.GetInteger("PayloadSize", &payload);
        m_transport.SetNumber(kStream + 0x08, 8, static_cast<uint64_t>(payload.m_value));
        if (m_transport.Contains(address, out->size())) {
            m_transport.Read(address, out->data(), out->size());
            return 0;
        }
        return StatusOf(m_model.ReadMemory(address, out->data(), out->size()));
    }
    uint16_t Write(uint64_t address, const uint8_t* bytes, size_t lengthBytes) {
        if (m_transport.Contains(address, lengthBytes)) {
            m_transport.Write(address, bytes, lengthBytes);
            return 0;
        }
        return StatusOf(m_model.WriteMemory(address, bytes, lengthBytes));
    }

    CCameraModel m_model;
    CRegisterFile m_transport{false}; // the registers that the model has not
};

} // namespace ox3d::test

#endif
