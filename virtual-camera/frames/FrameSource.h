// FrameSource.h - where a virtual camera's images come from.
//
// A source is a function from a frame index to images: it holds no clock and no buffers of its callers. The
// camera model decides when a frame is taken and packs the images into payload and chunks.
#ifndef OX3D_VIRTUAL_CAMERA_FRAME_SOURCE_H
#define OX3D_VIRTUAL_CAMERA_FRAME_SOURCE_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "recording/RecordedFrame.h"

namespace ox3d {

// Images of one frame. Buffers are reused from frame to frame: a source resizes them only when sizes change.
struct FrameImages {
    uint32_t m_depthWidth = 0;
    uint32_t m_depthHeight = 0;
    std::vector<uint16_t> m_depth; // millimetres, row-major, 0 = no data

    uint32_t m_colorWidth = 0; // 0: the frame has no color image
    uint32_t m_colorHeight = 0;
    std::vector<uint8_t> m_color; // three planes R, G, B of m_colorWidth x m_colorHeight bytes

    std::optional<uint64_t> m_ticks; // of the camera's clock when the frame was taken; none: when it is shown

    std::optional<uint64_t> m_number; // that the frame was recorded under; none: as the camera counts

    // The left grey view of the stereo pair and, where the frame has it, the right one below it, each of the depth's size.
    // Filled only when asked for.
    std::vector<uint8_t> m_greyPair;
};

// What a source is made from.
struct FrameSourceConfig {
    bool m_isRecording = false;
    std::string m_folder;        // recording: an MCAP file, or a folder with depth/, color/, calibration.xml
    bool m_loop = true;          // recording: start again at the end
    double m_speed = 1;          // recording: so many times as fast as it was recorded
    uint32_t m_depthWidth = 640; // scene only; a recording has its own sizes
    uint32_t m_depthHeight = 480;
    uint32_t m_colorWidth = 1280;
    uint32_t m_colorHeight = 960;
    bool m_noise = true;        // scene: depth noise and holes
    uint32_t m_seed = 1;        // scene: of the noise
    uint32_t m_cycleFrames = 0; // only so many frames, over and over, kept in memory; 0: no cycle
};

class CFrameSource {
public:
    virtual ~CFrameSource() = default;
    // Sizes of every frame of this source; color sizes are 0 where there is no color at all.
    virtual uint32_t DepthWidth() const = 0;
    virtual uint32_t DepthHeight() const = 0;
    virtual uint32_t ColorWidth() const = 0;
    virtual uint32_t ColorHeight() const = 0;
    // Whether there are frames with a right grey view.
    virtual bool HasRightView() const { return true; }
    // The text of the calibration file that belongs to the images.
    virtual const std::string& CalibrationXml() const = 0;
    // Fills the images of frame `index` (from 0). Grey views only when wanted. False when the frame cannot be
    // had; images are then unspecified. Not thread-safe: one caller at a time.
    virtual bool Render(uint64_t index, bool wantColor, bool wantGreyPair, FrameImages* images) = 0;
    // What was recorded of the camera, or null. Never changes, nor does it for what follows: any thread may ask.
    virtual const RecordedCamera* Recorded() const { return nullptr; }
    // From frame `index - 1` to this one, as the camera took them; none: whenever the camera is ready.
    virtual std::optional<std::chrono::nanoseconds> TimeBefore(uint64_t /*index*/) const {
        return std::nullopt;
    }
    // Whether nothing is to be expected of frame `index` and all that follow.
    virtual bool HasEnded(uint64_t /*index*/) const { return false; }
};

// Makes a source, or returns null and says why in *error. Throws nothing but std::bad_alloc.
std::unique_ptr<CFrameSource> CreateFrameSource(const FrameSourceConfig& config, std::string* error);

} // namespace ox3d

#endif
