// The frames of the recording that is converted, one after the other.
#ifndef OX3D_TOOL_SOURCE_FRAMES_H
#define OX3D_TOOL_SOURCE_FRAMES_H

#include "recording/RecordingReader.h"
#include "tools/ox3d/pictures/Images.h"

#include <functional>

namespace ox3d::tool {

// A frame of the source as it is.
struct SourceFrame {
    size_t m_index = 0;
    RecordedFacts m_facts; // made up where nothing is known
    std::vector<uint16_t> m_samples;
    std::vector<uint8_t> m_planes; // empty: no color
    std::vector<uint8_t> m_jpeg;   // the color image as it lies in the source; then there are no planes
};

enum class EImages { Depth, All, AllAsTheyLie };

// Hands every frame that can be read to `take`; the reader tells of the others. Returns how many those are. Throws a
// CToolError when it is interrupted.
size_t WalkFrames(CRecordingReader& reader, EImages images,
                  const std::function<void(SourceFrame& frame)>& take);

// Its images; the depth's samples are taken out of it. An empty image is no color.
RgbImage ColorOf(const CRecordingReader& reader, const SourceFrame& frame);
DepthImage DepthOf(const CRecordingReader& reader, SourceFrame& frame);

} // namespace ox3d::tool

#endif
