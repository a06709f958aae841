// StereoQuality.h - a stereo pair with its truth, and how far disparities are from it.
// Relies on PNG files: left.png, right.png and disparity_x256.png of one size.
#ifndef OX3D_BENCH_STEREO_QUALITY_H
#define OX3D_BENCH_STEREO_QUALITY_H

#include <cstdint>
#include <string>
#include <vector>

namespace ox3dbench {

struct StereoPair {
    int32_t m_width = 0;
    int32_t m_height = 0;
    std::vector<uint8_t> m_left; // grey
    std::vector<uint8_t> m_right;
    std::vector<uint16_t> m_truth; // disparity times 256 of left pixels that both views see; 0: unknown
};

// False with a message where the files are not such a pair.
bool ReadStereoPair(const std::string& folder, StereoPair* pair, std::string* error);
// With noise of this deviation added to both views.
StereoPair Noisy(const StereoPair& pair, double deviation);

struct StereoQuality {
    double m_bad1;     // percent of known pixels off by more than one pixel, or without a disparity
    double m_bad2;     // by more than two
    double m_mean;     // mean error in pixels where there is a disparity
    double m_complete; // percent of known pixels with a disparity
};
// Disparities in sixteenths of a pixel; what is not above 0 is none.
StereoQuality QualityOf(const StereoPair& pair, const std::vector<int16_t>& sixteenths);

// Semi-global matching of OpenCV, all eight paths, one thread. It leaves the first columns out, so the views get as
// many in front as there are disparities. The smaller block is the better one without noise.
std::vector<int16_t> MatchedByOpenCv(const StereoPair& pair, int32_t disparities, int32_t block);

} // namespace ox3dbench

#endif
