// Scan3dNetworkTest.cpp - cameras of GenICam's 3D model, and one without depth, through the public interface: the same
// still scene as the library's own kind of camera shows, over each way that such cameras have.
#include <gtest/gtest.h>

#include <arv.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "tests/support/Files.h"
#include "tests/support/Process.h"
#include <ox3drgbd/Ox3dRgbdApi.h>
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <ox3drgbd/Ox3dRgbdImgProc.h>

using namespace ox3d::test;

namespace {

constexpr uint32_t kTimeoutMs = 20000; // a sanitizer on a busy machine is slow
constexpr uint32_t kFrames = 3;

// Cameras 127.0.0.1, 127.0.0.2 ... in the order of their keys; every one shows the same frame over and over.
class CCameras {
public:
    explicit CCameras(const std::vector<std::string>& cameras) : m_process(Command(cameras), ".") {
        EXPECT_TRUE(m_process.WaitForOutput("\nready\n")) << m_process.Output();
    }

private:
    static std::vector<std::string> Command(const std::vector<std::string>& cameras) {
        std::vector<std::string> command = {OX3D_VIRTUAL_CAMERA, "--kind", "sfnc3d"};
        for (const std::string& keys : cameras) {
            command.insert(command.end(), {"--camera", kSmall + keys + ",cycle=1,fps=20"});
        }
        return command;
    }

    static inline const std::string kSmall = "color_width=640,color_height=480,"; // rendered quickly

    CProcess m_process;
};

class CDevice {
public:
    explicit CDevice(const char* serial) {
        EXPECT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&m_handle, serial), OX3D_RGBD_OK) << serial;
    }
    ~CDevice() { EXPECT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK); }
    CDevice(const CDevice&) = delete;
    CDevice& operator=(const CDevice&) = delete;

    void* Handle() const { return m_handle; }
    std::string Text(const char* key) const {
        OX3D_RGBD_PARAM value{};
        EXPECT_EQ(OX3D_RGBD_GetParam(m_handle, key, &value), OX3D_RGBD_OK) << key;
        return value.stStringParam.chCurValue;
    }
    void SwitchOff(const char* key) const {
        OX3D_RGBD_PARAM value{};
        value.enParamType = OX3D_RGBD_PARAM_INT;
        EXPECT_EQ(OX3D_RGBD_SetParam(m_handle, key, &value), OX3D_RGBD_OK) << key;
    }
    void Choose(const char* key, const char* entry) const {
        EXPECT_EQ(OX3D_RGBD_SetEnumByName(m_handle, key, entry), OX3D_RGBD_OK) << key << " " << entry;
    }
    uint32_t Fetch(OX3D_RGBD_FRAME_DATA* frame, uint32_t timeoutMs = kTimeoutMs) const {
        return OX3D_RGBD_FetchFrame(m_handle, frame, timeoutMs);
    }

private:
    void* m_handle = nullptr;
};

// What an application gets of a camera.
struct Seen {
    uint32_t m_width = 0;
    uint32_t m_images = 0;
    std::vector<uint16_t> m_depth;
    std::vector<uint8_t> m_color;
    std::vector<float> m_points; // empty where there are none
    OX3D_RGBD_CALIB_INFO m_lens{};
};

template <typename T>
std::vector<T> Copy(const OX3D_RGBD_IMAGE_DATA& image) {
    std::vector<T> values(image.nDataLen / sizeof(T));
    std::memcpy(values.data(), image.pData, values.size() * sizeof(T));
    return values;
}

Seen Look(const CDevice& device) {
    Seen seen;
    OX3D_RGBD_FRAME_DATA frame;
    EXPECT_EQ(OX3D_RGBD_Start(device.Handle()), OX3D_RGBD_OK);
    uint32_t last = 0; // a busy machine may lose some: that none has to be lost is another test's
    for (uint32_t taken = 0; taken < kFrames; ++taken) {
        if (device.Fetch(&frame) != OX3D_RGBD_OK) {
            ADD_FAILURE() << "no frame after " << last;
            return seen;
        }
        EXPECT_GT(frame.stImageData[0].nFrameNum, last);
        last = frame.stImageData[0].nFrameNum;
    }
    seen.m_images = frame.nImageCount;
    seen.m_width = frame.stImageData[0].nWidth;
    EXPECT_EQ(frame.stImageData[0].enImageType, OX3D_RGBD_PIXEL_DEPTH16);
    seen.m_depth = Copy<uint16_t>(frame.stImageData[0]);
    if (frame.nImageCount > 1) {
        EXPECT_EQ(frame.stImageData[1].enImageType, OX3D_RGBD_PIXEL_RGB8_PLANAR);
        seen.m_color = Copy<uint8_t>(frame.stImageData[1]);
    }
    OX3D_RGBD_IMAGE_DATA points{};
    if (OX3D_RGBD_MapDepthToPointCloud(device.Handle(), &frame.stImageData[0], &points) == OX3D_RGBD_OK) {
        seen.m_points = Copy<float>(points);
    }
    OX3D_RGBD_GetCalibInfo(device.Handle(), OX3D_RGBD_CALIB_DEPTH, &seen.m_lens);
    EXPECT_EQ(OX3D_RGBD_Stop(device.Handle()), OX3D_RGBD_OK);
    return seen;
}

