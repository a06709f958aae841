/* Streams from all cameras that are found at the same time until each has delivered some frames, and says how they fared.
 * usage: several [FRAMES] */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <threads.h>

#define MAX_CAMERAS 16
#define LONGEST_MS 30000

typedef struct Camera {
    void* handle;
    const OX3D_RGBD_DEVICE_INFO* info;
    atomic_uint frames;
} Camera;

/* Each camera calls from a thread of its own: two of these run at the same time, for two cameras. */
static void on_frame(OX3D_RGBD_FRAME_DATA* frame, void* user) {
    (void)frame;
    Camera* camera = user;
    atomic_fetch_add(&camera->frames, 1);
}

static uint32_t start(Camera* camera) {
    char serial[sizeof(camera->info->chSerialNumber) + 1];
    /* A text that fills its field has no end of its own. */
    snprintf(serial, sizeof(serial), "%.*s", (int)sizeof(camera->info->chSerialNumber),
             camera->info->chSerialNumber);
    uint32_t status = OX3D_RGBD_OpenDeviceBySerialNumber(&camera->handle, serial);
    if (status != OX3D_RGBD_OK) {
        camera->handle = NULL; /* after a failure it is no handle */
        return status;
    }
    status = OX3D_RGBD_RegisterFrameCallBack(camera->handle, on_frame, camera);
    return status != OX3D_RGBD_OK ? status : OX3D_RGBD_Start(camera->handle);
}

/* Until the slowest has its frames; frames that come meanwhile are counted on. */
static void wait_for(Camera* cameras, uint32_t count, unsigned frames) {
    uint32_t ready = 0;
    for (int ms = 0; ready < count && ms < LONGEST_MS; ms += 50) {
        thrd_sleep(&(struct timespec){.tv_nsec = 50000000}, NULL);
        while (ready < count && atomic_load(&cameras[ready].frames) >= frames) {
            ++ready;
        }
    }
}

/* The number of calls that failed. */
static unsigned report(const Camera* camera, const char* what, uint32_t status) {
    if (status == OX3D_RGBD_OK) {
        return 0;
    }
    fprintf(stderr, "%.16s: %s: %s\n", camera->info->chSerialNumber, what, OX3D_RGBD_StatusText(status));
    return 1;
}

int main(int argc, char** argv) {
    const unsigned frames = argc > 1 ? (unsigned)strtoul(argv[1], NULL, 10) : 100;
    static OX3D_RGBD_DEVICE_INFO list[MAX_CAMERAS]; /* zeroed: what does not apply stays */
    uint32_t count = 0;
    const uint32_t status = OX3D_RGBD_GetDeviceList(OX3D_RGBD_DEVICE_ALL, list, MAX_CAMERAS, &count);
    if (status != OX3D_RGBD_OK || count == 0) {
        fprintf(stderr, "no cameras: %s\n", OX3D_RGBD_StatusText(status));
        return 1;
    }
    Camera cameras[MAX_CAMERAS];
    unsigned failures = 0;
    for (uint32_t i = 0; i < count; ++i) {
        cameras[i].handle = NULL;
        cameras[i].info = &list[i];
        atomic_init(&cameras[i].frames, 0);
        failures += report(&cameras[i], "start", start(&cameras[i]));
    }
    if (failures == 0) {
        wait_for(cameras, count, frames);
    }
    for (uint32_t i = 0; i < count; ++i) {
        if (cameras[i].handle != NULL) {
            /* Ends the stream, and returns after a callback that still runs. */
            failures += report(&cameras[i], "close", OX3D_RGBD_CloseDevice(&cameras[i].handle));
        }
        const unsigned delivered = atomic_load(&cameras[i].frames);
        printf("%.16s (%.32s): %u frames\n", list[i].chSerialNumber, list[i].chModelName, delivered);
        failures += delivered < frames ? 1 : 0;
    }
    return failures == 0 ? 0 : 1;
}
