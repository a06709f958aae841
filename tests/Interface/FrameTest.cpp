// What becomes of a camera's raw frame: main image, chunk images, RGB-D, color scaled to the depth's size,
// depth registered to the color camera.
#include "tests/doubles/ScriptedCamera.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr uint32_t kColorChunk = OX_CHUNK_EXTENDED_IMAGE;
constexpr uint32_t kPairChunk = OX_CHUNK_DEMOSAIC_PAIR;

Bytes BytesOf(const OX3D_RGBD_IMAGE_DATA& image) {
    return {image.pData, image.pData + image.nDataLen};
}

Bytes Ramp(size_t count, size_t first = 0) {
    Bytes bytes(count);
    for (size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<uint8_t>(first + i);
    }
    return bytes;
}

class Frames : public CScripted {
protected:
    void ExpectImage(uint32_t index, uint32_t type, uint32_t width, uint32_t height, uint32_t stream,
                     const Bytes& bytes) {
        SCOPED_TRACE("image " + std::to_string(index));
        const OX3D_RGBD_IMAGE_DATA& image = Image(index);
        EXPECT_EQ(image.enImageType, type);
        EXPECT_EQ(image.nWidth, width);
        EXPECT_EQ(image.nHeight, height);
        EXPECT_EQ(image.enStreamType, stream);
        EXPECT_EQ(image.nFrameNum, Image(0).nFrameNum);
        EXPECT_EQ(image.nTimeStamp, 0x200000003u);
        ASSERT_EQ(image.nDataLen, bytes.size());
        EXPECT_TRUE(BytesOf(image) == bytes);
    }
    // Fetches the frame and expects this many images of it.
    void FetchImages(CRawFrame& frame, uint32_t count) {
        ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);
        ASSERT_EQ(m_frame.nImageCount, count);
        EXPECT_EQ(Image(0).nFrameNum, frame.m_info.nFrameNum);
        const OX3D_RGBD_IMAGE_DATA empty = {};
        EXPECT_EQ(memcmp(&Image(count), &empty, sizeof(empty)), 0) << "the rest of the record is zeroed";
    }
};

// An Ethernet camera with every conversion off, so that frames of any size pass.
class Assembly : public Frames {
protected:
    void SetUp() override {
        CScripted::SetUp();
        OpenAndStart();
        ASSERT_EQ(SetSwitch("ImageAlign", 0), OX3D_RGBD_OK);
        ASSERT_EQ(SetSwitch("ResolutionAlign", 0), OX3D_RGBD_OK);
    }
};

class UsbAssembly : public Frames {
protected:
    void SetUp() override {
        CScripted::SetUp();
        OpenAndStart("USB1");
    }
};

TEST_F(Assembly, TheMainImageComesFirstAndTheColorImageFromItsChunk) {
    CRawFrame frame(64, 48, 7);
    frame.Main() = Ramp(frame.Main().size());
    frame.m_info.enPixelType = 0x55555555011000B8; // the low half counts
    const Bytes& chunk = frame.AddColor(40, 30, 5);
    FetchImages(frame, 2);
    ExpectImage(0, OX3D_RGBD_PIXEL_DEPTH16, 64, 48, OX3D_RGBD_STREAM_NONE, frame.Main());
    ExpectImage(1, OX3D_RGBD_PIXEL_RGB8_PLANAR, 40, 30, OX3D_RGBD_STREAM_NONE, Ramp(3600, 5));
    EXPECT_NE(Image(0).pData, frame.Main().data()) << "the camera has its buffer back";
    uint32_t word = 0;
    memcpy(&word, chunk.data() + 12, sizeof(word));
    EXPECT_EQ(word, 3600u) << "the payload's length is noted in the chunk";
    CRawFrame bare(64, 48, 8);
    FetchImages(bare, 1); // color is not repeated
}

