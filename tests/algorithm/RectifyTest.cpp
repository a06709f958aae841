// Rectification: the maps against a computation in double precision, and process types 1 and 5 on cameras whose
// truth is known: in the virtual camera's room, and turned away from a recorded pair. Relies on the room's ray
// casting, on the recorded motorcycle stereo pair, and on the example where it is built.
#include "algorithm/binostereo/Regions.h"
#include "tests/algorithm/RectifyTruth.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

using namespace algorithm_test;

namespace {

using Camera = OXB3D_BINOSTEREO_CAMERA;
using Pair = OXB3D_BINOSTEREO_IMAGE_PAIR;
using InitOutput = OXB3D_BINOSTEREO_INIT_OUTPUT;
using Side = ox3d::stereo::ESide;

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
            const auto [x, y] = Project(camera, ox3d::stereo::Multiply(ox3d::stereo::Transposed(turn), ray));
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
        : m_Object(1, rig.input.width, rig.input.height), m_width(rig.input.width),
          m_height(rig.input.height), m_Left(At(0, m_height, m_width)), m_Right(m_Left.size()) {
        EXPECT_EQ(m_Object.Process(1, rig.input, m_common), 0);
    }
    int32_t Run(const Grey& left, const Grey& right) {
        Pair out{Picture(m_Left), Picture(m_Right)};
        return m_Object.Process(5, Pair{Picture(left), Picture(right)}, out);
    }
    ZQA_IMAGE Picture(const Grey& pixels) const { return Image(1, m_width, m_height, pixels.data()); }

    // Where the map of a side takes a place of its source image: Newton's steps on the map from its middle, halved
    // at first so that none leaves the map. No value where no rectified pixel looks at the place.
    std::optional<Pixel> Rectified(Side side, const Pixel& source) const {
        Pixel at{m_width / 2, m_height / 2};
        for (int step = 0; step < 15 && at.first >= 2 && at.second >= 2; ++step) {
            const auto x = static_cast<int32_t>(std::lround(at.first));
            const auto y = static_cast<int32_t>(std::lround(at.second));
            const Pixel here = Source(side, x, y);
            const auto slope = [&](int32_t dx, int32_t dy) {
                const Pixel before = Source(side, x - dx, y - dy);
                const Pixel after = Source(side, x + dx, y + dy);
                return Pixel{(after.first - before.first) / 4, (after.second - before.second) / 4};
            };
            const Pixel along = slope(2, 0);
            const Pixel down = slope(0, 2);
            const double reach =
                (step < 12 ? 0.5 : 1) / (along.first * down.second - down.first * along.second);
            const double du = reach * (source.first - here.first);
            const double dv = reach * (source.second - here.second);
            at = {x + down.second * du - down.first * dv, y + along.first * dv - along.second * du};
        }
        const bool inside =
            at.first >= 2 && at.second >= 2 && at.first <= m_width - 3 && at.second <= m_height - 3;
        return inside ? std::optional(at) : std::nullopt;
    }

    CTestObject m_Object;
    int32_t m_width;
    int32_t m_height;
    InitOutput m_common{};
    Grey m_Left;
    Grey m_Right;

private:
    // The source place that a rectified pixel looks at, in the middle of the eighth that the weights tell.
    // Not a number for a black pixel, which so fails every comparison.
    Pixel Source(Side side, int32_t x, int32_t y) const {
        if (x < 0 || y < 0 || x >= m_width || y >= m_height) {
            return {NAN, NAN};
        }
        const ox3d::stereo::RectMap map =
            ox3d::stereo::RectMapOf(*ox3d::stereo::ObjectOf(m_Object.Handle()), {m_width, m_height}, side);
        const size_t i = At(x, y, m_width);
        const uint8_t* w = map.weightPlane + 4 * i;
        const auto width = static_cast<uint32_t>(m_width);
        const uint32_t row = map.indexPlane[i] / width;
        return w[0] == 0 ? Pixel{NAN, NAN}
                         : Pixel{map.indexPlane[i] % width + (w[1] + w[3]) / 64.0 + 0.0625,
                                 row + (w[2] + w[3]) / 64.0 + 0.0625};
    }
};

