// Manager_Frame.cpp - frames, depth and color of a device: the classes that own each do the work.
#include "src/Manager/Manager.h"

uint32_t CManager::UpdateChunkDataToLocal(const OX_CHUNK_DATA_CONTENT* chunks, uint32_t count,
                                          uint32_t /*width*/, uint32_t /*height*/) {
    return m_assembler.TakeChunks(chunks, count);
}

// The switches act on Ethernet devices.
uint32_t CManager::FillFrameData(OX3D_RGBD_FRAME_DATA* frame, const RawFrame* main) {
    const uint32_t transport = m_nDeviceType;
    const bool isGige = transport == OX_CC_GIGE_DEVICE;
    const AssemblyOptions options = {.m_isUsb = transport == OX_CC_USB_DEVICE,
                                     .m_isDepthRegistered = isGige && m_keys.IsOn(ELibraryKey::ImageAlign),
                                     .m_isColorScaled = isGige && m_keys.IsOn(ELibraryKey::ResolutionAlign),
                                     .m_hasRgbd = isGige && m_keys.IsOn(ELibraryKey::OutputRgbd)};
    return m_assembler.Fill(main, options, m_conversion, frame);
}

void CManager::ClearAllLocalData() {
    m_assembler.Clear();
}

uint32_t CManager::DepthMapConvert(const OX3D_RGBD_IMAGE_DATA* depthIn, OX3D_RGBD_IMAGE_DATA* depthOut,
                                   OX3D_RGBD_IMAGE_DATA* pointCloudOut) {
    return m_conversion.Convert(depthIn, depthOut, pointCloudOut);
}

uint32_t CManager::RgbResolutionAlign(const OX3D_RGBD_IMAGE_DATA* depth, OX3D_RGBD_IMAGE_DATA* color) {
    return m_assembler.AlignColor(depth, color);
}
