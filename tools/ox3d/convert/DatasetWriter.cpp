// Writing folders of other programs' forms.
#include "base/LocalFile.h"
#include "base/PngFile.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/convert/Dataset.h"

#include <cstdio>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kTumPerMm = 5; // 5000 a metre

void Check(bool isWritten, const std::string& what) {
    if (!isWritten) {
        throw CToolError(EExitCode::File, "cannot write " + what);
    }
}

void WriteText(const fs::path& file, const std::string& text) {
    Check(WriteLocalFile(file.string(), text.data(), text.size()), file.string());
}

// "1305031102.175304", as these lists have it.
std::string SecondsText(uint64_t timeNs) {
    constexpr uint64_t kNsPerSecond = 1000000000;
    constexpr uint64_t kNsPerMicrosecond = 1000;
    char text[40];
    std::snprintf(text, sizeof(text), "%llu.%06llu", static_cast<unsigned long long>(timeNs / kNsPerSecond),
                  static_cast<unsigned long long>(timeNs % kNsPerSecond / kNsPerMicrosecond));
    return text;
}

std::string NumberText(size_t index) {
    char text[32];
    std::snprintf(text, sizeof(text), "%06zu", index);
    return text;
}

// One camera for both images, of which the depth was registered.
std::string RedwoodText(const RecordedLens& lens) {
    char text[320];
    std::snprintf(
        text, sizeof(text),
        "{\n    \"width\": %u,\n    \"height\": %u,\n    \"intrinsic_matrix\": [%.9g, 0, 0, 0, %.9g, 0, "
        "%.9g, %.9g, 1]\n}\n",
        lens.m_width, lens.m_height, lens.m_fx, lens.m_fy, lens.m_cx, lens.m_cy);
    return text;
}

std::string TumText(const RecordedLens& lens) {
    const auto& d = lens.m_distortion;
    char text[320];
    std::snprintf(
        text, sizeof(text),
        "# width height fx fy cx cy k1 k2 p1 p2 k3\n%u %u %.9g %.9g %.9g %.9g %.9g %.9g %.9g %.9g %.9g\n",
        lens.m_width, lens.m_height, lens.m_fx, lens.m_fy, lens.m_cx, lens.m_cy, d[0], d[1], d[2], d[3],
        d[4]);
    return text;
}

} // namespace

CDatasetWriter::CDatasetWriter(EDataset kind, fs::path folder) : m_kind(kind), m_folder(std::move(folder)) {
    for (const char* const part : {"depth", m_kind == EDataset::Tum ? "rgb" : "color"}) {
        std::error_code failure;
        fs::create_directories(m_folder / part, failure);
        Check(!failure, (m_folder / part).string());
    }
    m_depthList = "# timestamp filename\n";
    m_colorList = m_depthList;
}

void CDatasetWriter::Add(const DatasetFrame& frame) {
    const bool isTum = m_kind == EDataset::Tum;
    const std::string stem = isTum ? SecondsText(frame.m_timeNs) : NumberText(frame.m_index);
    const std::string depthName = "depth/" + stem + ".png";
    const std::string colorName = (isTum ? "rgb/" : "color/") + stem + ".png";
    std::vector<uint16_t> samples = frame.m_depth.m_samples;
    for (uint16_t& sample : samples) {
        const bool isFar = isTum && sample > UINT16_MAX / kTumPerMm;
        m_farSamples += isFar ? 1 : 0;
        sample = static_cast<uint16_t>(isFar ? 0 : isTum ? sample * kTumPerMm : sample);
    }
    std::string error;
    if (!WriteDepthPng((m_folder / depthName).string(), {frame.m_depth.m_width, frame.m_depth.m_height},
                       samples.data(), &error)) {
        throw CToolError(EExitCode::File, "cannot write " + error);
    }
    m_depthList += stem + " " + depthName + "\n";
    if (frame.m_color.IsEmpty()) {
        return;
    }
    const auto* const pixels = reinterpret_cast<const uint8_t*>(frame.m_color.m_samples.data());
    if (!WriteColorPng((m_folder / colorName).string(), {frame.m_color.m_width, frame.m_color.m_height},
                       pixels, &error)) {
        throw CToolError(EExitCode::File, "cannot write " + error);
    }
    m_colorList += stem + " " + colorName + "\n";
    m_pairs += stem + " " + colorName + " " + stem + " " + depthName + "\n";
}

void CDatasetWriter::Finish(const std::optional<RecordedLens>& lens) {
    if (m_kind == EDataset::Tum) {
        WriteText(m_folder / "depth.txt", m_depthList);
        WriteText(m_folder / "rgb.txt", m_colorList);
        WriteText(m_folder / "associations.txt", m_pairs);
    }
    if (lens) {
        const bool isTum = m_kind == EDataset::Tum;
        WriteText(m_folder / (isTum ? "calibration.txt" : "camera_intrinsic.json"),
                  isTum ? TumText(*lens) : RedwoodText(*lens));
    }
}

} // namespace ox3d::tool
