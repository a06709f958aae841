// The promise on memory: every process runs in exactly the asked blocks, allocates nothing, and keeps nothing
// in scratch memory that it needs. Relies on the linker wrapping the C allocation functions for everything
// linked in statically.
#include "StereoRig.h"
#include "TestObject.h"

#include <cstdlib>
#include <new>
#include <vector>

namespace {
int g_allocations = 0;
}

#define COUNTED(result, name, parameters, arguments) \
    extern "C" result __real_##name parameters;      \
    extern "C" result __wrap_##name parameters;      \
    result __wrap_##name parameters {                \
        ++g_allocations;                             \
        return __real_##name arguments;              \
    }
COUNTED(void*, malloc, (size_t size), (size))
COUNTED(void*, calloc, (size_t count, size_t size), (count, size))
COUNTED(void*, realloc, (void* block, size_t size), (block, size))
COUNTED(void*, aligned_alloc, (size_t alignment, size_t size), (alignment, size))

void* operator new(size_t size) {
    return __wrap_malloc(size);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, size_t /*size*/) noexcept {
    std::free(block);
}

using namespace algorithm_test;

namespace {

constexpr OXB3D_BINOSTEREO_CAMERA kCamera = {{520, 0, 311, 0, 516, 247, 0, 0, 1},
                                             {-0.2F, 0.06F, 0.001F, 0, 0}};

// Images in blocks of exactly their size, and a round of every process over them.
struct Round {
    CGuardedBlock grey{size_t{640} * 480}, left{size_t{640} * 480}, right{size_t{640} * 480};
    CGuardedBlock depth{size_t{640} * 480 * 2}, fused{size_t{640} * 480 * 2}, target{size_t{640} * 480 * 2};
    CGuardedBlock points{size_t{640} * 480 * 12};
    StereoRig rig{640, 480, kCamera, kCamera, Turn({0.01, 0.04, -0.02}), {-80, 2, 1}};

    Round() {
        for (size_t i = 0; i < size_t{640} * 480; ++i) {
            grey.Data<uint8_t>()[i] = static_cast<uint8_t>(i % 640 / 3 + i / 640);
            depth.Data<int16_t>()[i] = static_cast<int16_t>(500 + i % 640);
        }
    }

    int32_t Run(CTestObject& object) const {
        OXB3D_BINOSTEREO_INIT_OUTPUT common{};
        const ZQA_IMAGE picture = Image(1, 640, 480, grey.Data());
        const ZQA_IMAGE map = Image(3, 640, 480, depth.Data());
        OXB3D_BINOSTEREO_IMAGE_PAIR rectified{Image(1, 640, 480, left.Data()),
                                              Image(1, 640, 480, right.Data())};
        ZQA_IMAGE fusedImage = Image(3, 640, 480, fused.Data());
        OXB3D_BINOSTEREO_DEPTH_SCORE_OUTPUT score{};
        int32_t scores[1];
        const OXB3D_BINOSTEREO_REGION whole{0, 0, 640, 480};
        OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT severalScores{scores};
        const float k[4] = {520, 516, 311, 247};
        const float move[12] = {1, 0, 0, 20, 0, 1, 0, 3, 0, 0, 1, 0};
        OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT out{nullptr, points.Data<float>(),
                                                      Image(3, 640, 480, target.Data())};
        return object.Process(1, rig.input, common) |
               object.Process(5, OXB3D_BINOSTEREO_IMAGE_PAIR{picture, picture}, rectified) |
               object.Process(6, OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT{map, picture}, fusedImage) |
               object.Process(6, OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT{map, picture}, fusedImage) |
               object.Process(3, OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT{map, whole}, score) |
               object.Process(13, OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT{map, 1, 0, &whole}, severalScores) |
               object.Process(15, OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT{map, k, move, k, nullptr, {}},
                              out);
    }
};

TEST(Memory, IsNeitherReadNorWrittenBeyondWhatWasAskedFor) {
    const Round round;
    for (const Against against : {Against::End, Against::Start}) {
        for (const auto& [width, height] : {std::pair{640, 480}, {643, 491}}) {
            CTestObject object(63, width, height, against);
            EXPECT_EQ(round.Run(object), 0);
        }
    }
}

TEST(Memory, IsNeverAllocated) {
    const Round round;
    CTestObject object(63);
    CMemory memory(Ability(63));
    const OXB3D_BINOSTEREO_ABILITY ability = Ability(63);
    OXB3D_BINOSTEREO_MEM_TAB tab[8];
    void* handle = nullptr;
    const int before = g_allocations;
    const int32_t status = OXB3D_BINOSTEREO_GetMemSize(&ability, tab) |
                           OXB3D_BINOSTEREO_Create(&ability, memory.Tab(), &handle) |
                           OXB3D_BINOSTEREO_SetConfig(handle, 3, nullptr, 0) | round.Run(object);
    const int after = g_allocations;
    EXPECT_EQ(status, 0);
    EXPECT_EQ(after, before);
    EXPECT_FALSE(std::vector<int>(size_t{1} + static_cast<size_t>(after)).empty());
    EXPECT_GT(g_allocations, after) << "the count itself must work";
}

TEST(Memory, MayLoseItsScratchBetweenCalls) {
    const Round round;
    const Round disturbed;
    CTestObject object(63);
    CTestObject other(63);
    const OXB3D_BINOSTEREO_MEM_TAB scratch = other.Memory().Tab()[1];
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(round.Run(object), 0);
        EXPECT_EQ(disturbed.Run(other), 0);
        EXPECT_EQ(std::memcmp(round.right.Data(), disturbed.right.Data(), size_t{640} * 480), 0);
        for (int32_t y = 5; y <= 474; ++y) { // outside lies what the scratch memory holds
            const size_t at = static_cast<size_t>(y) * 640 + 5;
            ASSERT_EQ(std::memcmp(round.fused.Data<int16_t>() + at, disturbed.fused.Data<int16_t>() + at,
                                  size_t{629} * 2),
                      0);
        }
        std::memset(scratch.base, 0x31 * (i + 1), scratch.size);
    }
}

} // namespace
