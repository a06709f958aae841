// The table of parameters of stereo matching. Defaults and ranges are those of the algorithm library, which has the last word.
#include "tools/ox3d/stereo/StereoParameters.h"

#include <CLI/CLI.hpp>

namespace ox3d::tool {
namespace {

constexpr StereoParameter kParameters[] = {
    {1, "window", 11, 5, 40, nullptr, nullptr,
     "side in pixels of the window that is compared; small ones keep fine shapes, large ones bear noise"},
    {2, "min-disparity", 0, 0, 400, nullptr, nullptr, "smallest disparity in pixels: how far away is seen"},
    {3, "disparities", 240, 16, 288, nullptr, nullptr,
     "how many from there on, rounded up to a multiple of 16: how near is seen, and what it costs"},
    {4, "paths", 2, 1, 2, "5", "8", "directions along which disparities agree; 5 are faster, 8 better"},
    {6, "smoothness", 4, 0, 9, nullptr, nullptr,
     "how much a surface without steps is preferred; high for surfaces with little texture"},
    {774, "edge-percent", 50, 20, 100, nullptr, nullptr,
     "percent of the price of a step that is left where brightness steps, too"},
    {775, "edge-from", 20, 0, 255, nullptr, nullptr, "brightness step from which on that price falls"},
    {776, "edge-to", 40, 0, 255, nullptr, nullptr, "brightness step at which it has fallen"},
    {777, "smooth-first", 1, 1, 2, "off", "on", "smooth the pictures first: for noisy sensors"},
    {773, "tolerance", 30, 0, 100, nullptr, nullptr,
     "sixteenths of a pixel by which left and right may disagree; low ones leave out more that is wrong"},
    {772, "median", 1, 1, 2, "on", "off", "median of 3 x 3 disparities, and mean over each surface"},
    {771, "islands", 1, 1, 2, "on", "off", "remove small islands of disparities, which mostly are wrong"},
    {769, "island-side", 7, 3, 100, nullptr, nullptr,
     "islands of at most so many pixels squared are removed"},
    {770, "island-step", 15, 1, 255, nullptr, nullptr,
     "sixteenths of a pixel: a larger step to its neighbor ends an island"},
};

} // namespace

std::span<const StereoParameter> StereoParameters() {
    return kParameters;
}

void AddStereoParameters(CLI::App& command, std::vector<OXB3D_BINOSTEREO_PARAM>& given) {
    for (const StereoParameter& each : kParameters) {
        const std::string option = std::string("--") + each.m_name;
        if (each.m_firstWord == nullptr) {
            command
                .add_option_function<int32_t>(
                    option,
                    [&given, &each](int32_t value) {
                        given.push_back({each.m_id, value});
                    },
                    each.m_help)
                ->check(CLI::Range(each.m_first, each.m_last))
                ->default_str(std::to_string(each.m_default));
        } else {
            command
                .add_option_function<std::string>(
                    option,
                    [&given, &each](const std::string& word) {
                        given.push_back({each.m_id, word == each.m_firstWord ? each.m_first : each.m_last});
                    },
                    each.m_help)
                ->check(CLI::IsMember({each.m_firstWord, each.m_lastWord}))
                ->default_str(each.m_default == each.m_first ? each.m_firstWord : each.m_lastWord);
        }
    }
}

} // namespace ox3d::tool
