// DepthConversion.cpp - see DepthConversion.h.
#include "src/Manager/DepthConversion.h"

#include <cstdlib>
#include <new>
#include <utility>

#include "base/ImageMemory.h"
#include "src/Common/AsyncLog.h"
#include "src/Manager/ImageSize.h"
#include <ox3drgbd/Oxb3dBinoStereo.h>

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr uint64_t kPointBytes = 3 * sizeof(float);

uint32_t CheckDepthImage(const OX3D_RGBD_IMAGE_DATA& image) {
    if (image.pData == nullptr) {
        OX_LOG_ERROR("[DepthMapConvert] pImageData is null, invalid \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (image.nWidth == 0 || image.nHeight == 0 || image.nDataLen == 0) {
        OX_LOG_ERROR("[DepthMapConvert] nWidth or nImageSize is 0, invalid \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (image.enImageType != OX3D_RGBD_PIXEL_DEPTH16) {
        OX_LOG_ERROR("[DepthMapConvert] enPixelType invalid[%#x] \r\n", image.enImageType);
        return OX3D_RGBD_E_PARAMETER;
    }
    // Twice the product of two 32-bit numbers can exceed 64 bits; half the length against the product cannot.
    const uint64_t pixels = PixelCount(image);
    if (image.nDataLen % 2 != 0 || image.nDataLen / 2 != pixels) {
        OX_LOG_ERROR("[DepthMapConvert] nWidth %d  len (%d) not match Imagelen(%d), invalid \r\n",
                     image.nWidth, image.nDataLen, static_cast<uint32_t>(pixels * 2));
        return OX3D_RGBD_E_PARAMETER;
    }
    return OX3D_RGBD_OK;
}

// Time stamp and stream type are the caller's.
void DescribePoints(const OX3D_RGBD_IMAGE_DATA& depth, float* points, OX3D_RGBD_IMAGE_DATA* out) {
    out->enImageType = OX3D_RGBD_PIXEL_POINT_CLOUD;
    out->nReserved0 = 0;
    out->nWidth = depth.nWidth;
    out->nHeight = depth.nHeight;
    out->nDataLen = static_cast<uint32_t>(PixelCount(depth) * kPointBytes);
    out->nFrameNum = depth.nFrameNum;
    out->pData = reinterpret_cast<uint8_t*>(points);
}

// Frame number, time stamp and stream type stay: `out` may be the depth image itself.
void DescribeDepth(const OX3D_RGBD_IMAGE_DATA& depth, uint8_t* data, OX3D_RGBD_IMAGE_DATA* out) {
    out->enImageType = OX3D_RGBD_PIXEL_DEPTH16;
    out->nWidth = depth.nWidth;
    out->nHeight = depth.nHeight;
    out->nDataLen = static_cast<uint32_t>(PixelCount(depth) * sizeof(int16_t));
    out->pData = data;
}

} // namespace

CDepthConversion::CDepthConversion(CalibrationLoader loadCalibration)
    : m_loadCalibration(std::move(loadCalibration)) {}

uint32_t CDepthConversion::Convert(const OX3D_RGBD_IMAGE_DATA* depthIn, OX3D_RGBD_IMAGE_DATA* depthOut,
                                   OX3D_RGBD_IMAGE_DATA* pointCloudOut) {
    if (depthIn == nullptr || (depthOut == nullptr && pointCloudOut == nullptr)) {
        OX_LOG_ERROR("[DepthMapConvert] param is null, invalid \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = CheckDepthImage(*depthIn);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    {
        const COXLock lock(&m_mutex);
        status = EnsureBuffers(PixelCount(*depthIn));
    }
    status = status != OX3D_RGBD_OK ? status : EnsureCalibration(depthIn->nWidth);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const COXLock lock(&m_mutex); // buffers only grow: those ensured above still serve
    const bool isDepthMade = depthOut != nullptr && !m_calibration.m_isDepthLeft;
    if (pointCloudOut != nullptr && !m_calibration.m_hasDepth) {
        OX_LOG_ERROR("[DepthMapConvert] Left_correct is null.\r\n");
        return OX3D_RGBD_E_NO_DATA;
    }
    if (isDepthMade || pointCloudOut != nullptr) {
        status = EnsureConverter();
        status =
            status != OX3D_RGBD_OK ? status : RunConverter(*depthIn, isDepthMade, pointCloudOut != nullptr);
        if (status != OX3D_RGBD_OK) {
            return status;
        }
    }
    if (pointCloudOut != nullptr) {
        DescribePoints(*depthIn, m_pPointBuffer, pointCloudOut);
    }
    if (depthOut != nullptr) {
        DescribeDepth(*depthIn, isDepthMade ? m_depthBuffer.Lend() : depthIn->pData, depthOut);
    }
    return OX3D_RGBD_OK;
}

bool CDepthConversion::Calibration(DepthCalibration* out) {
    if (!m_isCalibrationLoaded) {
        return false;
    }
    const COXLock lock(&m_mutex);
    *out = m_calibration;
    return true;
}

uint32_t CDepthConversion::CalibrationFor(const OX3D_RGBD_IMAGE_DATA& depth, DepthCalibration* out) {
    uint32_t status = CheckDepthImage(depth);
    status = status != OX3D_RGBD_OK ? status : EnsureCalibration(depth.nWidth);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const COXLock lock(&m_mutex);
    *out = m_calibration;
    return OX3D_RGBD_OK;
}

void CDepthConversion::ReclaimDepth() {
    const COXLock lock(&m_mutex);
    m_depthBuffer.TakeBack();
}

void CDepthConversion::Release() {
    const COXLock lock(&m_mutex);
    free(m_pPointBuffer);
    m_pPointBuffer = nullptr;
    m_depthBuffer.FreeAll();
    m_bufferPixels = 0;
    m_pDepthConvert.reset();
    m_spareConvert.reset();
}

uint32_t CDepthConversion::EnsureBuffers(uint64_t pixels) {
    if (pixels > kMaxImageBytes / kPointBytes) {
        OX_LOG_ERROR("[DepthMapConvert] m_pDepthBuffer malloc failed.\r\n");
        return OX3D_RGBD_E_MEMORY;
    }
    if (m_depthBuffer.Data() == nullptr || m_bufferPixels < pixels) {
        if (!m_depthBuffer.Replace(pixels * sizeof(int16_t))) {
            OX_LOG_ERROR("[DepthMapConvert] m_pDepthBuffer malloc failed.\r\n");
            return OX3D_RGBD_E_MEMORY;
        }
        OX_LOG_INFO("[DepthMapConvert] m_pDepthBuffer new success.\r\n");
    }
    if (m_pPointBuffer == nullptr || m_bufferPixels < pixels) {
        auto* points = static_cast<float*>(ox3d::AllocateImageMemory(pixels * kPointBytes));
        if (points == nullptr) {
            OX_LOG_ERROR("[DepthMapConvert] m_pPointBuffer new failed.\r\n");
            return OX3D_RGBD_E_MEMORY;
        }
        free(m_pPointBuffer);
        m_pPointBuffer = points;
        m_bufferPixels = pixels;
        OX_LOG_INFO("[DepthMapConvert] m_pPointBuffer new success.\r\n");
    }
    return OX3D_RGBD_OK;
}

// Read once: the set that the first image selects stays for other resolutions.
uint32_t CDepthConversion::EnsureCalibration(uint32_t depthWidth) {
    if (m_isCalibrationLoaded) {
        return OX3D_RGBD_OK;
    }
    DepthCalibration calibration = {};
    const uint32_t status = m_loadCalibration(depthWidth, &calibration);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const COXLock lock(&m_mutex);
    if (!m_isCalibrationLoaded) {
        m_calibration = calibration;
        m_isDepthLeft = calibration.m_isDepthLeft;
        m_isCalibrationLoaded = true;
    }
    return OX3D_RGBD_OK;
}

uint32_t CDepthConversion::EnsureConverter() {
    if (m_pDepthConvert != nullptr) {
        return OX3D_RGBD_OK;
    }
    auto converter = std::move(m_spareConvert);
    if (converter == nullptr) {
        converter.reset(new (std::nothrow) CDepthConvertVm);
        if (converter == nullptr) {
            OX_LOG_ERROR("[DepthMapConvert]  new m_pDepthConvert failed.nRet[%#x] \r\n", 0u);
            return OX3D_RGBD_E_MEMORY;
        }
    }
    const uint32_t status = converter->Init();
    if (status != OX3D_RGBD_OK) {
        m_spareConvert = std::move(converter);
        OX_LOG_ERROR("[DepthMapConvert]  m_pDepthConvert->Init failed.nRet[%#x] \r\n", status);
        return OX3D_RGBD_E_ALGORITHM;
    }
    m_pDepthConvert = std::move(converter);
    return OX3D_RGBD_OK;
}

uint32_t CDepthConversion::RunConverter(const OX3D_RGBD_IMAGE_DATA& depth, bool isDepthWanted,
                                        bool arePointsWanted) {
    const auto width = static_cast<int32_t>(depth.nWidth);
    const auto height = static_cast<int32_t>(depth.nHeight);
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT input = {};
    input.sourceDepth.format = ZQA_FORMAT_DEPTH16;
    input.sourceDepth.width = width;
    input.sourceDepth.height = height;
    input.sourceDepth.step[0] = width;
    input.sourceDepth.data[0] = depth.pData;
    input.sourceIntrinsics = m_calibration.m_depthIntrinsics;
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT output = {};
    output.pointsFloat = arePointsWanted ? m_pPointBuffer : nullptr;
    output.targetDepth.width = width;
    output.targetDepth.height = height;
    output.targetDepth.step[0] = width;
    if (isDepthWanted) {
        // Registration runs without the color lens's distortion, which is loaded but never handed on.
        input.transform = m_calibration.m_depthToColor;
        input.targetIntrinsics = m_calibration.m_colorIntrinsics;
        output.targetDepth.data[0] = m_depthBuffer.Data();
    }
    const uint32_t status = m_pDepthConvert->HfrVmCalProcess(&input, &output);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[DepthMapConvert]  m_pDepthConvert->HfrVmCalProcess failed.nRet[%#x] \r\n", status);
        return OX3D_RGBD_E_ALGORITHM;
    }
    return OX3D_RGBD_OK;
}
