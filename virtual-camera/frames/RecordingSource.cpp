// RecordingSource.cpp - decodes frames when they are wanted, and remembers them where memory allows it.
#include "virtual-camera/frames/RecordingSource.h"

#include <algorithm>
#include <new>
#include <utility>

namespace ox3d {

std::unique_ptr<CFrameSource> CRecordingSource::Create(const FrameSourceConfig& config, std::string* error,
                                                       uint64_t maxCacheBytes) {
    std::unique_ptr<CRecordingReader> reader = CRecordingReader::Open(config.m_folder, error);
    if (reader == nullptr) {
        return nullptr;
    }
    if (reader->CalibrationXml().empty()) {
        *error = config.m_folder +
                 ": no calibration is in it and no lens of its depth camera, and no camera is opened without";
        return nullptr;
    }
    return std::unique_ptr<CFrameSource>(new CRecordingSource(std::move(reader), config, maxCacheBytes));
}

CRecordingSource::CRecordingSource(std::unique_ptr<CRecordingReader> reader, const FrameSourceConfig& config,
                                   uint64_t maxCacheBytes)
    : m_reader(std::move(reader)), m_loop(config.m_loop), m_speed(config.m_speed),
      m_frames(m_reader->FrameCount()) {
    FindPass();
    const PngSize depth = m_reader->DepthSize();
    const PngSize color = m_reader->ColorSize();
    const uint64_t depthBytes = uint64_t{depth.m_width} * depth.m_height * sizeof(uint16_t);
    const uint64_t colorBytes = uint64_t{color.m_width} * color.m_height * 3;
    const uint64_t pairBytes = m_reader->HasPair() ? depthBytes : 0; // two views with half the bits
    m_isCached = (depthBytes + colorBytes + pairBytes) * m_frames.size() <= maxCacheBytes;
}

uint64_t CRecordingSource::MeanTimeNs() const {
    const std::vector<uint64_t>& times = m_reader->HostTimes();
    const bool isRising = times.size() > 1 && times.back() > times.front();
    constexpr uint64_t kDefaultNs = 33333333;
    return isRising ? (times.back() - times.front()) / (times.size() - 1) : kDefaultNs;
}

// Time stamps and numbers go on rising from pass to pass.
void CRecordingSource::FindPass() {
    RecordedFacts first;
    RecordedFacts last;
    if (!m_reader->ReadFacts(0, &first) || !m_reader->ReadFacts(m_frames.size() - 1, &last)) {
        return;
    }
    m_passNumbers = last.m_number - std::min(first.m_number, last.m_number) + 1;
    if (last.m_ticks > first.m_ticks) {
        const uint64_t span = last.m_ticks - first.m_ticks;
        m_passTicks = span + span / (m_frames.size() - 1);
    }
}

// A pause is played no longer than that, and a clock that was set back does not matter.
std::optional<std::chrono::nanoseconds> CRecordingSource::TimeBefore(uint64_t index) const {
    constexpr uint64_t kMaxNs = 10000000000;
    const std::vector<uint64_t>& times = m_reader->HostTimes();
    if (times.empty() || index == 0) {
        return std::nullopt;
    }
    const size_t number = index % times.size();
    const bool isRising = number > 0 && times[number] >= times[number - 1];
    const uint64_t timeNs = isRising ? times[number] - times[number - 1] : MeanTimeNs();
    return std::chrono::nanoseconds(
        static_cast<int64_t>(static_cast<double>(std::min(timeNs, kMaxNs)) / m_speed));
}

bool CRecordingSource::LoadDepth(size_t number) {
    Frame& frame = m_frames[number];
    RecordedFacts facts;
    if (!frame.m_isDepthDecoded && m_reader->ReadDepth(number, &frame.m_depth)) {
        frame.m_isDepthDecoded = true;
        if (m_reader->ReadFacts(number, &facts)) {
            frame.m_facts = facts;
        }
    }
    return frame.m_isDepthDecoded;
}

bool CRecordingSource::LoadColor(size_t number) {
    Frame& frame = m_frames[number];
    frame.m_isColorDecoded = frame.m_isColorDecoded || m_reader->ReadColor(number, &frame.m_color);
    return frame.m_isColorDecoded;
}

bool CRecordingSource::LoadPair(size_t number) {
    Frame& frame = m_frames[number];
    frame.m_isPairDecoded = frame.m_isPairDecoded || m_reader->ReadPair(number, &frame.m_pair);
    return frame.m_isPairDecoded;
}

// While frames are not cached, only the one that is shown next may stay decoded.
void CRecordingSource::Forget(size_t next) {
    if (!m_isCached && m_lastFrame != next) {
        const bool isBad = m_frames[m_lastFrame].m_isBad;
        m_frames[m_lastFrame] = Frame();
        m_frames[m_lastFrame].m_isBad = isBad;
    }
    m_lastFrame = next;
}

void CRecordingSource::FillGreyViews(size_t number, FrameImages* images) {
    if (LoadPair(number)) {
        images->m_greyPair = m_frames[number].m_pair;
    } else {
        LoadColor(number);
        FillLuma(m_frames[number], &images->m_greyPair);
    }
}

void CRecordingSource::FillLuma(const Frame& frame, std::vector<uint8_t>* view) const {
    const size_t width = DepthWidth();
    const size_t height = DepthHeight();
    const size_t colorWidth = ColorWidth();
    const size_t colorHeight = ColorHeight();
    view->assign(width * height, 0);
    if (!frame.m_isColorDecoded) {
        return;
    }
    const size_t plane = colorWidth * colorHeight;
    for (size_t v = 0; v < height; ++v) {
        const size_t row = (2 * v + 1) * colorHeight / (2 * height);
        for (size_t u = 0; u < width; ++u) {
            const size_t at = row * colorWidth + (2 * u + 1) * colorWidth / (2 * width);
            const unsigned luma = 77U * frame.m_color[at] + 150U * frame.m_color[plane + at] +
                                  29U * frame.m_color[2 * plane + at];
            (*view)[v * width + u] = static_cast<uint8_t>((luma + 128U) >> 8U);
        }
    }
}

bool CRecordingSource::Render(uint64_t index, bool wantColor, bool wantGreyPair, FrameImages* images) {
    if (index >= m_frames.size() && !m_loop) {
        return false;
    }
    try {
        const size_t number = index % m_frames.size();
        Forget(number);
        Frame& frame = m_frames[number];
        if (frame.m_isBad || !LoadDepth(number)) {
            m_badFrames += frame.m_isBad ? 0 : 1;
            frame.m_isBad = true;
            return false;
        }
        const bool hasColor = wantColor && LoadColor(number);
        images->m_depthWidth = DepthWidth();
        images->m_depthHeight = DepthHeight();
        images->m_depth = frame.m_depth;
        images->m_ticks = std::nullopt;
        images->m_number = std::nullopt;
        if (frame.m_facts) {
            const uint64_t pass = index / m_frames.size();
            images->m_ticks = frame.m_facts->m_ticks + pass * m_passTicks;
            images->m_number = frame.m_facts->m_number + pass * m_passNumbers;
        }
        images->m_colorWidth = hasColor ? ColorWidth() : 0;
        images->m_colorHeight = hasColor ? ColorHeight() : 0;
        if (hasColor) {
            images->m_color = frame.m_color;
        }
        if (wantGreyPair) {
            FillGreyViews(number, images);
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace ox3d
