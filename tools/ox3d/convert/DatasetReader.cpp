// Reading folders of other programs' forms, whose lists and images may be damaged.
#include "base/LocalFile.h"
#include "base/PngFile.h"
#include "recording/CalibrationText.h"
#include "recording/Jpeg.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/convert/Dataset.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>
#include <sstream>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kMaxListBytes = uint64_t{64} << 20U;
constexpr uint64_t kMaxImageBytes = uint64_t{256} << 20U;
constexpr uint32_t kTumPerMm = 5;
constexpr uint64_t kNsPerSecond = 1000000000;

[[noreturn]] void Refuse(const std::string& what) {
    throw CToolError(EExitCode::File, what);
}

using FilesByTime = std::map<uint64_t, std::string>;

// "1305031102.175304", or false.
bool TimeOf(const std::string& text, uint64_t* timeNs) {
    double seconds = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool isTime = parsed.ec == std::errc() && seconds >= 0 && seconds < 1e10;
    // Whole seconds apart: a double does not hold both to the microsecond.
    const double whole = std::floor(isTime ? seconds : 0);
    *timeNs = static_cast<uint64_t>(whole) * kNsPerSecond +
              static_cast<uint64_t>(std::llround((isTime ? seconds - whole : 0) * 1e6)) * 1000;
    return isTime;
}

// Names that lead out of the folder belong to no recording.
FilesByTime ReadList(const fs::path& folder, const char* name) {
    std::string text;
    if (!ReadLocalFile((folder / name).string(), kMaxListBytes, &text)) {
        Refuse((folder / name).string() + ": cannot be read");
    }
    FilesByTime files;
    size_t twice = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string time;
        std::string file;
        uint64_t timeNs = 0;
        if (words >> time >> file && TimeOf(time, &timeNs) && file.find("..") == file.npos &&
            file.front() != '/') {
            twice += files.emplace(timeNs, (folder / file).string()).second ? 0 : 1;
        }
    }
    if (twice > 0) {
        std::fprintf(stderr, "%s: %zu lines left out: their times are there already\n",
                     (folder / name).c_str(), twice);
    }
    return files;
}

// Images by their names without extension, in whose order they are.
std::map<std::string, std::string> NamedFiles(const fs::path& folder) {
    std::map<std::string, std::string> names;
    std::error_code failure;
    for (fs::directory_iterator entry(folder, failure); !failure && entry != fs::directory_iterator();
         entry.increment(failure)) {
        const std::string extension = entry->path().extension().string();
        if (extension == ".png" || extension == ".jpg" || extension == ".jpeg") {
            names.emplace(entry->path().stem().string(), entry->path().string());
        }
    }
    return names;
}

fs::path ColorFolder(const fs::path& folder) {
    std::error_code ignored;
    for (const char* const name : {"color", "image", "rgb"}) {
        if (fs::is_directory(folder / name, ignored)) {
            return folder / name;
        }
    }
    return folder / "color";
}

// The numbers of a text, in their order.
std::vector<double> NumbersIn(const std::string& text) {
    std::vector<double> numbers;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at != end) {
        double number = 0;
        const auto parsed = std::from_chars(at, end, number);
        const bool isNumber = parsed.ec == std::errc();
        if (isNumber) {
            numbers.push_back(number);
        }
        at = isNumber ? parsed.ptr : at + 1;
    }
    return numbers;
}

RecordedLens Checked(const RecordedLens& lens, const fs::path& file) {
    const auto isNumber = [](double number) { return std::isfinite(number); };
    const auto& d = lens.m_distortion;
    if (!isNumber(lens.m_fx) || !isNumber(lens.m_fy) || !isNumber(lens.m_cx) || !isNumber(lens.m_cy) ||
        !std::all_of(d.begin(), d.end(), isNumber) || lens.m_fx <= 0 || lens.m_fy <= 0) {
        Refuse(file.string() + ": its lens has no focal lengths above 0, or has what is no number");
    }
    return lens;
}

