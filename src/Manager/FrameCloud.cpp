// FrameCloud.cpp - see FrameCloud.h.
#include "src/Manager/FrameCloud.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "algorithm/alignment/LensTurn.h"
#include "src/Common/AsyncLog.h"
#include "src/Manager/ImageSize.h"
#include "src/Manager/LensRays.h"

namespace {

// Of a pixel. Default registration leaves points exactly between two pixels of color, where the last digit would choose: the
// lens through which colors are looked for lies so much to the left and above, more than single precision loses.
constexpr double kTie = 1.0 / 256;
constexpr const char* kLogSource = "../../src/Manager/FrameCloud";

uint64_t Pixels(const NotedImage& image) {
    return uint64_t{image.m_width} * image.m_height;
}

// Whether the image is there as its size says.
bool IsWhole(const NotedImage& image, uint32_t pixelBytes) {
    const uint64_t pixels = Pixels(image);
    return image.m_data != nullptr && pixels != 0 && pixels <= INT32_MAX &&
           image.m_width <= ox3d::kMaxCloudSide && image.m_height <= ox3d::kMaxCloudSide &&
           image.m_lengthBytes / pixelBytes >= pixels;
}

uint32_t CameraOfDepth(const FrameNote& note) {
    return note.IsDepthInColor() ? OX3D_RGBD_CAMERA_COLOR : OX3D_RGBD_CAMERA_DEPTH;
}

uint32_t CameraOfColor(const FrameNote& note) {
    return note.IsColorInDepth() ? OX3D_RGBD_CAMERA_DEPTH : OX3D_RGBD_CAMERA_COLOR;
}

// Whether depth and color show the same in the same pixel; half a pixel is what the default registration leaves.
bool SharePixels(const FrameNote& note, const Lens& depth, const Lens& color) {
    constexpr double kTolerance = 0.501;
    return CameraOfDepth(note) == CameraOfColor(note) &&
           note.m_images[0].m_width == note.m_images[1].m_width &&
           note.m_images[0].m_height == note.m_images[1].m_height && depth.m_fx == color.m_fx &&
           depth.m_fy == color.m_fy && depth.m_distortion == color.m_distortion &&
           std::abs(depth.m_cx - color.m_cx) < kTolerance && std::abs(depth.m_cy - color.m_cy) < kTolerance;
}

void StoreMotion(const Motion& motion, float* matrix) {
    for (size_t row = 0; row < 3; ++row) {
        for (size_t column = 0; column < 3; ++column) {
            matrix[4 * row + column] = static_cast<float>(motion.m_rotation[3 * row + column]);
        }
        matrix[4 * row + 3] = static_cast<float>(motion.m_translation[row]);
    }
}

ox3d::PointView ViewOf(const Lens& lens, const NotedImage& image, const Motion& motion) {
    ox3d::PointView view = {};
    StoreMotion(motion, view.m_move);
    const double intrinsics[4] = {lens.m_fx, lens.m_fy, lens.m_cx - kTie, lens.m_cy - kTie};
    std::transform(std::begin(intrinsics), std::end(intrinsics), view.m_lens,
                   [](double number) { return static_cast<float>(number); });
    std::transform(lens.m_distortion.begin(), lens.m_distortion.end(), view.m_distortion,
                   [](double number) { return static_cast<float>(number); });
    view.m_isDistorted = lens.IsDistorted();
    view.m_maxRadius2 = static_cast<float>(
        ox3d::MaxRadius2(lens.m_distortion[0], lens.m_distortion[1], lens.m_distortion[4]));
    view.m_width = static_cast<int32_t>(image.m_width);
    view.m_height = static_cast<int32_t>(image.m_height);
    return view;
}

uint32_t PointStride(const OX3D_RGBD_CLOUD_OPTIONS& options) {
    const bool isMixed = options.nColor == OX3D_RGBD_CLOUD_COLOR_INTERLEAVED;
    return options.nFormat == OX3D_RGBD_CLOUD_FLOAT32 ? (isMixed ? 16 : 12) : (isMixed ? 12 : 6);
}

// All that does not depend on the points.
OX3D_RGBD_CLOUD Description(const FrameNote& note, const OX3D_RGBD_CLOUD_OPTIONS& options) {
    OX3D_RGBD_CLOUD cloud = {};
    cloud.nWidth = note.m_images[0].m_width;
    cloud.nHeight = note.m_images[0].m_height;
    cloud.nFrameNum = note.m_frameNum;
    cloud.nCamera = options.nCamera;
    cloud.nFormat = options.nFormat;
    cloud.nLayout = options.nLayout;
    cloud.nColor = options.nColor;
    cloud.nPointStride = PointStride(options);
    const bool isBeside = options.nColor == OX3D_RGBD_CLOUD_COLOR_BESIDE;
    cloud.nColorStride = options.nColor == OX3D_RGBD_CLOUD_NO_COLOR ? 0 : (isBeside ? 4 : cloud.nPointStride);
    cloud.nNormalStride = options.nNormals != 0 ? 12 : 0;
    return cloud;
}

// What a cloud is made by, but for memory. It refers to itself.
struct Plan {
    Plan() = default;
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;

