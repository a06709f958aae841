// RecordingReader.cpp - what kind of recording it is; finds, checks and decodes the files of one in a folder.
#include "recording/RecordingReader.h"

#include "base/LocalFile.h"
#include "recording/McapRecording.h"
#include "recording/RecordingLayout.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>

namespace ox3d {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMaxCalibrationBytes = size_t{1} << 20U;

void Tell(const std::string& message) {
    std::fprintf(stderr, "recording: %s\n", message.c_str());
}

std::map<uint64_t, std::string> ImagesIn(const fs::path& folder) {
    std::string leftOut;
    std::map<uint64_t, std::string> images = RecordingImages(folder, &leftOut);
    if (!leftOut.empty()) {
        Tell(leftOut + ": left out, its number is there twice");
    }
    return images;
}

// Empty where there is none of that number.
std::string PathIn(const std::map<uint64_t, std::string>& images, uint64_t number) {
    const auto image = images.find(number);
    return image == images.end() ? std::string() : image->second;
}

bool ReadCalibration(const fs::path& path, std::string* text, std::string* error) {
    std::error_code failure;
    if (!fs::is_regular_file(path, failure)) {
        *error = path.string() + ": no such file";
        return false;
    }
    if (!ReadLocalFile(path.string(), kMaxCalibrationBytes + 1, text, ELongFile::Cut) || text->empty()) {
        *error = path.string() + ": empty or not readable";
        return false;
    }
    if (text->size() > kMaxCalibrationBytes) {
        *error = path.string() + ": larger than 1 MiB";
        return false;
    }
    text->shrink_to_fit(); // it stays as long as the recording is played
    return true;
}

bool IsSame(const PngSize& a, const PngSize& b) {
    return a.m_width == b.m_width && a.m_height == b.m_height;
}

// Takes the first size that comes, afterwards only the same.
bool Fits(const std::string& path, const PngSize& size, PngSize* expected) {
    if (expected->m_width == 0) {
        *expected = size;
    }
    if (!IsSame(size, *expected)) {
        Tell(path + ": its size is not that of the images before it, the frame is left out");
        return false;
    }
    return true;
}

class CFolderRecording final : public CRecordingReader {
public:
    static std::unique_ptr<CRecordingReader> Open(const std::string& folder, std::string* error);

    size_t FrameCount() const override { return m_frames.size(); }
    bool ReadDepth(size_t frame, std::vector<uint16_t>* samples) override;
    bool ReadColor(size_t frame, std::vector<uint8_t>* planes) override;
    bool ReadPair(size_t frame, std::vector<uint8_t>* views) override;
    bool HasPair() const override { return m_hasPair; }
    bool ReadFacts(size_t /*frame*/, RecordedFacts* /*facts*/) override { return false; }
    const std::vector<uint64_t>& HostTimes() const override { return m_noTimes; }

private:
    struct Frame {
        std::string m_depthPath;
        std::string m_colorPath; // empty: no color
        std::string m_leftPath;  // empty: no pair
        std::string m_rightPath;
    };

    bool Scan(const std::string& folder, std::string* error);
    void Admit(Frame frame);
    bool AddView(const std::string& path, std::vector<uint8_t>* views) const;

