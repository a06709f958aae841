// ox3d convert: recordings from one form into another. Files and folders of images are read and written as they are, and
// those whose depth lies on color become points and other folders without a camera. Where depth has to be laid onto color,
// or points are made of both cameras' images, the library does it to a camera that plays the recording, one frame for
// each trigger, so that none is lost.
#include "base/LocalFile.h"
#include "recording/CalibrationReader.h"
#include "recording/Recorder.h"
#include "recording/RecordingWriter.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/convert/ConvertTarget.h"
#include "tools/ox3d/convert/Dataset.h"
#include "tools/ox3d/pictures/DepthCloud.h"
#include "tools/ox3d/pictures/FrameDecode.h"
#include "tools/ox3d/pictures/Pcd.h"
#include "tools/ox3d/pictures/Ply.h"
#include "tools/ox3d/pictures/PointCloud.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <thread>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;

std::unique_ptr<CRecordingReader> OpenSource(const fs::path& path, EDataset kind) {
    std::string error;
    auto reader =
        kind == EDataset::None ? CRecordingReader::Open(path.string(), &error) : OpenDataset(kind, path);
    if (reader == nullptr) {
        throw CToolError(EExitCode::File, error);
    }
    return reader;
}

uint64_t TimeOf(const CRecordingReader& reader, size_t frame) {
    constexpr uint64_t kNsPerFrame = 33333333; // of a folder that knows no times
    const std::vector<uint64_t>& times = reader.HostTimes();
    return frame < times.size() ? times[frame] : frame * kNsPerFrame;
}

// A frame of the source as it is.
struct SourceFrame {
    size_t m_index = 0;
    RecordedFacts m_facts; // made up where nothing is known
    std::vector<uint16_t> m_samples;
    std::vector<uint8_t> m_planes; // empty: no color
};

enum class EImages { Depth, All };

// Hands every frame that can be read to `take`; the reader tells of the others. Returns how many those are.
size_t WalkFrames(CRecordingReader& reader, EImages images,
                  const std::function<void(SourceFrame& frame)>& take) {
    SourceFrame frame;
    size_t taken = 0;
    for (size_t& i = frame.m_index; i < reader.FrameCount(); ++i) {
        if (IsInterrupted()) {
            throw CToolError(EExitCode::Interrupted, "interrupted, nothing was written");
        }
        if (!reader.ReadDepth(i, &frame.m_samples)) {
            continue;
        }
        if (images == EImages::Depth || !reader.ReadColor(i, &frame.m_planes)) {
            frame.m_planes.clear();
        }
        if (!reader.ReadFacts(i, &frame.m_facts)) {
            frame.m_facts = {i + 1, TimeOf(reader, i), TimeOf(reader, i), 0, false};
        }
        take(frame);
        ++taken;
    }
    return taken;
}

RgbImage ColorOf(const CRecordingReader& reader, const SourceFrame& frame) {
    const PngSize size = reader.ColorSize();
    return frame.m_planes.empty() ? RgbImage() : ColorOfPlanes(frame.m_planes, size.m_width, size.m_height);
}

DepthImage DepthOf(const CRecordingReader& reader, SourceFrame& frame) {
    const PngSize size = reader.DepthSize();
    DepthImage depth;
    depth.m_width = size.m_width;
    depth.m_height = size.m_height;
    depth.m_samples.swap(frame.m_samples);
    return depth;
}

// ---- Without a camera ----

// Color stays as it was recorded unless told otherwise; images that were never packed become JPEG.
RecorderOptions RecorderOptionsFor(const RecordedCamera& camera, const ConvertOptions& options) {
    const auto color = camera.m_facts.find("color");
    const bool isRaw = color != camera.m_facts.end() && color->second == "raw";
    RecorderOptions recorder;
    recorder.m_color = options.m_color.value_or(isRaw ? ERecordedColor::Raw : ERecordedColor::Jpeg);
    recorder.m_jpegQuality = static_cast<int>(options.m_quality);
    recorder.m_queueFrames = 2 * recorder.m_encoders; // as many as keep the encoders busy
    return recorder;
}