TEST_F(Assembly, TheLastOfTwoChunksCountsAndUnknownOnesAreSkipped) {
    CRawFrame frame(64, 48);
    frame.AddColor(40, 30, 5);
    frame.AddChunk(0xA5A53D99, 32, 1, 1, 10);
    frame.AddColor(20, 10, 9);
    frame.AddChunk(kPairChunk, 28, 64, 96, 64 * 96); // of USB cameras only
    EXPECT_EQ(LinesOf([&] { FetchImages(frame, 2); }),
              Lines{"[UpdateChunkDataToLocalInput] unSupport trunk ID(0xa5a53d99)."});
    ExpectImage(1, OX3D_RGBD_PIXEL_RGB8_PLANAR, 20, 10, OX3D_RGBD_STREAM_NONE, Ramp(600, 9));
}

TEST_F(Assembly, NullAndShortChunksAreSkipped) {
    CRawFrame frame(64, 48);
    Bytes shortChunk(31, 0xEE);
    frame.AddRecord(nullptr, kColorChunk, 1000);
    frame.AddRecord(shortChunk.data(), kColorChunk, 31);
    frame.AddRecord(shortChunk.data(), kPairChunk, 27);
    EXPECT_EQ(LinesOf([&] { FetchImages(frame, 1); }).size(), 3u);
    EXPECT_EQ(shortChunk, Bytes(31, 0xEE)) << "nothing is written back";
}

TEST_F(Assembly, ACountWithoutChunksIsLoggedAndTheFrameGoesOn) {
    CRawFrame frame(64, 48);
    OX_FRAME_OUT out = frame.Out();
    out.stFrameInfo.nUnparsedChunkNum = 3;
    out.stFrameInfo.pUnparsedChunkContent = nullptr;
    Double().QueueFrame(out);
    EXPECT_LINES(OX3D_RGBD_FetchFrame(m_handle, &m_frame, 0), OX3D_RGBD_OK,
                 "[UpdateChunkDataToLocalInput] param is null.",
                 "[FetchFrame] UpdateChunkDataToLocal fail [0x80060004]");
    EXPECT_EQ(m_frame.nImageCount, 1u);
}

TEST_F(Assembly, ImagesBeyondTheFirstBuffersArrive) {
    CRawFrame large(3000, 2000, 1); // 12,000,000 bytes of depth, 5 MiB of color
    large.Main() = Ramp(large.Main().size());
    large.AddChunk(kColorChunk, 32, 1, 1, 5 << 20);
    FetchImages(large, 2);
    ExpectImage(0, OX3D_RGBD_PIXEL_DEPTH16, 3000, 2000, OX3D_RGBD_STREAM_NONE, large.Main());
    ExpectImage(1, OX3D_RGBD_PIXEL_RGB8_PLANAR, 1, 1, OX3D_RGBD_STREAM_NONE, Ramp(5 << 20));
    const uint8_t* const grown = Image(0).pData;
    CRawFrame small(64, 48, 2);
    FetchImages(small, 1);
    EXPECT_EQ(Image(0).pData, grown) << "a buffer does not shrink";
}

TEST_F(UsbAssembly, EachImageNamesItsStreamAndThePairStaysOnceItCame) {
    CRawFrame frame(64, 48, 1);
    frame.AddColor(40, 30);
    frame.AddChunk(kPairChunk, 28, 64, 96, 64 * 96, 3);
    FetchImages(frame, 4);
    ExpectImage(0, OX3D_RGBD_PIXEL_DEPTH16, 64, 48, OX3D_RGBD_STREAM_DEPTH, frame.Main());
    ExpectImage(1, OX3D_RGBD_PIXEL_RGB8_PLANAR, 40, 30, OX3D_RGBD_STREAM_COLOR, Ramp(3600));
    ExpectImage(2, OX3D_RGBD_PIXEL_RGB8_PLANAR, 64, 48, OX3D_RGBD_STREAM_LEFT, Ramp(64 * 48, 3));
    ExpectImage(3, OX3D_RGBD_PIXEL_RGB8_PLANAR, 64, 48, OX3D_RGBD_STREAM_RIGHT, Ramp(64 * 48, 3 + 64 * 48));
    CRawFrame second(64, 48, 2);
    second.AddRecord(nullptr, kPairChunk, 100); // unusable: the slot stays as it was
    second.m_info.enPixelType = OX3D_RGBD_PIXEL_RGB8_PLANAR;
    FetchImages(second, 3);
    EXPECT_EQ(Image(0).enStreamType, OX3D_RGBD_STREAM_NONE) << "only a depth image is the depth stream";
    ExpectImage(1, OX3D_RGBD_PIXEL_RGB8_PLANAR, 64, 48, OX3D_RGBD_STREAM_LEFT, Ramp(64 * 48, 3));
    ASSERT_EQ(OX3D_RGBD_Stop(m_handle), OX3D_RGBD_OK);
    ASSERT_EQ(OX3D_RGBD_Start(m_handle), OX3D_RGBD_OK);
    CRawFrame third(64, 48, 1);
    FetchImages(third, 3);
}

