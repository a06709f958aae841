// RecordingSource.h - a folder of recorded images as a source of frames: depth/NNNNNN.png, color/NNNNNN.png
// and calibration.xml. Depth and color belong together by their numbers.
#ifndef OX3D_VIRTUAL_CAMERA_RECORDING_SOURCE_H
#define OX3D_VIRTUAL_CAMERA_RECORDING_SOURCE_H

#include "base/PngFile.h"
#include "virtual-camera/frames/FrameSource.h"

namespace ox3d {

class CRecordingSource : public CFrameSource {
public:
    // Decoded frames are kept when all of them fit into this.
    static constexpr uint64_t kKeepBytes = uint64_t{512} << 20U;

    // Null with a reason in *error when the folder holds no usable recording. Files that do not fit to the
    // others are left out with a message on the standard error output.
    static std::unique_ptr<CFrameSource> Create(const FrameSourceConfig& config, std::string* error);

    uint32_t DepthWidth() const override { return m_depthSize.m_width; }
    uint32_t DepthHeight() const override { return m_depthSize.m_height; }
    uint32_t ColorWidth() const override { return m_colorSize.m_width; }
    uint32_t ColorHeight() const override { return m_colorSize.m_height; }
    const std::string& CalibrationXml() const override { return m_calibrationXml; }
    // A recording has one view only: both grey views are the luma of the color image at the depth image's
    // size, and black where the frame has no color.
    bool Render(uint64_t index, bool wantColor, bool wantGreyPair, FrameImages* images) override;

    bool HasEnded(uint64_t index) const override {
        return m_badFrames == m_frames.size() || (!m_loop && index >= m_frames.size());
    }

    // For those who want to know how long a recording is before they play it.
    size_t FrameCount() const { return m_frames.size(); }

private:
    struct Frame {
        std::string m_depthPath;
        std::string m_colorPath; // empty: no color
        bool m_isBad = false;    // said once, never tried again
        bool m_isDepthDecoded = false;
        bool m_isColorDecoded = false;
        std::vector<uint16_t> m_depth;
        std::vector<uint8_t> m_color;
    };

    explicit CRecordingSource(bool loop) : m_loop(loop) {}
    bool Scan(const std::string& folder, std::string* error);
    bool Admit(const std::string& depthPath, const std::string& colorPath);
    bool LoadDepth(Frame* frame);
    bool LoadColor(Frame* frame);
    void Forget(const Frame* keep);
    void FillGreyPair(const Frame& frame, FrameImages* images) const;

    bool m_loop;
    bool m_keepsFrames = false;
    PngSize m_depthSize;
    PngSize m_colorSize;
    std::string m_calibrationXml;
    std::vector<Frame> m_frames;
    size_t m_badFrames = 0;
    Frame* m_lastFrame = nullptr; // the one that is decoded while frames are not kept
};

} // namespace ox3d

#endif