size_t ToFile(CRecordingReader& reader, const ConvertOptions& options, const fs::path& file) {
    RecordedCamera camera = reader.Camera();
    AddLensesOfFile(reader.DepthSize(), reader.ColorSize(), &camera);
    camera.m_facts.emplace("aligned", "0");
    camera.m_facts.emplace("depth_unit_mm", "1");
    std::string error;
    const auto recorder = CRecorder::Open(file.string(), camera, RecorderOptionsFor(camera, options), &error);
    if (recorder == nullptr) {
        throw CToolError(EExitCode::File, error);
    }
    const PngSize depth = reader.DepthSize();
    const PngSize color = reader.ColorSize();
    const size_t added = WalkFrames(reader, EImages::All, [&](SourceFrame& frame) {
        FrameView view;
        view.m_facts = frame.m_facts;
        view.m_depth = {frame.m_samples.data(), depth.m_width, depth.m_height, depth.m_width};
        view.m_color = {frame.m_planes.empty() ? nullptr : frame.m_planes.data(), color.m_width,
                        color.m_height, EColorLayout::Planar};
        recorder->Add(view, EFullQueue::Wait); // what fails is counted
    });
    const RecorderCounts counts = recorder->Finish();
    if (counts.m_state != EWriting::Ok) {
        throw CToolError(EExitCode::File, "cannot write " + file.string() + ": " + counts.m_error);
    }
    if (counts.m_written != added) {
        throw CToolError(EExitCode::File, "cannot write " + file.string() + ": no memory for " +
                                              std::to_string(added - counts.m_written) + " of its frames");
    }
    if (counts.m_withoutColor > 0) {
        std::fprintf(stderr, "ox3d: the color of %llu frames could not be packed and is left out\n",
                     static_cast<unsigned long long>(counts.m_withoutColor));
    }
    return added;
}

size_t ToPngFolder(CRecordingReader& reader, const fs::path& folder) {
    CRecordingWriter writer(folder);
    std::string error;
    if (!writer.Begin(&error)) {
        throw CToolError(EExitCode::File, error);
    }
    const std::string& calibration = reader.CalibrationXml();
    if (calibration.empty()) {
        throw CToolError(EExitCode::File,
                         "the recording has no calibration, without which no folder of images is "
                         "played; --to mcap keeps its frames");
    }
    if (!WriteLocalFile(writer.CalibrationFile(), calibration.data(), calibration.size())) {
        throw CToolError(EExitCode::File, "cannot write " + writer.CalibrationFile());
    }
    return WalkFrames(reader, EImages::All, [&](SourceFrame& frame) {
        const RgbImage color = ColorOf(reader, frame);
        const auto* const pixels = reinterpret_cast<const uint8_t*>(color.m_samples.data());
        if (!writer.Add(static_cast<uint32_t>(frame.m_facts.m_number), reader.DepthSize(),
                        frame.m_samples.data(), reader.ColorSize(), color.IsEmpty() ? nullptr : pixels,
                        &error)) {
            throw CToolError(EExitCode::File, "cannot write " + error);
        }
    });
}

void Finish(CDatasetWriter& dataset, const std::optional<RecordedLens>& lens) {
    dataset.Finish(lens);
    if (dataset.FarSamples() > 0) {
        std::fprintf(stderr, "%llu samples are farther than the 13.1 m of a TUM folder and left out\n",
                     static_cast<unsigned long long>(dataset.FarSamples()));
    }
}

EDataset DatasetFor(EConvert to) {
    return to == EConvert::Tum ? EDataset::Tum : to == EConvert::Redwood ? EDataset::Redwood : EDataset::None;
}

void WriteCloud(const PointCloud& cloud, EConvert to, const fs::path& folder, size_t number) {
    const bool isPly = to == EConvert::Ply;
    char name[32];
    std::snprintf(name, sizeof(name), "%06zu.%s", number, isPly ? "ply" : "pcd");
    (isPly ? WritePly : WritePcd)((folder / name).string(), cloud);
}

// Of a source whose depth lies on color. A color image of another size would not be on it.
size_t FromDataset(CRecordingReader& reader, EConvert to, const fs::path& folder) {
    const PngSize size = reader.DepthSize();
    const RecordedCamera& camera = reader.Camera();
    if (reader.ColorSize().m_width != 0 &&
        (reader.ColorSize().m_width != size.m_width || reader.ColorSize().m_height != size.m_height)) {
        throw CToolError(EExitCode::Usage, "depth and color images have not one size: depth is not on color");
    }
    if (DatasetFor(to) != EDataset::None) {
        CDatasetWriter dataset(DatasetFor(to), folder);
        const size_t added = WalkFrames(reader, EImages::All, [&](SourceFrame& frame) {
            dataset.Add(
                {frame.m_index, frame.m_facts.m_hostNs, DepthOf(reader, frame), ColorOf(reader, frame)});
        });
        Finish(dataset, camera.m_colorLens);
        return added;
    }
    const CDepthCloud cloud({*camera.m_depthLens, *camera.m_colorLens, *camera.m_depthToColor},
                            EDepthView::OnColor, size.m_width, size.m_height);
    return WalkFrames(reader, EImages::All, [&](SourceFrame& frame) {
        WriteCloud(cloud.Of(DepthOf(reader, frame), ColorOf(reader, frame)), to, folder, frame.m_index);
    });
}

