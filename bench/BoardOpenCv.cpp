// BoardOpenCv.cpp - OpenCV's finder of checkerboards and its refinement of corners on the pictures of BoardViews.h.
#include "bench/BoardViews.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

namespace ox3dbench {
namespace {

cv::Mat ImageOf(BoardView& view) { // its header takes no constant data
    return {view.m_camera.height, view.m_camera.width, CV_8U, view.m_pixels.data()};
}

Corners Widened(const std::vector<cv::Point2f>& points) {
    Corners corners;
    corners.reserve(points.size());
    for (const cv::Point2f& point : points) {
        corners.push_back({point.x, point.y});
    }
    return corners;
}

} // namespace

Corners FoundByOpenCv(BoardView view) {
    cv::setNumThreads(1);
    std::vector<cv::Point2f> points;
    const bool isFound = cv::findChessboardCornersSB(ImageOf(view), {view.m_look.columns, view.m_look.rows},
                                                     points, cv::CALIB_CB_ACCURACY);
    return isFound ? Widened(points) : Corners();
}

Corners RefinedByOpenCv(BoardView view, const Corners& start, int32_t window) {
    cv::setNumThreads(1);
    std::vector<cv::Point2f> points;
    points.reserve(start.size());
    for (const auto& corner : start) {
        points.emplace_back(static_cast<float>(corner.x), static_cast<float>(corner.y));
    }
    cv::cornerSubPix(ImageOf(view), points, {window, window}, {-1, -1},
                     {cv::TermCriteria::EPS | cv::TermCriteria::MAX_ITER, 40, 1e-3});
    return Widened(points);
}

} // namespace ox3dbench