TEST_F(UsbAssembly, TheSecondHalfLiesAtHalfTheAreaWhateverThePixelSize) {
    CRawFrame frame(64, 48);
    frame.AddChunk(kPairChunk, 28, 64, 96, 2 * 64 * 96); // two bytes a pixel
    FetchImages(frame, 3);
    EXPECT_EQ(Image(1).nDataLen, 64u * 96);
    EXPECT_EQ(Image(2).nDataLen, 64u * 96);
    EXPECT_EQ(Image(2).pData - Image(1).pData, 64 * 96 / 2);
}

TEST_F(UsbAssembly, APairThatWouldLieOutsideItsBufferIsDropped) {
    const uint32_t sizes[][2] = {{8192, 8192}, {65536, 65535}, {0xFFFFFFFF, 2}};
    for (const auto& [width, height] : sizes) {
        CRawFrame frame(64, 48);
        frame.AddChunk(kPairChunk, 28, width, height, 100);
        EXPECT_EQ(LinesOf([&] { FetchImages(frame, 1); }).size(), 1u);
    }
}

// ---- RGB-D -----------------------------------------------------------------------------------------------

TEST_F(Assembly, RgbdWeavesThreePlanesAndDepth) {
    ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
    CRawFrame frame(1280, 720, 3); // 4.6 MB, more than the first buffer
    frame.Main() = Ramp(frame.Main().size(), 77);
    frame.AddColor(1280, 720, 5);
    FetchImages(frame, 3);
    Bytes expected;
    const size_t pixels = size_t{1280} * 720;
    for (size_t p = 0; p < pixels; ++p) {
        for (const size_t byte : {5 + p, 5 + p + pixels, 5 + p + 2 * pixels, 77 + 2 * p, 78 + 2 * p}) {
            expected.push_back(static_cast<uint8_t>(byte));
        }
    }
    ExpectImage(2, OX3D_RGBD_PIXEL_RGBD, 1280, 720, OX3D_RGBD_STREAM_NONE, expected);
}

TEST_F(Assembly, RgbdReadsZerosWhereThePlanesEnd) {
    ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
    CRawFrame frame(4, 1, 1, 0x0201);
    frame.AddChunk(kColorChunk, 32, 4, 1, 6, 10); // 6 of 12 bytes
    FetchImages(frame, 3);
    EXPECT_EQ(BytesOf(Image(2)), (Bytes{10, 14, 0, 1, 2, 11, 15, 0, 1, 2, 12, 0, 0, 1, 2, 13, 0, 0, 1, 2}));
}

TEST_F(Assembly, RgbdNeedsASecondImage) {
    ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
    CRawFrame frame(64, 48);
    EXPECT_EQ(Fetch(frame), OX3D_RGBD_E_NO_DATA);
    EXPECT_EQ(Double().Ledger().m_lentFrames, 0u);
    frame.AddColor(64, 48);
    EXPECT_EQ(Fetch(frame), OX3D_RGBD_OK) << "the next good frame works";
}

TEST_F(UsbAssembly, RgbdAndAlignmentsAreForEthernetCamerasOnly) {
    ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
    CRawFrame frame(640, 480);
    frame.AddColor(40, 30);
    FetchImages(frame, 2);
    ExpectImage(0, OX3D_RGBD_PIXEL_DEPTH16, 640, 480, OX3D_RGBD_STREAM_DEPTH, frame.Main());
    EXPECT_EQ(Image(1).nWidth, 40u);
}

// ---- Color scaled to the depth's size -------------------------------------------------------------------

class ColorAlign : public Assembly {
protected:
    void SetUp() override {
        Assembly::SetUp();
        ASSERT_EQ(SetSwitch("ResolutionAlign", 1), OX3D_RGBD_OK);
    }
};