    Lens m_lens; // of the depth image
    float m_move[12] = {};
    ox3d::PointView m_view = {};
    ox3d::CloudArgs m_args = {};
};

// False when the calibration does not serve.
bool MakePlan(const KnownFrame& known, const OX3D_RGBD_CLOUD_OPTIONS& options, Plan* plan) {
    const FrameNote& note = known.m_note;
    const DepthCalibration& calibration = known.m_calibration;
    const uint32_t camera = CameraOfDepth(note);
    const NotedImage& depth = note.m_images[0];
    plan->m_lens = DepthLens(note, calibration);
    Motion motion;
    if (!IsUsable(plan->m_lens) || !MotionBetween(calibration, camera, options.nCamera, &motion)) {
        return false;
    }
    ox3d::CloudArgs& args = plan->m_args;
    args.m_depth = depth.m_data;
    args.m_width = static_cast<int32_t>(depth.m_width);
    args.m_height = static_cast<int32_t>(depth.m_height);
    StoreMotion(motion, plan->m_move);
    args.m_move = camera != options.nCamera ? plan->m_move : nullptr;
    args.m_format =
        options.nFormat == OX3D_RGBD_CLOUD_INT16 ? ox3d::EPointFormat::Int16 : ox3d::EPointFormat::Float32;
    args.m_isCompact = options.nLayout == OX3D_RGBD_CLOUD_VALID;
    if (options.nColor == OX3D_RGBD_CLOUD_NO_COLOR) {
        return true;
    }
    const Lens lens = ColorLens(note, calibration);
    if (!IsUsable(lens) || !MotionBetween(calibration, camera, CameraOfColor(note), &motion)) {
        return false;
    }
    plan->m_view = ViewOf(lens, note.m_images[1], motion);
    args.m_color = note.m_images[1].m_data;
    args.m_isBlackNone = note.IsColorInDepth();
    args.m_view = SharePixels(note, plan->m_lens, lens) ? nullptr : &plan->m_view;
    return true;
}

} // namespace

CFrameCloud::CFrameCloud() : m_points(0), m_colors(0), m_normals(0), m_scratch(0), m_rays(0) {}

bool CFrameCloud::AreOptions(const OX3D_RGBD_CLOUD_OPTIONS& options) {
    return options.nCamera <= OX3D_RGBD_CAMERA_COLOR && options.nFormat <= OX3D_RGBD_CLOUD_INT16 &&
           options.nLayout <= OX3D_RGBD_CLOUD_VALID && options.nColor <= OX3D_RGBD_CLOUD_COLOR_INTERLEAVED &&
           options.nNormals <= 1 &&
           std::all_of(std::begin(options.nReserved), std::end(options.nReserved),
                       [](uint8_t byte) { return byte == 0; });
}

