// What goes beyond the first interface: words for statuses, copies of frames, lenses and the ways between cameras.
#include <array>
#include <cmath>
#include <regex>
#include <set>

#include "tests/doubles/ScriptedCamera.h"

namespace {

using Bytes = std::vector<uint8_t>;

TEST(Status, OfEveryHeaderHasItsNameAndASentenceOfItsOwn) {
    const std::regex line(
        R"(#define ((?:OX3D_RGBD|OX_CC|OXB3D_BINOSTEREO|ZQA)_(?:OK|E_\w+)) (\(-\d+\)|\w+))");
    std::set<std::string> sentences;
    std::set<std::string> names;
    size_t count = 0;
    for (const char* name : {"Ox3dRgbdDefine.h", "OxCameraControl.h", "Oxb3dBinoStereo.h"}) {
        const std::string text = ReadFile(std::string(OX3D_HEADERS) + name);
        for (std::sregex_iterator i(text.begin(), text.end(), line), end; i != end; ++i) {
            const std::string digits = (*i)[2].str();
            const long long status = std::stoll(digits.substr(digits[0] == '(' ? 1 : 0), nullptr, 0);
            const std::string words = OX3D_RGBD_StatusText(static_cast<uint32_t>(status));
            const std::string own = status == 0 ? "OX3D_RGBD_OK" : (*i)[1].str();
            const std::string lead = own + ": ";
            names.insert(own);
            EXPECT_EQ(words.substr(0, lead.size()), lead);
            EXPECT_EQ(sentences.insert(words.substr(lead.size())).second, status != 0 || count == 0) << words;
            ++count;
        }
    }
    EXPECT_EQ(count, 69u);
    const std::regex row(R"(\n\| `(\w+)` (-?\w+) \| ([^|]+) \|)");
    const std::string page = ReadFile(std::string(OX3D_HEADERS) + "../../docs/troubleshooting.md");
    for (std::sregex_iterator i(page.begin(), page.end(), row), end; i != end; ++i) {
        const auto status = static_cast<uint32_t>(std::stoll((*i)[2].str(), nullptr, 0));
        EXPECT_EQ((*i)[1].str() + ": " + (*i)[3].str(), OX3D_RGBD_StatusText(status));
        names.erase((*i)[1].str());
    }
    EXPECT_EQ(names, std::set<std::string>()) << "docs/troubleshooting.md does not know them";
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
  <Left_correct><Intrins fx="300" fy="310" cx="320" cy="240"/></Left_correct>
  <Left_correct_2_RGB><RotMat r01="-1" r10="1" r22="1"/><TVec t0="20" t1="3" t2="5"/></Left_correct_2_RGB>
  <RGB><Intrins fx="600" fy="610" cx="330" cy="250"/><Distort k1="0.1" k2="-0.05" p1="0.002" p2="-0.003" k3="0.01"/></RGB>
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
        Lens numbers = {static_cast<float>(lens.nWidth), static_cast<float>(lens.nHeight)};
        numbers.resize(11);
        memcpy(&numbers[2], RecordBytes(lens).data() + 8, 9 * sizeof(float)); // fFx to fK3
        return numbers;
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
    const Lens m_ownDepth = {640, 480, 300, 310, 320, 240, 0, 0, 0, 0, 0};
    const Lens m_registered = {640, 480, 600, 610, 329.5f, 249.5f, 0, 0, 0, 0, 0};
    const Lens m_scaledColor = {640, 480, 600, 610, 330, 250, 0.1f, -0.05f, 0.002f, -0.003f, 0.01f};
    const Lens m_ownColor = {1280, 960, 1200, 1220, 660.5f, 500.5f, 0.1f, -0.05f, 0.002f, -0.003f, 0.01f};
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
    std::filesystem::remove("RGBDSensorCali_ETH1.xml");
    CRawFrame flat(640, 400); // color is that of the set's 640x480 pixels, whatever the depth has
    flat.AddColor(1280, 960);
    ASSERT_EQ(Fetch(flat), OX3D_RGBD_OK);
    EXPECT_EQ(DepthLens(), (Lens{640, 400, 300, 310, 320, 240, 0, 0, 0, 0, 0})) << "sets are read once";
    EXPECT_EQ(ColorLens(), m_ownColor);
    flat.m_info.nWidth = 0;
    ASSERT_EQ(Fetch(flat), OX3D_RGBD_OK);
    EXPECT_EQ(Refusal(OX3D_RGBD_CAMERA_DEPTH), OX3D_RGBD_E_NO_DATA) << "no size";
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
    EXPECT_EQ(OX3D_RGBD_GetExtrinsics(m_handle, 0, 1, &way), OX3D_RGBD_E_NO_DATA);
    EXPECT_EQ(OX3D_RGBD_GetExtrinsics(m_handle, 1, 0, &way), OX3D_RGBD_E_NO_DATA);
    EXPECT_EQ(RecordBytes(way), Bytes(sizeof(way), 0xAB));
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

TEST_F(Copies, TakeTheMemoryOfTheLastFetchedFrame) {
    OpenAndStart();
    SwitchOff("ImageAlign");
    SwitchOff("ResolutionAlign");
    ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
    std::vector<OX3D_RGBD_FRAME_DATA*> taken;
    std::vector<OX3D_RGBD_FRAME_DATA> frames;
    std::vector<std::vector<Bytes>> images;
    for (uint32_t number = 1; number <= 4; ++number) {
        CRawFrame raw(640, 480, number, 1000 * number);
        raw.AddColor(800, 600, static_cast<uint8_t>(number));
        ASSERT_EQ(Fetch(raw), OX3D_RGBD_OK);
        const OX3D_RGBD_FRAME_DATA frame = frames.emplace_back(m_frame);
        images.emplace_back();
        for (uint32_t i = 0; i < 3; ++i) {
            images.back().emplace_back(Image(i).pData, Image(i).pData + Image(i).nDataLen);
        }
        ASSERT_EQ(OX3D_RGBD_TakeFrame(m_handle, &m_frame, &taken.emplace_back()), OX3D_RGBD_OK);
        EXPECT_EQ(RecordBytes(m_frame), Bytes(sizeof(m_frame)));
        for (uint32_t i = 0; i < 3; ++i) {
            EXPECT_EQ(taken.back()->stImageData[i].pData, frame.stImageData[i].pData) << "moved, not copied";
        }
        EXPECT_EQ(Copy(frame), OX3D_RGBD_E_PARAMETER) << "its images are another's";
    }
    const uint32_t others[] = {OX3D_RGBD_TakeFrame(m_handle, taken[0], &m_copy), OX3D_RGBD_FreeFrame(m_copy)};
    EXPECT_EQ(others[0] | others[1], OX3D_RGBD_OK) << "a copy is copied";
    Close();
    for (size_t i = 0; i < taken.size(); ++i) {
        ExpectSame(*taken[i], frames[i], images[i]);
        EXPECT_EQ(OX3D_RGBD_FreeFrame(taken[i]), OX3D_RGBD_OK);
    }
}

TEST_F(Copies, TakeNothingThatIsNeededAgain) {
    OpenAndStart(); // registered and scaled
    CRawFrame raw(640, 480);
    raw.AddColor(800, 600);
    ASSERT_EQ(Fetch(raw), OX3D_RGBD_OK);
    const OX3D_RGBD_FRAME_DATA registered = m_frame;
    ASSERT_EQ(OX3D_RGBD_TakeFrame(m_handle, &m_frame, &m_copy), OX3D_RGBD_OK);
    EXPECT_NE(m_copy->stImageData[0].pData, registered.stImageData[0].pData) << "the conversion's";
    EXPECT_EQ(m_copy->stImageData[1].pData, registered.stImageData[1].pData);
    EXPECT_EQ(OX3D_RGBD_FreeFrame(m_copy), OX3D_RGBD_OK);
    SwitchOff("ImageAlign");
    ASSERT_EQ(Fetch(raw), OX3D_RGBD_OK);
    OX3D_RGBD_FRAME_DATA former = m_frame;
    ++raw.m_info.nFrameNum;
    ASSERT_EQ(Fetch(raw), OX3D_RGBD_OK);
    ASSERT_EQ(OX3D_RGBD_TakeFrame(m_handle, &former, &m_copy), OX3D_RGBD_OK);
    EXPECT_NE(m_copy->stImageData[0].pData, m_frame.stImageData[0].pData) << "the last frame's";
    EXPECT_EQ(OX3D_RGBD_FreeFrame(m_copy), OX3D_RGBD_OK);
}

TEST_F(Copies, AreMadeOfFramesThatTheDeviceKnowsAlone) {
    OpenAndStart();
    SwitchOff("ImageAlign");
    CRawFrame raw(64, 48);
    raw.AddColor(64, 48);
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
    const OX3D_RGBD_FRAME_DATA bare = m_frame;
    CRawFrame colorful(64, 48, 67);
    colorful.AddColor(1500, 1000);
    ASSERT_EQ(Fetch(colorful), OX3D_RGBD_OK);
    EXPECT_EQ(Copy(bare), OX3D_RGBD_E_PARAMETER) << "any buffer that grew may have been the frame's";
    const OX3D_RGBD_FRAME_DATA whole = m_frame;
    ASSERT_EQ(SetSwitch("ImageAlign", 1), OX3D_RGBD_OK);
    std::filesystem::remove("RGBDSensorCali_ETH1.xml");
    EXPECT_NE(Fetch(raw), OX3D_RGBD_OK);
    EXPECT_EQ(Copy(whole), OX3D_RGBD_E_PARAMETER) << "what failed may have overwritten it";
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

// ---- Times ---------------------------------------------------------------------------------------------------

uint64_t NowNs(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return uint64_t{1000000000} * static_cast<uint64_t>(time.tv_sec) + static_cast<uint64_t>(time.tv_nsec);
}

class Times : public Copies {
protected:
    OX3D_RGBD_FRAME_TIMES Of(const OX3D_RGBD_FRAME_DATA& frame, void* handle) {
        OX3D_RGBD_FRAME_TIMES times;
        memset(&times, 0xAB, sizeof(times));
        EXPECT_EQ(OX3D_RGBD_GetFrameTimes(handle, &frame, &times), OX3D_RGBD_OK);
        return times;
    }
    // A frame that is stamped as it is fetched, by a clock in nanoseconds.
    void FetchStamped(uint32_t number) {
        CRawFrame raw(64, 48, number);
        const uint64_t ticks = NowNs(CLOCK_MONOTONIC) + kAhead;
        raw.m_info.nDevTimeStampHigh = static_cast<uint32_t>(ticks >> 32);
        raw.m_info.nDevTimeStampLow = static_cast<uint32_t>(ticks);
        ASSERT_EQ(Fetch(raw), OX3D_RGBD_OK);
    }
    uint32_t Clock() {
        memset(&m_clock, 0xAB, sizeof(m_clock));
        return OX3D_RGBD_GetFrameClock(m_handle, &m_clock);
    }
    static constexpr uint64_t kAhead = 1000000000000; // of the device's clock
    OX3D_RGBD_FRAME_CLOCK m_clock = {};
};

TEST_F(Times, OfAFrameAreThoseOfItsArrivalAndStayWithItsCopy) {
    OpenAndStart();
    CRawFrame raw(640, 480, 7);
    raw.m_info.nDevTimeStampHigh = 3;
    const uint64_t utc = NowNs(CLOCK_REALTIME);
    const uint64_t host = NowNs(CLOCK_MONOTONIC);
    ASSERT_EQ(Fetch(raw), OX3D_RGBD_OK);
    const OX3D_RGBD_FRAME_DATA frame = m_frame;
    ASSERT_EQ(Copy(frame), OX3D_RGBD_OK);
    const OX3D_RGBD_FRAME_TIMES times = Of(frame, m_handle);
    EXPECT_TRUE(times.nArrivalUtcNs >= utc && times.nArrivalUtcNs <= NowNs(CLOCK_REALTIME));
    EXPECT_TRUE(times.nArrivalHostNs >= host && times.nArrivalHostNs <= NowNs(CLOCK_MONOTONIC));
    EXPECT_EQ(times.nTimeStamp, uint64_t{3} << 32 | raw.m_info.nDevTimeStampLow);
    EXPECT_EQ(times.nFrameNum, 7u);
    EXPECT_EQ(Bytes(times.nReserved, times.nReserved + 8), Bytes(8));
    CRawFrame next(640, 480, 8);
    ASSERT_EQ(Fetch(next), OX3D_RGBD_OK);
    EXPECT_GT(Of(m_frame, m_handle).nArrivalHostNs, times.nArrivalHostNs);
    EXPECT_EQ(RecordBytes(Of(frame, m_handle)), RecordBytes(times)) << "of the frame before";
    Close();
    OpenAndStart("USB1"); // knows nothing of the frame
    EXPECT_EQ(RecordBytes(Of(*m_copy, m_handle)), RecordBytes(times));
    OX3D_RGBD_FRAME_TIMES untouched = times;
    EXPECT_LINES(OX3D_RGBD_GetFrameTimes(m_handle, &frame, &untouched), OX3D_RGBD_E_PARAMETER,
                 "[GetFrameTimes] the frame is not known.");
    EXPECT_EQ(OX3D_RGBD_FreeFrame(m_copy), OX3D_RGBD_OK);
}

TEST_F(Times, OfCaptureAreKnownFromTheSecondFrameOn) {
    EXPECT_EQ(Clock(), OX3D_RGBD_E_HANDLE);
    OpenAndStart();
    SwitchOff("ImageAlign");
    const uint64_t begin = NowNs(CLOCK_REALTIME);
    FetchStamped(1);
    EXPECT_EQ(Of(m_frame, m_handle).nCaptureUtcNs, 0u);
    EXPECT_EQ(Of(m_frame, m_handle).nSource, OX3D_RGBD_CLOCK_NONE);
    EXPECT_EQ(LastOf(LinesOf([&] { EXPECT_EQ(Clock(), OX3D_RGBD_E_NO_DATA); })),
              "[GetFrameClock] the device's clock is not known.");
    EXPECT_EQ(RecordBytes(m_clock), Bytes(sizeof(m_clock), 0xAB)) << "nothing is written";
    for (uint32_t number = 2; number < 6; ++number) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10)); // a camera's period
        FetchStamped(number);
    }
    ASSERT_EQ(Clock(), OX3D_RGBD_OK);
    EXPECT_EQ(m_clock.dNominalNsPerTick, 1);
    EXPECT_EQ(m_clock.dDriftPpm, 0) << "the nominal rate is taken at first";
    EXPECT_EQ(m_clock.nSource, OX3D_RGBD_CLOCK_ARRIVALS) << "the answer, 640, is of no such clock";
    EXPECT_EQ(Bytes(m_clock.nReserved, m_clock.nReserved + 16), Bytes(16));
    const auto offNs = static_cast<int64_t>(m_clock.nReferenceHostNs + kAhead - m_clock.nReferenceTicks);
    EXPECT_TRUE(offNs >= 0 && static_cast<uint64_t>(offNs) <= m_clock.nErrorNs) << offNs;
    const OX3D_RGBD_FRAME_TIMES times = Of(m_frame, m_handle);
    EXPECT_EQ(times.nSource, OX3D_RGBD_CLOCK_ARRIVALS);
    EXPECT_TRUE(times.nCaptureUtcNs >= begin && times.nCaptureUtcNs <= times.nArrivalUtcNs);
    EXPECT_TRUE(times.nCaptureErrorNs > 0 && times.nCaptureErrorNs <= NowNs(CLOCK_REALTIME) - begin);
    ASSERT_EQ(Copy(m_frame), OX3D_RGBD_OK);
    CRawFrame again(64, 48, 1); // its clock began anew
    ASSERT_EQ(Fetch(again), OX3D_RGBD_OK);
    EXPECT_EQ(Of(*m_copy, m_handle).nCaptureUtcNs, times.nCaptureUtcNs);
    EXPECT_EQ(OX3D_RGBD_FreeFrame(m_copy), OX3D_RGBD_OK);
}

