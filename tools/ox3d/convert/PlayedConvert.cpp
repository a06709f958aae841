// See PlayedConvert.h.
#include "tools/ox3d/convert/PlayedConvert.h"

#include "recording/PlayedNumbers.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/CameraControl.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/convert/ConvertForms.h"
#include "tools/ox3d/convert/SourceFrames.h"
#include "tools/ox3d/pictures/FrameDecode.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace ox3d::tool {

namespace fs = std::filesystem;

namespace {

// Without colors where the frame has none.
PointCloud CloudOfFrame(const CCamera& camera, OX3D_RGBD_FRAME_DATA& frame) {
    OX3D_RGBD_CLOUD_OPTIONS options{};
    options.nCamera = OX3D_RGBD_CAMERA_COLOR;
    options.nColor = OX3D_RGBD_CLOUD_COLOR_BESIDE;
    OX3D_RGBD_CLOUD cloud{};
    uint32_t status = OX3D_RGBD_MapFrameToPointCloud(camera.Handle(), &frame, &options, &cloud);
    if (status == OX3D_RGBD_E_NO_DATA) {
        options.nColor = OX3D_RGBD_CLOUD_NO_COLOR;
        status = OX3D_RGBD_MapFrameToPointCloud(camera.Handle(), &frame, &options, &cloud);
    }
    if (status != OX3D_RGBD_OK) {
        throw CToolError(EExitCode::Camera, "no point cloud: " + StatusText(status));
    }
    return CloudOf(cloud);
}

void SetNumber(const CCamera& camera, const char* key, uint32_t type, double value) {
    OX3D_RGBD_PARAM param{};
    param.enParamType = type;
    if (type == OX3D_RGBD_PARAM_FLOAT) {
        param.stFloatParam.fCurValue = static_cast<float>(value);
    } else {
        param.stIntParam.nCurValue = static_cast<int64_t>(value);
    }
    if (const uint32_t status = OX3D_RGBD_SetParam(camera.Handle(), key, &param); status != OX3D_RGBD_OK) {
        throw CToolError(EExitCode::Camera, std::string("cannot set ") + key + ": " + StatusText(status));
    }
}

// Frames of the camera that plays a recording, by their places in it.
class CPlayedFrames {
public:
    explicit CPlayedFrames(CCamera& camera) : m_camera(camera) { camera.Start(); }
    ~CPlayedFrames() { m_camera.Stop(); }
    CPlayedFrames(const CPlayedFrames&) = delete;
    CPlayedFrames& operator=(const CPlayedFrames&) = delete;

    // That frame of the recording, behind the last one; those between cannot be read and are triggered for nothing. Throws.
    OX3D_RGBD_FRAME_DATA Fetch(const SourceFrame& source) {
        constexpr uint32_t kPatienceMs = 10000;
        for (; m_triggers <= source.m_index; ++m_triggers) {
            if (const uint32_t status = Trigger(); status != OX3D_RGBD_OK) {
                throw CToolError(EExitCode::Camera, "cannot trigger: " + StatusText(status));
            }
        }
        const uint32_t wanted = m_numbers.Next(source.m_facts.m_number);
        OX3D_RGBD_FRAME_DATA frame{};
        uint32_t status = OX3D_RGBD_OK;
        uint32_t number = 0; // no frame's
        while (status == OX3D_RGBD_OK && number < wanted) {
            frame = {};
            status = OX3D_RGBD_FetchFrame(m_camera.Handle(), &frame, kPatienceMs);
            const OX3D_RGBD_IMAGE_DATA* const depth = FindDepth(frame);
            number = depth == nullptr ? 0 : depth->nFrameNum;
        }
        if (status != OX3D_RGBD_OK || number != wanted) {
            throw CToolError(EExitCode::Camera, "frame " + std::to_string(source.m_index) +
                                                    " is not played: " + StatusText(status));
        }
        m_numbers.Played(number);
        return frame;
    }

private:
    // So many may wait; then those before have to be taken first.
    uint32_t Trigger() {
        constexpr int kAttempts = 1000;
        uint32_t status = OX3D_RGBD_SoftTrigger(m_camera.Handle());
        for (int i = 0; i < kAttempts && status != OX3D_RGBD_OK; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            status = OX3D_RGBD_SoftTrigger(m_camera.Handle());
        }
        return status;
    }

