// Manager_Geometry.cpp - where the pixels of a delivered frame lie in space, whatever was done to it, and its copies.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "src/Common/AsyncLog.h"
#include "src/Manager/FrameGeometry.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";

bool HasSize(const NotedImage& image) {
    return image.m_width != 0 && image.m_height != 0;
}

} // namespace

uint32_t CManager::FeatureOfSize(const char* key, uint32_t* value) {
    OX3D_RGBD_PARAM param = {};
    param.enParamType = OX3D_RGBD_PARAM_INT;
    const uint32_t status = m_pcCamera.load()->GetValue(key, &param);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[FrameGeometry] get %s failed, nRet:[%#x].\r\n", key, status);
        return status;
    }
    const int64_t size = param.stIntParam.nCurValue;
    if (size <= 0 || size > INT32_MAX) {
        OX_LOG_ERROR("[FrameGeometry] %s is [%lld].\r\n", key, static_cast<long long>(size));
        return OX3D_RGBD_E_NO_DATA;
    }
    *value = static_cast<uint32_t>(size);
    return OX3D_RGBD_OK;
}

// How the last frame was made, or how the first one is going to be, as far as that is known.
uint32_t CManager::PresentFrame(KnownFrame* known) {
    uint32_t status = CheckOpened();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    FrameNote& note = known->m_note;
    if (!m_notes.Last(&note)) {
        const AssemblyOptions options = Options();
        NotedImage& depth = note.m_images[0];
        status = FeatureOfSize("Width", &depth.m_width);
        status = status != OX3D_RGBD_OK ? status : FeatureOfSize("Height", &depth.m_height);
        if (status != OX3D_RGBD_OK) {
            return status;
        }
        depth.m_type = OX3D_RGBD_PIXEL_DEPTH16;
        note.m_images[1] = depth;
        note.m_hasColor =
            options.m_isColorScaled || (options.m_isDepthRegistered && options.m_alignTarget != 0);
        note.m_imageCount = note.m_hasColor ? 2 : 1;
        note.m_isAligned = options.m_isDepthRegistered;
        note.m_alignMode = options.m_alignMode;
        note.m_alignTarget = options.m_alignTarget;
    }
    if (!HasSize(note.m_images[0])) {
        OX_LOG_ERROR("[FrameGeometry] the last frame's main image has no size.\r\n");
        return OX3D_RGBD_E_NO_DATA;
    }
    return Calibrate(true, known);
}

// A copy, or a frame of this device.
uint32_t CManager::FindFrame(const OX3D_RGBD_FRAME_DATA& frame, KnownFrame* known) {
    if (CFrameCopies::Shared().Find(&frame, known)) {
        return known->m_note.Is(frame) ? OX3D_RGBD_OK : OX3D_RGBD_E_PARAMETER;
    }
    return m_notes.Find(frame, &known->m_note) ? OX3D_RGBD_OK : OX3D_RGBD_E_PARAMETER;
}

// The set that the conversion took for aligned frames, for others that of the depth's width. What failed before is tried
// again if the caller retries.
uint32_t CManager::Calibrate(bool isRetried, KnownFrame* known) {
    if (known->m_isCalibrated) {
        return OX3D_RGBD_OK;
    }
    FrameNote& note = known->m_note;
    uint32_t status = OX3D_RGBD_OK;
    if (!note.m_isAligned || !m_conversion.Calibration(&known->m_calibration)) {
        status = CalibrationOf(note.m_images[0].m_width, isRetried, &known->m_calibration);
    }
    known->m_isCalibrated = status == OX3D_RGBD_OK;
    note.m_isAligned = note.m_isAligned && !known->m_calibration.m_isDepthLeft;
    return status;
}

uint32_t CManager::GetExtrinsics(uint32_t from, uint32_t to, OX3D_RGBD_EXTRINSICS* out) {
    KnownFrame known;
    const uint32_t status = PresentFrame(&known);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    Motion motion;
    if (!MotionBetween(known.m_calibration, from, to, &motion)) {
        OX_LOG_ERROR("[GetExtrinsics] the calibration cannot be used.\r\n");
        return OX3D_RGBD_E_NO_DATA;
    }
    OX3D_RGBD_EXTRINSICS extrinsics = {};
    for (size_t i = 0; i < motion.m_rotation.size(); ++i) {
        extrinsics.fRotation[i] = static_cast<float>(motion.m_rotation[i]);
    }
    for (size_t i = 0; i < motion.m_translation.size(); ++i) {
        extrinsics.fTranslation[i] = static_cast<float>(motion.m_translation[i]);
    }
    *out = extrinsics;
    return OX3D_RGBD_OK;
}

