// ColorAligner.cpp - see ColorAligner.h.
#include "src/Manager/ColorAligner.h"

#include <atomic>
#include <cstring>

#include "base/WorkerPool.h"
#include "src/Common/AsyncLog.h"
#include "src/Manager/ImageSize.h"

// Null where a maker's library has taken the place of the project's own.
#pragma weak OX_MP_ScalingRows

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr uint32_t kPlanes = 3;

} // namespace

// The buffer keeps the size of the first alignment: a larger depth resolution needs a new open.
uint32_t CColorAligner::EnsureResources(uint64_t targetPixels) {
    if (m_scaler == nullptr) {
        m_scaler = OX_MP_CreateHandle();
        if (m_scaler == nullptr) {
            OX_LOG_ERROR("[RgbResolutionAlign] OX_MP_CreateHandle failed.\r\n");
            return OX3D_RGBD_E_MEMORY;
        }
    }
    // An empty depth image must not fix the size of the buffer.
    const bool isSize = targetPixels != 0 && targetPixels <= kMaxImageBytes / kPlanes;
    const uint64_t needed = isSize ? targetPixels * kPlanes : UINT64_MAX;
    if (m_scaledBytes == 0 && needed <= kMaxImageBytes && m_scaled.Grow(needed)) {
        m_scaledBytes = needed;
    }
    if (needed > m_scaledBytes || !m_scaled.EnsureExists()) {
        OX_LOG_ERROR("[RgbResolutionAlign] aligned buffer holds [%llu], needed [%llu].\r\n",
                     static_cast<unsigned long long>(m_scaledBytes), static_cast<unsigned long long>(needed));
        return OX3D_RGBD_E_MEMORY;
    }
    return OX3D_RGBD_OK;
}

OX_MP_SCALING_PARAM CColorAligner::PlaneOf(const OX3D_RGBD_IMAGE_DATA& depth,
                                           const OX3D_RGBD_IMAGE_DATA& color, uint32_t plane) const {
    const uint64_t sourceBytes = PixelCount(color);
    const uint64_t targetBytes = PixelCount(depth);
    OX_MP_SCALING_PARAM param;
    memset(&param, 0, sizeof(param));
    param.nSrcWidth = color.nWidth;
    param.nSrcHeight = color.nHeight;
    param.pSrcData = color.pData + plane * sourceBytes;
    param.nSrcLen = color.nDataLen / kPlanes;
    param.nDstWidth = depth.nWidth;
    param.nDstHeight = depth.nHeight;
    param.pDstData = m_scaled.Data() + plane * targetBytes;
    param.nDstBufSize = static_cast<uint32_t>(targetBytes);
    param.nDstLen = static_cast<uint32_t>(targetBytes);
    param.nMethod = OX_MP_METHOD_BILINEAR;
    return param;
}

// By several threads, if so many are allowed. False: the planes have to be scaled one by one, which tells why.
bool CColorAligner::ScaleTogether(const OX3D_RGBD_IMAGE_DATA& depth,
                                  const OX3D_RGBD_IMAGE_DATA& color) const {
    const ox3d::CPoolTurn turn(PixelCount(depth));
    if (turn.Threads() == 1 || OX_MP_ScalingRows == nullptr) {
        return false;
    }
    // No more parts than needed: each makes the tables of a row for itself.
    const uint32_t parts = turn.Threads();
    std::atomic<bool> isWhole{true};
    turn.Run(kPlanes * parts, [&](uint32_t i) {
        OX_MP_SCALING_PARAM param = PlaneOf(depth, color, i / parts);
        const auto rowOf = [&](uint32_t part) {
            return static_cast<uint32_t>(uint64_t{depth.nHeight} * part / parts);
        };
        const uint32_t first = rowOf(i % parts);
        if (OX_MP_ScalingRows(m_scaler, &param, first, rowOf(i % parts + 1) - first) != OX_MP_OK) {
            isWhole.store(false, std::memory_order_relaxed);
        }
    });
    return isWhole;
}

uint32_t CColorAligner::ScalePlanes(const OX3D_RGBD_IMAGE_DATA& depth, const OX3D_RGBD_IMAGE_DATA& color) {
    if (ScaleTogether(depth, color)) {
        return OX3D_RGBD_OK;
    }
    for (uint32_t plane = 0; plane < kPlanes; ++plane) {
        OX_MP_SCALING_PARAM param = PlaneOf(depth, color, plane);
        if (m_scaler == nullptr) {
            OX_LOG_ERROR("[RgbResolutionAlign] LoadMediaProcess failed!\r\n");
            return OX3D_RGBD_E_LOAD_LIBRARY;
        }
        const int status = OX_MP_Scaling(m_scaler, &param);
        if (status != OX_MP_OK) {
            OX_LOG_ERROR("[RgbResolutionAlign] OX_MP_Scaling failed,  nRet:[%x]!\r\n", status);
            return OX3D_RGBD_E_MEMORY;
        }
    }
    return OX3D_RGBD_OK;
}

uint32_t CColorAligner::Align(const OX3D_RGBD_IMAGE_DATA* depth, OX3D_RGBD_IMAGE_DATA* color) {
    if (depth == nullptr || color == nullptr) {
        OX_LOG_ERROR("[RgbResolutionAlign] param is null, invalid \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (depth->nWidth == color->nWidth && depth->nHeight == color->nHeight) {
        OX_LOG_DEBUG("[RgbResolutionAlign]  nWidth and nHeight is same.\r\n");
        return OX3D_RGBD_OK;
    }
    uint32_t status = EnsureResources(PixelCount(*depth));
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    if (PixelCount(*color) > color->nDataLen / kPlanes) {
        OX_LOG_ERROR("[RgbResolutionAlign] planes of [%u] bytes are too short for %u x %u.\r\n",
                     color->nDataLen / kPlanes, color->nWidth, color->nHeight);
        return OX3D_RGBD_E_MEMORY;
    }
    status = ScalePlanes(*depth, *color);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    color->nWidth = depth->nWidth;
    color->nHeight = depth->nHeight;
    color->nDataLen = static_cast<uint32_t>(PixelCount(*depth) * kPlanes);
    color->pData = m_scaled.Data();
    return OX3D_RGBD_OK;
}

void CColorAligner::Release() {
    m_scaled.Free();
    m_scaledBytes = 0;
    if (m_scaler != nullptr) {
        OX_MP_DestroyHandle(m_scaler);
        m_scaler = nullptr;
    }
}
