// What a recorder is told of a camera and of its frames.
#ifndef OX3D_TOOL_RECORDED_SOURCE_H
#define OX3D_TOOL_RECORDED_SOURCE_H

#include "recording/RecordedFrame.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/pictures/Images.h"

#include <filesystem>
#include <string>

namespace ox3d::tool {

// "1.1.0"
std::string LibraryVersion();

// What is known of the camera before its first frame; files go by way of the folder.
RecordedCamera DescribeCamera(const CCamera& camera, const std::filesystem::path& scratch);
// What only frames tell: the lenses of the images as they are delivered, and the way between them.
void AddLenses(const CCamera& camera, RecordedCamera* recorded);

// Delivered frames one after the other. One thread at a time.
class CFrameViews {
public:
    explicit CFrameViews(const CCamera& camera) : m_camera(camera) {}
    // Color in another layout is converted: it stays until the next call.
    FrameView Of(const OX3D_RGBD_FRAME_DATA& frame, const OX3D_RGBD_IMAGE_DATA& depth);
    // Frames are lost that are missing since this one.
    void WasTaken(uint32_t number) { m_lastNumber = number; }

private:
    const CCamera& m_camera;
    RgbImage m_color;
    bool m_hadColor = false;
    uint32_t m_lastNumber = 0;
};

} // namespace ox3d::tool

#endif
