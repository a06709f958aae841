// StreamSender.cpp - the two threads of the stream channel, and what is sent besides frames.
#include "virtual-camera/gige/StreamSender.h"

#include <cstdio>
#include <ctime>
#include <new>
#include <sys/prctl.h>
#include <utility>

namespace ox3d::gige {
namespace {

constexpr int kSendBufferBytes = 4 << 20;
constexpr uint32_t kMaxRefusals = 64; // of one request: a wrong one must not become a flood

using Clock = std::chrono::steady_clock;

void SleepUntil(Time due) {
    const auto sinceStart = due.time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(sinceStart);
    const std::chrono::nanoseconds rest = sinceStart - seconds;
    const timespec until{seconds.count(), rest.count()};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
}

// Threads must not end the process; without memory a frame is lost.
template <typename TBody>
void Guarded(const TBody& body) {
    try {
        body();
    } catch (const std::bad_alloc&) {
        std::fputs("virtual camera: no memory for a frame\n", stderr);
        SleepUntil(Clock::now() + std::chrono::milliseconds(100));
    }
}

} // namespace

CStreamSender::CStreamSender(CCameraModel& model, CMessageChannel& messages)
    : m_model(model), m_messages(messages), m_dice(model.Config().m_faults) {}

CStreamSender::~CStreamSender() {
    m_camera.request_stop();
    m_sender.request_stop();
}

void CStreamSender::Start() {
    m_sender = std::jthread([this](const std::stop_token& stop) { RunSender(stop); });
    m_camera = std::jthread([this](const std::stop_token& stop) { RunCamera(stop); });
}

// ---- What the control channel asks ----

CStreamSender::Channel CStreamSender::Current() const {
    const CLock lock(m_mutex);
    return m_channel;
}

void CStreamSender::Renew(std::shared_ptr<const CUdpSocket> socket) {
    const Endpoint to{static_cast<uint32_t>(m_model.TransportValue(EFeature::GevSCDA)),
                      static_cast<uint16_t>(m_model.TransportValue(EFeature::GevSCPHostPort))};
    const CLock lock(m_mutex);
    m_channel = {std::move(socket), to, ++m_channelSerial};
    m_blockIds.ChannelOpened();
    m_waiting.reset();
    m_pool.Forget();
    m_changed.NotifyAll();
}

void CStreamSender::OnChannelWritten() {
    Renew(Current().m_socket);
}

void CStreamSender::Move(uint32_t ip) {
    auto socket = std::make_shared<CUdpSocket>();
    std::string error;
    if (!OpenCameraSocket({ip, 0}, socket.get(), &error)) {
        Renew(nullptr); // an address that this host does not have: found by broadcast, but without images
        return;
    }
    socket->SetSendBuffer(kSendBufferBytes);
    m_model.SetTransportValue(EFeature::GevSCSP, socket->Port());
    Renew(std::move(socket));
}

// Without it a test packet in pieces arrives, and the receiver takes the path for wider than it is.
void CStreamSender::ApplyDoNotFragment(const Channel& channel) const {
    channel.m_socket->SetDoNotFragment(m_model.TransportValue(EFeature::GevSCPSDoNotFragment) != 0);
}

void CStreamSender::FireTestPacket() {
    const Channel channel = Current();
    if (channel.IsOpen() && !m_isMuted) {
        const auto sizeBytes = static_cast<uint32_t>(m_model.TransportValue(EFeature::GevSCPSPacketSize));
        ApplyDoNotFragment(channel);
        channel.m_socket->Send(MakeGvspTestPacket(sizeBytes), channel.m_to);
    }
}

void CStreamSender::Resend(const ResendRequest& request) {
    const Channel channel = Current();
    if (!channel.IsOpen() || m_isMuted || request.m_firstPacket > request.m_lastPacket) {
        return;
    }
    const std::shared_ptr<GvspFrame> frame = m_pool.Find(request.m_blockId);
    const uint32_t sent = frame == nullptr ? 0 : frame->m_sentPackets.load();
    uint32_t refusals = 0;
    GvspPacket packet;
    for (uint32_t id = request.m_firstPacket; id <= request.m_lastPacket; ++id) {
        if (frame != nullptr && id < frame->m_endPacket) {
            if (id >= sent) {
                break; // these come by themselves
            }
            MakeGvspPacket(*frame, id, &packet);
        } else {
            if ((frame != nullptr && id >= frame->Packets()) || ++refusals > kMaxRefusals) {
                break;
            }
            MakeGvspRefusal(request.m_blockId, request.m_isExtendedId, id,
                            static_cast<uint16_t>(EGvcpStatus::PacketRemoved), &packet);
        }
        SendPackets(*channel.m_socket, std::span(&packet, 1), channel.m_to);
    }
}

// Ends the waits of a thread that is to stop.
void CStreamSender::Wake() {
    const CLock lock(m_mutex);
    m_changed.NotifyAll();
}

// ---- Camera thread ----

void CStreamSender::RunCamera(const std::stop_token& stop) {
    const std::stop_callback wake(stop, [this] { Wake(); });
    while (!stop.stop_requested()) {
        Guarded([&] { TakeFrame(stop); });
    }
}

void CStreamSender::TakeFrame(const std::stop_token& stop) {
    if (m_model.NextFrame(m_model.PlugCount(), stop, &m_frame) == ENextFrame::Frame) {
        Enqueue(m_frame, stop);
    }
}

// One, or as many as there are components when each goes by itself.
std::vector<std::shared_ptr<GvspFrame>> CStreamSender::PackBlocks(const CameraFrame& frame) {
    const FaultSet faults = PartFaultsAt(m_model.Config().m_faults, frame.m_number);
    const bool isNative = m_model.Config().m_kind == ECameraKind::Native;
    const uint32_t count = isNative || frame.m_isMultiPart ? 1 : frame.m_partCount;
    const auto packetBytes = static_cast<uint32_t>(m_model.TransportValue(EFeature::GevSCPSPacketSize));
    std::vector<std::shared_ptr<GvspFrame>> blocks;
    for (uint32_t i = 0; i < count; ++i) {
        std::shared_ptr<GvspFrame> packed = m_pool.Take();
        if (isNative) {
            PackGvspFrame(frame, faults.m_claimedChunkLengthBytes, packed.get());
        } else if (frame.m_isMultiPart) {
            PackGvspParts(frame, faults, packed.get());
        } else {
            PackGvspComponent(frame, frame.m_parts[i], faults, packed.get());
        }
        packed->SetPacketSize(packetBytes);
        if (frame.m_number == faults.m_truncateFrame) {
            packed->m_endPacket = packed->Packets() / 2;
        }
        blocks.push_back(std::move(packed));
    }
    return blocks;
}

void CStreamSender::Enqueue(const CameraFrame& frame, const std::stop_token& stop) {
    const Channel channel = Current();
    // Rendered while its acquisition ended: it must not be the first frame of the next one. The channel is looked at
    // before, since applications end the acquisition first and the channel then.
    if (m_model.Acquisition() != frame.m_acquisition) {
        return;
    }
    std::vector<std::shared_ptr<GvspFrame>> blocks = PackBlocks(frame);
    if (blocks.empty()) {
        return; // no component is wanted
    }
    CLock lock(m_mutex);
    if (!IsCurrent(channel)) {
        return;
    }
    const uint64_t firstId = m_blockIds.Next(frame.m_number, static_cast<uint32_t>(blocks.size()));
    for (size_t i = 0; i < blocks.size(); ++i) {
        blocks[i]->m_blockId = frame.m_isExtendedId ? firstId + i : CBlockIds::Short(firstId + i);
    }
    lock.Unlock();
    if (frame.m_isExposureEventWanted) {
        m_messages.Send({kEventExposureEnd, CBlockIds::Short(firstId), frame.m_timestampNs, {}});
    }
    if (!channel.IsOpen()) {
        return;
    }
    lock.Lock();
    // The camera waits for its network: it becomes slower, it does not skip frames.
    while (m_waiting && IsCurrent(channel) && !stop.stop_requested()) {
        m_changed.Wait(m_mutex);
    }
    if (!stop.stop_requested() && IsCurrent(channel)) {
        m_waiting = Job{std::move(blocks), channel};
        m_changed.NotifyAll();
    }
}

// ---- Sender thread ----

void CStreamSender::RunSender(const std::stop_token& stop) {
    const std::stop_callback wake(stop, [this] { Wake(); });
    prctl(PR_SET_TIMERSLACK, 1000); // nanoseconds; the usual slack is as long as a group of packets
    while (!stop.stop_requested()) {
        if (const auto job = WaitForJob(stop)) {
            Guarded([&] { SendFrame(*job, stop); });
        }
    }
}

// Nothing when the stop has been asked for.
std::optional<CStreamSender::Job> CStreamSender::WaitForJob(const std::stop_token& stop) {
    const CLock lock(m_mutex);
    while (!m_waiting && !stop.stop_requested()) {
        m_changed.Wait(m_mutex);
    }
    m_changed.NotifyAll();
    return std::exchange(m_waiting, std::nullopt);
}

void CStreamSender::SendFrame(const Job& job, const std::stop_token& stop) {
    ApplyDoNotFragment(job.m_channel);
    uint32_t packets = 0;
    for (const auto& block : job.m_blocks) {
        m_pool.Remember(block, job.m_blocks.size());
        packets += std::min(block->Packets(), block->m_endPacket);
    }
    const std::chrono::nanoseconds delay(m_model.TransportValue(EFeature::GevSCPD));
    const SendPlan plan = PlanSending(packets, m_model.FramePeriod(), delay);
    Time due = Clock::now();
    for (const auto& block : job.m_blocks) {
        if (!SendBlock(job, *block, plan, &due, stop)) {
            return;
        }
    }
}

// False when the rest is given up.
bool CStreamSender::SendBlock(const Job& job, GvspFrame& block, const SendPlan& plan, Time* due,
                              const std::stop_token& stop) {
    const uint32_t end = std::min(block.Packets(), block.m_endPacket);
    constexpr std::chrono::milliseconds kMaxArrears{2};
    uint32_t next = 0;
    while (next < end && IsCurrent(job.m_channel) && !stop.stop_requested()) {
        const uint32_t count = std::min(plan.m_groupPackets, end - next);
        // Noted before: a receiver may miss one of the first while the last are still being sent.
        block.m_sentPackets = next + count;
        SendGroup(job, block, next, count);
        next += count;
        // Small delays are made up for; after a long one a burst would do harm.
        *due = std::max(*due + plan.m_groupInterval, Clock::now() - kMaxArrears);
        SleepUntil(*due);
    }
    return next >= end;
}

void CStreamSender::SendGroup(const Job& job, const GvspFrame& block, uint32_t first, uint32_t count) {
    std::array<GvspPacket, kMaxGroupPackets> packets;
    size_t filled = 0;
    for (uint32_t i = 0; i < count; ++i) {
        if (!m_dice.IsDropped()) {
            MakeGvspPacket(block, first + i, &packets[filled++]);
            if (filled >= 2 && m_dice.IsReordered()) {
                std::swap(packets[filled - 1], packets[filled - 2]);
            }
        }
    }
    if (!m_isMuted) {
        SendPackets(*job.m_channel.m_socket, std::span(packets.data(), filled), job.m_channel.m_to);
    }
}

} // namespace ox3d::gige
