// Frames with all switches on, and what they take from the heap.
#include "fuzz/session/Allocations.h"
#include "tests/doubles/ScriptedCamera.h"

// The scripted camera may allocate as it likes.
bool ox3d::test::MustCount(const void* caller) {
    Dl_info info = {};
    return dladdr(caller, &info) != 0 && info.dli_fname != nullptr &&
           (strstr(info.dli_fname, "libOx3dRgbd") != nullptr ||
            strstr(info.dli_fname, "libMediaProcess") != nullptr);
}

namespace {

using Allocations = CScripted;

TEST_F(Allocations, AreNoneOnceTheFirstFrameWasFetched) {
    const auto isAligned = [](const uint8_t* data) { return reinterpret_cast<uintptr_t>(data) % 64 == 0; };
    OpenAndStart();
    ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK); // the other switches are on
    ASSERT_EQ(SetSwitch("Ox3dThreads", 3), OX3D_RGBD_OK);
    CRawFrame raw(1280, 720);
    raw.AddColor(1920, 1080);
    for (int i = 0; i < 3; ++i) {
        Double().QueueFrame(raw.Out());
        const uint64_t before = g_allocations;
        ASSERT_EQ(OX3D_RGBD_FetchFrame(m_handle, &m_frame, 1000), OX3D_RGBD_OK);
        EXPECT_EQ(g_allocations != before, i == 0) << "frame " << i;
    }
    ASSERT_EQ(m_frame.nImageCount, 3u);
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(isAligned(Image(i).pData)) << "image " << i;
    }
    OX3D_RGBD_IMAGE_DATA depth = Image(0);
    OX3D_RGBD_IMAGE_DATA cloud = {};
    ASSERT_EQ(OX3D_RGBD_MapDepthToPointCloud(m_handle, &depth, &cloud), OX3D_RGBD_OK);
    EXPECT_TRUE(isAligned(cloud.pData));
    const OX3D_RGBD_CLOUD_OPTIONS options = {OX3D_RGBD_CAMERA_COLOR,       0, 0,
                                             OX3D_RGBD_CLOUD_COLOR_BESIDE, 1, {}};
    for (int i = 0; i < 2; ++i) {
        OX3D_RGBD_CLOUD points = {};
        const uint64_t before = g_allocations;
        ASSERT_EQ(OX3D_RGBD_MapFrameToPointCloud(m_handle, &m_frame, &options, &points), OX3D_RGBD_OK);
        EXPECT_EQ(g_allocations != before, i == 0) << "cloud " << i;
        EXPECT_TRUE(isAligned(static_cast<uint8_t*>(points.pPoints)) && isAligned(points.pColors));
    }
    uint32_t images = 0;
    const auto count = [](OX3D_RGBD_FRAME_DATA* frame, void* user) {
        *static_cast<uint32_t*>(user) += frame->nImageCount;
    };
    ASSERT_EQ(OX3D_RGBD_RegisterFrameCallBack(m_handle, count, &images), OX3D_RGBD_OK);
    const uint64_t before = g_allocations;
    Deliver(raw);
    EXPECT_EQ(g_allocations, before) << "pushed";
    EXPECT_EQ(images, 3u);
}

// Blocks that are in use no more are not preserved when larger images come.
TEST_F(Allocations, OfConversionsAreThoseOfTheLargestImage) {
    constexpr uint32_t kLargest = 800;
    OpenAndStart();
    std::vector<uint8_t> samples(size_t{640} * (kLargest + 4) * 2, 1);
    const size_t before = HeapBytes();
    for (uint32_t height = 480; height <= kLargest; height += 8) {
        CRawFrame frame(640, static_cast<uint16_t>(height)); // its registered depth is lent until the next
        ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);
        OX3D_RGBD_IMAGE_DATA depth = DepthImage(samples, 640, height + 4);
        OX3D_RGBD_IMAGE_DATA cloud = {};
        ASSERT_EQ(OX3D_RGBD_MapDepthToPointCloud(m_handle, &depth, &cloud), OX3D_RGBD_OK) << height;
    }
    constexpr size_t kSampleAndPointBytes = 2 + 12;
    EXPECT_LT(HeapBytes() - before, 2 * kSampleAndPointBytes * 640 * kLargest);
}

} // namespace
