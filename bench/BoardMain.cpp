// BoardMain.cpp - the program ox3d_board: where checkerboards are found in rendered pictures, how far their corners are from the truth,
// and what that costs in processor time, beside OpenCV in the same run.
#include "bench/BoardViews.h"

#include <cstdio>
#include <ctime>
#include <functional>

using namespace ox3d::test;
using namespace ox3dbench;

namespace {

constexpr size_t kBoards = 15;
constexpr size_t kSeeds = 5;

// Pictures of boards that differ in pose, lens and noise.
struct Kind {
    const char* m_name;
    int32_t m_width, m_height;
    double m_tilt, m_turn; // degrees, at most
    double m_near, m_far;  // where the board is, for a focal length of 15/16 of the width
    double m_blur, m_noise, m_contrast;
};

constexpr Kind kKinds[] = {{"640 x 480, noise 2", 640, 480, 30, 15, 620, 920, 0.7, 2, 170},
                           {"640 x 480, any turn, tilted, noise 2", 640, 480, 55, 180, 900, 1900, 1, 2, 170},
                           {"640 x 480, blurred, noise 8", 640, 480, 50, 180, 900, 1900, 2.5, 8, 170},
                           {"640 x 480, faint, noise 2", 640, 480, 45, 180, 900, 1900, 1, 2, 30},
                           {"320 x 240, tilted, noise 2", 320, 240, 45, 180, 900, 1900, 0.7, 2, 170},
                           {"1280 x 1024, noise 2", 1280, 1024, 30, 15, 620, 920, 0.7, 2, 170}};

std::vector<BoardView> ViewsOf(const Kind& kind) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> uniform(-1, 1);
    std::vector<BoardView> views;
    while (views.size() < kBoards * kSeeds) {
        BoardView view;
        const double focal = kind.m_width * 15 / 16.0;
        view.m_camera = {kind.m_width,
                         kind.m_height,
                         focal,
                         focal,
                         kind.m_width / 2.0 + 3 * uniform(random),
                         kind.m_height / 2.0 + 3 * uniform(random),
                         {-0.2 + 0.05 * uniform(random), 0.06, 0.001, -0.0005, 0}};
        view.m_look.blur = kind.m_blur;
        view.m_look.noise = kind.m_noise;
        view.m_look.dark = 125 - kind.m_contrast / 2;
        view.m_look.bright = 125 + kind.m_contrast / 2;
        const double distance = kind.m_near + (kind.m_far - kind.m_near) * (uniform(random) + 1) / 2;
        const BoardPose pose =
            PoseOf(view.m_look, kind.m_tilt * uniform(random), kind.m_tilt * uniform(random),
                   kind.m_turn * uniform(random), {60 * uniform(random), 40 * uniform(random), distance});
        view.m_truth = TrueCorners(view.m_camera, pose, view.m_look);
        const bool isWhole = std::all_of(view.m_truth.begin(), view.m_truth.end(), [&](const auto& c) {
            return c.x > 10 && c.y > 10 && c.x < kind.m_width - 11 && c.y < kind.m_height - 11;
        });
        for (size_t draw = 0; isWhole && draw < kSeeds; ++draw) {
            view.m_look.seed = static_cast<uint32_t>(views.size()) + 1;
            view.m_pixels = Rendered(view.m_camera, pose, view.m_look);
            views.push_back(view);
        }
    }
    return views;
}

Corners Found(const BoardView& view) {
    const int32_t width = view.m_camera.width;
    const int32_t height = view.m_camera.height;
    static std::vector<uint64_t> s_scratch;
    s_scratch.resize(ox3d::vision::BoardScratchBytes(width, height, 0) / sizeof(uint64_t) + 1);
    Corners corners(view.m_truth.size());
    return ox3d::vision::FindBoard({view.m_pixels.data(), width, width, height}, view.m_look.columns,
                                   view.m_look.rows, s_scratch.data(), corners.data(), nullptr)
               ? corners
               : Corners();
}

double NowMs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

double MedianOf(std::vector<double> values) {
    if (values.empty()) {
        return NAN;
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Root of the mean square; from whichever end the board was begun.
double ErrorOf(const Corners& found, const Corners& truth) {
    double forward = 0;
    double backward = 0;
    for (size_t i = 0; i < truth.size(); ++i) {
        const auto& wanted = truth[i];
        const auto& last = found[truth.size() - 1 - i];
        forward += (found[i].x - wanted.x) * (found[i].x - wanted.x) +
                   (found[i].y - wanted.y) * (found[i].y - wanted.y);
        backward += (last.x - wanted.x) * (last.x - wanted.x) + (last.y - wanted.y) * (last.y - wanted.y);
    }
    return std::sqrt(std::min(forward, backward) / static_cast<double>(truth.size()));
}

struct Way {
    const char* m_name;
    std::function<Corners(const BoardView&)> m_run;
};

#ifdef OX3D_BENCH_OPENCV
// Each from a place beside the true one.
Corners Refined(const BoardView& view, int32_t window) {
    Corners start = view.m_truth;
    std::mt19937 random(view.m_look.seed);
    std::uniform_real_distribution<double> off(-0.7, 0.7);
    for (auto& corner : start) {
        corner = {corner.x + off(random), corner.y + off(random)};
    }
    return RefinedByOpenCv(view, start, window);
}
#endif

std::vector<Way> Ways() {
    return {
#ifdef OX3D_BENCH_OPENCV
        {"OpenCV findChessboardCornersSB", FoundByOpenCv},
        {"OpenCV cornerSubPix, window 5, near truth", [](const BoardView& view) { return Refined(view, 5); }},
        {"OpenCV cornerSubPix, window 11, near truth",
         [](const BoardView& view) { return Refined(view, 11); }},
#endif
        {"ours", Found}};
}

void Measure(const Kind& kind) {
    const std::vector<BoardView> views = ViewsOf(kind);
    const std::vector<Way> ways = Ways();
    std::printf("%s\n", kind.m_name);
    std::vector<bool> byFirst(views.size());
    for (const Way& way : ways) {
        std::vector<double> errors;
        std::vector<double> times;
        size_t lost = 0;
        for (size_t i = 0; i < views.size(); ++i) {
            const double begin = NowMs();
            const Corners corners = way.m_run(views[i]);
            times.push_back(NowMs() - begin);
            if (!corners.empty()) {
                errors.push_back(ErrorOf(corners, views[i].m_truth));
            }
            if (&way == &ways.front()) {
                byFirst[i] = !corners.empty();
            }
            lost += byFirst[i] && corners.empty() ? 1 : 0; // what the first one finds
        }
        const double worst = errors.empty() ? NAN : *std::max_element(errors.begin(), errors.end());
        std::printf("  %-44s %3zu of %zu %8.4f %8.3f %8.2f ms", way.m_name, errors.size(), views.size(),
                    MedianOf(errors), worst, MedianOf(times));
        std::printf("  %zu\n", lost);
    }
}

} // namespace

int main() {
    std::printf("%-46s %9s %8s %8s %11s  %s\n", "", "found", "median", "worst", "time", "lost");
    for (const Kind& kind : kKinds) {
        Measure(kind);
    }
    return 0;
}
