// StereoObject.cpp - an object of the stereo algorithm library in memory of exactly the size it asks for, and calls
// on it with made-up keys, sizes and records, each record and image as long as it says and before a guard page. Built
// twice: OX3D_FUZZ_LARGE runs the processes that compute whole images, which takes a hundred times as long.
#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <array>
#include <cmath>
#include <deque>

#include "fuzz/GuardedBlock.h"
#include "fuzz/Input.h"

namespace {

using namespace ox3d::fuzz;

#ifdef OX3D_FUZZ_LARGE
constexpr bool kIsLarge = true;
constexpr int kMaxCalls = 3;
#else
constexpr bool kIsLarge = false;
constexpr int kMaxCalls = 8;
#endif
constexpr size_t kMaxBlockBytes = size_t{64} << 20;
constexpr size_t kMaxRecordBytes = 4096;
constexpr int32_t kWidth = 640;
constexpr int32_t kHeight = 480;
constexpr size_t kImageBytes = size_t{kWidth} * kHeight * 2;
constexpr size_t kPointBytes = size_t{kWidth} * kHeight * 12;

CGuardedBlock& Memory(uint32_t entry) {
    static std::array<CGuardedBlock, 2> s_blocks{CGuardedBlock(kMaxBlockBytes),
                                                 CGuardedBlock(kMaxBlockBytes)};
    return s_blocks[entry];
}
CGuardedBlock& Record(bool isOutput) {
    static std::array<CGuardedBlock, 2> s_blocks{CGuardedBlock(kMaxRecordBytes),
                                                 CGuardedBlock(kMaxRecordBytes)};
    return s_blocks[isOutput ? 1 : 0];
}
// One block for each pointer that a record may hold; small tables fit, too.
CGuardedBlock& Plane(uint32_t number) {
    static std::array<CGuardedBlock, 4> s_blocks{CGuardedBlock(kImageBytes), CGuardedBlock(kImageBytes),
                                                 CGuardedBlock(kImageBytes), CGuardedBlock(kPointBytes)};
    return s_blocks[number];
}

// Of the views of a calibration; all of them are there at once.
constexpr uint32_t kMaxViews = 5;
constexpr ZQA_SIZE kView = {96, 72};
CGuardedBlock& View(uint32_t number) {
    static std::deque<CGuardedBlock> s_blocks;
    while (s_blocks.size() < size_t{kMaxViews} * 3) {
        s_blocks.emplace_back(size_t{kView.width} * kView.height);
    }
    return s_blocks[number];
}

class CObject {
public:
    explicit CObject(CInput& input) : m_input(input) {}

    bool Create() {
        OXB3D_BINOSTEREO_ABILITY ability = {kWidth, kHeight, 63, 1, 9, 9, 5, 0};
        const auto bits = m_input.Take<uint8_t>();
        if ((bits & 1) != 0) {
            ability = m_input.Take<OXB3D_BINOSTEREO_ABILITY>();
        } else if ((bits & 2) != 0) {
            ability.width += m_input.Take<uint8_t>();
            ability.height += m_input.Take<uint8_t>();
            ability.abilityFlags = m_input.Take<uint8_t>() % 64;
        }
        OXB3D_BINOSTEREO_MEM_TAB table[OXB3D_BINOSTEREO_MEM_TAB_COUNT] = {};
        if (OXB3D_BINOSTEREO_GetMemSize(&ability, table) != 0 || table[0].size > kMaxBlockBytes ||
            table[1].size > kMaxBlockBytes) {
            return false;
        }
        for (uint32_t i = 0; i < 2; ++i) {
            table[i].base = Memory(i).Place(table[i].size, OXB3D_BINOSTEREO_MEM_ALIGNMENT);
        }
        if ((bits & 4) != 0) { // a table that is not as it was handed out
            auto* const bytes = reinterpret_cast<uint8_t*>(&table[m_input.Take<uint8_t>() % 2]);
            const size_t at = m_input.Take<uint8_t>() % offsetof(OXB3D_BINOSTEREO_MEM_TAB, base);
            const bool grows = at < sizeof(table[0].size); // a size that is a lie is the caller's own fault
            bytes[at] = grows ? uint8_t{0} : m_input.Take<uint8_t>();
        }
        return OXB3D_BINOSTEREO_Create(&ability, table, &m_handle) == 0;
    }

