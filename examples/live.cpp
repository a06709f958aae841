// Shows what a camera sees, live: for each frame its number, how much of it has depth, and the distance in the middle.
// usage: live [FRAMES]
#include <ox3drgbd/ox3d.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    const unsigned long wanted = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 30;
    auto camera = ox3d::Camera::open();
    if (!camera) {
        std::fprintf(stderr, "no camera opened: %s\n", camera.error().text());
        return 1;
    }
    if (const ox3d::Status status = camera->start(); !status) {
        std::fprintf(stderr, "no stream: %s\n", status.text());
        return 1;
    }
    unsigned long count = 0;
    auto frames = camera->frames();
    for (const ox3d::FrameView& frame : frames) {
        if (const auto depth = frame.depth()) {
            const auto holes = std::count(depth->begin(), depth->end(), 0);
            const unsigned middleMm = depth->row(depth->height() / 2)[depth->width() / 2];
            std::printf("frame %u: %.1f %% of the pixels without depth, %u mm in the middle\n",
                        frame.number(),
                        100.0 * static_cast<double>(holes) / static_cast<double>(depth->size()), middleMm);
        }
        if (++count == wanted) {
            return 0; // the camera is stopped and closed by its end
        }
    }
    std::fprintf(stderr, "no more frames: %s\n", frames.status().text());
    return 1;
}
