// Frame.cpp - raw frames with chunks through the frame assembly: what a camera says of sizes, lengths and counts is
// made up, the memory behind it is exactly as long as it says. Log lines go nowhere, there is no log. Built twice:
// OX3D_FUZZ_LARGE adds images that are large enough to be registered and chunks that make buffers grow, which
// takes a hundred times as long.
#include <deque>
#include <memory>
#include <vector>

#include "fuzz/FrameRecord.h"
#include "fuzz/GuardedBlock.h"
#include "fuzz/Input.h"
#include "src/Manager/DepthConversion.h"
#include "src/Manager/FrameAssembler.h"

namespace {

using namespace ox3d::fuzz;

#ifdef OX3D_FUZZ_LARGE
constexpr bool kIsLarge = true;
constexpr uint32_t kMaxFrames = 2;
#else
constexpr bool kIsLarge = false;
constexpr uint32_t kMaxFrames = 4;
#endif
constexpr uint32_t kMaxChunks = 5;
constexpr uint32_t kMaxBytes = 8192;
// What registration takes at least, and what does not fit an assembly buffer's first size.
constexpr uint32_t kWholeWidth = 640;
constexpr uint32_t kWholeHeight = 480;
constexpr uint32_t kLongChunkBytes = kAssemblyBufferBytes + 4099;

struct Conversion {
    DepthCalibration m_calibration = {};
    uint32_t m_status = OX3D_RGBD_OK;
    CDepthConversion m_conversion{[this](uint32_t, DepthCalibration* out) {
        *out = m_calibration;
        return m_status;
    }};
};

// The memory of one chunk that is longer than all others, and of one image that is large enough to be registered.
CGuardedBlock& LongChunk() {
    static CGuardedBlock s_block(kLongChunkBytes);
    return s_block;
}
CGuardedBlock& WholeImage() {
    static CGuardedBlock s_block(size_t{kWholeWidth} * kWholeHeight * 2);
    return s_block;
}

// An area is small, or more than any record can tell: what lies between is taken and only computes for long.
void KeepShort(uint16_t width, uint16_t* height) {
    constexpr uint64_t kSlowPixels = kIsLarge ? 1u << 18 : 1u << 12;
    constexpr uint64_t kRefusedPixels = 900'000'000;
    const uint64_t pixels = uint64_t{width} * *height;
    if (pixels > kSlowPixels && pixels < kRefusedPixels) {
        *height &= 3;
    }
}

class CFrameMaker {
public:
    explicit CFrameMaker(CInput& input) : m_input(input) {}

    // The record of the frame; its memory lives as long as this object.
    OX_FRAME_OUT Make() {
        OX_FRAME_OUT frame = {};
        OX_FRAME_OUT_INFO_EX& info = frame.stFrameInfo;
        info.enPixelType = m_input.Flag() ? OX3D_RGBD_PIXEL_DEPTH16 : m_input.Take<uint64_t>();
        info.nFrameNum = m_input.Take<uint32_t>();
        info.nDevTimeStampHigh = m_input.Take<uint32_t>();
        info.nWidth = m_input.Take<uint16_t>();
        info.nHeight = m_input.Take<uint16_t>();
        KeepShort(info.nWidth, &info.nHeight);
        if (kIsLarge && m_input.Flag()) {
            info.nWidth = kWholeWidth;
            info.nHeight = kWholeHeight;
            info.nFrameLen = kWholeWidth * kWholeHeight * 2;
            frame.pBufAddr = WholeImage().PlaceFilled(info.nFrameLen, m_input.Bytes(64), 2);
        } else {
            const uint64_t bytes = uint64_t{2} * info.nWidth * info.nHeight;
            const bool isConsistent = m_input.Flag() && bytes <= kMaxBytes;
            info.nFrameLen = isConsistent ? static_cast<uint32_t>(bytes) : m_input.Below(kMaxBytes);
            frame.pBufAddr = info.nFrameLen > 0 ? Memory(info.nFrameLen) : nullptr;
        }
        AddChunks(info);
        return frame;
    }

private:
    uint8_t* Memory(size_t lengthBytes) {
        m_memory.push_back(std::make_unique<uint8_t[]>(lengthBytes));
        return m_memory.back().get();
    }

    void AddChunks(OX_FRAME_OUT_INFO_EX& info) {
        info.nUnparsedChunkNum = m_input.Below(kMaxChunks);
        const bool isListed = m_input.Take<uint8_t>() % 16 != 0;
        if (!isListed || info.nUnparsedChunkNum == 0) {
            return;
        }
        m_chunks.emplace_back(std::make_unique<OX_CHUNK_DATA_CONTENT[]>(info.nUnparsedChunkNum));
        info.pUnparsedChunkContent = m_chunks.back().get();
        for (uint32_t i = 0; i < info.nUnparsedChunkNum; ++i) {
            FillChunk(&info.pUnparsedChunkContent[i]);
        }
    }

