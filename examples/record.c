/* Writes every frame for a number of frames into a folder: depth as 16-bit PGM, color as PPM, and a list of their
 * times. Frames are copied as they come and written by a second thread, so that a slow disk loses none as long as the queue holds.
 * (ox3d record writes one file that can be played again; this is how to keep frames in a program of one's own.)
 * usage: record FOLDER [FRAMES] */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <threads.h>

#define QUEUE 16

typedef struct Recorder {
    const char* folder;
    void* camera;
    mtx_t mutex;
    cnd_t changed;
    OX3D_RGBD_FRAME_DATA* queue[QUEUE]; /* copies: they belong to whoever takes them out */
    unsigned taken, written;            /* frames that went into the queue, and that left it */
    int is_ended, is_broken;
} Recorder;

static FILE* create(const Recorder* recorder, const char* what, uint32_t number, const char* suffix) {
    char name[4096];
    const int length =
        snprintf(name, sizeof(name), "%s/%s_%06" PRIu32 ".%s", recorder->folder, what, number, suffix);
    return length > 0 && (size_t)length < sizeof(name) ? fopen(name, "wb") : NULL;
}

/* PGM has the high byte first. */
static int write_depth(const Recorder* recorder, const OX3D_RGBD_IMAGE_DATA* image) {
    FILE* file = create(recorder, "depth", image->nFrameNum, "pgm");
    if (file == NULL) {
        return 0;
    }
    int ok = fprintf(file, "P5\n%" PRIu32 " %" PRIu32 "\n65535\n", image->nWidth, image->nHeight) > 0;
    const size_t samples = (size_t)image->nWidth * image->nHeight;
    for (size_t i = 0; ok && i < samples; ++i) {
        const uint8_t swapped[2] = {image->pData[2 * i + 1], image->pData[2 * i]};
        ok = fwrite(swapped, sizeof(swapped), 1, file) == 1;
    }
    return fclose(file) == 0 && ok;
}

/* Three planes become pixels. */
static int write_color(const Recorder* recorder, const OX3D_RGBD_IMAGE_DATA* image) {
    FILE* file = create(recorder, "color", image->nFrameNum, "ppm");
    if (file == NULL) {
        return 0;
    }
    int ok = fprintf(file, "P6\n%" PRIu32 " %" PRIu32 "\n255\n", image->nWidth, image->nHeight) > 0;
    const size_t plane = (size_t)image->nWidth * image->nHeight;
    for (size_t i = 0; ok && i < plane; ++i) {
        const uint8_t pixel[3] = {image->pData[i], image->pData[plane + i], image->pData[2 * plane + i]};
        ok = fwrite(pixel, sizeof(pixel), 1, file) == 1;
    }
    return fclose(file) == 0 && ok;
}

static int write_frame(const Recorder* recorder, FILE* times, const OX3D_RGBD_FRAME_DATA* frame) {
    OX3D_RGBD_FRAME_TIMES when;
    if (OX3D_RGBD_GetFrameTimes(recorder->camera, frame, &when) != OX3D_RGBD_OK) {
        return 0;
    }
    int ok = fprintf(times, "%" PRIu32 " %" PRIu64 " %" PRIu64 " %" PRIu64 "\n", when.nFrameNum,
                     when.nArrivalUtcNs, when.nCaptureUtcNs, when.nCaptureErrorNs) > 0;
    for (uint32_t i = 0; ok && i < frame->nImageCount; ++i) {
        const OX3D_RGBD_IMAGE_DATA* image = &frame->stImageData[i];
        const uint64_t pixels = (uint64_t)image->nWidth * image->nHeight;
        if (image->enImageType == OX3D_RGBD_PIXEL_DEPTH16 && image->nDataLen >= pixels * 2) {
            ok = write_depth(recorder, image);
        } else if (image->enImageType == OX3D_RGBD_PIXEL_RGB8_PLANAR && image->nDataLen >= pixels * 3) {
            ok = write_color(recorder, image);
        }
    }
    return ok;
}