RecordedLens TumLens(const fs::path& folder, PngSize size) {
    std::string text;
    if (ReadLocalFile((folder / "calibration.txt").string(), kMaxListBytes, &text)) {
        const size_t lineEnd = text.starts_with('#') ? text.find('\n') : 0;
        const std::vector<double> n = NumbersIn(text.substr(std::min(lineEnd, text.size())));
        if (n.size() < 11) {
            Refuse((folder / "calibration.txt").string() + ": has not the eleven numbers of a lens");
        }
        return Checked({size.m_width, size.m_height, n[2], n[3], n[4], n[5], {n[6], n[7], n[8], n[9], n[10]}},
                       folder / "calibration.txt");
    }
    if (size.m_width != 640 || size.m_height != 480) {
        Refuse(folder.string() + ": has no calibration.txt, and is not of 640 x 480 pixels");
    }
    std::fputs(
        "no calibration.txt: taking fx = fy = 525, cx = 319.5, cy = 239.5, as is common for such folders\n",
        stderr);
    return {640, 480, 525, 525, 319.5, 239.5, {}};
}

RecordedLens RedwoodLens(const fs::path& folder, PngSize size) {
    for (const char* const name : {"camera_intrinsic.json", "intrinsic.json"}) {
        std::string text;
        const size_t at = ReadLocalFile((folder / name).string(), kMaxListBytes, &text)
                              ? text.find("intrinsic_matrix")
                              : std::string::npos;
        const std::vector<double> n = at == text.npos ? std::vector<double>() : NumbersIn(text.substr(at));
        if (n.size() >= 9) {
            return Checked({size.m_width, size.m_height, n[0], n[4], n[6], n[7], {}}, folder / name);
        }
    }
    Refuse(folder.string() + ": has no camera_intrinsic.json with an intrinsic_matrix");
}

class CDatasetRecording final : public CRecordingReader {
public:
    CDatasetRecording(EDataset kind, const fs::path& folder) : m_isTum(kind == EDataset::Tum) {
        if (m_isTum) {
            ListFrames(folder);
        } else {
            NameFrames(folder);
        }
        FindSizes(folder);
        Calibrate(m_isTum ? TumLens(folder, m_depthSize) : RedwoodLens(folder, m_depthSize));
    }

    size_t FrameCount() const override { return m_frames.size(); }
    const std::vector<uint64_t>& HostTimes() const override { return m_times; }
    bool ReadFacts(size_t frame, RecordedFacts* facts) override {
        *facts = {frame + 1, m_times[frame], m_times[frame], 0, false};
        return true;
    }
    bool ReadDepth(size_t frame, std::vector<uint16_t>* samples) override {
        PngSize size;
        std::string error;
        if (!ReadDepthPng(m_frames[frame].m_depth, &size, samples, &error) ||
            size.m_width != m_depthSize.m_width || size.m_height != m_depthSize.m_height) {
            std::fprintf(stderr, "%s: left out: %s\n", m_frames[frame].m_depth.c_str(),
                         error.empty() ? "another size" : error.c_str());
            return false;
        }
        for (uint16_t& sample : *samples) {
            sample = m_isTum ? static_cast<uint16_t>((sample + kTumPerMm / 2) / kTumPerMm) : sample;
        }
        return true;
    }
    bool ReadColor(size_t frame, std::vector<uint8_t>* planes) override {
        PngSize size;
        const std::string& file = m_frames[frame].m_color;
        if (file.empty()) {
            return false;
        }
        const bool isDecoded = DecodeColor(file, &size, planes);
        const bool isSame = size.m_width == m_colorSize.m_width && size.m_height == m_colorSize.m_height;
        if (!isDecoded || !isSame) {
            std::fprintf(stderr, "%s: left out: %s\n", file.c_str(),
                         isDecoded ? "another size" : "cannot be read as an image");
        }
        return isDecoded && isSame;
    }

private:
    struct Frame {
        std::string m_depth;
        std::string m_color; // empty: none
    };

    void ListFrames(const fs::path& folder) {
        const FilesByTime colors = ReadList(folder, "rgb.txt");
        for (const auto& [timeNs, file] : ReadList(folder, "depth.txt")) {
            m_times.push_back(timeNs);
            m_frames.push_back({file, ColorAt(colors, timeNs)});
        }
    }

    // So many a second. A frame may lack its color: by their places alone images belong together only where none can be missing.
    void NameFrames(const fs::path& folder) {
        const auto depths = NamedFiles(folder / "depth");
        const auto colors = NamedFiles(ColorFolder(folder));
        const bool areNamesAlike = std::any_of(
            colors.begin(), colors.end(), [&](const auto& color) { return depths.count(color.first) != 0; });
        if (!areNamesAlike && !colors.empty() && colors.size() != depths.size()) {
            Refuse(folder.string() +
                   ": which of its color images belongs to which of the depth images is not "
                   "to be told: no names are alike, and there are not equally many");
        }
        auto next = colors.begin();
        for (const auto& [name, file] : depths) {
            const auto color = areNamesAlike || colors.empty() ? colors.find(name) : next++;
            m_times.push_back(m_times.size() * (kNsPerSecond / 30));
            m_frames.push_back({file, color == colors.end() ? std::string() : color->second});
        }
    }

