// What every process asks of its records, and in which order: for each process its faults as it must find them.
// Relies on processes that write nothing where they fail.
#include "algorithm/binostereo/Object.h"
#include "tests/algorithm/StereoRig.h"
#include "tests/algorithm/TestObject.h"

#include <climits>
#include <cmath>

using namespace ox3d::stereo;
using namespace ox3d::test;

namespace {

constexpr int32_t kGeneral = 0x10000000, kFormat = 0x10000007, kSize = 0x10000008, kStep = 0x10000009,
                  kPlane = 0x1000000A, kNull = 0x10000014, kRegion = 0x10000019;
constexpr int32_t kFusion = 0; // stands for the function itself
constexpr float kNumbers[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

constexpr OXB3D_BINOSTEREO_CAMERA kCamera = {{500, 0, 320, 0, 500, 240, 0, 0, 1}, {}};

// Valid records of every process.
struct Records {
    explicit Records(uint8_t* samples)
        : m_samples(reinterpret_cast<int16_t*>(samples)), m_grey(Image(1, 640, 480, samples)),
          m_depth(Image(3, 640, 480, samples)) {}

    int32_t Run(CTestObject& object, int32_t type) {
        switch (type) {
        case 1:
            return object.Process(1, m_init, m_common);
        case 3:
            return object.Process(3, m_score, m_scores[0]);
        case 5:
            return object.Process(5, m_in, m_out);
        case 6:
            return object.Process(6, m_fuse, m_depth);
        case 13:
            return object.Process(13, m_several, m_severalOut);
        case 15:
            return object.Process(15, m_trans, m_transOut);
        default:
            return OXB3D_BINOSTEREO_MULTI_FUSE_Process(ObjectOf(object.Handle())->m_multiFuseRegion, &m_frame,
                                                       m_config, m_samples);
        }
    }
    bool IsUnwritten() const { return m_common.fx == 0 && m_common.baseLine == 0 && m_scores[0] == -77; }

    int16_t* m_samples;
    ZQA_IMAGE m_grey, m_depth;
    OXB3D_BINOSTEREO_INIT_INPUT m_init = StereoRig(kCamera, kCamera, Turn({}), {-80, 0, 0}).m_input;
    OXB3D_BINOSTEREO_INIT_OUTPUT m_common = {};
    OXB3D_BINOSTEREO_IMAGE_PAIR m_in = {m_grey, m_grey}, m_out = m_in;
    OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT m_fuse = {m_depth, m_grey};
    OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT m_score = {m_depth, {0, 0, 9, 9}};
    OXB3D_BINOSTEREO_REGION m_regions[2] = {{0, 0, 9, 9}, {20, 20, 9, 9}};
    int32_t m_scores[2] = {-77, -77};
    OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT m_several = {m_depth, 2, 0, m_regions};
    OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT m_severalOut = {m_scores};
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT m_trans = {m_depth, kNumbers, kNumbers, kNumbers, nullptr, {}};
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT m_transOut = {nullptr, nullptr, m_depth};
    OXB3D_BINOSTEREO_FUSE_FRAME m_frame = {m_samples, reinterpret_cast<uint8_t*>(m_samples), 640, 480};
    int32_t m_config[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS] = {5, 5, 634, 474, 11, 1, 155, 1, 70, 0, 0};
};

// A wrong number at a place of the records.
struct Wrong {
    template <typename TValue>
    Wrong(size_t at, TValue value) : m_at(at), m_bytes(sizeof value) {
        std::memcpy(&m_value, &value, sizeof value);
    }
    void MakeIn(Records& records) const {
        std::memcpy(reinterpret_cast<uint8_t*>(&records) + m_at, &m_value, m_bytes);
    }
    size_t m_at;
    size_t m_bytes;
    uint64_t m_value = 0;
};
#define WRONG(member, value) Wrong(offsetof(Records, m_##member), value)

// Faults of a process that give one status; those that are found first come first.
const struct {
    int32_t m_process, m_status;
    std::vector<Wrong> m_faults;
} kFaults[] = {
    {1,
     kSize,
     {WRONG(init.width, 639), WRONG(init.height, 479), WRONG(init.width, 641), WRONG(init.height, 481)}},
    {1, kGeneral, {WRONG(init.left.matrix[0], 0.0F), WRONG(init.right.matrix[4], -500.0F)}},
    {1, kGeneral, {WRONG(init.right.distortion[4], NAN), WRONG(init.translation[1], INFINITY)}},
    {1,
     kGeneral,
     {WRONG(init.rotation[4], -1.0F), WRONG(init.rotation[0], 1.01F), WRONG(init.translation[0], 0.0F)}},
    {3, kFormat, {WRONG(score.depth.format, 2)}},
    {3, kRegion, {WRONG(score.region.x, -1), WRONG(score.region.y, -1), WRONG(score.region.x, 632)}},
    {3,
     kRegion,
     {WRONG(score.region.y, INT_MAX), WRONG(score.region.y, 472), WRONG(score.region.x, INT_MAX)}},
    {3, -11, {WRONG(score.depth.data[0], nullptr)}},
    {3,
     kRegion,
     {WRONG(score.region.width, 2), WRONG(score.region.height, 2), WRONG(score.region.height, INT_MIN)}},
    {5, kFormat, {WRONG(in.left.format, 2), WRONG(out.right.format, 2)}},
    {5, kSize, {WRONG(in.right.width, 641), WRONG(in.left.height, 479)}},
    {5, kStep, {WRONG(in.right.step, 639), WRONG(in.left.step, 639)}},
    {5, -11, {WRONG(in.right.data, nullptr)}},
    {5, -10, {WRONG(out.left.step, 639)}},
    {5, -9, {WRONG(out.right.width, 0)}},
    {5, kSize, {WRONG(out.right.width, 639), WRONG(out.left.height, 479)}},
    {6, kNull, {WRONG(fuse.depth.data, nullptr)}},
    {6, kStep, {WRONG(fuse.depth.step, 641), WRONG(fuse.grey.width, 639), WRONG(fuse.grey.height, 479)}},
    {6, kStep, {WRONG(fuse.grey.step, 641)}},
    {6, -8, {WRONG(fuse.grey.format, 99)}},
    {6, -11, {WRONG(fuse.grey.data, nullptr)}},
    {6, -10, {WRONG(fuse.depth.format, 104)}},
    {kFusion, -21, {WRONG(frame.depth, nullptr)}},
    {kFusion, kSize, {WRONG(frame.width, 641), WRONG(frame.height, 481)}},
    {kFusion,
     0x32000003,
     {WRONG(config[0], -1), WRONG(config[1], -1), WRONG(config[2], 641), WRONG(config[3], 5)}},
    {kFusion, 0x32000001, {WRONG(config[5], 4), WRONG(config[5], 0)}},
    {kFusion, -21, {WRONG(frame.grey, nullptr)}},
    {kFusion, 0x32000002, {WRONG(config[6], 256)}},
    {kFusion, 0x32000004, {WRONG(config[7], 2)}},
    {13, kNull, {WRONG(several.regions, nullptr), WRONG(severalOut.scores, nullptr)}},
    {13, kFormat, {WRONG(several.depth.format, 2)}},
    {13, kRegion, {WRONG(several.count, 0), WRONG(regions[1].height, 461), WRONG(regions[1].width, 2)}},
    {13, -11, {WRONG(several.depth.data, nullptr)}},
    {15, kNull, {WRONG(trans.sourceIntrinsics, nullptr), WRONG(transOut.targetDepth.data, nullptr)}},
    {15, kFormat, {WRONG(trans.sourceDepth.format, 77)}},
    {15, kStep, {WRONG(trans.sourceDepth.step, 600)}},
    {15, kPlane, {WRONG(trans.sourceDepth.data, nullptr)}},
    {15, kFormat, {WRONG(trans.sourceDepth.format, 2)}},
    {15, kSize, {WRONG(trans.sourceDepth.width, 639), WRONG(trans.sourceDepth.height, 479)}},
    {15, kStep, {WRONG(trans.sourceDepth.step, 641), WRONG(transOut.targetDepth.step, 641)}},
    {15, kNull, {WRONG(trans.targetIntrinsics, nullptr), WRONG(trans.transform, nullptr)}}};

class ProcessChecks : public testing::Test {
protected:
    ProcessChecks() { EXPECT_EQ(Records(m_samples.data()).Run(m_object, 1), 0); }

    std::vector<uint8_t> m_samples = std::vector<uint8_t>(size_t{640} * 480 * 2, 50);
    CTestObject m_object{63};
};

TEST_F(ProcessChecks, FindEveryFaultAloneAndBeforeThoseThatStandBehindIt) {
    for (const int32_t process : {1, 3, 5, 6, 13, 15, kFusion}) {
        Records behind(m_samples.data());
        EXPECT_EQ(Records(m_samples.data()).Run(m_object, process), 0) << process;
        for (size_t i = std::size(kFaults); i-- > 0;) {
            const auto& [owner, status, faults] = kFaults[i];
            for (auto fault = faults.rbegin(); owner == process && fault != faults.rend(); ++fault) {
                Records alone(m_samples.data());
                for (Records* const records : {&alone, &behind}) {
                    fault->MakeIn(*records);
                    EXPECT_EQ(records->Run(m_object, process), status)
                        << "process " << process << ", row " << i << ", place " << fault->m_at;
                    EXPECT_TRUE(records->IsUnwritten()) << process;
                }
            }
        }
    }
}

TEST_F(ProcessChecks, HoldDepthToTheAbilityAndAskNothingOfWhatIsNotUsed) {
    Records r(m_samples.data());
    r.m_fuse.depth.height = r.m_fuse.grey.height = 481;
    EXPECT_EQ(r.Run(m_object, 6), kSize);
    r.m_fuse.depth.height = 480;
    m_object.SetParam(257, 3); // the larger depth, which takes no grey image
    r.m_fuse.grey = {};
    EXPECT_EQ(r.Run(m_object, 6), 0);
    r.m_frame.grey = nullptr;
    r.m_config[5] = 3, r.m_config[6] = 999, r.m_config[7] = 0;
    EXPECT_EQ(r.Run(m_object, kFusion), 0);
    r.m_transOut.targetDepth.step[0] = -5; // no column lies inside
    EXPECT_EQ(r.Run(m_object, 15), 0);
    EXPECT_EQ(OXB3D_BINOSTEREO_DepthScore(nullptr, 60, {60, 40}, 0, 0, r.m_scores, {0, 0}, {9, 9}), kNull);
}

} // namespace