// Registration is left on for cameras of the 3D model, which have none.
Seen LookAt(const char* serial, bool isColorScaled = true) {
    const CDevice device(serial);
    if (std::string(serial) == "NATIVE") {
        device.SwitchOff(OX3D_RGBD_KEY_IMAGE_ALIGN);
    }
    if (!isColorScaled) {
        device.SwitchOff(OX3D_RGBD_KEY_RESOLUTION_ALIGN);
    }
    return Look(device);
}

void ExpectSameDepth(const Seen& native, const Seen& seen, int toleranceMm = 1) {
    ASSERT_EQ(seen.m_depth.size(), native.m_depth.size());
    size_t valid = 0;
    size_t shared = 0;
    int worst = 0;
    for (size_t i = 0; i < native.m_depth.size(); ++i) {
        valid += native.m_depth[i] != 0 ? 1 : 0;
        if (native.m_depth[i] != 0 && seen.m_depth[i] != 0) {
            ++shared;
            worst = std::max(worst, std::abs(native.m_depth[i] - seen.m_depth[i]));
        } else {
            ASSERT_TRUE(native.m_depth[i] != 0 || seen.m_depth[i] == 0) << "depth at " << i << " of nothing";
        }
    }
    EXPECT_GT(valid, native.m_depth.size() / 2);
    EXPECT_GT(100 * shared, 99 * valid);
    EXPECT_LE(worst, toleranceMm) << "mm";
}

void ExpectSameLens(const Seen& native, const Seen& seen) {
    for (const auto& field : {&OX3D_RGBD_CALIB_INFO::fFx, &OX3D_RGBD_CALIB_INFO::fFy,
                              &OX3D_RGBD_CALIB_INFO::fCx, &OX3D_RGBD_CALIB_INFO::fCy}) {
        EXPECT_NEAR(seen.m_lens.*field, native.m_lens.*field, native.m_lens.*field * 1e-3F);
    }
}

void ExpectSamePoints(const Seen& native, const Seen& seen) {
    ASSERT_EQ(seen.m_points.size(), native.m_points.size());
    std::vector<float> off;
    for (size_t i = 0; i < native.m_points.size(); ++i) {
        if (native.m_depth[i / 3] != 0 && seen.m_depth[i / 3] != 0) {
            off.push_back(std::abs(native.m_points[i] - seen.m_points[i]));
        }
    }
    ASSERT_FALSE(off.empty());
    const auto middle = off.begin() + static_cast<std::ptrdiff_t>(off.size() / 2);
    std::nth_element(off.begin(), middle, off.end());
    EXPECT_LE(*middle, 0.1F) << "mm, the median of a coordinate";
    EXPECT_LE(*std::max_element(middle, off.end()), 1.5F) << "mm of a coordinate";
}

struct Variant {
    const char* m_serial;
    const char* m_keys;
    uint32_t m_images; // of a frame
};

constexpr Variant kVariants[] = {{"PARTS", "", 2},
                                 {"ALONE", "intensity=none", 1},
                                 {"GREY", "intensity=grey,confidence=yes", 2},
                                 {"SURE", "invalid=confidence,confidence=yes", 2},
                                 {"BLOCKS", "parts=blocks,intensity=grey,confidence=yes", 2},
                                 {"STEREO", "depth=disparity,intensity=grey", 2},
                                 {"POINTS", "depth=points", 2},
                                 {"METRES", "unit=meter", 2},
                                 {"INCHES", "unit=inch,scale=-0.1,offset=6553.5", 2},
                                 {"UNTOLD", "unit=untold,parts=blocks", 2},
                                 {"MAPS", "lens=maps,intensity=none", 1},
                                 {"MAPBLOCKS", "lens=maps,parts=blocks,confidence=yes", 2},
                                 {"FITTED", "lens=untold,intensity=grey", 2},
                                 {"POINTFIT", "lens=untold,depth=points,parts=blocks", 2},
                                 {"ELSEWHERE", "reference=choice,intensity=none", 1},
                                 {"MOVED", "reference=transformed,unit=meter,intensity=none", 1}};

