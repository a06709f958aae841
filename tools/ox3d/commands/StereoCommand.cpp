// ox3d stereo: disparities, depth and points of a pair of pictures, out of files or of a camera.
#include "base/PngFile.h"
#include "tools/ox3d/Json.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/CommandOptions.h"
#include "tools/ox3d/pictures/Results.h"
#include "tools/ox3d/stereo/LivePair.h"
#include "tools/ox3d/stereo/StereoDepth.h"
#include "tools/ox3d/stereo/StereoMatcher.h"
#include "tools/ox3d/stereo/StereoParameters.h"
#include "tools/ox3d/stereo/StereoPicture.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char* kFooter =
    "LEFT and RIGHT are PNG or PGM files; without them one pair of the camera is taken, where it sends it.\n"
    "Either --calib says how the cameras stand to each other, a file stereo.json (docs/stereo.md), and the\n"
    "pictures are rectified first; or they are rectified already, and --fx and --baseline tell depth. Of a\n"
    "camera with a calibration --baseline alone is needed.\n"
    "Writes depth.png (16 bits, millimetres, 0 = none), depth_color.png, color.png (the left picture, as\n"
    "depth sees it), overlay.png, cloud.ply, cloud.png, disparity.png (16 bits, sixteenths of a pixel) and\n"
    "disparity.pfm (pixels, infinite = none); of a camera's pair left.png and right.png, too.\n"
    "docs/stereo.md tells how to choose the parameters.\n"
    "\n"
    "Examples: ox3d stereo left.png right.png --fx 995 --baseline 193 --disparities 80 --out depth\n"
    "          ox3d stereo left.png right.png --calib stereo.json --out depth\n"
    "          ox3d stereo --serial VC00000002 --baseline 50 --out depth";

struct Source {
    StereoPicture m_left;
    StereoPicture m_right;
    RectifiedCamera m_camera; // of rectified pictures
    bool m_isLive = false;
};

void CheckSizes(const Source& source) {
    if (source.m_left.m_grey.m_width != source.m_right.m_grey.m_width ||
        source.m_left.m_grey.m_height != source.m_right.m_grey.m_height) {
        throw CToolError(EExitCode::File, "the two pictures differ in size");
    }
}

void CheckOptions(const StereoOptions& options) {
    const bool isLive = options.m_left.empty();
    if (!options.m_calibration.empty()) {
        return;
    }
    if (options.m_baseLineMm == 0 || (!isLive && options.m_fx == 0)) {
        throw CToolError(EExitCode::Usage,
                         isLive ? "say --baseline, or --calib for pictures that are not rectified"
                                : "say --fx and --baseline, or --calib for pictures that are "
                                  "not rectified");
    }
}

Source FromFiles(const StereoOptions& options) {
    Source source;
    source.m_left = ReadStereoPicture(SourceFile(options.m_left));
    source.m_right = ReadStereoPicture(SourceFile(options.m_right));
    CheckSizes(source);
    const GreyImage& left = source.m_left.m_grey;
    source.m_camera = {options.m_fx,
                       options.m_fx,
                       options.m_cx.value_or((left.m_width - 1) / 2.0),
                       options.m_cy.value_or((left.m_height - 1) / 2.0),
                       options.m_baseLineMm,
                       options.m_offset};
    return source;
}

// Lenses of the file are those of the depth image, which is seen by the left camera.
RectifiedCamera CameraOfLens(const CCamera& camera, const GreyImage& left, const StereoOptions& options) {
    const std::optional<RecordedLens> lens = camera.Lens(OX3D_RGBD_CAMERA_DEPTH);
    if (!lens && options.m_fx == 0) {
        throw CToolError(EExitCode::File, "the camera has no calibration: say --fx");
    }
    RectifiedCamera seen{
        options.m_fx,         options.m_fx,    (left.m_width - 1) / 2.0, (left.m_height - 1) / 2.0,
        options.m_baseLineMm, options.m_offset};
    if (lens && options.m_fx == 0) {
        if (lens->m_width != left.m_width || lens->m_height != left.m_height) {
            throw CToolError(EExitCode::File, "the camera's calibration is for pictures of another size");
        }
        seen = {lens->m_fx, lens->m_fy, lens->m_cx, lens->m_cy, options.m_baseLineMm, options.m_offset};
    }
    seen.m_cx = options.m_cx.value_or(seen.m_cx);
    seen.m_cy = options.m_cy.value_or(seen.m_cy);
    return seen;
}

Source FromCamera(CCameraControl& control, const Arguments& arguments) {
    const StereoOptions& options = arguments.m_stereo;
    const ProviderChoice& provider = control.Enter();
    CSession session(provider, arguments.m_serial);
    CCamera& camera = session.Camera();
    camera.Switch(OX3D_RGBD_KEY_IMAGE_ALIGN, false); // the lens that is asked for is that of the depth camera
    camera.Start();
    const ViewPair pair = FetchPair(camera, options.m_patienceSeconds);
    Source source;
    source.m_isLive = true;
    source.m_left = PictureOf(pair.m_left);
    source.m_right = PictureOf(pair.m_right);
    if (options.m_calibration.empty()) {
        source.m_camera = CameraOfLens(camera, pair.m_left, options);
    }
    camera.Stop();
    return source;
}