TEST_F(ColorAlign, TheColorImageGetsTheDepthsSizePlaneByPlane) {
    CRawFrame frame(1280, 720, 4);
    Bytes& chunk = frame.AddColor(1920, 1080);
    for (size_t plane = 0; plane < 3; ++plane) { // a plane of one value keeps it through any scaler
        memset(chunk.data() + 32 + plane * 1920 * 1080, static_cast<int>(50 * (plane + 1)), 1920 * 1080);
    }
    FetchImages(frame, 2);
    Bytes expected;
    for (const int value : {50, 100, 150}) {
        expected.insert(expected.end(), 1280 * 720, static_cast<uint8_t>(value));
    }
    ExpectImage(1, OX3D_RGBD_PIXEL_RGB8_PLANAR, 1280, 720, OX3D_RGBD_STREAM_NONE, expected);
}

TEST_F(ColorAlign, AnImageOfTheDepthsSizeIsLeftAlone) {
    CRawFrame frame(64, 48);
    frame.AddChunk(kColorChunk, 32, 64, 48, 10); // too short to be scaled, had it to be
    ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);
    EXPECT_EQ(Image(1).nDataLen, 10u);
}

TEST_F(ColorAlign, ShortPlanesFailTheFrame) {
    CRawFrame frame(64, 48);
    frame.AddChunk(kColorChunk, 32, 40, 30, 40 * 30 * 3 - 1);
    EXPECT_LAST_LINE(Fetch(frame), OX3D_RGBD_E_MEMORY, "[FetchFrame] FillFrameData fail [0x80060005]");
    EXPECT_EQ(Double().Ledger().m_lentFrames, 0u);
    for (const auto& [width, height] : {std::pair{0x10000u, 0x10000u}, std::pair{0xFFFFFFFFu, 0xFFFFFFFFu}}) {
        CRawFrame huge(64, 48);
        huge.AddChunk(kColorChunk, 32, width, height, 100);
        EXPECT_EQ(Fetch(huge), OX3D_RGBD_E_MEMORY);
    }
}

TEST_F(ColorAlign, TheBufferKeepsTheSizeOfTheFirstAlignment) {
    const auto fetch = [&](uint16_t width, uint16_t height) {
        CRawFrame frame(width, height);
        frame.AddColor(200, 100);
        return Fetch(frame);
    };
    EXPECT_EQ(fetch(64, 48), OX3D_RGBD_OK);
    EXPECT_EQ(fetch(128, 96), OX3D_RGBD_E_MEMORY) << "a later larger depth is not provided for";
    EXPECT_EQ(fetch(32, 24), OX3D_RGBD_OK);
    EXPECT_EQ(Image(1).nDataLen, 32u * 24 * 3);
}

// ---- Depth registered to the color camera ---------------------------------------------------------------

class DepthAlign : public Frames {
protected:
    void SetUp() override {
        CScripted::SetUp();
        OpenAndStart();
    }

    static void Put(CRawFrame& frame, uint32_t column, uint32_t row, uint16_t sample) {
        memcpy(&frame.Main()[2 * (size_t{row} * frame.m_info.nWidth + column)], &sample, sizeof(sample));
    }
};

// At a depth of 1000 every pixel moves ten columns and stays in its row; half the depth moves twice as far.
TEST_F(DepthAlign, EachPixelMovesByItsParallaxAndTheNearestWins) {
    CRawFrame frame(640, 480, 5);
    Put(frame, 100, 50, 0);   // a hole moves along
    Put(frame, 200, 60, 500); // lands at 221, row 61, before what is behind it
    FetchImages(frame, 1);
    CRawFrame expected(640, 480);
    for (uint32_t row = 0; row < 480; ++row) {
        for (uint32_t column = 0; column < 10; ++column) {
            Put(expected, column, row, 0); // nothing comes from further left
        }
    }
    Put(expected, 110, 50, 0);
    Put(expected, 210, 60, 0);
    Put(expected, 221, 61, 500);
    ExpectImage(0, OX3D_RGBD_PIXEL_DEPTH16, 640, 480, OX3D_RGBD_STREAM_NONE, expected.Main());
}

