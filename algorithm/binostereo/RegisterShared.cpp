// RegisterShared.cpp - see RegisterShared.h. Source and target are cut into bands of rows. Who does a band scatters its
// samples into its own pixels of the target and notes the others as strays; when all have done so, each band takes
// from all notes what is its own. A minimum asks for no order, so the result is that of one thread, and few samples
// move far enough up or down to be strays.
// Relies on what KernelsFor() admits, and on the pool's scratch memory for the strays.
#include "algorithm/binostereo/RegisterShared.h"

#include "base/WorkerPool.h"

#include <algorithm>
#include <array>

namespace ox3d::stereo {
namespace {

class CSharedRegistration {
public:
    CSharedRegistration(const TransformKernels& kernels, const TransformArgs<float>& args,
                        const CPoolTurn& turn)
        : m_kernels(kernels), m_args(args), m_turn(turn),
          m_count(std::min(turn.Threads(), static_cast<uint32_t>(args.m_height))) {}

    // False after an unusual depth, and without memory.
    bool Run() {
        const auto pixels = static_cast<size_t>(m_args.m_width) * static_cast<size_t>(m_args.m_height);
        // A stray for each sample; what is not needed is never touched.
        auto* const strays = static_cast<StrayHit*>(m_turn.Scratch(pixels * sizeof(StrayHit)));
        if (strays == nullptr) {
            return false;
        }
        m_turn.Run(m_count, [this, strays](uint32_t i) {
            RegisterBand& band = m_bands[i];
            band.m_firstRow = RowOf(i);
            band.m_endRow = RowOf(i + 1);
            band.m_strays = strays + static_cast<ptrdiff_t>(band.m_firstRow) * m_args.m_width;
            m_kernels.m_registerBand(m_args, &band);
        });
        const bool isOrdinary = std::all_of(m_bands.begin(), m_bands.end(),
                                            [](const RegisterBand& band) { return band.m_isOrdinary; });
        if (isOrdinary) {
            // What is cleared behind a target narrower than the source is no band's.
            const size_t targets =
                static_cast<size_t>(m_args.m_targetWidth) * static_cast<size_t>(m_args.m_height);
            std::fill(m_args.m_targetDepth + targets, m_args.m_targetDepth + pixels, int16_t{0});
            m_turn.Run(m_count, [this](uint32_t i) { TakeStrays(m_bands[i]); });
        }
        return isOrdinary;
    }

private:
    int32_t RowOf(uint32_t band) const {
        return static_cast<int32_t>(static_cast<int64_t>(m_args.m_height) * band / m_count);
    }

    void TakeStrays(const RegisterBand& own) const {
        const auto width = static_cast<uint32_t>(m_args.m_targetWidth);
        const uint32_t begin = static_cast<uint32_t>(own.m_firstRow) * width;
        const uint32_t pixels = static_cast<uint32_t>(own.m_endRow) * width - begin;
        auto* const target = reinterpret_cast<uint16_t*>(m_args.m_targetDepth);
        for (const RegisterBand& other : m_bands) {
            for (int64_t i = 0; i < other.m_strayCount; ++i) {
                const StrayHit hit = other.m_strays[i];
                if (hit.m_index - begin < pixels) {
                    KeepNearer(target + hit.m_index, hit.m_depth);
                }
            }
        }
    }

    const TransformKernels& m_kernels;
    const TransformArgs<float>& m_args;
    const CPoolTurn& m_turn;
    const uint32_t m_count;
    std::array<RegisterBand, kMaxThreads> m_bands; // the first of them are in use
};

} // namespace

bool RegisterShared(const TransformKernels& kernels, const TransformArgs<float>& args) {
    const auto pixels = static_cast<uint64_t>(args.m_width) * static_cast<uint64_t>(args.m_height);
    const CPoolTurn turn(pixels);
    // Of a wider target not all is cleared, and what lies there counts: only the rule itself holds for it.
    return turn.Threads() > 1 && args.m_targetWidth <= args.m_width &&
           CSharedRegistration(kernels, args, turn).Run();
}

} // namespace ox3d::stereo
