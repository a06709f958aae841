// See PlainConvert.h.
#include "tools/ox3d/convert/PlainConvert.h"

#include "base/LocalFile.h"
#include "recording/CalibrationReader.h"
#include "recording/Recorder.h"
#include "recording/RecordingWriter.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/convert/ConvertForms.h"
#include "tools/ox3d/convert/SourceFrames.h"
#include "tools/ox3d/pictures/DepthCloud.h"

#include <cstdio>

namespace ox3d::tool {

namespace fs = std::filesystem;

namespace {

// Color stays as it was recorded unless told otherwise; images that were never packed become JPEG.
RecorderOptions RecorderOptionsFor(const RecordedCamera& camera, const ConvertOptions& options) {
    const auto color = camera.m_facts.find("color");
    const bool isRaw = color != camera.m_facts.end() && color->second == "raw";
    RecorderOptions recorder;
    recorder.m_color = options.m_color.value_or(isRaw ? ERecordedColor::Raw : ERecordedColor::Jpeg);
    constexpr uint32_t kQuality = 90;
    recorder.m_jpegQuality = static_cast<int>(options.m_quality.value_or(kQuality));
    recorder.m_queueFrames = 2 * recorder.m_encoders; // as many as keep the encoders busy
    return recorder;
}

} // namespace

size_t ToFile(CRecordingReader& reader, const ConvertOptions& options, const fs::path& file) {
    RecordedCamera camera = reader.Camera();
    AddLensesOfFile(reader.DepthSize(), reader.ColorSize(), &camera);
    camera.m_facts.emplace("aligned", "0");
    camera.m_facts.emplace("depth_unit_mm", "1");
    std::string error;
    const RecorderOptions recording = RecorderOptionsFor(camera, options);
    const auto recorder = CRecorder::Open(file.string(), camera, recording, &error);
    if (recorder == nullptr) {
        throw CToolError(EExitCode::File, error);
    }
    const PngSize depth = reader.DepthSize();
    const PngSize color = reader.ColorSize();
    const bool isJpegKept = recording.m_color == ERecordedColor::Jpeg && !options.m_quality;
    const EImages images = isJpegKept ? EImages::AllAsTheyLie : EImages::All;
    const size_t added = WalkFrames(reader, images, [&](SourceFrame& frame) {
        FrameView view;
        view.m_facts = frame.m_facts;
        view.m_depth = {frame.m_samples.data(), depth.m_width, depth.m_height, depth.m_width};
        view.m_color = {frame.m_planes.empty() ? nullptr : frame.m_planes.data(), color.m_width,
                        color.m_height, EColorLayout::Planar};
        if (!frame.m_jpeg.empty()) {
            view.m_color = {frame.m_jpeg.data(), color.m_width, color.m_height, EColorLayout::Jpeg,
                            frame.m_jpeg.size()};
        }
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
    std::vector<uint8_t> pair;
    return WalkFrames(reader, EImages::All, [&](SourceFrame& frame) {
        const RgbImage color = ColorOf(reader, frame);
        const auto* const pixels = reinterpret_cast<const uint8_t*>(color.m_samples.data());
        const uint64_t number = writer.NumberFor(static_cast<uint32_t>(frame.m_facts.m_number));
        const PngSize size = reader.DepthSize();
        const size_t viewBytes = size_t{size.m_width} * size.m_height;
        if (!writer.Write(number, size, frame.m_samples.data(), reader.ColorSize(),
                          color.IsEmpty() ? nullptr : pixels, &error) ||
            (reader.ReadPair(frame.m_index, &pair) &&
             !writer.WritePair(number, size, pair.data(), pair.data() + viewBytes, &error))) {
            throw CToolError(EExitCode::File, "cannot write " + error);
        }
    });
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

} // namespace ox3d::tool
