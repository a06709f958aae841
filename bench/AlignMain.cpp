// AlignMain.cpp - the program ox3d_align: how good the alignments are against the virtual camera's truth, as a table, and
// pictures of them into a folder. Arguments: that folder, and a recording to picture beside the scene.
#include "base/PngFile.h"
#include "bench/AlignQuality.h"
#include "bench/AlignScene.h"
#include "recording/RecordingReader.h"
#include "src/Manager/CalibrationFile.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

#ifdef OX3D_BENCH_OPENCV
using ox3dbench::RegisteredByOpenCv;
#else
std::vector<uint16_t> RegisteredByOpenCv(const ox3dbench::AlignScene& /*scene*/, bool /*isDilated*/) {
    return {};
}
#endif
using ox3dbench::AlignQuality;
using ox3dbench::AlignScene;
using ox3dbench::CAlignTruth;

constexpr uint64_t kFrame = 40;

// A part of an image; all images of a picture have the same.
struct Crop {
    int32_t m_left;
    int32_t m_top;
    int32_t m_width;
    int32_t m_height;
};

// Pictures beside one another, black between.
class CPicture {
public:
    CPicture(const AlignScene& scene, const Crop& crop, int32_t panels)
        : m_scene(scene), m_crop(crop), m_width(panels * (crop.m_width + kGap) - kGap),
          m_pixels(size_t{3} * static_cast<size_t>(m_width) * static_cast<size_t>(crop.m_height)) {}

    // From red, near, to blue, far; black: none.
    void AddDepth(const std::vector<uint16_t>& depth, double nearest, double farthest) {
        Add([&](size_t i, uint8_t* rgb) {
            const double t = std::clamp((depth[i] - nearest) / (farthest - nearest), 0.0, 1.0);
            for (int c = 0; c < 3 && depth[i] != 0; ++c) {
                const double peak = 0.25 + 0.25 * c;
                rgb[c] = static_cast<uint8_t>(255 * std::clamp(1.5 - 4 * std::abs(t - peak), 0.0, 1.0));
            }
        });
    }
    void AddPlanes(const std::vector<uint8_t>& planes, size_t count) {
        Add([&](size_t i, uint8_t* rgb) {
            for (size_t c = 0; c < 3; ++c) {
                rgb[c] = planes[i + c % count * m_scene.m_depth.size()];
            }
        });
    }
    bool Write(const std::string& path) const {
        std::string error;
        const ox3d::PngSize size{static_cast<uint32_t>(m_width), static_cast<uint32_t>(m_crop.m_height)};
        const bool isWritten = ox3d::WriteColorPng(path, size, m_pixels.data(), &error);
        std::puts((isWritten ? "written: " + path : error).c_str());
        return isWritten;
    }

private:
    static constexpr int32_t kGap = 4;

    template <typename TPaint>
    void Add(TPaint paint) {
        for (int32_t row = 0; row < m_crop.m_height; ++row) {
            for (int32_t column = 0; column < m_crop.m_width; ++column) {
                const int32_t from = (m_crop.m_top + row) * m_scene.m_width + m_crop.m_left + column;
                const int32_t to = row * m_width + m_next + column;
                paint(static_cast<size_t>(from), m_pixels.data() + ptrdiff_t{3} * to);
            }
        }
        m_next += m_crop.m_width + kGap;
    }

    const AlignScene& m_scene;
    Crop m_crop;
    int32_t m_width;
    int32_t m_next = 0;
    std::vector<uint8_t> m_pixels;
};

AlignScene SceneOf(const ox3d::FrameSourceConfig& config, const CAlignTruth& truth) {
    std::string error;
    const auto source = ox3d::CreateFrameSource(config, &error);
    ox3d::FrameImages images;
    if (source == nullptr || !source->Render(kFrame, true, false, &images)) {
        std::fprintf(stderr, "no scene: %s\n", error.c_str());
        std::exit(1);
    }
    return {static_cast<int32_t>(config.m_depthWidth),
            static_cast<int32_t>(config.m_depthHeight),
            images.m_depth,
            images.m_color,
            static_cast<int32_t>(images.m_colorWidth),
            static_cast<int32_t>(images.m_colorHeight),
            ox3dbench::CamerasOf(truth.Calibration())};
}

void PrintRow(const char* name, const AlignQuality& q) {
    std::printf("  %-36s %8.2f %9.2f %8.2f %8.2f %9.4f\n", name, 100 * q.m_validShare, q.m_medianMm,
                q.m_shiftX, q.m_shiftY, 100 * q.m_bleedShare);
}

void Judge(const CAlignTruth& truth, const AlignScene& scene, const char* name,
           const std::vector<uint16_t>& registered) {
    if (!registered.empty()) {
        PrintRow(name, truth.Judge(scene.m_depth, registered));
    }
}

