// StereoQuality.h - a stereo pair with its truth, and how far disparities are from it.
// Relies on PNG files: left.png, right.png and disparity_x256.png of one size.
#ifndef OX3D_BENCH_STEREO_QUALITY_H
#define OX3D_BENCH_STEREO_QUALITY_H

#include "tools/ox3d/stereo/StereoTruth.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ox3dbench {

struct StereoPair {
    int32_t m_width = 0;
    int32_t m_height = 0;
    std::vector<uint8_t> m_left; // grey
    std::vector<uint8_t> m_right;
    ox3d::tool::FloatImage m_truth; // of left pixels that both views see
};

// False with a message where the files are not such a pair.
bool ReadStereoPair(const std::string& folder, StereoPair* pair, std::string* error);
// With noise of this deviation added to both views.
StereoPair Noisy(const StereoPair& pair, double deviation);
// The first frame of the virtual camera's scene, rectified as it is, 640 x 480.
StereoPair ScenePair();
// The views side by side and one below the other, up to this size; without a truth.
StereoPair Repeated(const StereoPair& pair, int32_t width, int32_t height);

struct PairQuality : ox3d::tool::StereoQuality {
    double m_quarter = 0; // percent within a quarter of a pixel
    double m_median = 0;  // error in pixels of those with a disparity
};
// Disparities in sixteenths of a pixel; what is not above 0 is none.
PairQuality QualityOf(const StereoPair& pair, const std::vector<int16_t>& sixteenths);

// Where disparities are wrong, in percent of the pixels whose truth is known. Each pixel counts in the first of the kinds.
struct PairLoss {
    const char* m_where;
    double m_share = 0;   // pixels of this kind
    double m_none = 0;    // of these, without a disparity
    double m_far = 0;     // off by more than a pixel
    double m_quarter = 0; // off by more than a quarter of a pixel, up to one
};
std::vector<PairLoss> LossesOf(const StereoPair& pair, const std::vector<int16_t>& sixteenths);

// OpenCV's matching of blocks, and its semi-global matching along three, five and eight paths.
enum class EOpenCv { Blocks, ThreePaths, FivePaths, EightPaths };
// By one thread. It leaves the first columns out, so the views get as many in front as there are disparities. The smaller
// block is the better one of semi-global matching without noise.
std::vector<int16_t> MatchedByOpenCv(const StereoPair& pair, EOpenCv how, int32_t disparities, int32_t block);

} // namespace ox3dbench

#endif
