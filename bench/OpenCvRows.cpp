// OpenCvRows.cpp - OpenCV's functions that do the same or nearly so, each on one thread.
#include "bench/Images.h"
#include "bench/Rows.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/rgbd.hpp>

#include <memory>
#include <vector>

namespace ox3dbench {
namespace {

cv::Mat CameraMatrix(const float (&numbers)[4]) {
    return (cv::Mat_<float>(3, 3) << numbers[0], 0, numbers[2], 0, numbers[1], numbers[3], 0, 0, 1);
}

template <typename T>
cv::Mat View(Size size, int type, const T* data) {
    return {size.m_height, size.m_width, type, const_cast<T*>(data)};
}

// Floats in metres; pixels without depth become "not a number".
void AddCloud(Size size) {
    AddRow("cloud", "OpenCV rgbd depthTo3d", size, [size] {
        DepthScene& scene = Shared<DepthScene>(size);
        return
            [depth = View(size, CV_16UC1, scene.m_depth.data()), camera = CameraMatrix(scene.m_depthCamera),
             points = cv::Mat()]() mutable { cv::rgbd::depthTo3d(depth, camera, points); };
    });
}

void AddRegistration(const char* table, const char* name, Size size, bool isDilated) {
    AddRow(table, name, size, [size, isDilated] {
        DepthScene& scene = Shared<DepthScene>(size);
        cv::Mat rigid = cv::Mat::eye(4, 4, CV_32F);
        cv::Mat(3, 4, CV_32F, scene.m_transform).copyTo(rigid.rowRange(0, 3));
        for (int row = 0; row < 3; ++row) {
            rigid.at<float>(row, 3) /= 1000; // metres
        }
        return [size, isDilated, rigid, depth = View(size, CV_16UC1, scene.m_depth.data()),
                from = CameraMatrix(scene.m_depthCamera), to = CameraMatrix(scene.m_colorCamera),
                target = cv::Mat()]() mutable {
            cv::rgbd::registerDepth(from, to, cv::noArray(), rigid, depth, {size.m_width, size.m_height},
                                    target, isDilated);
        };
    });
}

void AddInterleave(Size size) {
    AddRow("interleave", "OpenCV mixChannels", size, [size] {
        RgbdImages& images = Shared<RgbdImages>(size);
        const std::vector<cv::Mat> from = {View(size, CV_8UC1, images.m_color.Data()),
                                           View(size, CV_8UC1, images.m_color.Data() + size.Pixels()),
                                           View(size, CV_8UC1, images.m_color.Data() + 2 * size.Pixels()),
                                           View(size, CV_8UC2, images.m_depth.Data())};
        return [from, to = std::vector<cv::Mat>{View(size, CV_8UC(5), images.m_out.Data())}]() mutable {
            cv::mixChannels(from, to, {0, 0, 1, 1, 2, 2, 3, 3, 4, 4});
        };
    });
}

void AddScaling(Size size, const char* row, int method) {
    AddRow("scaling", row, size, [size, method] {
        ScaleImages& images = Shared<ScaleImages>(size);
        return [&images, method] {
            for (size_t plane = 0; plane < 3; ++plane) {
                const cv::Mat from =
                    View(images.m_source, CV_8UC1, images.m_from.Data() + plane * images.m_source.Pixels());
                cv::Mat to =
                    View(images.m_target, CV_8UC1, images.m_to.Data() + plane * images.m_target.Pixels());
                cv::resize(from, to, to.size(), 0, 0, method);
            }
        };
    });
}

// Weights are of 32 steps an axis there, of 8 here.
void AddRemap(Size size) {
    AddRow("remap", "OpenCV remap, fixed point", size, [size] {
        RemapImages& images = Shared<RemapImages>(size);
        const cv::Mat camera(3, 3, CV_32F, images.m_matrix);
        const cv::Mat distortion(1, 5, CV_32F, images.m_distortion);
        cv::Mat first;
        cv::Mat second;
        cv::initUndistortRectifyMap(camera, distortion, cv::noArray(), camera, {size.m_width, size.m_height},
                                    CV_16SC2, first, second);
        return [from = View(size, CV_8UC1, images.m_from.Data()), first, second,
                to = View(size, CV_8UC1, images.m_to.Data())]() mutable {
            cv::remap(from, to, first, second, cv::INTER_LINEAR);
        };
    });
}

void AddSmoothing(Size size) {
    AddRow("fusion", "OpenCV GaussianBlur, the smoothing alone", size, [size] {
        DepthScene& scene = Shared<DepthScene>(size);
        return [grey = View(size, CV_8UC1, scene.m_grey.data()), smooth = cv::Mat()]() mutable {
            cv::GaussianBlur(grey, smooth, {11, 11}, 2.0);
        };
    });
}

void AddScore(Size size) {
    AddRow("score", "OpenCV countNonZero of nine cells", size, [size] {
        DepthScene& scene = Shared<DepthScene>(size);
        return [depth = View(size, CV_16SC1, scene.m_depth.data()), filled = 0]() mutable {
            const int width = depth.cols / 3;
            const int height = depth.rows / 3;
            for (int cell = 0; cell < 9; ++cell) {
                filled += cv::countNonZero(depth({cell % 3 * width, cell / 3 * height, width, height}));
            }
        };
    });
}

} // namespace

void AddOpenCvRows() {
    cv::setNumThreads(1);
    for (const Size size : kSizes) {
        AddCloud(size);
        AddRegistration("registration", "OpenCV rgbd registerDepth", size, false);
        if (size.m_width <= 1920) {
            AddRegistration("filled", "OpenCV rgbd registerDepth", size, false);
            AddRegistration("filled", "OpenCV rgbd registerDepth, dilated", size, true);
        }
        AddInterleave(size);
        AddScaling(size, "OpenCV resize, linear", cv::INTER_LINEAR);
        AddScaling(size, "OpenCV resize, linear exact", cv::INTER_LINEAR_EXACT);
        AddRemap(size);
        AddSmoothing(size);
        AddScore(size);
    }
}

} // namespace ox3dbench
