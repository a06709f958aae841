/* Depth and color laid onto each other in four ways: how many pixels have a depth, and through which lens the depth is
 * seen then. Each way is for the frames that come after its keys were set. (Of USB cameras images stay as they are.)
 * usage: alignment [SERIAL_NUMBER] */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <stdio.h>

static const struct way {
    const char* name;
    int64_t mode, target, mask;
} ways[] = {
    {"depth to color, a pixel each", 0, 0, 0},
    {"depth to color, filled", 1, 0, 0},
    {"the same with a mask", 1, 0, 1},
    {"color to depth, with a mask", 0, 1, 1},
};

static uint32_t set(void* camera, const char* key, int64_t value) {
    OX3D_RGBD_PARAM param = {.enParamType = OX3D_RGBD_PARAM_INT, .stIntParam.nCurValue = value};
    return OX3D_RGBD_SetParam(camera, key, &param);
}

static uint32_t choose(void* camera, const struct way* way) {
    uint32_t status = set(camera, OX3D_RGBD_KEY_ALIGN_MODE, way->mode);
    status = status != OX3D_RGBD_OK ? status : set(camera, OX3D_RGBD_KEY_ALIGN_TARGET, way->target);
    return status != OX3D_RGBD_OK ? status : set(camera, OX3D_RGBD_KEY_OCCLUSION_MASK, way->mask);
}

/* Images come as they are: what they are is looked at before their bytes. */
static void print_image(const OX3D_RGBD_IMAGE_DATA* image) {
    const size_t pixels = (size_t)image->nWidth * image->nHeight;
    size_t valid = 0, hidden = 0;
    if (image->enImageType == OX3D_RGBD_PIXEL_DEPTH16 && image->nDataLen / 2 >= pixels && pixels > 0) {
        for (size_t i = 0; i < pixels; ++i) {
            valid += image->pData[2 * i] != 0 || image->pData[2 * i + 1] != 0;
        }
        printf("    depth %u x %u, %.1f %% valid\n", image->nWidth, image->nHeight,
               100.0 * (double)valid / (double)pixels);
    } else if (image->enImageType == OX3D_RGBD_PIXEL_MONO8 && image->nDataLen >= pixels) {
        for (size_t i = 0; i < pixels; ++i) {
            hidden += image->pData[i] == OX3D_RGBD_MASK_HIDDEN;
        }
        printf("    mask %u x %u, %zu pixels hidden\n", image->nWidth, image->nHeight, hidden);
    } else {
        printf("    image of type %#x, %u x %u\n", image->enImageType, image->nWidth, image->nHeight);
    }
}

static uint32_t show(void* camera, const struct way* way) {
    uint32_t status = choose(camera, way);
    OX3D_RGBD_FRAME_DATA frame;
    status = status != OX3D_RGBD_OK ? status : OX3D_RGBD_FetchFrame(camera, &frame, 2000);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    printf("%s\n", way->name);
    for (uint32_t i = 0; i < frame.nImageCount; ++i) {
        print_image(&frame.stImageData[i]);
    }
    OX3D_RGBD_INTRINSICS lens;
    status = OX3D_RGBD_GetIntrinsics(camera, OX3D_RGBD_CAMERA_DEPTH, &lens);
    if (status == OX3D_RGBD_OK) {
        printf("    depth is seen with focal lengths %.1f, %.1f and centre %.1f, %.1f\n", (double)lens.fFx,
               (double)lens.fFy, (double)lens.fCx, (double)lens.fCy);
    }
    return status;
}

static uint32_t show_all(void* camera) {
    uint32_t status = set(camera, OX3D_RGBD_KEY_THREADS, 2); /* the same results, on two processors */
    status = status != OX3D_RGBD_OK ? status : OX3D_RGBD_Start(camera);
    for (size_t i = 0; status == OX3D_RGBD_OK && i < sizeof(ways) / sizeof(ways[0]); ++i) {
        status = show(camera, &ways[i]);
    }
    return status;
}

int main(int argc, char** argv) {
    void* camera = NULL;
    uint32_t status =
        argc > 1 ? OX3D_RGBD_OpenDeviceBySerialNumber(&camera, argv[1]) : OX3D_RGBD_OpenDevice(&camera, NULL);
    if (status == OX3D_RGBD_OK) {
        status = show_all(camera);
        const uint32_t closed = OX3D_RGBD_CloseDevice(&camera);
        status = status != OX3D_RGBD_OK ? status : closed;
    }
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "no alignment: %s\n", OX3D_RGBD_StatusText(status));
    }
    return status == OX3D_RGBD_OK ? 0 : 1;
}
