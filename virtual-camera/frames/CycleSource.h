// CycleSource.h - the first frames of another source over and over, rendered once.
//
// For rates and sizes at which rendering every frame anew is more than the host can do.
#ifndef OX3D_VIRTUAL_CAMERA_CYCLE_SOURCE_H
#define OX3D_VIRTUAL_CAMERA_CYCLE_SOURCE_H

#include "virtual-camera/frames/FrameSource.h"

namespace ox3d {

class CCycleSource : public CFrameSource {
public:
    // Renders depth and color of all frames. Null when the source has none, or memory is short.
    static std::unique_ptr<CFrameSource> Create(std::unique_ptr<CFrameSource> source, uint32_t frames,
                                                std::string* error);

    uint32_t DepthWidth() const override { return m_source->DepthWidth(); }
    uint32_t DepthHeight() const override { return m_source->DepthHeight(); }
    uint32_t ColorWidth() const override { return m_source->ColorWidth(); }
    uint32_t ColorHeight() const override { return m_source->ColorHeight(); }
    bool HasRightView() const override { return m_source->HasRightView(); }
    const std::string& CalibrationXml() const override { return m_source->CalibrationXml(); }
    // Frame `index` is the source's frame `index` modulo the number of frames.
    bool Render(uint64_t index, bool wantColor, bool wantGreyPair, FrameImages* images) override;

private:
    explicit CCycleSource(std::unique_ptr<CFrameSource> source) : m_source(std::move(source)) {}

    std::unique_ptr<CFrameSource> m_source;
    bool m_isUsable = false;
    std::vector<FrameImages> m_frames; // with color; grey views are added when they are first wanted
};

} // namespace ox3d

#endif
