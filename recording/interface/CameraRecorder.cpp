// CameraRecorder.cpp - frames of a camera into a file, which is made by the first of them: it tells the lenses.
#include "recording/interface/CameraRecorder.h"

#include "base/TempFolder.h"
#include "recording/McapLeftovers.h"
#include "recording/RecordingTarget.h"
#include "recording/camera/FrameImages.h"
#include "recording/interface/Refusal.h"

namespace ox3d {
namespace {

bool IsWithin(uint32_t value, uint32_t least, uint32_t most) {
    return value == 0 || (value >= least && value <= most);
}

RecorderOptions OptionsOf(const OX3D_REC_OPTIONS& options) {
    constexpr uint32_t kMaxQueueFrames = 10000;
    constexpr uint32_t kLeastSyncMs = 10;
    constexpr uint32_t kMostSyncMs = 3600000;
    if (options.nColor > OX3D_REC_COLOR_NONE || !IsWithin(options.nJpegQuality, 1, 100) ||
        !IsWithin(options.nQueueFrames, 1, kMaxQueueFrames) ||
        !IsWithin(options.nSyncMs, kLeastSyncMs, kMostSyncMs) || options.nIsReplacing > 1 ||
        options.nWaits > 1) {
        throw CRefusal(OX3D_REC_E_PARAMETER, "an option is not of its range");
    }
    RecorderOptions recorder;
    recorder.m_library = "ox3d " + LibraryVersion();
    recorder.m_isReplacing = options.nIsReplacing == 1;
    recorder.m_color = options.nColor == OX3D_REC_COLOR_RAW    ? ERecordedColor::Raw
                       : options.nColor == OX3D_REC_COLOR_NONE ? ERecordedColor::None
                                                               : ERecordedColor::Jpeg;
    recorder.m_jpegQuality =
        options.nJpegQuality == 0 ? recorder.m_jpegQuality : static_cast<int>(options.nJpegQuality);
    recorder.m_queueFrames = options.nQueueFrames == 0 ? recorder.m_queueFrames : options.nQueueFrames;
    recorder.m_syncInterval =
        options.nSyncMs == 0 ? recorder.m_syncInterval : std::chrono::milliseconds(options.nSyncMs);
    return recorder;
}

std::string CheckedTarget(const std::string& path, bool isReplacing) {
    std::string error;
    const ERecordingTarget target = LookAtTarget(path, isReplacing, &error);
    if (target != ERecordingTarget::Free) {
        throw CRefusal(target == ERecordingTarget::Taken ? OX3D_REC_E_EXISTS : OX3D_REC_E_FILE, error);
    }
    return path;
}

[[noreturn]] void ThrowFromCamera(const std::string& what, uint32_t status) {
    throw CRefusal(OX3D_REC_E_CAMERA, what + ": " + OX3D_RGBD_StatusText(status));
}

OX3D_RGBD_DEVICE_INFO RecordOf(void* camera) {
    OX3D_RGBD_DEVICE_INFO record{};
    if (const uint32_t status = OX3D_RGBD_GetDeviceInfo(camera, &record); status != OX3D_RGBD_OK) {
        ThrowFromCamera("the camera's record", status);
    }
    return record;
}

void ThrowIfFailed(const RecorderCounts& counts, const std::string& path) {
    if (counts.m_state != EWriting::Ok) {
        throw CRefusal(counts.m_state == EWriting::Full ? OX3D_REC_E_FULL : OX3D_REC_E_FILE,
                       path + ": " + counts.m_error + "; every frame before is whole");
    }
}

} // namespace

CSwitchedOff::CSwitchedOff(void* camera, const char* key) : m_camera(camera), m_key(key) {
    m_former.enParamType = OX3D_RGBD_PARAM_INT;
    uint32_t status = OX3D_RGBD_GetParam(camera, key, &m_former);
    if (status == OX3D_RGBD_OK) {
        OX3D_RGBD_PARAM off{};
        off.enParamType = OX3D_RGBD_PARAM_INT;
        status = OX3D_RGBD_SetParam(camera, key, &off);
    }
    if (status != OX3D_RGBD_OK) {
        ThrowFromCamera(std::string("cannot switch ") + key + " off", status);
    }
}

CSwitchedOff::~CSwitchedOff() {
    OX3D_RGBD_SetParam(m_camera, m_key, &m_former); // a camera that was closed meanwhile has no switches
}

CCameraRecorder::CCameraRecorder(void* camera, const std::string& path, const OX3D_REC_OPTIONS& options)
    : m_camera(camera), m_path(CheckedTarget(path, options.nIsReplacing == 1)),
      m_full(options.nWaits == 1 ? EFullQueue::Wait : EFullQueue::Drop), m_options(OptionsOf(options)),
      m_align(camera, OX3D_RGBD_KEY_IMAGE_ALIGN), m_scaling(camera, OX3D_RGBD_KEY_RESOLUTION_ALIGN),
      m_views(camera) {
    RemoveMcapLeftovers(path);
    uint32_t calibration = OX3D_RGBD_OK; // a recording without it is worth having
    const CLock lock(m_mutex);
    m_recorded = DescribeCamera(camera, RecordOf(camera), CTempFolder().Path(), &calibration);
}

void CCameraRecorder::Begin() {
    AddLenses(m_camera, &m_recorded);
    std::string error;
    m_recorder = CRecorder::Open(m_path, m_recorded, m_options, &error);
    if (m_recorder == nullptr) {
        CheckedTarget(m_path, m_options.m_isReplacing); // somebody else may have made it since
        throw CRefusal(OX3D_REC_E_FILE, error);
    }
}

void CCameraRecorder::Add(const OX3D_RGBD_FRAME_DATA& frame) {
    const CLock lock(m_mutex);
    if (m_isOver) {
        throw CRefusal(OX3D_REC_E_HANDLE, "the recorder is finished");
    }
    const OX3D_RGBD_IMAGE_DATA* const depth = FindDepth(frame);
    if (depth == nullptr) {
        throw CRefusal(OX3D_REC_E_PARAMETER, "the frame has no depth image");
    }
    if (m_recorder == nullptr) {
        Begin();
    }
    const FrameView view = m_views.Of(frame, *depth);
    if (!m_recorder->Add(view, m_full)) {
        ThrowIfFailed(m_recorder->Counts(), m_path);
        throw CRefusal(OX3D_REC_E_DROPPED, "the queue is full: the frame is not recorded");
    }
    m_views.WasTaken(depth->nFrameNum);
    m_lost += view.m_facts.m_lostBefore;
}

OX3D_REC_COUNTS CCameraRecorder::CountsOf(const RecorderCounts& counts) const {
    OX3D_REC_COUNTS record{};
    record.nWritten = counts.m_written;
    record.nWithoutColor = counts.m_withoutColor;
    record.nDropped = counts.m_dropped;
    record.nLost = m_lost;
    record.nBytes = counts.m_bytes;
    return record;
}

OX3D_REC_COUNTS CCameraRecorder::Counts() {
    const CLock lock(m_mutex);
    return CountsOf(m_recorder == nullptr ? RecorderCounts() : m_recorder->Counts());
}

void CCameraRecorder::Finish(OX3D_REC_COUNTS* counts) {
    const CLock lock(m_mutex);
    m_isOver = true;
    if (m_recorder == nullptr) {
        *counts = {};
        throw CRefusal(OX3D_REC_E_NO_DATA, "no frame came, nothing was recorded");
    }
    const RecorderCounts last = m_recorder->Finish();
    *counts = CountsOf(last);
    ThrowIfFailed(last, m_path);
}

} // namespace ox3d
