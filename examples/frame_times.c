/* Tells when frames were taken, in UTC, and how far that may be off: first by their arrivals alone, then by the camera's
 * clock, where the camera can be asked for it.
 * usage: frame_times [FRAMES] */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static void print_utc(uint64_t ns) {
    const time_t seconds = (time_t)(ns / 1000000000u);
    char text[32] = "";
    const struct tm* parts = gmtime(&seconds); /* one thread prints */
    if (parts != NULL) {
        strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", parts);
    }
    printf("%s.%06uZ", text, (unsigned)(ns % 1000000000u / 1000u));
}

static void print_times(const OX3D_RGBD_FRAME_TIMES* times) {
    printf("frame %" PRIu32 ": arrived ", times->nFrameNum);
    print_utc(times->nArrivalUtcNs);
    if (times->nSource == OX3D_RGBD_CLOCK_NONE) {
        printf(", the time of capture is not known yet\n");
        return;
    }
    printf(", taken ");
    print_utc(times->nCaptureUtcNs);
    printf(" +- %.3f ms%s\n", (double)times->nCaptureErrorNs / 1e6,
           times->nSource == OX3D_RGBD_CLOCK_LATCH ? " by the camera's clock" : "");
}

static uint32_t take(void* camera, unsigned frames) {
    OX3D_RGBD_FRAME_DATA frame;
    OX3D_RGBD_FRAME_TIMES times;
    uint32_t status = OX3D_RGBD_OK;
    for (unsigned i = 0; i < frames && status == OX3D_RGBD_OK; ++i) {
        status = OX3D_RGBD_FetchFrame(camera, &frame, 2000);
        if (status == OX3D_RGBD_OK) {
            status = OX3D_RGBD_GetFrameTimes(camera, &frame, &times);
        }
        if (status == OX3D_RGBD_OK) {
            print_times(&times);
        }
    }
    return status;
}

static uint32_t run(void* camera, unsigned frames) {
    uint32_t status = OX3D_RGBD_Start(camera);
    if (status == OX3D_RGBD_OK) {
        status = take(camera, frames);
    }
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    /* Asks the camera. Now and then is enough: from here on the times of frames go by its answer. */
    OX3D_RGBD_FRAME_CLOCK clock;
    status = OX3D_RGBD_GetFrameClock(camera, &clock);
    if (status == OX3D_RGBD_E_NO_DATA) {
        printf("the camera's frames carry no time, or tell too little yet\n");
        return take(camera, frames);
    }
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    printf("a tick is %.9f ns, drift %+.1f ppm (+- %.1f), error %.3f ms, by %" PRIu32 " frames%s\n",
           clock.dNsPerTick, clock.dDriftPpm, clock.dRateErrorPpm, (double)clock.nErrorNs / 1e6,
           clock.nSamples, clock.nSource == OX3D_RGBD_CLOCK_LATCH ? " and the camera's clock" : "");
    return take(camera, frames);
}

int main(int argc, char** argv) {
    const unsigned frames = argc > 1 ? (unsigned)strtoul(argv[1], NULL, 10) : 5;
    void* camera = NULL;
    uint32_t status = OX3D_RGBD_OpenDevice(&camera, NULL);
    if (status == OX3D_RGBD_OK) {
        status = run(camera, frames);
        const uint32_t closed = OX3D_RGBD_CloseDevice(&camera);
        status = status != OX3D_RGBD_OK ? status : closed;
    }
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "no times: %s\n", OX3D_RGBD_StatusText(status));
    }
    return status == OX3D_RGBD_OK ? 0 : 1;
}
