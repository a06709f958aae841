// McapRecording.h - the frames of an MCAP file that a CRecorder wrote.
#ifndef OX3D_RECORDING_MCAP_RECORDING_H
#define OX3D_RECORDING_MCAP_RECORDING_H

#include "recording/Jpeg.h"
#include "recording/McapFrames.h"
#include "recording/RecordingReader.h"
#include "recording/RosMessages.h"

namespace ox3d {

// The facts of a recording by ox3d, none where they are damaged and its channels alone tell that it is one. False with a
// reason for any other MCAP file.
bool ReadRecordedFacts(const CMcapFile& file, const McapSummary& summary, TextMap* facts, std::string* error);

class CMcapRecording final : public CRecordingReader {
public:
    static std::unique_ptr<CRecordingReader> Open(const std::string& path, std::string* error);

    size_t FrameCount() const override { return m_frames.Count(); }
    bool ReadDepth(size_t frame, std::vector<uint16_t>* samples) override;
    bool ReadColor(size_t frame, std::vector<uint8_t>* planes) override;
    bool ReadJpeg(size_t frame, std::vector<uint8_t>* image) override;
    bool ReadFacts(size_t frame, RecordedFacts* facts) override;
    const std::vector<uint64_t>& HostTimes() const override { return m_hostTimes; }
    bool IsClosed() const override { return m_contents.m_isClosed; }

private:
    bool ReadFile(const std::string& path, std::string* error);
    bool ReadCamera(std::string* error);
    bool FindDepthSize(std::string* error);
    void FindColorSize();
    void FindLenses();
    void RestoreCalibration();
    bool Load(size_t frame);
    bool ColorSizeOf(const McapMessage* raw, const McapMessage* jpeg, PngSize* size);
    bool DecodeColor(std::vector<uint8_t>* planes);
    void Tell(size_t frame, const std::string& what) const;
    void Tell(const std::string& what) const;

    std::string m_path;
    CMcapFile m_file;
    McapContents m_contents;
    CMcapFrames m_frames{m_file};
    std::vector<uint64_t> m_hostTimes;
    CJpegDecoder m_jpeg;
    std::vector<uint8_t> m_interleaved;
};

} // namespace ox3d

#endif
