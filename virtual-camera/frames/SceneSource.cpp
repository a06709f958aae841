// SceneSource.cpp - puts a frame of the scene together: backdrop, ball, depth noise.
#include "virtual-camera/frames/SceneSource.h"

#include "virtual-camera/frames/GroundTruth.h"

#include <new>

namespace ox3d {
namespace {

constexpr uint16_t kMaxDepth = 32767; // a reader takes samples as signed

uint32_t Scrambled(uint32_t value) {
    value ^= value >> 16U;
    value *= 0x85EBCA6BU;
    value ^= value >> 13U;
    value *= 0xC2B2AE35U;
    value ^= value >> 16U;
    return value;
}

uint32_t FrameKey(uint32_t seed, uint64_t index) {
    const uint32_t low = Scrambled(static_cast<uint32_t>(index) ^ 0x9E3779B9U);
    const uint32_t high = Scrambled(static_cast<uint32_t>(index >> 32U) + 0x7F4A7C15U);
    return Scrambled(low + Scrambled(high ^ Scrambled(seed)));
}

// A nearly normal number of variance 1 for each pixel of a frame: the sum of four even ones, which are the
// bytes of a scrambled counter. Its largest value is 3.45.
float Gaussian(uint32_t frameKey, uint32_t pixel) {
    const uint32_t bits = Scrambled(pixel * 0x9E3779B1U ^ frameKey);
    const uint32_t sum = (bits & 255U) + ((bits >> 8U) & 255U) + ((bits >> 16U) & 255U) + (bits >> 24U);
    constexpr float kPerSigma = 1.0F / 147.80167F; // each byte has the variance (256 * 256 - 1) / 12
    return (static_cast<float>(sum) - 510.0F) * kPerSigma;
}

uint16_t Rounded(float depthMm) {
    if (!(depthMm > 0.0F)) {
        return 0;
    }
    const float rounded = depthMm + 0.5F;
    return rounded > kMaxDepth ? uint16_t{0} : static_cast<uint16_t>(rounded);
}

bool IsSize(uint32_t width, uint32_t height) {
    return width >= CSceneSource::kMinWidth && width <= CSceneSource::kMaxWidth &&
           height >= CSceneSource::kMinHeight && height <= CSceneSource::kMaxHeight;
}

std::string SizeText(uint32_t width, uint32_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

std::string OutOfRange(const char* what, uint32_t width, uint32_t height) {
    return std::string("scene: ") + what + " size " + SizeText(width, height) + " is not between " +
           SizeText(CSceneSource::kMinWidth, CSceneSource::kMinHeight) + " and " +
           SizeText(CSceneSource::kMaxWidth, CSceneSource::kMaxHeight);
}

} // namespace

std::unique_ptr<CFrameSource> CSceneSource::Create(const FrameSourceConfig& config, std::string* error) {
    if (!IsSize(config.m_depthWidth, config.m_depthHeight)) {
        *error = OutOfRange("depth", config.m_depthWidth, config.m_depthHeight);
        return nullptr;
    }
    const bool hasColor = config.m_colorWidth != 0 || config.m_colorHeight != 0;
    if (hasColor && !IsSize(config.m_colorWidth, config.m_colorHeight)) {
        *error = OutOfRange("color", config.m_colorWidth, config.m_colorHeight);
        return nullptr;
    }
    return std::unique_ptr<CFrameSource>(new CSceneSource(config));
}

CSceneSource::CSceneSource(const FrameSourceConfig& config)
    : m_config(config), m_calibrationXml(CGroundTruth(config).CalibrationXml()),
      m_depthBackdrop(SharedDepthBackdrop(config.m_depthWidth, config.m_depthHeight)) {
    if (config.m_colorWidth != 0) {
        m_colorBackdrop = SharedColorBackdrop(config.m_colorWidth, config.m_colorHeight);
    }
}

bool CSceneSource::Render(uint64_t index, bool wantColor, bool wantGreyPair, FrameImages* images) {
    try {
        const SceneBall ball = CSceneModel::Get().BallAt(index);
        RenderDepth(index, ball, images);
        images->m_colorWidth = 0;
        images->m_colorHeight = 0;
        if (wantColor && m_config.m_colorWidth != 0) {
            RenderColor(ball, images);
        }
        if (wantGreyPair) {
            RenderGreyPair(ball, images);
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void CSceneSource::RenderDepth(uint64_t index, const SceneBall& ball, FrameImages* images) {
    m_depthBackdrop->Render(ball, m_config.m_noise, &m_exactDepth);
    images->m_depthWidth = m_config.m_depthWidth;
    images->m_depthHeight = m_config.m_depthHeight;
    images->m_depth.resize(m_exactDepth.size());
    const uint32_t key = FrameKey(m_config.m_seed, index);
    const auto noisePerMm = static_cast<float>(m_config.m_noise ? kSceneNoisePerMm : 0.0);
    const uint32_t count = static_cast<uint32_t>(m_exactDepth.size());
    for (uint32_t i = 0; i < count; ++i) {
        const float exact = m_exactDepth[i];
        images->m_depth[i] = Rounded(exact + noisePerMm * exact * exact * Gaussian(key, i));
    }
}

void CSceneSource::RenderColor(const SceneBall& ball, FrameImages* images) {
    const uint32_t width = m_config.m_colorWidth;
    const uint32_t height = m_config.m_colorHeight;
    images->m_color.resize(static_cast<size_t>(width) * height * 3);
    m_colorBackdrop->Render(ball, images->m_color.data());
    images->m_colorWidth = width;
    images->m_colorHeight = height;
}

void CSceneSource::RenderGreyPair(const SceneBall& ball, FrameImages* images) {
    const uint32_t width = m_config.m_depthWidth;
    const uint32_t height = m_config.m_depthHeight;
    if (!m_leftBackdrop || !m_rightBackdrop) {
        m_leftBackdrop = SharedGreyBackdrop(width, height, false);
        m_rightBackdrop = SharedGreyBackdrop(width, height, true);
    }
    const size_t viewBytes = static_cast<size_t>(width) * height;
    images->m_greyPair.resize(viewBytes * 2);
    m_leftBackdrop->Render(ball, images->m_greyPair.data());
    m_rightBackdrop->Render(ball, images->m_greyPair.data() + viewBytes);
}

} // namespace ox3d
