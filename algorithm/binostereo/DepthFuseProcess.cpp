// Process type 6: checks the records and hands the frame to multi-frame fusion with the object's parameters.
// Relies on the fusion functions; their statuses and the image check's are passed on unmapped.
#include "algorithm/binostereo/Object.h"

#include <cstring>

namespace {

using Input = OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT;

int32_t ParamOf(void* handle, uint32_t id) {
    OXB3D_BINOSTEREO_PARAM param{id, 0};
    OXB3D_BINOSTEREO_GetSingleParam(handle, &param);
    return param.value;
}

int32_t CheckImages(const Input& in, int32_t mode) {
    if (in.depth.data[0] == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    if (in.depth.width != in.depth.step[0]) {
        return OXB3D_BINOSTEREO_E_IMAGE_STEP;
    }
    if (mode == 1 || mode == 2) {
        if (in.grey.width != in.depth.width || in.grey.height != in.depth.height ||
            in.grey.step[0] != in.depth.step[0]) {
            return OXB3D_BINOSTEREO_E_IMAGE_STEP;
        }
        // Unmapped, deliberately, here and below: callers see the small negative values.
        const int32_t status = ZQA_CheckImage(&in.grey);
        if (status != OXB3D_BINOSTEREO_OK) {
            return status;
        }
    }
    return ZQA_CheckImage(&in.depth);
}

} // namespace

int32_t OXB3D_BINOSTEREO_DepthFuseProcess(void* handle, void* input, int32_t inputSize, void* output,
                                          int32_t outputSize) {
    int32_t status =
        oxb3d::CheckRecords(handle, input, inputSize, sizeof(Input), output, outputSize, sizeof(ZQA_IMAGE));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    Input in;
    ZQA_IMAGE out;
    std::memcpy(&in, input, sizeof in);
    std::memcpy(&out, output, sizeof out);
    const int32_t mode = ParamOf(handle, 257);
    status = CheckImages(in, mode);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const oxb3d::BinoObject& object = *oxb3d::ObjectOf(handle);
    if (!oxb3d::FitsAbility(object, in.depth.width, in.depth.height)) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    const int32_t config[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS] = {5,
                                                                5,
                                                                in.depth.width - 6,
                                                                in.depth.height - 6,
                                                                11,
                                                                mode,
                                                                ParamOf(handle, 259),
                                                                ParamOf(handle, 258),
                                                                70,
                                                                ParamOf(handle, 260),
                                                                ParamOf(handle, 261)};
    const OXB3D_BINOSTEREO_FUSE_FRAME frame{static_cast<const int16_t*>(in.depth.data[0]),
                                            static_cast<const uint8_t*>(in.grey.data[0]), in.depth.width,
                                            in.depth.height};
    return OXB3D_BINOSTEREO_MULTI_FUSE_Process(object.multiFuseRegion, &frame, config,
                                               static_cast<int16_t*>(out.data[0]));
}
