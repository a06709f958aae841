// Images.cpp - the inputs that take more than a buffer; see Images.h.
#include "bench/Images.h"

#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <algorithm>

namespace ox3dbench {
namespace {

// Bytes of the fusion's persistent and scratch memory.
std::pair<uint64_t, uint64_t> FusionBytes(Size size) {
    uint64_t persistent = 0;
    uint64_t scratch = 0;
    OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize({size.m_width, size.m_height}, &persistent, &scratch);
    return {persistent, scratch};
}

} // namespace

RemapImages::RemapImages(Size size)
    : m_size(size), m_index(size.Pixels()), m_weights(4 * size.Pixels()), m_from(size.Pixels()),
      m_to(size.Pixels()) {
    const auto width = static_cast<float>(size.m_width);
    const auto height = static_cast<float>(size.m_height);
    const float matrix[9] = {width, 0, width / 2, 0, width, height / 2, 0, 0, 1};
    const float distortion[5] = {-0.12F, 0.03F, 0.0005F, -0.0004F, 0.0F};
    const float turn[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    const float projection[12] = {width, 0, width / 2, 0, 0, width, height / 2, 0, 0, 0, 1, 0};
    std::copy(std::begin(matrix), std::end(matrix), m_matrix);
    std::copy(std::begin(distortion), std::end(distortion), m_distortion);
    OXB3D_BINOSTEREO_CAMERA camera{};
    std::copy(std::begin(matrix), std::end(matrix), camera.matrix);
    std::copy(std::begin(distortion), std::end(distortion), camera.distortion);
    alignas(8) uint8_t scratch[OXB3D_BINOSTEREO_RECT_MAP_SCRATCH];
    OXB3D_BINOSTEREO_RCT_GeneUndistortRectMap(size.m_width, size.m_height, &camera, 0, turn, projection,
                                              m_index.Data(), m_weights.Data(), scratch);
}

FusionImages::FusionImages(Size size)
    : m_scene(Shared<DepthScene>(size)), m_persistent(FusionBytes(size).first),
      m_scratch(FusionBytes(size).second), m_out(size.Pixels()) {
    OXB3D_BINOSTEREO_MULTI_FUSE_Init(m_persistent.Data(), {size.m_width, size.m_height}, m_persistent.Data(),
                                     m_scratch.Data());
}

// Words as process 6 sets them for the parameters' defaults: region, kernel, mode 1, threshold, pinned, peak,
// shifts.
void FusionImages::Fuse() {
    const Size size = m_scene.m_size;
    const int32_t config[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS] = {
        5, 5, size.m_width - 6, size.m_height - 6, 11, 1, 155, 1, 70, 0, 0};
    const std::vector<int16_t>& depth = m_isOdd ? m_scene.m_next : m_scene.m_depth;
    const OXB3D_BINOSTEREO_FUSE_FRAME frame{depth.data(), m_scene.m_grey.data(), size.m_width, size.m_height};
    OXB3D_BINOSTEREO_MULTI_FUSE_Process(m_persistent.Data(), &frame, config, m_out.Data());
    m_isOdd = !m_isOdd;
}

} // namespace ox3dbench
