// Disparities of stereo pairs of one size. The algorithm library takes images of 640 x 480 and more: smaller rectified ones
// get copies of their last column and row behind these.
#include "tools/ox3d/stereo/StereoMatcher.h"

#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/Status.h"

#include <algorithm>
#include <cstdlib>
#include <thread>

namespace ox3d::tool {
namespace {

constexpr uint32_t kLeastWidth = 640;
constexpr uint32_t kLeastHeight = 480;
constexpr uint32_t kMostThreads = 4;
constexpr uint32_t kDisparitiesId = 3;
constexpr uint32_t kImagesId = 5; // 1: rectified, 2: as the cameras see them

void Check(int32_t status, const char* what) {
    if (status != OXB3D_BINOSTEREO_OK) {
        throw CToolError(EExitCode::Failure, std::string(what) + StatusText(static_cast<uint32_t>(status)));
    }
}

template <typename Sample>
ZQA_IMAGE Described(Image<Sample>& image, int32_t format) {
    ZQA_IMAGE described{};
    described.format = format;
    described.width = static_cast<int32_t>(image.m_width);
    described.height = static_cast<int32_t>(image.m_height);
    described.step[0] = described.width;
    described.data[0] = image.m_samples.data();
    return described;
}

template <typename Sample>
Image<Sample> Cropped(const Image<Sample>& image, uint32_t width, uint32_t height) {
    Image<Sample> cropped(width, height);
    for (uint32_t y = 0; y < height; ++y) {
        std::copy_n(&image.At(0, y), width, &cropped.At(0, y));
    }
    return cropped;
}

OXB3D_BINOSTEREO_INIT_INPUT IdealPair(const RectifiedCamera& camera, uint32_t width, uint32_t height) {
    OXB3D_BINOSTEREO_INIT_INPUT pair{};
    pair.width = static_cast<int32_t>(std::max(width, kLeastWidth));
    pair.height = static_cast<int32_t>(std::max(height, kLeastHeight));
    const float matrix[9] = {static_cast<float>(camera.m_fx),
                             0,
                             static_cast<float>(camera.m_cx),
                             0,
                             static_cast<float>(camera.m_fy),
                             static_cast<float>(camera.m_cy),
                             0,
                             0,
                             1};
    std::copy_n(matrix, 9, pair.left.matrix);
    std::copy_n(matrix, 9, pair.right.matrix);
    pair.rotation[0] = pair.rotation[4] = pair.rotation[8] = 1;
    pair.translation[0] = -static_cast<float>(camera.m_baseLineMm);
    return pair;
}

// Where the right camera stands in the left one's frame.
bool IsRightOnTheLeft(const OXB3D_BINOSTEREO_INIT_INPUT& pair) {
    const float(&r)[9] = pair.rotation;
    const float(&t)[3] = pair.translation;
    return r[0] * t[0] + r[3] * t[1] + r[6] * t[2] >= 0;
}

} // namespace

void CStereoMatcher::Free::operator()(uint8_t* memory) const {
    std::free(memory);
}

CStereoMatcher::CStereoMatcher(const RectifiedCamera& camera, uint32_t width, uint32_t height,
                               const StereoSettings& settings)
    : m_isRaw(false), m_width(width), m_height(height) {
    Create(IdealPair(camera, width, height), settings);
    m_camera = camera;
}

CStereoMatcher::CStereoMatcher(const OXB3D_BINOSTEREO_INIT_INPUT& calibration, const StereoSettings& settings)
    : m_isRaw(true), m_width(static_cast<uint32_t>(calibration.width)),
      m_height(static_cast<uint32_t>(calibration.height)) {
    if (m_width < kLeastWidth || m_height < kLeastHeight) {
        throw CToolError(EExitCode::File,
                         "pictures that have to be rectified must have at least 640 x 480 pixels");
    }
    if (IsRightOnTheLeft(calibration)) {
        throw CToolError(EExitCode::File,
                         "by the calibration the right camera stands on the left: exchange the cameras");
    }
    Create(calibration, settings);
}

CStereoMatcher::~CStereoMatcher() {
    OXB3D_BINOSTEREO_Destroy(m_object);
}

void CStereoMatcher::Create(OXB3D_BINOSTEREO_INIT_INPUT calibration, const StereoSettings& settings) {
    m_paddedWidth = static_cast<uint32_t>(calibration.width);
    m_paddedHeight = static_cast<uint32_t>(calibration.height);
    OXB3D_BINOSTEREO_ABILITY ability{};
    ability.width = calibration.width;
    ability.height = calibration.height;
    ability.abilityFlags = OXB3D_BINOSTEREO_ABILITY_DEPTH;
    ability.capabilityA = settings.m_threads != 0
                              ? settings.m_threads
                              : std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads);
    OXB3D_BINOSTEREO_MEM_TAB table[OXB3D_BINOSTEREO_MEM_TAB_COUNT]{};
    Check(OXB3D_BINOSTEREO_GetMemSize(&ability, table), "pictures of this size cannot be matched: ");
    for (size_t i = 0; i < 2; ++i) {
        m_memory[i].reset(static_cast<uint8_t*>(
            std::aligned_alloc(OXB3D_BINOSTEREO_MEM_ALIGNMENT, static_cast<size_t>(table[i].size))));
        if (m_memory[i] == nullptr) {
            throw std::bad_alloc();
        }
        table[i].base = m_memory[i].get();
    }
    Check(OXB3D_BINOSTEREO_Create(&ability, table, &m_object), "pictures of this size cannot be matched: ");
    OXB3D_BINOSTEREO_INIT_OUTPUT common{};
    Check(OXB3D_BINOSTEREO_Process(m_object, OXB3D_BINOSTEREO_PROCESS_INIT, &calibration, sizeof(calibration),
                                   &common, sizeof(common)),
          "with this calibration nothing can be rectified: ");
    m_camera = {double{common.fx}, double{common.fy},       double{common.cx},
                double{common.cy}, double{common.baseLine}, 0};
    for (const OXB3D_BINOSTEREO_PARAM& parameter : settings.m_parameters) {
        Set(parameter);
    }
    Set({kImagesId, m_isRaw ? 2 : 1});
    OXB3D_BINOSTEREO_PARAM disparities{kDisparitiesId, 0};
    Check(OXB3D_BINOSTEREO_GetSingleParam(m_object, &disparities), "parameter 3: ");
    m_disparities = (static_cast<uint32_t>(disparities.value) + 15) / 16 * 16;
}