    std::vector<Frame> m_frames;
    bool m_hasPair = false;
    const std::vector<uint64_t> m_noTimes{};
};

std::unique_ptr<CRecordingReader> CFolderRecording::Open(const std::string& folder, std::string* error) {
    auto reader = std::make_unique<CFolderRecording>();
    const bool isUsable = ReadCalibration(fs::path(folder) / kRecordingCalibration,
                                          &reader->m_camera.m_calibrationXml, error) &&
                          reader->Scan(folder, error);
    return isUsable ? std::move(reader) : nullptr;
}

bool CFolderRecording::Scan(const std::string& folder, std::string* error) {
    const fs::path depthFolder = fs::path(folder) / kRecordingDepth;
    const std::map<uint64_t, std::string> depths = ImagesIn(depthFolder);
    const std::map<uint64_t, std::string> colors = ImagesIn(fs::path(folder) / kRecordingColor);
    const std::map<uint64_t, std::string> lefts = ImagesIn(fs::path(folder) / kRecordingLeft);
    const std::map<uint64_t, std::string> rights = ImagesIn(fs::path(folder) / kRecordingRight);
    if (depths.empty()) {
        *error = depthFolder.string() + ": no numbered PNG files there";
        return false;
    }
    for (const auto& [number, depthPath] : depths) {
        Admit({depthPath, PathIn(colors, number), PathIn(lefts, number), PathIn(rights, number)});
    }
    // Headers may promise what the data do not hold: one frame must really be there.
    std::vector<uint16_t> samples;
    while (!m_frames.empty() && !ReadDepth(0, &samples)) {
        m_frames.erase(m_frames.begin());
    }
    m_hasPair = std::any_of(m_frames.begin(), m_frames.end(), [](const Frame& frame) {
        return !frame.m_leftPath.empty() && !frame.m_rightPath.empty();
    });
    if (m_frames.empty()) {
        *error = depthFolder.string() + ": none of the files is a usable depth image";
        return false;
    }
    return true;
}

void CFolderRecording::Admit(Frame frame) {
    PngSize size;
    std::string error;
    if (!ReadPngSize(frame.m_depthPath, true, &size, &error)) {
        Tell(error + ", left out");
        return;
    }
    if (!Fits(frame.m_depthPath, size, &m_depthSize)) {
        return;
    }
    if (!frame.m_colorPath.empty() && !ReadPngSize(frame.m_colorPath, false, &size, &error)) {
        Tell(error + ", the frame has no color"); // depth alone is still worth playing
        frame.m_colorPath.clear();
    }
    if (frame.m_colorPath.empty() || Fits(frame.m_colorPath, size, &m_colorSize)) {
        m_frames.push_back(std::move(frame));
    }
}

bool CFolderRecording::ReadDepth(size_t frame, std::vector<uint16_t>* samples) {
    const std::string& path = m_frames[frame].m_depthPath;
    PngSize size;
    std::string error;
    if (!ReadDepthPng(path, &size, samples, &error)) {
        Tell(error);
        return false;
    }
    if (!IsSame(size, m_depthSize)) {
        Tell(path + ": its size has changed");
        return false;
    }
    return true;
}

bool CFolderRecording::ReadColor(size_t frame, std::vector<uint8_t>* planes) {
    std::string& path = m_frames[frame].m_colorPath;
    if (path.empty()) {
        return false;
    }
    PngSize size;
    std::string error;
    const bool isRead = ReadColorPng(path, &size, planes, &error);
    if (isRead && IsSame(size, m_colorSize)) {
        return true;
    }
    Tell((isRead ? path + ": its size has changed" : error) + ", the frame has no color");
    path.clear(); // said once, never tried again
    return false;
}

bool CFolderRecording::AddView(const std::string& path, std::vector<uint8_t>* views) const {
    PngSize size;
    std::vector<uint8_t> planes;
    std::string error;
    const bool isRead = ReadColorPng(path, &size, &planes, &error);
    if (!isRead || !IsSame(size, m_depthSize)) {
        Tell((isRead ? path + ": its size is not that of the depth" : error) + ", the frame has no pair");
        return false;
    }
    const size_t pixels = planes.size() / 3;
    for (size_t i = 0; i < pixels; ++i) {
        const unsigned luma = 77U * planes[i] + 150U * planes[pixels + i] + 29U * planes[2 * pixels + i];
        views->push_back(static_cast<uint8_t>((luma + 128U) >> 8U));
    }
    return true;
}

bool CFolderRecording::ReadPair(size_t frame, std::vector<uint8_t>* views) {
    Frame& from = m_frames[frame];
    if (from.m_leftPath.empty() || from.m_rightPath.empty()) {
        return false;
    }
    views->clear();
    if (AddView(from.m_leftPath, views) && AddView(from.m_rightPath, views)) {
        return true;
    }
    from.m_leftPath.clear(); // said once, never tried again
    return false;
}

} // namespace

std::unique_ptr<CRecordingReader> CRecordingReader::Open(const std::string& path, std::string* error) {
    std::error_code ignored;
    if (!fs::exists(path, ignored)) {
        *error = path + ": no such file or folder";
        return nullptr;
    }
    return !fs::is_directory(path, ignored) ? CMcapRecording::Open(path, error)
                                            : CFolderRecording::Open(path, error);
}

} // namespace ox3d