TEST_F(Times, OfADeviceThatCanBeAskedGoByItsAnswer) {
    OpenAndStart();
    SwitchOff("ImageAlign");
    for (uint32_t number = 1; number < 4; ++number) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        FetchStamped(number);
    }
    std::vector<uint64_t> answers; // the device's time at each of its commands
    const auto answer = [&answers](auto&&) {
        answers.push_back(NowNs(CLOCK_MONOTONIC) + kAhead);
        const auto ticks = static_cast<int64_t>(answers.back());
        Answer(DOUBLE_OX_CC_GetIntValueEx, OX_CC_INT_VALUE_EX{ticks, INT64_MAX, 0, 1});
    };
    answer(0);
    OnCall(DOUBLE_OX_CC_SetCommandValue, 0, answer);
    for (const bool isOld : {false, true}) {
        if (isOld) {
            Fail(DOUBLE_OX_CC_GetIntValueEx, OX_CC_E_SUPPORT,
                 Double().CallCount(DOUBLE_OX_CC_GetIntValueEx) + 1);
        }
        const Lines calls = CallsOf([&] { ASSERT_EQ(Clock(), OX3D_RGBD_OK); });
        const std::string command = isOld ? "OX_CC_SetCommandValue(GevTimestampControlLatch)"
                                          : "OX_CC_SetCommandValue(TimestampLatch)";
        EXPECT_EQ(std::count(calls.begin(), calls.end(), command), 3);
        EXPECT_EQ(m_clock.nSource, OX3D_RGBD_CLOCK_LATCH);
        EXPECT_EQ(m_clock.nDelayNs, 0u);
        EXPECT_NE(std::count(answers.begin(), answers.end(), m_clock.nReferenceTicks), 0);
        EXPECT_EQ(Of(m_frame, m_handle).nSource, OX3D_RGBD_CLOCK_LATCH);
    }
    EXPECT_EQ(CallsOf([&] { Of(m_frame, m_handle); }), Lines()) << "the times of a frame ask nobody";
}

