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
#include "tools/ox3d/convert/Dataset.h"
#include "tools/ox3d/pictures/DepthCloud.h"
#include "tools/ox3d/pictures/FrameDecode.h"
#include "tools/ox3d/pictures/Pcd.h"
#include "tools/ox3d/pictures/Ply.h"
#include "tools/ox3d/pictures/PointCloud.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;

void CheckInterrupt() {
    if (IsInterrupted()) {
        throw CToolError(EExitCode::Interrupted, "interrupted, nothing was written");
    }
}

// The result lies beside its place until it is whole, and goes away when it never is.
class CResult {
public:
    explicit CResult(fs::path path)
        : m_path(std::move(path)), m_part(m_path.string() + "." + std::to_string(getpid()) + ".part") {
        std::error_code ignored;
        if (fs::exists(m_path, ignored) &&
            !(fs::is_directory(m_path, ignored) && fs::is_empty(m_path, ignored))) {
            throw CToolError(EExitCode::File, m_path.string() + " exists already");
        }
    }
    ~CResult() {
        std::error_code ignored;
        fs::remove_all(m_part, ignored);
    }
    CResult(const CResult&) = delete;
    CResult& operator=(const CResult&) = delete;

    const fs::path& Part() const { return m_part; }
    void MakeFolder() const {
        std::error_code failure;
        fs::create_directories(m_part, failure);
        if (failure) {
            throw CToolError(EExitCode::File, "cannot make " + m_path.string() + ": " + failure.message());
        }
    }
    void Keep() const {
        std::error_code failure;
        fs::rename(m_part, m_path, failure); // an empty folder gives way
        if (failure) {
            throw CToolError(EExitCode::File, "cannot write " + m_path.string() + ": " + failure.message());
        }
    }

private:
    const fs::path m_path;
    const fs::path m_part;
};

