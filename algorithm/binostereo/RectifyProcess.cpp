// Process type 5: warps a left and a right image through the maps that process type 1 has built.
// Relies on the maps in the fusion-depth region of an initialised object.
#include "algorithm/binostereo/Records.h"
#include "algorithm/binostereo/Regions.h"

using namespace ox3d::stereo;

namespace {

using Pair = OXB3D_BINOSTEREO_IMAGE_PAIR;

bool HasSize(const ZQA_IMAGE& image, ZQA_SIZE size) {
    return image.width == size.width && image.height == size.height;
}

int32_t CheckImages(const Pair& in, const Pair& out, ZQA_SIZE size) {
    const ZQA_IMAGE* const images[4] = {&in.left, &in.right, &out.left, &out.right};
    for (const ZQA_IMAGE* image : images) {
        if (image->format != ZQA_FORMAT_GREY8) {
            return OXB3D_BINOSTEREO_E_IMAGE_FORMAT;
        }
    }
    if (!HasSize(in.left, size) || !HasSize(in.right, size)) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    if (in.left.width > in.left.step[0] || in.right.width > in.right.step[0]) {
        return OXB3D_BINOSTEREO_E_IMAGE_STEP;
    }
    for (const ZQA_IMAGE* image : images) {
        const int32_t status = ZQA_CheckImage(image);
        if (status != OXB3D_BINOSTEREO_OK) {
            return status; // unmapped, deliberately
        }
    }
    // The outputs are held to the size as well, since that many pixels are written to them. Only after the
    // image checks, whose statuses callers know.
    return HasSize(out.left, size) && HasSize(out.right, size) ? OXB3D_BINOSTEREO_OK
                                                               : OXB3D_BINOSTEREO_E_IMAGE_SIZE;
}

// Rows are taken as unpadded also where a larger step has passed the checks: preserved for compatibility.
int32_t Remap(const BinoObject& object, ESide side, const ZQA_IMAGE& source, const ZQA_IMAGE& target) {
    const RectMap map = RectMapOf(object, object.m_imageSize, side);
    return OXB3D_BINOSTEREO_RCT_RectifyImage(
        static_cast<const uint8_t*>(source.data[0]), map.m_indexPlane, map.m_weightPlane,
        object.m_imageSize.width, object.m_imageSize.height, static_cast<uint8_t*>(target.data[0]));
}

} // namespace

int32_t OXB3D_BINOSTEREO_RectifyProcess(void* handle, void* input, int32_t inputSize, void* output,
                                        int32_t outputSize) {
    int32_t status = CheckRecords<Pair, Pair>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const BinoObject& object = *ObjectOf(handle);
    if (object.m_initialised == 0) {
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    const auto in = ReadRecord<Pair>(input);
    const auto out = ReadRecord<Pair>(output);
    status = CheckImages(in, out, object.m_imageSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    status = Remap(object, ESide::Left, in.left, out.left);
    return status != OXB3D_BINOSTEREO_OK ? status : Remap(object, ESide::Right, in.right, out.right);
}
