// RecordingReader.cpp - what kind of recording it is; finds, checks and decodes the files of one in a folder.
#include "recording/RecordingReader.h"

#include "base/LocalFile.h"
#include "recording/McapRecording.h"
#include "recording/RecordingLayout.h"

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
    bool ReadFacts(size_t /*frame*/, RecordedFacts* /*facts*/) override { return false; }
    const std::vector<uint64_t>& HostTimes() const override { return m_noTimes; }

private:
    struct Frame {
        std::string m_depthPath;
        std::string m_colorPath; // empty: no color
    };

    bool Scan(const std::string& folder, std::string* error);
    void Admit(const std::string& depthPath, const std::string& colorPath);

    std::vector<Frame> m_frames;
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
    if (depths.empty()) {
        *error = depthFolder.string() + ": no numbered PNG files there";
        return false;
    }
    for (const auto& [number, depthPath] : depths) {
        const auto color = colors.find(number);
        Admit(depthPath, color == colors.end() ? std::string() : color->second);
    }
    // Headers may promise what the data do not hold: one frame must really be there.
    std::vector<uint16_t> samples;
    while (!m_frames.empty() && !ReadDepth(0, &samples)) {
        m_frames.erase(m_frames.begin());
    }
    if (m_frames.empty()) {
        *error = depthFolder.string() + ": none of the files is a usable depth image";
        return false;
    }
    return true;
}

void CFolderRecording::Admit(const std::string& depthPath, const std::string& colorPath) {
    PngSize size;
    std::string error;
    if (!ReadPngSize(depthPath, true, &size, &error)) {
        Tell(error + ", left out");
        return;
    }
    if (!Fits(depthPath, size, &m_depthSize)) {
        return;
    }
    if (colorPath.empty() || ReadPngSize(colorPath, false, &size, &error)) {
        if (colorPath.empty() || Fits(colorPath, size, &m_colorSize)) {
            m_frames.push_back({depthPath, colorPath});
        }
        return;
    }
    Tell(error + ", the frame has no color"); // depth alone is still worth playing
    m_frames.push_back({depthPath, ""});
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
