// What becomes of a camera's raw frame: its images, RGB-D, color scaled, depth registered and as a point cloud.
#include "tests/doubles/ScriptedCamera.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr uint32_t kColorChunk = OX_CHUNK_EXTENDED_IMAGE;
constexpr uint32_t kPairChunk = OX_CHUNK_DEMOSAIC_PAIR;
constexpr uint32_t kDepth = OX3D_RGBD_PIXEL_DEPTH16;
constexpr uint32_t kColor = OX3D_RGBD_PIXEL_RGB8_PLANAR;
constexpr uint32_t kNoStream = OX3D_RGBD_STREAM_NONE;

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
    // An Ethernet camera with every conversion off, so that frames of any size pass.
    void StartPlain() {
        OpenAndStart();
        SwitchOff("ImageAlign");
        SwitchOff("ResolutionAlign");
    }
    void ExpectImage(uint32_t index, uint32_t type, uint32_t width, uint32_t height, uint32_t stream,
                     const Bytes& bytes) {
        SCOPED_TRACE("image " + std::to_string(index));
        const OX3D_RGBD_IMAGE_DATA& image = Image(index);
        EXPECT_EQ((std::vector{image.enImageType, image.nWidth, image.nHeight, image.enStreamType}),
                  (std::vector{type, width, height, stream}));
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

TEST_F(Frames, HaveTheMainImageFirstAndTheColorImageFromItsChunk) {
    StartPlain();
    CRawFrame frame(64, 48, 7);
    frame.m_main = Ramp(frame.m_main.size());
    frame.m_info.enPixelType = 0x55555555011000B8; // the low half counts
    const Bytes& chunk = frame.AddColor(40, 30, 5);
    FetchImages(frame, 2);
    ExpectImage(0, kDepth, 64, 48, kNoStream, frame.m_main);
    ExpectImage(1, kColor, 40, 30, kNoStream, Ramp(3600, 5));
    EXPECT_NE(Image(0).pData, frame.m_main.data()) << "the camera has its buffer back";
    uint32_t word = 0;
    memcpy(&word, chunk.data() + 12, sizeof(word));
    EXPECT_EQ(word, 3600u) << "the payload's length is noted in the chunk";
    CRawFrame bare(64, 48, 8);
    FetchImages(bare, 1); // color is not repeated
    bare.AddChunk(kColorChunk, 32, 40, 30, 0);
    FetchImages(bare, 2);
    ExpectImage(1, kColor, 40, 30, kNoStream, {});
}

TEST_F(Frames, TheLastOfTwoUsableChunksCounts) {
    StartPlain();
    CRawFrame frame(64, 48);
    Bytes shortChunk(31, 0xEE);
    frame.AddColor(40, 30, 5);
    frame.AddChunk(0xA5A53D99, 32, 1, 1, 10);
    frame.AddColor(20, 10, 9);
    frame.AddChunk(kPairChunk, 28, 64, 96, 64 * 96); // of USB cameras only
    frame.AddRecord(nullptr, kColorChunk, 1000);
    frame.AddRecord(shortChunk.data(), kColorChunk, 31);
    frame.AddRecord(shortChunk.data(), kPairChunk, 27);
    const std::string tail = " is null or shorter than its header.";
    EXPECT_EQ(LinesOf([&] { FetchImages(frame, 2); }),
              (Lines{"[UpdateChunkDataToLocalInput] unSupport trunk ID(0xa5a53d99).",
                     "[UpdateChunkDataToLocalInput] trunk ID(0xa5a53d0b) len(1000)" + tail,
                     "[UpdateChunkDataToLocalInput] trunk ID(0xa5a53d0b) len(31)" + tail,
                     "[UpdateChunkDataToLocalInput] trunk ID(0xa5a53d11) len(27)" + tail}));
    ExpectImage(1, kColor, 20, 10, kNoStream, Ramp(600, 9));
    EXPECT_EQ(shortChunk, Bytes(31, 0xEE)) << "nothing is written back";
}

TEST_F(Frames, ImagesBeyondTheFirstBuffersArrive) {
    StartPlain();
    CRawFrame large(3000, 2000, 1); // 12,000,000 bytes of depth, 5 MiB of color
    large.m_main = Ramp(large.m_main.size());
    large.AddChunk(kColorChunk, 32, 1, 1, 5 << 20);
    FetchImages(large, 2);
    ExpectImage(0, kDepth, 3000, 2000, kNoStream, large.m_main);
    ExpectImage(1, kColor, 1, 1, kNoStream, Ramp(5 << 20));
    const uint8_t* const grown = Image(0).pData;
    CRawFrame small(64, 48, 2);
    FetchImages(small, 1);
    EXPECT_EQ(Image(0).pData, grown) << "a buffer does not shrink";
}

TEST_F(Frames, OfUsbNameTheirStreamsAndThePairStaysOnceItCame) {
    OpenAndStart("USB1");
    CRawFrame frame(640, 480, 1); // nothing is registered, scaled or interleaved but on Ethernet cameras
    ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
    frame.AddColor(40, 30);
    frame.AddChunk(kPairChunk, 28, 64, 96, 64 * 96, 3);
    FetchImages(frame, 4);
    ExpectImage(0, kDepth, 640, 480, OX3D_RGBD_STREAM_DEPTH, frame.m_main);
    ExpectImage(1, kColor, 40, 30, OX3D_RGBD_STREAM_COLOR, Ramp(3600));
    ExpectImage(2, kColor, 64, 48, OX3D_RGBD_STREAM_LEFT, Ramp(64 * 48, 3));
    ExpectImage(3, kColor, 64, 48, OX3D_RGBD_STREAM_RIGHT, Ramp(64 * 48, 3 + 64 * 48));
    CRawFrame second(64, 48, 2);
    second.AddRecord(nullptr, kPairChunk, 100); // unusable: the slot stays as it was
    second.m_info.enPixelType = kColor;
    FetchImages(second, 3);
    EXPECT_EQ(Image(0).enStreamType, OX3D_RGBD_STREAM_NONE) << "only a depth image is the depth stream";
    ExpectImage(1, kColor, 64, 48, OX3D_RGBD_STREAM_LEFT, Ramp(64 * 48, 3));
    ASSERT_EQ(Stop(), OX3D_RGBD_OK);
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    CRawFrame third(64, 48, 1);
    FetchImages(third, 3);
}

TEST_F(Frames, OfUsbHaveTheSecondHalfOfAPairAtHalfTheAreaOrNot) {
    OpenAndStart("USB1");
    CRawFrame frame(64, 48);
    frame.AddChunk(kPairChunk, 28, 64, 96, 2 * 64 * 96); // two bytes a pixel
    FetchImages(frame, 3);
    EXPECT_EQ(Image(1).nDataLen, 64u * 96);
    EXPECT_EQ(Image(2).nDataLen, 64u * 96);
    EXPECT_EQ(Image(2).pData - Image(1).pData, 64 * 96 / 2);
    const uint32_t outside[][2] = {{8192, 8192}, {65536, 65535}, {0xFFFFFFFF, 2}};
    for (const auto& [width, height] : outside) {
        CRawFrame lying(64, 48, 2);
        lying.AddChunk(kPairChunk, 28, width, height, 100);
        FetchImages(lying, 1);
    }
}

TEST_F(Frames, AsRgbdInterleaveThreePlanesAndDepthWithZerosWhereThePlanesEnd) {
    StartPlain();
    ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
    CRawFrame frame(1280, 720, 3); // 4.6 MB, more than the first buffer
    EXPECT_EQ(Fetch(frame), OX3D_RGBD_E_NO_DATA) << "a second image is needed";
    EXPECT_EQ(Double().LentFrames(), 0u);
    frame.m_main = Ramp(frame.m_main.size(), 77);
    const size_t pixels = size_t{1280} * 720;
    frame.AddChunk(kColorChunk, 32, 1280, 720, 3 * pixels - 1, 5);
    FetchImages(frame, 3);
    Bytes expected;
    for (size_t p = 0; p < pixels; ++p) {
        for (const size_t byte : {5 + p, 5 + p + pixels, 5 + p + 2 * pixels, 77 + 2 * p, 78 + 2 * p}) {
            expected.push_back(static_cast<uint8_t>(byte));
        }
    }
    expected[5 * pixels - 3] = 0;
    ExpectImage(2, OX3D_RGBD_PIXEL_RGBD, 1280, 720, kNoStream, expected);

    CRawFrame whole(1280, 720, 4); // by the kernels
    whole.m_main = frame.m_main;
    whole.AddChunk(kColorChunk, 32, 1280, 720, 3 * pixels, 5);
    FetchImages(whole, 3);
    expected[5 * pixels - 3] = static_cast<uint8_t>(4 + 3 * pixels);
    ExpectImage(2, OX3D_RGBD_PIXEL_RGBD, 1280, 720, kNoStream, expected);
}

TEST_F(Frames, HaveColorScaledToTheDepthsSizePlaneByPlane) {
    OpenAndStart();
    SwitchOff("ImageAlign");
    CRawFrame frame(128, 72, 4);
    Bytes& chunk = frame.AddColor(192, 108);
    Bytes expected;
    for (int plane = 0; plane < 3; ++plane) { // a plane of one value keeps it through any scaler
        memset(chunk.data() + 32 + plane * 192 * 108, 50 + plane, 192 * 108);
        expected.insert(expected.end(), 128 * 72, static_cast<uint8_t>(50 + plane));
    }
    FetchImages(frame, 2);
    ExpectImage(1, kColor, 128, 72, kNoStream, expected);
    CRawFrame larger(128, 96, 5);
    larger.AddColor(200, 100);
    EXPECT_EQ(Fetch(larger), OX3D_RGBD_E_MEMORY) << "a later larger depth is not provided for";
    CRawFrame smaller(32, 24, 6);
    smaller.AddColor(200, 100);
    FetchImages(smaller, 2);
    EXPECT_EQ(Image(1).nDataLen, 32u * 24 * 3);
}

TEST_F(Frames, FailForShortPlanesUnlessNothingIsScaled) {
    OpenAndStart();
    SwitchOff("ImageAlign");
    CRawFrame same(64, 48);
    same.AddChunk(kColorChunk, 32, 64, 48, 10);
    FetchImages(same, 2);
    EXPECT_EQ(Image(1).nDataLen, 10u) << "an image of the depth's size is left alone";
    const uint32_t sizes[][3] = {
        {40, 30, 40 * 30 * 3 - 1}, {0x10000, 0x10000, 100}, {0xFFFFFFFF, 0xFFFFFFFF, 100}};
    for (const auto& [width, height, bytes] : sizes) {
        CRawFrame frame(64, 48);
        frame.AddChunk(kColorChunk, 32, width, height, bytes);
        EXPECT_EQ(Fetch(frame), OX3D_RGBD_E_MEMORY);
        EXPECT_EQ(Double().LentFrames(), 0u);
    }
}

void Put(CRawFrame& frame, uint32_t column, uint32_t row, uint16_t sample) {
    memcpy(&frame.m_main[2 * (size_t{row} * frame.m_info.nWidth + column)], &sample, sizeof(sample));
}

// At a depth of 1000 every pixel moves ten columns and stays in its row; half the depth moves twice as far.
TEST_F(Frames, OfDepthAreRegisteredByTheParallaxAndTheNearestWins) {
    OpenAndStart();
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
    ExpectImage(0, kDepth, 640, 480, kNoStream, expected.m_main);
}

// The color camera sees a depth of 1000 a fifth of a row and 10.2 columns further on, half the depth twice as far. The first
// image chose a set of twice the size.
TEST_F(Frames, AreAlignedInOtherWaysWhereTheKeysSaySo) {
    Double().SetFile("RGBDSensorCali", R"(<A><RGBD_1><Camera img_w="1280" img_h="960"/>
  <Left_correct><Intrins fx="1000" fy="1000" cx="640.5" cy="480.5"/></Left_correct>
  <Left_correct_2_RGB><RotMat r00="1" r11="1" r22="1"/><TVec t0="20.4" t1="0.4"/></Left_correct_2_RGB>
  <RGB><Intrins fx="1000" fy="1000" cx="640.5" cy="480.5"/><Distort/></RGB></RGBD_1></A>)");
    OpenAndStart();
    CRawFrame large(1280, 960);
    FetchImages(large, 1);
    for (const char* key : {"Ox3dAlignMode", "Ox3dOcclusionMask", "OutputRgbd"}) {
        ASSERT_EQ(SetSwitch(key, 1), OX3D_RGBD_OK);
    }
    CRawFrame frame(640, 480, 5);
    Put(frame, 100, 50, 0);
    Put(frame, 200, 60, 500);
    Bytes& chunk = frame.AddColor(1280, 960);
    memset(chunk.data() + 32, 77, chunk.size() - 32);
    FetchImages(frame, 4);
    const size_t pixels = size_t{640} * 480;
    CRawFrame filled(640, 480);
    Bytes mask(pixels, OX3D_RGBD_MASK_SEEN);
    const auto hide = [&](CRawFrame& image, uint32_t column, uint32_t row, uint32_t why) {
        Put(image, column, row, 0);
        mask[size_t{row} * 640 + column] = static_cast<uint8_t>(why);
    };
    for (uint32_t i = 0; i < 4800; ++i) {
        hide(filled, i % 10, i / 10, OX3D_RGBD_MASK_NONE);
    }
    hide(filled, 110, 50, OX3D_RGBD_MASK_NONE);
    hide(filled, 210, 60, OX3D_RGBD_MASK_NONE);
    Put(filled, 220, 60, 500);
    ExpectImage(0, kDepth, 640, 480, kNoStream, filled.m_main);
    ExpectImage(1, kColor, 640, 480, kNoStream, Bytes(3 * pixels, 77));
    ExpectImage(2, OX3D_RGBD_PIXEL_MONO8, 640, 480, kNoStream, mask);
    EXPECT_EQ(Image(3).enImageType, OX3D_RGBD_PIXEL_RGBD);

    ASSERT_EQ(SetSwitch("Ox3dAlignTarget", 1), OX3D_RGBD_OK);
    FetchImages(frame, 4);
    mask.assign(pixels, OX3D_RGBD_MASK_SEEN);
    CRawFrame unused(640, 480);
    for (uint32_t i = 0; i < 4800; ++i) {
        hide(unused, 630 + i % 10, i / 10, OX3D_RGBD_MASK_OUTSIDE);
    }
    hide(unused, 100, 50, OX3D_RGBD_MASK_NONE);
    hide(unused, 210, 60, OX3D_RGBD_MASK_HIDDEN);
    Bytes planes(3 * pixels);
    for (size_t i = 0; i < planes.size(); ++i) {
        planes[i] = mask[i % pixels] == OX3D_RGBD_MASK_SEEN ? 77 : 0;
    }
    ExpectImage(0, kDepth, 640, 480, kNoStream, frame.m_main);
    ExpectImage(1, kColor, 640, 480, kNoStream, planes);
    ExpectImage(2, OX3D_RGBD_PIXEL_MONO8, 640, 480, kNoStream, mask);
    EXPECT_EQ(Image(3).enImageType, OX3D_RGBD_PIXEL_RGBD);

    CRawFrame bare(640, 480);
    EXPECT_EQ(Fetch(bare), OX3D_RGBD_E_NO_DATA) << "a mask is no second image for the interleaved one";
    SwitchOff("OutputRgbd");
    FetchImages(bare, 2);
    EXPECT_EQ(Image(1).enImageType, OX3D_RGBD_PIXEL_MONO8);
    bare.AddChunk(kColorChunk, 32, 1280, 960, 100);
    EXPECT_LINES(Fetch(bare), OX3D_RGBD_E_ALGORITHM,
                 "[FrameAlign] images of 1280 x 960 len(100) are not aligned.",
                 "[FillFrameData] DepthMapConvert process failed [0x8006000c]",
                 "[FetchFrame] FillFrameData fail [0x8006000c]");
    CRawFrame grey(640, 480);
    const uint32_t mono8 = OX3D_RGBD_PIXEL_MONO8;
    memcpy(grey.AddColor(64, 48, 9).data(), &mono8, sizeof(mono8));
    EXPECT_EQ(LinesOf([&] { FetchImages(grey, 3); }),
              Lines{"[FrameAlign] color of type [0x1080001] is not aligned."});
    EXPECT_EQ(LinesOf([&] { FetchImages(grey, 3); }), Lines{});
    ExpectImage(1, mono8, 64, 48, kNoStream, Ramp(9216, 9));
    OX3D_RGBD_INTRINSICS lens;
    EXPECT_EQ(OX3D_RGBD_GetIntrinsics(m_handle, OX3D_RGBD_CAMERA_COLOR, &lens), OX3D_RGBD_E_NO_DATA);
    CRawFrame noDepth(640, 480);
    noDepth.m_info.enPixelType = 0x01100007;
    FetchImages(noDepth, 1);
}

TEST_F(Frames, OfOtherKindsAreNotRegisteredNorWhereItIsSwitchedOff) {
    OpenAndStart();
    CRawFrame frame(640, 480);
    frame.m_info.enPixelType = 0x01100007;
    FetchImages(frame, 1);
    EXPECT_TRUE(BytesOf(Image(0)) == frame.m_main);
    SwitchOff("ImageAlign");
    frame.m_info.enPixelType = kDepth;
    FetchImages(frame, 1);
    EXPECT_TRUE(BytesOf(Image(0)) == frame.m_main);
}

TEST_F(Frames, FailWithTheirRegistration) {
    OpenAndStart();
    CRawFrame tooSmall(64, 48);
    tooSmall.AddColor(64, 48);
    EXPECT_EQ(Fetch(tooSmall), OX3D_RGBD_E_ALGORITHM);
    EXPECT_LE(m_frame.nImageCount, 1u) << "and no color is appended";
    std::filesystem::remove("RGBDSensorCali_ETH1.xml");
    CRawFrame good(640, 480);
    EXPECT_EQ(Fetch(good), OX3D_RGBD_OK) << "the calibration was read with the first image";
    EXPECT_EQ(Double().LentFrames(), 0u);
}

// ---- Point clouds ----------------------------------------------------------------------------------------

class PointCloud : public COpened {
protected:
    // An image whose every pixel is a meter away.
    uint32_t Map(uint16_t width, uint16_t height) {
        m_samples = CRawFrame(width, height).m_main;
        m_depth = DepthImage(m_samples, width, height);
        m_depth.nFrameNum = 8;
        memset(&m_cloud, 0x5A, sizeof(m_cloud));
        return OX3D_RGBD_MapDepthToPointCloud(m_handle, &m_depth, &m_cloud);
    }
    void ExpectPoint(uint32_t column, uint32_t row, float x, float y, float z = 1000) const {
        const auto* point = reinterpret_cast<const float*>(m_cloud.pData);
        point += 3 * (size_t{row} * m_cloud.nWidth + column);
        EXPECT_NEAR(point[0], x, 1e-3);
        EXPECT_NEAR(point[1], y, 1e-3);
        EXPECT_EQ(point[2], z);
    }
    Bytes m_samples;
    OX3D_RGBD_IMAGE_DATA m_depth = {};
    OX3D_RGBD_IMAGE_DATA m_cloud = {};
};

TEST_F(PointCloud, FollowsThePinholeModelOfTheDepthCamera) {
    ASSERT_EQ(Map(640, 480), OX3D_RGBD_OK);
    EXPECT_EQ((std::vector{m_cloud.enImageType, m_cloud.nReserved0, m_cloud.nWidth, m_cloud.nHeight,
                           m_cloud.nDataLen, m_cloud.nFrameNum}),
              (std::vector<uint32_t>{OX3D_RGBD_PIXEL_POINT_CLOUD, 0, 640, 480, 640 * 480 * 12, 8}));
    EXPECT_EQ(m_cloud.nTimeStamp, 0x5A5A5A5A5A5A5A5Au) << "not written";
    EXPECT_EQ(m_cloud.enStreamType, 0x5A5A5A5Au) << "not written";
    ExpectPoint(0, 0, -640, -480);
    ExpectPoint(570, 365, 500, 250);
    const int16_t nearAndNone[2] = {500, 0};
    memcpy(&m_samples[2 * (size_t{365} * 640 + 570)], nearAndNone, sizeof(nearAndNone));
    EXPECT_EQ(OX3D_RGBD_MapDepthToPointCloud(m_handle, &m_depth, &m_cloud), OX3D_RGBD_OK);
    ExpectPoint(570, 365, 250, 125, 500);
    ExpectPoint(571, 365, 0, 0, 0);
}

TEST_F(PointCloud, KeepsTheCalibrationThatTheFirstImageChose) {
    ASSERT_EQ(Map(1280, 720), OX3D_RGBD_OK); // not the first set's width
    ExpectPoint(0, 0, -640, -400);
    ExpectPoint(1279, 719, 639, 359 / 0.9f);
    ASSERT_EQ(Map(640, 480), OX3D_RGBD_OK);
    ExpectPoint(0, 0, -640, -400);
}

TEST_F(PointCloud, OfAFrameLeavesItsDepthAlone) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    CRawFrame frame(640, 480);
    ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);
    OX3D_RGBD_IMAGE_DATA depth = Image(0);
    EXPECT_EQ(OX3D_RGBD_MapDepthToPointCloud(m_handle, &depth, &m_cloud), OX3D_RGBD_OK);
    ExpectPoint(570, 365, 500, 250);
    const Bytes before = BytesOf(Image(0));
    const OX3D_RGBD_FRAME_DATA plain = m_frame;
    ASSERT_EQ(SetSwitch("Ox3dAlignMode", 1), OX3D_RGBD_OK);
    ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);     // has memory of its own
    mallopt(M_PERTURB, 0xA5);                  // what is freed shows it
    for (const uint16_t height : {720, 960}) { // larger blocks take the place of smaller ones
        ASSERT_EQ(Map(1280, height), OX3D_RGBD_OK);
    }
    mallopt(M_PERTURB, 0);
    EXPECT_TRUE(BytesOf(plain.stImageData[0]) == before);
    const OX3D_RGBD_CLOUD_OPTIONS options = {};
    OX3D_RGBD_CLOUD cloud;
    EXPECT_EQ(OX3D_RGBD_MapFrameToPointCloud(m_handle, &plain, &options, &cloud), OX3D_RGBD_OK);
}

