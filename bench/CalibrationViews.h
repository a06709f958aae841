// CalibrationViews.h - what two calibrations of the same cameras are compared by, and OpenCV's calibration of corners.
// Relies on the renderer of the tests.
#ifndef OX3D_BENCH_CALIBRATION_VIEWS_H
#define OX3D_BENCH_CALIBRATION_VIEWS_H

#include "bench/BoardViews.h"

#include "algorithm/vision/BoardBundle.h"

namespace ox3dbench {

// Two cameras; the place is the second one's.
struct PairNumbers {
    ox3d::vision::Lens m_lenses[2];
    ox3d::vision::Pose m_place;
    double m_rms = 0;
    double m_solveMs = 0; // without what finds corners
};

// Places that are right to a pixel, refined by cornerSubPix in each picture, then calibrateCamera for each camera and
// stereoCalibrate from those. With a held first lens that stays, and so does what calibrateCamera says of the second one.
struct OpenCvTask {
    std::vector<BoardView> m_views[2]; // of each camera; without pixels the true places are taken for corners
    int32_t m_window;                  // of cornerSubPix, half of a side
    const ox3d::vision::Lens* m_held;  // of the first camera, or null
};
PairNumbers CalibratedByOpenCv(const OpenCvTask& task);

double NowMs(); // processor time of this program

} // namespace ox3dbench

#endif
