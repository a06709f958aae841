// KernelRows.cpp - depth to points, registration, interleave and scaling in every tier, beside their limits.
// Relies on the images of a size being shared by all rows of a table.
#include "bench/Kernels.h"
#include "bench/Limits.h"
#include "bench/Rows.h"
#include "bench/Tiers.h"

#include <cstring>

namespace ox3dbench {
namespace {

constexpr Mode kOtherModes[] = {{"B1", false, true, true, true},
                                {"B2", true, true, true, true},
                                {"B3", true, false, true, true},
                                {"C2", true, false, true, false},
                                {"C3", true, true, true, false}};

void AddTransformRow(const char* table, const std::string& row, Size size, const Mode& mode,
                     ox3d::EKernelTier tier) {
    AddRow(table, row, size, [size, mode, tier] {
        UseTier(tier);
        TransformImages& images = Shared<TransformImages>(size);
        return [&images, mode] { Transform(mode, images); };
    });
}

void AddCloudRows() {
    AddTable({"cloud", "Depth to points of three 32-bit floats: times as fast as the reference",
              ERatio::TimesAsFast, "reference", "limit: same loads and stores", true});
    for (const Size size : kSizes) {
        for (const Tier& tier : TiersHere()) {
            AddTransformRow("cloud", tier.m_name, size, kCloud, tier.m_tier);
        }
        AddRow("cloud", "limit: same loads and stores", size, [size] {
            TransformImages& images = Shared<TransformImages>(size);
            return [&images, pixels = size.Pixels()] {
                LoadAndStore(images.m_scene.m_depth.data(), 2 * pixels, images.m_points.Data(), 12 * pixels);
            };
        });
    }
}

// The limit is the projection of the best tier; a lower tier has a row of its own to be compared with.
void AddRegistrationRows() {
    constexpr const char* kLimit = "limit: projection alone";
    AddTable({"registration", "Depth to another camera's depth: times as fast as the reference",
              ERatio::TimesAsFast, "reference", kLimit, true});
    const Tier best = TiersHere().back();
    for (const Size size : kSizes) {
        for (const Tier& tier : TiersHere()) {
            AddTransformRow("registration", tier.m_name, size, kRegistration, tier.m_tier);
        }
        for (const Tier& tier : TiersHere()) {
            const bool isBest = tier.m_tier == best.m_tier;
            AddRow("registration", isBest ? kLimit : std::string(tier.m_name) + ", projection alone", size,
                   [size, tier] {
                       UseTier(tier.m_tier);
                       TransformImages& images = Shared<TransformImages>(size);
                       return [&images] { Project(images); };
                   });
        }
    }
}

void AddOtherModes() {
    for (const Mode& mode : kOtherModes) {
        const std::string table = std::string("mode ") + mode.m_name;
        AddTable({table,
                  "The transform's mode " + std::string(mode.m_name) + ": times as fast as the reference",
                  ERatio::TimesAsFast, "reference", "", false});
        for (const Tier& tier : TiersHere()) {
            AddTransformRow(table.c_str(), tier.m_name, kUsualSize, mode, tier.m_tier);
        }
    }
}

void AddInterleaveRows() {
    AddTable({"interleave", "Three color planes and depth to RGB-D pixels: times as fast as the reference",
              ERatio::TimesAsFast, "reference", "limit: memcpy of the output", true});
    for (const Size size : kSizes) {
        for (const Tier& tier : InterleaveTiersHere()) {
            AddRow("interleave", tier.m_name, size, [size, tier] {
                UseTier(tier.m_tier);
                RgbdImages& images = Shared<RgbdImages>(size);
                return [&images] { Interleave(images); };
            });
        }
        AddRow("interleave", "limit: memcpy of the output", size, [size] {
            RgbdImages& images = Shared<RgbdImages>(size);
            return [&images, bytes = 5 * size.Pixels()] {
                std::memcpy(images.m_out.Data(), images.m_copied.Data(), bytes);
            };
        });
    }
}

void AddScalingRows() {
    AddTable({"scaling", "Three planes scaled down to two thirds, bilinear: times as fast as the reference",
              ERatio::TimesAsFast, "reference", "limit: same loads and stores", true});
    for (const Size size : kSizes) {
        for (const Tier& tier : TiersHere()) {
            AddRow("scaling", tier.m_name, size, [size, tier] {
                UseTier(tier.m_tier);
                ScaleImages& images = Shared<ScaleImages>(size);
                return [&images] { ScalePlanes(images); };
            });
        }
        AddRow("scaling", "limit: same loads and stores", size, [size] {
            ScaleImages& images = Shared<ScaleImages>(size);
            return [&images] {
                LoadAndStore(images.m_from.Data(), 3 * images.m_source.Pixels(), images.m_to.Data(),
                             3 * images.m_target.Pixels());
            };
        });
    }
}

} // namespace

void AddKernelRows() {
    AddCloudRows();
    AddRegistrationRows();
    AddOtherModes();
    AddInterleaveRows();
    AddScalingRows();
}

} // namespace ox3dbench
