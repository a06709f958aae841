// SceneSource.h - the procedural scene as a source of frames.
#ifndef OX3D_VIRTUAL_CAMERA_SCENE_SOURCE_H
#define OX3D_VIRTUAL_CAMERA_SCENE_SOURCE_H

#include "virtual-camera/frames/FrameSource.h"
#include "virtual-camera/frames/SceneBackdrop.h"

namespace ox3d {

class CSceneSource : public CFrameSource {
public:
    // The smallest and largest images that a scene can have; a color size of 0 x 0 means no color.
    static constexpr uint32_t kMinWidth = 640;
    static constexpr uint32_t kMinHeight = 480;
    static constexpr uint32_t kMaxWidth = 4000;
    static constexpr uint32_t kMaxHeight = 3000;

    // Null with a reason in *error when the sizes are out of range. Throws std::bad_alloc.
    static std::unique_ptr<CFrameSource> Create(const FrameSourceConfig& config, std::string* error);

    uint32_t DepthWidth() const override { return m_config.m_depthWidth; }
    uint32_t DepthHeight() const override { return m_config.m_depthHeight; }
    uint32_t ColorWidth() const override { return m_config.m_colorWidth; }
    uint32_t ColorHeight() const override { return m_config.m_colorHeight; }
    const std::string& CalibrationXml() const override { return m_calibrationXml; }
    bool Render(uint64_t index, bool wantColor, bool wantGreyPair, FrameImages* images) override;

private:
    explicit CSceneSource(const FrameSourceConfig& config);
    void RenderDepth(uint64_t index, const SceneBall& ball, FrameImages* images);
    void RenderColor(const SceneBall& ball, FrameImages* images);
    void RenderGreyPair(const SceneBall& ball, FrameImages* images);

    FrameSourceConfig m_config;
    std::string m_calibrationXml;
    // Rendered when the source is made, so that the first frame comes as fast as any other.
    std::shared_ptr<const CDepthBackdrop> m_depthBackdrop;
    std::shared_ptr<const CPictureBackdrop> m_colorBackdrop;
    // Rendered when first wanted: few cameras send the pair.
    std::shared_ptr<const CPictureBackdrop> m_leftBackdrop;
    std::shared_ptr<const CPictureBackdrop> m_rightBackdrop;
    std::vector<float> m_exactDepth; // of the frame being rendered
};

} // namespace ox3d

#endif
