// RecordingReader.h - reads a recording, whose files may be damaged or hostile: images are decoded one at a
// time, with the bounds of base/PngFile.h, and a bad one costs its own frame only.
#ifndef OX3D_RECORDING_READER_H
#define OX3D_RECORDING_READER_H

#include "base/PngFile.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ox3d {

class CRecordingReader {
public:
    // Null with a reason in *error when the folder holds no usable recording. Files that do not fit to the
    // others are left out with a message on the standard error output, as is all that turns out bad later.
    static std::unique_ptr<CRecordingReader> Open(const std::string& folder, std::string* error);

    size_t FrameCount() const { return m_frames.size(); }
    PngSize DepthSize() const { return m_depthSize; }
    PngSize ColorSize() const { return m_colorSize; } // 0 x 0: no frame has color
    const std::string& CalibrationXml() const { return m_calibrationXml; }

    // The images of a frame, 0 to FrameCount() - 1; the output is unspecified after a failure.
    bool ReadDepth(size_t frame, std::vector<uint16_t>* samples) const;
    // Three planes R, G, B. Also false for a frame without color.
    bool ReadColor(size_t frame, std::vector<uint8_t>* planes);

private:
    struct Frame {
        std::string m_depthPath;
        std::string m_colorPath; // empty: no color
    };

    CRecordingReader() = default;
    bool Scan(const std::string& folder, std::string* error);
    void Admit(const std::string& depthPath, const std::string& colorPath);

    PngSize m_depthSize;
    PngSize m_colorSize;
    std::string m_calibrationXml;
    std::vector<Frame> m_frames;
};

} // namespace ox3d

#endif
