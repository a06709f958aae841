// FramePath.cpp - see FramePath.h.
#include "bench/FramePath.h"

#include "src/Manager/FrameCopies.h"
#include "tests/doubles/Double.h"
#include "virtual-camera/frames/FrameSource.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace ox3dbench {
namespace {

constexpr const char* kSerial = "BENCH1";
constexpr size_t kChunkHeaderBytes = 32;
constexpr uint32_t kImages = 3; // depth, color, RGB-D

} // namespace

CFramePath::CFramePath() {
    MakeFrame();
    OpenCamera();
}

CFramePath::~CFramePath() {
    CFrameCopies::Shared().Free(m_copy);
    m_manager.DeInit();
}

void CFramePath::MakeFrame() {
    ox3d::FrameSourceConfig config;
    config.m_depthWidth = kFrameDepth.m_width;
    config.m_depthHeight = kFrameDepth.m_height;
    config.m_colorWidth = kFrameColor.m_width;
    config.m_colorHeight = kFrameColor.m_height;
    std::string error;
    const auto source = ox3d::CreateFrameSource(config, &error);
    ox3d::FrameImages images;
    if (source == nullptr || !source->Render(0, true, false, &images)) {
        throw std::runtime_error("no scene: " + error);
    }
    m_calibration = source->CalibrationXml();
    m_depth.assign(images.m_depth.begin(), images.m_depth.end());
    m_chunk.assign(kChunkHeaderBytes, 0);
    const uint32_t words[3] = {OX3D_RGBD_PIXEL_RGB8_PLANAR, config.m_colorWidth, config.m_colorHeight};
    std::memcpy(m_chunk.data(), words, sizeof(words));
    m_chunk.insert(m_chunk.end(), images.m_color.begin(), images.m_color.end());
    m_record = {m_chunk.data(), OX_CHUNK_EXTENDED_IMAGE, static_cast<uint32_t>(m_chunk.size()), {}};
    m_info.nWidth = kFrameDepth.m_width;
    m_info.nHeight = kFrameDepth.m_height;
    m_info.enPixelType = OX3D_RGBD_PIXEL_DEPTH16;
    m_info.nFrameLen = static_cast<uint32_t>(m_depth.size() * sizeof(int16_t));
    m_info.nUnparsedChunkNum = 1;
    m_info.pUnparsedChunkContent = &m_record;
}

void CFramePath::OpenCamera() {
    OX_CC_DEVICE_INFO device = {};
    device.nTLayerType = OX_CC_GIGE_DEVICE;
    std::memcpy(device.stGigEInfo.chSerialNumber, kSerial, std::strlen(kSerial));
    ox3d::test::Double().SetDevices({device});
    ox3d::test::Double().SetFile("RGBDSensorCali", m_calibration);
    Demand(m_manager.Init(), "init");
    Demand(m_manager.BindDeviceBySerialNumber(kSerial), "bind");
    Demand(m_manager.ConnectDevice(), "connect");
    SwitchOn(OX3D_RGBD_KEY_IMAGE_ALIGN);
    SwitchOn(OX3D_RGBD_KEY_RESOLUTION_ALIGN);
    SwitchOn(OX3D_RGBD_KEY_OUTPUT_RGBD);
    Demand(m_manager.RegisterFrameCallBack(&OnFrame, this), "register the callback");
    Demand(m_manager.Start(), "start");
}

void CFramePath::SwitchOn(const char* key) {
    OX3D_RGBD_PARAM param = {};
    param.enParamType = OX3D_RGBD_PARAM_INT;
    param.stIntParam.nCurValue = 1;
    Demand(m_manager.CamSetValue(key, &param), key);
}

void CFramePath::Demand(uint32_t status, const char* what) {
    if (status != OX3D_RGBD_OK) {
        throw std::runtime_error(std::string("the frame path cannot ") + what);
    }
}

void CFramePath::OnFrame(OX3D_RGBD_FRAME_DATA* frame, void* user) {
    auto* const self = static_cast<CFramePath*>(user);
    if (frame->nImageCount == kImages) {
        ++self->m_delivered;
    }
    if (self->m_isCopyWanted) {
        self->m_isCopyWanted = false;
        self->Demand(self->m_manager.CopyFrame(*frame, &self->m_copy), "copy a frame");
    }
}

const OX3D_RGBD_FRAME_DATA& CFramePath::Copy() {
    if (m_copy == nullptr) {
        m_isCopyWanted = true;
        Deliver();
    }
    return *m_copy;
}

void CFramePath::MapCopy(const OX3D_RGBD_CLOUD_OPTIONS& options) {
    OX3D_RGBD_CLOUD cloud = {};
    Demand(m_manager.MapFrame(Copy(), options, &cloud), "map a frame");
}

void CFramePath::Deliver() {
    ++m_info.nFrameNum;
    const uint64_t before = m_delivered;
    m_manager.ImageCallBack(reinterpret_cast<uint8_t*>(m_depth.data()), &m_info);
    if (m_delivered != before + 1) {
        throw std::runtime_error("a frame did not arrive whole");
    }
}

} // namespace ox3dbench
