// StereoOpenCv.cpp - OpenCV's stereo matchers on the pairs of StereoQuality.h.
#include "bench/StereoQuality.h"

#include <opencv2/calib3d.hpp>

namespace ox3dbench {
namespace {

cv::Ptr<cv::StereoMatcher> MatcherOf(EOpenCv how, int32_t disparities, int32_t block) {
    if (how == EOpenCv::Blocks) {
        return cv::StereoBM::create(disparities, block);
    }
    const int mode = how == EOpenCv::EightPaths   ? cv::StereoSGBM::MODE_HH
                     : how == EOpenCv::ThreePaths ? cv::StereoSGBM::MODE_SGBM_3WAY
                                                  : cv::StereoSGBM::MODE_SGBM;
    return cv::StereoSGBM::create(0, disparities, block, 8 * block * block, 32 * block * block, 1, 63, 10,
                                  100, 2, mode);
}

} // namespace

std::vector<int16_t> MatchedByOpenCv(const StereoPair& pair, EOpenCv how, int32_t disparities,
                                     int32_t block) {
    cv::setNumThreads(1);
    // Its header takes no constant data.
    const auto bordered = [&](std::vector<uint8_t> view) {
        cv::Mat out;
        cv::copyMakeBorder(cv::Mat(pair.m_height, pair.m_width, CV_8U, view.data()), out, 0, 0, disparities,
                           0, cv::BORDER_REPLICATE);
        return out;
    };
    cv::Mat found;
    MatcherOf(how, disparities, block)->compute(bordered(pair.m_left), bordered(pair.m_right), found);
    std::vector<int16_t> sixteenths;
    for (int32_t y = 0; y < pair.m_height; ++y) {
        const int16_t* const row = found.ptr<int16_t>(y) + disparities;
        sixteenths.insert(sixteenths.end(), row, row + pair.m_width);
    }
    return sixteenths;
}

} // namespace ox3dbench