std::unique_ptr<CRecordingReader> OpenSource(const fs::path& path, EDataset kind) {
    std::string error;
    auto reader =
        kind == EDataset::None ? CRecordingReader::Open(path.string(), &error) : OpenDataset(kind, path);
    if (reader == nullptr) {
        throw CToolError(EExitCode::Usage, error);
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

// Hands every frame that can be read to `take`. Returns how many those are.
size_t WalkFrames(CRecordingReader& reader, const std::function<void(SourceFrame& frame)>& take) {
    SourceFrame frame;
    size_t taken = 0;
    for (size_t i = 0; i < reader.FrameCount(); ++i) {
        CheckInterrupt();
        if (!reader.ReadDepth(i, &frame.m_samples)) {
            continue;
        }
        frame.m_index = i;
        if (!reader.ReadColor(i, &frame.m_planes)) {
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

// What a folder's calibration file says of the lenses, for readers that do not know such files.
void AddLenses(const CRecordingReader& reader, RecordedCamera* camera) {
    const PngSize depth = reader.DepthSize();
    const PngSize color = reader.ColorSize();
    const auto calibration = ReadCalibration(camera->m_calibrationXml, depth.m_width);
    if (camera->m_depthLens || !calibration) {
        return;
    }
    // The library takes a set that belongs to the depth's width as it is.
    const bool isOwn = calibration->m_depth.m_width == depth.m_width;
    camera->m_depthLens = isOwn ? calibration->m_depth : ScaledTo(calibration->m_depth, depth, depth);
    camera->m_depthLens->m_height = depth.m_height;
    camera->m_depthToColor = calibration->m_depthToColor;
    if (color.m_width > 0) {
        camera->m_colorLens = ScaledTo(calibration->m_color, depth, color);
    }
}

size_t ToFile(CRecordingReader& reader, const ConvertOptions& options, const fs::path& file) {
    RecorderOptions recorderOptions;
    recorderOptions.m_color = options.m_color;
    recorderOptions.m_jpegQuality = static_cast<int>(options.m_quality);
    RecordedCamera camera = reader.Camera();
    AddLenses(reader, &camera);
    camera.m_facts.emplace("aligned", "0");
    camera.m_facts.emplace("depth_unit_mm", "1");
    std::string error;
    const auto recorder = CRecorder::Open(file.string(), camera, recorderOptions, &error);
    if (recorder == nullptr) {
        throw CToolError(EExitCode::File, error);
    }
    const PngSize depth = reader.DepthSize();
    const PngSize color = reader.ColorSize();
    const size_t added = WalkFrames(reader, [&](SourceFrame& frame) {
        FrameView view;
        view.m_facts = frame.m_facts;
        view.m_depth = {frame.m_samples.data(), depth.m_width, depth.m_height, depth.m_width};
        view.m_color = {frame.m_planes.empty() ? nullptr : frame.m_planes.data(), color.m_width,
                        color.m_height, EColorLayout::Planar};
        // No camera waits: the queue may be full for a while.
        while (!recorder->Add(view) && recorder->Counts().m_state == EWriting::Ok) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    const RecorderCounts counts = recorder->Finish();
    if (counts.m_state != EWriting::Ok) {
        throw CToolError(EExitCode::File, "cannot write " + file.string() + ": " + counts.m_error);
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
    if (!WriteLocalFile(writer.CalibrationFile(), calibration.data(), calibration.size())) {
        throw CToolError(EExitCode::File, "cannot write " + writer.CalibrationFile());
    }
    return WalkFrames(reader, [&](SourceFrame& frame) {
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
        const size_t added = WalkFrames(reader, [&](SourceFrame& frame) {
            dataset.Add(
                {frame.m_index, frame.m_facts.m_hostNs, DepthOf(reader, frame), ColorOf(reader, frame)});
        });
        Finish(dataset, camera.m_colorLens);
        return added;
    }
    const CDepthCloud cloud({*camera.m_depthLens, *camera.m_colorLens, *camera.m_depthToColor},
                            EDepthView::OnColor, size.m_width, size.m_height);
    return WalkFrames(reader, [&](SourceFrame& frame) {
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

// One frame for one trigger. False when it cannot be read.
bool FetchTriggered(const CCamera& camera, OX3D_RGBD_FRAME_DATA* frame) {
    constexpr uint32_t kPatienceMs = 3000;
    *frame = {};
    if (const uint32_t status = OX3D_RGBD_SoftTrigger(camera.Handle()); status != OX3D_RGBD_OK) {
        throw CToolError(EExitCode::Camera, "cannot trigger: " + StatusText(status));
    }
    return OX3D_RGBD_FetchFrame(camera.Handle(), frame, kPatienceMs) == OX3D_RGBD_OK &&
           FindDepth(*frame) != nullptr;
}

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

size_t ThroughLibrary(CCamera& camera, const CRecordingReader& reader, EConvert to, const fs::path& folder) {
    PrepareToPlay(camera, to);
    std::optional<CDatasetWriter> dataset;
    if (DatasetFor(to) != EDataset::None) {
        dataset.emplace(DatasetFor(to), folder);
    }
    std::optional<RecordedLens> lens;
    size_t added = 0;
    camera.Start();
    for (size_t i = 0; i < reader.FrameCount(); ++i) {
        CheckInterrupt();
        OX3D_RGBD_FRAME_DATA frame{};
        if (!FetchTriggered(camera, &frame)) {
            std::fprintf(stderr, "frame %zu cannot be read and is left out\n", i);
            continue;
        }
        if (dataset) {
            dataset->Add({i, TimeOf(reader, i), DecodeDepth(frame), DecodeColor(frame)});
            lens = lens ? lens : camera.Lens(OX3D_RGBD_CAMERA_COLOR);
        } else {
            WriteCloud(CloudOfFrame(camera, frame), to, folder, i);
        }
        ++added;
    }
    camera.Stop();
    if (dataset) {
        Finish(*dataset, lens);
    }
    return added;
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
               const CResult& result) {
    if (to == EConvert::Mcap) {
        return ToFile(reader, options, result.Part());
    }
    result.MakeFolder();
    if (to == EConvert::Png) {
        return ToPngFolder(reader, result.Part());
    }
    if (kind != EDataset::None) {
        return FromDataset(reader, to, result.Part());
    }
    CameraControlRequest request;
    request.m_recording = fs::absolute(options.m_in).string();
    request.m_play = {false, 1, true};
    CCameraControl player(request);
    CSession session(player.Enter(), "");
    return ThroughLibrary(session.Camera(), reader, to, result.Part());
}

} // namespace

EExitCode RunConvert(CCameraControl& /*control*/, const Arguments& arguments) {
    const ConvertOptions& options = arguments.m_convert;
    const EConvert to = TargetOf(options);
    const fs::path in = fs::absolute(options.m_in);
    const CResult result(fs::absolute(options.m_out));
    const EDataset kind = DatasetIn(in);
    const std::unique_ptr<CRecordingReader> reader = OpenSource(in, kind);
    InstallInterruptHandler();
    const size_t added = Convert(*reader, kind, to, options, result);
    if (added == 0) {
        throw CToolError(EExitCode::NoFrame, "there is no frame that can be read");
    }
    result.Keep();
    std::printf("%zu of %zu frames\n", added, reader->FrameCount());
    return EExitCode::Ok;
}

} // namespace ox3d::tool
