// AlignOpenCv.cpp - OpenCV's registration of depth, for pictures and measures of quality.
#include "bench/AlignScene.h"

#include <opencv2/core.hpp>
#include <opencv2/rgbd.hpp>

namespace ox3dbench {

std::vector<uint16_t> RegisteredByOpenCv(const AlignScene& scene, bool isDilated) {
    const auto matrix = [](const float* k) -> cv::Mat {
        return (cv::Mat_<float>(3, 3) << k[0], 0, k[2], 0, k[1], k[3], 0, 0, 1);
    };
    const ox3d::AlignCameras& c = scene.m_cameras;
    cv::Mat rigid = cv::Mat::eye(4, 4, CV_32F);
    for (int i = 0; i < 12; ++i) {
        rigid.at<float>(i / 4, i % 4) = i % 4 == 3 ? c.m_transform[i] / 1000 : c.m_transform[i]; // metres
    }
    const cv::Mat distortion =
        (cv::Mat_<float>(1, 5) << c.m_target[4], c.m_target[5], c.m_target[6], c.m_target[7], c.m_target[8]);
    const cv::Mat depth(scene.m_height, scene.m_width, CV_16UC1, const_cast<uint16_t*>(scene.m_depth.data()));
    cv::Mat target;
    cv::rgbd::registerDepth(matrix(c.m_depth), matrix(c.m_target), distortion, rigid, depth,
                            {scene.m_width, scene.m_height}, target, isDilated);
    return {target.ptr<uint16_t>(), target.ptr<uint16_t>() + scene.m_depth.size()};
}

} // namespace ox3dbench