TEST_F(DepthAlign, IsForDepthImagesAndCanBeSwitchedOff) {
    CRawFrame frame(640, 480);
    frame.m_info.enPixelType = 0x01100007;
    FetchImages(frame, 1);
    EXPECT_TRUE(BytesOf(Image(0)) == frame.Main());
    ASSERT_EQ(SetSwitch("ImageAlign", 0), OX3D_RGBD_OK);
    frame.m_info.enPixelType = OX3D_RGBD_PIXEL_DEPTH16;
    FetchImages(frame, 1);
    EXPECT_TRUE(BytesOf(Image(0)) == frame.Main());
}

TEST_F(DepthAlign, ItsFailureFailsTheFrame) {
    CRawFrame wrongLength(640, 480);
    wrongLength.m_info.nFrameLen -= 1;
    EXPECT_LINES(Fetch(wrongLength), OX3D_RGBD_E_PARAMETER,
                 "[DepthMapConvert] nWidth 640  len (614399) not match Imagelen(614400), invalid ",
                 "[FillFrameData] DepthMapConvert process failed [0x80060004]",
                 "[FetchFrame] FillFrameData fail [0x80060004]");
    CRawFrame tooSmall(64, 48);
    EXPECT_EQ(Fetch(tooSmall), OX3D_RGBD_E_ALGORITHM);
    std::filesystem::remove("RGBDSensorCali_ETH1.xml");
    CRawFrame good(640, 480);
    EXPECT_EQ(Fetch(good), OX3D_RGBD_OK) << "the calibration was read with the first image";
    EXPECT_EQ(Double().Ledger().m_lentFrames, 0u);
}

// ---- Point clouds ----------------------------------------------------------------------------------------

class PointCloud : public Frames {
protected:
    void SetUp() override {
        CScripted::SetUp();
        Open();
    }

    uint32_t Map(uint32_t width, uint32_t height) {
        m_samples.resize(size_t{width} * height);
        for (size_t i = 0; i < m_samples.size(); ++i) {
            m_samples[i] = i % 7 == 0 ? 0 : static_cast<int16_t>(500 + i % 1000);
        }
        m_depth = {};
        m_depth.enImageType = OX3D_RGBD_PIXEL_DEPTH16;
        m_depth.nWidth = width;
        m_depth.nHeight = height;
        m_depth.pData = reinterpret_cast<uint8_t*>(m_samples.data());
        m_depth.nDataLen = static_cast<uint32_t>(m_samples.size() * 2);
        m_depth.nFrameNum = 8;
        memset(&m_cloud, 0x5A, sizeof(m_cloud));
        return OX3D_RGBD_MapDepthToPointCloud(m_handle, &m_depth, &m_cloud);
    }
    // Against the pinhole model, computed here.
    void ExpectPoints(double fx, double fy, double cx, double cy) {
        const auto* point = reinterpret_cast<const float*>(m_cloud.pData);
        double worst = 0;
        for (uint32_t v = 0; v < m_depth.nHeight; ++v) {
            for (uint32_t u = 0; u < m_depth.nWidth; ++u, point += 3) {
                const double d = m_samples[size_t{v} * m_depth.nWidth + u];
                worst = std::max({worst, std::abs((u - cx) * d / fx - point[0]),
                                  std::abs((v - cy) * d / fy - point[1]), std::abs(d - point[2])});
            }
        }
        EXPECT_LT(worst, 1e-3);
    }
    std::vector<int16_t> m_samples;
    OX3D_RGBD_IMAGE_DATA m_depth = {};
    OX3D_RGBD_IMAGE_DATA m_cloud = {};
};

TEST_F(PointCloud, FollowsThePinholeModelOfTheDepthCamera) {
    ASSERT_EQ(Map(640, 480), OX3D_RGBD_OK);
    EXPECT_EQ(m_cloud.enImageType, OX3D_RGBD_PIXEL_POINT_CLOUD);
    EXPECT_EQ(m_cloud.nReserved0, 0u);
    EXPECT_EQ(m_cloud.nWidth, 640u);
    EXPECT_EQ(m_cloud.nHeight, 480u);
    EXPECT_EQ(m_cloud.nDataLen, 640u * 480 * 12);
    EXPECT_EQ(m_cloud.nFrameNum, 8u);
    EXPECT_EQ(m_cloud.nTimeStamp, 0x5A5A5A5A5A5A5A5Au) << "not written";
    EXPECT_EQ(m_cloud.enStreamType, 0x5A5A5A5Au) << "not written";
    ExpectPoints(500, 500, 320, 240);
}

