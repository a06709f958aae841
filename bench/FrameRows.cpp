// FrameRows.cpp - a whole frame on its way through the library, beside the kernels that it needs on their own
// and their limits; and points of a frame. The kernels work on memory of the same sizes, each in a loop of its own.
#include "algorithm/rgbd/RgbdInterleave.h"
#include "bench/FramePath.h"
#include "bench/Kernels.h"
#include "bench/Limits.h"
#include "bench/Rows.h"
#include "bench/Tiers.h"

#include <cstring>

namespace ox3dbench {
namespace {

constexpr size_t kColorBytes = 3 * kFrameColor.Pixels();
constexpr size_t kDepthPixels = kFrameDepth.Pixels();

struct CopyImages {
    explicit CopyImages(Size size) : m_from(3 * size.Pixels() + 32), m_to(3 * size.Pixels()) {}
    CBuffer<uint8_t> m_from;
    CBuffer<uint8_t> m_to;
};

void AddKernels() {
    AddRow("frame", "copy of the color chunk", kFrameDepth, [] {
        CopyImages& images = Shared<CopyImages>(kFrameColor);
        return [&images] { std::memcpy(images.m_to.Data(), images.m_from.Data() + 32, kColorBytes); };
    });
    AddRow("frame", "registration", kFrameDepth, [] {
        UseBestTier();
        TransformImages& images = Shared<TransformImages>(kFrameDepth);
        return [&images] { Transform(kRegistration, images); };
    });
    AddRow("frame", "scaling of the color image", kFrameDepth, [] {
        UseBestTier();
        ScaleImages& images = Shared<ScaleImages>(kFrameDepth);
        return [&images] { ScalePlanes(images); };
    });
    AddRow("frame", "interleave", kFrameDepth, [] {
        UseBestTier();
        RgbdImages& images = Shared<RgbdImages>(kFrameDepth);
        return [&images] { Interleave(images); };
    });
}

// Depth read and stored, color read and stored, planes and depth read and pixels stored.
void AddLimits() {
    AddRow("frame", "limit of registration", kFrameDepth, [] {
        TransformImages& images = Shared<TransformImages>(kFrameDepth);
        return [&images] {
            LoadAndStore(images.m_scene.m_depth.data(), 2 * kDepthPixels, images.m_target.Data(),
                         2 * kDepthPixels);
        };
    });
    AddRow("frame", "limit of scaling", kFrameDepth, [] {
        ScaleImages& images = Shared<ScaleImages>(kFrameDepth);
        return [&images] {
            LoadAndStore(images.m_from.Data(), kColorBytes, images.m_to.Data(), 3 * kDepthPixels);
        };
    });
    AddRow("frame", "limit of interleave", kFrameDepth, [] {
        RgbdImages& images = Shared<RgbdImages>(kFrameDepth);
        return [&images] {
            std::memcpy(images.m_out.Data(), images.m_copied.Data(), ox3d::kRgbdPixelBytes * kDepthPixels);
        };
    });
}

CFramePath& Path() {
    static CFramePath path;
    return path;
}

// What is remembered of a frame, with notes of frames that came before.
void AddNote() {
    AddRow("frame", "note of the frame", kFrameDepth, [] {
        static CFrameNotes notes;
        return [] {
            FrameNote note;
            note.Describe(Path().Copy());
            notes.Add(note, {});
        };
    });
}

void AddCloud(const char* row, const OX3D_RGBD_CLOUD_OPTIONS& options) {
    AddRow("frame cloud", row, kFrameDepth, [options] {
        UseBestTier();
        return [options] { Path().MapCopy(options); };
    });
}

// All of points in the frame of the depth camera, from depth that is seen from the color camera.
void AddClouds() {
    AddTable(
        {"frame cloud",
         "Points of a frame of 1280x720 depth, registered to color: times the cost of depth to points alone",
         ERatio::TimesTheCost, "depth to points", "", false});
    AddRow("frame cloud", "depth to points", kFrameDepth, [] {
        UseBestTier();
        TransformImages& images = Shared<TransformImages>(kFrameDepth);
        return [&images] { Transform(kCloud, images); };
    });
    OX3D_RGBD_CLOUD_OPTIONS options = {};
    options.nCamera = OX3D_RGBD_CAMERA_COLOR;
    AddCloud("float, organised, not moved", options);
    options.nCamera = OX3D_RGBD_CAMERA_DEPTH;
    AddCloud("float, organised", options);
    options.nFormat = OX3D_RGBD_CLOUD_INT16;
    AddCloud("16-bit, organised", options);
    options.nFormat = OX3D_RGBD_CLOUD_FLOAT32;
    options.nNormals = 1;
    AddCloud("float, organised, with normals", options);
    options.nNormals = 0;
    options.nLayout = OX3D_RGBD_CLOUD_VALID;
    AddCloud("float, valid only", options);
    options.nColor = OX3D_RGBD_CLOUD_COLOR_BESIDE;
    AddCloud("float, valid only, with colors", options);
    options.nNormals = 1;
    AddCloud("float, valid only, with colors and normals", options);
}

} // namespace

void AddFrameRows() {
    AddTable({"frame",
              "A frame of 1280x720 depth and 1920x1080 color, all switches on: times the sum of its kernels",
              ERatio::TimesTheCost, "sum of the kernels", "", false});
    AddRow("frame", "whole frame", kFrameDepth, [] {
        UseBestTier();
        return [] { Path().Deliver(); };
    });
    AddNote();
    AddKernels();
    AddLimits();
    AddSum({"frame",
            "sum of the kernels",
            {"copy of the color chunk", "registration", "scaling of the color image", "interleave"}});
    AddSum({"frame",
            "sum of the limits",
            {"copy of the color chunk", "limit of registration", "limit of scaling", "limit of interleave"}});
    AddClouds();
}

} // namespace ox3dbench
