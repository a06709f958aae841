// RecordingSource.cpp - finds, checks and decodes the files of a recording.
#include "virtual-camera/frames/RecordingSource.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>

namespace ox3d {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMaxCalibrationBytes = size_t{1} << 20U;

void Tell(const std::string& message) {
    std::fprintf(stderr, "recording: %s\n", message.c_str());
}

// The images of a folder by number. Other files are none of ours.
std::map<uint64_t, std::string> NumberedPngs(const fs::path& folder) {
    std::map<uint64_t, std::string> found;
    std::error_code failure;
    fs::directory_iterator entry(folder, failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        const fs::path& path = entry->path();
        const std::string stem = path.stem().string();
        uint64_t number = 0;
        const auto parsed = std::from_chars(stem.data(), stem.data() + stem.size(), number);
        const bool isNumber = parsed.ec == std::errc() && parsed.ptr == stem.data() + stem.size();
        if (path.extension() == ".png" && isNumber && !found.emplace(number, path.string()).second) {
            Tell(path.string() + ": left out, its number is there twice");
        }
    }
    return found;
}

bool ReadCalibration(const fs::path& path, std::string* text, std::string* error) {
    std::error_code failure;
    if (!fs::is_regular_file(path, failure)) {
        *error = path.string() + ": no such file";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    text->resize(kMaxCalibrationBytes + 1);
    file.read(text->data(), static_cast<std::streamsize>(text->size()));
    text->resize(static_cast<size_t>(std::max<std::streamsize>(file.gcount(), 0)));
    if (text->empty() || text->size() > kMaxCalibrationBytes) {
        *error = path.string() + (text->empty() ? ": empty or not readable" : ": larger than 1 MiB");
        return false;
    }
    text->shrink_to_fit();
    return true;
}

bool IsSame(const PngSize& a, const PngSize& b) {
    return a.m_width == b.m_width && a.m_height == b.m_height;
}

// Takes the first size that comes, afterwards only the same.
bool Fits(const std::string& path, bool isDepth, PngSize* expected) {
    PngSize size;
    std::string error;
    if (!ReadPngSize(path, isDepth, &size, &error)) {
        Tell(error + ", left out");
        return false;
    }
    if (expected->m_width == 0) {
        *expected = size;
    }
    if (!IsSame(size, *expected)) {
        Tell(path + ": its size is not that of the images before it, the frame is left out");
        return false;
    }
    return true;
}

} // namespace

std::unique_ptr<CFrameSource> CRecordingSource::Create(const FrameSourceConfig& config, std::string* error) {
    std::unique_ptr<CRecordingSource> source(new CRecordingSource(config.m_loop));
    const fs::path folder(config.m_folder);
    if (!ReadCalibration(folder / "calibration.xml", &source->m_calibrationXml, error) ||
        !source->Scan(config.m_folder, error)) {
        return nullptr;
    }
    return source;
}

bool CRecordingSource::Scan(const std::string& folder, std::string* error) {
    const fs::path depthFolder = fs::path(folder) / "depth";
    const std::map<uint64_t, std::string> depths = NumberedPngs(depthFolder);
    const std::map<uint64_t, std::string> colors = NumberedPngs(fs::path(folder) / "color");
    if (depths.empty()) {
        *error = depthFolder.string() + ": no numbered PNG files there";
        return false;
    }
    for (const auto& [number, depthPath] : depths) {
        const auto color = colors.find(number);
        Admit(depthPath, color == colors.end() ? std::string() : color->second);
    }
    // Headers may promise what the data do not hold: one frame must really be there.
    while (!m_frames.empty() && !LoadDepth(&m_frames.front())) {
        m_frames.erase(m_frames.begin());
    }
    if (m_frames.empty()) {
        *error = depthFolder.string() + ": none of the files is a usable depth image";
        return false;
    }
    m_lastFrame = m_frames.data();
    const uint64_t depthBytes = uint64_t{m_depthSize.m_width} * m_depthSize.m_height * sizeof(uint16_t);
    const uint64_t colorBytes = uint64_t{m_colorSize.m_width} * m_colorSize.m_height * 3;
    m_keepsFrames = (depthBytes + colorBytes) * m_frames.size() <= kKeepBytes;
    return true;
}

bool CRecordingSource::Admit(const std::string& depthPath, const std::string& colorPath) {
    if (!Fits(depthPath, true, &m_depthSize)) {
        return false;
    }
    Frame frame;
    frame.m_depthPath = depthPath;
    PngSize colorSize = m_colorSize;
    std::string error;
    if (!colorPath.empty() && !ReadPngSize(colorPath, false, &colorSize, &error)) {
        Tell(error + ", the frame has no color"); // depth alone is still worth playing
    } else if (!colorPath.empty()) {
        if (!Fits(colorPath, false, &m_colorSize)) {
            return false;
        }
        frame.m_colorPath = colorPath;
    }
    m_frames.push_back(std::move(frame));
    return true;
}

bool CRecordingSource::LoadDepth(Frame* frame) {
    if (frame->m_isDepthDecoded) {
        return true;
    }
    PngSize size;
    std::string error;
    if (!ReadDepthPng(frame->m_depthPath, &size, &frame->m_depth, &error)) {
        Tell(error);
        return false;
    }
    if (!IsSame(size, m_depthSize)) {
        Tell(frame->m_depthPath + ": its size has changed");
        return false;
    }
    frame->m_isDepthDecoded = true;
    return true;
}

bool CRecordingSource::LoadColor(Frame* frame) {
    if (frame->m_isColorDecoded || frame->m_colorPath.empty()) {
        return frame->m_isColorDecoded;
    }
    PngSize size;
    std::string error;
    if (!ReadColorPng(frame->m_colorPath, &size, &frame->m_color, &error)) {
        Tell(error + ", the frame has no color");
        frame->m_colorPath.clear(); // said once
        return false;
    }
    if (!IsSame(size, m_colorSize)) {
        Tell(frame->m_colorPath + ": its size has changed, the frame has no color");
        frame->m_colorPath.clear();
        return false;
    }
    frame->m_isColorDecoded = true;
    return true;
}

// While frames are not kept, the memory of the one before serves the next.
void CRecordingSource::Forget(const Frame* keep) {
    if (m_keepsFrames || m_lastFrame == keep || m_lastFrame == nullptr) {
        return;
    }
    m_lastFrame->m_isDepthDecoded = false;
    m_lastFrame->m_isColorDecoded = false;
    std::vector<uint16_t>().swap(m_lastFrame->m_depth);
    std::vector<uint8_t>().swap(m_lastFrame->m_color);
}

void CRecordingSource::FillGreyPair(const Frame& frame, FrameImages* images) const {
    const size_t width = m_depthSize.m_width;
    const size_t height = m_depthSize.m_height;
    const size_t viewBytes = width * height;
    images->m_greyPair.assign(viewBytes * 2, 0);
    if (!frame.m_isColorDecoded) {
        return;
    }
    const size_t plane = size_t{m_colorSize.m_width} * m_colorSize.m_height;
    uint8_t* left = images->m_greyPair.data();
    for (size_t v = 0; v < height; ++v) {
        const size_t row = (2 * v + 1) * m_colorSize.m_height / (2 * height);
        for (size_t u = 0; u < width; ++u) {
            const size_t at = row * m_colorSize.m_width + (2 * u + 1) * m_colorSize.m_width / (2 * width);
            const unsigned luma = 77U * frame.m_color[at] + 150U * frame.m_color[plane + at] +
                                  29U * frame.m_color[2 * plane + at];
            left[v * width + u] = static_cast<uint8_t>((luma + 128U) >> 8U);
        }
    }
    std::copy_n(left, viewBytes, left + viewBytes);
}

bool CRecordingSource::Render(uint64_t index, bool wantColor, bool wantGreyPair, FrameImages* images) {
    if (index >= m_frames.size() && !m_loop) {
        return false;
    }
    try {
        Frame* frame = &m_frames[index % m_frames.size()];
        Forget(frame);
        m_lastFrame = frame;
        if (frame->m_isBad || !LoadDepth(frame)) {
            m_badFrames += frame->m_isBad ? 0 : 1;
            frame->m_isBad = true;
            return false;
        }
        const bool hasColor = (wantColor || wantGreyPair) && LoadColor(frame);
        images->m_depthWidth = m_depthSize.m_width;
        images->m_depthHeight = m_depthSize.m_height;
        images->m_depth = frame->m_depth;
        images->m_colorWidth = wantColor && hasColor ? m_colorSize.m_width : 0;
        images->m_colorHeight = wantColor && hasColor ? m_colorSize.m_height : 0;
        if (wantColor && hasColor) {
            images->m_color = frame->m_color;
        }
        if (wantGreyPair) {
            FillGreyPair(*frame, images);
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace ox3d
