/* Has frames pushed into a callback for a number of seconds, and hears of an unplugged camera.
 * usage: callback [SECONDS] */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <stdatomic.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <threads.h>

typedef struct Session {
    atomic_uint frames;
    atomic_uint lost;
    atomic_bool offline;
    uint32_t lastNumber; /* of the delivery thread only */
} Session;

/* Runs on the camera library's thread. The next frame waits until it returns, and the images are gone
 * afterwards: copy what is needed and leave. */
static void on_frame(OX3D_RGBD_FRAME_DATA* frame, void* user) {
    Session* session = user;
    const uint32_t number = frame->stImageData[0].nFrameNum;
    if (number > session->lastNumber + 1) {
        atomic_fetch_add(&session->lost, number - session->lastNumber - 1);
    }
    session->lastNumber = number;
    atomic_fetch_add(&session->frames, 1);
}

static void on_exception(OX3D_RGBD_EXCEPTION_INFO* info, void* user) {
    Session* session = user;
    if (info->nExceptionId == OX3D_RGBD_EXCEPTION_OFFLINE) {
        atomic_store(&session->offline, true);
    }
}

static uint32_t run(void* camera, Session* session, unsigned seconds) {
    uint32_t status = OX3D_RGBD_RegisterFrameCallBack(camera, on_frame, session);
    if (status == OX3D_RGBD_OK) {
        status = OX3D_RGBD_RegisterExceptionCallBack(camera, on_exception, session);
    }
    if (status == OX3D_RGBD_OK) {
        status = OX3D_RGBD_Start(camera);
    }
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    for (unsigned i = 0; i < seconds && !atomic_load(&session->offline); ++i) {
        thrd_sleep(&(struct timespec){.tv_sec = 1}, NULL);
        printf("%u frames, %u lost\n", atomic_load(&session->frames), atomic_load(&session->lost));
    }
    if (atomic_load(&session->offline)) {
        printf("the camera is gone\n");
    }
    return OX3D_RGBD_OK;
}

int main(int argc, char** argv) {
    const unsigned seconds = argc > 1 ? (unsigned)strtoul(argv[1], NULL, 10) : 3;
    void* camera = NULL;
    uint32_t status = OX3D_RGBD_OpenDevice(&camera, NULL);
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "no camera opened: %s\n", OX3D_RGBD_StatusText(status));
        return 1;
    }
    Session session = {0};
    status = run(camera, &session, seconds);
    /* Stops the stream and returns after a callback that still runs: the session may then go. */
    const uint32_t closed = OX3D_RGBD_CloseDevice(&camera);
    status = status != OX3D_RGBD_OK ? status : closed;
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "no frames: %s\n", OX3D_RGBD_StatusText(status));
    }
    return status == OX3D_RGBD_OK ? 0 : 1;
}
