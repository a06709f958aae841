// Undistort-rectify maps: their size, their computation, and warping an image through one.
// Relies on the matrix inverse in double precision; everything per pixel after it is single precision, in the
// order of the formulas.
#include "algorithm/binostereo/CheckedSize.h"
#include "algorithm/binostereo/FloatToInt.h"
#include "algorithm/binostereo/ImageTiers.h"
#include "algorithm/binostereo/Object.h"
#include "algorithm/vision/Matrix3.h"

#include <algorithm>
#include <limits>
#include <new>

using namespace ox3d::stereo;
using namespace ox3d::vision;

namespace {

using Camera = OXB3D_BINOSTEREO_CAMERA;

// Matrices of the generator in the caller's scratch memory.
struct InversionScratch {
    Matrix3 m_projection;
    Matrix3 m_rotation;
    Matrix3 m_inverse;
};
static_assert(sizeof(InversionScratch) <= OXB3D_BINOSTEREO_RECT_MAP_SCRATCH);

struct PlanePoint {
    float x;
    float y;
};

// Where the rectified pixel (u, v) looks, on the plane at distance 1 of the camera.
PlanePoint RayOf(const Matrix3& m, double u, double v) {
    const auto x = static_cast<float>(m[0] * u + m[1] * v + m[2]);
    const auto y = static_cast<float>(m[3] * u + m[4] * v + m[5]);
    const auto w = static_cast<float>(m[6] * u + m[7] * v + m[8]);
    const float s = 1.0F / (w + kEpsilon);
    return {x * s, y * s};
}

float SourceColumn(const Camera& camera, const PlanePoint& p, float r2, float q) {
    const float p1 = camera.distortion[2];
    const float p2 = camera.distortion[3];
    return (p.x * q + 2.0F * p1 * p.x * p.y + p2 * (r2 + 2.0F * p.x * p.x)) * camera.matrix[0] +
           camera.matrix[2];
}

float SourceRow(const Camera& camera, const PlanePoint& p, float r2, float q) {
    const float p1 = camera.distortion[2];
    const float p2 = camera.distortion[3];
    return (p.y * q + p1 * (r2 + 2.0F * p.y * p.y) + 2.0F * p2 * p.x * p.y) * camera.matrix[4] +
           camera.matrix[5];
}

// Writes one map entry, or leaves it 0. The outermost row and column of the source are never used,
// deliberately, so that all four source pixels lie inside.
void FillEntry(const Camera& camera, const PlanePoint& p, int32_t width, int32_t height, uint32_t* index,
               uint8_t* weights) {
    const float* k = camera.distortion;
    const float r2 = p.x * p.x + p.y * p.y;
    const float q = ((k[4] * r2 + k[1]) * r2 + k[0]) * r2 + 1.0F;
    const float mx = SourceColumn(camera, p, r2, q);
    const int32_t xi = FloatToInt32(mx);
    if (xi < 1 || xi >= width - 1) {
        return;
    }
    const float my = SourceRow(camera, p, r2, q);
    const int32_t yi = FloatToInt32(my);
    if (yi < 1 || yi >= height - 1) {
        return;
    }
    const int32_t fu = FloatToInt32((mx - static_cast<float>(xi)) * 8.0F);
    const int32_t fv = FloatToInt32((my - static_cast<float>(yi)) * 8.0F);
    *index = static_cast<uint32_t>(width) * static_cast<uint32_t>(yi) + static_cast<uint32_t>(xi);
    weights[0] = static_cast<uint8_t>((8 - fu) * (8 - fv));
    weights[1] = static_cast<uint8_t>(fu * (8 - fv));
    weights[2] = static_cast<uint8_t>((8 - fu) * fv);
    weights[3] = static_cast<uint8_t>(fu * fv);
}

// M = (P3 * R)^-1, where P3 is the left part of the 3 x 4 projection.
bool InvertProjection(const float* rotation, const float* projection, InversionScratch* scratch) {
    for (size_t row = 0; row < 3; ++row) {
        for (size_t column = 0; column < 3; ++column) {
            scratch->m_projection[3 * row + column] = static_cast<double>(projection[4 * row + column]);
            scratch->m_rotation[3 * row + column] = static_cast<double>(rotation[3 * row + column]);
        }
    }
    return Invert(Multiply(scratch->m_projection, scratch->m_rotation), &scratch->m_inverse);
}

} // namespace