    void Call() {
        switch (m_input.Take<uint8_t>() % 4) {
        case 0:
            return Config(OXB3D_BINOSTEREO_SetConfig);
        case 1:
            return Config(OXB3D_BINOSTEREO_GetConfig);
        default:
            return Process();
        }
    }
    void Destroy() { OXB3D_BINOSTEREO_Destroy(m_handle); }

private:
    void Config(int32_t (*call)(void*, int32_t, void*, int32_t)) {
        constexpr int32_t kSizes[] = {8, 2052, 84, 24, 40, 88};
        const auto bits = m_input.Take<uint8_t>();
        const int32_t key = (bits & 1) != 0 ? bits >> 4 : OXB3D_BINOSTEREO_GET_RECT_MAP_SIZE;
        const int32_t size =
            (bits & 2) != 0 ? m_input.Take<int16_t>() : kSizes[m_input.Take<uint8_t>() % std::size(kSizes)];
        const auto held = static_cast<size_t>(std::clamp<int32_t>(size, 0, kMaxRecordBytes));
        uint8_t* const record = Record(false).PlaceFilled(held, m_input.Bytes(40), 4);
        if (held == sizeof(OXB3D_BINOSTEREO_PARAM_LIST) && (bits & 4) != 0) {
            const uint32_t count = m_input.Take<uint16_t>() % 300;
            memcpy(record, &count, sizeof(count));
        }
        call(m_handle, key, (bits & 0xF0) == 0xF0 ? nullptr : record, size);
    }

    // As many samples as it says.
    static uint64_t DepthBytes(const ZQA_IMAGE& image) {
        return image.width > 0 && image.height > 0
                   ? uint64_t{2} * static_cast<uint32_t>(image.width) * static_cast<uint32_t>(image.height)
                   : 0;
    }
    // A descriptor whose plane is of the size it says, or one that nobody should take.
    ZQA_IMAGE Image(uint32_t plane, int32_t format, ZQA_SIZE size = {kWidth, kHeight}) {
        ZQA_IMAGE image = {};
        const auto bits = m_input.Take<uint8_t>();
        image.format = (bits & 0xF) == 0xF ? m_input.Take<int32_t>() : format;
        image.width = (bits & 0x30) == 0x30 ? m_input.Take<int16_t>() : size.width;
        image.height = (bits & 0xC0) == 0xC0 ? m_input.Take<int16_t>() : size.height;
        image.step[0] = image.width;
        const uint64_t bytes = DepthBytes(image);
        if (bytes <= kImageBytes) {
            image.data[0] =
                Plane(plane).PlaceFilled(format == ZQA_FORMAT_GREY8 ? bytes / 2 : bytes, Pattern(), 2);
        }
        return image;
    }
    std::span<const uint8_t> Pattern() { return m_input.Bytes(8); }
    template <size_t N>
    void Fill(float (&values)[N]) {
        for (float& value : values) {
            value = static_cast<float>(m_input.Take<int16_t>()) / 32.0f;
        }
    }

