// RecordingReader.h - reads a recording, a folder of PNG files or an MCAP file, whose bytes may be damaged or hostile:
// images are decoded one at a time, with the bounds of base/PngFile.h, and a bad one costs its own frame only.
#ifndef OX3D_RECORDING_READER_H
#define OX3D_RECORDING_READER_H

#include "base/PngFile.h"
#include "recording/RecordedFrame.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ox3d {

class CRecordingReader {
public:
    // Of a folder, or of an MCAP file. Null with a reason in *error when it holds no usable recording. Files and frames that
    // do not fit to the others are left out with a message on the standard error output, as is all that turns out bad later.
    static std::unique_ptr<CRecordingReader> Open(const std::string& path, std::string* error);
    virtual ~CRecordingReader() = default;

    virtual size_t FrameCount() const = 0;
    // False where its writer was killed: its frames go up to the last whole one.
    virtual bool IsClosed() const { return true; }
    PngSize DepthSize() const { return m_depthSize; }
    PngSize ColorSize() const { return m_colorSize; } // 0 x 0: no frame has color
    // What was recorded of the camera. Of a folder nothing but the calibration file is known.
    const RecordedCamera& Camera() const { return m_camera; }
    const std::string& CalibrationXml() const { return m_camera.m_calibrationXml; }

    // The images of a frame, 0 to FrameCount() - 1; the output is unspecified after a failure.
    virtual bool ReadDepth(size_t frame, std::vector<uint16_t>* samples) = 0;
    // Three planes R, G, B. Also false for a frame without color.
    virtual bool ReadColor(size_t frame, std::vector<uint8_t>* planes) = 0;
    // The two grey views that the depth was made of, of its size, left above right. Also false for a frame without them.
    virtual bool ReadPair(size_t /*frame*/, std::vector<uint8_t>* /*views*/) { return false; }
    virtual bool HasPair() const { return false; } // a frame has one. Never changes: any thread may ask
    // The color image as it lies in the recording, of ColorSize() by its head. False where it is no JPEG image.
    virtual bool ReadJpeg(size_t /*frame*/, std::vector<uint8_t>* /*image*/) { return false; }
    // False where nothing more is known of the frame.
    virtual bool ReadFacts(size_t frame, RecordedFacts* facts) = 0;
    // When each frame came to the host, UTC in nanoseconds; empty: not known. Never changes: any thread may read it.
    virtual const std::vector<uint64_t>& HostTimes() const = 0;

protected:
    CRecordingReader() = default;

    PngSize m_depthSize;
    PngSize m_colorSize;
    RecordedCamera m_camera;
};

// What is recorded of the camera in an MCAP file, without looking at frames. False with a reason.
bool ReadRecordedFacts(const std::string& path, std::map<std::string, std::string>* facts,
                       std::string* error);

} // namespace ox3d

#endif