// ---- Through the library ----

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

    // The frame at that place, behind the last one; those between cannot be read and are triggered for nothing. Throws.
    OX3D_RGBD_FRAME_DATA Fetch(size_t index) {
        constexpr uint32_t kPatienceMs = 10000;
        for (; m_triggers <= index; ++m_triggers) {
            if (const uint32_t status = Trigger(); status != OX3D_RGBD_OK) {
                throw CToolError(EExitCode::Camera, "cannot trigger: " + StatusText(status));
            }
        }
        OX3D_RGBD_FRAME_DATA frame{};
        uint32_t status = OX3D_RGBD_OK;
        uint32_t number = 0; // numbers begin with 1
        while (status == OX3D_RGBD_OK && number <= index) {
            frame = {};
            status = OX3D_RGBD_FetchFrame(m_camera.Handle(), &frame, kPatienceMs);
            const OX3D_RGBD_IMAGE_DATA* const depth = FindDepth(frame);
            number = depth == nullptr ? 0 : depth->nFrameNum;
        }
        if (status != OX3D_RGBD_OK || number != index + 1) {
            throw CToolError(EExitCode::Camera,
                             "frame " + std::to_string(index) + " is not played: " + StatusText(status));
        }
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
        const OX3D_RGBD_FRAME_DATA frame = played.Fetch(source.m_index);
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
        OX3D_RGBD_FRAME_DATA frame = played.Fetch(source.m_index);
        WriteCloud(CloudOfFrame(camera, frame), to, folder, source.m_index);
    });
}

EConvert TargetOf(const ConvertOptions& options) {
    if (options.m_to != EConvert::ByName) {
        return options.m_to;
    }
    if (fs::path(options.m_out).extension() != ".mcap") {
        throw CToolError(EExitCode::Usage, "say --to tum, redwood, png, ply or pcd for a folder");
    }
    return EConvert::Mcap;
}

size_t Convert(CRecordingReader& reader, EDataset kind, EConvert to, const ConvertOptions& options,
               const fs::path& part) {
    if (to == EConvert::Mcap) {
        return ToFile(reader, options, part);
    }
    if (to == EConvert::Png) {
        return ToPngFolder(reader, part);
    }
    if (kind != EDataset::None) {
        return FromDataset(reader, to, part);
    }
    CameraControlRequest request;
    request.m_recording = fs::absolute(options.m_in).string();
    request.m_play = {false, 1, true};
    CCameraControl player(request);
    CSession session(player.Enter(), "");
    CCamera& camera = session.Camera();
    PrepareToPlay(camera, to);
    return DatasetFor(to) == EDataset::None ? ToClouds(camera, reader, to, part)
                                            : ToDataset(camera, reader, DatasetFor(to), part);
}

} // namespace

EExitCode RunConvert(CCameraControl& /*control*/, const Arguments& arguments) {
    const ConvertOptions& options = arguments.m_convert;
    const EConvert to = TargetOf(options);
    const fs::path in = fs::absolute(options.m_in);
    CConvertTarget target(options.m_out, to == EConvert::Mcap ? ETarget::File : ETarget::Folder);
    const EDataset kind = DatasetIn(in);
    const std::unique_ptr<CRecordingReader> reader = OpenSource(in, kind);
    InstallInterruptHandler();
    size_t added = 0;
    try {
        added = Convert(*reader, kind, to, options, target.Part());
    } catch (const CToolError& error) {
        throw CToolError(error.Code(), target.InWordsOfTheUser(error.what()));
    }
    if (added == 0) {
        throw CToolError(EExitCode::NoFrame, "there is no frame that can be read");
    }
    target.Keep();
    std::printf("%zu of %zu frames\n", added, reader->FrameCount());
    return EExitCode::Ok;
}

} // namespace ox3d::tool