bool PictureScene(const AlignScene& scene, const CAlignTruth& truth, const std::string& folder) {
    CPicture picture(scene, {400, 240, 220, 200}, 4);
    std::vector<uint16_t> trueDepth(truth.Depths().begin(), truth.Depths().end());
    for (const auto& depth :
         {trueDepth, scene.Truncated(), RegisteredByOpenCv(scene, true), scene.Filled()}) {
        picture.AddDepth(depth.empty() ? std::vector<uint16_t>(scene.m_depth.size()) : depth, 1100, 2300);
    }
    return picture.Write(folder + "/alignment-scene.png");
}

bool PictureColor(const AlignScene& scene, const std::string& folder) {
    CPicture picture(scene, {220, 230, 300, 220}, 3);
    const std::vector<uint16_t> filled = scene.Filled();
    std::vector<uint8_t> color(3 * scene.m_depth.size());
    std::vector<uint8_t> mask(scene.m_depth.size());
    ox3d::ColorToDepth(scene.Args(), filled.data(), scene.Color(), ox3d::CPoolTurn(0), color.data(),
                       mask.data());
    picture.AddDepth(scene.m_depth, 1100, 2300);
    picture.AddPlanes(color, 3);
    picture.AddPlanes(mask, 1);
    return picture.Write(folder + "/alignment-color.png");
}

bool PictureRecording(const std::string& recording, const std::string& folder) {
    std::string error;
    const auto reader = ox3d::CRecordingReader::Open(recording, &error);
    DepthCalibration c = {};
    AlignScene scene;
    if (reader == nullptr || !reader->ReadDepth(0, &scene.m_depth) || !reader->ReadColor(0, &scene.m_color) ||
        LoadDepthCalibration((recording + "/calibration.xml").c_str(), reader->DepthSize().m_width, &c) !=
            nullptr) {
        std::fprintf(stderr, "no recording in %s: %s\n", recording.c_str(), error.c_str());
        return false;
    }
    scene.m_width = static_cast<int32_t>(reader->DepthSize().m_width);
    scene.m_height = static_cast<int32_t>(reader->DepthSize().m_height);
    scene.m_colorWidth = static_cast<int32_t>(reader->ColorSize().m_width);
    scene.m_colorHeight = static_cast<int32_t>(reader->ColorSize().m_height);
    std::memcpy(scene.m_cameras.m_depth, c.m_depthIntrinsics, sizeof scene.m_cameras.m_depth);
    std::memcpy(scene.m_cameras.m_transform, c.m_depthToColor, sizeof scene.m_cameras.m_transform);
    std::memcpy(scene.m_cameras.m_target, c.m_colorIntrinsics, sizeof scene.m_cameras.m_target);
    CPicture registered(scene, {160, 120, 320, 240}, 3);
    for (const auto& depth : {scene.Truncated(), RegisteredByOpenCv(scene, true), scene.Filled()}) {
        registered.AddDepth(depth.empty() ? std::vector<uint16_t>(scene.m_depth.size()) : depth, 500, 3500);
    }
    return registered.Write(folder + "/alignment-recording.png");
}

} // namespace

int main(int count, char** arguments) {
    const struct {
        const char* m_name;
        CAlignTruth::Lens m_lens;
    } kLenses[] = {{"the scene's own color lens", {}},
                   {"focal lengths 1.6 times as long", {1.6, {}}},
                   {"a distorted lens", {1, {0.08, -0.05, 0.002, -0.001, 0.01}}}};
    for (const auto& [name, lens] : kLenses) {
        ox3d::FrameSourceConfig config;
        const CAlignTruth truth(config, kFrame, lens);
        const AlignScene scene = SceneOf(config, truth);
        const AlignQuality source = truth.Judge(scene.m_depth, scene.m_depth);
        std::printf("%s: the depth image itself has %.2f %% of what both cameras see\n"
                    "%-38s %8s %9s %8s %8s %9s\n",
                    name, 100 * source.m_sourceShare, "", "valid %", "error mm", "right px", "down px",
                    "bleed %");
        Judge(truth, scene, "mode 0, truncated", scene.Truncated());
        Judge(truth, scene, "mode 1, filled", scene.Filled());
        Judge(truth, scene, "OpenCV rgbd registerDepth", RegisteredByOpenCv(scene, false));
        Judge(truth, scene, "OpenCV rgbd registerDepth, dilated", RegisteredByOpenCv(scene, true));
        std::puts("");
        const bool isFirst = name == kLenses[0].m_name;
        const bool isPictured = count < 2 || ((!isFirst || PictureColor(scene, arguments[1])) &&
                                              (lens.m_zoom == 1 || PictureScene(scene, truth, arguments[1])));
        if (!isPictured) {
            return 1;
        }
    }
    return count < 3 || PictureRecording(arguments[2], arguments[1]) ? 0 : 1;
}
