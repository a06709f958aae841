// CalibrationOpenCv.cpp - OpenCV's calibration of one and of two cameras on the pictures of BoardViews.h.
#include "bench/CalibrationViews.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

namespace ox3dbench {
namespace {

using Points = std::vector<std::vector<cv::Point2f>>;

struct Camera {
    cv::Mat m_matrix = cv::Mat::eye(3, 3, CV_64F);
    cv::Mat m_distortion = cv::Mat::zeros(1, 5, CV_64F);
};

Points Refined(const std::vector<BoardView>& views, int32_t window) {
    Points all;
    for (const BoardView& view : views) {
        Corners start = view.m_truth;
        std::mt19937 random(view.m_look.seed);
        std::uniform_real_distribution<double> off(-0.7, 0.7);
        for (auto& corner : start) {
            corner = {corner.x + off(random), corner.y + off(random)};
        }
        std::vector<cv::Point2f> points;
        for (const auto& corner :
             view.m_pixels.empty() ? view.m_truth : RefinedByOpenCv(view, start, window)) {
            points.emplace_back(static_cast<float>(corner.x), static_cast<float>(corner.y));
        }
        all.push_back(points);
    }
    return all;
}

Camera Made(const ox3d::vision::Lens& lens) {
    Camera camera;
    camera.m_matrix = (cv::Mat_<double>(3, 3) << lens.m_fx, 0, lens.m_cx, 0, lens.m_fy, lens.m_cy, 0, 0, 1);
    std::copy(std::begin(lens.m_distortion), std::end(lens.m_distortion),
              camera.m_distortion.begin<double>());
    return camera;
}

ox3d::vision::Lens LensOf(const Camera& camera) {
    const cv::Mat& m = camera.m_matrix;
    ox3d::vision::Lens lens{
        m.at<double>(0, 0), m.at<double>(1, 1), m.at<double>(0, 2), m.at<double>(1, 2), {}};
    std::copy(camera.m_distortion.begin<double>(), camera.m_distortion.begin<double>() + 5,
              std::begin(lens.m_distortion));
    return lens;
}

} // namespace

PairNumbers CalibratedByOpenCv(const OpenCvTask& task) {
    cv::setNumThreads(1);
    const BoardView& first = task.m_views[0].front();
    std::vector<cv::Point3f> board;
    for (int32_t i = 0; i < first.m_look.columns * first.m_look.rows; ++i) {
        const int32_t row = i / first.m_look.columns;
        board.emplace_back(static_cast<float>((i - row * first.m_look.columns) * first.m_look.square),
                           static_cast<float>(row * first.m_look.square), 0.0F);
    }
    const std::vector<std::vector<cv::Point3f>> boards(task.m_views[0].size(), board);
    const Points points[2] = {Refined(task.m_views[0], task.m_window),
                              Refined(task.m_views[1], task.m_window)};
    const double begin = NowMs();
    const cv::TermCriteria until(cv::TermCriteria::EPS | cv::TermCriteria::MAX_ITER, 100, 1e-9);
    Camera cameras[2];
    for (size_t camera = 0; camera < 2; ++camera) {
        const auto& view = task.m_views[camera].front().m_camera;
        if (camera == 0 && task.m_held != nullptr) {
            cameras[0] = Made(*task.m_held);
            continue;
        }
        std::vector<cv::Mat> turns, shifts;
        cv::calibrateCamera(boards, points[camera], {view.width, view.height}, cameras[camera].m_matrix,
                            cameras[camera].m_distortion, turns, shifts, cv::CALIB_FIX_K3, until);
    }
    cv::Mat turn, shift, essential, fundamental;
    const int32_t flags =
        task.m_held != nullptr ? cv::CALIB_FIX_INTRINSIC : cv::CALIB_USE_INTRINSIC_GUESS | cv::CALIB_FIX_K3;
    PairNumbers found{};
    found.m_rms = cv::stereoCalibrate(boards, points[0], points[1], cameras[0].m_matrix,
                                      cameras[0].m_distortion, cameras[1].m_matrix, cameras[1].m_distortion,
                                      {first.m_camera.width, first.m_camera.height}, turn, shift, essential,
                                      fundamental, flags, until);
    found.m_solveMs = NowMs() - begin;
    found.m_lenses[0] = LensOf(cameras[0]);
    found.m_lenses[1] = LensOf(cameras[1]);
    std::copy(turn.begin<double>(), turn.end<double>(), found.m_place.m_rotation.begin());
    std::copy(shift.begin<double>(), shift.end<double>(), found.m_place.m_translation.begin());
    return found;
}

} // namespace ox3dbench
