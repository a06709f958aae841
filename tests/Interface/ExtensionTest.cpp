// What goes beyond the first interface: words for statuses, copies of frames, lenses and the ways between cameras.
#include <regex>

#include "tests/doubles/ScriptedCamera.h"

namespace {

using Bytes = std::vector<uint8_t>;

TEST(Status, OfEveryHeaderHasItsNameAndASentenceOfItsOwn) {
    const std::regex line(
        R"(#define ((?:OX3D_RGBD|OX_CC|OXB3D_BINOSTEREO|ZQA)_(?:OK|E_\w+)) (\(-\d+\)|\w+))");
    std::set<std::string> sentences;
    size_t count = 0;
    for (const char* name : {"Ox3dRgbdDefine.h", "OxCameraControl.h", "Oxb3dBinoStereo.h"}) {
        const std::string text = ReadFile(std::string(OX3D_HEADERS) + name);
        for (std::sregex_iterator i(text.begin(), text.end(), line), end; i != end; ++i) {
            const std::string digits = (*i)[2].str();
            const long long status = std::stoll(digits.substr(digits[0] == '(' ? 1 : 0), nullptr, 0);
            const std::string words = OX3D_RGBD_StatusText(static_cast<uint32_t>(status));
            const std::string lead = (status == 0 ? "OX3D_RGBD_OK" : (*i)[1].str()) + ": ";
            EXPECT_EQ(words.substr(0, lead.size()), lead);
            EXPECT_EQ(sentences.insert(words.substr(lead.size())).second, status != 0 || count == 0) << words;
            ++count;
        }
    }
    EXPECT_EQ(count, 69u);
    EXPECT_EQ(
        OX3D_RGBD_StatusText(0x12345678),
        std::string("no status of the camera library, the camera-control library or the algorithm library"));
}

// ---- Lenses --------------------------------------------------------------------------------------------

class Geometry : public CScripted {
protected:
    // A set whose cameras differ in everything, and a second one for whatever is not 640 columns wide.
    void SetUp() override {
        CScripted::SetUp();
        Double().SetFile("RGBDSensorCali", R"(<A><RGBD_1><Camera img_w="640" img_h="480"/>
  <Left_correct><Intrins fx="500" fy="510" cx="320" cy="240"/></Left_correct>
  <Left_correct_2_RGB><RotMat r01="-1" r10="1" r22="1"/><TVec t0="20" t1="3" t2="5"/></Left_correct_2_RGB>
  <RGB><Intrins fx="600" fy="610" cx="330" cy="250"/><Distort k1="0.1" k2="0.2" p1="0.3" p2="0.4" k3="0.5"/></RGB>
 </RGBD_1><RGBD_2><Camera img_w="1280" img_h="720"/>
  <Left_correct><Intrins fx="1000" fy="1000" cx="639.5" cy="359.5"/></Left_correct>
  <Left_correct_2_RGB><RotMat/><TVec/></Left_correct_2_RGB>
  <RGB><Intrins fx="1100" fy="1200" cx="639.5" cy="359.5"/><Distort/></RGB></RGBD_2></A>)");
    }
    using Lens = std::vector<float>;
    // Size, focal lengths, centre, distortion.
    Lens LensOf(uint32_t stream) {
        OX3D_RGBD_INTRINSICS lens = {};
        memset(&lens, 0xAB, sizeof(lens));
        EXPECT_EQ(OX3D_RGBD_GetIntrinsics(m_handle, stream, &lens), OX3D_RGBD_OK);
        EXPECT_EQ(Bytes(lens.nReserved, lens.nReserved + 20), Bytes(20));
        return {static_cast<float>(lens.nWidth),
                static_cast<float>(lens.nHeight),
                lens.fFx,
                lens.fFy,
                lens.fCx,
                lens.fCy,
                lens.fK1,
                lens.fK2,
                lens.fP1,
                lens.fP2,
                lens.fK3};
    }
    Lens DepthLens() { return LensOf(OX3D_RGBD_CAMERA_DEPTH); }
    Lens ColorLens() { return LensOf(OX3D_RGBD_CAMERA_COLOR); }
    uint32_t Refusal(uint32_t stream) {
        OX3D_RGBD_INTRINSICS lens;
        memset(&lens, 0xAB, sizeof(lens));
        const uint32_t status = OX3D_RGBD_GetIntrinsics(m_handle, stream, &lens);
        EXPECT_EQ(RecordBytes(lens), Bytes(sizeof(lens), 0xAB)) << "nothing is written";
        return status;
    }
    const Lens m_ownDepth = {640, 480, 500, 510, 320, 240, 0, 0, 0, 0, 0};
    const Lens m_registered = {640, 480, 600, 610, 329.5f, 249.5f, 0, 0, 0, 0, 0};
    const Lens m_scaledColor = {640, 480, 600, 610, 330, 250, 0.1f, 0.2f, 0.3f, 0.4f, 0.5f};
    const Lens m_ownColor = {1280, 960, 1200, 1220, 660.5f, 500.5f, 0.1f, 0.2f, 0.3f, 0.4f, 0.5f};
};

TEST_F(Geometry, OfAStreamIsThatOfTheLastFrameUnderItsSwitches) {
    OpenAndStart();
    CRawFrame frame(640, 480);
    frame.AddColor(1280, 960);
    ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);
    EXPECT_EQ(DepthLens(), m_registered);
    EXPECT_EQ(ColorLens(), m_scaledColor);
    SwitchOff("ImageAlign");
    SwitchOff("ResolutionAlign");
    EXPECT_EQ(DepthLens(), m_registered) << "the last frame is what it was";
    ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);
    EXPECT_EQ(DepthLens(), m_ownDepth);
    EXPECT_EQ(ColorLens(), m_ownColor);
    CRawFrame bare(640, 480);
    ASSERT_EQ(Fetch(bare), OX3D_RGBD_OK);
    EXPECT_EQ(Refusal(OX3D_RGBD_CAMERA_COLOR), OX3D_RGBD_E_NO_DATA);
    bare.m_info.enPixelType = 0x01100007;
    ASSERT_EQ(Fetch(bare), OX3D_RGBD_OK);
    EXPECT_EQ(Refusal(OX3D_RGBD_CAMERA_DEPTH), OX3D_RGBD_E_NO_DATA);
    CRawFrame small(320, 180); // has no set of its own: the second one's, scaled
    small.AddColor(640, 360);
    ASSERT_EQ(Fetch(small), OX3D_RGBD_OK);
    EXPECT_EQ(DepthLens(), (Lens{320, 180, 250, 250, 159.5f, 89.5f, 0, 0, 0, 0, 0}));
    EXPECT_EQ(ColorLens(), (Lens{640, 360, 550, 600, 319.5f, 179.5f, 0, 0, 0, 0, 0}));
}

