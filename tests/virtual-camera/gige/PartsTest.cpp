// PartsTest.cpp - cameras of the standard's 3D model as Aravis reads them: every component by what the features say
// of it, held against the images of the scene.
#include <gtest/gtest.h>

#include <arv.h>

#include <cmath>
#include <cstring>
#include <map>

#include "virtual-camera/gige/CameraServer.h"

namespace ox3d::test {
namespace {

struct Part {
    uint32_t m_format = 0;
    uint32_t m_dataType = 0;
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    std::vector<uint8_t> m_bytes;
};

// By component, where the payload says it, and by pixel format, where there is one block for each.
struct Frame {
    uint64_t m_index = 0;
    std::map<uint32_t, Part> m_parts;
};

CameraConfig Config(const std::string& keys) {
    NetworkDefaults network{0x7F000001, 0xFF000000, 0, 0x7F000001, true, ECameraKind::Sfnc3d};
    std::vector<std::string> errors;
    const auto cameras = ParseCameraList("[camera]\n" + keys, "list", ".", &errors, network);
    EXPECT_TRUE(errors.empty()) << errors.front();
    return cameras.at(0);
}

// A camera that Aravis has opened.
class CScan3dCamera {
public:
    explicit CScan3dCamera(const std::string& keys) : m_config(Config(keys)), m_server(m_config, "lo") {
        std::string error;
        EXPECT_TRUE(m_server.Start(&error)) << error;
        m_source = CreateFrameSource(m_config.m_source, &error);
        GError* failure = nullptr;
        m_camera = arv_camera_new("127.0.0.1", &failure);
        EXPECT_EQ(failure, nullptr) << failure->message;
        Set("AcquisitionFrameRate", "5");
    }
    ~CScan3dCamera() {
        Stop();
        g_clear_object(&m_camera);
    }
    CScan3dCamera(const CScan3dCamera&) = delete;
    CScan3dCamera& operator=(const CScan3dCamera&) = delete;

    ArvDevice* Device() const { return arv_camera_get_device(m_camera); }
    bool Set(const std::string& name, const std::string& value) const {
        GError* failure = nullptr;
        const std::string pair = name + "=" + value;
        arv_device_set_features_from_string(Device(), pair.c_str(), &failure);
        const bool isSet = failure == nullptr;
        g_clear_error(&failure);
        return isSet;
    }
    double Real(const char* name) const {
        return arv_device_get_float_feature_value(Device(), name, nullptr);
    }
    int64_t Whole(const char* name) const {
        return arv_device_get_integer_feature_value(Device(), name, nullptr);
    }
    bool Flag(const char* name) const {
        return arv_device_get_boolean_feature_value(Device(), name, nullptr) != 0;
    }
    void Enable(const char* component) const {
        EXPECT_TRUE(Set("ComponentSelector", component));
        EXPECT_TRUE(Set("ComponentEnable", "true"));
    }
    void UseParts() const {
        arv_camera_gv_set_multipart(m_camera, TRUE, nullptr);
        EXPECT_TRUE(arv_camera_gv_get_multipart(m_camera, nullptr));
        EXPECT_TRUE(Set("GevGVSPExtendedIDMode", "On"));
    }
    void Start() {
        const int64_t payloadBytes = Whole("PayloadSize");
        m_stream = arv_camera_create_stream(m_camera, nullptr, nullptr, nullptr);
        ASSERT_NE(m_stream, nullptr);
        for (int i = 0; i < 20; ++i) {
            arv_stream_push_buffer(m_stream, arv_buffer_new_allocate(static_cast<size_t>(payloadBytes)));
        }
        arv_camera_start_acquisition(m_camera, nullptr);
    }
    void Stop() {
        if (m_stream != nullptr) {
            arv_camera_stop_acquisition(m_camera, nullptr);
            g_clear_object(&m_stream);
        }
    }
    // The next frame of so many blocks. Blocks are numbered from 1.
    Frame Next(uint32_t blocks) const {
        Frame frame;
        uint64_t timeNs = 0;
        for (uint32_t i = 0; i < blocks;) {
            ArvBuffer* const buffer = arv_stream_timeout_pop_buffer(m_stream, 10000000);
            if (buffer == nullptr || arv_buffer_get_status(buffer) != ARV_BUFFER_STATUS_SUCCESS) {
                ADD_FAILURE() << (buffer == nullptr ? "no block" : "a bad block");
                return frame;
            }
            const uint64_t number = arv_buffer_get_frame_id(buffer) - 1;
            if (i != 0 || number % blocks == 0) {
                EXPECT_TRUE(i == 0 || timeNs == arv_buffer_get_timestamp(buffer));
                timeNs = arv_buffer_get_timestamp(buffer);
                EXPECT_EQ(number % blocks, i);
                frame.m_index = number / blocks;
                Take(buffer, &frame);
                ++i;
            }
            arv_stream_push_buffer(m_stream, buffer);
        }
        return frame;
    }
    FrameImages Scene(uint64_t index) const {
        FrameImages images;
        EXPECT_TRUE(m_source->Render(index, true, true, &images));
        return images;
    }

private:
    static void Take(ArvBuffer* buffer, Frame* frame) {
        const bool isParts = arv_buffer_get_payload_type(buffer) == ARV_BUFFER_PAYLOAD_TYPE_MULTIPART;
        for (uint32_t i = 0; i < arv_buffer_get_n_parts(buffer); ++i) {
            Part part;
            size_t lengthBytes = 0;
            const auto* data = static_cast<const uint8_t*>(arv_buffer_get_part_data(buffer, i, &lengthBytes));
            part.m_format = arv_buffer_get_part_pixel_format(buffer, i);
            part.m_dataType = arv_buffer_get_part_data_type(buffer, i);
            part.m_width = static_cast<uint32_t>(arv_buffer_get_part_width(buffer, i));
            part.m_height = static_cast<uint32_t>(arv_buffer_get_part_height(buffer, i));
            part.m_bytes.assign(data, data + lengthBytes);
            const uint32_t key = isParts ? arv_buffer_get_part_component_id(buffer, i) : part.m_format;
            EXPECT_TRUE(frame->m_parts.emplace(key, std::move(part)).second) << key;
        }
    }