static int write_all(void* user) {
    Recorder* recorder = user;
    char name[4096];
    snprintf(name, sizeof(name), "%s/times.txt", recorder->folder);
    FILE* times = fopen(name, "w");
    int ok = times != NULL && fprintf(times, "# frame, UTC ns of arrival, of capture, its error\n") > 0;
    mtx_lock(&recorder->mutex);
    while (!recorder->is_ended || recorder->written < recorder->taken) {
        if (recorder->written == recorder->taken) {
            cnd_wait(&recorder->changed, &recorder->mutex);
            continue;
        }
        OX3D_RGBD_FRAME_DATA* frame = recorder->queue[recorder->written % QUEUE];
        mtx_unlock(&recorder->mutex);
        ok = ok && write_frame(recorder, times, frame);
        ok = OX3D_RGBD_FreeFrame(frame) == OX3D_RGBD_OK && ok;
        mtx_lock(&recorder->mutex);
        ++recorder->written;
        recorder->is_broken = !ok;
    }
    mtx_unlock(&recorder->mutex);
    return times != NULL && fclose(times) == 0 && ok ? 0 : 1;
}

static uint32_t take_all(Recorder* recorder, unsigned frames) {
    uint32_t status = OX3D_RGBD_Start(recorder->camera);
    unsigned dropped = 0;
    int is_broken = 0;
    for (unsigned i = 0; i < frames && status == OX3D_RGBD_OK && !is_broken; ++i) {
        OX3D_RGBD_FRAME_DATA frame;
        OX3D_RGBD_FRAME_DATA* copy = NULL;
        status = OX3D_RGBD_FetchFrame(recorder->camera, &frame, 5000);
        mtx_lock(&recorder->mutex);
        const int is_full = recorder->taken - recorder->written == QUEUE;
        is_broken = recorder->is_broken;
        mtx_unlock(&recorder->mutex);
        if (status == OX3D_RGBD_OK && is_full) {
            ++dropped;
        } else if (status == OX3D_RGBD_OK) {
            status = OX3D_RGBD_CopyFrame(recorder->camera, &frame, &copy);
        }
        if (copy != NULL) {
            mtx_lock(&recorder->mutex);
            recorder->queue[recorder->taken++ % QUEUE] = copy;
            mtx_unlock(&recorder->mutex);
            cnd_signal(&recorder->changed);
        }
    }
    printf("%u frames, %u dropped since the disk was slow\n", recorder->taken, dropped);
    return status;
}

static uint32_t run(Recorder* recorder, unsigned frames, int* is_written) {
    thrd_t writer;
    if (thrd_create(&writer, write_all, recorder) != thrd_success) {
        return OX3D_RGBD_E_MEMORY;
    }
    const uint32_t status = take_all(recorder, frames);
    mtx_lock(&recorder->mutex);
    recorder->is_ended = 1;
    mtx_unlock(&recorder->mutex);
    cnd_signal(&recorder->changed);
    int failed = 1;
    *is_written = thrd_join(writer, &failed) == thrd_success && failed == 0;
    return status;
}

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: record FOLDER [FRAMES]\n");
        return 2;
    }
    Recorder recorder = {.folder = argv[1]};
    if (mtx_init(&recorder.mutex, mtx_plain) != thrd_success || cnd_init(&recorder.changed) != thrd_success) {
        return 1;
    }
    int is_written = 0;
    uint32_t status = OX3D_RGBD_OpenDevice(&recorder.camera, NULL);
    if (status == OX3D_RGBD_OK) {
        status = run(&recorder, argc > 2 ? (unsigned)strtoul(argv[2], NULL, 10) : 30, &is_written);
        const uint32_t closed = OX3D_RGBD_CloseDevice(&recorder.camera);
        status = status != OX3D_RGBD_OK ? status : closed;
    }
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "not recorded: %s\n", OX3D_RGBD_StatusText(status));
    } else if (!is_written) {
        fprintf(stderr, "cannot write into %s\n", argv[1]);
    }
    return status == OX3D_RGBD_OK && is_written ? 0 : 1;
}