std::unique_ptr<CStereoMatcher> MatcherFor(const Source& source, const StereoOptions& options) {
    const GreyImage& left = source.m_left.m_grey;
    if (options.m_calibration.empty()) {
        return std::make_unique<CStereoMatcher>(source.m_camera, left.m_width, left.m_height,
                                                options.m_settings);
    }
    const OXB3D_BINOSTEREO_INIT_INPUT calibration = ReadStereoCalibration(options.m_calibration);
    if (left.m_width != static_cast<uint32_t>(calibration.width) ||
        left.m_height != static_cast<uint32_t>(calibration.height)) {
        throw CToolError(EExitCode::File, "the calibration is for pictures of " +
                                              std::to_string(calibration.width) + " x " +
                                              std::to_string(calibration.height) + " pixels");
    }
    return std::make_unique<CStereoMatcher>(calibration, options.m_settings);
}

RgbImage ColorSeenByLeft(CStereoMatcher& matcher, const RgbImage& color) {
    RgbImage seen(color.m_width, color.m_height);
    for (uint8_t Rgb::*const channel : {&Rgb::r, &Rgb::g, &Rgb::b}) {
        GreyImage plane(color.m_width, color.m_height);
        for (size_t i = 0; i < plane.m_samples.size(); ++i) {
            plane.m_samples[i] = color.m_samples[i].*channel;
        }
        const GreyImage rectified = matcher.SeenByLeft(plane);
        for (size_t i = 0; i < plane.m_samples.size(); ++i) {
            seen.m_samples[i].*channel = rectified.m_samples[i];
        }
    }
    return seen;
}

void WriteDisparities(const fs::path& folder, const DisparityImage& found) {
    const std::vector<uint16_t> samples(found.m_samples.begin(), found.m_samples.end()); // none is below 0
    std::string error;
    if (!WriteDepthPng((folder / "disparity.png").string(), {found.m_width, found.m_height}, samples.data(),
                       &error)) {
        throw CToolError(EExitCode::File, "cannot write " + error);
    }
    FloatImage pixels(found.m_width, found.m_height);
    std::transform(found.m_samples.begin(), found.m_samples.end(), pixels.m_samples.begin(), [](int16_t d16) {
        return d16 > 0 ? static_cast<float>(d16) / 16.0F : std::numeric_limits<float>::infinity();
    });
    WritePfm((folder / "disparity.pfm").string(), pixels);
}

void WriteGrey(const fs::path& file, const GreyImage& picture) {
    std::string error;
    if (!WriteGreyPng(file.string(), {picture.m_width, picture.m_height}, picture.m_samples.data(), &error)) {
        throw CToolError(EExitCode::File, "cannot write " + error);
    }
}

struct Outcome {
    uint32_t m_width;
    uint32_t m_height;
    uint32_t m_disparities;
    double m_fillPercent;
    double m_seconds;
    bool m_hasTruth;
    StereoQuality m_quality; // with a truth

    double MillionsPerSecond() const {
        return static_cast<double>(m_width) * m_height * m_disparities / 1e6 / m_seconds;
    }
};

void Print(const Outcome& outcome) {
    std::printf("%u x %u pixels, %u disparities: fill %.1f %%, %.0f ms, %.0f Mdisp/s\n", outcome.m_width,
                outcome.m_height, outcome.m_disparities, outcome.m_fillPercent, outcome.m_seconds * 1e3,
                outcome.MillionsPerSecond());
    if (outcome.m_hasTruth) {
        const StereoQuality& quality = outcome.m_quality;
        std::printf(
            "against the truth: bad-1 %.2f %%, bad-2 %.2f %%, average error %.3f pixels, found %.1f %% of "
            "%llu pixels\n",
            quality.m_bad1, quality.m_bad2, quality.m_mean, quality.m_complete,
            static_cast<unsigned long long>(quality.m_known));
    }
}

Json Document(const Outcome& outcome) {
    Json json = {{"width", outcome.m_width},
                 {"height", outcome.m_height},
                 {"disparities", outcome.m_disparities},
                 {"fill_percent", outcome.m_fillPercent},
                 {"seconds", outcome.m_seconds},
                 {"mdisp_per_second", outcome.MillionsPerSecond()},
                 {"truth", nullptr}};
    if (outcome.m_hasTruth) {
        const StereoQuality& quality = outcome.m_quality;
        json["truth"] = {{"pixels", quality.m_known},
                         {"bad_1_percent", quality.m_bad1},
                         {"bad_2_percent", quality.m_bad2},
                         {"average_error_pixels", quality.m_mean},
                         {"found_percent", quality.m_complete}};
    }
    return json;
}