// ---- Clouds --------------------------------------------------------------------------------------------

struct Colored {
    double m_numbers[3]; // X, Y, Z
    uint32_t m_rgba;
    bool m_isSharp; // the color is not decided by the last digit
};

// A frame of holes, steps and depths that are none, on cameras that differ in everything.
class Clouds : public Geometry {
protected:
    void Fetch(const char* serial, bool isAligned, bool isScaled) {
        OpenAndStart(serial);
        ASSERT_EQ(SetSwitch("ImageAlign", isAligned ? 1 : 0), OX3D_RGBD_OK);
        ASSERT_EQ(SetSwitch("ResolutionAlign", isScaled ? 1 : 0), OX3D_RGBD_OK);
        for (size_t i = 0; i < m_raw.m_main.size() / 2; ++i) {
            const size_t u = i % 640;
            const auto depth = static_cast<uint16_t>(u % 50 == 3   ? 0
                                                     : u % 90 == 7 ? 40000
                                                                   : 800 + 300 * (u / 100) + i / 6400);
            memcpy(&m_raw.m_main[2 * i], &depth, sizeof(depth));
        }
        const uint16_t farthest = 32767;
        memcpy(&m_raw.m_main[0], &farthest, sizeof(farthest));
        m_raw.AddColor(800, 600);
        ASSERT_EQ(CScripted::Fetch(m_raw), OX3D_RGBD_OK);
    }
    uint32_t Map(const OX3D_RGBD_CLOUD_OPTIONS& options) {
        memset(&m_cloud, 0xAB, sizeof(m_cloud));
        return OX3D_RGBD_MapFrameToPointCloud(m_handle, &m_frame, &options, &m_cloud);
    }
    // What the frame's pixel is, by what the library says of its lenses. `seen`: the camera of the depth image.
    Colored PointOf(uint32_t u, uint32_t v, uint32_t seen, uint32_t camera) const {
        uint16_t depth = 0;
        memcpy(&depth, Image(0).pData + 2 * (size_t{v} * 640 + u), sizeof(depth));
        Colored point = {{(u - m_depthLens.fCx) / m_depthLens.fFx * depth,
                          (v - m_depthLens.fCy) / m_depthLens.fFy * depth, static_cast<double>(depth)},
                         0,
                         true};
        if (depth == 0 || depth > 32767) {
            return {{0, 0, 0}, 0, true};
        }
        double inColor[3];
        Transform(seen, OX3D_RGBD_CAMERA_COLOR, point.m_numbers, inColor);
        Look(inColor, &point);
        double moved[3];
        Transform(seen, camera, point.m_numbers, moved);
        memcpy(point.m_numbers, moved, sizeof(moved));
        return point;
    }
    void Transform(uint32_t from, uint32_t to, const double* point, double* out) const {
        const OX3D_RGBD_EXTRINSICS& way = m_ways[from][to];
        for (int row = 0; row < 3; ++row) {
            const float* const r = &way.fRotation[3 * row];
            out[row] = r[0] * point[0] + r[1] * point[1] + r[2] * point[2] + way.fTranslation[row];
        }
    }
    void Look(const double* p, Colored* point) const {
        const OX3D_RGBD_INTRINSICS& k = m_colorLens;
        const double x = p[0] / p[2];
        const double y = p[1] / p[2];
        const double r2 = x * x + y * y;
        const double q = 1 + k.fK1 * r2 + k.fK2 * r2 * r2 + k.fK3 * r2 * r2 * r2;
        const double u = k.fFx * (x * q + 2 * k.fP1 * x * y + k.fP2 * (r2 + 2 * x * x)) + k.fCx;
        const double v = k.fFy * (y * q + 2 * k.fP2 * x * y + k.fP1 * (r2 + 2 * y * y)) + k.fCy;
        const auto isHalf = [](double at) { return std::abs(at - 1.0 / 256 - std::floor(at) - 0.5) < 0.002; };
        point->m_isSharp = !isHalf(u) && !isHalf(v);
        const double column = std::round(u - 1.0 / 256); // of two as near, the left one
        const double row = std::round(v - 1.0 / 256);
        if (p[2] > 0 && column >= 0 && row >= 0 && column < k.nWidth && row < k.nHeight) {
            const size_t plane = size_t{k.nWidth} * k.nHeight;
            const uint8_t* const red =
                Image(1).pData + static_cast<size_t>(row) * k.nWidth + static_cast<size_t>(column);
            point->m_rgba = red[0] | uint32_t{red[plane]} << 8 | uint32_t{red[2 * plane]} << 16 | 0xFF000000u;
        }
    }
    void ReadLenses() {
        ASSERT_EQ(OX3D_RGBD_GetIntrinsics(m_handle, OX3D_RGBD_CAMERA_DEPTH, &m_depthLens), OX3D_RGBD_OK);
        ASSERT_EQ(OX3D_RGBD_GetIntrinsics(m_handle, OX3D_RGBD_CAMERA_COLOR, &m_colorLens), OX3D_RGBD_OK);
        for (uint32_t i = 0; i < 4; ++i) {
            ASSERT_EQ(OX3D_RGBD_GetExtrinsics(m_handle, i / 2, i % 2, &m_ways[i / 2][i % 2]), OX3D_RGBD_OK);
        }
    }
    // Whether point i of the cloud is the one that is expected.
    bool Is(uint32_t i, const Colored& expected) const {
        const bool isFloat = m_cloud.nFormat == OX3D_RGBD_CLOUD_FLOAT32;
        const auto* const bytes =
            static_cast<const uint8_t*>(m_cloud.pPoints) + size_t{i} * m_cloud.nPointStride;
        for (int axis = 0; axis < 3; ++axis) {
            float number = 0;
            int16_t rounded = 0;
            memcpy(&number, bytes + (isFloat ? 4 * axis : 0), sizeof(number));
            memcpy(&rounded, bytes + 2 * axis, sizeof(rounded));
            const double wanted = expected.m_numbers[axis];
            if (std::abs((isFloat ? number : rounded) - wanted) >
                (isFloat ? 1e-6 * std::abs(wanted) + 0.01 : 0.51)) {
                return false;
            }
        }
        uint32_t rgba = expected.m_rgba;
        if (m_cloud.pColors != nullptr) {
            memcpy(&rgba, m_cloud.pColors + size_t{i} * m_cloud.nColorStride, sizeof(rgba));
        }
        return rgba == expected.m_rgba || !expected.m_isSharp;
    }
    // Compares all of the last cloud; returns the number of its points that have a color.
    size_t Compare(uint32_t seen, const OX3D_RGBD_CLOUD_OPTIONS& options) const {
        const bool isCompact = options.nLayout == OX3D_RGBD_CLOUD_VALID;
        uint32_t valid = 0;
        uint32_t wrong = 0;
        size_t colored = 0;
        for (uint32_t i = 0; i < 640 * 480; ++i) {
            Colored point = PointOf(i % 640, i / 640, seen, options.nCamera);
            const bool isFar = std::max(std::abs(point.m_numbers[0]), std::abs(point.m_numbers[1])) > 32767;
            if (isFar && options.nFormat == OX3D_RGBD_CLOUD_INT16) {
                point = {};
            }
            const bool isValid = point.m_numbers[2] != 0;
            wrong += (isValid || !isCompact) && !Is(isCompact ? valid : i, point) ? 1 : 0;
            colored += point.m_rgba != 0 ? 1 : 0;
            valid += isValid ? 1 : 0;
        }
        EXPECT_EQ(wrong, 0u);
        EXPECT_EQ(m_cloud.nValid, valid);
        EXPECT_EQ(m_cloud.nCount, isCompact ? valid : 640u * 480);
        EXPECT_EQ(m_cloud.nWidth * m_cloud.nHeight, m_cloud.nCount);
        return colored;
    }
    CRawFrame m_raw{640, 480, 9};
    OX3D_RGBD_CLOUD m_cloud = {};
    OX3D_RGBD_INTRINSICS m_depthLens = {};
    OX3D_RGBD_INTRINSICS m_colorLens = {};
    OX3D_RGBD_EXTRINSICS m_ways[2][2] = {};
};

