// FrameAligner.cpp - see FrameAligner.h.
#include "src/Manager/FrameAligner.h"

#include <algorithm>
#include <cstring>

#include "algorithm/alignment/ColorToDepth.h"
#include "src/Common/AsyncLog.h"
#include "src/Manager/ImageSize.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr uint32_t kPlanes = 3;

uint32_t NoMemory(uint64_t bytes) {
    OX_LOG_ERROR("[FrameAlign] no memory for an image of [%llu] bytes.\r\n",
                 static_cast<unsigned long long>(bytes));
    return OX3D_RGBD_E_MEMORY;
}

uint32_t BadSize(const OX3D_RGBD_IMAGE_DATA& image) {
    OX_LOG_ERROR("[FrameAlign] images of %u x %u len(%u) are not aligned.\r\n", image.nWidth, image.nHeight,
                 image.nDataLen);
    return OX3D_RGBD_E_ALGORITHM;
}

// What is too large for a signed number is too large for the algorithm, too.
int32_t Side(uint32_t side) {
    return static_cast<int32_t>(std::min(side, static_cast<uint32_t>(INT32_MAX)));
}

ox3d::AlignArgs ArgsOf(const DepthCalibration& calibration, uint32_t stepPermille,
                       const OX3D_RGBD_IMAGE_DATA& depth) {
    ox3d::AlignArgs args = {reinterpret_cast<const uint16_t*>(depth.pData),
                            Side(depth.nWidth),
                            Side(depth.nHeight),
                            stepPermille,
                            {}};
    memcpy(args.m_cameras.m_depth, calibration.m_depthIntrinsics, sizeof(args.m_cameras.m_depth));
    memcpy(args.m_cameras.m_transform, calibration.m_depthToColor, sizeof(args.m_cameras.m_transform));
    memcpy(args.m_cameras.m_target, calibration.m_colorIntrinsics, sizeof(args.m_cameras.m_target));
    return args;
}

// Intrinsics of images of one size for those of another; the corners of both lie on each other.
void Rescale(double x, double y, float* intrinsics) {
    intrinsics[0] = static_cast<float>(intrinsics[0] * x);
    intrinsics[1] = static_cast<float>(intrinsics[1] * y);
    intrinsics[2] = static_cast<float>((intrinsics[2] + 0.5) * x - 0.5);
    intrinsics[3] = static_cast<float>((intrinsics[3] + 0.5) * y - 0.5);
}

// Depth keeps its own pixels: where the set is for images of another size, the color camera is brought to that of the
// depth, and the depth camera too, unless the set was chosen by the depth's width.
ox3d::AlignArgs FittedArgs(const CFrameAligner::Cameras& cameras, const OX3D_RGBD_IMAGE_DATA& depth) {
    const DepthCalibration& calibration = cameras.m_calibration;
    ox3d::AlignArgs args = ArgsOf(calibration, cameras.m_stepPermille, depth);
    if (calibration.m_setWidth == 0 || calibration.m_setHeight == 0) {
        return args;
    }
    const double x = static_cast<double>(depth.nWidth) / calibration.m_setWidth;
    const double y = static_cast<double>(depth.nHeight) / calibration.m_setHeight;
    if (calibration.m_setWidth != depth.nWidth) {
        Rescale(x, y, args.m_cameras.m_depth);
    }
    Rescale(x, y, args.m_cameras.m_target);
    return args;
}

} // namespace

uint32_t CFrameAligner::Fill(const ox3d::AlignArgs& args, const ox3d::CPoolTurn& turn) {
    const uint64_t bytes =
        sizeof(uint16_t) * static_cast<uint64_t>(args.m_width) * static_cast<uint64_t>(args.m_height);
    if (!m_filled.Grow(bytes)) {
        return NoMemory(bytes);
    }
    const bool isShared = turn.Threads() > 1 && m_spare.Grow(bytes * (turn.Threads() - 1));
    auto* spare = isShared ? reinterpret_cast<uint16_t*>(m_spare.Data()) : nullptr;
    return ox3d::Fill(args, reinterpret_cast<uint16_t*>(m_filled.Data()), turn, spare)
               ? OX3D_RGBD_OK
               : OX3D_RGBD_E_ALGORITHM;
}

uint32_t CFrameAligner::FillDepth(const Cameras& cameras, OX3D_RGBD_IMAGE_DATA* depth) {
    if (!ox3d::IsAlignSize(depth->nWidth, depth->nHeight)) {
        return BadSize(*depth);
    }
    const uint32_t status = Fill(FittedArgs(cameras, *depth), ox3d::CPoolTurn(PixelCount(*depth)));
    if (status == OX3D_RGBD_OK) {
        depth->pData = m_filled.Data();
    }
    return status;
}

uint32_t CFrameAligner::MoveColor(const Cameras& cameras, const OX3D_RGBD_IMAGE_DATA& depth,
                                  OX3D_RGBD_IMAGE_DATA* color, bool isMaskWanted) {
    if (!ox3d::IsAlignSize(depth.nWidth, depth.nHeight)) {
        return BadSize(depth);
    }
    if (color != nullptr && (!ox3d::IsAlignSize(color->nWidth, color->nHeight) ||
                             PixelCount(*color) > color->nDataLen / kPlanes)) {
        return BadSize(*color);
    }
    if (color == nullptr && !isMaskWanted) {
        return OX3D_RGBD_OK;
    }
    const uint64_t pixels = PixelCount(depth);
    if (color != nullptr && !m_color.Grow(pixels * kPlanes)) {
        return NoMemory(pixels * kPlanes);
    }
    if (isMaskWanted && !m_mask.Grow(pixels)) {
        return NoMemory(pixels);
    }
    const ox3d::AlignArgs args = FittedArgs(cameras, depth);
    const ox3d::CPoolTurn turn(pixels);
    const uint32_t status = Fill(args, turn);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    ox3d::ColorPlanes planes = {};
    if (color != nullptr) {
        planes = {color->pData, Side(color->nWidth), Side(color->nHeight)};
    }
    ox3d::ColorToDepth(args, reinterpret_cast<const uint16_t*>(m_filled.Data()), planes, turn, m_color.Data(),
                       isMaskWanted ? m_mask.Data() : nullptr);
    if (color != nullptr) {
        color->nWidth = depth.nWidth;
        color->nHeight = depth.nHeight;
        color->nDataLen = static_cast<uint32_t>(pixels * kPlanes);
        color->pData = m_color.Data();
    }
    return OX3D_RGBD_OK;
}

uint32_t CFrameAligner::MaskDepth(uint32_t stepPermille, const OX3D_RGBD_IMAGE_DATA& depth) {
    if (!ox3d::IsAlignSize(depth.nWidth, depth.nHeight)) {
        return BadSize(depth);
    }
    const uint64_t pixels = PixelCount(depth);
    if (!m_mask.Grow(pixels)) {
        return NoMemory(pixels);
    }
    const ox3d::AlignArgs args = ArgsOf({}, stepPermille, depth);
    ox3d::MaskFilled(args, args.m_depth, ox3d::CPoolTurn(pixels), m_mask.Data());
    return OX3D_RGBD_OK;
}

void CFrameAligner::Release() {
    m_filled.Free();
    m_spare.Free();
    m_color.Free();
    m_mask.Free();
}