    // Those of the first images that can be read.
    void FindSizes(const fs::path& folder) {
        std::string error;
        if (std::none_of(m_frames.begin(), m_frames.end(), [&](const Frame& frame) {
                return ReadPngSize(frame.m_depth, true, &m_depthSize, &error);
            })) {
            Refuse(folder.string() + ": has no depth images that can be read " + error);
        }
        std::vector<uint8_t> planes;
        if (std::none_of(m_frames.begin(), m_frames.end(), [&](const Frame& frame) {
                return !frame.m_color.empty() && DecodeColor(frame.m_color, &m_colorSize, &planes);
            })) {
            m_colorSize = {};
        }
    }

    // The nearest in time, where that is near.
    static std::string ColorAt(const FilesByTime& colors, uint64_t timeNs) {
        constexpr uint64_t kNearNs = 20000000;
        const auto after = colors.lower_bound(timeNs);
        auto nearest = after;
        if (after != colors.begin() &&
            (after == colors.end() || timeNs - std::prev(after)->first < after->first - timeNs)) {
            nearest = std::prev(after);
        }
        if (nearest == colors.end()) {
            return {};
        }
        const uint64_t apart = std::max(nearest->first, timeNs) - std::min(nearest->first, timeNs);
        return apart <= kNearNs ? nearest->second : std::string();
    }

    bool DecodeColor(const std::string& file, PngSize* size, std::vector<uint8_t>* planes) {
        std::string error;
        if (fs::path(file).extension() == ".png") {
            return ReadColorPng(file, size, planes, &error);
        }
        std::vector<uint8_t> bytes;
        if (!ReadLocalFile(file, kMaxImageBytes, &bytes) ||
            !m_jpeg.Size(bytes, kMaxPngPixels, &size->m_width, &size->m_height)) {
            return false;
        }
        const size_t pixels = size_t{size->m_width} * size->m_height;
        std::vector<uint8_t> interleaved(pixels * 3);
        planes->resize(pixels * 3);
        if (!m_jpeg.Decode(bytes, size->m_width, size->m_height, interleaved.data())) {
            return false;
        }
        for (size_t i = 0; i < pixels * 3; ++i) {
            (*planes)[i % 3 * pixels + i / 3] = interleaved[i];
        }
        return true;
    }

    // Both images are seen from one place, and depth lies on the color image as it is, with what its lens bends: nothing is
    // to be moved any more.
    void Calibrate(const RecordedLens& lens) {
        m_camera.m_depthLens = lens;
        m_camera.m_colorLens = lens;
        m_camera.m_depthToColor = RecordedWay{{1, 0, 0, 0, 1, 0, 0, 0, 1}, {}};
        RgbdCalibration set;
        set.m_width = lens.m_width;
        set.m_height = lens.m_height;
        set.m_depth = {lens.m_fx, lens.m_fy, lens.m_cx, lens.m_cy};
        set.m_color = set.m_depth;
        set.m_rotation[0] = set.m_rotation[4] = set.m_rotation[8] = 1;
        m_camera.m_calibrationXml = FormatCalibrationXml(set, set);
        m_camera.m_facts = {{"aligned", "1"}, {"depth_unit_mm", "1"}, {"model", m_isTum ? "TUM" : "Redwood"}};
    }

    const bool m_isTum;
    std::vector<Frame> m_frames;
    std::vector<uint64_t> m_times;
    CJpegDecoder m_jpeg;
};

} // namespace

EDataset DatasetIn(const fs::path& folder) {
    std::error_code ignored;
    if (fs::exists(folder / "depth.txt", ignored) && fs::exists(folder / "rgb.txt", ignored)) {
        return EDataset::Tum;
    }
    const bool isRedwood = fs::is_directory(folder / "depth", ignored) &&
                           (fs::exists(folder / "camera_intrinsic.json", ignored) ||
                            fs::exists(folder / "intrinsic.json", ignored));
    return isRedwood ? EDataset::Redwood : EDataset::None;
}

std::unique_ptr<CRecordingReader> OpenDataset(EDataset kind, const fs::path& folder) {
    return std::make_unique<CDatasetRecording>(kind, folder);
}

} // namespace ox3d::tool
