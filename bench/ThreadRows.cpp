// ThreadRows.cpp - work on one large image shared by two threads of the library, beside one, by the wall clock.
// Relies on a processor that has nothing else to do.
#include "base/WorkerPool.h"
#include "bench/Kernels.h"
#include "bench/Rows.h"
#include "bench/Tiers.h"
#include "src/Manager/ColorAligner.h"

#include <thread>

namespace ox3dbench {
namespace {

constexpr Size kSize = {1920, 1080};

// The planes on their way through the scaling library, as a frame's are.
struct AlignedColor {
    explicit AlignedColor(Size size) : m_images(Shared<ScaleImages>(size)) {
        m_depth.nWidth = static_cast<uint32_t>(m_images.m_target.m_width);
        m_depth.nHeight = static_cast<uint32_t>(m_images.m_target.m_height);
    }
    void Align() {
        OX3D_RGBD_IMAGE_DATA color = {};
        color.nWidth = static_cast<uint32_t>(m_images.m_source.m_width);
        color.nHeight = static_cast<uint32_t>(m_images.m_source.m_height);
        color.pData = m_images.m_from.Data();
        color.nDataLen = static_cast<uint32_t>(3 * m_images.m_source.Pixels());
        m_aligner.Align(&m_depth, &color);
    }

    ScaleImages& m_images;
    OX3D_RGBD_IMAGE_DATA m_depth = {};
    CColorAligner m_aligner;
};

void AddThreadTable(const char* name, const char* title, void (*work)()) {
    const std::string table = std::string("threads of ") + name;
    AddTable({table, std::string(title) + " by the wall clock: times as fast as on one thread",
              ERatio::TimesAsFast, "one thread", "", false});
    for (const uint32_t threads : {1U, 2U}) {
        AddWallRow(table, threads == 1 ? "one thread" : "two threads", kSize, [threads, work] {
            UseBestTier();
            static ox3d::CPoolUse use;
            use.Ask(2);
            return [threads, work] {
                const ox3d::CThreadsAllowed allowed(threads);
                work();
            };
        });
    }
}

} // namespace

void AddThreadRows() {
    if (std::thread::hardware_concurrency() < 2) {
        AddSkipped("two threads: this machine has one processor");
        return;
    }
    AddThreadTable("cloud", "Depth to points", [] { Transform(kCloud, Shared<TransformImages>(kSize)); });
    AddThreadTable("registration", "Depth to another camera's depth",
                   [] { Transform(kRegistration, Shared<TransformImages>(kSize)); });
    AddThreadTable("filled", "Depth to another camera's depth without holes", [] { FillByThreads(kSize); });
    AddThreadTable("interleave", "Planes and depth to RGB-D pixels",
                   [] { Interleave(Shared<RgbdImages>(kSize)); });
    AddThreadTable("scaling", "Three planes to two thirds", [] { Shared<AlignedColor>(kSize).Align(); });
}

} // namespace ox3dbench