const StereoRig kRigs[] = {
    {640, 480, kPlain, kPlain, Turn({0, 0, 0}), {-80, 0, 0}},
    {640, 480, kBarrel, kPincushion, Turn({0.02, 0.09, -0.03}), {-80, 4, 6}},  // verging
    {640, 480, kBarrel, kBarrel, Turn({-0.04, -0.05, 0.06}), {75, -6, 3}},     // right camera on the left
    {640, 480, kPincushion, kBarrel, Turn({0.06, 0.01, 0.12}), {-60, 30, -8}}, // base line far from level
};

TEST(Rectification, MapsWhatBothCamerasSeeToOneRowAtItsTrueDistance) {
    for (const StereoRig& rig : kRigs) {
        SCOPED_TRACE(&rig - kRigs);
        const CRectifier rectifier(rig);
        const InitOutput& common = rectifier.m_common;
        const float* t = rig.input.translation;
        const double side = t[0] < 0 ? 1 : -1;
        EXPECT_EQ(common.fx, common.fy);
        EXPECT_NEAR(common.baseLine, ox3d::stereo::Norm({t[0], t[1], t[2]}), 1e-3);
        const std::vector<Match> matches = MatchesInRoom(CRoom(), rig, 8, 0);
        int seen = 0;
        int level = 0;
        int inPlace = 0;
        for (const Match& match : matches) {
            const auto l = rectifier.Rectified(Side::Left, match.left);
            const auto r = rectifier.Rectified(Side::Right, match.right);
            if (!l || !r) {
                continue;
            }
            const double depth = side * double{common.fx} * double{common.baseLine} / (l->first - r->first);
            const Vector3 found = {(l->first - double{common.cx}) * depth / double{common.fx},
                                   (l->second - double{common.cy}) * depth / double{common.fy}, depth};
            // A negative depth would be an image turned over.
            const double ratio = ox3d::stereo::Norm(found) / ox3d::stereo::Norm(match.point);
            ++seen;
            level += std::fabs(l->second - r->second) < 0.5 ? 1 : 0;
            inPlace += depth > 0 && std::fabs(ratio - 1) < 0.02 ? 1 : 0;
        }
        EXPECT_GT(seen, 2000);
        EXPECT_GE(level, 0.95 * seen);
        EXPECT_GE(inPlace, 0.95 * seen);
    }
}

TEST(Rectification, KeepsTheWholeFieldOfViewWithoutEnlarging) {
    for (const StereoRig& rig : kRigs) {
        SCOPED_TRACE(&rig - kRigs);
        const CRectifier rectifier(rig);
        EXPECT_LE(rectifier.m_common.fx, 520);
        for (const Pixel& corner : {Pixel{12, 12}, Pixel{627, 12}, Pixel{12, 467}, Pixel{627, 467}}) {
            EXPECT_TRUE(rectifier.Rectified(Side::Left, corner)) << corner.first << ' ' << corner.second;
            EXPECT_TRUE(rectifier.Rectified(Side::Right, corner)) << corner.first << ' ' << corner.second;
        }
    }
    const InitOutput same = CRectifier(kRigs[0]).m_common; // nothing to rectify: the camera stays what it was
    EXPECT_NEAR(same.fx, 500, 1e-3);
    EXPECT_NEAR(same.cx, 320, 1e-3);
    EXPECT_NEAR(same.cy, 240, 1e-3);
}

// An image without two pixels in a row alike.
Grey Ramp() {
    Grey image(size_t{640} * 480);
    for (size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<uint8_t>(i * 7);
    }
    return image;
}

TEST(Init, RefusesWhatItCannotRectifyAndLeavesTheObjectAsItWas) {
    CRectifier rectifier(kRigs[1]);
    const Grey source = Ramp();
    ASSERT_EQ(rectifier.Run(source, source), 0);
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
    ASSERT_EQ(rectifier.Run(source, source), 0);
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
    EXPECT_EQ(run([](Pair&, Pair& out) { out.right.width = 0; }), -9);
    EXPECT_EQ(OXB3D_BINOSTEREO_SetConfig(r.m_Object.Handle(), 4, nullptr, 0), 0);
    EXPECT_EQ(run([](Pair& in, Pair&) { in.left.format = 2; }), 0x10000000) << "restarted";
    EXPECT_EQ(CTestObject(1).Process(5, Pair{}, r.m_common), 0x1000000E);
}

