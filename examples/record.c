/* Writes frames into a folder: depth as 16-bit PGM, color as PPM, and a list of their times. Frames are copied as they come
 * and written by a second thread, so that a slow disk loses none as long as the queue holds.
 * (ox3d record writes one file that can be played again; this is how to keep frames in a program of one's own.)
 * usage: record FOLDER [FRAMES] */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <inttypes.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <threads.h>
#include <unistd.h>

#define QUEUE 16

static void* camera;
static const char* folder;
static int ends[2];         /* of a pipe, the queue */
static atomic_uint waiting; /* copies in it */

struct item {                    /* what goes through it */
    OX3D_RGBD_FRAME_DATA* frame; /* a copy, which the reader frees */
};

static FILE* create(const char* name) {
    char path[4096];
    const int length = snprintf(path, sizeof(path), "%s/%s", folder, name);
    return length > 0 && (size_t)length < sizeof(path) ? fopen(path, "wb") : NULL;
}

/* Images that are neither depth nor planes of color are left out. */
static int write_image(const OX3D_RGBD_IMAGE_DATA* image) {
    const int is_depth = image->enImageType == OX3D_RGBD_PIXEL_DEPTH16;
    const size_t bytes = is_depth ? 2 : 3, pixels = (size_t)image->nWidth * image->nHeight;
    if ((!is_depth && image->enImageType != OX3D_RGBD_PIXEL_RGB8_PLANAR) ||
        image->nDataLen / bytes < pixels) {
        return 1;
    }
    char name[64];
    snprintf(name, sizeof(name), "%s_%06" PRIu32 ".%s", is_depth ? "depth" : "color", image->nFrameNum,
             is_depth ? "pgm" : "ppm");
    FILE* file = create(name);
    int ok = file != NULL && fprintf(file, "P%d\n%" PRIu32 " %" PRIu32 "\n%d\n", is_depth ? 5 : 6,
                                     image->nWidth, image->nHeight, is_depth ? 65535 : 255) > 0;
    for (size_t i = 0; ok && i < pixels; ++i) {
        uint8_t pixel[3];
        for (size_t k = 0; k < bytes; ++k) { /* PGM has the high byte first; three planes become pixels */
            pixel[k] = image->pData[is_depth ? 2 * i + 1 - k : k * pixels + i];
        }
        ok = fwrite(pixel, bytes, 1, file) == 1;
    }
    return file != NULL && fclose(file) == 0 && ok;
}

static int write_frame(FILE* times, const OX3D_RGBD_FRAME_DATA* frame) {
    OX3D_RGBD_FRAME_TIMES when;
    int ok = OX3D_RGBD_GetFrameTimes(camera, frame, &when) == OX3D_RGBD_OK &&
             fprintf(times, "%" PRIu32 " %" PRIu64 " %" PRIu64 " %" PRIu64 "\n", when.nFrameNum,
                     when.nArrivalUtcNs, when.nCaptureUtcNs, when.nCaptureErrorNs) > 0;
    for (uint32_t i = 0; ok && i < frame->nImageCount; ++i) {
        ok = write_image(&frame->stImageData[i]);
    }
    return ok;
}

static int write_all(void* unused) {
    (void)unused;
    struct item item;
    FILE* times = create("times.txt");
    int ok = times != NULL && fprintf(times, "# frame, UTC ns of arrival, of capture, its error\n") > 0;
    while (read(ends[0], &item, sizeof(item)) == sizeof(item)) {
        ok = ok && write_frame(times, item.frame);
        OX3D_RGBD_FreeFrame(item.frame);
        --waiting;
    }
    return times != NULL && fclose(times) == 0 && ok;
}

/* Also counts, in *dropped, frames that the queue has no room for. */
static uint32_t take(unsigned frames, unsigned* dropped) {
    uint32_t status = OX3D_RGBD_Start(camera);
    for (unsigned i = 0; i < frames && status == OX3D_RGBD_OK; ++i) {
        OX3D_RGBD_FRAME_DATA frame;
        struct item item;
        status = OX3D_RGBD_FetchFrame(camera, &frame, 5000);
        if (status == OX3D_RGBD_OK && waiting == QUEUE) {
            ++*dropped;
            continue;
        }
        status = status == OX3D_RGBD_OK ? OX3D_RGBD_CopyFrame(camera, &frame, &item.frame) : status;
        if (status == OX3D_RGBD_OK) {
            ++waiting;
            status = write(ends[1], &item, sizeof(item)) == sizeof(item) ? status : OX3D_RGBD_E_MEMORY;
        }
    }
    return status;
}

int main(int argc, char** argv) {
    thrd_t writer;
    unsigned dropped = 0;
    int is_written = 0;
    folder = argc > 1 ? argv[1] : ".";
    uint32_t status = OX3D_RGBD_OpenDevice(&camera, NULL);
    if (status == OX3D_RGBD_OK && pipe(ends) == 0 && thrd_create(&writer, write_all, NULL) == thrd_success) {
        status = take(argc > 2 ? (unsigned)strtoul(argv[2], NULL, 10) : 30, &dropped);
        close(ends[1]); /* the writer ends with the last copy */
        thrd_join(writer, &is_written);
    }
    OX3D_RGBD_CloseDevice(&camera);
    printf("%u frames dropped since the disk was slow\n", dropped);
    fprintf(stderr, "%s%s\n", OX3D_RGBD_StatusText(status), is_written ? "" : "; not all was written");
    return status == OX3D_RGBD_OK && is_written ? 0 : 1;
}
