// What every function says and logs for null, unknown and closed handles and for arguments that it cannot use.
#include "tests/doubles/ScriptedCamera.h"

namespace {

uint32_t g_number;
uint8_t g_byte;
OX3D_RGBD_DEVICE_INFO g_info;
OX3D_RGBD_FRAME_DATA g_frame;
OX3D_RGBD_PARAM g_param;
OX3D_RGBD_CALIB_INFO g_calib;
OX3D_RGBD_IMAGE_DATA g_image;
OX3D_RGBD_IP_CONFIG g_ipConfig;
OX3D_RGBD_EXTRINSICS g_extrinsics;
OX3D_RGBD_INTRINSICS g_intrinsics;
OX3D_RGBD_FRAME_TIMES g_times;
OX3D_RGBD_FRAME_CLOCK g_clock;
OX3D_RGBD_FRAME_DATA* g_copy;
OX3D_RGBD_CLOUD_OPTIONS g_options;
OX3D_RGBD_CLOUD_OPTIONS g_badOptions[] = {{2, 0, 0, 0, 0, {}}, {0, 2, 0, 0, 0, {}}, {0, 0, 2, 0, 0, {}},
                                          {0, 0, 0, 3, 0, {}}, {0, 0, 0, 0, 2, {}}, {0, 0, 0, 0, 0, {0, 1}}};
OX3D_RGBD_CLOUD g_cloud;
OX3D_RGBD_FEATURE g_feature;
OX3D_RGBD_FEATURE_ENTRY g_entry;
OX3D_RGBD_FILE_ACCESS g_files = {"copy", "RGBDSensorCali", {}};

struct Row {
    const char* m_name;
    uint32_t (*m_call)(void* handle);
    uint32_t m_status;
    const char* m_line; // without the "OX3D_RGBD_" that follows the bracket; null: none
};

#define ROW(status, line, name, ...)                                                     \
    {                                                                                    \
#        name "(" #        __VA_ARGS__ ")",                                              \
            [](void* h) { return (void)h, OX3D_RGBD_##name(__VA_ARGS__); }, status, line \
    }
constexpr uint32_t kParameter = OX3D_RGBD_E_PARAMETER;
constexpr uint32_t kHandle = OX3D_RGBD_E_HANDLE;

// Every function that takes a handle, with arguments that pass its own checks. The line is that of a null handle.
const Row kHandleCalls[] = {
    ROW(kHandle, " [GetDeviceInfo]handle is null.", GetDeviceInfo, h, &g_info),
    ROW(kHandle, " [Start]handle is null.", Start, h),
    ROW(kHandle, " [Stop]handle is null.", Stop, h),
    ROW(kHandle, " [FetchFrame]handle is null.", FetchFrame, h, &g_frame, 0),
    ROW(kHandle, " [RegisterFrameCallBack]handle is null.", RegisterFrameCallBack, h, nullptr, nullptr),
    ROW(kHandle, " [RegisterExceptionCallBack]handle is null.", RegisterExceptionCallBack, h, nullptr,
        nullptr),
    ROW(kHandle, " [SoftTrigger]handle is null.", SoftTrigger, h),
    ROW(kHandle, " [Execute]handle is null.", Execute, h, "Key"),
    ROW(kHandle, " [GetValue]handle is null.", GetParam, h, "Width", &g_param),
    ROW(kHandle, " [SetValue]handle is null.", SetParam, h, "Width", &g_param),
    ROW(kHandle, "[GetCalibInfo] handle is null.", GetCalibInfo, h, 1, &g_calib),
    ROW(kHandle, "[PropertyExport] handle is null.", ExportAllParam, h, "file"),
    ROW(kHandle, "[PropertyImport] handle is null.", ImportAllParam, h, "file"),
    ROW(kHandle, " [LocalUpgrade] handle is null.", LocalUpgrade, h, "file"),
    ROW(kHandle, " [GetUpgradeProcess] handle is null.", GetUpgradeProcess, h, &g_number),
    ROW(kHandle, "[MapDepthToPointCloud] handle is null.", MapDepthToPointCloud, h, &g_image, &g_image),
    ROW(kHandle, nullptr, GetCameraXML, h, &g_byte, 1, &g_number),
    ROW(kHandle, nullptr, XML_GetNodeAccessMode, h, "Key", &g_number),
    ROW(kHandle, nullptr, SetImageNodeNum, h, 2),
    ROW(kHandle, nullptr, InvalidateNodes, h),
    ROW(kHandle, nullptr, ReadAddressMem, h, &g_byte, 0, 1),
    ROW(kHandle, nullptr, WriteAddressMem, h, &g_byte, 0, 1),
    ROW(kHandle, nullptr, FileAccessRead, h, &g_files),
    ROW(kHandle, nullptr, FileAccessWrite, h, &g_files),
    ROW(kHandle, nullptr, SetGvcpTimeout, h, 500),
    ROW(kHandle, nullptr, GetGvcpTimeout, h, &g_number),
    ROW(kHandle, nullptr, MapFrameToPointCloud, h, &g_frame, &g_options, &g_cloud),
    ROW(kHandle, nullptr, CopyFrame, h, &g_frame, &g_copy),
    ROW(kHandle, nullptr, TakeFrame, h, &g_frame, &g_copy),
    ROW(kHandle, nullptr, GetFrameClock, h, &g_clock),
    ROW(kHandle, nullptr, GetFrameTimes, h, &g_frame, &g_times),
    ROW(kHandle, nullptr, GetExtrinsics, h, 0, 1, &g_extrinsics),
    ROW(kHandle, nullptr, GetIntrinsics, h, 0, &g_intrinsics),
    ROW(kHandle, nullptr, ExportSystemCalibration, h, "file"),
    ROW(kHandle, nullptr, ImportSystemCalibration, h, "file"),
    ROW(kHandle, nullptr, GetFeatures, h, nullptr, &g_feature, 1, &g_number),
    ROW(kHandle, nullptr, GetFeatureEntries, h, "Key", &g_entry, 1, &g_number),
    ROW(kHandle, nullptr, SetEnumByName, h, "Key", "Entry"),
    ROW(kHandle, nullptr, CloseDevice, &h),
};

// Arguments that are refused. The handle h is an unknown one: whether it or null is given tells what is looked at
// first.
const Row kRefusals[] = {
    ROW(kParameter, nullptr, GetSDKVersion, nullptr), // its line marks the log for these tests
    ROW(kParameter, "[GetDeviceNumber] pDeviceNumber is null.", GetDeviceNumber, 0, nullptr),
    ROW(kParameter, nullptr, GetDeviceNumber, 0, &g_number),
    ROW(kParameter, nullptr, GetDeviceNumber, 4, &g_number),
    ROW(kParameter, "[GetDeviceList] param error.", GetDeviceList, 0, nullptr, 1, &g_number),
    ROW(kParameter, "[GetDeviceList] param error.", GetDeviceList, 1, &g_info, 0, &g_number),
    ROW(kParameter, "[GetDeviceList] param error.", GetDeviceList, 1, &g_info, 1, nullptr),
    ROW(kParameter, nullptr, GetDeviceList, 0, &g_info, 1, &g_number),
    ROW(kParameter, nullptr, GetDeviceList, 4, &g_info, 1, &g_number),
    ROW(kHandle, nullptr, CamIsAccessible, nullptr, 1),
    ROW(kHandle, "[OpenDevice] handle is null.", OpenDevice, nullptr, nullptr),
    ROW(kParameter, "[OpenDeviceByIp] param error.", OpenDeviceByIp, nullptr, nullptr),
    ROW(kHandle, " [OpenDeviceByIp] handle is null.", OpenDeviceByIp, nullptr, "1.2.3.4"),
    ROW(kParameter, "[OpenDeviceByName] param error.", OpenDeviceByName, nullptr, nullptr),
    ROW(kHandle, " [OpenDeviceByName] handle is null.", OpenDeviceByName, nullptr, "name"),
    ROW(kParameter, "[OpenDeviceBySerialNumber] param error.", OpenDeviceBySerialNumber, nullptr, nullptr),
    ROW(kHandle, " [OpenDeviceBySerialNumber] handle is null.", OpenDeviceBySerialNumber, nullptr, "1"),
    ROW(kHandle, " [CloseDevice]handle is null.", CloseDevice, nullptr),
    ROW(kParameter, " [SetIpConfig]handle is null.", SetIpConfig, nullptr, &g_ipConfig),
    ROW(kParameter, " [SetIpConfig]handle is null.", SetIpConfig, "ETH1", nullptr),
    ROW(kParameter, "[GetDeviceInfo] param error.", GetDeviceInfo, nullptr, nullptr),
    ROW(kParameter, "[FetchFrame] param error.", FetchFrame, nullptr, nullptr, 0),
    ROW(kParameter, "[Execute] param error.", Execute, nullptr, nullptr),
    ROW(kParameter, "[GetValue] param error.", GetParam, nullptr, nullptr, &g_param),
    ROW(kParameter, "[GetValue] param error.", GetParam, nullptr, "Width", nullptr),
    ROW(kParameter, "[SetValue] param error.", SetParam, nullptr, nullptr, &g_param),
    ROW(kParameter, "[SetValue] param error.", SetParam, nullptr, "Width", nullptr),
    ROW(kParameter, "[GetCalibInfo] param:pstCalibInfo error.", GetCalibInfo, h, 1, nullptr),
    ROW(kParameter, "[PropertyExport] param:pOutFileName error.", ExportAllParam, h, nullptr),
    ROW(kParameter, "[PropertyImport] param:pInFileName error.", ImportAllParam, h, nullptr),
    ROW(kParameter, "[LocalUpgrade] param error.", LocalUpgrade, nullptr, nullptr),
    ROW(kParameter, "[GetUpgradeProcess] param error.", GetUpgradeProcess, nullptr, nullptr),
    ROW(kParameter, "[MapDepthToPointCloud] param:is null.", MapDepthToPointCloud, h, nullptr, &g_image),
    ROW(kParameter, "[MapDepthToPointCloud] param:is null.", MapDepthToPointCloud, h, &g_image, nullptr),
    ROW(kParameter, "[MapFrameToPointCloud] param error.", MapFrameToPointCloud, nullptr, nullptr, &g_options,
        &g_cloud),
    ROW(kParameter, "[MapFrameToPointCloud] param error.", MapFrameToPointCloud, nullptr, &g_frame, nullptr,
        &g_cloud),
    ROW(kParameter, "[MapFrameToPointCloud] param error.", MapFrameToPointCloud, nullptr, &g_frame,
        &g_options, nullptr),
    ROW(kParameter, "[MapFrameToPointCloud] param error.", MapFrameToPointCloud, nullptr, &g_frame,
        &g_badOptions[0], &g_cloud),
    ROW(kParameter, "[MapFrameToPointCloud] param error.", MapFrameToPointCloud, nullptr, &g_frame,
        &g_badOptions[1], &g_cloud),
    ROW(kParameter, "[MapFrameToPointCloud] param error.", MapFrameToPointCloud, nullptr, &g_frame,
        &g_badOptions[2], &g_cloud),
    ROW(kParameter, "[MapFrameToPointCloud] param error.", MapFrameToPointCloud, nullptr, &g_frame,
        &g_badOptions[3], &g_cloud),
    ROW(kParameter, "[MapFrameToPointCloud] param error.", MapFrameToPointCloud, nullptr, &g_frame,
        &g_badOptions[4], &g_cloud),
    ROW(kParameter, "[MapFrameToPointCloud] param error.", MapFrameToPointCloud, nullptr, &g_frame,
        &g_badOptions[5], &g_cloud),
    ROW(kParameter, "[CopyFrame] param error.", CopyFrame, nullptr, nullptr, &g_copy),
    ROW(kParameter, "[CopyFrame] param error.", CopyFrame, nullptr, &g_frame, nullptr),
    ROW(kParameter, "[TakeFrame] param error.", TakeFrame, nullptr, nullptr, &g_copy),
    ROW(kParameter, "[TakeFrame] param error.", TakeFrame, nullptr, &g_frame, nullptr),
    ROW(kParameter, "[FreeFrame] param error.", FreeFrame, nullptr),
    ROW(kParameter, "[FreeFrame] param error.", FreeFrame, &g_frame),
    ROW(kParameter, "[FreeFrame] param error.", FreeFrame, reinterpret_cast<OX3D_RGBD_FRAME_DATA*>(8)),
    ROW(kParameter, "[GetFrameClock] param error.", GetFrameClock, nullptr, nullptr),
    ROW(kParameter, "[GetFrameTimes] param error.", GetFrameTimes, nullptr, nullptr, &g_times),
    ROW(kParameter, "[GetFrameTimes] param error.", GetFrameTimes, nullptr, &g_frame, nullptr),
    ROW(kParameter, "[GetExtrinsics] param error.", GetExtrinsics, nullptr, 0, 1, nullptr),
    ROW(kParameter, "[GetExtrinsics] param error.", GetExtrinsics, nullptr, 2, 1, &g_extrinsics),
    ROW(kParameter, "[GetExtrinsics] param error.", GetExtrinsics, nullptr, 0, 2, &g_extrinsics),
    ROW(kParameter, "[GetIntrinsics] param error.", GetIntrinsics, nullptr, 0, nullptr),
    ROW(kParameter, "[GetIntrinsics] param error.", GetIntrinsics, nullptr, 2, &g_intrinsics),
    ROW(kParameter, "[GetFeatures] param error.", GetFeatures, nullptr, nullptr, nullptr, 1, &g_number),
    ROW(kParameter, "[GetFeatures] param error.", GetFeatures, nullptr, nullptr, &g_feature, 1, nullptr),
    ROW(kParameter, "[GetFeatureEntries] param error.", GetFeatureEntries, nullptr, nullptr, &g_entry, 1,
        &g_number),
    ROW(kParameter, "[GetFeatureEntries] param error.", GetFeatureEntries, nullptr, "Key", nullptr, 1,
        &g_number),
    ROW(kParameter, "[GetFeatureEntries] param error.", GetFeatureEntries, nullptr, "Key", &g_entry, 1,
        nullptr),
    ROW(kParameter, "[SetEnumByName] param error.", SetEnumByName, nullptr, nullptr, "Entry"),
    ROW(kParameter, "[SetEnumByName] param error.", SetEnumByName, nullptr, "Key", nullptr),
    ROW(kParameter, "[ExportSystemCalibration] param error.", ExportSystemCalibration, nullptr, nullptr),
    ROW(kParameter, "[ImportSystemCalibration] param error.", ImportSystemCalibration, nullptr, nullptr),
};

int g_object;
void* const kUnknown = &g_object;

class Arguments : public CScripted {
protected:
    static void Expect(const Row& row, void* handle, const char* line) {
        SCOPED_TRACE(row.m_name);
        Lines expected;
        if (line != nullptr) {
            expected = {line};
            expected[0].insert(expected[0].find('[') + 1, "OX3D_RGBD_");
        }
        EXPECT_EQ(LinesOf([&] { EXPECT_EQ(row.m_call(handle), row.m_status); }), expected);
    }
};

// First of all: nothing has been opened in the process yet.
TEST(BeforeTheFirstOpen, EveryHandleIsUnknown) {
    for (const Row& row : kHandleCalls) {
        EXPECT_EQ(row.m_call(kUnknown), kHandle) << row.m_name;
    }
}

TEST_F(Arguments, NullHandlesAreRefusedWithALineAndUnknownAndClosedOnesInSilence) {
    Open();
    void* const closed = m_handle;
    Close();
    EXPECT_EQ(m_handle, nullptr);
    for (const Row& row : kHandleCalls) {
        Expect(row, nullptr, row.m_line);
        Expect(row, closed, nullptr);
        Expect(row, kUnknown, nullptr);
    }
}

TEST_F(Arguments, UnusableOnesAreRefusedInOrder) {
    for (const Row& row : kRefusals) {
        Expect(row, kUnknown, row.m_line);
    }
    EXPECT_EQ(Double().CallCount(DOUBLE_OX_CC_EnumDevices), 0u);
}

TEST_F(Arguments, OfInitializeReleaseAndVersion) {
    OX3D_RGBD_VERSION_INFO version = {9, 9, 9};
    EXPECT_EQ(OX3D_RGBD_GetSDKVersion(&version), OX3D_RGBD_OK);
    EXPECT_TRUE(version.nMajor == 1 && version.nMinor == 1 && version.nRevision == 0);
    EXPECT_EQ(OX3D_RGBD_Initialize(), OX3D_RGBD_OK);
    Open();
    EXPECT_EQ(OX3D_RGBD_Release(), OX3D_RGBD_OK);
    EXPECT_EQ(Start(), OX3D_RGBD_OK) << "both do nothing";
}

} // namespace