TEST(Rectify, WorksOnAfterTheObjectMovedIntoOtherMemory) {
    CRectifier rectifier(kRigs[1]);
    const Grey source = Ramp();
    ASSERT_EQ(rectifier.Run(source, source), 0);
    const OXB3D_BINOSTEREO_ABILITY larger = Ability(5, 800, 600);
    CMemory memory(larger);
    void* handle = rectifier.m_Object.Handle();
    ASSERT_EQ(OXB3D_BINOSTEREO_Create(&larger, memory.Tab(), &handle), 0);
    Grey left(source.size());
    Grey right(source.size());
    Pair in{rectifier.Picture(source), rectifier.Picture(source)};
    Pair out{rectifier.Picture(left), rectifier.Picture(right)};
    ASSERT_EQ(OXB3D_BINOSTEREO_Process(handle, 5, &in, sizeof in, &out, sizeof out), 0);
    EXPECT_EQ(left, rectifier.m_Left);
    EXPECT_EQ(right, rectifier.m_Right);
}

// What a turned, distorted camera would have taken in place of the recorded one.
Grey Retake(const Picture& recorded, const Camera& recordedCamera, const Camera& camera,
            const Matrix3& turn) {
    constexpr size_t width = 640;
    Grey image(width * 480);
    for (size_t i = 0; i < image.size(); ++i) {
        const Vector3 ray = RayOf(camera, {i % width, i / width});
        const auto [x, y] =
            Project(recordedCamera, ox3d::stereo::Multiply(ox3d::stereo::Transposed(turn), ray));
        image[i] = static_cast<uint8_t>(std::lround(recorded.At(x, y)));
    }
    return image;
}

// Shows a pair of images to the rectifier, finds the matches again in what comes out, and wants 19 of 20 on
// their row to half a pixel.
void ExpectLevel(CRectifier& rectifier, const std::pair<Grey, Grey>& images,
                 const std::vector<Match>& matches) {
    ASSERT_EQ(rectifier.Run(images.first, images.second), 0);
    const Picture left = PictureOf(rectifier.m_Left, rectifier.m_width);
    const Picture right = PictureOf(rectifier.m_Right, rectifier.m_width);
    int found = 0;
    int level = 0;
    int oblique = 0;
    for (const Match& match : matches) {
        const auto l = rectifier.Rectified(Side::Left, match.left);
        const auto r = rectifier.Rectified(Side::Right, match.right);
        const auto offset = l && r ? RowOffset(left, right, *l, r->first) : std::nullopt;
        found += offset ? 1 : 0;
        level += offset && std::fabs(*offset) <= 0.5 ? 1 : 0;
        oblique += offset && std::fabs(match.left.second - match.right.second) > 2 ? 1 : 0;
    }
    testing::Test::RecordProperty("found", found);
    testing::Test::RecordProperty("level", level);
    EXPECT_GE(found, 500);
    EXPECT_GE(level, 0.95 * found);
    EXPECT_GE(oblique, 0.8 * found) << "the pair was not level from the start";
}

TEST(Rectification, LevelsTheRoomTakenByTurnedDistortedCameras) {
    const CRoom room;
    CRectifier rectifier(kRigs[1]);
    ExpectLevel(rectifier, room.Render(kRigs[1]), MatchesInRoom(room, kRigs[1], 4, 7));
}