TEST_F(PointCloud, WithoutCalibrationFailsUntilTheFileIsThere) {
    const std::string file = "RGBDSensorCali_ETH1.xml";
    std::filesystem::rename(file, "aside");
    EXPECT_LAST_LINE(Map(640, 480), OX3D_RGBD_E_NO_DATA, "[DepthMapConvert] cfg_file is not exist.");
    std::filesystem::rename("aside", file);
    EXPECT_EQ(Map(640, 480), OX3D_RGBD_OK);
}

TEST_F(PointCloud, OfWhatIsNoDepthImageIsRefused) {
    ASSERT_EQ(Map(640, 480), OX3D_RGBD_OK);
    const std::pair<void (*)(OX3D_RGBD_IMAGE_DATA&), const char*> rows[] = {
        {[](auto& d) { d.pData = nullptr; }, "[DepthMapConvert] pImageData is null, invalid "},
        {[](auto& d) { d.nWidth = 0; }, "[DepthMapConvert] nWidth or nImageSize is 0, invalid "},
        {[](auto& d) { d.nHeight = 0; }, "[DepthMapConvert] nWidth or nImageSize is 0, invalid "},
        {[](auto& d) { d.nDataLen = 0; }, "[DepthMapConvert] nWidth or nImageSize is 0, invalid "},
        {[](auto& d) { d.enImageType = 0x02180021; }, "[DepthMapConvert] enPixelType invalid[0x2180021] "},
        {[](auto& d) { d.nDataLen -= 1; },
         "[DepthMapConvert] nWidth 640  len (614399) not match Imagelen(614400), invalid "},
        {[](auto& d) { d.nWidth += 0x80000000; }, // the same length modulo 32 bits
         "[DepthMapConvert] nWidth -2147483008  len (614400) not match Imagelen(614400), invalid "},
    };
    for (const auto& row : rows) {
        OX3D_RGBD_IMAGE_DATA depth = m_depth;
        row.first(depth);
        EXPECT_LINES(OX3D_RGBD_MapDepthToPointCloud(m_handle, &depth, &m_cloud), OX3D_RGBD_E_PARAMETER,
                     row.second);
    }
}

} // namespace
