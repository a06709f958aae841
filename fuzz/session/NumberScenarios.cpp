// NumberScenarios.cpp - results that must not depend on what the caller has set: the locale, and how the processor treats
// numbers near zero.
#include <clocale>
#include <cstdio>
#include <cstdlib>

#if defined(__SSE__)
#    include <xmmintrin.h>
#endif

#include "fuzz/session/Player.h"
#include "fuzz/session/Scenarios.h"
#include "tests/doubles/ScriptedCamera.h"

namespace ox3d::session {
namespace {

// Numbers with fractions, and some near the smallest that there are.
const char* const kFractions = R"(<?xml version="1.0"?><Calib><RGBD_1><Camera img_w="640" img_h="480"/>
  <Left_correct><Intrins fx="512.345" fy="511.25" cx="319.5" cy="240.125"/>
   <Distort k1="1e-40" k2="0.0625" p1="-1.5e-3" p2="2.5" k3="3e-39"/></Left_correct>
  <Left_correct_2_RGB><RotMat r00="0.9998" r01="1e-39" r10="0.0125" r11="0.9997" r22="1"/>
   <TVec t0="21.75" t1="1.5" t2="-0.25"/></Left_correct_2_RGB>
  <RGB><Intrins fx="498.75" fy="499.5" cx="321.25" cy="239.75"/>
   <Distort k1="0.5" k2="2" p1="3" p2="4" k3="5"/></RGB></RGBD_1></Calib>)";

void Append(std::string& bytes, const void* data, size_t size) {
    bytes.append(static_cast<const char*>(data), size);
}

// Calibration, registered depth and points of one frame, as bytes.
std::string ResultsOfOneFrame() {
    CPlayer({}).End();
    Double().SetDevices({EthernetDevice("ETH1")});
    Double().SetFile("RGBDSensorCali", kFractions);
    Double().AddRule({.m_function = DOUBLE_OX_CC_GetIntValueEx,
                      .m_output = RecordBytes(OX_CC_INT_VALUE_EX{640, 4000, 1, 1})});
    CRawFrame raw(640, 480);
    for (size_t i = 0; i < raw.m_main.size(); i += 2) {
        const auto depth = static_cast<uint16_t>(i / 3 % 4000);
        memcpy(&raw.m_main[i], &depth, sizeof(depth));
    }
    std::string bytes;
    void* handle = nullptr;
    uint32_t status = OX3D_RGBD_OpenDeviceBySerialNumber(&handle, "ETH1");
    for (const uint32_t sensor : {OX3D_RGBD_CALIB_DEPTH, OX3D_RGBD_CALIB_COLOR}) {
        OX3D_RGBD_CALIB_INFO info = {};
        status |= OX3D_RGBD_GetCalibInfo(handle, sensor, &info);
        Append(bytes, &info, sizeof(info));
    }
    status |= OX3D_RGBD_Start(handle);
    Double().QueueFrame(raw.Out());
    OX3D_RGBD_FRAME_DATA frame;
    status |= OX3D_RGBD_FetchFrame(handle, &frame, 1000);
    OX3D_RGBD_IMAGE_DATA points = {};
    status |= OX3D_RGBD_MapDepthToPointCloud(handle, &frame.stImageData[0], &points);
    if (status != OX3D_RGBD_OK) {
        Complain("a frame failed");
        return bytes;
    }
    Append(bytes, frame.stImageData[0].pData, frame.stImageData[0].nDataLen);
    Append(bytes, points.pData, points.nDataLen);
    OX3D_RGBD_CloseDevice(&handle);
    return bytes;
}

// A locale whose decimal point is a comma, made where the machine has the sources of one.
bool SetCommaLocale() {
    setenv("LOCPATH", g_processFolder.Path().c_str(), 1);
    const std::string make =
        "localedef -i de_DE -f UTF-8 '" + (g_processFolder.Path() / "de_DE.UTF-8").string() + "'";
    return system(make.c_str()) == 0 && setlocale(LC_ALL, "de_DE.UTF-8") != nullptr; // NOLINT(cert-env33-c)
}

} // namespace

void RunNumbers(Run& run) {
    const std::string expected = ResultsOfOneFrame();
    if (expected.size() < size_t{640} * 480) {
        Complain("there are no results");
    }
    if (SetCommaLocale()) {
        const std::string comma = std::to_string(0.5);
        if (comma[1] != ',' || ResultsOfOneFrame() != expected) {
            Complain("results depend on the locale");
        }
        setlocale(LC_ALL, "C");
        ++run.m_done;
    } else {
        LeaveOut(run, "a locale with a decimal comma");
    }
#if defined(__SSE__)
    const unsigned int before = _mm_getcsr();
    constexpr unsigned int kFlushToZero = 0x8040; // results, and operands
    _mm_setcsr(before | kFlushToZero);
    const bool isSame = ResultsOfOneFrame() == expected;
    _mm_setcsr(before);
    if (!isSame) {
        Complain("results depend on how numbers near zero are treated");
    }
    ++run.m_done;
#else
    LeaveOut(run, "numbers near zero");
#endif
}

} // namespace ox3d::session
