/* Where the two cameras of a device look: the lens of each stream as it is delivered, the way from one camera to the other,
 * and where a point in space is in the color image. With EXPORT it copies the calibration of the whole system to a file, with
 * IMPORT a file into the camera, which replaces what was there.
 * usage: calibration [EXPORT|IMPORT FILE] */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <stddef.h>
#include <stdio.h>
#include <string.h>

static void print_lens(const char* name, const OX3D_RGBD_INTRINSICS* lens) {
    printf("%s: %u x %u pixels, focal lengths %.2f, %.2f, centre %.2f, %.2f\n", name, lens->nWidth,
           lens->nHeight, (double)lens->fFx, (double)lens->fFy, (double)lens->fCx, (double)lens->fCy);
    printf("    distortion k1 %g k2 %g p1 %g p2 %g k3 %g\n", (double)lens->fK1, (double)lens->fK2,
           (double)lens->fP1, (double)lens->fP2, (double)lens->fK3);
}

/* to = R * from + t, in millimetres */
static void move(const OX3D_RGBD_EXTRINSICS* way, const float from[3], float to[3]) {
    for (size_t row = 0; row < 3; ++row) {
        const float* const r = &way->fRotation[3 * row];
        to[row] = r[0] * from[0] + r[1] * from[1] + r[2] * from[2] + way->fTranslation[row];
    }
}

/* The pixel at which a lens sees a point in front of it; whole numbers are the centres of pixels. */
static void look(const OX3D_RGBD_INTRINSICS* lens, const float point[3], float pixel[2]) {
    const float x = point[0] / point[2], y = point[1] / point[2], r2 = x * x + y * y;
    const float radial = 1 + r2 * (lens->fK1 + r2 * (lens->fK2 + r2 * lens->fK3));
    pixel[0] = lens->fFx * (x * radial + 2 * lens->fP1 * x * y + lens->fP2 * (r2 + 2 * x * x)) + lens->fCx;
    pixel[1] = lens->fFy * (y * radial + 2 * lens->fP2 * x * y + lens->fP1 * (r2 + 2 * y * y)) + lens->fCy;
}

static uint32_t show(void* camera) {
    uint32_t status = OX3D_RGBD_Start(camera);
    OX3D_RGBD_FRAME_DATA frame;
    status = status != OX3D_RGBD_OK ? status : OX3D_RGBD_FetchFrame(camera, &frame, 2000);
    OX3D_RGBD_INTRINSICS depth, color;
    OX3D_RGBD_EXTRINSICS way;
    status =
        status != OX3D_RGBD_OK ? status : OX3D_RGBD_GetIntrinsics(camera, OX3D_RGBD_CAMERA_DEPTH, &depth);
    status =
        status != OX3D_RGBD_OK ? status : OX3D_RGBD_GetIntrinsics(camera, OX3D_RGBD_CAMERA_COLOR, &color);
    status = status != OX3D_RGBD_OK
                 ? status
                 : OX3D_RGBD_GetExtrinsics(camera, OX3D_RGBD_CAMERA_DEPTH, OX3D_RGBD_CAMERA_COLOR, &way);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    print_lens("depth, as it is delivered", &depth);
    print_lens("color, as it is delivered", &color);
    printf("from the depth to the color camera: %.2f, %.2f, %.2f mm\n", (double)way.fTranslation[0],
           (double)way.fTranslation[1], (double)way.fTranslation[2]);
    const float ahead[3] = {0.0f, 0.0f, 1000.0f};
    float seen[3], pixel[2];
    move(&way, ahead, seen);
    look(&color, seen, pixel);
    printf("what is a metre ahead of the depth camera is at %.1f, %.1f of the color image\n",
           (double)pixel[0], (double)pixel[1]);
    return OX3D_RGBD_OK;
}

int main(int argc, char** argv) {
    const int is_export = argc == 3 && strcmp(argv[1], "EXPORT") == 0;
    const int is_import = argc == 3 && strcmp(argv[1], "IMPORT") == 0;
    if (argc != 1 && !is_export && !is_import) {
        fprintf(stderr, "usage: calibration [EXPORT|IMPORT FILE]\n");
        return 2;
    }
    void* camera = NULL;
    uint32_t status = OX3D_RGBD_OpenDevice(&camera, NULL);
    if (status == OX3D_RGBD_OK) {
        status = is_export   ? OX3D_RGBD_ExportSystemCalibration(camera, argv[2])
                 : is_import ? OX3D_RGBD_ImportSystemCalibration(camera, argv[2])
                             : show(camera);
        const uint32_t closed = OX3D_RGBD_CloseDevice(&camera);
        status = status != OX3D_RGBD_OK ? status : closed;
    }
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "no calibration: %s\n", OX3D_RGBD_StatusText(status));
    }
    return status == OX3D_RGBD_OK ? 0 : 1;
}