TEST_F(Clouds, AreRightUnderEverySwitchAndOnUsb) {
    for (const int row : {0, 1, 2, 3, 4}) {
        SCOPED_TRACE(row);
        Fetch(row == 4 ? "USB1" : "ETH1", row % 2 == 0, row < 2);
        ReadLenses();
        const uint32_t seen = row == 0 || row == 2 ? OX3D_RGBD_CAMERA_COLOR : OX3D_RGBD_CAMERA_DEPTH;
        EXPECT_EQ(m_depthLens.fFx, seen == OX3D_RGBD_CAMERA_COLOR ? 600 : 300);
        EXPECT_EQ(m_colorLens.nWidth, row < 2 ? 640u : 800u);
        for (uint32_t camera : {OX3D_RGBD_CAMERA_DEPTH, OX3D_RGBD_CAMERA_COLOR}) {
            const OX3D_RGBD_CLOUD_OPTIONS options = {camera, 0, 0, OX3D_RGBD_CLOUD_COLOR_BESIDE, 0, {}};
            ASSERT_EQ(Map(options), OX3D_RGBD_OK);
            EXPECT_GT(Compare(seen, options), 1000u);
        }
        Close();
    }
}

TEST_F(Clouds, HaveTheColorsThatAreMovedToDepthThatIsLowerThanItsSet) {
    OpenAndStart();
    ASSERT_EQ(SetSwitch(OX3D_RGBD_KEY_ALIGN_TARGET, 1), OX3D_RGBD_OK);
    CRawFrame flat(640, 400);
    Bytes& color = flat.AddColor(1000, 750);
    for (size_t i = 0; i < 750000; ++i) {
        color[32 + i] = static_cast<uint8_t>(i / 3000); // red is a third of the row
    }
    ASSERT_EQ(CScripted::Fetch(flat), OX3D_RGBD_OK);
    const Bytes moved(Image(1).pData, Image(1).pData + 640 * 400);
    SwitchOff("ImageAlign");
    ASSERT_EQ(CScripted::Fetch(flat), OX3D_RGBD_OK);
    ASSERT_EQ(Map({0, 0, 0, OX3D_RGBD_CLOUD_COLOR_BESIDE, 0, {}}), OX3D_RGBD_OK);
    size_t same = 0;
    for (size_t i = 0; i < moved.size(); ++i) {
        same += std::abs(moved[i] - m_cloud.pColors[4 * i]) <= 2 ? 1 : 0;
    }
    EXPECT_GT(same, moved.size() / 100 * 95);
}