    void Process() {
        const auto bits = m_input.Take<uint8_t>();
        const bool isHeavy = kIsLarge && bits >= 0x40;
        constexpr int32_t kLight[] = {
            OXB3D_BINOSTEREO_PROCESS_DEPTH_SCORE,      OXB3D_BINOSTEREO_PROCESS_DEPTH_SCORE_MROI,
            OXB3D_BINOSTEREO_PROCESS_RGBD_PARAM_TRANS, OXB3D_BINOSTEREO_PROCESS_RGBD_CALIB_SCORE,
            OXB3D_BINOSTEREO_PROCESS_SHARPNESS_SCORE,  0};
        constexpr int32_t kHeavy[] = {OXB3D_BINOSTEREO_PROCESS_INIT, OXB3D_BINOSTEREO_PROCESS_RECTIFY,
                                      OXB3D_BINOSTEREO_PROCESS_DEPTH_FUSE,
                                      OXB3D_BINOSTEREO_PROCESS_COMMON_TRANS};
        int32_t type = isHeavy ? kHeavy[bits % std::size(kHeavy)] : kLight[bits % std::size(kLight)];
        if (isHeavy && bits >= 0xF0) {
            type = OXB3D_BINOSTEREO_PROCESS_DEPTH; // by far the heaviest
        }
        if (!kIsLarge && bits >= 0xC0) {
            type = bits % 4 != 0 ? OXB3D_BINOSTEREO_PROCESS_SADDLE_SCORE
                                 : OXB3D_BINOSTEREO_PROCESS_SADDLE_SCORE_MROI;
        }
        if (!kIsLarge && bits >= 0xF0) {
            constexpr int32_t kCalibrations[] = {
                OXB3D_BINOSTEREO_PROCESS_CALIB, OXB3D_BINOSTEREO_PROCESS_CALIB,
                OXB3D_BINOSTEREO_PROCESS_RGBD_CALIB, OXB3D_BINOSTEREO_PROCESS_RGBD_STEREO_CALIB};
            type = kCalibrations[bits % 4];
        }
        switch (type) {
        case OXB3D_BINOSTEREO_PROCESS_CALIB:
            return Run<OXB3D_BINOSTEREO_CALIB_INPUT, OXB3D_BINOSTEREO_CALIB_OUTPUT>(
                type, [this](auto& in, auto&) { FillCalib(in); });
        case OXB3D_BINOSTEREO_PROCESS_RGBD_CALIB:
            return Run<OXB3D_BINOSTEREO_RGBD_CALIB_INPUT, OXB3D_BINOSTEREO_RGBD_CALIB_OUTPUT>(
                type, [this](auto& in, auto&) {
                    in.board = CalibBoard();
                    in.pairs = static_cast<const OXB3D_BINOSTEREO_IMAGE_PAIR*>(Views(2, &in.views));
                    auto* const depth = Plane(1).PlaceArray<OXB3D_BINOSTEREO_CAMERA>(1);
                    *depth = {{80, 0, 48, 0, 80, 36, 0, 0, 1}, {}};
                    Spoil(*depth);
                    in.depth = m_input.Take<uint8_t>() == 0 ? nullptr : depth;
                });
        case OXB3D_BINOSTEREO_PROCESS_RGBD_STEREO_CALIB:
            return Run<OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_INPUT, OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_OUTPUT>(
                type, [this](auto& in, auto&) {
                    in.board = CalibBoard();
                    in.triples = static_cast<const OXB3D_BINOSTEREO_IMAGE_TRIPLE*>(Views(3, &in.views));
                });
        case OXB3D_BINOSTEREO_PROCESS_DEPTH:
            return FindDepth();
        case OXB3D_BINOSTEREO_PROCESS_INIT:
            return Run<OXB3D_BINOSTEREO_INIT_INPUT, OXB3D_BINOSTEREO_INIT_OUTPUT>(
                type, [this](auto& in, auto&) { FillInit(in); });
        case OXB3D_BINOSTEREO_PROCESS_RECTIFY:
            return Run<OXB3D_BINOSTEREO_IMAGE_PAIR, OXB3D_BINOSTEREO_IMAGE_PAIR>(
                type, [this](auto& in, auto& out) {
                    in = {Image(0, ZQA_FORMAT_GREY8), Image(1, ZQA_FORMAT_GREY8)};
                    out = {Image(2, ZQA_FORMAT_GREY8), Image(3, ZQA_FORMAT_GREY8)};
                });
        case OXB3D_BINOSTEREO_PROCESS_DEPTH_FUSE:
            return Run<OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT, ZQA_IMAGE>(type, [this](auto& in, auto& out) {
                // The one process here that takes small images: one in 64 is whole.
                const auto shape = m_input.Take<uint16_t>();
                const ZQA_SIZE size = shape % 64 == 63
                                          ? ZQA_SIZE{kWidth, kHeight}
                                          : ZQA_SIZE{8 + (shape & 0x3F), 8 + (shape >> 6 & 0x3F)};
                in = {Image(0, ZQA_FORMAT_DEPTH16, size), Image(1, ZQA_FORMAT_GREY8, size)};
                // The output's own size is not read: it takes as many samples as the input has.
                out = in.depth;
                out.data[0] = Plane(2).Place(std::min<uint64_t>(DepthBytes(in.depth), kImageBytes), 2);
            });
        case OXB3D_BINOSTEREO_PROCESS_COMMON_TRANS:
            return Run<OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT, OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT>(
                type, [this](auto& in, auto& out) { FillTrans(in, out); });
        case OXB3D_BINOSTEREO_PROCESS_DEPTH_SCORE_MROI:
            return Run<OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT, OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT>(
                type, [this](auto& in, auto& out) { FillRegions(in, out); });
        case OXB3D_BINOSTEREO_PROCESS_SHARPNESS_SCORE:
            return Run<OXB3D_BINOSTEREO_SHARPNESS_SCORE_INPUT, OXB3D_BINOSTEREO_SHARPNESS_SCORE_OUTPUT>(
                type, [this](auto& in, auto&) {
                    in = {Image(0, ZQA_FORMAT_GREY8, {64, 48}), Region()};
                });
        case OXB3D_BINOSTEREO_PROCESS_SADDLE_SCORE:
            return Run<OXB3D_BINOSTEREO_SADDLE_SCORE_INPUT, OXB3D_BINOSTEREO_SADDLE_SCORE_OUTPUT>(
                type, [this](auto& in, auto&) {
                    const OXB3D_BINOSTEREO_SADDLE_REGION board = BoardRegion();
                    in = {Board(), board.region, board.columns, board.rows, {}};
                });
        case OXB3D_BINOSTEREO_PROCESS_SADDLE_SCORE_MROI:
            return Run<OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_INPUT, OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_OUTPUT>(
                type, [this](auto& in, auto& out) {
                    constexpr uint32_t kMaxRegions = 3;
                    in.grey = Board();
                    in.count = static_cast<int8_t>(m_input.Take<uint8_t>() % (kMaxRegions + 2)) - 1;
                    const auto held = static_cast<size_t>(std::max(in.count, 0));
                    auto* const regions = Plane(1).PlaceArray<OXB3D_BINOSTEREO_SADDLE_REGION>(held);
                    std::generate_n(regions, held, [this] { return BoardRegion(); });
                    in.regions = regions;
                    out.results = Plane(2).PlaceArray<OXB3D_BINOSTEREO_SADDLE_SCORE_OUTPUT>(held);
                });
        case OXB3D_BINOSTEREO_PROCESS_RGBD_CALIB_SCORE:
            return Run<OXB3D_BINOSTEREO_RGBD_CALIB_SCORE_INPUT, OXB3D_BINOSTEREO_RGBD_CALIB_SCORE_OUTPUT>(
                type, [this](auto& in, auto&) {
                    constexpr ZQA_SIZE kSmall = {32, 24};
                    in.depth = Image(0, ZQA_FORMAT_DEPTH16, kSmall);
                    in.grey = Image(1, ZQA_FORMAT_GREY8, kSmall);
                    OXB3D_BINOSTEREO_CAMERA small = {{32, 0, 16, 0, 32, 12, 0, 0, 1}, {}};
                    auto* const param = Plane(2).PlaceArray<OXB3D_BINOSTEREO_RGBD_PARAM>(1);
                    *param = {kSmall.width,
                              kSmall.height,
                              small,
                              kSmall.width,
                              kSmall.height,
                              small,
                              {1, 0, 0, 0, 1, 0, 0, 0, 1},
                              {},
                              {}};
                    Spoil(*param);
                    in.param = param;
                });
        case OXB3D_BINOSTEREO_PROCESS_RGBD_PARAM_TRANS:
            return Run<OXB3D_BINOSTEREO_RGBD_PARAM_TRANS_INPUT, OXB3D_BINOSTEREO_RGBD_PARAM>(
                type, [this](auto& in, auto&) { FillParamTrans(in); });
        default:
            return Run<OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT, OXB3D_BINOSTEREO_DEPTH_SCORE_OUTPUT>(
                type, [this](auto& in, auto&) {
                    in = {Score(), Region()};
                });
        }
    }