TEST(Scan3dNetwork, GivesTheSameSceneOverEveryWayThatSuchCamerasHave) {
    std::vector<std::string> keys = {"serial=NATIVE,kind=native"};
    for (const Variant& variant : kVariants) {
        const std::string own = variant.m_keys;
        keys.push_back(std::string("serial=") + variant.m_serial + (own.empty() ? "" : ",") + own);
    }
    const CCameras cameras(keys);
    const Seen native = LookAt("NATIVE");
    ASSERT_FALSE(native.m_points.empty());
    for (const Variant& variant : kVariants) {
        SCOPED_TRACE(variant.m_serial);
        const Seen seen = LookAt(variant.m_serial);
        EXPECT_EQ(seen.m_images, variant.m_images);
        ExpectSameDepth(native, seen);
        ExpectSameLens(native, seen);
        ExpectSamePoints(native, seen);
        const bool isColor = std::string(variant.m_keys).find("grey") == std::string::npos;
        EXPECT_TRUE(!isColor || seen.m_images == 1 || seen.m_color == native.m_color);
    }
}

// Of an eighth and a quarter of the values, depth has steps of so many millimetres. Color behind a mosaic loses what is finer.
TEST(Scan3dNetwork, GivesDepthAndColorInThePixelFormatThatTheApplicationChooses) {
    const CCameras cameras({"serial=NATIVE,kind=native", "serial=FORMATS,scale=0.2"});
    const Seen native = LookAt("NATIVE");
    const CDevice device("FORMATS");
    const struct {
        const char* m_component;
        const char* m_format;
        int m_toleranceMm;
    } kRows[] = {{"Range", "Coord3D_C32f", 1},          {"Range", "Coord3D_C12p", 2},
                 {"Range", "Coord3D_C10p", 7},          {"Range", "Coord3D_ABC16", 1},
                 {"Range", "Coord3D_ABC32f_Planar", 1},
#ifdef OX3D_HAS_BAYER
                 {"Intensity", "BayerRG8", 1},          {"Intensity", "BayerRG10p", 1},
                 {"Intensity", "BayerRG12Packed", 1},
#endif
                 {"Intensity", "YUV422_8_UYVY", 1}};
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.m_format);
        device.Choose("ComponentSelector", row.m_component);
        device.Choose("PixelFormat", row.m_format);
        const Seen seen = Look(device);
        ExpectSameDepth(native, seen, row.m_toleranceMm);
        device.Choose("ComponentSelector", "Range");
        device.Choose("PixelFormat", "Coord3D_C16");
        ASSERT_EQ(seen.m_color.size(), native.m_color.size());
        double off = 0;
        for (size_t i = 0; i < seen.m_color.size(); ++i) {
            off += std::abs(seen.m_color[i] - native.m_color[i]);
        }
        EXPECT_LE(off / static_cast<double>(seen.m_color.size()), 4.0) << "of 255";
    }
}

TEST(Scan3dNetwork, IsRegisteredByTheUsersCalibrationWhereTheCameraDoesNotTellWhereColorIsTakenFrom) {
    const CCameras cameras({"serial=OWN,kind=native", "serial=USERS", "serial=TOLD,intensity=none"});
    CTempFolder folder;
    setenv("OX3D_CALIBRATION_DIR", folder.Path().c_str(), 1);
    const Seen own = LookAt("OWN");
    for (const char* name : {"USERS.xml", "TOLD.xml"}) {
        std::filesystem::copy_file("RGBDSensorCali_OWN.xml", folder.File(name));
    }
    const Seen users = LookAt("USERS");
    const Seen told = LookAt("TOLD");
    unsetenv("OX3D_CALIBRATION_DIR");
    EXPECT_EQ(ReadFile("RGBDSensorCali_USERS.xml"), ReadFile("RGBDSensorCali_OWN.xml"));
    EXPECT_NE(ReadFile("RGBDSensorCali_TOLD.xml"), ReadFile("RGBDSensorCali_OWN.xml"))
        << "its features say all";
    ASSERT_EQ(users.m_depth.size(), own.m_depth.size());
    ASSERT_EQ(told.m_depth.size(), own.m_depth.size());
    const auto alike = [&](const Seen& seen) { // a tenth of a millimetre can move a point to the next pixel
        size_t count = 0;
        for (size_t i = 0; i < own.m_depth.size(); ++i) {
            count += std::abs(own.m_depth[i] - seen.m_depth[i]) <= 1 ? 1 : 0;
        }
        return 100 * count / own.m_depth.size();
    };
    EXPECT_GE(alike(users), 98U) << "per cent of the registered pixels";
    EXPECT_LT(alike(told), 90U) << "it is not registered";
}

