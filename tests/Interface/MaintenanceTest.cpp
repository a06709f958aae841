// Operations that service a camera: files, registers, time-outs, upgrades, IP configuration, calibration.
#include "tests/doubles/ScriptedCamera.h"

namespace {

using Maintenance = COpened;

uint8_t g_bytes[16];
uint32_t g_word;
OX3D_RGBD_FILE_ACCESS g_files = {"local", "RGBDSensorCali", {}};

struct Operation {
    uint32_t (*m_call)(void* handle);
    uint32_t m_function;
    const char* m_cameraCall;
    const char* m_failureLine; // the last line when the camera answers 0x80000102; null: any
};

#define OPERATION(failureLine, cameraFunction, cameraArguments, name, ...)                               \
    {                                                                                                    \
        [](void* h) { return OX3D_RGBD_##name(h __VA_OPT__(, ) __VA_ARGS__); }, DOUBLE_##cameraFunction, \
            #cameraFunction "(" cameraArguments ")", failureLine                                         \
    }

const Operation kOperations[] = {
    OPERATION("PropertyImport failed, errcode is (0x8006000f)", OX_CC_FeatureLoad, "in", ImportAllParam,
              "in"),
    OPERATION("[PropertyExport] PropertyExport failed, errcode is (0x8006000f)", OX_CC_FeatureSave, "out",
              ExportAllParam, "out"),
    OPERATION(nullptr, OX_CC_FileAccessRead, "local, RGBDSensorCali", FileAccessRead, &g_files),
    OPERATION(nullptr, OX_CC_FileAccessWrite, "local, RGBDSensorCali", FileAccessWrite, &g_files),
    OPERATION("[CalibFileExport] FileAccessRead LSLSystemCali failed, nRet:[0x8006000f].",
              OX_CC_FileAccessRead, "local, LSLSystemCali", ExportSystemCalibration, "local"),
    OPERATION("[CalibFileImport] FileAccessWrite LSLSystemCali failed, nRet:[0x8006000f].",
              OX_CC_FileAccessWrite, "local, LSLSystemCali", ImportSystemCalibration, "local"),
    OPERATION("camrea module OX_CC_LocalUpgrade fail, pFilePathName(file), nRet:[0x80000102].",
              OX_CC_LocalUpgrade, "", LocalUpgrade, "file"),
    OPERATION(nullptr, OX_CC_GetUpgradeProcess, "", GetUpgradeProcess, &g_word),
    OPERATION("Set Image Node num (5) failed, errcode is (0x8006000f)", OX_CC_SetImageNodeNum, "5",
              SetImageNodeNum, 5),
    OPERATION("InvalidateNodes failed, errcode is (0x8006000f)", OX_CC_InvalidateNodes, "", InvalidateNodes),
    OPERATION("ReadAddressMem,  Read address (0x938) len[16] failed, errcode (0x8006000f)!", OX_CC_ReadMemory,
              "2360, 16", ReadAddressMem, g_bytes, 0x938, 16),
    OPERATION("WriteAddressMem,  write address (0) len[1] failed, errcode (0x8006000f)!", OX_CC_WriteMemory,
              "0, 1", WriteAddressMem, g_bytes, 0, 1),
    OPERATION("[SetGvcpTimeout] Set Gvcp Timeout failed, errcode is (0x8006000f).", OX_GIGE_SetGvcpTimeout,
              "10000", SetGvcpTimeout, 10000),
    OPERATION("[GetGvcpTimeout] Set Gvcp Timeout failed, errcode is (0x8006000f).", OX_GIGE_GetGvcpTimeout,
              "", GetGvcpTimeout, &g_word),
    OPERATION("GetCameraXML, XML_GetGenICamXML failed. nRet[0x8006000f] ", OX_XML_GetGenICamXML, "16",
              GetCameraXML, g_bytes, 16, &g_word),
    OPERATION("XML_GetNodeAccessMode failed, errcode is (0x8006000f)", OX_XML_GetNodeAccessMode, "Key",
              XML_GetNodeAccessMode, "Key", &g_word),
    OPERATION(nullptr, OX_CC_SetCommandValue, "UserSetSave", Execute, "UserSetSave"),
};

TEST_F(Maintenance, EachOperationIsOneCameraCallWhoseStatusIsTranslated) {
    Double().SetFile("LSLSystemCali", "");
    for (const Operation& row : kOperations) {
        SCOPED_TRACE(row.m_cameraCall);
        Double().Script()->m_rules.clear();
        EXPECT_CALLS(row.m_call(m_handle), OX3D_RGBD_OK, row.m_cameraCall);
        Fail(row.m_function, OX_CC_E_GC_RANGE);
        const Lines lines = LinesOf([&] { EXPECT_EQ(row.m_call(m_handle), OX3D_RGBD_E_CAMERA_0F); });
        ASSERT_FALSE(lines.empty());
        if (row.m_failureLine != nullptr) {
            EXPECT_EQ(lines.back(), row.m_failureLine);
        }
    }
}

TEST_F(Maintenance, NumbersPassUnchangedBothWays) {
    EXPECT_CALLS(OX3D_RGBD_SetGvcpTimeout(m_handle, 0), OX3D_RGBD_OK, "OX_GIGE_SetGvcpTimeout(0)");
    Answer(DOUBLE_OX_CC_GetUpgradeProcess, 37u);
    EXPECT_EQ(OX3D_RGBD_GetUpgradeProcess(m_handle, &g_word), OX3D_RGBD_OK);
    EXPECT_EQ(g_word, 37u);
    Answer(DOUBLE_OX_GIGE_GetGvcpTimeout, 500u);
    EXPECT_EQ(OX3D_RGBD_GetGvcpTimeout(m_handle, &g_word), OX3D_RGBD_OK);
    EXPECT_EQ(g_word, 500u);
    Answer(DOUBLE_OX_XML_GetGenICamXML, 123456u);
    EXPECT_EQ(OX3D_RGBD_GetCameraXML(m_handle, g_bytes, 16, &g_word), OX3D_RGBD_OK);
    EXPECT_EQ(g_word, 123456u);
    Answer(DOUBLE_OX_CC_ReadMemory, uint64_t{0x1122334455667788});
    EXPECT_EQ(OX3D_RGBD_ReadAddressMem(m_handle, g_bytes, 0, 8), OX3D_RGBD_OK);
    EXPECT_EQ(g_bytes[7], 0x11);
    Answer(DOUBLE_OX_XML_GetNodeAccessMode, OX_AM_RO);
    EXPECT_EQ(OX3D_RGBD_XML_GetNodeAccessMode(m_handle, "Key", &g_word), OX3D_RGBD_OK);
    EXPECT_EQ(g_word, OX3D_RGBD_ACCESS_READ_ONLY);
}

TEST_F(Maintenance, TheDescriptionIsReadOnceUnlessTheCameraMayHaveAnother) {
    constexpr char kXml[] =
        "<RegisterDescription><Category Name=\"Root\"><pFeature>Gain</pFeature></Category>"
        "<Integer Name=\"Gain\"><Value>1</Value></Integer></RegisterDescription>";
    OnCall(DOUBLE_OX_XML_GetGenICamXML, 0,
           [&](const DoubleCall& call) { memcpy(call.m_bytes, kXml, sizeof(kXml)); });
    Answer(DOUBLE_OX_XML_GetGenICamXML, static_cast<uint32_t>(sizeof(kXml)));
    const std::function<uint32_t()> changes[] = {
        [] { return uint32_t{0}; },
        [this] { return OX3D_RGBD_InvalidateNodes(m_handle); },
        [this] { return OX3D_RGBD_LocalUpgrade(m_handle, "file"); },
    };
    uint32_t reads = 0;
    for (const auto& change : changes) {
        EXPECT_EQ(change(), OX3D_RGBD_OK);
        ++reads;
        EXPECT_EQ(OX3D_RGBD_GetFeatures(m_handle, nullptr, nullptr, 0, &g_word), OX3D_RGBD_OK);
        EXPECT_EQ(OX3D_RGBD_GetFeatures(m_handle, "Gain", nullptr, 0, &g_word), OX3D_RGBD_OK);
        EXPECT_EQ(g_word, 1U);
        EXPECT_EQ(Double().CallCount(DOUBLE_OX_XML_GetGenICamXML), reads);
    }
}

TEST_F(Maintenance, UnusableArgumentsAreRefusedBeforeTheCamera) {
#define REFUSED(line, name, ...)                                       \
    {                                                                  \
        [](void* h) { return OX3D_RGBD_##name(h, __VA_ARGS__); }, line \
    }
    const std::pair<uint32_t (*)(void*), const char*> rows[] = {
        REFUSED("ReadAddressMem, input param is null", ReadAddressMem, nullptr, -1, 0),
        REFUSED("ReadAddressMem, nRegAddress is < 0, invalid.", ReadAddressMem, g_bytes, -1, 0),
        REFUSED("ReadAddressMem, nLength is <= 0, invalid.", ReadAddressMem, g_bytes, 0, 0),
        REFUSED("ReadAddressMem, nLength is <= 0, invalid.", ReadAddressMem, g_bytes, 0, INT64_MIN),
        REFUSED("WriteAddressMem, input param is null", WriteAddressMem, nullptr, 0, 1),
        REFUSED("ReadAddressMem, nRegAddress is < 0, invalid.", WriteAddressMem, g_bytes, INT64_MIN, 1),
        REFUSED("ReadAddressMem, nLength is <= 0, invalid.", WriteAddressMem, g_bytes, 0, -1),
        REFUSED("[SetGvcpTimeout] param  (10001) invalid. not in [0-10000].", SetGvcpTimeout, 10001),
        REFUSED("[GetGvcpTimeout] pMillisec is NULL.", GetGvcpTimeout, nullptr),
        REFUSED("GetCameraXML, nDataSize is 0 ", GetCameraXML, g_bytes, 0, &g_word),
        REFUSED(nullptr, GetCameraXML, nullptr, 16, &g_word),
        REFUSED(nullptr, GetCameraXML, g_bytes, 16, nullptr),
        REFUSED("pstrName is null", XML_GetNodeAccessMode, nullptr, nullptr),
        REFUSED("pAccessMode is null", XML_GetNodeAccessMode, "Key", nullptr),
        REFUSED("pstFileAccess is null", FileAccessRead, nullptr),
        REFUSED("pstFileAccess is null", FileAccessWrite, nullptr),
    };
    for (const auto& row : rows) {
        Lines lines;
        const auto call = [&] { EXPECT_EQ(row.first(m_handle), OX3D_RGBD_E_PARAMETER); };
        EXPECT_EQ(CallsOf([&] { lines = LinesOf(call); }), Lines{});
        EXPECT_TRUE(row.second == nullptr || lines == Lines{row.second}) << testing::PrintToString(lines);
    }
}

// ---- IP configuration ------------------------------------------------------------------------------------

class IpConfig : public CScripted {
protected:
    static uint32_t Set(uint32_t mode, const char* ip = "1.2.3.4", const char* mask = "255.0.0.0",
                        const char* gateway = "1.2.3.1", const char* serial = "ETH1") {
        OX3D_RGBD_IP_CONFIG config = {};
        config.enIPCfgMode = mode;
        SetText(config.chDestIp, ip);
        SetText(config.chDestNetMask, mask);
        SetText(config.chDestGateWay, gateway);
        return OX3D_RGBD_SetIpConfig(serial, &config);
    }
    // The camera calls between creating the handle and shutting it down.
    template <class Call>
    static Lines InnerCalls(Call&& work) {
        const Lines calls = CallsOf(work);
        EXPECT_GE(calls.size(), 6u);
        EXPECT_EQ(calls[2], "OX_CC_CreateHandle(ETH1)");
        EXPECT_EQ(calls.back(), "OX_CC_DestroyHandle()");
        return {calls.begin() + 3, calls.end() - 3};
    }
};

TEST_F(IpConfig, IsSetOnACameraThatIsNotOpenedAndAStaticAddressForced) {
    const auto set = [] {
        EXPECT_EQ(Set(1, "192.168.001.10", "255.255.255.0", "192.168.1.1"), OX3D_RGBD_OK);
    };
    EXPECT_EQ(InnerCalls(set), (Lines{"OX_GIGE_SetIpConfig(0x5000000)",
                                      "OX_GIGE_ForceIpEx(0xc0a8010a, 0xffffff00, 0xc0a80101)"}));
    EXPECT_EQ(InnerCalls([] { EXPECT_EQ(Set(2, "", "", ""), OX3D_RGBD_OK); }),
              Lines{"OX_GIGE_SetIpConfig(0x6000000)"});
    EXPECT_EQ(InnerCalls([] { EXPECT_EQ(Set(4, "x", "x", "x"), OX3D_RGBD_OK); }),
              Lines{"OX_GIGE_SetIpConfig(0x4000000)"});
}

TEST_F(IpConfig, ThatIsUnusableNeverReachesTheCamera) {
    struct Row {
        uint32_t m_mode;
        const char* m_ip;
        const char* m_mask;
        const char* m_gateway;
        const char* m_line;
    };
    const char* const invalid = "[SetIpConfig] ip config parameter is invalid.";
    const Row rows[] = {
        {0, "", "", "", "[SetIpConfig] Set ip config (0) failed, is invalid "},
        {3, "1.2.3.4", "255.0.0.0", "1.2.3.1", "[SetIpConfig] Set ip config (3) failed, is invalid "},
        {1, "1.2.3", "255.0.0.0", "1.2.3.1",
         "[SetIpConfig] parameter is wrong,nIpRet[0],nNetMaskRet[1],nGateWayRet[1] "},
        {1, "1.2.3.4", "256.0.0.0", "1.2.3.1.",
         "[SetIpConfig] parameter is wrong,nIpRet[1],nNetMaskRet[0],nGateWayRet[0] "},
        {1, "192.168.1.10", "255.255.255.0", "192.168.2.1", invalid},
        {1, "192.168.1.10", "0.0.0.0", "192.168.1.1", invalid},
        {1, "0.0.0.0", "255.0.0.0", "0.0.0.1", invalid},
        {1, "1.2.3.4", "255.0.0.0", "0.0.0.0", invalid},
    };
    DrainLogAtEveryCall();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.m_ip);
        Lines lines;
        const auto set = [&] {
            EXPECT_EQ(Set(row.m_mode, row.m_ip, row.m_mask, row.m_gateway), OX3D_RGBD_E_PARAMETER);
        };
        EXPECT_EQ(InnerCalls([&] { lines = LinesOf(set); }), Lines{});
        EXPECT_EQ(std::count(lines.begin(), lines.end(), row.m_line), 1) << testing::PrintToString(lines);
    }
}

TEST_F(IpConfig, FailsWithTheCamera) {
    Fail(DOUBLE_OX_GIGE_SetIpConfig, OX_CC_E_ACCESS_DENIED, 1);
    EXPECT_EQ(Set(1), OX3D_RGBD_E_CAMERA_0E);
    EXPECT_EQ(Double().CallCount(DOUBLE_OX_GIGE_ForceIpEx), 0u) << "the mode was refused";
    Fail(DOUBLE_OX_GIGE_ForceIpEx, OX_CC_E_ACCESS_DENIED);
    EXPECT_EQ(Set(1), OX3D_RGBD_E_PARAMETER) << "not the camera's code";
    EXPECT_EQ(Set(2, "", "", "", "none"), OX3D_RGBD_E_PARAMETER);
}

// ---- Calibration of one sensor ---------------------------------------------------------------------------

class CalibInfo : public COpened {
protected:
    uint32_t Get(uint32_t sensor) {
        memset(&m_info, 0x5A, sizeof(m_info));
        return OX3D_RGBD_GetCalibInfo(m_handle, sensor, &m_info);
    }
    void ExpectInfo(uint32_t sensor, const OX3D_RGBD_CALIB_INFO& expected) {
        EXPECT_EQ(Get(sensor), OX3D_RGBD_OK);
        EXPECT_EQ(RecordBytes(m_info), RecordBytes(expected));
    }
    OX3D_RGBD_CALIB_INFO m_info = {};
    // No distortion in the file: none.
    const OX3D_RGBD_CALIB_INFO m_depthInfo = {640, 480, 500, 500, 320, 240, 0, 0, 0, 0, 0, {}};
};

TEST_F(CalibInfo, TheCamerasWidthChoosesTheSet) {
    const OX3D_RGBD_CALIB_INFO wideColor = {1280, 720, 1100, 1000, 641, 361, 6, 7, 8, 9, 10, {}};
    ExpectInfo(OX3D_RGBD_CALIB_DEPTH, m_depthInfo);
    ExpectInfo(OX3D_RGBD_CALIB_COLOR, {640, 480, 500, 500, 320, 240, 0.5f, 2, 3, 4, 5, {}});
    Answer(DOUBLE_OX_CC_GetIntValueEx, OX_CC_INT_VALUE_EX{1280, 0, 0, 0});
    ExpectInfo(OX3D_RGBD_CALIB_DEPTH, {1280, 720, 1000, 900, 640, 360, 1.5f, 2, 3, 4, 5, {}});
    ExpectInfo(OX3D_RGBD_CALIB_COLOR, wideColor);
    Answer(DOUBLE_OX_CC_GetIntValueEx,
           OX_CC_INT_VALUE_EX{99, 0, 0, 0}); // the second set whatever its own width
    ExpectInfo(OX3D_RGBD_CALIB_COLOR, wideColor);
}

TEST_F(CalibInfo, TheLocalFileIsRefreshedFromTheCameraAndServesWhereThatFails) {
    std::string text = kCalibration;
    text.replace(text.find("fx=\"500\""), 8, "fx=\"501\"");
    Double().SetFile("RGBDSensorCali", text);
    std::vector<uint8_t> samples(size_t{640} * 480 * 2, 1);
    OX3D_RGBD_IMAGE_DATA depth = DepthImage(samples, 640, 480);
    OX3D_RGBD_IMAGE_DATA cloud = {};
    uint32_t converted = 9;
    OnCall(DOUBLE_OX_CC_FileAccessRead, 2, [&](auto&) { // a conversion meanwhile does not wait for the camera
        std::thread([&] { converted = OX3D_RGBD_MapDepthToPointCloud(m_handle, &depth, &cloud); }).join();
    });
    EXPECT_EQ(Get(OX3D_RGBD_CALIB_DEPTH), OX3D_RGBD_OK);
    EXPECT_EQ(m_info.fFx, 501.0f);
    EXPECT_EQ(converted, OX3D_RGBD_OK);
    const auto files = [] { return std::distance(std::filesystem::directory_iterator("."), {}); };
    const auto before = files();
    OnCall(DOUBLE_OX_CC_FileAccessRead, 0, [](const DoubleCall& call) { // fails half-way
        const size_t begin = call.m_text.find('(') + 1;
        WriteFile(call.m_text.substr(begin, call.m_text.find(',') - begin), "<Calib");
    });
    Fail(DOUBLE_OX_CC_FileAccessRead, OX_CC_E_PARAMETER);
    EXPECT_EQ(Get(OX3D_RGBD_CALIB_DEPTH), OX3D_RGBD_OK);
    EXPECT_EQ(m_info.fFx, 501.0f);
    EXPECT_EQ(files(), before);
    std::filesystem::remove("RGBDSensorCali_ETH1.xml");
    EXPECT_EQ(Get(OX3D_RGBD_CALIB_DEPTH), OX3D_RGBD_E_NO_DATA);
}

TEST_F(CalibInfo, OtherSensorsAndMissingPartsAreRefused) {
    Fail(DOUBLE_OX_CC_GetDeviceInfo, OX_CC_E_ACCESS_DENIED, 2); // opening took one
    EXPECT_EQ(Get(OX3D_RGBD_CALIB_DEPTH), OX3D_RGBD_E_NO_DATA);
    for (const uint32_t sensor : {0u, 3u, 0xFFFFFFFFu}) {
        EXPECT_EQ(Get(sensor), OX3D_RGBD_E_PARAMETER);
    }
    std::string text = kCalibration;
    text.replace(text.find("<Distort"), 8, "<Discard");
    Double().SetFile("RGBDSensorCali", text);
    EXPECT_EQ(Get(OX3D_RGBD_CALIB_COLOR), OX3D_RGBD_E_NO_DATA) << "only the depth sensor may lack distortion";
    ExpectInfo(OX3D_RGBD_CALIB_DEPTH, m_depthInfo);
    Double().SetFile("RGBDSensorCali", "<Calib/>");
    EXPECT_EQ(Get(OX3D_RGBD_CALIB_DEPTH), OX3D_RGBD_E_NO_DATA);
    Fail(DOUBLE_OX_CC_GetIntValueEx, OX_CC_E_GC_ACCESS);
    EXPECT_EQ(Get(OX3D_RGBD_CALIB_DEPTH), OX3D_RGBD_E_CAMERA_07) << "without the camera's width";
}

} // namespace