    // With made-up parameters, and mostly few disparities: as many as there can be take a second.
    void FindDepth() {
        constexpr uint32_t kIds[] = {1, 2, 4, 5, 6, 769, 770, 771, 772, 773, 774, 775, 776, 777, 3, 3};
        for (auto left = m_input.Take<uint8_t>() % 4; left > 0; --left) {
            const uint32_t id = kIds[m_input.Take<uint8_t>() % std::size(kIds)];
            OXB3D_BINOSTEREO_PARAM param = {id, m_input.Take<int16_t>()};
            OXB3D_BINOSTEREO_SetConfig(m_handle, OXB3D_BINOSTEREO_SET_PARAM, &param, sizeof(param));
        }
        OXB3D_BINOSTEREO_PARAM few = {3, 16 + m_input.Take<uint8_t>() % 32};
        OXB3D_BINOSTEREO_SetConfig(m_handle, OXB3D_BINOSTEREO_SET_PARAM, &few, sizeof(few));
        Run<OXB3D_BINOSTEREO_IMAGE_PAIR, OXB3D_BINOSTEREO_DEPTH_OUTPUT>(
            OXB3D_BINOSTEREO_PROCESS_DEPTH, [this](auto& in, auto& out) {
                in = {Image(0, ZQA_FORMAT_GREY8), Image(1, ZQA_FORMAT_GREY8)};
                out = {Image(2, ZQA_FORMAT_DEPTH16), Image(3, ZQA_FORMAT_DEPTH16)};
                const auto unwanted = m_input.Take<uint8_t>();
                out.depth.data[0] = (unwanted & 3) == 3 ? nullptr : out.depth.data[0];
                out.disparity.data[0] = (unwanted & 12) == 12 ? nullptr : out.disparity.data[0];
            });
    }