    CCamera& m_camera;
    size_t m_triggers = 0;
    CPlayedNumbers m_numbers;
};

void PrepareToPlay(CCamera& camera, EConvert to) {
    const bool isDataset = DatasetFor(to) != EDataset::None;
    camera.Switch(OX3D_RGBD_KEY_IMAGE_ALIGN, isDataset);
    camera.Switch(OX3D_RGBD_KEY_RESOLUTION_ALIGN, isDataset);
    if (isDataset) {
        SetNumber(camera, OX3D_RGBD_KEY_ALIGN_MODE, OX3D_RGBD_PARAM_INT, 1); // without the raster of gaps
    }
    constexpr double kFastestHz = 240;
    SetNumber(camera, "AcquisitionFrameRate", OX3D_RGBD_PARAM_FLOAT, kFastestHz);
    constexpr double kShortestUs = 20;
    SetNumber(camera, "ExposureTime", OX3D_RGBD_PARAM_FLOAT, kShortestUs);
}

bool IsSame(const RecordedLens& a, const RecordedLens& b) {
    return a.m_width == b.m_width && a.m_height == b.m_height && a.m_fx == b.m_fx && a.m_fy == b.m_fy &&
           a.m_cx == b.m_cx && a.m_cy == b.m_cy && a.m_distortion == b.m_distortion;
}

// Depth that lies on color has its lens; what has another one has no place in a folder with one camera.
size_t ToDataset(CCamera& camera, CRecordingReader& reader, EDataset kind, const fs::path& folder) {
    CDatasetWriter dataset(kind, folder);
    CPlayedFrames played(camera);
    std::optional<RecordedLens> lens;
    size_t leftOut = 0;
    const size_t walked = WalkFrames(reader, EImages::Depth, [&](const SourceFrame& source) {
        const OX3D_RGBD_FRAME_DATA frame = played.Fetch(source);
        const std::optional<RecordedLens> own = camera.Lens(OX3D_RGBD_CAMERA_DEPTH);
        if (!own) {
            throw CToolError(EExitCode::File, "the recording has no calibration that can be used");
        }
        lens = lens ? lens : own;
        if (IsSame(*lens, *own)) {
            dataset.Add({source.m_index, source.m_facts.m_hostNs, DecodeDepth(frame), DecodeColor(frame)});
        } else {
            ++leftOut;
        }
    });
    if (leftOut > 0) {
        std::fprintf(stderr,
                     "ox3d: %zu frames are left out: their depth is not seen as that of the first one\n",
                     leftOut);
    }
    Finish(dataset, lens);
    return walked - leftOut;
}

size_t ToClouds(CCamera& camera, CRecordingReader& reader, EConvert to, const fs::path& folder) {
    CPlayedFrames played(camera);
    return WalkFrames(reader, EImages::Depth, [&](const SourceFrame& source) {
        OX3D_RGBD_FRAME_DATA frame = played.Fetch(source);
        WriteCloud(CloudOfFrame(camera, frame), to, folder, source.m_index);
    });
}

} // namespace

size_t ConvertPlayed(CRecordingReader& reader, const fs::path& in, EConvert to, const fs::path& folder) {
    CameraControlRequest request;
    request.m_recording = in.string();
    request.m_play = {false, 1, true};
    CCameraControl player(request);
    CSession session(player.Enter(), "");
    CCamera& camera = session.Camera();
    PrepareToPlay(camera, to);
    return DatasetFor(to) == EDataset::None ? ToClouds(camera, reader, to, folder)
                                            : ToDataset(camera, reader, DatasetFor(to), folder);
}

} // namespace ox3d::tool