FloatImage TruthFor(const std::string& file, const GreyImage& left) {
    FloatImage truth = ReadTruth(SourceFile(file));
    if (truth.m_width != left.m_width || truth.m_height != left.m_height) {
        throw CToolError(EExitCode::File, "the truth has another size than the pictures");
    }
    DropHidden(&truth);
    return truth;
}

} // namespace

void AddStereo(CLI::App& command, Arguments& arguments) {
    StereoOptions& options = arguments.m_stereo;
    CLI::Option* const left = command.add_option("LEFT", options.m_left, "the left picture");
    CLI::Option* const right = command.add_option("RIGHT", options.m_right, "the right picture")->needs(left);
    left->needs(right);
    command.add_option("--out", options.m_out, "folder for the files, made where it is missing")->required();
    CLI::Option* const calibration = command.add_option("--calib", options.m_calibration,
                                                        "a file stereo.json: the pictures are not rectified");
    const auto addNumber = [&](const char* name, auto& number, double first, double last, const char* help) {
        command.add_option(name, number, help)->check(CLI::Range(first, last))->excludes(calibration);
    };
    addNumber("--fx", options.m_fx, 1, 1e6, "focal length of rectified pictures, pixels");
    addNumber("--cx", options.m_cx, -1e6, 1e6, "centre of the left one, pixels; default: its middle");
    addNumber("--cy", options.m_cy, -1e6, 1e6, "the same, from the top");
    addNumber("--baseline", options.m_baseLineMm, 1e-3, 1e6,
              "from the left camera to the right one, millimetres");
    addNumber("--offset", options.m_offset, -1e6, 1e6,
              "by how many pixels the centre of the right one lies further right; default: 0");
    command.add_option("--truth", options.m_truth,
                       "true disparities: PFM in pixels, or a PNG file of 16 bits with them times 256");
    AddStereoParameters(command, options.m_settings.m_parameters);
    command
        .add_option("--threads", options.m_settings.m_threads,
                    "that match; the result is the same. Default: as many as there are processors, 4 at most")
        ->check(CLI::Range(1, 4));
    AddCommon(command, arguments);
    AddSerial(command, arguments);
    AddTimeout(command, options.m_patienceSeconds, "seconds without a frame before giving up");
    AddJson(command, arguments);
    command.footer(kFooter);
}

EExitCode RunStereo(CCameraControl& control, const Arguments& arguments) {
    StereoOptions options = arguments.m_stereo;
    CheckOptions(options);
    const fs::path folder = fs::absolute(options.m_out);
    options.m_calibration = options.m_calibration.empty() ? "" : SourceFile(options.m_calibration);
    options.m_truth = options.m_truth.empty() ? "" : SourceFile(options.m_truth);
    const Source source = options.m_left.empty() ? FromCamera(control, arguments) : FromFiles(options);
    const GreyImage& left = source.m_left.m_grey;
    const std::unique_ptr<CStereoMatcher> matcher = MatcherFor(source, options);
    const std::optional<FloatImage> truth =
        options.m_truth.empty() ? std::nullopt : std::optional(TruthFor(options.m_truth, left));

    const Clock::time_point begin = Clock::now();
    const DisparityImage found = matcher->Match(left, source.m_right.m_grey);
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    const auto valid =
        std::count_if(found.m_samples.begin(), found.m_samples.end(), [](int16_t d) { return d > 0; });
    const Outcome outcome{left.m_width,
                          left.m_height,
                          matcher->Disparities(),
                          100.0 * static_cast<double>(valid) / static_cast<double>(found.m_samples.size()),
                          seconds,
                          truth.has_value(),
                          truth ? QualityOf(*truth, found) : StereoQuality()};
    EnterFolder(folder);
    GrabbedFrame results;
    results.m_depth = DepthOf(found, matcher->Camera());
    results.m_color = ColorSeenByLeft(*matcher, source.m_left.m_color);
    results.m_isRegistered = true;
    results.m_cloud = PointsOf(found, matcher->Camera(), results.m_color);
    std::vector<std::string> files = WriteResults(folder, results);
    WriteDisparities(folder, found);
    files.insert(files.end(), {"disparity.png", "disparity.pfm"});
    if (source.m_isLive) {
        WriteGrey(folder / "left.png", left);
        WriteGrey(folder / "right.png", source.m_right.m_grey);
        files.insert(files.end(), {"left.png", "right.png"});
    }
    if (arguments.m_isJson) {
        PrintJson(Document(outcome));
        return EExitCode::Ok;
    }
    Print(outcome);
    for (const std::string& file : files) {
        std::printf("  %s\n", (folder / file).c_str());
    }
    return EExitCode::Ok;
}

} // namespace ox3d::tool
