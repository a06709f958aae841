/* Rectifies a stereo pair: two images in, two images out whose rows correspond.
 * usage: rectify CALIBRATION LEFT.pgm RIGHT.pgm LEFT_OUT.pgm RIGHT_OUT.pgm
 * The images are 8-bit PGM files (P5) of one size, at least 640 x 480. CALIBRATION is a text file of 40
 * numbers: the left camera's matrix (9) and distortion k1 k2 p1 p2 k3 (5), the right camera's, then the
 * rotation (9) and translation (3) that take a point of the left camera's frame into the right camera's. */
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define ALIGNMENT OXB3D_BINOSTEREO_MEM_ALIGNMENT

static int read_calibration(const char* path, OXB3D_BINOSTEREO_INIT_INPUT* calibration) {
    float numbers[40];
    FILE* file = fopen(path, "r");
    size_t count = 0;
    /* A number out of range reads as infinite, which the process refuses. NOLINTNEXTLINE(cert-err34-c) */
    while (file != NULL && count < 40 && fscanf(file, "%f", &numbers[count]) == 1) {
        ++count;
    }
    if (file != NULL) {
        fclose(file);
    }
    if (count < 40) {
        return 0;
    }
    memcpy(&calibration->left, numbers, sizeof(calibration->left));
    memcpy(&calibration->right, numbers + 14, sizeof(calibration->right));
    memcpy(calibration->rotation, numbers + 28, sizeof(calibration->rotation));
    memcpy(calibration->translation, numbers + 37, sizeof(calibration->translation));
    return 1;
}

/* Fills an image descriptor; its plane is the caller's to free. */
static int read_pgm(const char* path, ZQA_IMAGE* image) {
    int width = 0;
    int height = 0;
    int maximum = 0;
    FILE* file = fopen(path, "rb");
    if (file == NULL) {
        return 0;
    }
    /* Five digits at most fit an int. NOLINTNEXTLINE(cert-err34-c) */
    int ok = fscanf(file, "P5 %5d %5d %5d", &width, &height, &maximum) == 3 && fgetc(file) != EOF &&
             width > 0 && width <= 16384 && height > 0 && height <= 16384 && maximum == 255;
    const size_t pixels = ok ? (size_t)width * (size_t)height : 0;
    memset(image, 0, sizeof(*image));
    image->format = ZQA_FORMAT_GREY8;
    image->width = width;
    image->height = height;
    image->step[0] = width;
    image->data[0] = ok ? malloc(pixels) : NULL;
    ok = image->data[0] != NULL && fread(image->data[0], 1, pixels, file) == pixels;
    fclose(file);
    return ok;
}

static int write_pgm(const char* path, const ZQA_IMAGE* image) {
    const size_t pixels = (size_t)image->width * (size_t)image->height;
    FILE* file = fopen(path, "wb");
    if (file == NULL) {
        return 0;
    }
    const int written = fprintf(file, "P5\n%d %d\n255\n", image->width, image->height) > 0 &&
                        fwrite(image->data[0], 1, pixels, file) == pixels;
    return fclose(file) == 0 && written;
}

/* The object lives in memory of ours: ask how much, allocate, create. */
static int32_t create(int32_t width, int32_t height, OXB3D_BINOSTEREO_MEM_TAB* memory, void** object) {
    OXB3D_BINOSTEREO_ABILITY ability;
    memset(&ability, 0, sizeof(ability));
    ability.width = width;
    ability.height = height;
    ability.abilityFlags = OXB3D_BINOSTEREO_ABILITY_DEPTH;
    ability.capabilityA = 1;
    const int32_t status = OXB3D_BINOSTEREO_GetMemSize(&ability, memory);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    for (int i = 0; i < 2; ++i) {
        /* The scratch block must be there also where its size is 0. */
        const size_t size = memory[i].size > 0 ? (size_t)memory[i].size : ALIGNMENT;
        memory[i].base = aligned_alloc(ALIGNMENT, size);
        if (memory[i].base == NULL) {
            return OXB3D_BINOSTEREO_E_TAB_BASE;
        }
    }
    return OXB3D_BINOSTEREO_Create(&ability, memory, object);
}