TEST_F(Geometry, OfAUsbDeviceIsNeverThatOfRegisteredOrScaledImages) {
    OpenAndStart("USB1");
    CRawFrame frame(640, 480);
    frame.AddColor(1280, 960);
    ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);
    EXPECT_EQ(DepthLens(), m_ownDepth);
    EXPECT_EQ(ColorLens(), m_ownColor);
}

TEST_F(Geometry, BeforeTheFirstFrameIsThatOfTheFrameToCome) {
    Answer(DOUBLE_OX_CC_GetIntValueEx, OX_CC_INT_VALUE_EX{640, 4000, 1, 1});
    Open();
    EXPECT_EQ(DepthLens(), (Lens{640, 640, 600, 610, 329.5f, 249.5f, 0, 0, 0, 0, 0}))
        << "both features are 640";
    EXPECT_EQ(ColorLens()[1], 640.0f);
    SwitchOff("ResolutionAlign");
    EXPECT_EQ(Refusal(OX3D_RGBD_CAMERA_COLOR), OX3D_RGBD_E_NO_DATA) << "no feature tells its size";
    Answer(DOUBLE_OX_CC_GetIntValueEx, OX_CC_INT_VALUE_EX{0, 4000, 0, 1});
    EXPECT_EQ(Refusal(OX3D_RGBD_CAMERA_DEPTH), OX3D_RGBD_E_NO_DATA);
    Fail(DOUBLE_OX_CC_GetIntValueEx, OX_CC_E_GC_ACCESS);
    EXPECT_EQ(Refusal(OX3D_RGBD_CAMERA_DEPTH), OX3D_RGBD_E_CAMERA_07);
}

