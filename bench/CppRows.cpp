// CppRows.cpp - frames taken by the C++ header beside a loop over the C functions that it stands on, from the scripted
// camera of the tests, whose share both have. Each loop takes some frames and reads a row of each.
#include "bench/Rows.h"
#include "tests/doubles/Double.h"
#include <ox3drgbd/ox3d.hpp>

#include <benchmark/benchmark.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace ox3dbench {
namespace {

using ox3d::test::Double;

constexpr uint32_t kFrames = 16;
constexpr Size kTiny = {64, 48};

class CLoops {
public:
    explicit CLoops(Size size) : m_depth(size.Pixels(), 1000), m_serial("LOOP" + size.Text()) {
        m_out.pBufAddr = reinterpret_cast<uint8_t*>(m_depth.data());
        m_out.stFrameInfo.nWidth = static_cast<uint16_t>(size.m_width);
        m_out.stFrameInfo.nHeight = static_cast<uint16_t>(size.m_height);
        m_out.stFrameInfo.enPixelType = OX3D_RGBD_PIXEL_DEPTH16;
        m_out.stFrameInfo.nFrameLen = static_cast<uint32_t>(2 * size.Pixels());
        OX_CC_DEVICE_INFO device = {};
        device.nTLayerType = OX_CC_GIGE_DEVICE;
        std::memcpy(device.stGigEInfo.chSerialNumber, m_serial.data(), m_serial.size());
        Double().SetDevices({device});
        Double().SetFile("RGBDSensorCali", "<none/>");
        auto camera = ox3d::Camera::openSerial(m_serial);
        if (!camera || !camera->set(OX3D_RGBD_KEY_IMAGE_ALIGN, 0) || !camera->start()) {
            throw std::runtime_error("no camera to take frames from");
        }
        m_camera = *std::move(camera);
    }

    // What both do before a loop: the camera has frames, and forgets what was asked of it.
    void Queue() {
        Double().Script()->m_calls.clear();
        for (uint32_t i = 0; i < kFrames; ++i) {
            ++m_out.stFrameInfo.nFrameNum;
            Double().QueueFrame(m_out);
        }
    }
    void TakeByC() {
        Queue();
        uint32_t sum = 0;
        for (uint32_t i = 0; i < kFrames; ++i) {
            OX3D_RGBD_FRAME_DATA frame;
            Demand(OX3D_RGBD_FetchFrame(m_camera.handle(), &frame, 1000) == OX3D_RGBD_OK);
            const OX3D_RGBD_IMAGE_DATA& image = frame.stImageData[0];
            Demand(image.enImageType == OX3D_RGBD_PIXEL_DEPTH16);
            const uint16_t* const row =
                reinterpret_cast<const uint16_t*>(image.pData) + size_t{image.nHeight / 2} * image.nWidth;
            for (uint32_t x = 0; x < image.nWidth; ++x) {
                sum += row[x];
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    void TakeByCpp() {
        Queue();
        uint32_t sum = 0;
        uint32_t count = 0;
        for (const ox3d::FrameView& frame : m_camera.frames(std::chrono::milliseconds(1000))) {
            const auto depth = frame.depth();
            const uint16_t* const row = depth->row(depth->height() / 2);
            for (uint32_t x = 0; x < depth->width(); ++x) {
                sum += row[x];
            }
            if (++count == kFrames) {
                break;
            }
        }
        Demand(count == kFrames);
        benchmark::DoNotOptimize(sum);
    }

private:
    static void Demand(bool isTrue) {
        if (!isTrue) {
            throw std::runtime_error("a frame did not come");
        }
    }

    std::vector<uint16_t> m_depth;
    std::string m_serial;
    OX_FRAME_OUT m_out = {};
    ox3d::Camera m_camera;
};

} // namespace

void AddCppRows() {
    AddTable({"fetch", "Sixteen frames of depth fetched: times the cost of the loop in C",
              ERatio::TimesTheCost, "C functions", "", false});
    for (const Size size : {kTiny, kUsualSize}) {
        AddRow("fetch", "C functions", size, [size] {
            CLoops& loops = Shared<CLoops>(size);
            return [&loops] { loops.TakeByC(); };
        });
        AddRow("fetch", "C++ header, range-for", size, [size] {
            CLoops& loops = Shared<CLoops>(size);
            return [&loops] { loops.TakeByCpp(); };
        });
    }
}

} // namespace ox3dbench
