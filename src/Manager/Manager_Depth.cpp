// Manager_Depth.cpp - depth registered to the color camera, and depth as a point cloud. One conversion at a
// time: buffers, calibration and engine lie behind the conversion lock.
#include <cstring>
#include <new>

#include "base/BoundedText.h"
#include "base/ImageMemory.h"
#include "src/Common/AsyncLog.h"
#include "src/Manager/Manager.h"
#include <ox3drgbd/Oxb3dBinoStereo.h>

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr int32_t kDepthFormat = 3;             // of a ZQA_IMAGE: signed 16-bit samples
constexpr uint64_t kMaxImageBytes = UINT32_MAX; // lengths in image records are 32 bits wide

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
    const uint64_t pixels = static_cast<uint64_t>(image.nWidth) * image.nHeight;
    if (image.nDataLen % 2 != 0 || image.nDataLen / 2 != pixels) {
        OX_LOG_ERROR("[DepthMapConvert] nWidth %d  len (%d) not match Imagelen(%d), invalid \r\n",
                     image.nWidth, image.nDataLen, static_cast<uint32_t>(pixels * 2));
        return OX3D_RGBD_E_PARAMETER;
    }
    return OX3D_RGBD_OK;
}

} // namespace

uint32_t CManager::EnsureDepthBuffers(uint64_t pixels) {
    if (pixels > kMaxImageBytes / (3 * sizeof(float))) {
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
        auto* points = static_cast<float*>(ox3d::AllocateImageMemory(3 * pixels * sizeof(float)));
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

// Read once: a later change of resolution keeps the set that the first image chose. The camera is asked, and
// the file read, without the conversion lock: either may take long, and a camera may answer by a callback.
uint32_t CManager::EnsureCalibration(uint32_t depthWidth) {
    if (m_isCalibrationLoaded) {
        return OX3D_RGBD_OK;
    }
    OX3D_RGBD_DEVICE_INFO info;
    memset(&info, 0, sizeof(info));
    const uint32_t status = CamGetDeviceInfo(&info);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[DepthMapConvert] Get CamGetDeviceInfo failed, nRet:[%#x].\r\n", status);
        return OX3D_RGBD_E_NO_DATA;
    }
    const auto serialNumber = ox3d::FixedText(info.chSerialNumber);
    char name[kCalibrationNameBytes] = {};
    CalibrationFileName(serialNumber.c_str(), name);
    OX_LOG_INFO("[DepthMapConvert] RGBDSensorCali camSerialNum(%s).\r\n", serialNumber.c_str());
    DepthCalibration calibration = {};
    const char* missing = nullptr;
    {
        const COXLock lock(&m_calibrationFileMutex);
        missing = LoadDepthCalibration(name, depthWidth, &calibration);
    }
    if (missing != nullptr) {
        OX_LOG_ERROR("%s", missing);
        return OX3D_RGBD_E_NO_DATA;
    }
    const COXLock lock(&m_convertMutex);
    if (!m_isCalibrationLoaded) {
        m_calibration = calibration;
        m_isCalibrationLoaded = true;
    }
    return OX3D_RGBD_OK;
}

uint32_t CManager::EnsureConverter() {
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

// A new frame is being assembled: nobody may still use the registered depth of the one before.
void CManager::FreeFormerDepth() {
    const COXLock lock(&m_convertMutex);
    m_depthBuffer.TakeBack();
}

uint32_t CManager::DepthMapConvert(OX3D_RGBD_IMAGE_DATA* depthIn, OX3D_RGBD_IMAGE_DATA* depthOut,
                                   OX3D_RGBD_IMAGE_DATA* pointCloudOut) {
    if (depthIn == nullptr || (depthOut == nullptr && pointCloudOut == nullptr)) {
        OX_LOG_ERROR("[DepthMapConvert] param is null, invalid \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = CheckDepthImage(*depthIn);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const uint64_t pixels = static_cast<uint64_t>(depthIn->nWidth) * depthIn->nHeight;
    {
        const COXLock lock(&m_convertMutex);
        status = EnsureDepthBuffers(pixels);
    }
    status = status != OX3D_RGBD_OK ? status : EnsureCalibration(depthIn->nWidth);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const COXLock lock(&m_convertMutex); // buffers only grow: those ensured above still serve
    status = EnsureConverter();
    return status != OX3D_RGBD_OK ? status : ConvertDepth(depthIn, depthOut, pointCloudOut);
}

uint32_t CManager::ConvertDepth(OX3D_RGBD_IMAGE_DATA* depthIn, OX3D_RGBD_IMAGE_DATA* depthOut,
                                OX3D_RGBD_IMAGE_DATA* pointCloudOut) {
    const uint32_t width = depthIn->nWidth;
    const uint32_t height = depthIn->nHeight;
    const uint64_t pixels = static_cast<uint64_t>(width) * height;
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT input = {};
    input.sourceDepth.format = kDepthFormat;
    input.sourceDepth.width = static_cast<int32_t>(width);
    input.sourceDepth.height = static_cast<int32_t>(height);
    input.sourceDepth.step[0] = static_cast<int32_t>(width);
    input.sourceDepth.data[0] = depthIn->pData;
    input.sourceIntrinsics = m_calibration.m_depthIntrinsics;
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT output = {};
    output.pointsFloat = pointCloudOut != nullptr ? m_pPointBuffer : nullptr;
    output.targetDepth.width = static_cast<int32_t>(width);
    output.targetDepth.height = static_cast<int32_t>(height);
    output.targetDepth.step[0] = static_cast<int32_t>(width);
    if (depthOut != nullptr) {
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

    if (pointCloudOut != nullptr) {
        pointCloudOut->enImageType = OX3D_RGBD_PIXEL_POINT_CLOUD;
        pointCloudOut->nReserved0 = 0;
        pointCloudOut->nWidth = width;
        pointCloudOut->nHeight = height;
        pointCloudOut->nDataLen = static_cast<uint32_t>(pixels * 3 * sizeof(float));
        pointCloudOut->nFrameNum = depthIn->nFrameNum;
        pointCloudOut->pData = reinterpret_cast<uint8_t*>(m_pPointBuffer);
    }
    if (depthOut != nullptr) {
        depthOut->enImageType = OX3D_RGBD_PIXEL_DEPTH16;
        depthOut->nWidth = width;
        depthOut->nHeight = height;
        depthOut->nDataLen = static_cast<uint32_t>(pixels * sizeof(int16_t));
        depthOut->pData = m_depthBuffer.Lend();
    }
    return OX3D_RGBD_OK;
}