TEST_F(Clouds, HaveTheFormThatIsAskedFor) {
    Fetch("ETH1", false, true);
    ReadLenses();
    for (uint32_t i = 0; i < 24; ++i) {
        const uint32_t color = i / 4 % 3;
        const OX3D_RGBD_CLOUD_OPTIONS options = {OX3D_RGBD_CAMERA_COLOR, i % 2, i / 2 % 2, color, i / 12, {}};
        SCOPED_TRACE(i);
        ASSERT_EQ(SetSwitch(OX3D_RGBD_KEY_THREADS, 1 + i % 3), OX3D_RGBD_OK);
        ASSERT_EQ(Map(options), OX3D_RGBD_OK);
        Compare(OX3D_RGBD_CAMERA_DEPTH, options);
        EXPECT_EQ((std::vector{m_cloud.nFrameNum, m_cloud.nCamera, m_cloud.nFormat, m_cloud.nLayout,
                               m_cloud.nColor}),
                  (std::vector<uint32_t>{9, 1, i % 2, i / 2 % 2, color}));
        EXPECT_EQ(m_cloud.nTimeStamp, 0x200000003u);
        EXPECT_EQ(m_cloud.nPointStride, (color == 2 ? std::array{16u, 12u} : std::array{12u, 6u})[i % 2]);
        EXPECT_EQ(m_cloud.nColorStride, (std::array{0u, 4u, m_cloud.nPointStride})[color]);
        EXPECT_EQ(m_cloud.nNormalStride, i / 12 * 12);
        EXPECT_EQ(m_cloud.pColors == nullptr, color == 0);
        EXPECT_EQ(m_cloud.pNormals == nullptr, i < 12);
        EXPECT_EQ(Bytes(m_cloud.nReserved, m_cloud.nReserved + 16), Bytes(16));
    }
}