TEST(Rectification, LevelsARecordedPairTakenByTurnedDistortedCameras) {
    const std::string folder = std::string(OX3D_DATA_DIR) + "/motorcycle/";
    const Picture left = ReadPicture(folder + "left.png");
    const Picture right = ReadPicture(folder + "right.png");
    ox3d::PngSize size;
    std::vector<uint16_t> disparity;
    std::string error;
    ASSERT_TRUE(ox3d::ReadDepthPng(folder + "disparity_x256.png", &size, &disparity, &error)) << error;
    ASSERT_EQ(disparity.size(), left.pixels.size());
    constexpr double kFocal = 994.978; // the recording's calibration
    constexpr double kBaseLine = 193.001;
    const Camera leftTruth = {{994.978F, 0, 111.193F, 0, 994.978F, 114.877F, 0, 0, 1}, {}};
    const Camera rightTruth = {{994.978F, 0, 142.279F, 0, 994.978F, 114.877F, 0, 0, 1}, {}};
    const Camera leftCamera = {{970, 0, 330, 0, 975, 250, 0, 0, 1}, {-0.18F, 0.05F, 0.001F, -0.0008F, 0.01F}};
    const Camera rightCamera = {{985, 0, 350, 0, 980, 260, 0, 0, 1}, {-0.12F, 0.02F, -0.0007F, 0.0011F, 0}};
    const Matrix3 leftTurn = Turn({0.02, 0.02, -0.03});
    const Matrix3 rightTurn = Turn({-0.015, -0.02, 0.025});
    const StereoRig rig(640, 480, leftCamera, rightCamera,
                        ox3d::stereo::Multiply(rightTurn, ox3d::stereo::Transposed(leftTurn)),
                        ox3d::stereo::Multiply(rightTurn, Vector3{-kBaseLine, 0, 0}));
    std::vector<Match> matches;
    for (int32_t y = 0; y < left.height; y += 3) {
        for (int32_t x = 0; x < left.width; x += 3) {
            const double d = disparity[At(x, y, left.width)] / 256.0;
            const auto recorded = RowOffset(left, right, {x, y}, x - d);
            if (d == 0 || !recorded || std::fabs(*recorded) > 0.25) {
                continue; // not to be told, or not level, in the recording itself
            }
            const double z = kFocal * kBaseLine / (d + 31.086);
            const Vector3 seen = {(x - 111.193) * z / kFocal, (y - 114.877) * z / kFocal, z};
            const Vector3 point = ox3d::stereo::Multiply(leftTurn, seen);
            matches.push_back({point, Project(leftCamera, point), Project(rightCamera, rig.ToRight(point))});
        }
    }
    CRectifier rectifier(rig);
    ExpectLevel(
        rectifier,
        {Retake(left, leftTruth, leftCamera, leftTurn), Retake(right, rightTruth, rightCamera, rightTurn)},
        matches);
}

#ifdef EXAMPLE_RECTIFY
TEST(RectifyExample, WritesWhatTheProcessesDeliver) {
    const std::string header = "P5\n640 480\n255\n";
    const auto bytes = [&header](const Grey& image) {
        return header + std::string(image.begin(), image.end());
    };
    const Grey left = Ramp();
    const Grey right(left.rbegin(), left.rend());
    std::ofstream("left.pgm", std::ios::binary) << bytes(left);
    std::ofstream("right.pgm", std::ios::binary) << bytes(right);
    float numbers[40]; // both cameras, rotation and translation stand one after the other in the record
    std::memcpy(numbers,
                reinterpret_cast<const char*>(&kRigs[1].input) + offsetof(OXB3D_BINOSTEREO_INIT_INPUT, left),
                sizeof numbers);
    std::ofstream calibration("calibration.txt");
    calibration.precision(9);
    std::copy_n(numbers, 40, std::ostream_iterator<float>(calibration, "\n"));
    calibration.close();
    const auto run = [](const std::string& arguments) {
        return std::system((std::string(EXAMPLE_RECTIFY) + ' ' + arguments).c_str());
    };
    ASSERT_EQ(run("calibration.txt left.pgm right.pgm left_out.pgm right_out.pgm"), 0);
    CRectifier rectifier(kRigs[1]);
    ASSERT_EQ(rectifier.Run(left, right), 0);
    const auto content = [](const char* path) {
        std::ifstream file(path, std::ios::binary);
        return std::string{std::istreambuf_iterator<char>(file), {}};
    };
    EXPECT_TRUE(content("left_out.pgm") == bytes(rectifier.m_Left));
    EXPECT_TRUE(content("right_out.pgm") == bytes(rectifier.m_Right));
    EXPECT_NE(run("left.pgm left.pgm right.pgm left_out.pgm right_out.pgm 2>/dev/null"), 0);
}
#endif

} // namespace