TEST_F(Geometry, BetweenTheCamerasIsThatOfTheFileAndItsInverse) {
    Open();
    const auto between = [&](uint32_t from, uint32_t to) {
        OX3D_RGBD_EXTRINSICS way;
        memset(&way, 0xAB, sizeof(way));
        EXPECT_EQ(OX3D_RGBD_GetExtrinsics(m_handle, from, to, &way), OX3D_RGBD_OK);
        EXPECT_EQ(Bytes(way.nReserved, way.nReserved + 16), Bytes(16));
        std::vector<float> numbers(way.fRotation, way.fRotation + 9);
        numbers.insert(numbers.end(), way.fTranslation, way.fTranslation + 3);
        return numbers;
    };
    EXPECT_EQ(between(0, 1), (std::vector<float>{0, -1, 0, 1, 0, 0, 0, 0, 1, 20, 3, 5}));
    EXPECT_EQ(between(1, 0), (std::vector<float>{0, 1, 0, -1, 0, 0, 0, 0, 1, -3, 20, -5}));
    EXPECT_EQ(between(1, 1), (std::vector<float>{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}));
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    SwitchOff("ImageAlign");
    CRawFrame large(1280, 720); // the second set's rotation is none
    ASSERT_EQ(Fetch(large), OX3D_RGBD_OK);
    OX3D_RGBD_EXTRINSICS way;
    memset(&way, 0xAB, sizeof(way));
    EXPECT_EQ(OX3D_RGBD_GetExtrinsics(m_handle, 1, 0, &way), OX3D_RGBD_E_NO_DATA);
    EXPECT_EQ(RecordBytes(way), Bytes(sizeof(way), 0xAB));
}

TEST_F(Geometry, WithoutTheCalibrationFileIsNotKnown) {
    Open();
    std::filesystem::remove("RGBDSensorCali_ETH1.xml");
    EXPECT_EQ(Refusal(OX3D_RGBD_CAMERA_DEPTH), OX3D_RGBD_E_NO_DATA);
}

// ---- Copies ----------------------------------------------------------------------------------------------

class Copies : public CScripted {
protected:
    uint32_t Copy(const OX3D_RGBD_FRAME_DATA& frame) {
        return OX3D_RGBD_CopyFrame(m_handle, &frame, &m_copy);
    }
    OX3D_RGBD_FRAME_DATA* m_copy = nullptr;
};

// The record, but for where its images lie, and the images.
void ExpectSame(const OX3D_RGBD_FRAME_DATA& copy, OX3D_RGBD_FRAME_DATA frame,
                const std::vector<Bytes>& images) {
    ASSERT_EQ(copy.nImageCount, images.size());
    for (uint32_t i = 0; i < copy.nImageCount; ++i) {
        const OX3D_RGBD_IMAGE_DATA& image = copy.stImageData[i];
        EXPECT_TRUE(Bytes(image.pData, image.pData + image.nDataLen) == images[i]) << i;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(image.pData) % 64, 0u);
        frame.stImageData[i].pData = image.pData;
    }
    EXPECT_EQ(RecordBytes(copy), RecordBytes(frame));
}

TEST_F(Copies, OutliveTheNextFrameAndTheDevice) {
    OpenAndStart();
    ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
    CRawFrame raw(640, 480, 1, 1000);
    raw.AddColor(800, 600, 3);
    ASSERT_EQ(Fetch(raw), OX3D_RGBD_OK);
    const OX3D_RGBD_FRAME_DATA frame = m_frame;
    std::vector<Bytes> images;
    for (uint32_t i = 0; i < 3; ++i) {
        images.emplace_back(Image(i).pData, Image(i).pData + Image(i).nDataLen);
    }
    ASSERT_EQ(Copy(frame), OX3D_RGBD_OK);
    OX3D_RGBD_FRAME_DATA* const first = m_copy;
    CRawFrame next(640, 480, 2, 2000);
    next.AddColor(800, 600, 99);
    ASSERT_EQ(Fetch(next), OX3D_RGBD_OK);
    ExpectSame(*first, frame, images);
    ASSERT_EQ(Copy(*first), OX3D_RGBD_OK) << "a copy of a copy";
    ASSERT_EQ(OX3D_RGBD_FreeFrame(first), OX3D_RGBD_OK);
    EXPECT_EQ(OX3D_RGBD_FreeFrame(first), OX3D_RGBD_E_PARAMETER) << "freed twice";
    Close();
    ExpectSame(*m_copy, frame, images);
    EXPECT_EQ(OX3D_RGBD_FreeFrame(m_copy), OX3D_RGBD_OK);
}