TEST_F(Clouds, HaveNormalsOfWhatIsAroundAPixelOnItsOwnSurface) {
    OpenAndStart();
    SwitchOff("ImageAlign");
    CRawFrame raw(640, 480);
    const auto put = [&](size_t u, size_t v, uint16_t depth) {
        memcpy(&raw.m_main[2 * (640 * v + u)], &depth, 2);
    };
    for (size_t v = 0; v < 480; ++v) {
        put(300, v, 5000); // a wall behind, one column wide
        put(500, v, 0);
        put(502, v, 0);
    }
    put(501, 99, 0);
    put(501, 101, 0);
    ASSERT_EQ(CScripted::Fetch(raw), OX3D_RGBD_OK);
    ASSERT_EQ(Map({0, 0, 0, 0, 1, {}}), OX3D_RGBD_OK);
    const auto normal = [&](size_t u, size_t v) {
        const float* const n = m_cloud.pNormals + 3 * (640 * v + u);
        return std::vector<float>{n[0] + 0.0f, n[1] + 0.0f, n[2] + 0.0f};
    };
    const std::vector<float> ahead = {0, 0, -1};
    for (const size_t u : {0, 100, 299, 301, 499, 639}) {
        for (const size_t v : {0, 200, 479}) {
            EXPECT_EQ(normal(u, v), ahead) << u << " " << v;
        }
    }
    const std::vector<float> none = {0, 0, 0};
    EXPECT_EQ(normal(300, 200), none) << "nothing beside it";
    EXPECT_EQ(normal(500, 200), none);
    EXPECT_EQ(normal(501, 100), none);
}

