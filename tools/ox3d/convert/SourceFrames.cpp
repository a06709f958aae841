// See SourceFrames.h.
#include "tools/ox3d/convert/SourceFrames.h"

#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/pictures/FrameDecode.h"

namespace ox3d::tool {
namespace {

uint64_t TimeOf(const CRecordingReader& reader, size_t frame) {
    constexpr uint64_t kNsPerFrame = 33333333; // of a folder that knows no times
    const std::vector<uint64_t>& times = reader.HostTimes();
    return frame < times.size() ? times[frame] : frame * kNsPerFrame;
}

void ReadColor(CRecordingReader& reader, EImages images, SourceFrame* frame) {
    if (images != EImages::AllAsTheyLie || !reader.ReadJpeg(frame->m_index, &frame->m_jpeg)) {
        frame->m_jpeg.clear();
    }
    if (images == EImages::Depth || !frame->m_jpeg.empty() ||
        !reader.ReadColor(frame->m_index, &frame->m_planes)) {
        frame->m_planes.clear();
    }
}

} // namespace

size_t WalkFrames(CRecordingReader& reader, EImages images,
                  const std::function<void(SourceFrame& frame)>& take) {
    SourceFrame frame;
    size_t taken = 0;
    for (size_t& i = frame.m_index; i < reader.FrameCount(); ++i) {
        if (IsInterrupted()) {
            throw CToolError(EExitCode::Interrupted, "interrupted, nothing was written");
        }
        if (!reader.ReadDepth(i, &frame.m_samples)) {
            continue;
        }
        ReadColor(reader, images, &frame);
        if (!reader.ReadFacts(i, &frame.m_facts)) {
            frame.m_facts = {i + 1, TimeOf(reader, i), TimeOf(reader, i), 0, false};
        }
        take(frame);
        ++taken;
    }
    return taken;
}

RgbImage ColorOf(const CRecordingReader& reader, const SourceFrame& frame) {
    const PngSize size = reader.ColorSize();
    return frame.m_planes.empty() ? RgbImage() : ColorOfPlanes(frame.m_planes, size.m_width, size.m_height);
}

DepthImage DepthOf(const CRecordingReader& reader, SourceFrame& frame) {
    const PngSize size = reader.DepthSize();
    DepthImage depth;
    depth.m_width = size.m_width;
    depth.m_height = size.m_height;
    depth.m_samples.swap(frame.m_samples);
    return depth;
}

} // namespace ox3d::tool
