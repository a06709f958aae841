/* Takes one frame from the first camera found and writes its points, colored, as a PLY file. The points are right
 * whatever the switches are, and for USB cameras, too: in the frame of the color camera, in millimetres.
 * usage: cloud FILE.ply [SERIAL_NUMBER] */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <stdio.h>

static int write_ply(const char* name, const OX3D_RGBD_CLOUD* cloud) {
    FILE* file = fopen(name, "wb");
    if (file == NULL) {
        return 0;
    }
    fprintf(
        file,
        "ply\nformat binary_little_endian 1.0\nelement vertex %u\n"
        "property float x\nproperty float y\nproperty float z\n"
        "property uchar red\nproperty uchar green\nproperty uchar blue\nproperty uchar alpha\nend_header\n",
        cloud->nCount);
    /* A point with its color is just what lies in the file: three floats and four bytes. */
    const size_t written = fwrite(cloud->pPoints, cloud->nPointStride, cloud->nCount, file);
    return fclose(file) == 0 && written == cloud->nCount;
}

static uint32_t take_one(void* camera, const char* name, int* is_written) {
    uint32_t status = OX3D_RGBD_Start(camera);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    OX3D_RGBD_FRAME_DATA frame;
    status = OX3D_RGBD_FetchFrame(camera, &frame, 2000);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const OX3D_RGBD_CLOUD_OPTIONS options = {.nCamera = OX3D_RGBD_CAMERA_COLOR,
                                             .nLayout = OX3D_RGBD_CLOUD_VALID,
                                             .nColor = OX3D_RGBD_CLOUD_COLOR_INTERLEAVED};
    OX3D_RGBD_CLOUD cloud;
    status = OX3D_RGBD_MapFrameToPointCloud(camera, &frame, &options, &cloud);
    if (status == OX3D_RGBD_OK) {
        *is_written = write_ply(name, &cloud);
        printf("frame %u: %u points%s\n", cloud.nFrameNum, cloud.nCount,
               *is_written ? "" : ", which cannot be written");
    }
    return status;
}

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: cloud FILE.ply [SERIAL_NUMBER]\n");
        return 2;
    }
    void* camera = NULL;
    int is_written = 0;
    uint32_t status =
        argc > 2 ? OX3D_RGBD_OpenDeviceBySerialNumber(&camera, argv[2]) : OX3D_RGBD_OpenDevice(&camera, NULL);
    if (status == OX3D_RGBD_OK) {
        status = take_one(camera, argv[1], &is_written);
        const uint32_t closed = OX3D_RGBD_CloseDevice(&camera);
        status = status != OX3D_RGBD_OK ? status : closed;
    }
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "no points: %s\n", OX3D_RGBD_StatusText(status));
    }
    return is_written ? 0 : 1;
}