TEST_F(Clouds, OfACopyAreThoseOfItsFrameOnAnyDevice) {
    Fetch("ETH1", true, true);
    const OX3D_RGBD_CLOUD_OPTIONS options = {0, 0, 0, 1, 0, {}};
    OX3D_RGBD_FRAME_DATA* copy = nullptr;
    ASSERT_EQ(OX3D_RGBD_CopyFrame(m_handle, &m_frame, &copy), OX3D_RGBD_OK);
    ASSERT_EQ(Map(options), OX3D_RGBD_OK);
    const auto bytes = [&] {
        const auto* const points = static_cast<const uint8_t*>(m_cloud.pPoints);
        Bytes all(points, points + size_t{12} * m_cloud.nCount);
        all.insert(all.end(), m_cloud.pColors, m_cloud.pColors + size_t{4} * m_cloud.nCount);
        return all;
    };
    const Bytes before = bytes();
    Close();
    Open("USB1");
    ASSERT_EQ(OX3D_RGBD_MapFrameToPointCloud(m_handle, copy, &options, &m_cloud), OX3D_RGBD_OK);
    EXPECT_TRUE(bytes() == before);
    EXPECT_EQ(Map(options), OX3D_RGBD_E_PARAMETER) << "the frame itself is another device's";
    ++copy->stImageData[0].nHeight;
    EXPECT_EQ(OX3D_RGBD_MapFrameToPointCloud(m_handle, copy, &options, &m_cloud), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(OX3D_RGBD_FreeFrame(copy), OX3D_RGBD_OK);
}

TEST_F(Clouds, OfWhatCannotBeMappedAreRefusedAndNothingIsWritten) {
    OpenAndStart();
    SwitchOff("ImageAlign");
    SwitchOff("ResolutionAlign");
    const auto refusal = [&](CRawFrame& raw, uint32_t color) {
        EXPECT_EQ(CScripted::Fetch(raw), OX3D_RGBD_OK);
        const uint32_t status = Map({0, 0, 0, color, 0, {}});
        EXPECT_EQ(RecordBytes(m_cloud), Bytes(sizeof(m_cloud), 0xAB));
        return status;
    };
    CRawFrame bare(640, 480);
    EXPECT_EQ(refusal(bare, 1), OX3D_RGBD_E_NO_DATA) << "no color";
    CRawFrame odd(640, 480);
    odd.AddChunk(OX_CHUNK_EXTENDED_IMAGE, 32, 64, 48, 64 * 48 * 3 - 1);
    EXPECT_EQ(refusal(odd, 1), OX3D_RGBD_E_PARAMETER) << "short color";
    CRawFrame wide(640, 480);
    wide.AddChunk(OX_CHUNK_EXTENDED_IMAGE, 32, 0x10000, 0x10000, 100);
    EXPECT_EQ(refusal(wide, 2), OX3D_RGBD_E_PARAMETER);
    CRawFrame shortDepth(640, 480);
    shortDepth.m_info.nFrameLen -= 1;
    EXPECT_EQ(refusal(shortDepth, 0), OX3D_RGBD_E_PARAMETER);
    CRawFrame other(640, 480);
    other.m_info.enPixelType = 0x01100007;
    EXPECT_EQ(refusal(other, 0), OX3D_RGBD_E_NO_DATA);
    CRawFrame large(1280, 720); // whose rotation is none, which only matters to the other camera
    EXPECT_EQ(CScripted::Fetch(large), OX3D_RGBD_OK);
    EXPECT_EQ(Map({OX3D_RGBD_CAMERA_COLOR, 0, 0, 0, 0, {}}), OX3D_RGBD_E_NO_DATA);
    EXPECT_EQ(Map({}), OX3D_RGBD_OK);
    Close();
    Double().SetFile("RGBDSensorCali", "<A/>");
    OpenAndStart();
    SwitchOff("ImageAlign");
    EXPECT_EQ(refusal(bare, 0), OX3D_RGBD_E_NO_DATA) << "no calibration";
    EXPECT_EQ(Refusal(OX3D_RGBD_CAMERA_DEPTH), OX3D_RGBD_E_NO_DATA);
    OX3D_RGBD_FRAME_DATA* copy = nullptr;
    EXPECT_LINES(OX3D_RGBD_CopyFrame(m_handle, &m_frame, &copy), OX3D_RGBD_OK); // does not look again
    EXPECT_EQ(OX3D_RGBD_FreeFrame(copy), OX3D_RGBD_OK);
    Close();
    Double().SetFile("RGBDSensorCali",
                     R"(<A><RGBD_1><Camera img_w="640" img_h="-480"/><Left_correct><Intrins/></Left_correct>
  <Left_correct_2_RGB><RotMat/><TVec/></Left_correct_2_RGB><RGB><Intrins/><Distort/></RGB></RGBD_1></A>)");
    OpenAndStart();
    SwitchOff("ImageAlign");
    EXPECT_EQ(refusal(bare, 0), OX3D_RGBD_E_NO_DATA) << "zeros";
    EXPECT_EQ(Refusal(OX3D_RGBD_CAMERA_DEPTH), OX3D_RGBD_E_NO_DATA);
}

} // namespace
