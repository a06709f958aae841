// AlignRows.cpp - filled registration and color to depth in every tier, beside mode 0 in the same.
#include "bench/AlignScene.h"
#include "bench/Kernels.h"
#include "bench/Rows.h"
#include "bench/Tiers.h"

#include <cstring>

namespace ox3dbench {
namespace {

// The depth of the other tables, a color image of twice its sides, and room for what is made of them.
struct AlignImages {
    explicit AlignImages(Size size)
        : m_transform(Shared<TransformImages>(size)), m_target(size.Pixels()), m_moved(3 * size.Pixels()),
          m_mask(size.Pixels()) {
        const DepthScene& scene = m_transform.m_scene;
        m_scene.m_width = size.m_width;
        m_scene.m_height = size.m_height;
        m_scene.m_depth.assign(scene.m_depth.begin(), scene.m_depth.end());
        m_scene.m_colorWidth = 2 * size.m_width;
        m_scene.m_colorHeight = 2 * size.m_height;
        m_scene.m_color.assign(12 * size.Pixels(), 100);
        std::memcpy(m_scene.m_cameras.m_depth, scene.m_depthCamera, sizeof scene.m_depthCamera);
        std::memcpy(m_scene.m_cameras.m_transform, scene.m_transform, sizeof scene.m_transform);
        std::memcpy(m_scene.m_cameras.m_target, scene.m_colorCamera, sizeof scene.m_colorCamera);
    }

    TransformImages& m_transform;
    AlignScene m_scene;
    std::vector<uint16_t> m_target;
    std::vector<uint8_t> m_moved;
    std::vector<uint8_t> m_mask;
    std::vector<uint16_t> m_spare; // for threads
};

template <typename TWork>
void AddAlignRow(const std::string& row, Size size, const Tier& tier, TWork work) {
    AddRow("filled", row + ", " + tier.m_name, size, [size, tier, work] {
        UseTier(tier.m_tier);
        AlignImages& images = Shared<AlignImages>(size);
        return [&images, work, args = images.m_scene.Args()]() mutable { work(images, args); };
    });
}

void FillIn(AlignImages& images, const ox3d::AlignArgs& args) {
    ox3d::Fill(args, images.m_target.data());
}

} // namespace

void FillByThreads(Size size) {
    AlignImages& images = Shared<AlignImages>(size);
    const ox3d::CPoolTurn turn(size.Pixels());
    images.m_spare.resize(size.Pixels() * (turn.Threads() - 1));
    ox3d::Fill(images.m_scene.Args(), images.m_target.data(), turn, images.m_spare.data());
}

void AddAlignRows() {
    const std::vector<Tier> tiers = TiersHere();
    const std::string best = tiers.back().m_name;
    AddTable({"filled", "Depth to another camera's depth without holes: times the cost of mode 0",
              ERatio::TimesTheCost, "mode 0, " + best, "", false});
    for (const Size size : kSizes) {
        if (size.m_width > 1920) {
            break;
        }
        for (const Tier& tier : tiers) {
            AddAlignRow("mode 0", size, tier, [](AlignImages& images, const ox3d::AlignArgs& /*args*/) {
                Transform(kRegistration, images.m_transform);
            });
        }
        for (const Tier& tier : tiers) {
            AddAlignRow("mode 1, filled", size, tier, FillIn);
        }
        const Tier& top = tiers.back();
        AddAlignRow("mode 1, distorted lens", size, top, [](AlignImages& images, ox3d::AlignArgs& args) {
            std::memcpy(args.m_cameras.m_target + 4, images.m_transform.m_scene.m_distortion,
                        4 * sizeof(float));
            FillIn(images, args);
        });
        AddAlignRow("mode 0, 1.6 times the focal lengths", size, top,
                    [](AlignImages& images, const ox3d::AlignArgs&) {
                        DepthScene& scene = images.m_transform.m_scene;
                        float kept[4];
                        std::memcpy(kept, scene.m_colorCamera, sizeof kept);
                        scene.m_colorCamera[0] *= 1.6F;
                        scene.m_colorCamera[1] *= 1.6F;
                        Transform(kRegistration, images.m_transform);
                        std::memcpy(scene.m_colorCamera, kept, sizeof kept);
                    });
        AddAlignRow("mode 1, 1.6 times the focal lengths", size, top,
                    [](AlignImages& images, ox3d::AlignArgs args) {
                        args.m_cameras.m_target[0] *= 1.6F;
                        args.m_cameras.m_target[1] *= 1.6F;
                        FillIn(images, args);
                    });
        AddAlignRow("color to depth, with mask", size, top,
                    [](AlignImages& images, const ox3d::AlignArgs& args) {
                        FillIn(images, args);
                        ox3d::ColorToDepth(args, images.m_target.data(), images.m_scene.Color(),
                                           ox3d::CPoolTurn(0), images.m_moved.data(), images.m_mask.data());
                    });
    }
}

} // namespace ox3dbench
