/* Turns a rectified stereo pair into depth, and says how far away things are.
 * usage: stereo LEFT.pgm RIGHT.pgm FOCAL_LENGTH BASE_LINE [DISPARITIES]
 * The pictures are 8-bit PGM files (P5) of one size and with one centre, and their rows correspond; the focal length is
 * in pixels, the base line in millimetres. Disparities up to DISPARITIES pixels are looked for, 16 to 288: what is nearer
 * than FOCAL_LENGTH * BASE_LINE / DISPARITIES has no depth. */
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define ALIGNMENT OXB3D_BINOSTEREO_MEM_ALIGNMENT

/* The library takes images of this size and more. */
#define LEAST_WIDTH 640
#define LEAST_HEIGHT 480

typedef struct Pictures {
    int width; /* as the files have it */
    int height;
    ZQA_IMAGE left; /* with the last column and row repeated up to the least size */
    ZQA_IMAGE right;
    ZQA_IMAGE depth; /* millimetres, 0: none */
} Pictures;

/* Fills an image descriptor; its plane is the caller's to free. */
static int read_pgm(const char* path, ZQA_IMAGE* image, int* width, int* height) {
    int maximum = 0;
    FILE* file = fopen(path, "rb");
    if (file == NULL) {
        return 0;
    }
    /* Five digits at most fit an int. NOLINTNEXTLINE(cert-err34-c) */
    int ok = fscanf(file, "P5 %5d %5d %5d", width, height, &maximum) == 3 && fgetc(file) != EOF &&
             *width > 0 && *width <= 16384 && *height > 0 && *height <= 16384 && maximum == 255;
    image->format = ZQA_FORMAT_GREY8;
    image->width = ok && *width > LEAST_WIDTH ? *width : LEAST_WIDTH;
    image->height = ok && *height > LEAST_HEIGHT ? *height : LEAST_HEIGHT;
    image->step[0] = image->width;
    const size_t step = (size_t)image->width;
    unsigned char* const plane = malloc(step * (size_t)image->height);
    image->data[0] = plane;
    ok = ok && plane != NULL;
    for (size_t y = 0; ok && y < (size_t)image->height; ++y) {
        unsigned char* const row = plane + y * step;
        const size_t used = (size_t)*width;
        if (y < (size_t)*height) {
            ok = fread(row, 1, used, file) == used;
            memset(row + used, ok ? row[used - 1] : 0, step - used);
        } else {
            memcpy(row, row - step, step);
        }
    }
    fclose(file);
    return ok;
}

/* The object lives in memory of ours: ask how much, allocate, create. */
static int32_t create(const ZQA_IMAGE* image, OXB3D_BINOSTEREO_MEM_TAB* memory, void** object) {
    OXB3D_BINOSTEREO_ABILITY ability;
    memset(&ability, 0, sizeof(ability));
    ability.width = image->width;
    ability.height = image->height;
    ability.abilityFlags = OXB3D_BINOSTEREO_ABILITY_DEPTH;
    ability.capabilityA = 1;
    const int32_t status = OXB3D_BINOSTEREO_GetMemSize(&ability, memory);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    for (int i = 0; i < 2; ++i) {
        memory[i].base = aligned_alloc(ALIGNMENT, (size_t)memory[i].size);
        if (memory[i].base == NULL) {
            return OXB3D_BINOSTEREO_E_TAB_BASE;
        }
    }
    return OXB3D_BINOSTEREO_Create(&ability, memory, object);
}

/* Two equal cameras without distortion, side by side: what rectified pictures are seen with. Where the centre lies does
 * not matter to depth. */
static int32_t set_up(void* object, const ZQA_IMAGE* image, float focal_length, float base_line,
                      int disparities) {
    OXB3D_BINOSTEREO_INIT_INPUT cameras;
    OXB3D_BINOSTEREO_INIT_OUTPUT common;
    memset(&cameras, 0, sizeof(cameras));
    cameras.width = image->width;
    cameras.height = image->height;
    cameras.left.matrix[0] = cameras.left.matrix[4] = focal_length;
    cameras.left.matrix[2] = (float)(image->width - 1) / 2;
    cameras.left.matrix[5] = (float)(image->height - 1) / 2;
    cameras.left.matrix[8] = 1;
    cameras.right = cameras.left;
    cameras.rotation[0] = cameras.rotation[4] = cameras.rotation[8] = 1;
    cameras.translation[0] = -base_line; /* the right camera stands on the right */
    const int32_t status = OXB3D_BINOSTEREO_Process(object, OXB3D_BINOSTEREO_PROCESS_INIT, &cameras,
                                                    sizeof(cameras), &common, sizeof(common));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    OXB3D_BINOSTEREO_PARAM parameter = {3, disparities};
    return OXB3D_BINOSTEREO_SetConfig(object, OXB3D_BINOSTEREO_SET_PARAM, &parameter, sizeof(parameter));
}

