// RecordingSource.h - a recording as a source of frames.
#ifndef OX3D_VIRTUAL_CAMERA_RECORDING_SOURCE_H
#define OX3D_VIRTUAL_CAMERA_RECORDING_SOURCE_H

#include "recording/RecordingReader.h"
#include "virtual-camera/frames/FrameSource.h"

namespace ox3d {

class CRecordingSource : public CFrameSource {
public:
    // Decoded frames stay in memory when all of them fit into this.
    static constexpr uint64_t kMaxCacheBytes = uint64_t{512} << 20U;

    // Null with a reason in *error when there is no usable recording.
    static std::unique_ptr<CFrameSource> Create(const FrameSourceConfig& config, std::string* error,
                                                uint64_t maxCacheBytes = kMaxCacheBytes);

    uint32_t DepthWidth() const override { return m_reader->DepthSize().m_width; }
    uint32_t DepthHeight() const override { return m_reader->DepthSize().m_height; }
    uint32_t ColorWidth() const override { return m_reader->ColorSize().m_width; }
    uint32_t ColorHeight() const override { return m_reader->ColorSize().m_height; }
    const std::string& CalibrationXml() const override { return m_reader->CalibrationXml(); }
    bool HasRightView() const override { return m_reader->HasPair(); }
    // Grey views are those that were recorded. Without them there is a left one alone, the luma of the color image at the
    // depth image's size, and black where the frame has no color.
    bool Render(uint64_t index, bool wantColor, bool wantGreyPair, FrameImages* images) override;

    const RecordedCamera* Recorded() const override { return &m_reader->Camera(); }
    std::optional<std::chrono::nanoseconds> TimeBefore(uint64_t index) const override;

    bool HasEnded(uint64_t index) const override {
        return m_badFrames == m_frames.size() || (!m_loop && index >= m_frames.size());
    }

private:
    struct Frame {
        bool m_isBad = false; // never tried again
        bool m_isDepthDecoded = false;
        bool m_isColorDecoded = false;
        bool m_isPairDecoded = false;
        std::vector<uint16_t> m_depth;
        std::vector<uint8_t> m_color;
        std::vector<uint8_t> m_pair;
        std::optional<RecordedFacts> m_facts;
    };

    CRecordingSource(std::unique_ptr<CRecordingReader> reader, const FrameSourceConfig& config,
                     uint64_t maxCacheBytes);
    uint64_t MeanTimeNs() const;
    void FindPass();
    bool LoadDepth(size_t number);
    bool LoadColor(size_t number);
    bool LoadPair(size_t number);
    void Forget(size_t next);
    void FillGreyViews(size_t number, FrameImages* images);
    void FillLuma(const Frame& frame, std::vector<uint8_t>* view) const;

    std::unique_ptr<CRecordingReader> m_reader;
    bool m_loop;
    double m_speed;
    // From the first frame of a pass to that of the next.
    uint64_t m_passTicks = 0; // of the camera's clock
    uint64_t m_passNumbers = 0;
    bool m_isCached = false;
    std::vector<Frame> m_frames;
    size_t m_badFrames = 0;
    size_t m_lastFrame = 0; // the one that is decoded while frames are not cached
};

} // namespace ox3d

#endif
