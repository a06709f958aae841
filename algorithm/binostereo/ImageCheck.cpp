// Image descriptors: the rules of every image format as one table, and the mapping of image-layer statuses.
// Relies on the public header alone.
#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace {

// One plane's smallest step as width * factor / divisor; factor 0 means the plane is not needed.
struct PlaneRule {
    int32_t m_factor;
    int32_t m_divisor;
};

struct FormatRule {
    int32_t m_firstFormat;
    int32_t m_lastFormat;
    int32_t m_widthMultiple;
    int32_t m_heightMultiple;
    PlaneRule m_planes[4];
};

constexpr PlaneRule kNone{0, 1};
constexpr PlaneRule kFull{1, 1};
constexpr PlaneRule kHalf{1, 2};

constexpr FormatRule kFormatRules[] = {
    {1, 3, 1, 1, {kFull, kNone, kNone, kNone}},      //
    {100, 101, 2, 2, {kFull, kHalf, kHalf, kNone}},  //
    {102, 102, 2, 2, {kFull, kFull, kNone, kNone}},  //
    {103, 103, 2, 1, {kFull, kHalf, kHalf, kNone}},  //
    {104, 104, 1, 1, {{2, 1}, kNone, kNone, kNone}}, //
    {105, 105, 1, 1, {kFull, kFull, kFull, kNone}},  //
    {106, 107, 1, 1, {{2, 1}, kNone, kNone, kNone}}, //
    {200, 200, 1, 1, {kFull, kFull, kFull, kNone}},  //
    {201, 201, 1, 1, {{3, 1}, kNone, kNone, kNone}}, //
    {202, 202, 1, 1, {kFull, kFull, kFull, kFull}},  //
    {203, 203, 1, 1, {{4, 1}, kNone, kNone, kNone}}, //
    {204, 204, 1, 1, {kFull, kFull, kFull, kFull}},  //
    {205, 205, 1, 1, {{4, 1}, kNone, kNone, kNone}}, //
    {300, 307, 1, 1, {kFull, kNone, kNone, kNone}},
};

const FormatRule* FindRule(int32_t format) {
    const auto* rule =
        std::find_if(std::begin(kFormatRules), std::end(kFormatRules), [format](const auto& r) {
            return format >= r.m_firstFormat && format <= r.m_lastFormat;
        });
    return rule == std::end(kFormatRules) ? nullptr : rule;
}

} // namespace

int32_t ZQA_CheckImage(const ZQA_IMAGE* image) {
    if (image == nullptr) {
        return ZQA_E_NULL;
    }
    const FormatRule* rule = FindRule(image->format);
    if (rule == nullptr) {
        return ZQA_E_IMAGE_FORMAT;
    }
    if (image->width < 1 || image->height < 1 || image->width % rule->m_widthMultiple != 0 ||
        image->height % rule->m_heightMultiple != 0) {
        return ZQA_E_IMAGE_SIZE;
    }
    for (size_t plane = 0; plane < 4; ++plane) {
        const int64_t smallestStep = static_cast<int64_t>(image->width) * rule->m_planes[plane].m_factor /
                                     rule->m_planes[plane].m_divisor;
        if (rule->m_planes[plane].m_factor != 0 && image->step[plane] < smallestStep) {
            return ZQA_E_IMAGE_STEP;
        }
    }
    for (size_t plane = 0; plane < 4; ++plane) {
        if (rule->m_planes[plane].m_factor != 0 && image->data[plane] == nullptr) {
            return ZQA_E_IMAGE_PLANE;
        }
    }
    return OXB3D_BINOSTEREO_OK;
}

int32_t OXB_ZqaStatusToOxbAlgStatus(int32_t zqaStatus) {
    if (zqaStatus == 0) {
        return OXB3D_BINOSTEREO_OK;
    }
    if (zqaStatus <= -1 && zqaStatus >= -29) {
        return OXB3D_BINOSTEREO_E_GENERAL + (-1 - zqaStatus);
    }
    return zqaStatus == 1 ? 0x1000001D : OXB3D_BINOSTEREO_E_GENERAL;
}
