// FakeSource.h - images whose every pixel says which frame it belongs to, small enough to compare whole.
#ifndef OX3D_TEST_FAKE_SOURCE_H
#define OX3D_TEST_FAKE_SOURCE_H

#include "virtual-camera/CameraModel.h"

namespace ox3d::test {

class CFakeSource : public CFrameSource {
public:
    // Ticks: of a recorded frame 0; the next ones follow by a million each.
    explicit CFakeSource(uint64_t frames, std::optional<uint64_t> ticks = {})
        : m_frames(frames), m_ticks(ticks) {}
    uint32_t DepthWidth() const override { return 8; }
    uint32_t DepthHeight() const override { return 4; }
    uint32_t ColorWidth() const override { return 6; }
    uint32_t ColorHeight() const override { return 2; }
    const std::string& CalibrationXml() const override { return m_calibration; }
    bool Render(uint64_t index, bool wantColor, bool wantGreyPair, FrameImages* images) override {
        images->m_depthWidth = 8;
        images->m_depthHeight = 4;
        images->m_depth.assign(32, static_cast<uint16_t>(1000 + index));
        images->m_colorWidth = wantColor ? 6 : 0;
        images->m_colorHeight = wantColor ? 2 : 0;
        images->m_color.assign(wantColor ? 36 : 0, static_cast<uint8_t>(index));
        images->m_greyPair.assign(wantGreyPair ? 64 : 0, static_cast<uint8_t>(100 + index));
        if (m_ticks) {
            images->m_ticks = *m_ticks + index * 1000000;
        }
        return index < m_frames;
    }
    bool HasEnded(uint64_t index) const override { return index >= m_frames; }

private:
    const uint64_t m_frames;
    const std::optional<uint64_t> m_ticks;
    const std::string m_calibration = "<SensorCali/>";
};

inline CameraConfig FakeConfig(ETransport transport = ETransport::GigE) {
    CameraConfig config = DefaultCameraList().front();
    config.m_transport = transport;
    config.m_fps = 200;
    return config;
}

// A prepared camera over a fake source that ends after so many frames; it may take the place of another one.
class CFakeCamera : public CCameraModel {
public:
    explicit CFakeCamera(const CameraConfig& config = FakeConfig(), uint64_t frames = UINT64_MAX,
                         const CCameraModel* before = nullptr)
        : CCameraModel(config, [frames](const FrameSourceConfig&, std::string*) {
              return std::make_unique<CFakeSource>(frames);
          }) {
        if (before != nullptr) {
            AdoptState(*before);
        }
        std::string error;
        Prepare(&error);
    }
};

} // namespace ox3d::test

#endif