uint32_t CFrameCloud::Check(const FrameNote& note, const OX3D_RGBD_CLOUD_OPTIONS& options) {
    const bool isColored = options.nColor != OX3D_RGBD_CLOUD_NO_COLOR;
    const bool hasColor = note.m_hasColor && note.m_images[1].m_type == OX3D_RGBD_PIXEL_RGB8_PLANAR;
    if (!note.HasDepth() || (isColored && !hasColor)) {
        OX_LOG_ERROR("[MapFrameToPointCloud] the frame has no image of depth or color.\r\n");
        return OX3D_RGBD_E_NO_DATA;
    }
    if (!IsWhole(note.m_images[0], 2) || (isColored && !IsWhole(note.m_images[1], 3))) {
        OX_LOG_ERROR("[MapFrameToPointCloud] an image is not as long as its size says.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    return OX3D_RGBD_OK;
}

bool CFrameCloud::ProvideRays(const Lens& lens, const NotedImage& depth, ox3d::PixelRays* rays) {
    const bool isPerPixel = lens.IsDistorted();
    const uint64_t columns = isPerPixel ? Pixels(depth) : depth.m_width;
    const uint64_t rows = isPerPixel ? Pixels(depth) : depth.m_height;
    const bool isKnown = m_rayWidth == depth.m_width && m_rayHeight == depth.m_height && m_rayLens == lens;
    if (!isKnown) {
        m_rayWidth = 0;
        if (!m_rays.Grow((columns + rows) * sizeof(float))) {
            return false;
        }
    }
    auto* const x = reinterpret_cast<float*>(m_rays.Data());
    if (!isKnown) {
        const auto fill = isPerPixel ? FillDistortedRays : FillStraightRays;
        fill(lens, depth.m_width, depth.m_height, x, x + columns);
        m_rayLens = lens;
        m_rayWidth = depth.m_width;
        m_rayHeight = depth.m_height;
    }
    *rays = {x, x + columns, isPerPixel};
    return true;
}

// As large as the largest cloud of the frame.
bool CFrameCloud::ProvideArrays(const OX3D_RGBD_CLOUD& cloud, uint64_t pixels, ox3d::CloudArgs* args) {
    const bool isBeside = cloud.nColor == OX3D_RGBD_CLOUD_COLOR_BESIDE;
    if (!m_points.Grow(pixels * cloud.nPointStride) ||
        (isBeside && !m_colors.Grow(pixels * cloud.nColorStride)) ||
        (cloud.nNormalStride != 0 && !m_normals.Grow(pixels * cloud.nNormalStride)) ||
        !m_scratch.Grow(ox3d::CloudScratchBytes(args->m_width, args->m_threads))) {
        return false;
    }
    args->m_points = m_points.Data();
    args->m_pointStride = cloud.nPointStride;
    args->m_colorStride = cloud.nColorStride;
    args->m_colors = isBeside ? m_colors.Data() : m_points.Data() + cloud.nPointStride - sizeof(uint32_t);
    args->m_normals = cloud.nNormalStride != 0 ? reinterpret_cast<float*>(m_normals.Data()) : nullptr;
    args->m_scratch = reinterpret_cast<float*>(m_scratch.Data());
    return true;
}

uint32_t CFrameCloud::Map(const KnownFrame& known, const OX3D_RGBD_CLOUD_OPTIONS& options, uint64_t timeStamp,
                          uint32_t threads, OX3D_RGBD_CLOUD* out) {
    Plan plan;
    if (!MakePlan(known, options, &plan)) {
        OX_LOG_ERROR("[MapFrameToPointCloud] the calibration cannot be used.\r\n");
        return OX3D_RGBD_E_NO_DATA;
    }
    ox3d::CloudArgs& args = plan.m_args;
    args.m_threads = threads;
    const NotedImage& depth = known.m_note.m_images[0];
    OX3D_RGBD_CLOUD cloud = Description(known.m_note, options);
    const COXLock lock(&m_mutex);
    if (!ProvideRays(plan.m_lens, depth, &args.m_rays) || !ProvideArrays(cloud, Pixels(depth), &args)) {
        OX_LOG_ERROR("[MapFrameToPointCloud] no memory for the cloud.\r\n");
        return OX3D_RGBD_E_MEMORY;
    }
    cloud.nValid = static_cast<uint32_t>(ox3d::BuildCloud(args));
    cloud.nCount = static_cast<uint32_t>(Pixels(depth));
    if (args.m_isCompact) {
        cloud.nCount = cloud.nValid;
        cloud.nWidth = cloud.nValid;
        cloud.nHeight = 1;
    }
    cloud.nTimeStamp = timeStamp;
    cloud.pPoints = args.m_points;
    cloud.pColors = args.m_color != nullptr ? args.m_colors : nullptr;
    cloud.pNormals = args.m_normals;
    *out = cloud;
    return OX3D_RGBD_OK;
}

void CFrameCloud::Release() {
    const COXLock lock(&m_mutex);
    m_rayWidth = 0;
    for (CGrowBuffer* buffer : {&m_points, &m_colors, &m_normals, &m_scratch, &m_rays}) {
        buffer->Free();
    }
}
