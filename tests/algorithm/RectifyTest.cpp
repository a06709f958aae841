// Rectification: the maps against a computation in double precision, and process types 1 and 5 on rigs whose
// truth is known, drawn and recorded. Relies on the motorcycle stereo pair where the recordings are at hand.
#include "Rectification.h"
#include "StereoRig.h"
#include "TestObject.h"

#include <filesystem>
#include <optional>
#include <png.h>
#include <random>
#include <string>
#include <vector>

using namespace algorithm_test;

namespace {

using Camera = OXB3D_BINOSTEREO_CAMERA;
using Pair = OXB3D_BINOSTEREO_IMAGE_PAIR;
using InitOutput = OXB3D_BINOSTEREO_INIT_OUTPUT;
using Grey = std::vector<uint8_t>;

constexpr Camera kPlain = {{500, 0, 320, 0, 500, 240, 0, 0, 1}, {}};
constexpr Camera kBarrel = {{520, 0, 311, 0, 516, 247, 0, 0, 1}, {-0.21F, 0.06F, 0.0012F, -0.0009F, -0.008F}};
constexpr Camera kPincushion = {{498, 0, 331, 0, 503, 229, 0, 0, 1},
                                {0.11F, -0.03F, -0.0007F, 0.0015F, 0.002F}};

TEST(Map, AgreesWithDoublePrecision) {
    constexpr int32_t kWidth = 160;
    constexpr int32_t kHeight = 120;
    const Camera camera = {{131, 0, 77, 0, 127, 63, 0, 0, 1}, {-0.21F, 0.06F, 0.0012F, -0.0009F, -0.008F}};
    const Matrix3 turn = Turn({0.05, -0.08, 0.03});
    const float p[12] = {118, 0, 82, -900, 0, 121, 57, 0, 0, 0, 1, 0};
    float r[9];
    std::copy(turn.begin(), turn.end(), r);
    for (const int32_t shift : {0, 9, -9}) {
        std::vector<uint32_t> index(At(0, kHeight, kWidth), 7);
        Grey weights(index.size() * 4, 7);
        double scratch[32];
        ASSERT_EQ(OXB3D_BINOSTEREO_RCT_GeneUndistortRectMap(kWidth, kHeight, &camera, shift, r, p,
                                                            index.data(), weights.data(), scratch),
                  0);
        int used = 0;
        for (int32_t i = 0; i < kWidth * kHeight; ++i) {
            const uint8_t* w = &weights[size_t{4} * static_cast<size_t>(i)];
            const int32_t row = i / kWidth;
            const Vector3 ray = {(i % kWidth - shift - 82) / 118.0, (row - 57) / 121.0, 1};
            const auto [x, y] = Project(camera, oxb3d::Multiply(oxb3d::Transposed(turn), ray));
            const double margin = std::min({x - 1, kWidth - 1 - x, y - 1, kHeight - 1 - y});
            if (w[0] + w[1] + w[2] + w[3] == 0) {
                ASSERT_LT(margin, 1e-3) << i;
                ASSERT_EQ(index[static_cast<size_t>(i)], 0U);
                continue;
            }
            ++used;
            ASSERT_GT(margin, -1e-3) << i << ": the outermost row and column of the source are not used";
            ASSERT_EQ(w[0] + w[1] + w[2] + w[3], 64) << i;
            const uint32_t source = index[static_cast<size_t>(i)];
            // The fractions are cut to eighths.
            const double dx = x - (source % kWidth + (w[1] + w[3]) / 64.0);
            const uint32_t sourceRow = source / kWidth;
            const double dy = y - (sourceRow + (w[2] + w[3]) / 64.0);
            ASSERT_TRUE(dx > -1e-3 && dx < 0.126 && dy > -1e-3 && dy < 0.126) << i << ": " << dx << ' ' << dy;
        }
        EXPECT_GT(used, kWidth * kHeight / 2);
        const float flat[12] = {100, 0, 3, 0, 200, 0, 6, 0, 0, 0, 1, 0};
        EXPECT_EQ(OXB3D_BINOSTEREO_RCT_GeneUndistortRectMap(kWidth, kHeight, &camera, shift, r, flat,
                                                            index.data(), weights.data(), scratch),
                  0x10000000);
        EXPECT_EQ(OXB3D_BINOSTEREO_RCT_GeneUndistortRectMap(kWidth, kHeight, &camera, shift, r, p,
                                                            index.data(), weights.data(), nullptr),
                  0x10000014);
    }
}

TEST(Remap, WeighsFourPixelsAndNeverLeavesTheSource) {
    const uint8_t src[9] = {10, 20, 30, 40, 50, 60, 70, 80, 91};
    const uint32_t index[9] = {0, 4, 4, 5, 0xFFFFFFFF};
    const uint8_t weights[36] = {64, 0, 0, 0, 0, 0, 0, 64, 7, 49, 1, 7, 64, 0, 0, 0, 16, 16, 16, 16};
    CGuardedBlock guarded(sizeof src);
    std::memcpy(guarded.Data(), src, sizeof src);
    Grey dst(9, 1);
    ASSERT_EQ(OXB3D_BINOSTEREO_RCT_RectifyImage(guarded.Data<uint8_t>(), index, weights, 3, 3, dst.data()),
              0);
    EXPECT_EQ(dst, (Grey{10, 91, (7 * 50 + 49 * 60 + 80 + 7 * 91) / 64, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(OXB3D_BINOSTEREO_RCT_RectifyImage(nullptr, index, weights, 3, 3, dst.data()), 0x10000014);
}

class CRectifier {
public:
    explicit CRectifier(const StereoRig& rig)
        : m_Object(1, rig.input.width, rig.input.height), m_nWidth(rig.input.width),
          m_nHeight(rig.input.height), m_Left(static_cast<size_t>(m_nWidth) * static_cast<size_t>(m_nHeight)),
          m_Right(m_Left.size()) {
        EXPECT_EQ(m_Object.Process(1, rig.input, m_stCommon), 0);
    }
    int32_t Run(const Grey& left, const Grey& right) {
        Pair out{Picture(m_Left), Picture(m_Right)};
        return m_Object.Process(5, Pair{Picture(left), Picture(right)}, out);
    }
    ZQA_IMAGE Picture(const Grey& pixels) const { return Image(1, m_nWidth, m_nHeight, pixels.data()); }

    CTestObject m_Object;
    int32_t m_nWidth;
    int32_t m_nHeight;
    InitOutput m_stCommon{};
    Grey m_Left;
    Grey m_Right;
};

// A soft spot of 8-bit pixels, and the centre of what an image shows.
Grey DrawSpot(const Pixel& at) {
    Grey image(size_t{640} * 480);
    for (int32_t y = std::max(0, int(at.second) - 12); y < std::min(480, int(at.second) + 13); ++y) {
        for (int32_t x = std::max(0, int(at.first) - 12); x < std::min(640, int(at.first) + 13); ++x) {
            const double r2 = std::pow(x - at.first, 2) + std::pow(y - at.second, 2);
            image[At(x, y, 640)] = static_cast<uint8_t>(std::lround(250 * std::exp(-r2 / 18)));
        }
    }
    return image;
}

struct Spot {
    double x = 0, y = 0, mass = 0;

    explicit Spot(const Grey& image) {
        for (size_t i = 0; i < image.size(); ++i) {
            mass += image[i];
            const size_t row = i / 640;
            x += image[i] * static_cast<double>(i % 640);
            y += image[i] * static_cast<double>(row);
        }
        x /= mass;
        y /= mass;
    }
};

const StereoRig kRigs[] = {
    {640, 480, kPlain, kPlain, Turn({0, 0, 0}), {-80, 0, 0}},
    {640, 480, kBarrel, kPincushion, Turn({0.02, 0.09, -0.03}), {-80, 4, 6}},  // verging
    {640, 480, kBarrel, kBarrel, Turn({-0.04, -0.05, 0.06}), {75, -6, 3}},     // right camera on the left
    {640, 480, kPincushion, kBarrel, Turn({0.06, 0.01, 0.12}), {-60, 30, -8}}, // base line far from level
};

TEST(Rectification, PutsWhatBothCamerasSeeOnOneRowAtItsTrueDistance) {
    std::mt19937 random(3);
    for (const StereoRig& rig : kRigs) {
        SCOPED_TRACE(&rig - kRigs);
        CRectifier rectifier(rig);
        const InitOutput& common = rectifier.m_stCommon;
        const double side = rig.input.translation[0] < 0 ? 1 : -1;
        EXPECT_EQ(common.fx, common.fy);
        EXPECT_NEAR(common.baseLine,
                    std::sqrt(std::pow(rig.input.translation[0], 2) + std::pow(rig.input.translation[1], 2) +
                              std::pow(rig.input.translation[2], 2)),
                    1e-3);
        int seen = 0;
        int level = 0;
        for (int i = 0; i < 40; ++i) {
            const double z = 600 + random() % 1500;
            const Pixel wanted{20 + random() % 600, 20 + random() % 440};
            Vector3 point = RayOf(rig.input.left, wanted);
            point = {point[0] * z, point[1] * z, z};
            const Pixel right = Project(rig.input.right, rig.ToRight(point));
            if (right.first < 20 || right.first > 620 || right.second < 20 || right.second > 460) {
                continue;
            }
            ASSERT_EQ(rectifier.Run(DrawSpot(wanted), DrawSpot(right)), 0);
            const Spot l(rectifier.m_Left);
            const Spot r(rectifier.m_Right);
            ++seen;
            level += std::fabs(l.y - r.y) < 0.5 ? 1 : 0;
            const double depth = side * double{common.fx} * double{common.baseLine} / (l.x - r.x);
            EXPECT_GT(depth, 0) << "neither image is turned over";
            const Vector3 found = {(l.x - double{common.cx}) * depth / double{common.fx},
                                   (l.y - double{common.cy}) * depth / double{common.fy}, depth};
            EXPECT_NEAR(oxb3d::Norm(found) / oxb3d::Norm(point), 1, 0.02);
        }
        EXPECT_GE(seen, 15);
        EXPECT_GE(level, 0.95 * seen);
    }
}

TEST(Rectification, KeepsTheWholeFieldOfViewWithoutEnlarging) {
    for (const StereoRig& rig : kRigs) {
        SCOPED_TRACE(&rig - kRigs);
        CRectifier rectifier(rig);
        EXPECT_LE(rectifier.m_stCommon.fx, 520);
        for (const Pixel& corner : {Pixel{12, 12}, Pixel{627, 12}, Pixel{12, 467}, Pixel{627, 467}}) {
            const Grey spot = DrawSpot(corner);
            ASSERT_EQ(rectifier.Run(spot, spot), 0);
            const double scale = std::pow(rectifier.m_stCommon.fx / 520.0, 2);
            EXPECT_GT(Spot(rectifier.m_Left).mass, 0.4 * scale * Spot(spot).mass);
            EXPECT_GT(Spot(rectifier.m_Right).mass, 0.4 * scale * Spot(spot).mass);
        }
    }
    const InitOutput same =
        CRectifier(kRigs[0]).m_stCommon; // nothing to rectify: the camera stays what it was
    EXPECT_NEAR(same.fx, 500, 1e-3);
    EXPECT_NEAR(same.cx, 320, 1e-3);
    EXPECT_NEAR(same.cy, 240, 1e-3);
}

TEST(Init, RefusesWhatItCannotRectifyAndLeavesTheObjectAsItWas) {
    CRectifier rectifier(kRigs[1]);
    const Grey spot = DrawSpot({300, 200});
    ASSERT_EQ(rectifier.Run(spot, spot), 0);
    const Grey before = rectifier.m_Left;
    const auto init = [&rectifier](auto change) {
        OXB3D_BINOSTEREO_INIT_INPUT input = kRigs[2].input;
        change(input);
        InitOutput out{};
        const int32_t status = rectifier.m_Object.Process(1, input, out);
        EXPECT_EQ(out.fx, 0);
        return status;
    };
    EXPECT_EQ(init([](auto& i) { i.width = 639; }), 0x10000008);
    EXPECT_EQ(init([](auto& i) { i.height = 481; }), 0x10000008);
    EXPECT_EQ(init([](auto& i) { i.left.matrix[0] = 0; }), 0x10000000);
    EXPECT_EQ(init([](auto& i) { i.right.distortion[4] = std::nanf(""); }), 0x10000000);
    EXPECT_EQ(init([](auto& i) { i.rotation[4] = -i.rotation[4]; }), 0x10000000);
    EXPECT_EQ(init([](auto& i) { std::fill_n(i.translation, 3, 0.0F); }), 0x10000000);
    EXPECT_EQ(init([](auto& i) { // back to back: no plane shows what both see
                  const Matrix3 turned = Turn({0, 3.1, 0});
                  std::copy(turned.begin(), turned.end(), i.rotation);
              }),
              0x10000000);
    ASSERT_EQ(rectifier.Run(spot, spot), 0);
    EXPECT_EQ(rectifier.m_Left, before);
}

TEST(Rectify, ChecksInItsOrder) {
    CRectifier r(kRigs[0]);
    const Grey image(size_t{640} * 480, 9);
    const auto run = [&](auto change) {
        Pair in{r.Picture(image), r.Picture(image)};
        Pair out{r.Picture(r.m_Left), r.Picture(r.m_Right)};
        change(in, out);
        return r.m_Object.Process(5, in, out);
    };
    EXPECT_EQ(run([](Pair&, Pair&) {}), 0);
    EXPECT_EQ(run([](Pair& in, Pair& out) { in.left.width = 641, out.right.format = 2; }), 0x10000007);
    EXPECT_EQ(run([](Pair& in, Pair&) { in.right.width = 641, in.left.step[0] = 1; }), 0x10000008);
    EXPECT_EQ(run([](Pair& in, Pair&) { in.left.height = 479; }), 0x10000008);
    EXPECT_EQ(run([](Pair&, Pair& out) { out.left.height = 479; }), 0x10000008);
    EXPECT_EQ(run([](Pair& in, Pair&) { in.right.step[0] = 639, in.left.data[0] = nullptr; }), 0x10000009);
    EXPECT_EQ(run([](Pair& in, Pair&) { in.right.data[0] = nullptr; }), -11);
    EXPECT_EQ(run([](Pair&, Pair& out) { out.left.step[0] = 639; }), -10);
    EXPECT_EQ(OXB3D_BINOSTEREO_SetConfig(r.m_Object.Handle(), 4, nullptr, 0), 0);
    EXPECT_EQ(run([](Pair& in, Pair&) { in.left.format = 2; }), 0x10000000) << "restarted";
    EXPECT_EQ(CTestObject(1).Process(5, Pair{}, r.m_stCommon), 0x1000000E);
}

TEST(Rectify, WorksOnAfterTheObjectMovedIntoOtherMemory) {
    CRectifier rectifier(kRigs[1]);
    const Grey spot = DrawSpot({300, 200});
    ASSERT_EQ(rectifier.Run(spot, spot), 0);
    const OXB3D_BINOSTEREO_ABILITY larger = Ability(5, 800, 600);
    CMemory memory(larger);
    void* handle = rectifier.m_Object.Handle();
    ASSERT_EQ(OXB3D_BINOSTEREO_Create(&larger, memory.Tab(), &handle), 0);
    Grey left(spot.size());
    Grey right(spot.size());
    Pair in{rectifier.Picture(spot), rectifier.Picture(spot)};
    Pair out{rectifier.Picture(left), rectifier.Picture(right)};
    ASSERT_EQ(OXB3D_BINOSTEREO_Process(handle, 5, &in, sizeof in, &out, sizeof out), 0);
    EXPECT_EQ(left, rectifier.m_Left);
    EXPECT_EQ(right, rectifier.m_Right);
}

struct Picture {
    png_image header{};
    std::vector<uint16_t> pixels; // 8-bit images widened

    Picture(const std::string& path, bool wide) {
        header.version = PNG_IMAGE_VERSION;
        EXPECT_NE(png_image_begin_read_from_file(&header, path.c_str()), 0) << path;
        header.format = wide ? PNG_FORMAT_LINEAR_Y : PNG_FORMAT_GRAY;
        pixels.resize(size_t{header.width} * header.height);
        Grey bytes(pixels.size());
        png_image_finish_read(&header, nullptr, wide ? static_cast<void*>(pixels.data()) : bytes.data(), 0,
                              nullptr);
        if (!wide) {
            std::copy(bytes.begin(), bytes.end(), pixels.begin());
        }
    }
    double At(double x, double y) const { // bilinear, black outside
        const double fx = std::floor(x);
        const double fy = std::floor(y);
        if (!(fx >= 0 && fy >= 0 && fx + 1 < header.width && fy + 1 < header.height)) {
            return 0;
        }
        const uint16_t* p = &pixels[static_cast<size_t>(fy) * header.width + static_cast<size_t>(fx)];
        const double a = x - fx;
        return (1 - y + fy) * ((1 - a) * p[0] + a * p[1]) +
               (y - fy) * ((1 - a) * p[header.width] + a * p[header.width + 1]);
    }
};

// What a turned, distorted camera would have taken in place of the recorded one.
Grey Retake(const Picture& recorded, const Camera& recordedCamera, const Camera& camera,
            const Matrix3& turn) {
    Grey image(recorded.pixels.size());
    for (size_t i = 0; i < image.size(); ++i) {
        const Vector3 ray = RayOf(camera, {i % recorded.header.width, i / recorded.header.width});
        const auto [x, y] = Project(recordedCamera, oxb3d::Multiply(oxb3d::Transposed(turn), ray));
        image[i] = static_cast<uint8_t>(std::lround(recorded.At(x, y)));
    }
    return image;
}

// How many rows lower the second image shows the patch around a pixel of the first, to a fraction of a row.
// No value where the patch is smooth, an edge, or not found again.
std::optional<double> RowOffset(const Grey& first, const Grey& second, int32_t width, const Pixel& at,
                                double secondColumn) {
    const auto column = static_cast<int32_t>(std::lround(at.first));
    const auto row = static_cast<int32_t>(std::lround(at.second));
    const auto shift = static_cast<int32_t>(std::lround(secondColumn - at.first));
    if (std::min({column, column + shift, row}) < 10 || std::max(column, column + shift) > width - 11 ||
        row > static_cast<int32_t>(first.size()) / width - 11) {
        return std::nullopt;
    }
    // Variance of the difference, so that the exposures need not agree.
    const auto difference = [&](int32_t dx, int32_t dy) {
        double sum = 0;
        double squares = 0;
        for (int32_t v = -5; v <= 5; ++v) {
            const auto l = At(column, row + v, width);
            const auto r = At(column + shift + dx, row + v + dy, width);
            for (size_t u = 0; u < 11; ++u) {
                const double d = first[l + u - 5] - second[r + u - 5];
                sum += d;
                squares += d * d;
            }
        }
        return squares / 121 - std::pow(sum / 121, 2);
    };
    int32_t best = 0;
    for (const int32_t dy : {-3, -2, -1, 1, 2, 3}) {
        best = difference(0, dy) < difference(0, best) ? dy : best;
    }
    const double here = difference(0, best);
    constexpr int32_t kAside[4][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 1}};
    for (const auto& [dx, dy] : kAside) { // along an edge a patch is found again anywhere
        if (here > 150 || difference(dx, best + dy) + difference(-dx, best - dy) < 2 * here + 120) {
            return std::nullopt;
        }
    }
    const double above = difference(0, best - 1);
    const double below = difference(0, best + 1);
    return best + (above - below) / (2 * (above + below - 2 * here));
}

Pixel Rectified(const float (&rotation)[9], const float (&projection)[12], const Vector3& point) {
    Matrix3 turn{};
    std::copy(std::begin(rotation), std::end(rotation), turn.begin());
    const Vector3 p = oxb3d::Multiply(turn, point);
    return {projection[0] * p[0] / p[2] + projection[2], projection[5] * p[1] / p[2] + projection[6]};
}

TEST(Rectification, LevelsARecordedPairTakenByTurnedDistortedCameras) {
    const std::string folder = std::string(OX3D_DATA_DIR) + "/motorcycle/";
    if (!std::filesystem::exists(folder + "left.png")) {
        GTEST_SKIP() << "no recordings in " << folder;
    }
    const Picture left(folder + "left.png", false);
    const Picture right(folder + "right.png", false);
    const Picture disparity(folder + "disparity_x256.png", true);
    constexpr double kFocal = 994.978; // the recording's calibration
    constexpr double kBaseLine = 193.001;
    const Camera leftTruth = {{994.978F, 0, 311.193F, 0, 994.978F, 254.877F, 0, 0, 1}, {}};
    const Camera rightTruth = {{994.978F, 0, 342.279F, 0, 994.978F, 254.877F, 0, 0, 1}, {}};
    const Camera leftCamera = {{970, 0, 330, 0, 975, 250, 0, 0, 1}, {-0.18F, 0.05F, 0.001F, -0.0008F, 0.01F}};
    const Camera rightCamera = {{985, 0, 350, 0, 980, 260, 0, 0, 1}, {-0.12F, 0.02F, -0.0007F, 0.0011F, 0}};
    const Matrix3 leftTurn = Turn({0.02, 0.02, -0.03});
    const Matrix3 rightTurn = Turn({-0.015, -0.02, 0.025});
    const StereoRig rig(741, 500, leftCamera, rightCamera,
                        oxb3d::Multiply(rightTurn, oxb3d::Transposed(leftTurn)),
                        oxb3d::Multiply(rightTurn, Vector3{-kBaseLine, 0, 0}));
    CRectifier rectifier(rig);
    ASSERT_EQ(rectifier.Run(Retake(left, leftTruth, leftCamera, leftTurn),
                            Retake(right, rightTruth, rightCamera, rightTurn)),
              0);
    oxb3d::Rectification geometry{};
    ASSERT_TRUE(oxb3d::ComputeRectification(rig.input, &geometry));
    const Grey leftGrey(left.pixels.begin(), left.pixels.end());
    const Grey rightGrey(right.pixels.begin(), right.pixels.end());
    int found = 0;
    int level = 0;
    for (int32_t y = 20; y < 480; y += 4) {
        for (int32_t x = 80; x < 720; x += 4) {
            const double d = disparity.pixels[At(x, y, 741)] / 256.0;
            const auto recorded = RowOffset(leftGrey, rightGrey, 741, {x, y}, x - d);
            if (d == 0 || !recorded || std::fabs(*recorded) > 0.25) {
                continue; // not to be told, or not level, in the recording itself
            }
            const double z = kFocal * kBaseLine / (d + 31.086);
            const Vector3 seen = {(x - 311.193) * z / kFocal, (y - 254.877) * z / kFocal, z};
            const Vector3 fromLeft = oxb3d::Multiply(leftTurn, seen);
            const Pixel l = Rectified(geometry.leftRotation, geometry.projection, fromLeft);
            const Pixel r = Rectified(geometry.rightRotation, geometry.projection, rig.ToRight(fromLeft));
            EXPECT_NEAR(l.second, r.second, 1e-3);
            const auto offset = RowOffset(rectifier.m_Left, rectifier.m_Right, 741, l, r.first);
            found += offset ? 1 : 0;
            level += offset && std::fabs(*offset) <= 0.5 ? 1 : 0;
        }
    }
    RecordProperty("found", found);
    RecordProperty("level", level);
    EXPECT_GE(found, 500);
    EXPECT_GE(level, 0.95 * found);
}

} // namespace
