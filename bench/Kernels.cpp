// Kernels.cpp - see Kernels.h.
#include "bench/Kernels.h"

#include "algorithm/binostereo/TransformTiers.h"
#include "algorithm/rgbd/RgbdInterleave.h"
#include "algorithm/scaling/BilinearTiers.h"
#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <stdexcept>

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

void Project(const TransformImages& images) {
    using namespace ox3d::stereo;
    const DepthScene& scene = images.m_scene;
    const int32_t width = scene.m_size.m_width;
    const TransformArgs<float> args{scene.m_depth.data(),
                                    width,
                                    width,
                                    scene.m_size.m_height,
                                    nullptr,
                                    images.m_target.Data(),
                                    width,
                                    scene.m_depthCamera,
                                    scene.m_transform,
                                    scene.m_colorCamera,
                                    nullptr};
    if (KernelsFor(ETransformMode::C1, args).m_countHits(args) == 0) {
        throw std::runtime_error("nothing of the scene lands");
    }
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
