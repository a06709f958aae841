/* A C program against the installed library: open, fetch, turn depth into points, close. With the argument
 * --no-provider it expects that no camera-control library can be found. */
#include <ox3drgbd/Ox3dRgbdApi.h>
#include <ox3drgbd/Ox3dRgbdImgProc.h>
#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <stdio.h>
#include <string.h>

#define EXPECT(condition)                                                           \
    do {                                                                            \
        if (!(condition)) {                                                         \
            fprintf(stderr, "consumer.c:%d: not true: %s\n", __LINE__, #condition); \
            return 1;                                                               \
        }                                                                           \
    } while (0)

static int points_of_one_frame(void) {
    void* handle = NULL;
    OX3D_RGBD_FRAME_DATA frame;
    OX3D_RGBD_IMAGE_DATA cloud;
    EXPECT(OX3D_RGBD_OpenDevice(&handle, NULL) == OX3D_RGBD_OK);
    EXPECT(OX3D_RGBD_Start(handle) == OX3D_RGBD_OK);
    EXPECT(OX3D_RGBD_FetchFrame(handle, &frame, 5000) == OX3D_RGBD_OK);
    EXPECT(frame.nImageCount == 2);
    OX3D_RGBD_IMAGE_DATA* depth = &frame.stImageData[0];
    EXPECT(depth->enImageType == OX3D_RGBD_PIXEL_DEPTH16);
    EXPECT(OX3D_RGBD_MapDepthToPointCloud(handle, depth, &cloud) == OX3D_RGBD_OK);
    EXPECT(cloud.nDataLen == depth->nWidth * depth->nHeight * 12);
    EXPECT(OX3D_RGBD_CloseDevice(&handle) == OX3D_RGBD_OK && handle == NULL);
    return 0;
}

int main(int argc, char** argv) {
    OX3D_RGBD_VERSION_INFO version;
    uint32_t count = 0;
    EXPECT(OX3D_RGBD_GetSDKVersion(&version) == OX3D_RGBD_OK);
    EXPECT(version.nMajor == 1 && version.nMinor == 1 && version.nRevision == 0);
    EXPECT(OXB3D_BINOSTEREO_GetVersion() == 0x04C12A58);
    if (argc > 1 && strcmp(argv[1], "--no-provider") == 0) {
        EXPECT(OX3D_RGBD_GetDeviceNumber(OX3D_RGBD_DEVICE_ALL, &count) == OX3D_RGBD_E_LOAD_LIBRARY);
        return 0;
    }
    return points_of_one_frame();
}
