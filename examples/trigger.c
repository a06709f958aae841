/* Has the camera take a frame when it is told to, and no other.
 * usage: trigger [FRAMES] */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <stdio.h>
#include <stdlib.h>

static uint32_t set_mode(void* camera, const char* mode) {
    return OX3D_RGBD_SetEnumByName(camera, "TriggerMode", mode);
}

static uint32_t take(void* camera, unsigned frames) {
    for (unsigned i = 0; i < frames; ++i) {
        uint32_t status = OX3D_RGBD_SoftTrigger(camera);
        if (status != OX3D_RGBD_OK) {
            return status;
        }
        /* Until the frame is there a further trigger may be lost. */
        OX3D_RGBD_FRAME_DATA frame;
        status = OX3D_RGBD_FetchFrame(camera, &frame, 5000);
        if (status != OX3D_RGBD_OK) {
            return status;
        }
        printf("trigger %u: frame %u, %u x %u\n", i + 1, frame.stImageData[0].nFrameNum,
               frame.stImageData[0].nWidth, frame.stImageData[0].nHeight);
    }
    OX3D_RGBD_FRAME_DATA none;
    return OX3D_RGBD_FetchFrame(camera, &none, 200) == OX3D_RGBD_E_NO_DATA ? OX3D_RGBD_OK
                                                                           : OX3D_RGBD_E_UNKNOWN;
}

static uint32_t run(void* camera, unsigned frames) {
    /* The first OX3D_RGBD_SoftTrigger would do the same; done before the start, no frame comes untriggered. */
    uint32_t status = OX3D_RGBD_SetEnumByName(camera, "TriggerSource", "Software");
    if (status == OX3D_RGBD_OK) {
        status = set_mode(camera, "On");
    }
    if (status == OX3D_RGBD_OK) {
        status = OX3D_RGBD_Start(camera);
    }
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = take(camera, frames);
    const uint32_t stopped = OX3D_RGBD_Stop(camera);
    const uint32_t reset = set_mode(camera, "Off"); /* the camera would keep it */
    return status != OX3D_RGBD_OK ? status : stopped != OX3D_RGBD_OK ? stopped : reset;
}

int main(int argc, char** argv) {
    const unsigned frames = argc > 1 ? (unsigned)strtoul(argv[1], NULL, 10) : 3;
    void* camera = NULL;
    uint32_t status = OX3D_RGBD_OpenDevice(&camera, NULL);
    if (status == OX3D_RGBD_OK) {
        status = run(camera, frames);
        const uint32_t closed = OX3D_RGBD_CloseDevice(&camera);
        status = status != OX3D_RGBD_OK ? status : closed;
    }
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "failed: %s\n", OX3D_RGBD_StatusText(status));
    }
    return status == OX3D_RGBD_OK ? 0 : 1;
}
