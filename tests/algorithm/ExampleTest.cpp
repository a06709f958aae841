// The rectification example as a reader would run it: files in, level files out, a clear failure else.
// Relies on the built example and on the working directory being the test's own.
#include "StereoRig.h"
#include "TestObject.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

using namespace algorithm_test;

namespace {

constexpr OXB3D_BINOSTEREO_CAMERA kCamera = {{520, 0, 311, 0, 516, 247, 0, 0, 1},
                                             {-0.2F, 0.06F, 0.001F, 0, 0}};

// A bright square of 9 pixels around a place.
void WriteSquare(const std::string& path, const Pixel& at) {
    std::string pixels(size_t{640} * 480, '\0');
    for (int i = 0; i < 81; ++i) {
        const int x = static_cast<int>(at.first) - 4 + i % 9;
        const int y = static_cast<int>(at.second) - 4 + i / 9;
        pixels[At(x, y, 640)] = '\xC8';
    }
    std::ofstream(path, std::ios::binary) << "P5\n640 480\n255\n" << pixels;
}

double MeanRow(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const size_t header = std::string("P5\n640 480\n255\n").size();
    EXPECT_EQ(bytes.size(), header + size_t{640} * 480) << path;
    double mass = 0;
    double sum = 0;
    for (size_t i = header; i < bytes.size(); ++i) {
        const size_t row = (i - header) / 640;
        mass += static_cast<unsigned char>(bytes[i]);
        sum += static_cast<unsigned char>(bytes[i]) * static_cast<double>(row);
    }
    return sum / mass;
}

int RunExample(const std::string& arguments) {
    return std::system((std::string(EXAMPLE_RECTIFY) + ' ' + arguments).c_str());
}

TEST(RectifyExample, LevelsAPairOfFiles) {
    const StereoRig rig(640, 480, kCamera, kCamera, Turn({0.03, 0.05, -0.04}), {-80, 5, 2});
    const Vector3 point = {60, 90, 900};
    WriteSquare("left.pgm", Project(kCamera, point));
    WriteSquare("right.pgm", Project(kCamera, rig.ToRight(point)));
    std::ofstream calibration("calibration.txt");
    for (const auto& camera : {rig.input.left, rig.input.right}) {
        std::copy(std::begin(camera.matrix), std::end(camera.matrix),
                  std::ostream_iterator<float>(calibration, " "));
        std::copy_n(camera.distortion, 5, std::ostream_iterator<float>(calibration, "\n"));
    }
    std::copy_n(rig.input.rotation, 9, std::ostream_iterator<float>(calibration, " "));
    std::copy_n(rig.input.translation, 3, std::ostream_iterator<float>(calibration, " "));
    calibration.close();
    ASSERT_EQ(RunExample("calibration.txt left.pgm right.pgm left_out.pgm right_out.pgm"), 0);
    EXPECT_GT(std::fabs(MeanRow("left.pgm") - MeanRow("right.pgm")), 10);
    EXPECT_NEAR(MeanRow("left_out.pgm"), MeanRow("right_out.pgm"), 1)
        << "the squares are drawn to whole pixels";
    EXPECT_NE(RunExample("left.pgm left.pgm right.pgm left_out.pgm right_out.pgm 2>/dev/null"), 0);
}

} // namespace
