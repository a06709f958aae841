// What a recorder is told of one of the tool's cameras.
#include "tools/ox3d/commands/RecordedSource.h"

#include "tools/ox3d/Status.h"

#include <cstdio>

namespace ox3d::tool {

RecordedCamera DescribeCamera(const CCamera& camera, const std::filesystem::path& scratch) {
    uint32_t calibration = OX3D_RGBD_OK;
    RecordedCamera recorded = ox3d::DescribeCamera(camera.Handle(), camera.Record(), scratch, &calibration);
    if (calibration != OX3D_RGBD_OK) {
        std::fprintf(stderr, "ox3d: the recording will lack the camera's calibration: %s\n",
                     StatusText(calibration).c_str());
    }
    return recorded;
}

} // namespace ox3d::tool
