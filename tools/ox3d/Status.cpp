// Statuses of the library as text. What is no status of the library is a code that only passed through from the
// camera-control library, and stays a number: its meaning is that library's.
#include "tools/ox3d/Status.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace ox3d::tool {
namespace {

struct StatusRow {
    uint32_t m_status;
    const char* m_meaning;
};

constexpr StatusRow kRows[] = {
    {OX3D_RGBD_OK, "success"},
    {OX3D_RGBD_E_HANDLE, "no such camera handle, or a general error"},
    {OX3D_RGBD_E_CAMERA, "the camera refused or does not support this"},
    {OX3D_RGBD_E_CAMERA_02, "too many frames are held at once"},
    {OX3D_RGBD_E_STATE, "not possible in this state"},
    {OX3D_RGBD_E_PARAMETER, "unknown name or a value that is not allowed"},
    {OX3D_RGBD_E_MEMORY, "out of memory"},
    {OX3D_RGBD_E_NO_DATA, "no data"},
    {OX3D_RGBD_E_CAMERA_07, "the camera does not answer, or does not allow this now"},
    {OX3D_RGBD_E_CAMERA_08, "the camera's version does not fit the camera-control library's"},
    {OX3D_RGBD_E_CAMERA_09, "the frame is larger than the room for it"},
    {OX3D_RGBD_E_CAMERA_0A, "the image is damaged"},
    {OX3D_RGBD_E_LOAD_LIBRARY, "the camera-control library cannot be loaded"},
    {OX3D_RGBD_E_ALGORITHM, "depth cannot be converted; images below 640 x 480 are too small"},
    {OX3D_RGBD_E_CAMERA_0E, "access denied; another application may hold the camera"},
    {OX3D_RGBD_E_CAMERA_0F, "value out of the feature's range"},
    {OX3D_RGBD_E_UNKNOWN, "the camera-control library failed without saying why"},
};

const char* Meaning(uint32_t status) {
    const auto* const row = std::find_if(std::begin(kRows), std::end(kRows),
                                         [=](const StatusRow& each) { return each.m_status == status; });
    return row != std::end(kRows) ? row->m_meaning : "code of the camera-control library";
}

} // namespace

std::string StatusText(uint32_t status) {
    char code[16];
    std::snprintf(code, sizeof(code), " (0x%08x)", static_cast<unsigned>(status));
    return std::string(Meaning(status)) + code;
}

} // namespace ox3d::tool
