// Address texts and the conversion engine, each by itself.
#include <gtest/gtest.h>

#include "src/BasicComponent/Algorithm/DepthConvertVm/DepthConvertVm.h"
#include "src/Manager/Ipv4Text.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace {

TEST(Ipv4Text, FollowsTheDottedQuad) {
    for (const char* text : {"1.2.3.4", "0.0.0.0", "255.255.255.255", "010.001.000.255"}) {
        EXPECT_EQ(IsValidIpv4(text), 1) << text;
    }
    for (const char* text :
         {"",         ".",        "...",       "1.2.3",     "1.2.3.",     "1.2.3.4.",   "1.2.3.4.5",
          ".1.2.3",   "1..2.3",   "256.1.1.1", "1.1.1.256", "0001.2.3.4", "1.2.3.0004", "+1.2.3.4",
          "1.2.3.-4", " 1.2.3.4", "1.2.3.4 ",  "0x1.2.3.4", "1.2.3.a",    "1,2,3,4"}) {
        EXPECT_EQ(IsValidIpv4(text), 0) << text;
    }
    EXPECT_EQ(IsValidIpv4(nullptr), 0);
}

TEST(DepthConverter, NeedsAnObjectAndRecords) {
    CDepthConvertVm engine;
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT input = {};
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT output = {};
    EXPECT_NE(engine.HfrVmCalProcess(&input, &output), 0u) << "there is no object yet";
    EXPECT_EQ(engine.Init(), 0u);
    EXPECT_EQ(engine.HfrVmCalProcess(nullptr, &output), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(engine.HfrVmCalProcess(&input, nullptr), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(engine.HfrVmCalProcess(&input, &output), 0x10000014u) << "the algorithm's own status";
    engine.DeInit();
    EXPECT_NE(engine.HfrVmCalProcess(&input, &output), 0u);
}

} // namespace
