// Mcap.cpp - an MCAP file: read as a recording, repaired, and read again. A checksum of 0 is none, so that made-up bytes get
// past it.
#include <string>
#include <vector>

#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"
#include "recording/McapReader.h"
#include "recording/McapRepair.h"
#include "recording/RecordingReader.h"

namespace {

using namespace ox3d;
using namespace ox3d::fuzz;

constexpr uint64_t kMaxDecodedPixels = 1u << 16;
constexpr size_t kMaxFrames = 16;

bool IsShort(const PngSize& size) {
    return uint64_t{size.m_width} * size.m_height <= kMaxDecodedPixels;
}

// Frames with depth.
size_t ReadFrames(const std::string& path) {
    std::string error;
    const auto recording = CRecordingReader::Open(path, &error);
    OX3D_FUZZ_EXPECT(recording != nullptr || !error.empty());
    if (recording == nullptr) {
        return 0;
    }
    OX3D_FUZZ_EXPECT(recording->HostTimes().size() == recording->FrameCount());
    size_t good = 0;
    std::vector<uint16_t> samples;
    std::vector<uint8_t> planes;
    RecordedFacts facts;
    for (size_t frame = 0; frame < std::min(recording->FrameCount(), kMaxFrames); ++frame) {
        recording->ReadFacts(frame, &facts);
        if (IsShort(recording->DepthSize()) && recording->ReadDepth(frame, &samples)) {
            const PngSize size = recording->DepthSize();
            OX3D_FUZZ_EXPECT(samples.size() == size_t{size.m_width} * size.m_height);
            ++good;
        }
        if (IsShort(recording->ColorSize()) && recording->ReadColor(frame, &planes)) {
            const PngSize size = recording->ColorSize();
            OX3D_FUZZ_EXPECT(planes.size() == size_t{size.m_width} * size.m_height * 3);
        }
    }
    return recording->FrameCount() > kMaxFrames ? 0 : good;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    static CMemoryFile s_file;
    s_file.Write({data, lengthBytes});
    const size_t before = ReadFrames(s_file.Path());
    McapRepairReport report;
    std::string error;
    const EMcapRepair result = RepairMcap(s_file.Path(), &report, &error);
    OX3D_FUZZ_EXPECT(result == EMcapRepair::Ok ||
                     ((result == EMcapRepair::Foreign || result == EMcapRepair::Empty) && !error.empty()));
    if (result == EMcapRepair::Ok && report.m_isMended) {
        OX3D_FUZZ_EXPECT(ReadFrames(s_file.Path()) >= before);
        OX3D_FUZZ_EXPECT(RepairMcap(s_file.Path(), &report, &error) == EMcapRepair::Ok);
        OX3D_FUZZ_EXPECT(report.m_wasClosed && !report.m_isMended && report.m_badChunks.empty());
    } else {
        s_file.Expect({data, lengthBytes}); // it stays as it was to the byte
    }
    return 0;
}
