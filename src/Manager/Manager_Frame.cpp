// Manager_Frame.cpp - frames, depth and color of a device: the classes that own each do the work.
#include "src/Manager/Manager.h"

uint32_t CManager::UpdateChunkDataToLocal(const OX_CHUNK_DATA_CONTENT* chunks, uint32_t count,
                                          uint32_t /*width*/, uint32_t /*height*/) {
    return m_assembler.TakeChunks(chunks, count);
}

// The switches act on Ethernet devices.
AssemblyOptions CManager::Options() const {
    const uint32_t transport = m_nDeviceType;
    const bool isGige = transport == OX_CC_GIGE_DEVICE;
    return {.m_isUsb = transport == OX_CC_USB_DEVICE,
            .m_isDepthRegistered = isGige && m_keys.IsOn(ELibraryKey::ImageAlign),
            .m_isColorScaled = isGige && m_keys.IsOn(ELibraryKey::ResolutionAlign),
            .m_hasRgbd = isGige && m_keys.IsOn(ELibraryKey::OutputRgbd),
            .m_alignMode = m_keys.Get(ELibraryKey::AlignMode),
            .m_alignStepPermille = m_keys.Get(ELibraryKey::AlignStep),
            .m_alignTarget = m_keys.Get(ELibraryKey::AlignTarget),
            .m_hasMask = m_keys.IsOn(ELibraryKey::OcclusionMask)};
}

uint32_t CManager::FillFrameData(OX3D_RGBD_FRAME_DATA* frame, const RawFrame* main) {
    const AssemblyOptions options = Options();
    const ox3d::CThreadsAllowed threads(m_keys.Get(ELibraryKey::Threads));
    const uint32_t status = m_assembler.Fill(main, options, m_conversion, frame);
    if (status == OX3D_RGBD_OK) {
        NoteFrame(options, main, *frame);
    } else {
        m_notes.Forget(); // the buffers may be others, and hold no whole frame
    }
    return status;
}

void CManager::NoteFrame(const AssemblyOptions& options, const RawFrame* main,
                         const OX3D_RGBD_FRAME_DATA& frame) {
    FrameNote note;
    note.Describe(frame);
    note.m_hasColor = m_assembler.HasColor();
    note.m_isAligned =
        options.m_isDepthRegistered && !m_conversion.LeavesDepth() && main != nullptr && note.HasDepth();
    note.m_alignMode = options.m_alignMode;
    note.m_alignTarget = options.m_alignTarget;
    note.m_isLent = main != nullptr && main->m_isLent && note.m_images[0].m_data == main->m_data;
    note.m_arrival = main != nullptr ? main->m_arrival : HostTimes{};
    note.m_clockRun = m_clock.Add({note.m_timeStamp, note.m_arrival.m_monotonicNs});
    FrameBlocks blocks = m_assembler.Blocks();
    blocks[kDepthBlock] = note.IsDepthInColor() && note.m_alignMode == 0 ? note.m_images[0].m_data : nullptr;
    m_notes.Add(note, blocks);
}

void CManager::ClearAllLocalData() {
    m_assembler.Clear();
}

uint32_t CManager::DepthMapConvert(const OX3D_RGBD_IMAGE_DATA* depthIn, OX3D_RGBD_IMAGE_DATA* depthOut,
                                   OX3D_RGBD_IMAGE_DATA* pointCloudOut) {
    const ox3d::CThreadsAllowed threads(m_keys.Get(ELibraryKey::Threads));
    return m_conversion.Convert(depthIn, depthOut, pointCloudOut);
}

uint32_t CManager::RgbResolutionAlign(const OX3D_RGBD_IMAGE_DATA* depth, OX3D_RGBD_IMAGE_DATA* color) {
    return m_assembler.AlignColor(depth, color);
}