TEST(Scan3dNetwork, BringsLargePartsWithoutLoss) {
    const std::string size = "width=1280,height=720,color_width=1920,color_height=1080";
    const CCameras cameras({"serial=NATIVE,kind=native," + size, "serial=LARGE,confidence=yes," + size});
    const Seen native = LookAt("NATIVE", false);
    const Seen seen = LookAt("LARGE", false);
    EXPECT_EQ(seen.m_width, 1280U);
    ExpectSameDepth(native, seen);
    ExpectSameLens(native, seen);
    EXPECT_EQ(seen.m_color, native.m_color);
}

TEST(Scan3dNetwork, GivesDepthWithoutPointsWhereColumnsFollowNoLens) {
    const CCameras cameras({"serial=RASTER,depth=rectified"});
    const Seen seen = LookAt("RASTER");
    EXPECT_EQ(seen.m_images, 2U);
    EXPECT_TRUE(std::any_of(seen.m_depth.begin(), seen.m_depth.end(), [](uint16_t mm) { return mm != 0; }));
    EXPECT_TRUE(seen.m_points.empty());
    EXPECT_EQ(seen.m_lens.fFx, 0.0F);
}

// Where C counts from at the camera, which nobody has opened.
double TransformAt(const char* address) {
    ArvCamera* const camera = arv_camera_new(address, nullptr);
    EXPECT_NE(camera, nullptr);
    arv_camera_set_string(camera, "Scan3dTransformSelector", "TranslationZ", nullptr);
    const double value = arv_camera_get_float(camera, "Scan3dTransformValue", nullptr);
    g_object_unref(camera);
    return value;
}

