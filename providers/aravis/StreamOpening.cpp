// StreamOpening.cpp - only the camera's own address may reach the socket; lost packets are asked for again.
#include "providers/aravis/StreamOpening.h"

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "providers/aravis/Features.h"
#include "providers/aravis/StreamFilter.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr int64_t kMaxPayloadBytes = int64_t{1} << 30;
constexpr uint32_t kUsPerMs = 1000;
constexpr double kWholePercent = 100.0;

std::atomic<bool> s_isUnfilteredTold{false};

void SetUpNetwork(ArvStream* stream, const CameraPath& path, const ResendSettings& resend,
                  uint32_t retentionMs) {
    const Endpoint local{path.m_hostIp, arv_gv_stream_get_port(ARV_GV_STREAM(stream))};
    if (!AcceptOnlyFrom(path.m_cameraIp, local) && !s_isUnfilteredTold.exchange(true)) {
        std::fprintf(stderr,
                     "camera control: streams take other hosts' datagrams, too: no filter for them\n");
    }
    const guint retentionUs = std::max(retentionMs, 2 * resend.m_timeoutMs) * kUsPerMs;
    g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_AUTO, "packet-resend",
                 resend.m_isOn ? ARV_GV_STREAM_PACKET_RESEND_ALWAYS : ARV_GV_STREAM_PACKET_RESEND_NEVER,
                 "packet-request-ratio", static_cast<double>(resend.m_maxPercent) / kWholePercent,
                 "packet-timeout", static_cast<guint>(resend.m_timeoutMs * kUsPerMs), "frame-retention",
                 retentionUs, nullptr);
}

} // namespace

int OpenStream(ArvDevice* device, const CameraPath& path, const ResendSettings& resend, uint32_t retentionMs,
               CObject<ArvStream>* stream, size_t* payloadBytes) {
    OX_CC_INT_VALUE_EX payload{};
    if (const int code = features::GetInteger(device, "PayloadSize", &payload); code != kOk) {
        return code;
    }
    if (payload.nCurValue <= 0 || payload.nCurValue > kMaxPayloadBytes) {
        return Code(OX_CC_E_GC_RANGE);
    }
    CArvError error;
    CObject<ArvStream> made(arv_device_create_stream(device, nullptr, nullptr, error.Out()));
    if (made == nullptr) {
        return error.IsSet() ? error.Code() : Code(OX_CC_E_RESOURCE);
    }
    if (ARV_IS_GV_STREAM(made.get())) {
        SetUpNetwork(made.get(), path, resend, retentionMs);
    }
    *stream = std::move(made);
    *payloadBytes = static_cast<size_t>(payload.nCurValue);
    return kOk;
}

} // namespace ox3d