TEST_F(Copies, AreMadeOfFramesThatTheDeviceKnowsAlone) {
    OpenAndStart();
    CRawFrame raw(640, 480);
    raw.AddColor(640, 480);
    ASSERT_EQ(Fetch(raw), OX3D_RGBD_OK);
    void (*const changes[])(OX3D_RGBD_FRAME_DATA&) = {
        [](auto& f) { f.nImageCount = 0; },
        [](auto& f) { f.nImageCount = 11; },
        [](auto& f) { f.nImageCount = 1; },
        [](auto& f) { ++f.stImageData[0].nFrameNum; },
        [](auto& f) { ++f.stImageData[0].pData; },
        [](auto& f) { ++f.stImageData[1].nDataLen; },
        [](auto& f) { f.stImageData[1].nWidth *= 2; },
        [](auto& f) { f.stImageData[0].enImageType = 0; },
    };
    for (const auto& change : changes) {
        OX3D_RGBD_FRAME_DATA frame = m_frame;
        change(frame);
        EXPECT_LINES(Copy(frame), OX3D_RGBD_E_PARAMETER, "[CopyFrame] the frame is not known.");
        EXPECT_EQ(m_copy, nullptr) << "nothing is written";
    }
    const OX3D_RGBD_FRAME_DATA frame = m_frame;
    for (uint32_t number = 2; number <= 65; ++number) {
        EXPECT_EQ(Copy(frame), OX3D_RGBD_OK) << number;
        EXPECT_EQ(OX3D_RGBD_FreeFrame(m_copy), OX3D_RGBD_OK);
        raw.m_info.nFrameNum = number;
        ASSERT_EQ(Fetch(raw), OX3D_RGBD_OK);
    }
    EXPECT_EQ(Copy(frame), OX3D_RGBD_E_PARAMETER) << "64 frames are known";
    const OX3D_RGBD_FRAME_DATA last = m_frame;
    ASSERT_EQ(Stop(), OX3D_RGBD_OK);
    EXPECT_EQ(Copy(last), OX3D_RGBD_OK) << "a fetched frame stays when the stream ends";
    EXPECT_EQ(OX3D_RGBD_FreeFrame(m_copy), OX3D_RGBD_OK);
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    CRawFrame larger(3000, 2000, 66);
    ASSERT_EQ(Fetch(larger), OX3D_RGBD_OK);
    EXPECT_EQ(Copy(last), OX3D_RGBD_E_PARAMETER) << "its memory has gone for that of larger images";
}

TEST_F(Copies, OfPushedFramesAreMadeInTheCallback) {
    OpenAndStart();
    SwitchOff("ImageAlign"); // the depth stays in the camera's memory
    struct Seen {
        void* m_handle;
        OX3D_RGBD_FRAME_DATA m_frame;
        OX3D_RGBD_FRAME_DATA* m_copy;
    } seen = {m_handle, {}, nullptr};
    const auto copy = [](OX3D_RGBD_FRAME_DATA* frame, void* user) {
        auto* const out = static_cast<Seen*>(user);
        out->m_frame = *frame;
        EXPECT_EQ(OX3D_RGBD_CopyFrame(out->m_handle, frame, &out->m_copy), OX3D_RGBD_OK);
    };
    ASSERT_EQ(OX3D_RGBD_RegisterFrameCallBack(m_handle, copy, &seen), OX3D_RGBD_OK);
    CRawFrame raw(64, 48);
    Deliver(raw);
    ASSERT_NE(seen.m_copy, nullptr);
    ExpectSame(*seen.m_copy, seen.m_frame, {raw.m_main});
    EXPECT_EQ(OX3D_RGBD_FreeFrame(seen.m_copy), OX3D_RGBD_OK);
    ASSERT_EQ(Stop(), OX3D_RGBD_OK);
    EXPECT_EQ(Copy(seen.m_frame), OX3D_RGBD_E_PARAMETER) << "the camera's memory has gone with the stream";
}

} // namespace