static int32_t find_depth(void* object, Pictures* pictures) {
    OXB3D_BINOSTEREO_IMAGE_PAIR in = {pictures->left, pictures->right};
    OXB3D_BINOSTEREO_DEPTH_OUTPUT out;
    memset(&out, 0, sizeof(out)); /* an image without a plane is not wanted */
    out.depth = pictures->depth;
    return OXB3D_BINOSTEREO_Process(object, OXB3D_BINOSTEREO_PROCESS_DEPTH, &in, sizeof(in), &out,
                                    sizeof(out));
}

/* Counts how many pixels have each depth, and reads nearest, median and furthest off that. */
static void print_statistics(const Pictures* pictures) {
    static size_t pixels_at[32768];
    const int16_t* const depth = pictures->depth.data[0];
    size_t valid = 0;
    for (int y = 0; y < pictures->height; ++y) {
        for (int x = 0; x < pictures->width; ++x) {
            const int16_t mm = depth[(size_t)y * (size_t)pictures->depth.step[0] + (size_t)x];
            pixels_at[mm] += 1; /* never below 0 */
            valid += mm > 0 ? 1 : 0;
        }
    }
    const double all = (double)pictures->width * (double)pictures->height;
    printf("%d x %d pixels, %.1f %% with depth\n", pictures->width, pictures->height,
           100 * (double)valid / all);
    const double shares[3] = {0.05, 0.5, 0.95};
    size_t seen = 0;
    int next = 0;
    for (int mm = 1; mm < 32768 && next < 3; ++mm) {
        seen += pixels_at[mm];
        for (; next < 3 && valid > 0 && (double)seen >= shares[next] * (double)valid; ++next) {
            printf("%2.0f %% are nearer than %d mm\n", 100 * shares[next], mm + 1);
        }
    }
}

static int run(int count, char** arguments, Pictures* pictures, OXB3D_BINOSTEREO_MEM_TAB* memory) {
    int width = 0;
    int height = 0;
    if (!read_pgm(arguments[1], &pictures->left, &pictures->width, &pictures->height) ||
        !read_pgm(arguments[2], &pictures->right, &width, &height)) {
        fprintf(stderr, "cannot read a picture\n");
        return 1;
    }
    if (width != pictures->width || height != pictures->height) {
        fprintf(stderr, "the pictures differ in size\n");
        return 1;
    }
    pictures->depth = pictures->left;
    pictures->depth.format = ZQA_FORMAT_DEPTH16;
    pictures->depth.data[0] =
        malloc((size_t)pictures->left.width * (size_t)pictures->left.height * sizeof(int16_t));
    if (pictures->depth.data[0] == NULL) {
        fprintf(stderr, "no memory\n");
        return 1;
    }
    const float focal_length = strtof(arguments[3], NULL);
    const float base_line = strtof(arguments[4], NULL);
    const int disparities = count > 5 ? (int)strtol(arguments[5], NULL, 10) : 128;
    void* object = NULL;
    int32_t status = create(&pictures->left, memory, &object);
    if (status == OXB3D_BINOSTEREO_OK) {
        status = set_up(object, &pictures->left, focal_length, base_line, disparities);
        status = status == OXB3D_BINOSTEREO_OK ? find_depth(object, pictures) : status;
        OXB3D_BINOSTEREO_Destroy(object);
    }
    if (status != OXB3D_BINOSTEREO_OK) {
        fprintf(stderr, "no depth: %s\n", OX3D_RGBD_StatusText((uint32_t)status));
        return 1;
    }
    print_statistics(pictures);
    return 0;
}

int main(int argc, char** argv) {
    if (argc != 5 && argc != 6) {
        fprintf(stderr, "usage: %s LEFT.pgm RIGHT.pgm FOCAL_LENGTH BASE_LINE [DISPARITIES]\n", argv[0]);
        return 2;
    }
    Pictures pictures;
    OXB3D_BINOSTEREO_MEM_TAB memory[OXB3D_BINOSTEREO_MEM_TAB_COUNT];
    memset(&pictures, 0, sizeof(pictures));
    memset(memory, 0, sizeof(memory));
    const int result = run(argc, argv, &pictures, memory);
    free(pictures.left.data[0]);
    free(pictures.right.data[0]);
    free(pictures.depth.data[0]);
    free(memory[0].base);
    free(memory[1].base);
    return result;
}