    template <class In, class Out, class Filling>
    void Run(int32_t type, Filling&& fill) {
        In in = {};
        Out out = {};
        fill(in, out);
        const auto bits = m_input.Take<uint8_t>();
        auto* const input = Record(false).PlaceArray<In>(1);
        auto* const output = Record(true).PlaceArray<Out>(1);
        *input = in;
        *output = out;
        const int32_t inputSize = bits == 0xFF ? m_input.Take<int32_t>() : static_cast<int32_t>(sizeof(In));
        const int32_t outputSize = bits == 0xFE ? m_input.Take<int32_t>() : static_cast<int32_t>(sizeof(Out));
        OXB3D_BINOSTEREO_Process(m_handle, type, bits == 0xFD ? nullptr : input, inputSize,
                                 bits == 0xFC ? nullptr : output, outputSize);
    }

    // The region's cells and not the image decide how long a score takes.
    ZQA_IMAGE Score() { return Image(0, ZQA_FORMAT_DEPTH16); }
    OXB3D_BINOSTEREO_REGION Region() {
        const bool isNear = m_input.Flag();
        const auto number = [&] {
            return isNear ? int32_t{m_input.Take<uint8_t>()} : m_input.Take<int32_t>();
        };
        return {number(), number(), isNear ? number() % 32 : number(), isNear ? number() % 32 : number()};
    }
    // A small picture, on which mostly a board with squares of a made-up size is drawn, crooked and with pixels that are not of it.
    ZQA_IMAGE Board() {
        constexpr ZQA_SIZE kSmall = {96, 72};
        ZQA_IMAGE image = Image(0, ZQA_FORMAT_GREY8, kSmall);
        const auto square = m_input.Take<uint8_t>() % 24;
        if (square < 4 || image.width != kSmall.width || image.height != kSmall.height ||
            image.data[0] == nullptr) {
            return image;
        }
        const int32_t slope = m_input.Take<uint8_t>() - 128;
        auto* const pixels = static_cast<uint8_t*>(image.data[0]);
        for (int32_t i = 0; i < kSmall.width * kSmall.height; ++i) {
            const int32_t x = i % kSmall.width + i / kSmall.width * slope / 256;
            const int32_t y = i / kSmall.width - i % kSmall.width * slope / 256;
            pixels[i] = ((x + 960) / square + (y + 960) / square) % 2 != 0 ? 230 : 20;
        }
        for (auto left = m_input.Take<uint8_t>() % 32; left > 0; --left) {
            pixels[m_input.Take<uint16_t>() % (kSmall.width * kSmall.height)] = m_input.Take<uint8_t>();
        }
        return image;
    }
    OXB3D_BINOSTEREO_SADDLE_REGION BoardRegion() {
        const auto bits = m_input.Take<uint8_t>();
        const OXB3D_BINOSTEREO_REGION whole = {0, 0, 96, 72};
        return {(bits & 1) != 0 ? whole : Region(), (bits >> 1) % 16, (bits >> 4) % 16};
    }
    // Where a board stands: two of its axes, upright on each other, and its middle.
    struct Stand {
        float m_u[3], m_v[3], m_at[3];
    };
    static float Dot(const float (&a)[3], const float (&b)[3]) {
        return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
    }
    Stand BoardStand() {
        const auto share = [this] { return static_cast<float>(m_input.Take<int8_t>()) / 128; };
        const float turn = share();
        Stand stand = {
            {1, turn, share()}, {-turn, 1, share()}, {30 * share(), 20 * share(), 160 + 60 * share()}};
        const float length = std::sqrt(Dot(stand.m_u, stand.m_u));
        std::transform(stand.m_u, stand.m_u + 3, stand.m_u, [=](float u) { return u / length; });
        const float along = Dot(stand.m_u, stand.m_v);
        std::transform(stand.m_v, stand.m_v + 3, stand.m_u, stand.m_v,
                       [=](float v, float u) { return v - along * u; });
        const float upright = std::sqrt(Dot(stand.m_v, stand.m_v));
        std::transform(stand.m_v, stand.m_v + 3, stand.m_v, [=](float v) { return v / upright; });
        return stand;
    }
    // A board of 4 x 3 corners, as cameras beside one another see it.
    ZQA_IMAGE CalibView(uint32_t number, uint32_t camera, const Stand& board) {
        ZQA_IMAGE image = {ZQA_FORMAT_GREY8, kView.width, kView.height, {kView.width}, {}};
        auto* const pixels = View(number).Place(size_t{kView.width} * kView.height, 1);
        const float at[3] = {board.m_at[0] - 20 * static_cast<float>(camera), board.m_at[1], board.m_at[2]};
        const auto& u = board.m_u;
        const auto& v = board.m_v;
        const float normal[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                                 u[0] * v[1] - u[1] * v[0]};
        for (int32_t i = 0; i < kView.width * kView.height; ++i) {
            const float ray[3] = {static_cast<float>(i % kView.width - 48) / 80,
                                  static_cast<float>(i / kView.width - 36) / 80, 1};
            const float distance = Dot(normal, at) / std::max(Dot(normal, ray), 0.01f);
            const float place[3] = {ray[0] * distance - at[0], ray[1] * distance - at[1], distance - at[2]};
            const auto column = static_cast<int32_t>(std::floor(Dot(place, u) / 25 + 2.5f));
            const auto row = static_cast<int32_t>(std::floor(Dot(place, v) / 30 + 2));
            const bool isBoard = column >= 0 && column < 5 && row >= 0 && row < 4;
            pixels[i] = isBoard && (column + row) % 2 == 0 ? 20 : 230;
        }
        image.data[0] = pixels;
        const auto bits = m_input.Take<uint8_t>();
        if (bits >= 0xF0) { // no more than there is
            image.format = bits == 0xF0 ? ZQA_FORMAT_DEPTH16 : image.format;
            image.width = bits == 0xF1 ? m_input.Take<int8_t>() % kView.width : image.width;
            image.height = bits == 0xF2 ? m_input.Take<int8_t>() % kView.height : image.height;
            image.step[0] = bits == 0xF3 ? m_input.Take<int8_t>() % kView.width : image.step[0];
            image.data[0] = bits == 0xF4 ? nullptr : image.data[0];
        }
        return image;
    }
    // Images of so many cameras, view by view, and how many views those are said to be.
    const void* Views(uint32_t cameras, int32_t* count) {
        const auto bits = m_input.Take<uint8_t>();
        const uint32_t views = bits % (kMaxViews + 1);
        auto* const images = Plane(0).PlaceArray<ZQA_IMAGE>(size_t{views} * cameras);
        for (uint32_t view = 0; view < views; ++view) {
            const Stand board = BoardStand();
            for (uint32_t camera = 0; camera < cameras; ++camera) {
                const uint32_t number = view * cameras + camera;
                images[number] = CalibView(number, camera, board);
            }
        }
        // More than any ability's are not read.
        *count = (bits & 0xF0) == 0xF0   ? -m_input.Take<uint16_t>()
                 : (bits & 0xF0) == 0xD0 ? 41 + m_input.Take<uint16_t>()
                                         : static_cast<int32_t>(views);
        return bits == 0xE0 ? nullptr : images;
    }
    OXB3D_BINOSTEREO_BOARD CalibBoard() {
        OXB3D_BINOSTEREO_BOARD board = {4, 3, 25, 30, {}};
        if (m_input.Take<uint8_t>() % 8 == 0) {
            Spoil(board);
        }
        for (const uint32_t id : {1025U, 1026U}) {
            OXB3D_BINOSTEREO_PARAM param = {id, m_input.Take<uint8_t>() % 4};
            OXB3D_BINOSTEREO_SetConfig(m_handle, OXB3D_BINOSTEREO_SET_PARAM, &param, sizeof(param));
        }
        return board;
    }
    void FillCalib(OXB3D_BINOSTEREO_CALIB_INPUT& in) {
        in.board = CalibBoard();
        in.mode = m_input.Take<uint8_t>() % 4;
        in.pairs = static_cast<const OXB3D_BINOSTEREO_IMAGE_PAIR*>(Views(2, &in.views));
        auto* const start = Plane(1).PlaceArray<OXB3D_BINOSTEREO_INIT_INPUT>(1);
        const OXB3D_BINOSTEREO_CAMERA small = {{80, 0, 48, 0, 80, 36, 0, 0, 1}, {}};
        *start = {kView.width, kView.height, small, small, {1, 0, 0, 0, 1, 0, 0, 0, 1}, {-80, 0, 0}, {}};
        Spoil(*start);
        in.start = m_input.Take<uint8_t>() == 0 ? nullptr : start;
    }
    void FillRegions(OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT& in,
                     OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT& out) {
        constexpr uint32_t kMaxRegions = 8;
        in.depth = Score();
        in.count = static_cast<int8_t>(m_input.Take<uint8_t>() % (kMaxRegions + 2)) - 1;
        const auto held = static_cast<size_t>(std::max(in.count, 0));
        auto* const regions = Plane(1).PlaceArray<OXB3D_BINOSTEREO_REGION>(held);
        for (size_t i = 0; i < held; ++i) {
            regions[i] = Region();
        }
        in.regions = regions;
        out.scores = Plane(2).PlaceArray<int32_t>(held);
    }
    void FillInit(OXB3D_BINOSTEREO_INIT_INPUT& in) {
        in.width = m_input.Take<uint8_t>() == 0 ? m_input.Take<int32_t>() : kWidth;
        in.height = m_input.Take<uint8_t>() == 0 ? m_input.Take<int32_t>() : kHeight;
        Fill(in.left.matrix);
        Fill(in.left.distortion);
        Fill(in.right.matrix);
        Fill(in.right.distortion);
        Fill(in.rotation);
        Fill(in.translation);
    }
    // Level cameras, a few of whose bytes may be anything.
    static OXB3D_BINOSTEREO_CAMERA Level() { return {{500, 0, 320, 0, 500, 240, 0, 0, 1}, {}}; }
    template <class Filled>
    void Spoil(Filled& record) {
        auto* const bytes = reinterpret_cast<uint8_t*>(&record);
        for (auto left = m_input.Take<uint8_t>() % 4; left > 0; --left) {
            bytes[m_input.Take<uint16_t>() % sizeof(record)] = m_input.Take<uint8_t>();
        }
    }
    void FillParamTrans(OXB3D_BINOSTEREO_RGBD_PARAM_TRANS_INPUT& in) {
        in.param = {kWidth, kHeight, Level(), kWidth, kHeight, Level(), {1, 0, 0, 0, 1, 0, 0, 0, 1}, {}, {}};
        Spoil(in.param);
        if (m_input.Flag()) {
            auto* const rig = Plane(0).PlaceArray<OXB3D_BINOSTEREO_INIT_INPUT>(1);
            *rig = {kWidth, kHeight, Level(), Level(), {1, 0, 0, 0, 1, 0, 0, 0, 1}, {-80, 0, 0}, {}};
            Spoil(*rig);
            in.rig = rig;
        }
        in.targetDepthWidth = m_input.Take<int16_t>();
        in.targetDepthHeight = m_input.Take<int16_t>();
        in.targetColorWidth = m_input.Take<int16_t>();
        in.targetColorHeight = m_input.Take<int16_t>();
    }
    void FillTrans(OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT& in,
                   OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT& out) {
        static std::array<CGuardedBlock, 4> s_tables{CGuardedBlock(64), CGuardedBlock(64), CGuardedBlock(64),
                                                     CGuardedBlock(64)};
        const auto floats = [this](uint32_t table, size_t count) -> const float* {
            if (m_input.Take<uint8_t>() % 4 == 0) {
                return nullptr;
            }
            auto* const values = s_tables[table].PlaceArray<float>(count);
            std::generate_n(values, count,
                            [this] { return static_cast<float>(m_input.Take<int16_t>()) / 32.0f; });
            return values;
        };
        in.sourceDepth = Image(0, ZQA_FORMAT_DEPTH16);
        in.sourceIntrinsics = floats(0, 4);
        in.transform = floats(1, 12);
        in.targetIntrinsics = floats(2, 4);
        in.targetDistortion = floats(3, 4);
        const auto bits = m_input.Take<uint8_t>();
        out.pointsFloat = (bits & 1) != 0 ? Plane(3).PlaceArray<float>(kPointBytes / sizeof(float)) : nullptr;
        out.points16 =
            (bits & 1) == 0 && (bits & 2) != 0 ? Plane(3).PlaceArray<int16_t>(kPointBytes / 2) : nullptr;
        out.targetDepth.step[0] = (bits & 4) != 0 ? in.sourceDepth.width : m_input.Take<int16_t>();
        out.targetDepth.data[0] = (bits & 8) != 0 ? Plane(2).Place(kImageBytes, 2) : nullptr;
    }

    CInput& m_input;
    void* m_handle = nullptr;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    CObject object(input);
    if (object.Create()) {
        for (int i = 0; i < kMaxCalls && input.Left() > 0; ++i) {
            object.Call();
        }
        object.Destroy();
    }
    return 0;
}
