// Messages of frames.
#include "tools/ox3d/view/ViewEncoder.h"

#include "base/ExceptionBarrier.h"
#include "base/SignalMask.h"

#include <cstring>
#include <utility>

namespace ox3d::tool {
namespace {

using viewer::EStream;

constexpr int kJpegQuality = 85;
constexpr uint32_t kMaxSide = UINT16_MAX; // that a header can tell

viewer::ImageHeader HeaderOf(uint16_t camera, const RecordedFacts& facts, uint32_t width, uint32_t height) {
    viewer::ImageHeader header;
    header.m_camera = camera;
    header.m_number = static_cast<uint32_t>(facts.m_number);
    header.m_ticks = facts.m_ticks;
    header.m_width = static_cast<uint16_t>(width);
    header.m_height = static_cast<uint16_t>(height);
    header.m_arrivalUs = facts.m_hostNs / 1000;
    return header;
}

} // namespace

CViewEncoder::CViewEncoder(uint16_t camera, Publisher publisher)
    : m_camera(camera), m_publisher(std::move(publisher)) {
    const CSignalsBlocked blocked;
    m_thread = std::thread([this] { Run(); });
}

CViewEncoder::~CViewEncoder() {
    {
        const CLock lock(m_mutex);
        m_isEnding = true;
    }
    m_changed.NotifyAll();
    m_thread.join();
}

void CViewEncoder::Take(const FrameView& frame, bool isDepthWanted, bool isColorWanted) {
    Job& job = *m_filling;
    job.m_facts = frame.m_facts;
    const DepthView& depth = frame.m_depth;
    const ColorView& color = frame.m_color;
    job.m_depth = {};
    job.m_color = {};
    if (isDepthWanted && depth.m_samples != nullptr && depth.m_width <= kMaxSide &&
        depth.m_height <= kMaxSide) {
        const size_t rowBytes = size_t{depth.m_width} * sizeof(uint16_t);
        job.m_depthBytes.resize(rowBytes * depth.m_height);
        for (size_t row = 0; row < depth.m_height; ++row) {
            std::memcpy(job.m_depthBytes.data() + row * rowBytes,
                        depth.m_samples + row * depth.m_strideSamples, rowBytes);
        }
        job.m_depth = {reinterpret_cast<const uint16_t*>(job.m_depthBytes.data()), depth.m_width,
                       depth.m_height, depth.m_width};
    }
    if (isColorWanted && color.m_bytes != nullptr && color.m_width <= kMaxSide &&
        color.m_height <= kMaxSide) {
        job.m_colorBytes.assign(color.m_bytes, color.m_bytes + size_t{color.m_width} * color.m_height * 3);
        job.m_color = color;
        job.m_color.m_bytes = job.m_colorBytes.data();
    }
    job.m_isNew = true;
    {
        const CLock lock(m_mutex);
        std::swap(m_filling, m_waiting);
    }
    m_changed.NotifyAll();
}

EncodedCounts CViewEncoder::Counts() const {
    const CLock lock(m_mutex);
    return m_counts;
}

void CViewEncoder::Run() noexcept {
    CLock lock(m_mutex);
    while (!m_isEnding) {
        if (!m_waiting->m_isNew) {
            m_changed.Wait(m_mutex);
            continue;
        }
        std::swap(m_encoding, m_waiting);
        m_waiting->m_isNew = false;
        m_encoding->m_isNew = false;
        lock.Unlock();
        // A frame for which there is no memory is left out.
        ExceptionBarrier([this] { Encode(*m_encoding); }, [](const std::exception*) {});
        lock.Lock();
    }
}

void CViewEncoder::Encode(const Job& job) {
    if (job.m_depth.m_samples != nullptr) {
        EncodeDepth(job);
    }
    if (job.m_color.m_bytes != nullptr) {
        EncodeColor(job);
    }
    const CLock lock(m_mutex);
    ++m_counts.m_frames;
}

void CViewEncoder::Publish(EStream stream, viewer::PacketPointer packet) {
    if (packet == nullptr) {
        return;
    }
    {
        const CLock lock(m_mutex);
        m_counts.m_bytes += packet->size() - viewer::kHeadroomBytes;
    }
    m_publisher(stream, std::move(packet));
}

void CViewEncoder::EncodeDepth(const Job& job) {
    const DepthView& depth = job.m_depth;
    viewer::ImageHeader header = HeaderOf(m_camera, job.m_facts, depth.m_width, depth.m_height);
    const size_t samples = size_t{depth.m_width} * depth.m_height;
    viewer::PacketPointer packet = m_depthPacker.Pack(header, {depth.m_samples, samples});
    {
        const CLock lock(m_mutex);
        m_counts.m_validDepth =
            samples == 0 ? 0
                         : static_cast<double>(m_depthPacker.ValidSamples()) / static_cast<double>(samples);
    }
    Publish(EStream::Depth, std::move(packet));
}

void CViewEncoder::EncodeColor(const Job& job) {
    const ColorView& color = job.m_color;
    const auto image =
        m_jpeg.Encode(InterleavedBytes(color, &m_interleaved), color.m_width, color.m_height, kJpegQuality);
    if (!image.empty()) {
        viewer::ImageHeader header = HeaderOf(m_camera, job.m_facts, color.m_width, color.m_height);
        header.m_stream = EStream::Color;
        header.m_codec = viewer::ECodec::Jpeg;
        Publish(EStream::Color, viewer::MakePacket(header, image));
    }
}

} // namespace ox3d::tool