    void FillChunk(OX_CHUNK_DATA_CONTENT* chunk) {
        const auto kind = m_input.Take<uint8_t>();
        chunk->nChunkID = kind % 3 == 0   ? OX_CHUNK_EXTENDED_IMAGE
                          : kind % 3 == 1 ? OX_CHUNK_DEMOSAIC_PAIR
                                          : m_input.Take<uint32_t>();
        if (kind >= 0xF8) {
            chunk->nChunkLen = m_input.Take<uint32_t>();
            return; // a length without memory
        }
        const bool isLong = kIsLarge && kind >= 0xF0;
        chunk->nChunkLen = isLong ? kLongChunkBytes : m_input.Below(kMaxBytes);
        chunk->pChunkData = isLong ? LongChunk().Place(kLongChunkBytes) : Memory(chunk->nChunkLen);
        const auto head = m_input.Bytes(std::min<size_t>(chunk->nChunkLen, 12));
        std::copy(head.begin(), head.end(), chunk->pChunkData);
    }

    CInput& m_input;
    std::deque<std::unique_ptr<uint8_t[]>> m_memory;
    std::deque<std::unique_ptr<OX_CHUNK_DATA_CONTENT[]>> m_chunks;
};

void Assemble(CFrameAssembler& assembler, CDepthConversion& conversion, const AssemblyOptions& options,
              CFrameMaker& maker) {
    const CAssembling assembling(assembler);
    OX_FRAME_OUT raw = maker.Make();
    const OX_FRAME_OUT_INFO_EX& info = raw.stFrameInfo;
    OX3D_RGBD_FRAME_DATA frame = {};
    assembler.Clear();
    if (assembler.TakeChunks(info.pUnparsedChunkContent, info.nUnparsedChunkNum) == OX3D_RGBD_OK) {
        const RawFrame main = {raw.pBufAddr, info};
        const uint32_t status =
            assembler.Fill(raw.pBufAddr != nullptr ? &main : nullptr, options, conversion, &frame);
        if (status == OX3D_RGBD_OK) {
            ReadFrame(frame);
        }
    }
}

// What an application may ask for with any record that it has.
void Convert(CInput& input, CDepthConversion& conversion, CFrameAssembler& assembler) {
    std::vector<uint8_t> samples(input.Below(kMaxBytes));
    OX3D_RGBD_IMAGE_DATA depth = {};
    depth.enImageType = OX3D_RGBD_PIXEL_DEPTH16;
    const auto width = input.Take<uint16_t>();
    auto height = input.Take<uint16_t>();
    KeepShort(width, &height);
    depth.nWidth = width;
    depth.nHeight = height;
    depth.nDataLen = static_cast<uint32_t>(samples.size());
    depth.pData = samples.data();
    if (kIsLarge && input.Flag()) {
        depth.nWidth = kWholeWidth;
        depth.nHeight = kWholeHeight;
        depth.nDataLen = kWholeWidth * kWholeHeight * 2;
        depth.pData = WholeImage().PlaceFilled(depth.nDataLen, input.Bytes(64), 2);
    }
    OX3D_RGBD_IMAGE_DATA points = {};
    if (conversion.Convert(&depth, nullptr, &points) == OX3D_RGBD_OK) {
        ReadImage(points);
    }
    OX3D_RGBD_IMAGE_DATA color = depth;
    color.enImageType = input.Flag() ? OX3D_RGBD_PIXEL_RGB8_PLANAR : input.Take<uint32_t>();
    color.nWidth = input.Take<uint32_t>();
    color.nHeight = input.Take<uint32_t>();
    const CAssembling assembling(assembler);
    if (assembler.AlignColor(&depth, &color) == OX3D_RGBD_OK) {
        ReadImage(color);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    // Buffers of some megabytes: made anew only where an input may have made them grow.
    static CFrameAssembler s_assembler;
    static Conversion s_conversion;
    CInput input(data, lengthBytes);
    const auto bits = input.Take<uint8_t>();
    const AssemblyOptions options = {.m_isUsb = (bits & 1) != 0,
                                     .m_isDepthRegistered = (bits & 2) != 0,
                                     .m_isColorScaled = (bits & 4) != 0,
                                     .m_hasRgbd = (bits & 8) != 0};
    std::unique_ptr<Conversion> own;
    if (kIsLarge) {
        own = std::make_unique<Conversion>();
        own->m_calibration = TakeCalibration(input);
        own->m_status = input.Take<uint8_t>() == 0 ? OX3D_RGBD_E_NO_DATA : OX3D_RGBD_OK;
    }
    CDepthConversion& conversion = own != nullptr ? own->m_conversion : s_conversion.m_conversion;
    {
        CFrameMaker maker(input);
        for (uint32_t i = 0; i < kMaxFrames && input.Left() > 0; ++i) {
            Assemble(s_assembler, conversion, options, maker);
        }
        Convert(input, conversion, s_assembler);
    }
    const CAssembling assembling(s_assembler);
    if (kIsLarge) {
        s_assembler.Release();
    } else {
        s_assembler.Reset();
    }
    return 0;
}
