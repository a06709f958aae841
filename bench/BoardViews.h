// BoardViews.h - rendered pictures of checkerboards with the exact places of their corners, and OpenCV's ways to those.
// Relies on the renderer of the tests.
#ifndef OX3D_BENCH_BOARD_VIEWS_H
#define OX3D_BENCH_BOARD_VIEWS_H

#include "tests/algorithm/RenderedBoard.h"

#include <string>
#include <vector>

namespace ox3dbench {

using Corners = std::vector<ox3d::vision::Corner>;

struct BoardView {
    ox3d::test::BoardCamera m_camera;
    ox3d::test::BoardLook m_look;
    Corners m_truth;
    std::vector<uint8_t> m_pixels;
};

// By one thread: findChessboardCornersSB with its flag for accuracy. Empty where it finds no board.
Corners FoundByOpenCv(BoardView view);
// cornerSubPix in a window of this half size, from places that are right to a pixel.
Corners RefinedByOpenCv(BoardView view, const Corners& start, int32_t window);

} // namespace ox3dbench

#endif
