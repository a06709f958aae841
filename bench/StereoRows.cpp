// StereoRows.cpp - rows of the stereo library's other kernels: remap, multi-frame fusion, depth fill score.
#include "bench/Images.h"
#include "bench/Limits.h"
#include "bench/Rows.h"
#include "bench/Tiers.h"
#include <ox3drgbd/Oxb3dBinoStereo.h>

namespace ox3dbench {
namespace {

void AddRemapRows() {
    AddTable({"remap", "An 8-bit image through a map: times as fast as the reference", ERatio::TimesAsFast,
              "reference", "limit: same loads and stores", true});
    for (const Size size : kSizes) {
        for (const Tier& tier : TiersHere()) {
            AddRow("remap", tier.m_name, size, [size, tier] {
                UseTier(tier.m_tier);
                RemapImages& images = Shared<RemapImages>(size);
                return [&images] {
                    OXB3D_BINOSTEREO_RCT_RectifyImage(images.m_from.Data(), images.m_index.Data(),
                                                      images.m_weights.Data(), images.m_size.m_width,
                                                      images.m_size.m_height, images.m_to.Data());
                };
            });
        }
        // Two planes of the map and each source byte once, as if the image were not warped.
        AddRow("remap", "limit: same loads and stores", size, [size] {
            RemapImages& images = Shared<RemapImages>(size);
            return [&images, pixels = size.Pixels()] {
                LoadAndStore(images.m_index.Data(), 4 * pixels, images.m_to.Data(), pixels);
                LoadAndStore(images.m_weights.Data(), 4 * pixels, nullptr, 0);
                LoadAndStore(images.m_from.Data(), pixels, nullptr, 0);
            };
        });
    }
}

void AddFusionRows() {
    AddTable({"fusion", "A depth image fused with the one before: times as fast as the reference",
              ERatio::TimesAsFast, "reference", "", true});
    for (const Size size : kSizes) {
        for (const Tier& tier : TiersHere()) {
            AddRow("fusion", tier.m_name, size, [size, tier] {
                UseTier(tier.m_tier);
                FusionImages& images = Shared<FusionImages>(size);
                return [&images] { images.Fuse(); };
            });
        }
    }
}

void AddScoreRows() {
    AddTable({"score", "Fill score of a whole depth image: times as fast as the reference",
              ERatio::TimesAsFast, "reference", "limit: same loads and stores", true});
    for (const Size size : kSizes) {
        for (const Tier& tier : TiersHere()) {
            AddRow("score", tier.m_name, size, [size, tier] {
                UseTier(tier.m_tier);
                const DepthScene& scene = Shared<DepthScene>(size);
                return [&scene, size] {
                    int32_t score = 0;
                    OXB3D_BINOSTEREO_DepthScore(scene.m_depth.data(), size.m_width,
                                                {size.m_width, size.m_height}, 0, 0, &score, {0, 0},
                                                {size.m_width, size.m_height});
                };
            });
        }
        AddRow("score", "limit: same loads and stores", size, [size] {
            const DepthScene& scene = Shared<DepthScene>(size);
            return [&scene, size] { LoadAndStore(scene.m_depth.data(), 2 * size.Pixels(), nullptr, 0); };
        });
    }
}

} // namespace

void AddStereoRows() {
    AddRemapRows();
    AddFusionRows();
    AddScoreRows();
}

} // namespace ox3dbench
