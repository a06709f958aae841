// Process type 1: takes a stereo calibration, builds the rectification maps of both cameras and initialises
// the object. Relies on the rectification geometry and on the fusion-depth region.
#include "algorithm/binostereo/Records.h"
#include "algorithm/binostereo/Rectification.h"
#include "algorithm/binostereo/Regions.h"
#include "base/WorkerPool.h"

#include <initializer_list>

using namespace ox3d::stereo;

namespace {

using Input = OXB3D_BINOSTEREO_INIT_INPUT;
using Output = OXB3D_BINOSTEREO_INIT_OUTPUT;

int32_t BuildMap(const BinoObject& object, const Input& in, ESide side, const Rectification& rectification) {
    const bool isLeft = side == ESide::Left;
    const RectMap map = RectMapOf(object, {in.width, in.height}, side);
    return OXB3D_BINOSTEREO_RCT_GeneUndistortRectMap(
        in.width, in.height, isLeft ? &in.left : &in.right, 0,
        isLeft ? rectification.m_leftRotation : rectification.m_rightRotation, rectification.m_projection,
        map.m_indexPlane, map.m_weightPlane, object.m_scratchRegion);
}

} // namespace

// Everything that can fail comes before the first map entry is written: a turned rotation and a projection
// with a focal length of at least a pixel can always be inverted.
int32_t OXB3D_BINOSTEREO_InitProcess(void* handle, void* input, int32_t inputSize, void* output,
                                     int32_t outputSize) {
    int32_t status = CheckRecords<Input, Output>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    BinoObject& object = *ObjectOf(handle);
    if (object.m_fusionDepthRegion == nullptr) {
        return OXB3D_BINOSTEREO_E_PROCESS_TYPE;
    }
    const auto in = ReadRecord<Input>(input);
    if (in.width < kMinWidth || in.height < kMinHeight || !FitsAbility(object, in.width, in.height)) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    Rectification rectification{};
    if (!ComputeRectification(in, &rectification)) {
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    for (const ESide side : {ESide::Left, ESide::Right}) {
        status = BuildMap(object, in, side, rectification);
        if (status != OXB3D_BINOSTEREO_OK) {
            return status;
        }
    }
    if (MatchThreadsOf(object) > 1) {
        ox3d::KeepPoolThreads(MatchThreadsOf(object));
    }
    *GeometryOf(object) = {rectification.m_projection[0], rectification.m_rightOffset};
    object.m_imageSize = {in.width, in.height};
    object.m_initialised = 1;
    Output out{};
    out.fx = rectification.m_projection[0];
    out.fy = rectification.m_projection[5];
    out.cx = rectification.m_projection[2];
    out.cy = rectification.m_projection[6];
    out.baseLine = rectification.m_baseLine;
    WriteRecord(out, output);
    return OXB3D_BINOSTEREO_OK;
}
