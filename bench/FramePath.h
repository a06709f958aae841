// FramePath.h - a frame of an Ethernet camera, 1280 x 720 depth with a 1920 x 1080 color chunk, on its way from
// the camera-control library's callback to the application's. Relies on the scripted camera-control library of
// the tests for the camera, and on the working folder being one to write into.
#ifndef OX3D_BENCH_FRAME_PATH_H
#define OX3D_BENCH_FRAME_PATH_H

#include "bench/Rows.h"
#include "src/Manager/Manager.h"

#include <vector>

namespace ox3dbench {

constexpr Size kFrameDepth = {1280, 720};
constexpr Size kFrameColor = {1920, 1080};

class CFramePath {
public:
    // Opens the camera with all switches on. Throws std::runtime_error when something does not work.
    CFramePath();
    ~CFramePath();
    CFramePath(const CFramePath&) = delete;
    CFramePath& operator=(const CFramePath&) = delete;

    // One frame, on this thread.
    void Deliver();

    // A copy of a frame, that lives as long as this.
    const OX3D_RGBD_FRAME_DATA& Copy();
    // The points of the copy.
    void MapCopy(const OX3D_RGBD_CLOUD_OPTIONS& options);

    const std::vector<int16_t>& Depth() const { return m_depth; }
    const std::vector<uint8_t>& Chunk() const { return m_chunk; }

private:
    static void OnFrame(OX3D_RGBD_FRAME_DATA* frame, void* user);
    void MakeFrame();
    void OpenCamera();
    void SwitchOn(const char* key);
    void Demand(uint32_t status, const char* what);

    std::vector<int16_t> m_depth;
    std::vector<uint8_t> m_chunk; // header and three planes
    OX_CHUNK_DATA_CONTENT m_record = {};
    OX_FRAME_OUT_INFO_EX m_info = {};
    std::string m_calibration;
    CManager m_manager;
    bool m_isCopyWanted = false;
    OX3D_RGBD_FRAME_DATA* m_copy = nullptr;
    uint64_t m_delivered = 0; // whole frames that the application got
};

} // namespace ox3dbench

#endif
