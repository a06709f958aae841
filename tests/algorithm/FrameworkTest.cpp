// The life of an algorithm object as its caller sees it: sizing, creation, configuration, dispatch and the
// checks that every process shares. Relies on objects between guard pages.
#include "algorithm/binostereo/Object.h"
#include "algorithm/binostereo/Regions.h"
#include "tests/algorithm/TestObject.h"

#include <array>
#include <climits>

using namespace ox3d::test;

namespace {

using Ab = OXB3D_BINOSTEREO_ABILITY;
using MemTab = OXB3D_BINOSTEREO_MEM_TAB;
using Param = OXB3D_BINOSTEREO_PARAM;
using ParamList = OXB3D_BINOSTEREO_PARAM_LIST;

static_assert(sizeof(MemTab) == 120 && offsetof(MemTab, base) == 24 && offsetof(MemTab, persistence) == 16 &&
              offsetof(MemTab, space) == 40);
static_assert(sizeof(ZQA_IMAGE) == 64 && offsetof(ZQA_IMAGE, step) == 12 && offsetof(ZQA_IMAGE, data) == 32);
static_assert(sizeof(Ab) == 32 && sizeof(OXB3D_BINOSTEREO_FUSE_FRAME) == 24 &&
              offsetof(OXB3D_BINOSTEREO_INIT_INPUT, rotation) == 120 &&
              offsetof(OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT, regions) == 72);

int32_t ParamOf(void* handle, uint32_t id) {
    Param param{id, INT_MIN};
    EXPECT_EQ(OXB3D_BINOSTEREO_GetConfig(handle, 1, &param, 8), 0) << id;
    return param.value;
}

TEST(Ability, AcceptsItsBoundsAndRefusesWhatLiesBeyond) {
    const Ab accepted[] = {{640, 480, 63, 4, 50, 50, 40, INT_MAX},
                           {640, 480, 8, 0, 2, 2, 5, 0},
                           {INT_MAX, INT_MAX, 32, 0, 0, 0, 0, 0}};
    const Ab refused[] = {
        {639, 480, 32, 1, 2, 2, 5, 0}, {640, 479, 32, 1, 2, 2, 5, 0}, {640, 480, 0, 1, 2, 2, 5, 0},
        {640, 480, 64, 1, 2, 2, 5, 0}, {640, 480, 1, 0, 0, 0, 0, 0},  {640, 480, 1, 5, 0, 0, 0, 0},
        {640, 480, 8, 0, 1, 2, 5, 0},  {640, 480, 8, 0, 2, 51, 5, 0}, {640, 480, 8, 0, 2, 2, 41, 0},
        {640, 480, 8, 0, 51, 2, 5, 0}, {640, 480, 8, 0, 2, 1, 5, 0},  {640, 480, 8, 0, 2, 2, 4, 0},
        {640, 480, 32, 0, 0, 0, 0, -1}};
    // More bytes than 64 bits count; of the last each block would do, their sum does not.
    const Ab tooLarge[] = {{INT_MAX, INT_MAX, 1, 1, 0, 0, 0, 0},
                           {INT_MAX, INT_MAX, 2, 0, 0, 0, 0, 0},
                           {INT_MAX, INT_MAX, 4, 1, 0, 0, 0, 0},
                           {INT_MAX, 372529030, 4, 0, 0, 0, 0, 0}};
    const auto expect = [](const auto& abilities, int32_t status) {
        for (const Ab& ability : abilities) {
            MemTab tab[8];
            EXPECT_EQ(OXB3D_BINOSTEREO_GetMemSize(&ability, tab), status) << &ability - abilities;
        }
    };
    expect(accepted, 0);
    expect(refused, 0x10000001);
    expect(tooLarge, 0x10000015);
    EXPECT_EQ(OXB3D_BINOSTEREO_CheckAbilityParam(nullptr), 0x10000014);
}

uint64_t DepthScratch(int32_t width, int32_t height, uint32_t threads = 1) {
    ox3d::stereo::BinoObject object{};
    object.m_ability = Ability(1, width, height, threads);
    return ox3d::stereo::FusionDepthScratchSize(object).Bytes();
}

TEST(Sizing, AddsPersistentNeedsAndSharesScratch) {
    const auto up = [](uint64_t n) { return (n + 127) / 128 * 128; };
    const uint64_t pixels = 641 * 481;
    const uint64_t maps = 128 + 2 * up(8 * pixels);
    const uint64_t depth = up(DepthScratch(641, 481));
    const uint64_t fuse = 128 + up(2 * pixels) + 2 * up(4 * pixels);
    const uint64_t fuseScratch = up(2 * pixels) + up(pixels) + up(22 * 641);
    const uint64_t saddles = up(8 * pixels + (uint64_t{64} << 10) + uint64_t{32} * 2 * 2);
    const uint64_t cases[][3] = {{32, 384, 0},
                                 {34, 384, saddles},
                                 {1, 384 + maps, depth},
                                 {4, 384 + fuse, fuseScratch},
                                 {63, 384 + maps + fuse, depth}};
    for (const auto& [flags, persistent, scratch] : cases) {
        MemTab tab[8];
        std::memset(tab, 0xFF, sizeof tab);
        const Ab ability = Ability(static_cast<uint32_t>(flags), 641, 481);
        ASSERT_EQ(OXB3D_BINOSTEREO_GetMemSize(&ability, tab), 0);
        const MemTab expected[8] = {{persistent, 128, 0, 1, 0, nullptr, nullptr, 1, {}},
                                    {scratch, 128, 0, 0, 0, nullptr, nullptr, 1, {}}};
        EXPECT_EQ(std::memcmp(tab, expected, sizeof tab), 0) << flags;
    }
    Ab ability = Ability(2);
    ability.capabilityB = 0;          // taken as 2
    ability.capabilityC = 4000000000; // as 50
    MemTab tab[8];
    ASSERT_EQ(OXB3D_BINOSTEREO_GetMemSize(&ability, tab), 0);
    EXPECT_EQ(tab[1].size, up(8 * 640 * 480 + (64 << 10) + 32 * 2 * 50));
    ability = {1280, 1024, 24, 1,
               50,   50,   40, 0}; // both kinds of calibration, for the largest board and the most views
    ASSERT_EQ(OXB3D_BINOSTEREO_GetMemSize(&ability, tab), 0);
    EXPECT_LE(tab[1].size, up(8 * 1280 * 1024 + (64 << 10) + 64 * 50 * 50 * 40 * 3 + (8 << 10) * 40));
    EXPECT_LE(tab[1].size, DepthScratch(1280, 1024));
    for (const uint32_t threads : {1U, 4U}) {
        EXPECT_LE(DepthScratch(1280, 1024, threads), uint64_t{140} << 20); // with the maps less than 160 MiB
        EXPECT_LE(DepthScratch(640, 480, threads), uint64_t{43} << 20);    // less than 48
    }
}

TEST(Create, ChecksTheTableInOrderAndWritesNothingWhereItFails) {
    const Ab ability = Ability(63);
    CMemory memory(ability);
    auto* const block = static_cast<uint8_t*>(memory.Tab()[0].base);
    const auto bytes = static_cast<ptrdiff_t>(memory.Tab()[0].size);
    const auto create = [&](auto change, const Ab& a) {
        MemTab tab[8];
        std::memcpy(tab, memory.Tab(), sizeof tab);
        change(tab);
        void* handle = nullptr;
        const int32_t status = OXB3D_BINOSTEREO_Create(&a, tab, &handle);
        EXPECT_EQ(handle != nullptr, status == 0);
        EXPECT_EQ(std::count(block, block + bytes, kGarbage) != bytes, status == 0);
        return status;
    };
    using T = MemTab*;
    EXPECT_EQ(create([](T t) { t[0].base = nullptr; }, ability), 0x10000014);
    EXPECT_EQ(create([](T t) { t[1].size = 0, t[1].base = nullptr; }, ability), 0x10000014);
    EXPECT_EQ(create([](T t) { t[5].size = 128; }, ability), 0x10000002);
    EXPECT_EQ(create([](T t) { t[1].alignment = 64; }, ability), 0x10000003);
    EXPECT_EQ(create([&](T t) { t[0].base = block + 64; }, ability), 0x10000006);
    EXPECT_EQ(create([](T t) { t[0].space = 4; }, ability), 0x10000002);
    EXPECT_EQ(create([&](T t) { t[0].space = 4, t[0].secondBase = block + 64; }, ability), 0x10000006);
    EXPECT_EQ(create([](T t) { t[0].size -= 64; }, ability), 0x10000005);
    EXPECT_EQ(create([](T t) { t[0].size = 0; }, Ability(0)), 0x10000001);
    EXPECT_EQ(create([](T t) { t[0].size = 256; }, Ability(32)), 0x10000004);
    EXPECT_EQ(create([](T t) { t[0].size -= 128; }, ability), 0x10000004);
    EXPECT_EQ(create([](T t) { t[1].size -= 128; }, ability), 0x10000004);
    EXPECT_EQ(create([](T) {}, Ability(1, INT_MAX, INT_MAX)), 0x10000004);
    EXPECT_EQ(create([](T) {}, ability), 0);
    EXPECT_EQ(OXB3D_BINOSTEREO_Create(&ability, memory.Tab(), nullptr), 0x10000014);
}

TEST(Create, PiecesThatAreRefusedLeaveALiveObjectItsScratch) {
    CTestObject object(4);
    MemTab entry = object.Tab()[1];
    const void* const scratch = ox3d::stereo::ObjectOf(object.Handle())->m_scratchRegion;
    entry.base = object.Handle();
    entry.size -= 128;
    uint64_t needed = 0;
    EXPECT_EQ(OXB3D_BINOSTEREO_AllocScratchMem(object.Handle(), &entry, &needed), 0x10000004);
    EXPECT_EQ(ox3d::stereo::ObjectOf(object.Handle())->m_scratchRegion, scratch);
}

TEST(Create, OverALiveObjectKeepsItsParameters) {
    CTestObject object(32);
    object.SetParam(3, 64);
    CMemory other(Ability(33));
    const Ab ability = Ability(33);
    void* handle = object.Handle();
    ASSERT_EQ(OXB3D_BINOSTEREO_Create(&ability, other.Tab(), &handle), 0);
    ASSERT_EQ(handle, other.Tab()[0].base);
    EXPECT_EQ(ParamOf(handle, 3), 64);
    ASSERT_EQ(OXB3D_BINOSTEREO_Create(&ability, other.Tab(), &handle), 0); // and in its own memory
    EXPECT_EQ(ParamOf(handle, 3), 64);
    handle = nullptr;
    ASSERT_EQ(OXB3D_BINOSTEREO_Create(&ability, other.Tab(), &handle), 0);
    EXPECT_EQ(ParamOf(handle, 3), 240);
}

TEST(Handle, IsRecognisedByItsWholeMark) {
    CTestObject object(32);
    Param param{1, 0};
    EXPECT_EQ(OXB3D_BINOSTEREO_GetConfig(nullptr, 1, &param, 8), 0x10000014);
    EXPECT_EQ(OXB3D_BINOSTEREO_SetConfig(nullptr, 99, &param, 8), 0x10000014);
    EXPECT_EQ(OXB3D_BINOSTEREO_Process(nullptr, 15, &param, 8, &param, 8), 0x10000014);
    EXPECT_STREQ(static_cast<char*>(object.Handle()), "OXB3D_BINOSTEREO");
    static_cast<char*>(object.Handle())[16] = 'x';
    EXPECT_EQ(OXB3D_BINOSTEREO_GetConfig(object.Handle(), 1, &param, 8), 0x10000001);
    EXPECT_EQ(OXB3D_BINOSTEREO_Process(object.Handle(), 99, &param, 8, &param, 8), 0x10000001);
    EXPECT_EQ(OXB3D_BINOSTEREO_Destroy(object.Handle()), 0);
    EXPECT_EQ(OXB3D_BINOSTEREO_Destroy(nullptr), 0x10000014);
}

TEST(Parameters, HaveDefaultsAndAcceptExactlyTheirRange) {
    const struct {
        uint32_t id;
        int32_t initial, minimum, maximum;
    } kParams[] = {{1, 11, 5, 40},     {2, 0, 0, 400},    {3, 240, 16, 288}, {4, 2, 1, 2},
                   {5, 1, 1, 2},       {6, 4, 0, 9},      {257, 1, 1, 3},    {258, 1, 1, 1},
                   {259, 155, 0, 255}, {260, 0, -64, 64}, {261, 0, -64, 64}, {513, 80, 0, 100},
                   {514, 80, 0, 100},  {515, 80, 0, 100}, {516, 80, 0, 100}, {769, 7, 3, 100},
                   {770, 15, 1, 255},  {771, 1, 1, 2},    {772, 1, 1, 2},    {773, 30, 0, 100},
                   {774, 50, 20, 100}, {775, 20, 0, 255}, {776, 40, 0, 255}, {777, 1, 1, 2},
                   {1025, 1, 1, 2},    {1026, 1, 0, 10}};
    CTestObject object(32);
    for (const auto& p : kParams) {
        EXPECT_EQ(ParamOf(object.Handle(), p.id), p.initial) << p.id;
        EXPECT_EQ(object.SetParam(p.id, p.minimum), 0) << p.id;
        EXPECT_EQ(object.SetParam(p.id, p.minimum - 1), 0x10000012) << p.id;
        EXPECT_EQ(object.SetParam(p.id, p.maximum + 1), 0x10000012) << p.id;
        EXPECT_EQ(object.SetParam(p.id, p.maximum), 0) << p.id;
        EXPECT_EQ(object.SetParam(p.id, INT_MIN), 0x10000012) << p.id;
        EXPECT_EQ(ParamOf(object.Handle(), p.id), p.maximum) << p.id;
    }
    EXPECT_EQ(OXB3D_BINOSTEREO_SetConfig(object.Handle(), 3, nullptr, -1), 0);
    for (const auto& p : kParams) {
        EXPECT_EQ(ParamOf(object.Handle(), p.id), p.initial) << p.id;
    }
    for (const uint32_t id : {0U, 7U, 256U, 262U, 512U, 517U, 768U, 778U, 1024U, 1027U, UINT_MAX}) {
        EXPECT_EQ(object.SetParam(id, 1), 0x10000011) << id;
    }
}

TEST(Parameters, ListsAreAppliedWholeOrNotAtAll) {
    CTestObject object(32);
    void* const handle = object.Handle();
    const auto set = [&](ParamList l) { return OXB3D_BINOSTEREO_SetConfig(handle, 2, &l, sizeof l); };
    EXPECT_EQ(set({}), 0x10000013);
    EXPECT_EQ(set({257, {}}), 0x10000013);
    EXPECT_EQ(set({3, {{1, 20}, {2, 300}, {6, 10}}}), 0x10000012);
    EXPECT_EQ(set({3, {{1, 20}, {2, 300}, {8, 10}}}), 0x10000011);
    EXPECT_EQ(ParamOf(handle, 1), 11);
    EXPECT_EQ(set({3, {{1, 20}, {2, 300}, {1, 21}}}), 0);
    ParamList list{};
    const auto get = [&] { return OXB3D_BINOSTEREO_GetConfig(handle, 2, &list, sizeof list); };
    EXPECT_EQ(get(), 0x10000013);
    list = {3, {{1, -5}, {99, -5}, {2, -5}}};
    EXPECT_EQ(get(), 0x10000011);
    EXPECT_EQ(list.params[0].value, -5);
    list.params[1].id = 3;
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(list.params[0].value, 21);
    EXPECT_EQ(list.params[2].value, 300);
    list.count = 256;
    std::fill(std::begin(list.params), std::end(list.params), Param{6, 9});
    EXPECT_EQ(set(list), 0);
}

TEST(Configuration, KnowsItsKeysAndRecordSizes) {
    constexpr int32_t kKey = 0x1000000B, kSize = 0x1000000C, kNull = 0x10000014;
    const struct {
        int32_t m_key, m_bytes; // of the record; negative: none is given
        int32_t m_status;
    } sets[] = {{-1, 8, kKey}, {0, 8, kKey},       {5, 8, kKey},
                {6, 8, kKey},  {9, 8, kKey},       {0x30000001, 24, kKey},
                {1, 7, kSize}, {2, 2051, kSize},   {1, -8, kNull},
                {7, 40, 0},    {7, -40, kNull},    {8, 40, kSize},
                {8, 88, 0},    {1, 8, 0x10000011}, {2, 2052, 0x10000013}},
      gets[] = {{0, 8, kKey},           {6, 8, kKey}, {7, 8, kKey},   {8, 8, kKey},  {9, 8, kKey},
                {0x30000000, 24, kKey}, {5, -40, 0},  {5, 41, kSize}, {4, 32, kSize}};
    CTestObject object(32);
    std::array<uint8_t, 2052> data{};
    const auto expect = [&](auto configure, const auto& rows) {
        for (const auto& [key, bytes, status] : rows) {
            void* const record = bytes > 0 ? data.data() : nullptr;
            EXPECT_EQ(configure(object.Handle(), key, record, std::abs(bytes)), status) << key;
        }
    };
    expect(OXB3D_BINOSTEREO_SetConfig, sets);
    expect(OXB3D_BINOSTEREO_GetConfig, gets);
    uint64_t version = UINT64_MAX;
    EXPECT_EQ(OXB3D_BINOSTEREO_GetConfig(nullptr, 3, &version, 8), 0);
    EXPECT_EQ(version, 79768152U);

    std::array<uint32_t, 21> ability;
    ability.fill(0xFFFFFFFFU);
    EXPECT_EQ(OXB3D_BINOSTEREO_GetConfig(object.Handle(), 4, ability.data(), 84), 0);
    EXPECT_EQ(ability, (std::array<uint32_t, 21>{640, 480, 32, 1, 2, 2, 5}));
}

TEST(Configuration, TellsTheSizeOfARectificationMap) {
    const CTestObject object(32);
    constexpr int32_t kRegion = 0x10000019;
    const auto sizeOf = [&](int32_t width, int32_t height, uint32_t mapType, int32_t status) {
        OXB3D_BINOSTEREO_RECT_MAP_SIZE request{width, height, mapType, 0, 7};
        EXPECT_EQ(OXB3D_BINOSTEREO_GetConfig(object.Handle(), 0x30000001, &request, 24), status);
        return request.bufferSize;
    };
    EXPECT_EQ(sizeOf(70000, 70000, 1, 0), 39200000000U);
    EXPECT_EQ(sizeOf(640, 480, 0, 0), (8U * 640 + 32) * 480);
    EXPECT_EQ(sizeOf(0, 480, 1, kRegion), 7U);
    EXPECT_EQ(sizeOf(640, 0, 1, kRegion), 7U);
    EXPECT_EQ(sizeOf(640, 480, 2, kRegion), 7U);
    EXPECT_EQ(sizeOf(INT_MAX, INT_MAX, 1, 0x10000015), 7U);
}

TEST(Process, AsksForItsAbilityBitThenBothRecordsThenTheirSizes) {
    const struct {
        uint32_t m_bit;
        int32_t m_input, m_output; // bytes
    } kTypes[17] = {{0, 0, 0},    {1, 428, 32}, {1, 128, 128}, {2, 80, 4},     {2, 96, 16},   {1, 128, 128},
                    {4, 128, 64}, {8, 64, 512}, {16, 64, 256}, {16, 224, 192}, {16, 64, 672}, {2, 80, 16},
                    {2, 144, 16}, {2, 80, 8},   {2, 80, 8},    {32, 128, 80}};
    uint8_t record[672] = {};
    for (const uint32_t bit : {1U, 2U, 4U, 8U, 16U, 32U}) {
        const CTestObject object(bit);
        for (int32_t type = 0; type <= 16; ++type) {
            SCOPED_TRACE(type);
            const auto [ability, input, output] = kTypes[type];
            const auto run = [&, type](void* in, int32_t inSize, void* out, int32_t outSize) {
                return OXB3D_BINOSTEREO_Process(object.Handle(), type, in, inSize, out, outSize);
            };
            if (ability != bit) {
                EXPECT_EQ(run(record, input, record, output), 0x1000000D);
                continue;
            }
            EXPECT_EQ(run(nullptr, input, record, output), 0x10000014);
            EXPECT_EQ(run(record, input + 1, nullptr, output), 0x10000014);
            constexpr int32_t kWrongSize = 0x1000000E;
            for (const int32_t off : {-1, 1}) {
                EXPECT_EQ(run(record, input + off, record, output), kWrongSize);
                EXPECT_EQ(run(record, input, record, output + off), kWrongSize);
            }
            EXPECT_NE(run(record, input, record, output), kWrongSize);
        }
    }
}

TEST(Status, OfTheImageLayerIsMapped) {
    constexpr int32_t kCases[][2] = {{-1, 0x10000000}, {-29, 0x1000001C}, {-30, 0x10000000},
                                     {1, 0x1000001D},  {2, 0x10000000},   {INT_MIN, 0x10000000}};
    for (const auto& [zqa, expected] : kCases) {
        EXPECT_EQ(OXB_ZqaStatusToOxbAlgStatus(zqa), expected) << zqa;
    }
    EXPECT_EQ(OXB_ZqaStatusToOxbAlgStatus(0), 0);
}

TEST(ImageCheck, HoldsEveryFormatToItsRules) {
    const struct {
        int32_t m_first, m_last;
        bool m_isWidthEven, m_isHeightEven;
        int32_t m_steps[4]; // smallest for width 12; 0: plane not needed
    } kRules[] = {{1, 3, false, false, {12}},       {100, 101, true, true, {12, 6, 6}},
                  {102, 102, true, true, {12, 12}}, {103, 103, true, false, {12, 6, 6}},
                  {104, 104, false, false, {24}},   {105, 105, false, false, {12, 12, 12}},
                  {106, 107, false, false, {24}},   {200, 200, false, false, {12, 12, 12}},
                  {201, 201, false, false, {36}},   {202, 202, false, false, {12, 12, 12, 12}},
                  {203, 203, false, false, {48}},   {204, 204, false, false, {12, 12, 12, 12}},
                  {205, 205, false, false, {48}},   {300, 307, false, false, {12}}};
    uint8_t pixel = 0;
    for (const auto& rule : kRules) {
        for (int32_t format = rule.m_first; format <= rule.m_last; ++format) {
            SCOPED_TRACE(format);
            const auto check = [&](int32_t width, int32_t height, size_t narrow = 9, size_t missing = 9) {
                ZQA_IMAGE image{format, width, height, {}, {}};
                for (size_t i = 0; i < 4; ++i) {
                    image.step[i] = rule.m_steps[i] - (i == narrow ? 1 : 0);
                    image.data[i] = rule.m_steps[i] != 0 && i != missing ? &pixel : nullptr;
                }
                return ZQA_CheckImage(&image);
            };
            EXPECT_EQ(check(12, 10), 0);
            EXPECT_EQ(check(11, 10), rule.m_isWidthEven ? -9 : 0);
            EXPECT_EQ(check(12, 9), rule.m_isHeightEven ? -9 : 0);
            EXPECT_EQ(check(0, 10), -9);
            EXPECT_EQ(check(12, INT_MIN), -9);
            EXPECT_EQ(check(INT_MAX - 1, 10), -10);
            for (size_t plane = 0; plane < 4; ++plane) {
                const bool isNeeded = rule.m_steps[plane] != 0;
                EXPECT_EQ(check(12, 10, plane), isNeeded ? -10 : 0) << plane;
                EXPECT_EQ(check(12, 10, 9, plane), isNeeded ? -11 : 0) << plane;
            }
        }
    }
    for (const int32_t format : {0, 4, 99, 108, 199, 206, 299, 308, -1}) {
        const ZQA_IMAGE image = Image(format, nullptr);
        EXPECT_EQ(ZQA_CheckImage(&image), -8) << format;
    }
    EXPECT_EQ(ZQA_CheckImage(nullptr), -21);
}

} // namespace
