// FramePathMain.cpp - the program ox3d_frame_path: so many frames through the library, for profilers that count.
// Prints nothing when all went well.
#include "bench/FramePath.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

int main(int argc, char** argv) {
    const long frames = argc == 2 ? std::strtol(argv[1], nullptr, 10) : 0;
    if (frames < 1) {
        std::fprintf(stderr, "usage: ox3d_frame_path FRAMES   (writes a log into the working folder)\n");
        return 2;
    }
    try {
        ox3dbench::CFramePath path;
        for (long i = 0; i < frames; ++i) {
            path.Deliver();
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ox3d_frame_path: %s\n", error.what());
        return 1;
    }
    return 0;
}