TEST_F(PointCloud, TheFirstImageChoosesTheCalibrationForGood) {
    ASSERT_EQ(Map(1280, 720), OX3D_RGBD_OK); // not the first set's width
    ExpectPoints(1000, 900, 640, 360);
    ASSERT_EQ(Map(640, 480), OX3D_RGBD_OK);
    ExpectPoints(1000, 900, 640, 360);
}

TEST_F(PointCloud, WorksBeforeStartAndWhileFramesAreFetched) {
    ASSERT_EQ(OX3D_RGBD_Start(m_handle), OX3D_RGBD_OK);
    CRawFrame frame(640, 480);
    ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);
    OX3D_RGBD_IMAGE_DATA cloud = {};
    OX3D_RGBD_IMAGE_DATA depth = Image(0);
    EXPECT_EQ(OX3D_RGBD_MapDepthToPointCloud(m_handle, &depth, &cloud), OX3D_RGBD_OK);
    EXPECT_EQ(reinterpret_cast<const float*>(cloud.pData)[3 * 100 + 2], 1000.0f);
    ASSERT_EQ(Map(1280, 720), OX3D_RGBD_OK);
    EXPECT_EQ(BytesOf(Image(0))[200], 1000 & 0xFF) << "a larger cloud leaves the frame's depth alone";
}

TEST_F(PointCloud, WithoutCalibrationFailsUntilTheFileIsThere) {
    const std::string file = "RGBDSensorCali_ETH1.xml";
    std::filesystem::rename(file, "aside");
    EXPECT_LAST_LINE(Map(640, 480), OX3D_RGBD_E_NO_DATA, "[DepthMapConvert] cfg_file is not exist.");
    EXPECT_EQ(Map(640, 480), OX3D_RGBD_E_NO_DATA);
    std::filesystem::rename("aside", file);
    EXPECT_EQ(Map(640, 480), OX3D_RGBD_OK);
}

TEST_F(PointCloud, ImagesThatAreNoDepthImagesAreRefusedInOrder) {
    ASSERT_EQ(Map(640, 480), OX3D_RGBD_OK);
    const OX3D_RGBD_IMAGE_DATA good = m_depth;
    struct Row {
        void (*m_spoil)(OX3D_RGBD_IMAGE_DATA&);
        const char* m_line;
    };
    const Row rows[] = {
        {[](auto& d) { d.pData = nullptr; }, "[DepthMapConvert] pImageData is null, invalid "},
        {[](auto& d) { d.nWidth = 0; }, "[DepthMapConvert] nWidth or nImageSize is 0, invalid "},
        {[](auto& d) { d.nHeight = 0; }, "[DepthMapConvert] nWidth or nImageSize is 0, invalid "},
        {[](auto& d) { d.nDataLen = 0; }, "[DepthMapConvert] nWidth or nImageSize is 0, invalid "},
        {[](auto& d) { d.enImageType = 0x02180021; }, "[DepthMapConvert] enPixelType invalid[0x2180021] "},
        {[](auto& d) { d.nDataLen -= 1; },
         "[DepthMapConvert] nWidth 640  len (614399) not match Imagelen(614400), invalid "},
        {[](auto& d) { d.nWidth += 0x80000000; }, nullptr}, // the same length modulo 32 bits
    };
    for (const Row& row : rows) {
        OX3D_RGBD_IMAGE_DATA depth = good;
        row.m_spoil(depth);
        const Lines lines = LinesOf([&] {
            EXPECT_EQ(OX3D_RGBD_MapDepthToPointCloud(m_handle, &depth, &m_cloud), OX3D_RGBD_E_PARAMETER);
        });
        EXPECT_EQ(lines.size(), 1u);
        EXPECT_TRUE(row.m_line == nullptr || lines == Lines{row.m_line}) << testing::PrintToString(lines);
    }
}

} // namespace