int32_t OXB3D_BINOSTEREO_RCT_RectMapBufSize(ZQA_SIZE size, uint32_t mapType, uint64_t* bufferSize) {
    if (bufferSize == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    if (size.width < 1 || size.height < 1 || mapType >= 2) {
        return OXB3D_BINOSTEREO_E_REGION;
    }
    const CCheckedSize row(8 * static_cast<uint64_t>(size.width) + (mapType == 0 ? 32 : 0));
    const CCheckedSize bytes = row.Times(size.height);
    if (!bytes.Fits()) {
        return OXB3D_BINOSTEREO_E_OVERFLOW;
    }
    *bufferSize = bytes.Bytes();
    return OXB3D_BINOSTEREO_OK;
}

int32_t OXB3D_BINOSTEREO_RCT_GeneUndistortRectMap(int32_t width, int32_t height,
                                                  const OXB3D_BINOSTEREO_CAMERA* camera, int32_t columnShift,
                                                  const float* R, const float* P, uint32_t* indexPlane,
                                                  uint8_t* weightPlane, void* scratch) {
    if (camera == nullptr || R == nullptr || P == nullptr || indexPlane == nullptr ||
        weightPlane == nullptr || scratch == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const CCheckedSize pixels = PlaneSize(1, width, height);
    if (width < 1 || height < 1 || !pixels.Fits() || pixels.Bytes() > std::numeric_limits<uint32_t>::max()) {
        return OXB3D_BINOSTEREO_E_REGION;
    }
    auto* work = new (scratch) InversionScratch;
    if (!InvertProjection(R, P, work)) {
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    const Matrix3 m = work->m_inverse;
    std::fill_n(indexPlane, pixels.Bytes(), 0U);
    std::fill_n(weightPlane, 4 * pixels.Bytes(), uint8_t{0});
    uint64_t entry = 0;
    for (int32_t v = 0; v < height; ++v) {
        for (int32_t j = 0; j < width; ++j, ++entry) {
            const auto u = static_cast<double>(static_cast<int64_t>(j) - columnShift);
            FillEntry(*camera, RayOf(m, u, v), width, height, indexPlane + entry, weightPlane + 4 * entry);
        }
    }
    return OXB3D_BINOSTEREO_OK;
}

int32_t OXB3D_BINOSTEREO_RCT_RectifyImage(const uint8_t* src, const uint32_t* indexPlane,
                                          const uint8_t* weightPlane, int32_t width, int32_t height,
                                          uint8_t* dst) {
    if (src == nullptr || indexPlane == nullptr || weightPlane == nullptr || dst == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const auto stride = static_cast<uint64_t>(std::max(width, 0));
    const uint64_t pixels = stride * static_cast<uint64_t>(std::max(height, 0));
    ImageKernelsInUse().m_remap({src, indexPlane, weightPlane, stride, pixels, dst});
    return OXB3D_BINOSTEREO_OK;
}

void ox3d::stereo::reference::Remap(const RemapArgs& a) {
    std::fill_n(a.m_dst, a.m_pixels, uint8_t{0});
    for (uint64_t i = 0; i < a.m_pixels; ++i) {
        const uint64_t index = a.m_index[i];
        // The map lies in the caller's memory: an entry whose four pixels are not inside stays black like an
        // unused one.
        if (index + a.m_stride + 1 >= a.m_pixels) {
            continue;
        }
        const uint8_t* s = a.m_src + index;
        const uint8_t* w = a.m_weights + 4 * i;
        const int32_t sum = s[0] * w[0] + s[1] * w[1] + s[a.m_stride] * w[2] + s[a.m_stride + 1] * w[3];
        a.m_dst[i] = static_cast<uint8_t>(sum >> 6);
    }
}