void CStereoMatcher::Set(OXB3D_BINOSTEREO_PARAM parameter) {
    Check(OXB3D_BINOSTEREO_SetSingleParam(m_object, &parameter), "a parameter was refused: ");
}

GreyImage CStereoMatcher::Padded(const GreyImage& image) const {
    GreyImage padded(m_paddedWidth, m_paddedHeight);
    for (uint32_t y = 0; y < m_paddedHeight; ++y) {
        const uint8_t* const from = &image.At(0, std::min(y, m_height - 1));
        uint8_t* const to = &padded.At(0, y);
        std::copy_n(from, m_width, to);
        std::fill(to + m_width, to + m_paddedWidth, from[m_width - 1]);
    }
    return padded;
}

DisparityImage CStereoMatcher::Match(const GreyImage& left, const GreyImage& right) {
    GreyImage views[2] = {Padded(left), Padded(right)};
    DisparityImage found(m_paddedWidth, m_paddedHeight);
    OXB3D_BINOSTEREO_IMAGE_PAIR in{Described(views[0], ZQA_FORMAT_GREY8),
                                   Described(views[1], ZQA_FORMAT_GREY8)};
    OXB3D_BINOSTEREO_DEPTH_OUTPUT out{};
    out.disparity = Described(found, ZQA_FORMAT_DEPTH16);
    Check(OXB3D_BINOSTEREO_Process(m_object, OXB3D_BINOSTEREO_PROCESS_DEPTH, &in, sizeof(in), &out,
                                   sizeof(out)),
          "the pictures could not be matched: ");
    return Cropped(found, m_width, m_height);
}

GreyImage CStereoMatcher::SeenByLeft(const GreyImage& plane) {
    if (!m_isRaw) {
        return plane;
    }
    GreyImage from = plane;
    GreyImage views[2] = {GreyImage(m_width, m_height), GreyImage(m_width, m_height)};
    OXB3D_BINOSTEREO_IMAGE_PAIR in{Described(from, ZQA_FORMAT_GREY8), Described(from, ZQA_FORMAT_GREY8)};
    OXB3D_BINOSTEREO_IMAGE_PAIR out{Described(views[0], ZQA_FORMAT_GREY8),
                                    Described(views[1], ZQA_FORMAT_GREY8)};
    Check(OXB3D_BINOSTEREO_Process(m_object, OXB3D_BINOSTEREO_PROCESS_RECTIFY, &in, sizeof(in), &out,
                                   sizeof(out)),
          "the left picture could not be rectified: ");
    return std::move(views[0]);
}

} // namespace ox3d::tool
