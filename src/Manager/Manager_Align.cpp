// Manager_Align.cpp - the color image scaled plane by plane to the depth image's size.
#include <cstring>

#include "base/ImageMemory.h"
#include "src/Common/AsyncLog.h"
#include "src/Manager/Manager.h"
#include <ox3drgbd/OxMediaProcess.h>

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr uint32_t kPlanes = 3;
constexpr uint64_t kMaxImageBytes = UINT32_MAX;

uint64_t PixelCount(const OX3D_RGBD_IMAGE_DATA& image) {
    return static_cast<uint64_t>(image.nWidth) * image.nHeight;
}

} // namespace

uint32_t CManager::ScalePlanes(const OX3D_RGBD_IMAGE_DATA& depth, const OX3D_RGBD_IMAGE_DATA& color) {
    const uint64_t sourceBytes = PixelCount(color);
    const uint64_t targetBytes = PixelCount(depth);
    for (uint32_t plane = 0; plane < kPlanes; ++plane) {
        OX_MP_SCALING_PARAM param;
        memset(&param, 0, sizeof(param));
        param.nSrcWidth = color.nWidth;
        param.nSrcHeight = color.nHeight;
        param.pSrcData = color.pData + plane * sourceBytes;
        param.nSrcLen = color.nDataLen / kPlanes;
        param.nDstWidth = depth.nWidth;
        param.nDstHeight = depth.nHeight;
        param.pDstData = m_alignedColor + plane * targetBytes;
        param.nDstBufSize = static_cast<uint32_t>(targetBytes);
        param.nDstLen = static_cast<uint32_t>(targetBytes);
        param.nMethod = OX_MP_METHOD_BILINEAR;
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

uint32_t CManager::RgbResolutionAlign(const OX3D_RGBD_IMAGE_DATA* depth, OX3D_RGBD_IMAGE_DATA* color) {
    if (depth == nullptr || color == nullptr) {
        OX_LOG_ERROR("[RgbResolutionAlign] param is null, invalid \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (depth->nWidth == color->nWidth && depth->nHeight == color->nHeight) {
        OX_LOG_DEBUG("[RgbResolutionAlign]  nWidth and nHeight is same.\r\n");
        return OX3D_RGBD_OK;
    }
    if (m_scaler == nullptr) {
        m_scaler = OX_MP_CreateHandle();
        if (m_scaler == nullptr) {
            OX_LOG_ERROR("[RgbResolutionAlign] OX_MP_CreateHandle failed.\r\n");
            return OX3D_RGBD_E_MEMORY;
        }
    }
    const uint64_t targetPixels = PixelCount(*depth);
    // An empty depth image must not fix the size of the buffer either.
    const bool isSize = targetPixels != 0 && targetPixels <= kMaxImageBytes / kPlanes;
    const uint64_t needed = isSize ? targetPixels * kPlanes : UINT64_MAX;
    if (m_alignedColor == nullptr && needed <= kMaxImageBytes) {
        m_alignedColor = static_cast<uint8_t*>(ox3d::AllocateImageMemory(needed));
        m_alignedColorBytes = m_alignedColor != nullptr ? needed : 0;
    }
    // The buffer keeps the size of the first alignment: a larger depth resolution needs a new open.
    if (needed > m_alignedColorBytes) {
        OX_LOG_ERROR("[RgbResolutionAlign] aligned buffer holds [%llu], needed [%llu].\r\n",
                     static_cast<unsigned long long>(m_alignedColorBytes),
                     static_cast<unsigned long long>(needed));
        return OX3D_RGBD_E_MEMORY;
    }
    if (PixelCount(*color) > color->nDataLen / kPlanes) {
        OX_LOG_ERROR("[RgbResolutionAlign] planes of [%u] bytes are too short for %u x %u.\r\n",
                     color->nDataLen / kPlanes, color->nWidth, color->nHeight);
        return OX3D_RGBD_E_MEMORY;
    }
    const uint32_t status = ScalePlanes(*depth, *color);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    color->nWidth = depth->nWidth;
    color->nHeight = depth->nHeight;
    color->nDataLen = static_cast<uint32_t>(needed);
    color->pData = m_alignedColor;
    return OX3D_RGBD_OK;
}
