// Sizes and field positions of the public records, and the types of the camera-control library's functions:
// applications and providers are compiled against them.
#include <cstddef>
#include <type_traits>

#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <ox3drgbd/OxCameraControl.h>
#include <ox3drgbd/OxMediaProcess.h>

namespace {

#define OX_CAM_SYMBOL(result, name, arguments, group, need) \
    static_assert(std::is_same_v<decltype(name), result arguments>, #name);
#include "src/CameraModule/CamSymbols.def"

// RECORD(name, bytes, AT(field, offset)...)
#define RECORD(name, bytes, ...)                     \
    static_assert([] {                               \
        using Record = name;                         \
        return sizeof(Record) == (bytes)__VA_ARGS__; \
    }())
#define AT(field, offset) &&offsetof(Record, field) == (offset)

// clang-format off
RECORD(OX3D_RGBD_VERSION_INFO, 12, AT(nMinor, 4) AT(nRevision, 8));
RECORD(OX3D_RGBD_DEVICE_INFO, 272, AT(chManufacturerName, 0) AT(chModelName, 32) AT(chDeviceVersion, 64)
       AT(chManufacturerSpecificInfo, 96) AT(chSerialNumber, 144) AT(chUserDefinedName, 160)
       AT(nDeviceType, 176) AT(chMacAddress, 180) AT(nVendorId, 180) AT(nProductId, 184) AT(nIpCfgMode, 188)
       AT(nUsbProtocol, 188) AT(chCurrentIp, 192) AT(chCurrentSubNetMask, 208) AT(chDefaultGateWay, 224)
       AT(chNetExport, 240));
RECORD(OX3D_RGBD_IMAGE_DATA, 56, AT(enImageType, 0) AT(nWidth, 8) AT(nHeight, 12) AT(pData, 16)
       AT(nDataLen, 24) AT(nFrameNum, 28) AT(nTimeStamp, 32) AT(enStreamType, 40));
RECORD(OX3D_RGBD_FRAME_DATA, 584, AT(nImageCount, 0) AT(stImageData, 8) AT(nReserved, 568));
RECORD(OX3D_RGBD_PARAM, 288, AT(bBoolValue, 8) AT(stIntParam, 8) AT(stFloatParam, 8) AT(stEnumParam, 8)
       AT(stStringParam, 8));
RECORD(OX3D_RGBD_INTPARAM, 32, AT(nMax, 8) AT(nMin, 16) AT(nInc, 24));
RECORD(OX3D_RGBD_FLOATPARAM, 28, AT(fMax, 4) AT(fMin, 8));
RECORD(OX3D_RGBD_ENUMPARAM, 280, AT(nSupportedNum, 4) AT(nSupportValue, 8));
RECORD(OX3D_RGBD_STRINGPARAM, 272, AT(nMaxLength, 256));
RECORD(OX3D_RGBD_IP_CONFIG, 64, AT(chDestIp, 4) AT(chDestNetMask, 20) AT(chDestGateWay, 36));
RECORD(OX3D_RGBD_EXCEPTION_INFO, 276, AT(chExceptionDes, 4));
RECORD(OX3D_RGBD_CALIB_INFO, 64, AT(nHeight, 4) AT(fFx, 8) AT(fFy, 12) AT(fCx, 16) AT(fCy, 20) AT(fK1, 24)
       AT(fK2, 28) AT(fP1, 32) AT(fP2, 36) AT(fK3, 40));
RECORD(OX3D_RGBD_EXTRINSICS, 64, AT(fTranslation, 36) AT(nReserved, 48));
RECORD(OX3D_RGBD_INTRINSICS, 64, AT(nHeight, 4) AT(fFx, 8) AT(fFy, 12) AT(fCx, 16) AT(fCy, 20) AT(fK1, 24)
       AT(fK2, 28) AT(fP1, 32) AT(fP2, 36) AT(fK3, 40));
RECORD(OX3D_RGBD_FRAME_CLOCK, 96, AT(nReferenceUtcNs, 8) AT(nReferenceHostNs, 16) AT(dNsPerTick, 24)
       AT(dNominalNsPerTick, 32) AT(dDriftPpm, 40) AT(dRateErrorPpm, 48) AT(nErrorNs, 56) AT(nDelayNs, 64)
       AT(nSamples, 72) AT(nSource, 76) AT(nReserved, 80));
RECORD(OX3D_RGBD_FRAME_TIMES, 64, AT(nArrivalUtcNs, 8) AT(nArrivalHostNs, 16) AT(nCaptureUtcNs, 24)
       AT(nCaptureErrorNs, 32) AT(nCaptureDelayNs, 40) AT(nFrameNum, 48) AT(nSource, 52) AT(nReserved, 56));
RECORD(OX3D_RGBD_FEATURE, 2432, AT(chDisplayName, 128) AT(chCategory, 256) AT(chUnit, 512) AT(chToolTip, 544)
       AT(chDescription, 1056) AT(nType, 2080) AT(nAccess, 2084) AT(nVisibility, 2088) AT(nEntryCount, 2092)
       AT(nHasValue, 2096) AT(stValue, 2104) AT(nReserved, 2392));
RECORD(OX3D_RGBD_FEATURE_ENTRY, 272, AT(chDisplayName, 128) AT(nValue, 256) AT(nIsAvailable, 264));
RECORD(OX3D_RGBD_CLOUD_OPTIONS, 32, AT(nFormat, 4) AT(nLayout, 8) AT(nColor, 12) AT(nNormals, 16));
RECORD(OX3D_RGBD_CLOUD, 96, AT(pColors, 8) AT(pNormals, 16) AT(nTimeStamp, 24) AT(nCount, 32) AT(nValid, 36)
       AT(nWidth, 40) AT(nHeight, 44) AT(nFrameNum, 48) AT(nCamera, 52) AT(nFormat, 56) AT(nLayout, 60)
       AT(nColor, 64) AT(nPointStride, 68) AT(nColorStride, 72) AT(nNormalStride, 76) AT(nReserved, 80));
RECORD(OX3D_RGBD_FILE_ACCESS, 144, AT(pUserFileName, 0) AT(pDevFileName, 8));
RECORD(OX_CC_DEVICE_INFO, 576, AT(nTLayerType, 0) AT(nMacAddrHigh, 4) AT(nMacAddrLow, 8) AT(stGigEInfo, 16)
       AT(stUsb3Info, 16));
RECORD(OX_CC_GIGE_DEVICE_INFO, 200, AT(nIpCfgCurrent, 4) AT(nCurrentIp, 8) AT(nCurrentSubNetMask, 12)
       AT(nDefaultGateWay, 16) AT(chManufacturerName, 20) AT(chModelName, 52) AT(chDeviceVersion, 84)
       AT(chManufacturerSpecificInfo, 116) AT(chSerialNumber, 164) AT(chUserDefinedName, 180)
       AT(nNetExport, 196));
RECORD(OX_CC_USB_DEVICE_INFO, 528, AT(nEventEndPoint, 3) AT(nVendorId, 4) AT(nProductId, 6)
       AT(nDeviceNumber, 8) AT(chDeviceGuid, 12) AT(chVendorName, 76) AT(chModelName, 140)
       AT(chFamilyName, 204) AT(chDeviceVersion, 268) AT(chManufacturerName, 332) AT(chSerialNumber, 396)
       AT(chUserDefinedName, 460) AT(nBcdUsb, 524));
RECORD(OX_CC_DEVICE_INFO_LIST, 2056, AT(pDeviceInfo, 8));
RECORD(OX_FRAME_OUT_INFO_EX, 264, AT(nHeight, 2) AT(enPixelType, 8) AT(nFrameNum, 16)
       AT(nDevTimeStampHigh, 20) AT(nDevTimeStampLow, 24) AT(nFrameLen, 40) AT(nUnparsedChunkNum, 108)
       AT(pUnparsedChunkContent, 112));
RECORD(OX_FRAME_OUT, 336, AT(stFrameInfo, 8) AT(nReserved, 272));
RECORD(OX_CHUNK_DATA_CONTENT, 48, AT(nChunkID, 8) AT(nChunkLen, 12));
RECORD(OX_CC_INT_VALUE, 32, AT(nMax, 4) AT(nMin, 8) AT(nInc, 12));
RECORD(OX_CC_INT_VALUE_EX, 32);
RECORD(OX_CC_FLOAT_VALUE, 28, AT(fMax, 4) AT(fMin, 8));
RECORD(OX_CC_ENUM_VALUE, 280, AT(nSupportedNum, 4) AT(nSupportValue, 8));
RECORD(OX_CC_STRING_VALUE, 272, AT(nMaxLength, 256));
RECORD(OX_CC_FILE_ACCESS, 144, AT(pDevFileName, 8));
RECORD(OX_CC_FILE_ACCESS_PROGRESS, 80, AT(nTotal, 8));
RECORD(OX_EVENT_OUT_INFO, 256, AT(nEventID, 128) AT(nStreamChannel, 130) AT(nBlockIdHigh, 132)
       AT(nBlockIdLow, 136) AT(nTimestampHigh, 140) AT(nTimestampLow, 144) AT(nEventDataSize, 148)
       AT(pEventData, 152));
RECORD(OX_MP_SCALING_PARAM, 88, AT(nSrcHeight, 4) AT(pSrcData, 8) AT(nSrcLen, 16) AT(nDstWidth, 20)
       AT(nDstHeight, 24) AT(pDstData, 32) AT(nDstBufSize, 40) AT(nDstLen, 44) AT(nMethod, 52));
// clang-format on

} // namespace
