// RecordingWriter.h - writes a recording, frame by frame, as RecordingReader.h reads it. The calibration file
// is the caller's to put there: it comes from the camera as it is.
#ifndef OX3D_RECORDING_WRITER_H
#define OX3D_RECORDING_WRITER_H

#include "base/PngFile.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace ox3d {

class CRecordingWriter {
public:
    explicit CRecordingWriter(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    // All return false with a reason in *error when it cannot be written.

    // Makes the folders, but for those of pairs. A folder that holds images of a recording is refused: frames of two recordings would
    // mix, and those that are there may be all that is left of a scene.
    bool Begin(std::string* error) const;
    // One more frame: depth samples, and interleaved RGB bytes or null for no color, both row-major without
    // padding. The files bear the camera's number of the frame, so that gaps show what was lost; after a
    // number that does not rise the count goes on from the last one.
    bool Add(uint32_t frameNum, PngSize depthSize, const uint16_t* depth, PngSize colorSize,
             const uint8_t* rgb, std::string* error);

    // The two halves of it: the next frame's number, and a frame under a number, by any thread.
    uint64_t NumberFor(uint32_t frameNum);
    bool Write(uint64_t number, PngSize depthSize, const uint16_t* depth, PngSize colorSize,
               const uint8_t* rgb, std::string* error) const;

    // The pair of grey views that the depth of that frame was made of, of its size, by any thread.
    bool WritePair(uint64_t number, PngSize size, const uint8_t* left, const uint8_t* right,
                   std::string* error) const;

    std::string CalibrationFile() const;

private:
    std::filesystem::path m_folder;
    uint64_t m_nextNumber = 0;
};

} // namespace ox3d

#endif