static int32_t rectify(void* object, OXB3D_BINOSTEREO_INIT_INPUT* calibration,
                       OXB3D_BINOSTEREO_IMAGE_PAIR* in, OXB3D_BINOSTEREO_IMAGE_PAIR* out) {
    OXB3D_BINOSTEREO_INIT_OUTPUT common;
    int32_t status = OXB3D_BINOSTEREO_Process(object, OXB3D_BINOSTEREO_PROCESS_INIT, calibration,
                                              sizeof(*calibration), &common, sizeof(common));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    printf("rectified camera: focal length %.2f, centre (%.2f, %.2f), base line %.3f\n", (double)common.fx,
           (double)common.cx, (double)common.cy, (double)common.baseLine);
    /* The maps stay in the object; from here on every pair of frames takes this one call. */
    return OXB3D_BINOSTEREO_Process(object, OXB3D_BINOSTEREO_PROCESS_RECTIFY, in, sizeof(*in), out,
                                    sizeof(*out));
}

static int run(char** arguments, OXB3D_BINOSTEREO_IMAGE_PAIR* in, OXB3D_BINOSTEREO_IMAGE_PAIR* out,
               OXB3D_BINOSTEREO_MEM_TAB* memory) {
    OXB3D_BINOSTEREO_INIT_INPUT calibration;
    memset(&calibration, 0, sizeof(calibration));
    if (!read_calibration(arguments[0], &calibration) || !read_pgm(arguments[1], &in->left) ||
        !read_pgm(arguments[2], &in->right)) {
        fprintf(stderr, "cannot read the calibration or an image\n");
        return 1;
    }
    calibration.width = in->left.width;
    calibration.height = in->left.height;
    const size_t pixels = (size_t)in->left.width * (size_t)in->left.height;
    *out = *in;
    out->right.width = in->left.width; /* a right image of another size is refused by the process */
    out->right.height = in->left.height;
    out->left.data[0] = malloc(pixels);
    out->right.data[0] = malloc(pixels);

    void* object = NULL;
    int32_t status = create(in->left.width, in->left.height, memory, &object);
    if (status == OXB3D_BINOSTEREO_OK) {
        status = rectify(object, &calibration, in, out);
        OXB3D_BINOSTEREO_Destroy(object);
    }
    if (status != OXB3D_BINOSTEREO_OK) {
        fprintf(stderr, "rectification failed: %s\n", OX3D_RGBD_StatusText((uint32_t)status));
        return 1;
    }
    if (!write_pgm(arguments[3], &out->left) || !write_pgm(arguments[4], &out->right)) {
        fprintf(stderr, "cannot write an image\n");
        return 1;
    }
    return 0;
}

int main(int argc, char** argv) {
    if (argc != 6) {
        fprintf(stderr, "usage: %s CALIBRATION LEFT.pgm RIGHT.pgm LEFT_OUT.pgm RIGHT_OUT.pgm\n", argv[0]);
        return 2;
    }
    OXB3D_BINOSTEREO_IMAGE_PAIR in;
    OXB3D_BINOSTEREO_IMAGE_PAIR out;
    OXB3D_BINOSTEREO_MEM_TAB memory[OXB3D_BINOSTEREO_MEM_TAB_COUNT];
    memset(&in, 0, sizeof(in));
    memset(&out, 0, sizeof(out));
    memset(memory, 0, sizeof(memory));
    const int result = run(argv + 1, &in, &out, memory);
    free(in.left.data[0]);
    free(in.right.data[0]);
    free(out.left.data[0]);
    free(out.right.data[0]);
    free(memory[0].base);
    free(memory[1].base);
    return result;
}
