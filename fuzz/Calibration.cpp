// Calibration.cpp - the calibration file of a camera: the set for depth images, and the set of each sensor. The
// input is the file.
#include "src/Manager/CalibrationFile.h"

#include <cstring>

#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"
#include "recording/CalibrationReader.h"

namespace {

using namespace ox3d::fuzz;

constexpr size_t kMaxFileBytes = 1 << 20;

// A record that nothing was written to is left as it was.
template <class Record>
struct Marked {
    Marked() { memset(static_cast<void*>(&m_record), 0xAB, sizeof(m_record)); }
    bool IsUntouched() const {
        Marked other;
        return memcmp(&other.m_record, &m_record, sizeof(m_record)) == 0;
    }
    Record m_record;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    static CMemoryFile s_file;
    s_file.Write({data, lengthBytes});
    const char* const path = s_file.Path().c_str();
    for (const uint32_t width : {640u, 1280u}) {
        Marked<DepthCalibration> depth;
        const char* const missing = LoadDepthCalibration(path, width, &depth.m_record);
        OX3D_FUZZ_EXPECT(missing == nullptr || (strlen(missing) > 2 && depth.IsUntouched()));
        OX3D_FUZZ_EXPECT(missing != nullptr || depth.m_record.m_depthToColor[15] == 1.0f);
    }
    for (const uint32_t sensor : {OX3D_RGBD_CALIB_DEPTH, OX3D_RGBD_CALIB_COLOR}) {
        Marked<OX3D_RGBD_CALIB_INFO> info;
        const bool isLoaded = LoadSensorCalibration(path, 640, sensor, &info.m_record);
        OX3D_FUZZ_EXPECT(isLoaded || info.IsUntouched());
    }
    const std::string text(reinterpret_cast<const char*>(data), lengthBytes);
    if (const auto read =
            ox3d::ReadCalibration(text, 640)) { // the tool takes nothing that the library refuses
        DepthCalibration depth;
        OX3D_FUZZ_EXPECT(read->m_depth.m_fx > 0 && read->m_color.m_fy > 0);
        OX3D_FUZZ_EXPECT(lengthBytes > kMaxFileBytes || LoadDepthCalibration(path, 640, &depth) == nullptr);
    }
    return 0;
}
