// RecordingWriter.cpp - see RecordingWriter.h.
#include "recording/RecordingWriter.h"

#include "recording/RecordingLayout.h"

#include <algorithm>
#include <system_error>

namespace ox3d {

namespace fs = std::filesystem;

namespace {

bool MakeFolder(const fs::path& folder, std::string* error) {
    std::error_code failure;
    fs::create_directories(folder, failure);
    if (failure) {
        *error = "cannot make the folder " + folder.string() + ": " + failure.message();
    }
    return !failure;
}

} // namespace

bool CRecordingWriter::Begin(std::string* error) const {
    for (const char* const part : {kRecordingDepth, kRecordingColor}) {
        if (!MakeFolder(m_folder / part, error)) {
            return false;
        }
    }
    for (const char* const part : {kRecordingDepth, kRecordingColor, kRecordingLeft, kRecordingRight}) {
        std::string ignored;
        if (!RecordingImages(m_folder / part, &ignored).empty()) {
            *error = m_folder.string() + " holds a recording already; record into another folder";
            return false;
        }
    }
    return true;
}

uint64_t CRecordingWriter::NumberFor(uint32_t frameNum) {
    const uint64_t number = std::max<uint64_t>(frameNum, m_nextNumber);
    m_nextNumber = number + 1;
    return number;
}

bool CRecordingWriter::Write(uint64_t number, PngSize depthSize, const uint16_t* depth, PngSize colorSize,
                             const uint8_t* rgb, std::string* error) const {
    const std::string name = RecordingImageName(number);
    return WriteDepthPng((m_folder / kRecordingDepth / name).string(), depthSize, depth, error) &&
           (rgb == nullptr ||
            WriteColorPng((m_folder / kRecordingColor / name).string(), colorSize, rgb, error));
}

bool CRecordingWriter::Add(uint32_t frameNum, PngSize depthSize, const uint16_t* depth, PngSize colorSize,
                           const uint8_t* rgb, std::string* error) {
    return Write(NumberFor(frameNum), depthSize, depth, colorSize, rgb, error);
}

bool CRecordingWriter::WritePair(uint64_t number, PngSize size, const uint8_t* left, const uint8_t* right,
                                 std::string* error) const {
    const std::string name = RecordingImageName(number);
    const fs::path leftFolder = m_folder / kRecordingLeft;
    const fs::path rightFolder = m_folder / kRecordingRight;
    return MakeFolder(leftFolder, error) && MakeFolder(rightFolder, error) &&
           WriteGreyPng((leftFolder / name).string(), size, left, error) &&
           WriteGreyPng((rightFolder / name).string(), size, right, error);
}

std::string CRecordingWriter::CalibrationFile() const {
    return (m_folder / kRecordingCalibration).string();
}

} // namespace ox3d
