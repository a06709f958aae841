// ox3d convert: recordings from one form into another. Files and folders of images are read and written as they are; what
// needs depth on color, or points, is made by the library from a camera that plays the recording, one frame for each
// trigger, so that none is lost.
#include "base/LocalFile.h"
#include "recording/Recorder.h"
#include "recording/RecordingWriter.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/convert/Dataset.h"
#include "tools/ox3d/pictures/FrameDecode.h"
#include "tools/ox3d/pictures/Pcd.h"
#include "tools/ox3d/pictures/Ply.h"
#include "tools/ox3d/pictures/PointCloud.h"

#include <chrono>
#include <cstdio>
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

// ---- Without a camera ----

size_t ToFile(CRecordingReader& reader, const ConvertOptions& options, const fs::path& file) {
    RecorderOptions recorderOptions;
    recorderOptions.m_color = options.m_color;
    recorderOptions.m_jpegQuality = static_cast<int>(options.m_quality);
    RecordedCamera camera = reader.Camera();
    camera.m_facts.emplace("aligned", "0");
    camera.m_facts.emplace("depth_unit_mm", "1");
    std::string error;
    const auto recorder = CRecorder::Open(file.string(), camera, recorderOptions, &error);
    if (recorder == nullptr) {
        throw CToolError(EExitCode::File, error);
    }
    std::vector<uint16_t> samples;
    std::vector<uint8_t> planes;
    size_t added = 0;
    for (size_t i = 0; i < reader.FrameCount(); ++i) {
        CheckInterrupt();
        if (!reader.ReadDepth(i, &samples)) {
            continue;
        }
        const bool hasColor = reader.ReadColor(i, &planes);
        FrameView view;
        if (!reader.ReadFacts(i, &view.m_facts)) {
            view.m_facts = {i + 1, TimeOf(reader, i), TimeOf(reader, i), 0, false};
        }
        const PngSize depth = reader.DepthSize();
        const PngSize color = reader.ColorSize();
        view.m_depth = {samples.data(), depth.m_width, depth.m_height, depth.m_width};
        view.m_color = {hasColor ? planes.data() : nullptr, color.m_width, color.m_height,
                        EColorLayout::Planar};
        // No camera waits: the queue may be full for a while.
        while (!recorder->Add(view) && recorder->Counts().m_state == EWriting::Ok) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ++added;
    }
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
    std::vector<uint16_t> samples;
    std::vector<uint8_t> planes;
    std::vector<uint8_t> pixels;
    size_t added = 0;
    for (size_t i = 0; i < reader.FrameCount(); ++i) {
        CheckInterrupt();
        if (!reader.ReadDepth(i, &samples)) {
            continue;
        }
        const bool hasColor = reader.ReadColor(i, &planes);
        const size_t count = planes.size() / 3;
        pixels.resize(planes.size());
        for (size_t at = 0; hasColor && at < pixels.size(); ++at) {
            pixels[at] = planes[at % 3 * count + at / 3];
        }
        RecordedFacts facts;
        const auto number = static_cast<uint32_t>(reader.ReadFacts(i, &facts) ? facts.m_number : i);
        if (!writer.Add(number, reader.DepthSize(), samples.data(), reader.ColorSize(),
                        hasColor ? pixels.data() : nullptr, &error)) {
            throw CToolError(EExitCode::File, "cannot write " + error);
        }
        ++added;
    }
    return added;
}

// ---- Through the library ----

void WriteCloud(const CCamera& camera, OX3D_RGBD_FRAME_DATA& frame, bool isPly, const fs::path& folder,
                size_t number) {
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
    char name[32];
    std::snprintf(name, sizeof(name), "%06zu.%s", number, isPly ? "ply" : "pcd");
    (isPly ? WritePly : WritePcd)((folder / name).string(), CloudOf(cloud));
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
    const bool isDataset = to == EConvert::Tum || to == EConvert::Redwood;
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
    if (to == EConvert::Tum || to == EConvert::Redwood) {
        dataset.emplace(to == EConvert::Tum ? EDataset::Tum : EDataset::Redwood, folder);
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
            WriteCloud(camera, frame, to == EConvert::Ply, folder, i);
        }
        ++added;
    }
    camera.Stop();
    if (dataset) {
        dataset->Finish(lens);
        if (dataset->FarSamples() > 0) {
            std::fprintf(stderr, "%llu samples are farther than the 13.1 m of a TUM folder and left out\n",
                         static_cast<unsigned long long>(dataset->FarSamples()));
        }
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

} // namespace

EExitCode RunConvert(CCameraControl& /*control*/, const Arguments& arguments) {
    const ConvertOptions& options = arguments.m_convert;
    const EConvert to = TargetOf(options);
    const fs::path in = fs::absolute(options.m_in);
    const CResult result(fs::absolute(options.m_out));
    const EDataset kind = DatasetIn(in);
    const std::unique_ptr<CRecordingReader> reader = OpenSource(in, kind);
    InstallInterruptHandler();
    size_t added = 0;
    if (to == EConvert::Mcap) {
        added = ToFile(*reader, options, result.Part());
    } else {
        result.MakeFolder();
        if (to == EConvert::Png) {
            added = ToPngFolder(*reader, result.Part());
        } else if (kind != EDataset::None) {
            throw CToolError(EExitCode::Usage, "convert such a folder to NAME.mcap first, then that");
        } else {
            CameraControlRequest request;
            request.m_recording = in.string();
            request.m_play = {false, 1, true};
            CCameraControl player(request);
            CSession session(player.Enter(), "");
            added = ThroughLibrary(session.Camera(), *reader, to, result.Part());
        }
    }
    if (added == 0) {
        throw CToolError(EExitCode::NoFrame, "there is no frame that can be read");
    }
    result.Keep();
    std::printf("%zu of %zu frames\n", added, reader->FrameCount());
    return EExitCode::Ok;
}

} // namespace ox3d::tool
