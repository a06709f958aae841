/* Takes one frame from the first camera found and turns its depth into a point cloud.
 * usage: point_cloud [SERIAL_NUMBER] */
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <ox3drgbd/Ox3dRgbdImgProc.h>

#include <stdio.h>
#include <string.h>

/* Points are in the depth's unit, millimetres; (0, 0, 0) stands where there is no depth. */
static void print_cloud(const OX3D_RGBD_IMAGE_DATA* cloud) {
    const size_t pixels = (size_t)cloud->nWidth * cloud->nHeight;
    size_t valid = 0;
    float nearest[3] = {0.0f, 0.0f, 0.0f};
    for (size_t i = 0; i < pixels; ++i) {
        float point[3];
        memcpy(point, cloud->pData + i * sizeof(point), sizeof(point));
        if (point[2] <= 0.0f) {
            continue;
        }
        if (valid == 0 || point[2] < nearest[2]) {
            memcpy(nearest, point, sizeof(point));
        }
        ++valid;
    }
    printf("frame %u: %u x %u pixels, %zu points\n", cloud->nFrameNum, cloud->nWidth, cloud->nHeight, valid);
    printf("nearest point: X %.1f  Y %.1f  Z %.1f\n", nearest[0], nearest[1], nearest[2]);
}

static uint32_t take_one(void* camera) {
    /* Points are wanted in the depth camera's own frame, so depth must not be registered to color. */
    OX3D_RGBD_PARAM off;
    memset(&off, 0, sizeof(off));
    off.enParamType = OX3D_RGBD_PARAM_INT;
    uint32_t status = OX3D_RGBD_SetParam(camera, OX3D_RGBD_KEY_IMAGE_ALIGN, &off);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = OX3D_RGBD_Start(camera);
    if (status != OX3D_RGBD_OK) {
        return status;
    }

    OX3D_RGBD_FRAME_DATA frame;
    status = OX3D_RGBD_FetchFrame(camera, &frame, 2000);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    OX3D_RGBD_IMAGE_DATA cloud;
    memset(&cloud, 0, sizeof(cloud));
    status = OX3D_RGBD_MapDepthToPointCloud(camera, &frame.stImageData[0], &cloud);
    if (status == OX3D_RGBD_OK) {
        print_cloud(&cloud);
    }
    return status;
}

int main(int argc, char** argv) {
    void* camera = NULL;
    uint32_t status =
        argc > 1 ? OX3D_RGBD_OpenDeviceBySerialNumber(&camera, argv[1]) : OX3D_RGBD_OpenDevice(&camera, NULL);
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "no camera opened: %s\n", OX3D_RGBD_StatusText(status));
        return 1;
    }
    status = take_one(camera);
    const uint32_t closed = OX3D_RGBD_CloseDevice(&camera);
    status = status != OX3D_RGBD_OK ? status : closed;
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "no point cloud: %s\n", OX3D_RGBD_StatusText(status));
    }
    return status == OX3D_RGBD_OK ? 0 : 1;
}
