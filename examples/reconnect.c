/* Fetches frames for a number of seconds from a camera that may be unplugged and plugged in again meanwhile: the
 * library looks for it and goes on with the settings that it had.
 * usage: reconnect [SECONDS] */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <stdio.h>
#include <stdlib.h>
#include <time.h>

/* Runs on a thread of the library, which waits for it: say what there is to say and leave. */
static void on_exception(OX3D_RGBD_EXCEPTION_INFO* info, void* user) {
    (void)user;
    printf("%s\n", info->nExceptionId == OX3D_RGBD_EXCEPTION_RETRYING      ? "lost, the library looks for it"
                   : info->nExceptionId == OX3D_RGBD_EXCEPTION_RECONNECTED ? "back"
                                                                           : "gone");
    fflush(stdout);
}

static uint32_t run(void* camera, unsigned seconds) {
    OX3D_RGBD_PARAM on = {.enParamType = OX3D_RGBD_PARAM_INT, .stIntParam.nCurValue = 1};
    uint32_t status = OX3D_RGBD_RegisterExceptionCallBack(camera, on_exception, NULL);
    if (status == OX3D_RGBD_OK) {
        status = OX3D_RGBD_SetParam(camera, OX3D_RGBD_KEY_AUTO_RECONNECT, &on);
    }
    if (status == OX3D_RGBD_OK) {
        status = OX3D_RGBD_Start(camera);
    }
    const time_t end = time(NULL) + (time_t)seconds;
    unsigned frames = 0;
    while (status == OX3D_RGBD_OK && time(NULL) < end) {
        OX3D_RGBD_FRAME_DATA frame;
        /* While the camera is away this waits a second and returns OX3D_RGBD_E_NO_DATA. */
        status = OX3D_RGBD_FetchFrame(camera, &frame, 1000);
        if (status == OX3D_RGBD_OK) {
            ++frames;
        } else if (status == OX3D_RGBD_E_NO_DATA) {
            status = OX3D_RGBD_OK;
        }
    }
    printf("%u frames\n", frames);
    return status;
}

int main(int argc, char** argv) {
    void* camera = NULL;
    uint32_t status = OX3D_RGBD_OpenDevice(&camera, NULL);
    if (status == OX3D_RGBD_OK) {
        status = run(camera, argc > 1 ? (unsigned)strtoul(argv[1], NULL, 10) : 10);
        const uint32_t closed = OX3D_RGBD_CloseDevice(&camera);
        status = status != OX3D_RGBD_OK ? status : closed;
    }
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "failed: %s\n", OX3D_RGBD_StatusText(status));
    }
    return status == OX3D_RGBD_OK ? 0 : 1;
}
