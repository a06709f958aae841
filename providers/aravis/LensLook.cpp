// LensLook.cpp - a short acquisition of its own: buffers live as long as the call.
#include "providers/aravis/LensLook.h"

#include <algorithm>
#include <chrono>

#include "providers/aravis/BufferParts.h"
#include "providers/aravis/Features.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{3}; // structured light takes a second for a frame
constexpr uint64_t kPopTimeoutUs = 50000;
constexpr size_t kBuffers = 3;

// Acquisition for a scope.
class CAcquisition {
public:
    explicit CAcquisition(ArvDevice* device) : m_device(device) {
        features::SetInteger(device, "TLParamsLocked", 1);
        m_isOn = features::Execute(device, "AcquisitionStart") == kOk;
    }
    ~CAcquisition() {
        if (m_isOn) {
            features::Execute(m_device, "AcquisitionStop");
        }
        features::SetInteger(m_device, "TLParamsLocked", 0);
    }
    CAcquisition(const CAcquisition&) = delete;
    CAcquisition& operator=(const CAcquisition&) = delete;
    bool IsOn() const { return m_isOn; }

private:
    ArvDevice* const m_device;
    bool m_isOn = false;
};

// A block of its own does not say which component it has; the caller sees to it that formats do.
bool IsOf(const LookedAt& wanted, const SentPart& part) {
    return part.m_image.m_format == wanted.m_format &&
           (part.m_component == 0 || part.m_component == wanted.m_component);
}

void Keep(ArvBuffer* buffer, std::span<const uint8_t> memory, std::span<LookedAt> wanted) {
    size_t receivedBytes = 0;
    arv_buffer_get_data(buffer, &receivedBytes);
    std::vector<SentPart> parts;
    if (arv_buffer_get_status(buffer) != ARV_BUFFER_STATUS_SUCCESS ||
        PartsOf(buffer, memory.first(std::min(receivedBytes, memory.size())), &parts) != nullptr) {
        return;
    }
    for (LookedAt& one : wanted) {
        const bool isThere = !one.m_bytes.empty();
        for (const SentPart& part : parts) {
            if (!isThere && IsOf(one, part)) {
                one.m_shape = part.m_image.m_shape;
                one.m_bytes.insert(one.m_bytes.end(), part.m_image.m_bytes.begin(),
                                   part.m_image.m_bytes.end());
            }
        }
    }
}

} // namespace

bool CLensLook::Take(ArvDevice* device, std::span<LookedAt> wanted) const {
    const auto isWhole = [&] {
        return std::none_of(wanted.begin(), wanted.end(),
                            [](const LookedAt& one) { return one.m_bytes.empty(); });
    };
    std::vector<std::vector<uint8_t>> memory; // outlives the stream that writes into it
    CObject<ArvStream> stream;
    size_t payloadBytes = 0;
    if (OpenStream(device, m_path, m_resend, m_retentionMs, &stream, &payloadBytes) != kOk) {
        return false;
    }
    for (size_t i = 0; i < kBuffers; ++i) {
        memory.emplace_back(payloadBytes);
        arv_stream_push_buffer(stream.get(),
                               arv_buffer_new_full(payloadBytes, memory.back().data(), nullptr, nullptr));
    }
    const CAcquisition acquisition(device);
    const Clock::time_point end = Clock::now() + kPatience;
    while (acquisition.IsOn() && !isWhole() && Clock::now() < end) {
        ArvBuffer* const buffer = arv_stream_timeout_pop_buffer(stream.get(), kPopTimeoutUs);
        if (buffer != nullptr) {
            const auto* data = static_cast<const uint8_t*>(arv_buffer_get_data(buffer, nullptr));
            Keep(buffer, {data, payloadBytes}, wanted);
            arv_stream_push_buffer(stream.get(), buffer);
        }
    }
    return isWhole();
}

} // namespace ox3d