uint32_t CManager::GetIntrinsics(uint32_t stream, OX3D_RGBD_INTRINSICS* out) {
    KnownFrame known;
    const uint32_t status = PresentFrame(&known);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const FrameNote& note = known.m_note;
    const bool isDepth = stream == OX3D_RGBD_CAMERA_DEPTH;
    if (isDepth ? !note.HasDepth() : !note.m_hasColor) {
        OX_LOG_ERROR("[GetIntrinsics] the frame has no image of stream [%u].\r\n", stream);
        return OX3D_RGBD_E_NO_DATA;
    }
    const Lens lens = isDepth ? DepthLens(note, known.m_calibration) : ColorLens(note, known.m_calibration);
    if (!IsUsable(lens)) {
        OX_LOG_ERROR("[GetIntrinsics] the calibration cannot be used.\r\n");
        return OX3D_RGBD_E_NO_DATA;
    }
    const NotedImage& image = note.m_images[isDepth ? 0 : 1];
    OX3D_RGBD_INTRINSICS intrinsics = {};
    intrinsics.nWidth = image.m_width;
    intrinsics.nHeight = image.m_height;
    intrinsics.fFx = static_cast<float>(lens.m_fx);
    intrinsics.fFy = static_cast<float>(lens.m_fy);
    intrinsics.fCx = static_cast<float>(lens.m_cx);
    intrinsics.fCy = static_cast<float>(lens.m_cy);
    intrinsics.fK1 = static_cast<float>(lens.m_distortion[0]);
    intrinsics.fK2 = static_cast<float>(lens.m_distortion[1]);
    intrinsics.fP1 = static_cast<float>(lens.m_distortion[2]);
    intrinsics.fP2 = static_cast<float>(lens.m_distortion[3]);
    intrinsics.fK3 = static_cast<float>(lens.m_distortion[4]);
    *out = intrinsics;
    return OX3D_RGBD_OK;
}

uint32_t CManager::KeepFrame(const char* operation, const OX3D_RGBD_FRAME_DATA& frame,
                             const TakenBuffers& taken, OX3D_RGBD_FRAME_DATA** out) {
    KnownFrame known;
    const uint32_t status = FindFrame(frame, &known);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[%s] the frame is not known.\r\n", operation);
        return status;
    }
    if (known.m_note.HasDepth() && HasSize(known.m_note.m_images[0])) {
        Calibrate(false, &known); // without, there are no points of the copy
    }
    TellTimes(&known);
    known.m_isCopy = true;
    m_spareUse.Begin();
    OX3D_RGBD_FRAME_DATA* const copy = CFrameCopies::Shared().Make(frame, known, taken);
    if (copy == nullptr) {
        OX_LOG_ERROR("[%s] no memory for the copy.\r\n", operation);
        return OX3D_RGBD_E_MEMORY;
    }
    *out = copy;
    return OX3D_RGBD_OK;
}

uint32_t CManager::CopyFrame(const OX3D_RGBD_FRAME_DATA& frame, OX3D_RGBD_FRAME_DATA** out) {
    return KeepFrame("CopyFrame", frame, {}, out);
}

TakenBuffers CManager::BuffersOf(const FrameNote& note) {
    TakenBuffers buffers = {};
    for (uint32_t i = 0; i < note.m_imageCount; ++i) {
        const uint8_t* const data = note.m_images[i].m_data;
        buffers[i] = data != nullptr && data == m_imageBuf.Data() ? &m_imageBuf : m_assembler.BufferAt(data);
    }
    return buffers;
}

// The buffers hold the images of the last frame alone, and while frames are pushed the delivery thread writes to them.
uint32_t CManager::TakeFrame(OX3D_RGBD_FRAME_DATA* frame, OX3D_RGBD_FRAME_DATA** out) {
    const COwnedLock lock(m_frameMutex);
    const CAssembling assembling(m_assembler);
    TakenBuffers taken = {};
    FrameNote last;
    if (!m_frameCallback.IsRegistered() && !m_frameCallback.IsBusyElsewhere() && m_notes.Last(&last) &&
        last.Is(*frame)) {
        taken = BuffersOf(last);
    }
    const uint32_t status = KeepFrame("TakeFrame", *frame, taken, out);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    if (std::any_of(taken.begin(), taken.end(), [](const CGrowBuffer* each) { return each != nullptr; })) {
        m_notes.Forget(); // older frames may have lain there as well
        memset(frame, 0, sizeof(*frame));
    }
    return OX3D_RGBD_OK;
}

uint32_t CManager::MapFrame(const OX3D_RGBD_FRAME_DATA& frame, const OX3D_RGBD_CLOUD_OPTIONS& options,
                            OX3D_RGBD_CLOUD* out) {
    KnownFrame known;
    uint32_t status = FindFrame(frame, &known);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[MapFrameToPointCloud] the frame is not known.\r\n");
        return status;
    }
    status = CFrameCloud::Check(known.m_note, options);
    status = status != OX3D_RGBD_OK ? status : Calibrate(true, &known);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const uint32_t threads = m_keys.Get(ELibraryKey::Threads);
    const ox3d::CThreadsAllowed allowed(threads);
    return m_cloud.Map(known, options, frame.stImageData[0].nTimeStamp, threads, out);
}