size_t Lines(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(Scan3dNetwork, TakesNoDepthOfATransformedSystemAndTellsWhatACameraRefuses) {
    const CCameras cameras({"serial=MOVED,reference=transformed",
                            "serial=FIXED,reference=transformed,confidence=yes,fault=deny_setup",
                            "serial=STUBBORN,confidence=yes,fault=deny_setup"});
    const auto openAndStart = [](const char* serial, uint32_t code) {
        testing::internal::CaptureStderr();
        {
            const CDevice device(serial);
            EXPECT_EQ(OX3D_RGBD_Start(device.Handle()), code) << serial;
            OX3D_RGBD_FRAME_DATA frame;
            if (code == OX3D_RGBD_OK) {
                EXPECT_EQ(device.Fetch(&frame), OX3D_RGBD_OK) << serial;
                EXPECT_EQ(frame.nImageCount, serial[0] == 'M' ? 2U : 1U);
            }
        }
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(Lines(openAndStart("MOVED", OX3D_RGBD_OK), "refuses"), 0U);
    EXPECT_EQ(TransformAt("127.0.0.1"), 250.0) << "it is put back";
    const std::string fixed = openAndStart("FIXED", OX3D_RGBD_E_CAMERA);
    EXPECT_EQ(Lines(fixed, "no depth from this camera: its coordinates are those of a transformed"), 1U)
        << fixed;
    const std::string stubborn = openAndStart("STUBBORN", OX3D_RGBD_OK);
    for (const char* line :
         {"refuses on for ComponentEnable of Intensity, which stays off",
          "refuses on for ComponentEnable of Confidence", "refuses On for GevGVSPExtendedIDMode"}) {
        EXPECT_EQ(Lines(stubborn, line), 1U) << stubborn;
    }
}

TEST(Scan3dNetwork, LosesFramesThatLieAndGoesOn) {
    const CCameras cameras({"serial=SCALE,fault=scale_zero",
                            "serial=LIAR,fault=part_length 999999999,fault=bad_every 3",
                            "serial=ASTRAY,fault=part_shift 100000,fault=bad_every 3"});
    const char* const kLost = "a frame counts as lost";
    OX3D_RGBD_FRAME_DATA frame;
    {
        const CDevice device("SCALE");
        testing::internal::CaptureStderr();
        EXPECT_EQ(OX3D_RGBD_Start(device.Handle()), OX3D_RGBD_OK);
        EXPECT_EQ(device.Fetch(&frame, 800), OX3D_RGBD_E_NO_DATA);
        EXPECT_EQ(OX3D_RGBD_Stop(device.Handle()), OX3D_RGBD_OK);
        EXPECT_EQ(Lines(testing::internal::GetCapturedStderr(), kLost), 1U);
    }
    for (const char* serial : {"LIAR", "ASTRAY"}) {
        SCOPED_TRACE(serial);
        const CDevice device(serial);
        testing::internal::CaptureStderr();
        EXPECT_EQ(OX3D_RGBD_Start(device.Handle()), OX3D_RGBD_OK);
        for (const uint32_t number : {1U, 2U, 4U, 5U, 7U}) {
            ASSERT_EQ(device.Fetch(&frame), OX3D_RGBD_OK);
            EXPECT_EQ(frame.stImageData[0].nFrameNum, number);
        }
        EXPECT_EQ(OX3D_RGBD_Stop(device.Handle()), OX3D_RGBD_OK);
        const std::string lines = testing::internal::GetCapturedStderr();
        EXPECT_EQ(Lines(lines, kLost), 2U) << lines; // good frames lie between the two
    }
}

#ifdef OX3D_TOOL
std::string Tool(std::vector<std::string> arguments, int code = 0) {
    arguments.insert(arguments.begin(), OX3D_TOOL);
    arguments.insert(arguments.end(), {"--provider", "aravis"});
    CProcess tool(arguments, ".");
    EXPECT_EQ(tool.Finish(), code) << tool.Output();
    return tool.Output();
}

void ExpectSaid(const std::string& said, const std::vector<const char*>& texts) {
    for (const char* text : texts) {
        EXPECT_NE(said.find(text), std::string::npos) << text << " in " << said;
    }
}
#endif

TEST(Scan3dNetwork, DeliversAnImageWithoutDepthAsItIs) {
    ArvGvFakeCamera* const fake = arv_gv_fake_camera_new("127.0.0.1", "FLAT");
    ASSERT_NE(fake, nullptr);
    ASSERT_TRUE(arv_gv_fake_camera_is_running(fake));
    {
        const CDevice device("FLAT");
        EXPECT_EQ(device.Text("Ox3dCameraKind"), "Plain2d");
        EXPECT_EQ(OX3D_RGBD_Start(device.Handle()), OX3D_RGBD_OK);
        OX3D_RGBD_FRAME_DATA frame;
        for (uint32_t number = 1; number <= 2; ++number) {
            ASSERT_EQ(device.Fetch(&frame), OX3D_RGBD_OK);
            ASSERT_EQ(frame.nImageCount, 1U);
        }
        const OX3D_RGBD_IMAGE_DATA& image = frame.stImageData[0];
        EXPECT_EQ(image.enImageType, ARV_PIXEL_FORMAT_MONO_8);
        EXPECT_EQ(image.nDataLen, image.nWidth * image.nHeight);
        EXPECT_TRUE(std::any_of(image.pData, image.pData + image.nDataLen, [](uint8_t v) { return v != 0; }));
        OX3D_RGBD_IMAGE_DATA points{};
        EXPECT_EQ(OX3D_RGBD_MapDepthToPointCloud(device.Handle(), &frame.stImageData[0], &points),
                  OX3D_RGBD_E_PARAMETER);
        EXPECT_EQ(OX3D_RGBD_Stop(device.Handle()), OX3D_RGBD_OK);
    }
#ifdef OX3D_TOOL
    ExpectSaid(Tool({"info", "--3d"}), {"kind: Plain2d\n", "lacks  Scan3dCoordinateScale", "depth:  no\n"});
    ExpectSaid(Tool({"grab", "--out", "pictures"}, 5), {"an image without depth"});
#endif
    g_object_unref(fake);
}

#ifdef OX3D_TOOL
TEST(Scan3dNetwork, IsExplainedByTheTool) {
    const CCameras cameras({"serial=OWN,kind=native", "serial=STEREO,depth=disparity,intensity=grey"});
    EXPECT_EQ(Lines(Tool({"list", "--kind"}), "yes         Sfnc3d"), 1U);
    ExpectSaid(Tool({"get", "Ox3dCameraKind", "--serial", "STEREO"}), {"\nSfnc3d\n"});
    ExpectSaid(Tool({"set", "Ox3dConfidenceThreshold=0.5", "--serial", "STEREO"}), {"Threshold=0.5\n"});
    ExpectSaid(Tool({"info", "--3d", "--serial", "STEREO"}),
               {"lacks  ComponentSelector: Range", "has    ComponentSelector: Disparity       on",
                "lacks  ComponentSelector: Confidence", "lacks  ComponentSelector: CoordinateMapA",
                "PixelFormat of Intensity           Mono8", "Scan3dBaseline                     0.05",
                "points: yes", "color:  yes, of the depth's lens"});
    ExpectSaid(Tool({"grab", "--frames", "2", "--out", "pictures", "--serial", "STEREO"}), {"depth.png"});
}
#endif

} // namespace
