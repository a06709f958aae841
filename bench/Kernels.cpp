// Kernels.cpp - see Kernels.h.
#include "bench/Kernels.h"

#include "algorithm/rgbd/RgbdInterleave.h"
#include "algorithm/scaling/BilinearTiers.h"
#include <ox3drgbd/Oxb3dBinoStereo.h>

namespace ox3dbench {

void Transform(const Mode& mode, TransformImages& images) {
    const DepthScene& scene = images.m_scene;
    const int32_t width = scene.m_size.m_width;
    OXB3D_BINOSTEREO_Comn_Trans_f32(scene.m_depth.data(), width, width, scene.m_size.m_height,
                                    mode.m_hasPoints ? images.m_points.Data() : nullptr,
                                    mode.m_hasTarget ? images.m_target.Data() : nullptr, width,
                                    scene.m_depthCamera, mode.m_isMoved ? scene.m_transform : nullptr,
                                    scene.m_colorCamera, mode.m_isDistorted ? scene.m_distortion : nullptr);
}

void Interleave(RgbdImages& images) {
    const uint64_t pixels = images.m_pixels;
    ox3d::InterleaveRgbd({images.m_color.Data(), 3 * pixels}, {images.m_depth.Data(), 2 * pixels}, pixels,
                         images.m_out.Data());
}

void ScalePlanes(ScaleImages& images) {
    const Size from = images.m_source;
    const Size to = images.m_target;
    for (size_t plane = 0; plane < 3; ++plane) {
        ox3d::scaling::ScaleBilinear({images.m_from.Data() + plane * from.Pixels(), from.m_width,
                                      from.m_height, images.m_to.Data() + plane * to.Pixels(), to.m_width,
                                      to.m_height});
    }
}

} // namespace ox3dbench
