// What every process asks of its records, and in which order: for each process its faults as it must find them.
// Relies on processes that write nothing where they fail.
#include "algorithm/binostereo/Object.h"
#include "tests/algorithm/TestObject.h"

#include <climits>
#include <cmath>
#include <functional>

using namespace ox3d::stereo;
using namespace ox3d::test;

namespace {

constexpr int32_t kGeneral = 0x10000000, kFormat = 0x10000007, kSize = 0x10000008, kStep = 0x10000009,
                  kPlane = 0x1000000A, kNull = 0x10000014, kRegion = 0x10000019;
constexpr int32_t kFusion = 0; // stands for the function itself
constexpr float kNumbers[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

// Valid records of every process.
struct Records {
    std::vector<uint8_t> m_samples = std::vector<uint8_t>(size_t{640} * 480 * 12, 50);
    ZQA_IMAGE m_grey = Image(1, 640, 480, m_samples.data());
    ZQA_IMAGE m_depth = Image(3, 640, 480, m_samples.data());
    OXB3D_BINOSTEREO_INIT_INPUT m_init = {640,
                                          480,
                                          {{500, 0, 320, 0, 500, 240, 0, 0, 1}, {}},
                                          {{500, 0, 320, 0, 500, 240, 0, 0, 1}, {}},
                                          {1, 0, 0, 0, 1, 0, 0, 0, 1},
                                          {-80, 0, 0},
                                          {}};
    OXB3D_BINOSTEREO_IMAGE_PAIR m_in = {m_grey, m_grey}, m_out = m_in;
    OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT m_fuse = {m_depth, m_grey};
    OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT m_score = {m_depth, {0, 0, 9, 9}};
    OXB3D_BINOSTEREO_REGION m_regions[2] = {{0, 0, 9, 9}, {20, 20, 9, 9}};
    int32_t m_scores[2] = {-77, -77};
    OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT m_several = {m_depth, 2, 0, m_regions};
    OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT m_severalOut = {m_scores};
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT m_trans = {m_depth, kNumbers, kNumbers, kNumbers, nullptr, {}};
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT m_transOut = {nullptr, nullptr, m_depth};
    OXB3D_BINOSTEREO_FUSE_FRAME m_frame = {reinterpret_cast<int16_t*>(m_samples.data()), m_samples.data(),
                                           640, 480};
    int32_t m_config[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS] = {5, 5, 634, 474, 11, 1, 155, 1, 70, 0, 0};
    OXB3D_BINOSTEREO_INIT_OUTPUT m_common = {};
    CTestObject m_object{63};

    int32_t Run(int32_t type) {
        switch (type) {
        case 1:
            return m_object.Process(1, m_init, m_common);
        case 3:
            return m_object.Process(3, m_score, m_scores[0]);
        case 5:
            return m_object.Process(5, m_in, m_out);
        case 6:
            return m_object.Process(6, m_fuse, m_depth);
        case 13:
            return m_object.Process(13, m_several, m_severalOut);
        case 15:
            return m_object.Process(15, m_trans, m_transOut);
        default:
            return OXB3D_BINOSTEREO_MULTI_FUSE_Process(ObjectOf(m_object.Handle())->m_multiFuseRegion,
                                                       &m_frame, m_config,
                                                       reinterpret_cast<int16_t*>(m_samples.data()));
        }
    }
    bool IsUnwritten() const { return m_common.fx == 0 && m_common.baseLine == 0 && m_scores[0] == -77; }
};

// A wrong number at a place of the records, or two. Of one process those that are found first come first.
struct Fault {
    template <typename TValue>
    Fault(int32_t process, int32_t status, size_t at, TValue value) : m_process(process), m_status(status) {
        Add(at, value);
    }
    template <typename TValue, typename TOther>
    Fault(int32_t process, int32_t status, size_t at, TValue value, size_t other, TOther second)
        : Fault(process, status, at, value) {
        Add(other, second);
    }
    template <typename TValue>
    void Add(size_t at, TValue value) {
        m_makers.emplace_back([=](Records& records) {
            std::memcpy(reinterpret_cast<uint8_t*>(&records) + at, &value, sizeof value);
        });
    }
    void MakeIn(Records& records) const {
        for (const auto& maker : m_makers) {
            maker(records);
        }
    }
    int32_t m_process;
    int32_t m_status;
    std::vector<std::function<void(Records&)>> m_makers;
};

#define AT(member) offsetof(Records, m_##member)
const Fault kFaults[] = {{1, kSize, AT(init.width), 639},
                         {1, kSize, AT(init.height), 479},
                         {1, kSize, AT(init.width), 641},
                         {1, kSize, AT(init.height), 481},
                         {1, kGeneral, AT(init.left.matrix[0]), 0.0F},
                         {1, kGeneral, AT(init.right.matrix[4]), -500.0F},
                         {1, kGeneral, AT(init.right.distortion[4]), NAN},
                         {1, kGeneral, AT(init.rotation[4]), -1.0F},
                         {1, kGeneral, AT(init.rotation[0]), 1.01F},
                         {1, kGeneral, AT(init.translation[0]), 0.0F},
                         {1, kGeneral, AT(init.translation[1]), INFINITY},
                         {1, kGeneral, AT(init.rotation[0]), -1.0F, AT(init.rotation[8]), -1.0F},
                         {3, kFormat, AT(score.depth.format), 2},
                         {3, kRegion, AT(score.region.x), -1},
                         {3, kRegion, AT(score.region.y), -1},
                         {3, kRegion, AT(score.region.x), 632, AT(score.region.width), 9},
                         {3, kRegion, AT(score.region.y), 472, AT(score.region.height), 9},
                         {3, kRegion, AT(score.region.x), 640, AT(score.region.width), 0},
                         {3, kRegion, AT(score.region.y), 480, AT(score.region.height), 0},
                         {3, kRegion, AT(score.region.x), INT_MAX, AT(score.region.width), INT_MAX},
                         {3, -11, AT(score.depth.data[0]), nullptr},
                         {3, kRegion, AT(score.region.width), 2},
                         {3, kRegion, AT(score.region.height), 2},
                         {3, kRegion, AT(score.region.height), INT_MIN},
                         {5, kFormat, AT(in.left.format), 2},
                         {5, kFormat, AT(out.right.format), 2},
                         {5, kSize, AT(in.right.width), 641},
                         {5, kSize, AT(in.left.height), 479},
                         {5, kStep, AT(in.right.step), 639},
                         {5, kStep, AT(in.left.step), 639},
                         {5, -11, AT(in.right.data), nullptr},
                         {5, -10, AT(out.left.step), 639},
                         {5, -9, AT(out.right.width), 0},
                         {5, kSize, AT(out.right.width), 639},
                         {5, kSize, AT(out.left.height), 479},
                         {6, kNull, AT(fuse.depth.data), nullptr},
                         {6, kStep, AT(fuse.depth.step), 642},
                         {6, kStep, AT(fuse.grey.width), 639},
                         {6, kStep, AT(fuse.grey.height), 479},
                         {6, kStep, AT(fuse.grey.step), 642},
                         {6, -8, AT(fuse.grey.format), 99},
                         {6, -11, AT(fuse.grey.data), nullptr},
                         {6, -10, AT(fuse.depth.format), 104},
                         {6, kSize, AT(fuse.depth.height), 481, AT(fuse.grey.height), 481},
                         {6, 0x32000003, AT(fuse.depth.height), 10, AT(fuse.grey.height), 10},
                         {kFusion, -21, AT(frame.depth), nullptr},
                         {kFusion, kSize, AT(frame.width), 641},
                         {kFusion, kSize, AT(frame.height), 481},
                         {kFusion, 0x32000003, AT(config[0]), -1},
                         {kFusion, 0x32000003, AT(config[1]), -1},
                         {kFusion, 0x32000003, AT(config[2]), 641},
                         {kFusion, 0x32000003, AT(config[3]), 5},
                         {kFusion, 0x32000001, AT(config[5]), 4},
                         {kFusion, 0x32000001, AT(config[5]), 0},
                         {kFusion, -21, AT(frame.grey), nullptr},
                         {kFusion, 0x32000002, AT(config[6]), 256},
                         {kFusion, 0x32000004, AT(config[7]), 2},
                         {13, kNull, AT(several.regions), nullptr},
                         {13, kNull, AT(severalOut.scores), nullptr},
                         {13, kFormat, AT(several.depth.format), 2},
                         {13, kRegion, AT(several.count), 0},
                         {13, kRegion, AT(regions[1].height), 461},
                         {13, kRegion, AT(regions[1].width), 2},
                         {13, -11, AT(several.depth.data), nullptr},
                         {15, kNull, AT(trans.sourceIntrinsics), nullptr},
                         {15, kNull, AT(transOut.targetDepth.data), nullptr},
                         {15, kFormat, AT(trans.sourceDepth.format), 77},
                         {15, kStep, AT(trans.sourceDepth.step), 600},
                         {15, kPlane, AT(trans.sourceDepth.data), nullptr},
                         {15, kFormat, AT(trans.sourceDepth.format), 2},
                         {15, kSize, AT(trans.sourceDepth.width), 639},
                         {15, kSize, AT(trans.sourceDepth.height), 479},
                         {15, kStep, AT(trans.sourceDepth.step), 641},
                         {15, kStep, AT(transOut.targetDepth.step), 641},
                         {15, kNull, AT(trans.targetIntrinsics), nullptr},
                         {15, kNull, AT(trans.transform), nullptr}};
#undef AT

TEST(ProcessChecks, FindEveryFaultAloneAndBeforeThoseThatStandBehindIt) {
    for (const int32_t process : {1, 3, 5, 6, 13, 15, kFusion}) {
        Records behind;
        Records alone;
        for (Records* const records : {&behind, &alone}) {
            EXPECT_EQ(process == 5 ? records->Run(1) : 0, 0);
            EXPECT_EQ(records->Run(process), 0) << process;
            records->m_common = {};
            records->m_scores[0] = -77;
        }
        const std::vector<uint8_t> valid(reinterpret_cast<uint8_t*>(&alone.m_init),
                                         reinterpret_cast<uint8_t*>(&alone.m_object));
        for (size_t i = std::size(kFaults); i-- > 0;) {
            if (kFaults[i].m_process == process) {
                SCOPED_TRACE(testing::Message() << "process " << process << ", fault " << i);
                kFaults[i].MakeIn(alone);
                kFaults[i].MakeIn(behind);
                EXPECT_EQ(alone.Run(process), kFaults[i].m_status);
                EXPECT_EQ(behind.Run(process), kFaults[i].m_status);
                EXPECT_TRUE(alone.IsUnwritten() && behind.IsUnwritten());
                std::copy(valid.begin(), valid.end(), reinterpret_cast<uint8_t*>(&alone.m_init));
            }
        }
    }
}

TEST(ProcessChecks, AskNothingOfWhatIsNotUsed) {
    Records r;
    r.m_object.SetParam(257, 3); // the larger depth, which takes no grey image
    r.m_fuse.grey = {};
    EXPECT_EQ(r.Run(6), 0);
    r.m_frame.grey = nullptr;
    r.m_config[5] = 3, r.m_config[6] = 999, r.m_config[7] = 0;
    EXPECT_EQ(r.Run(kFusion), 0);
    r.m_transOut.targetDepth.step[0] = -5; // no column lies inside
    EXPECT_EQ(r.Run(15), 0);
    EXPECT_EQ(OXB3D_BINOSTEREO_DepthScore(nullptr, 60, {60, 40}, 0, 0, r.m_scores, {0, 0}, {9, 9}), kNull);
}

} // namespace