    const CameraConfig m_config;
    gige::CCameraServer m_server;
    std::unique_ptr<CFrameSource> m_source;
    ArvCamera* m_camera = nullptr;
    ArvStream* m_stream = nullptr;
};

struct Rule {
    double m_scale = 0;
    double m_offset = 0;
    bool m_hasInvalid = false;
    double m_invalid = 0;
};

Rule RuleOf(const CScan3dCamera& camera, const char* coordinate) {
    EXPECT_TRUE(camera.Set("Scan3dCoordinateSelector", coordinate));
    return {camera.Real("Scan3dCoordinateScale"), camera.Real("Scan3dCoordinateOffset"),
            camera.Flag("Scan3dInvalidDataFlag"), camera.Real("Scan3dInvalidDataValue")};
}

// The sample at a position counted in samples; samples of 10 and 12 bits lie one behind the other.
double Sample(const Part& part, uint32_t bits, bool isFloat, uint64_t position) {
    if (isFloat) {
        float value = 0;
        std::memcpy(&value, part.m_bytes.data() + 4 * position, 4);
        return static_cast<double>(value);
    }
    uint32_t value = 0;
    for (uint64_t bit = 0; bit < bits; ++bit) {
        const uint64_t at = position * bits + bit;
        value |= (uint32_t{part.m_bytes.at(at / 8)} >> at % 8 & 1U) << bit;
    }
    return value;
}

// The coordinate in the unit of the features; NaN where there is none.
double Coordinate(const Rule& rule, double sample) {
    const bool isInvalid =
        rule.m_hasInvalid && (sample == rule.m_invalid || (std::isnan(sample) && std::isnan(rule.m_invalid)));
    return isInvalid ? std::nan("") : sample * rule.m_scale + rule.m_offset;
}

struct FormatRow {
    const char* m_name;
    uint32_t m_code;
    uint32_t m_bits;
    bool m_isFloat;
    uint32_t m_pixelBits;
};

TEST(Scan3dParts, HaveEveryComponentInItsFormatWithTheScenesContent) {
    CScan3dCamera camera("confidence = yes\ncolor_width = 640\ncolor_height = 480\n");
    for (const char* component : {"Range", "Confidence", "Intensity"}) {
        camera.Enable(component);
    }
    camera.UseParts();
    const Rule rule = RuleOf(camera, "CoordinateC");
    EXPECT_EQ(camera.Whole("PayloadSize"), 640 * 480 * (3 + 3));
    camera.Start();
    const Frame frame = camera.Next(1);
    ASSERT_EQ(frame.m_parts.size(), 3U);
    const FrameImages scene = camera.Scene(frame.m_index);
    const Part& range = frame.m_parts.at(4);
    EXPECT_EQ(range.m_format, ARV_PIXEL_FORMAT_COORD3D_C_16);
    EXPECT_EQ(range.m_dataType, ARV_BUFFER_PART_DATA_TYPE_3D_IMAGE);
    ASSERT_EQ(range.m_bytes.size(), scene.m_depth.size() * 2);
    const Part& confidence = frame.m_parts.at(6);
    EXPECT_EQ(confidence.m_dataType, ARV_BUFFER_PART_DATA_TYPE_CONFIDENCE_MAP);
    ASSERT_EQ(confidence.m_bytes.size(), scene.m_depth.size());
    uint32_t wrong = 0;
    uint32_t holes = 0;
    for (size_t i = 0; i < scene.m_depth.size(); ++i) {
        const double mm = Coordinate(rule, Sample(range, 16, false, i));
        const bool isHole = scene.m_depth[i] == 0;
        holes += isHole ? 1 : 0;
        wrong += isHole ? !std::isnan(mm) : !(std::abs(mm - scene.m_depth[i]) <= 0.06);
        wrong += isHole != (confidence.m_bytes[i] == 0) ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0U);
    EXPECT_GT(holes, 0U);
    const Part& color = frame.m_parts.at(1);
    EXPECT_EQ(color.m_format, ARV_PIXEL_FORMAT_RGB_8_PACKED);
    EXPECT_EQ(color.m_dataType, ARV_BUFFER_PART_DATA_TYPE_2D_IMAGE);
    ASSERT_EQ(color.m_bytes.size(), scene.m_color.size());
    const size_t plane = scene.m_color.size() / 3;
    for (size_t i = 0; i < scene.m_color.size(); ++i) {
        ASSERT_EQ(color.m_bytes[i], scene.m_color[i % 3 * plane + i / 3]) << i;
    }
}

TEST(Scan3dBlocks, ComeOneForEachComponentAtOneTimeWithEitherKindOfId) {
    for (const char* ids : {"Off", "On"}) {
        CScan3dCamera camera("confidence = yes\nintensity = grey\nparts = blocks\n");
        EXPECT_FALSE(camera.Set("GevSCCFGMultiPart", "true"));
        EXPECT_TRUE(camera.Set("GevGVSPExtendedIDMode", ids));
        for (const char* component : {"Confidence", "Intensity"}) {
            camera.Enable(component);
        }
        EXPECT_EQ(camera.Whole("PayloadSize"), 640 * 480 * 2) << "of the largest";
        camera.Start();
        for (int i = 0; i < 2; ++i) {
            const Frame frame = camera.Next(3);
            ASSERT_EQ(frame.m_parts.size(), 3U);
            const FrameImages scene = camera.Scene(frame.m_index);
            EXPECT_EQ(frame.m_parts.at(ARV_PIXEL_FORMAT_COORD3D_C_16).m_bytes.size(),
                      scene.m_depth.size() * 2);
            EXPECT_EQ(frame.m_parts.at(0x010800C6).m_bytes.size(), scene.m_depth.size());
            const Part& grey = frame.m_parts.at(ARV_PIXEL_FORMAT_MONO_8);
            EXPECT_TRUE(std::equal(grey.m_bytes.begin(), grey.m_bytes.end(), scene.m_greyPair.begin()));
        }
    }
}

TEST(Scan3dBlocks, AreSentAgainWhenTheirPacketsGetLost) {
    CScan3dCamera camera("confidence = yes\nfault = drop_packets 10\n");
    camera.Enable("Confidence");
    camera.UseParts();
    EXPECT_TRUE(camera.Set("GevSCPSPacketSize", "1500"));
    camera.Start();
    for (uint64_t index = camera.Next(1).m_index + 1, end = index + 5; index < end; ++index) {
        EXPECT_EQ(camera.Next(1).m_index, index) << "a frame is lost";
    }
}

TEST(Scan3dFormats, AllGiveTheSameDepthToWithinTheirScale) {
    const FormatRow rows[] = {{"Coord3D_C8", ARV_PIXEL_FORMAT_COORD3D_C_8, 8, false, 8},
                              {"Coord3D_C10p", ARV_PIXEL_FORMAT_COORD3D_C_10P, 10, false, 10},
                              {"Coord3D_C12p", ARV_PIXEL_FORMAT_COORD3D_C_12P, 12, false, 12},
                              {"Coord3D_C16", ARV_PIXEL_FORMAT_COORD3D_C_16, 16, false, 16},
                              {"Coord3D_C32f", ARV_PIXEL_FORMAT_COORD3D_C_32F, 32, true, 32}};
    // A coordinate that falls with its sample, and one in another unit.
    const std::pair<const char*, double> variants[] = {
        {"scale = -0.1\noffset = 6600\n", 1}, {"unit = inch\n", 25.4}, {"unit = meter\n", 1000}};
    for (const auto& [keys, mmPerUnit] : variants) {
        CScan3dCamera camera(std::string("intensity = none\n") + keys);
        for (const FormatRow& row : rows) {
            ASSERT_TRUE(camera.Set("PixelFormat", row.m_name)) << row.m_name;
            const Rule rule = RuleOf(camera, "CoordinateC");
            EXPECT_EQ(camera.Whole("PayloadSize"), 640 * 480 * row.m_pixelBits / 8);
            camera.Start();
            const Frame frame = camera.Next(1);
            camera.Stop();
            const Part& range = frame.m_parts.at(row.m_code);
            const FrameImages scene = camera.Scene(frame.m_index);
            uint32_t wrong = 0;
            for (size_t i = 0; i < scene.m_depth.size(); ++i) {
                const double mm = mmPerUnit * Coordinate(rule, Sample(range, row.m_bits, row.m_isFloat, i));
                const double tolerance = 0.502 * (row.m_isFloat ? 0.01 : std::abs(rule.m_scale) * mmPerUnit);
                const bool isHole = scene.m_depth[i] == 0;
                wrong += isHole ? !std::isnan(mm) : !(std::abs(mm - scene.m_depth[i]) <= tolerance);
            }
            EXPECT_EQ(wrong, 0U) << row.m_name << " " << keys;
        }
    }
}

TEST(Scan3dFormats, GivePointsOfThePinholeInEveryOrder) {
    const FormatRow rows[] = {
        {"Coord3D_ABC16", ARV_PIXEL_FORMAT_COORD3D_ABC_16, 16, false, 48},
        {"Coord3D_ABC16_Planar", ARV_PIXEL_FORMAT_COORD3D_ABC_16_PLANAR, 16, false, 48},
        {"Coord3D_ABC32f", ARV_PIXEL_FORMAT_COORD3D_ABC_32F, 32, true, 96},
        {"Coord3D_ABC32f_Planar", ARV_PIXEL_FORMAT_COORD3D_ABC_32F_PLANAR, 32, true, 96}};
    CScan3dCamera camera("depth = points\nintensity = none\n");
    EXPECT_EQ(camera.Whole("Scan3dOutputMode"), kCalibratedAbcGrid);
    for (const FormatRow& row : rows) {
        ASSERT_TRUE(camera.Set("PixelFormat", row.m_name));
        const Rule rules[3] = {RuleOf(camera, "CoordinateA"), RuleOf(camera, "CoordinateB"),
                               RuleOf(camera, "CoordinateC")};
        camera.Start();
        const Frame frame = camera.Next(1);
        camera.Stop();
        const Part& points = frame.m_parts.at(row.m_code);
        const FrameImages scene = camera.Scene(frame.m_index);
        const size_t count = scene.m_depth.size();
        ASSERT_EQ(points.m_bytes.size(), count * row.m_pixelBits / 8);
        const bool isPlanar = std::string(row.m_name).ends_with("_Planar");
        const double focal = camera.Real("Scan3dFocalLength");
        const double centre = camera.Real("Scan3dPrincipalPointU");
        uint32_t wrong = 0;
        uint32_t missing = 0;
        for (size_t i = 0; i < count; ++i) {
            double point[3];
            for (size_t axis = 0; axis < 3; ++axis) {
                const size_t position = isPlanar ? axis * count + i : 3 * i + axis;
                point[axis] = Coordinate(rules[axis], Sample(points, row.m_bits, row.m_isFloat, position));
            }
            const double z = scene.m_depth[i];
            if (z == 0 || std::isnan(point[2])) {
                missing += z != 0 ? 1 : 0;
                wrong += z == 0 && !std::isnan(point[2]) ? 1 : 0;
                continue;
            }
            const double x = (static_cast<double>(i % 640) - centre) / focal * z;
            const bool isRight = std::abs(point[2] - z) <= 0.06 && std::abs(point[0] - x) <= 0.11;
            wrong += isRight ? 0 : 1;
        }
        EXPECT_EQ(wrong, 0U) << row.m_name;
        EXPECT_EQ(missing, 0U) << row.m_name;
    }
}

TEST(Scan3dDisparity, IsFocalLengthTimesBaselineOverDepth) {
    CScan3dCamera camera("depth = disparity\nintensity = none\n");
    EXPECT_EQ(camera.Whole("ComponentIDValue"), 8);
    const std::pair<const char*, uint32_t> formats[] = {{"Coord3D_C16", 16}, {"Coord3D_C32f", 32}};
    for (const auto& [format, bits] : formats) {
        ASSERT_TRUE(camera.Set("PixelFormat", format));
        const Rule rule = RuleOf(camera, "CoordinateC");
        const double factor = camera.Real("Scan3dFocalLength") * camera.Real("Scan3dBaseline") * 1000;
        camera.Start();
        const Frame frame = camera.Next(1);
        camera.Stop();
        const FrameImages scene = camera.Scene(frame.m_index);
        uint32_t wrong = 0;
        for (size_t i = 0; i < scene.m_depth.size(); ++i) {
            const double mm =
                factor / Coordinate(rule, Sample(frame.m_parts.begin()->second, bits, bits == 32, i));
            const bool isNear = scene.m_depth[i] != 0 && scene.m_depth[i] < 300;
            const bool isHole = scene.m_depth[i] == 0 || (isNear && bits == 16);
            wrong += isHole ? !std::isnan(mm) : !(std::abs(mm - scene.m_depth[i]) <= 1);
        }
        EXPECT_EQ(wrong, 0U) << format;
    }
}

TEST(Scan3dRegion, MovesThePrincipalPointAndBinningShrinksTheFocalLength) {
    CScan3dCamera camera("intensity = grey\n");
    camera.UseParts();
    camera.Enable("Intensity");
    camera.Enable("Range");
    const double focal = camera.Real("Scan3dFocalLength");
    const double u = camera.Real("Scan3dPrincipalPointU");
    ASSERT_TRUE(camera.Set("BinningHorizontal", "2"));
    EXPECT_EQ(camera.Whole("Width"), 320);
    EXPECT_EQ(camera.Whole("BinningVertical"), 2);
    EXPECT_FALSE(camera.Set("OffsetX", "100")) << "the region would leave the image";
    ASSERT_TRUE(camera.Set("Width", "200") && camera.Set("Height", "100") && camera.Set("OffsetX", "100") &&
                camera.Set("OffsetY", "40"));
    EXPECT_NEAR(camera.Real("Scan3dFocalLength"), focal / 2, 1e-3);
    EXPECT_NEAR(camera.Real("Scan3dPrincipalPointU"), (u - 0.5) / 2 - 100, 1e-3);
    const Rule rule = RuleOf(camera, "CoordinateC");
    camera.Start();
    const Frame frame = camera.Next(1);
    const FrameImages scene = camera.Scene(frame.m_index);
    const Part& range = frame.m_parts.at(4);
    ASSERT_EQ(range.m_width, 200U);
    ASSERT_EQ(frame.m_parts.at(1).m_width, 200U) << "what one lens sees has one region";
    uint32_t compared = 0;
    for (uint32_t y = 0; y < 100; ++y) {
        for (uint32_t x = 0; x < 200; ++x) {
            const uint16_t* at = scene.m_depth.data() + size_t{2} * (40 + y) * 640 + size_t{2} * (100 + x);
            const int corners[] = {at[0], at[1], at[640], at[641]};
            const auto [least, greatest] = std::minmax_element(std::begin(corners), std::end(corners));
            const double mm = Coordinate(rule, Sample(range, 16, false, y * 200 + x));
            if (*least > 0 && *greatest - *least < 20) {
                ++compared;
                EXPECT_GE(mm, *least - 0.06);
                EXPECT_LE(mm, *greatest + 0.06);
            }
        }
    }
    EXPECT_GT(compared, 10000U);
}

} // namespace
} // namespace ox3d::test
