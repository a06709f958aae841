/**
 * \file Oxb3dBinoStereo.h
 * \brief The stereo algorithm library: an object that lives in memory of the caller.
 *
 * Life of an object: GetMemSize says how much memory it needs, the caller allocates that, Create builds the
 * object in it, SetConfig and Process use it, Destroy ends it, the caller frees the memory. The library
 * itself never allocates, keeps no global state and takes no lock: one object serves one caller at a time,
 * different objects are independent.
 *
 * \verbatim
 *   entry 0, persistent: content must survive        entry 1, scratch: content need not survive
 *   +-----------------------+ base, 128-byte boundary +------------------------------+
 *   | the object, 384 bytes |                         | one region that all          |
 *   +-----------------------+ with ability bit 1      | processes share, as large as |
 *   | rectification maps    | left 8wh, right 8wh     | the largest single need      |
 *   +-----------------------+ with ability bit 4      +------------------------------+
 *   | multi-frame fusion    | 128-byte header, previous depth, two confidence maps
 *   +-----------------------+ (each part on a 128-byte boundary; w and h are the ability's)
 * \endverbatim
 *
 * Every function returns a status, 0 for success (OXB3D_BINOSTEREO_GetVersion returns a version). No output
 * is written by a call that fails, unless its description says otherwise.
 */
#ifndef OXB3D_BINO_STEREO_H
#define OXB3D_BINO_STEREO_H

#include <stdint.h>

#if defined(__GNUC__)
/** Before what the library exports. */
#    define OXB3D_API __attribute__((visibility("default")))
#else
#    define OXB3D_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------------------------
 * Status codes
 * --------------------------------------------------------------------------------------------------- */
#define OXB3D_BINOSTEREO_OK 0                  /**< success */
#define OXB3D_BINOSTEREO_E_GENERAL 0x10000000  /**< not initialised, not invertible, not built, other */
#define OXB3D_BINOSTEREO_E_OBJECT 0x10000001   /**< not an object of this library; ability out of range */
#define OXB3D_BINOSTEREO_E_TAB_BASE 0x10000002 /**< memory table: null base */
#define OXB3D_BINOSTEREO_E_TAB_ALIGNMENT 0x10000003 /**< memory table: alignment field is not 128 */
#define OXB3D_BINOSTEREO_E_TAB_TOO_SMALL 0x10000004 /**< memory table: less memory than the object needs */
#define OXB3D_BINOSTEREO_E_TAB_SIZE 0x10000005      /**< memory table: size is not a multiple of 128 */
#define OXB3D_BINOSTEREO_E_TAB_BOUNDARY 0x10000006  /**< memory table: base is not on a 128-byte boundary */
#define OXB3D_BINOSTEREO_E_IMAGE_FORMAT 0x10000007  /**< unsupported image format */
#define OXB3D_BINOSTEREO_E_IMAGE_SIZE 0x10000008 /**< image width or height invalid, or above the ability's */
#define OXB3D_BINOSTEREO_E_IMAGE_STEP 0x10000009 /**< image step invalid */
#define OXB3D_BINOSTEREO_E_IMAGE_PLANE 0x1000000A  /**< plane pointer null */
#define OXB3D_BINOSTEREO_E_KEY 0x1000000B          /**< unknown configuration key */
#define OXB3D_BINOSTEREO_E_CONFIG_SIZE 0x1000000C  /**< configuration record of the wrong size */
#define OXB3D_BINOSTEREO_E_PROCESS_TYPE 0x1000000D /**< process type outside 1 to 15, or not in the ability */
#define OXB3D_BINOSTEREO_E_RECORD_SIZE 0x1000000E  /**< process record of the wrong size */
#define OXB3D_BINOSTEREO_E_PARAM_ID 0x10000011     /**< unknown parameter id */
#define OXB3D_BINOSTEREO_E_PARAM_VALUE 0x10000012  /**< parameter value out of range */
#define OXB3D_BINOSTEREO_E_PARAM_COUNT 0x10000013  /**< parameter count outside 1 to 256 */
#define OXB3D_BINOSTEREO_E_NULL 0x10000014         /**< null pointer argument */
#define OXB3D_BINOSTEREO_E_OVERFLOW 0x10000015     /**< a memory size that cannot be represented */
#define OXB3D_BINOSTEREO_E_REGION 0x10000019       /**< invalid map request or region */

/** \{ */
/** Statuses of the image layer. ZQA_CheckImage returns them; the processes 3, 5, 6 and 13 pass them on as they
 * are, process 15 maps them through OXB_ZqaStatusToOxbAlgStatus. */
#define ZQA_E_IMAGE_FORMAT (-8)
#define ZQA_E_IMAGE_SIZE (-9)
#define ZQA_E_IMAGE_STEP (-10)
#define ZQA_E_IMAGE_PLANE (-11)
#define ZQA_E_NULL (-21)
#define ZQA_E_OVERFLOW (-22)
/** \} */

/** \{ */
/** Statuses of multi-frame fusion, passed on as they are. */
#define OXB3D_BINOSTEREO_E_FUSE_MODE 0x32000001      /**< mode is not 1, 2 or 3 */
#define OXB3D_BINOSTEREO_E_FUSE_THRESHOLD 0x32000002 /**< confidence threshold above 255 */
#define OXB3D_BINOSTEREO_E_FUSE_REGION 0x32000003    /**< region outside the image or empty */
#define OXB3D_BINOSTEREO_E_FUSE_PINNED 0x32000004    /**< pinned word is not 1 */
/** \} */

/* ------------------------------------------------------------------------------------------------------
 * Images
 * --------------------------------------------------------------------------------------------------- */
/** The size of an image, 8 bytes. */
typedef struct ZQA_SIZE {
    int32_t width;  /**< pixels */
    int32_t height; /**< pixels */
} ZQA_SIZE;

/** A pixel of an image, 8 bytes. */
typedef struct ZQA_POINT {
    int32_t x; /**< pixels, from the left */
    int32_t y; /**< pixels, from the top */
} ZQA_POINT;

#define ZQA_FORMAT_GREY8 1   /**< one plane of bytes */
#define ZQA_FORMAT_DEPTH16 3 /**< one plane of signed 16-bit samples */

/** An image, 64 bytes. A step is the distance between two rows, counted in samples of its plane. */
typedef struct ZQA_IMAGE {
    int32_t format;  /**< ZQA_FORMAT_*, or another of ZQA_CheckImage */
    int32_t width;   /**< pixels */
    int32_t height;  /**< pixels */
    int32_t step[4]; /**< of each plane, samples */
    void* data[4];   /**< the planes */
} ZQA_IMAGE;

/** Checks an image descriptor: null -> ZQA_E_NULL, unknown format -> ZQA_E_IMAGE_FORMAT, width or height below
 * 1 or not even where it must be -> ZQA_E_IMAGE_SIZE, a step too small -> ZQA_E_IMAGE_STEP, a plane that the
 * format needs missing -> ZQA_E_IMAGE_PLANE.
 *
 * \verbatim
 *   formats             even            steps                                       planes
 *   1, 2, 3, 300..307   -               step0 >= w                                  1
 *   100, 101            width, height   step0 >= w, step1 and step2 >= w/2          3
 *   102                 width, height   step0 and step1 >= w                        2
 *   103                 width           step0 >= w, step1 and step2 >= w/2          3
 *   104, 106, 107       -               step0 >= 2w                                 1
 *   105, 200            -               step0, step1, step2 >= w                    3
 *   201                 -               step0 >= 3w                                 1
 *   202, 204            -               step0 to step3 >= w                         4
 *   203, 205            -               step0 >= 4w                                 1
 * \endverbatim */
OXB3D_API int32_t ZQA_CheckImage(const ZQA_IMAGE* image);

/** Maps a status of the image layer: 0 -> 0; -1 to -29 -> 0x10000000 + (-1 - status); 1 -> 0x1000001D; any
 * other value -> 0x10000000. */
OXB3D_API int32_t OXB_ZqaStatusToOxbAlgStatus(int32_t zqaStatus);

/* ------------------------------------------------------------------------------------------------------
 * Memory and ability
 * --------------------------------------------------------------------------------------------------- */
#define OXB3D_BINOSTEREO_MEM_TAB_COUNT 8   /**< entries of a memory table */
#define OXB3D_BINOSTEREO_MEM_ALIGNMENT 128 /**< bytes, of every block and size */
#define OXB3D_BINOSTEREO_OBJECT_SIZE 384   /**< bytes of an object, without its maps */

/** One entry of the memory table, 120 bytes. Entry 0 is the persistent block, entry 1 the scratch block, the
 * others stay zero. */
typedef struct OXB3D_BINOSTEREO_MEM_TAB {
    uint64_t size;         /**< bytes; an entry of size 0 is not checked */
    uint32_t alignment;    /**< 128 */
    uint32_t reserved0;    /**< zero */
    uint32_t persistence;  /**< 1: the content must survive between calls */
    uint32_t reserved1;    /**< zero */
    void* base;            /**< the caller's block, set before Create */
    void* secondBase;      /**< checked only when space is 4 */
    uint32_t space;        /**< memory space; GetMemSize writes 1 */
    uint8_t reserved2[76]; /**< zero */
} OXB3D_BINOSTEREO_MEM_TAB;

/** \{ */
/** Ability bits; each enables process types. */
#define OXB3D_BINOSTEREO_ABILITY_DEPTH 1u         /**< 1, 2, 5 */
#define OXB3D_BINOSTEREO_ABILITY_SCORE 2u         /**< 3, 4, 11, 12, 13, 14 */
#define OXB3D_BINOSTEREO_ABILITY_MULTI_FUSE 4u    /**< 6 */
#define OXB3D_BINOSTEREO_ABILITY_CALIB 8u         /**< 7 */
#define OXB3D_BINOSTEREO_ABILITY_RGBD_CALIB 16u   /**< 8, 9, 10 */
#define OXB3D_BINOSTEREO_ABILITY_COMMON_TRANS 32u /**< 15 */
/** \} */

/** What an object must be able to do, 32 bytes. */
typedef struct OXB3D_BINOSTEREO_ABILITY {
    int32_t width;         /**< largest image width, at least 640 */
    int32_t height;        /**< largest image height, at least 480 */
    uint32_t abilityFlags; /**< 1 to 63 */
    uint32_t capabilityA;  /**< 1 to 4 with bit 1: threads of process type 2, the caller included */
    uint32_t capabilityB;  /**< 2 to 50 with bit 8 */
    uint32_t capabilityC;  /**< 2 to 50 with bit 8 */
    uint32_t capabilityD;  /**< 5 to 40 with bit 8 */
    int32_t capabilityE;   /**< 0 or more, always */
} OXB3D_BINOSTEREO_ABILITY;

/** The ability as GetConfig returns it, 84 bytes. */
typedef struct OXB3D_BINOSTEREO_ABILITY_INFO {
    OXB3D_BINOSTEREO_ABILITY ability; /**< what the object was made for */
    uint8_t reserved[52];             /**< zero */
} OXB3D_BINOSTEREO_ABILITY_INFO;

/** Fills the memory table (8 entries) for an ability: sizes rounded up to 128, alignment 128, space 1, null
 * bases. Null argument -> E_NULL, ability out of range -> E_OBJECT (the table is left alone), sizes that
 * cannot be represented -> E_OVERFLOW (the table is zeroed). */
OXB3D_API int32_t OXB3D_BINOSTEREO_GetMemSize(
    const OXB3D_BINOSTEREO_ABILITY* ability, OXB3D_BINOSTEREO_MEM_TAB memTab[OXB3D_BINOSTEREO_MEM_TAB_COUNT]);

/** Builds an object in the caller's memory and stores its handle. *handle must hold null or the handle of a
 * live object; a live object's parameters and, into other memory, its rectification maps are carried over.
 * The initialised state goes along where the maps do: the live object is initialised, both objects have ability
 * bit 1, and the images it was initialised for fit the new ability. An object created again in its own memory
 * must be initialised again. Both bases must be
 * set, the scratch base also when the scratch size is 0. Statuses in the order of the checks: E_NULL;
 * E_TAB_BASE, E_TAB_ALIGNMENT, E_TAB_BOUNDARY per entry; E_TAB_SIZE; E_OBJECT for the ability;
 * E_TAB_TOO_SMALL. */
OXB3D_API int32_t OXB3D_BINOSTEREO_Create(const OXB3D_BINOSTEREO_ABILITY* ability,
                                          OXB3D_BINOSTEREO_MEM_TAB memTab[OXB3D_BINOSTEREO_MEM_TAB_COUNT],
                                          void** handle);

/** Ends an object. Releases nothing, the memory is the caller's. Null -> E_NULL. */
OXB3D_API int32_t OXB3D_BINOSTEREO_Destroy(void* handle);

/** The version of the algorithm library. */
OXB3D_API int32_t OXB3D_BINOSTEREO_GetVersion(void);

/** \{ */
/** The pieces of GetMemSize and Create. An object here is OXB3D_BINOSTEREO_OBJECT_SIZE bytes on a 128-byte
 * boundary; null arguments give E_NULL.
 * CheckAbilityParam: E_OBJECT for a value out of range. InitSpec: writes image size, flags and words of an
 * ability into an object and clears its initialised flag. AllocPersistMem and AllocScratchMem: lay the
 * regions of the object's ability out in one memory-table entry, store their addresses in the object, and
 * store the bytes needed in neededBytes; E_TAB_TOO_SMALL when that exceeds the entry's size.
 * OXB_CheckMemTabV3: checks count entries of non-zero size against one alignment. */
OXB3D_API int32_t OXB3D_BINOSTEREO_CheckAbilityParam(const OXB3D_BINOSTEREO_ABILITY* ability);
OXB3D_API int32_t OXB3D_BINOSTEREO_InitSpec(const OXB3D_BINOSTEREO_ABILITY* ability, void* object);
OXB3D_API int32_t OXB3D_BINOSTEREO_AllocPersistMem(void* object, const OXB3D_BINOSTEREO_MEM_TAB* entry,
                                                   uint64_t* neededBytes);
OXB3D_API int32_t OXB3D_BINOSTEREO_AllocScratchMem(void* object, const OXB3D_BINOSTEREO_MEM_TAB* entry,
                                                   uint64_t* neededBytes);
OXB3D_API int32_t OXB_CheckMemTabV3(const OXB3D_BINOSTEREO_MEM_TAB* memTab, int32_t count,
                                    uint32_t alignment);
/** \} */

/* ------------------------------------------------------------------------------------------------------
 * Configuration
 * --------------------------------------------------------------------------------------------------- */

/** One parameter, 8 bytes. Values are compared as unsigned numbers except where the range is signed.
 *
 * \verbatim
 *   id  default  range      id   default  range          id    default  range
 *   1   11       5..40      260  0        -64..64        772   1        1..2
 *   2   0        0..400     261  0        -64..64        773   30       0..100
 *   3   240      16..288    513  80       0..100         774   50       20..100
 *   4   2        1..2       514  80       0..100         775   20       0..255
 *   5   1        1..2       515  80       0..100         776   40       0..255
 *   6   4        0..9       516  80       0..100         777   1        1..2
 *   257 1        1..3       769  7        3..100         1025  1        1..2
 *   258 1        1 only     770  15       1..255         1026  1        0..10
 *   259 155      0..255     771  1        1..2
 * \endverbatim
 *
 * Depth (type 2) reads 1 (side of the window that pixels are compared in), 2 (smallest disparity, pixels), 3 (disparities,
 * rounded up to a multiple of 16), 4 (1: five paths, 2: eight), 5 (1: images are rectified, 2: as the cameras see them),
 * 6 (smoothness), 769 (islands of so many pixels squared are removed), 770 (largest step inside an island, 1/16 pixel),
 * 771 (island filter) and 772 (median of 3 x 3 and mean over each surface): 1 on, 2 off, 773 (by how much left and right may disagree, 1/16 pixel),
 * 774 (percent of the penalty of a step that are left where brightness steps), 775 and 776 (brightness steps from which it
 * falls, and at which it has) and 777 (1: images as they are, 2: smoothed first).
 * Multi-frame fusion reads 257 (mode), 258 (pinned), 259 (confidence threshold), 260 (row shift) and 261
 * (column shift). From which score on images pass: the saddle scores (types 4 and 14) read 514, the sharpness score (type 11) 515, the
 * registration score (type 12) 516. The calibrations by a board (types 7, 8 and 10) read 1025 (distortion that is fitted: 1 k1, k2, p1,
 * p2, 2 k3 too) and 1026 (rounds in which corners that are far off are left out). 513 is only kept: the records of types 3 and
 * 13 have no room for a mark. */
typedef struct OXB3D_BINOSTEREO_PARAM {
    uint32_t id;   /**< of the table above */
    int32_t value; /**< in the range of the table */
} OXB3D_BINOSTEREO_PARAM;

/** Parameters of a list, at most. */
#define OXB3D_BINOSTEREO_PARAM_LIST_MAX 256

/** Up to 256 parameters, 2052 bytes. */
typedef struct OXB3D_BINOSTEREO_PARAM_LIST {
    uint32_t count;                                                 /**< of params */
    OXB3D_BINOSTEREO_PARAM params[OXB3D_BINOSTEREO_PARAM_LIST_MAX]; /**< the parameters */
} OXB3D_BINOSTEREO_PARAM_LIST;

/** Request of GetConfig key RECT_MAP_SIZE, 24 bytes. */
typedef struct OXB3D_BINOSTEREO_RECT_MAP_SIZE {
    int32_t width;       /**< pixels */
    int32_t height;      /**< pixels */
    uint32_t mapType;    /**< 1: 8wh bytes; 0: (8w + 32)h bytes */
    uint32_t reserved;   /**< zero */
    uint64_t bufferSize; /**< out: bytes */
} OXB3D_BINOSTEREO_RECT_MAP_SIZE;

/** \{ */
/** Keys of SetConfig.               data                          dataSize */
#define OXB3D_BINOSTEREO_SET_PARAM 1 /**< OXB3D_BINOSTEREO_PARAM        8 */
#define OXB3D_BINOSTEREO_SET_PARAM_LIST \
    2                                  /**< OXB3D_BINOSTEREO_PARAM_LIST   2052; applied whole or not at all */
#define OXB3D_BINOSTEREO_SET_DEFAULT 3 /**< ignored                       any */
#define OXB3D_BINOSTEREO_SET_RESTART 4 /**< ignored                       any; clears the initialised flag */
#define OXB3D_BINOSTEREO_SET_RESERVED_7 7 /**< any, not null                 40; accepted and ignored */
#define OXB3D_BINOSTEREO_SET_RESERVED_8 8 /**< any, not null                 88; accepted and ignored */
/** \} */

/** \{ */
/** Keys of GetConfig. */
#define OXB3D_BINOSTEREO_GET_PARAM 1      /**< OXB3D_BINOSTEREO_PARAM, id in, value out       8 */
#define OXB3D_BINOSTEREO_GET_PARAM_LIST 2 /**< OXB3D_BINOSTEREO_PARAM_LIST, ids in            2052 */
#define OXB3D_BINOSTEREO_GET_VERSION 3    /**< 8-byte integer; the only key without a handle  8 */
#define OXB3D_BINOSTEREO_GET_ABILITY 4    /**< OXB3D_BINOSTEREO_ABILITY_INFO                  84 */
#define OXB3D_BINOSTEREO_GET_RESERVED_5 5 /**< any; nothing is written                        40 */
#define OXB3D_BINOSTEREO_GET_RECT_MAP_SIZE 0x30000001 /**< OXB3D_BINOSTEREO_RECT_MAP_SIZE     24 */
/** \} */

/** \{ */
/** Sets or reads configuration. Statuses in order: null handle -> E_NULL, not an object -> E_OBJECT, unknown key
 * -> E_KEY, null record -> E_NULL, wrong record size -> E_CONFIG_SIZE, then the key's own. */
OXB3D_API int32_t OXB3D_BINOSTEREO_SetConfig(void* handle, int32_t key, void* data, int32_t dataSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_GetConfig(void* handle, int32_t key, void* data, int32_t dataSize);
/** \} */

/** \{ */
/** The same, key by key. Null -> E_NULL, not an object -> E_OBJECT, then E_PARAM_COUNT (a count of 0 or above
 * 256), E_PARAM_ID, E_PARAM_VALUE. A list is checked whole before the first entry is stored or read. */
OXB3D_API int32_t OXB3D_BINOSTEREO_SetSingleParam(void* handle, const OXB3D_BINOSTEREO_PARAM* param);
OXB3D_API int32_t OXB3D_BINOSTEREO_GetSingleParam(void* handle, OXB3D_BINOSTEREO_PARAM* param);
OXB3D_API int32_t OXB3D_BINOSTEREO_SetParamList(void* handle, const OXB3D_BINOSTEREO_PARAM_LIST* list);
OXB3D_API int32_t OXB3D_BINOSTEREO_GetParamList(void* handle, OXB3D_BINOSTEREO_PARAM_LIST* list);
OXB3D_API int32_t OXB3D_BINOSTEREO_SetDefaultParam(void* handle);
OXB3D_API int32_t OXB3D_BINOSTEREO_Restart(void* handle);
OXB3D_API int32_t OXB3D_BINOSTEREO_GetAbility(void* handle, OXB3D_BINOSTEREO_ABILITY_INFO* info);
/** \} */

/* ------------------------------------------------------------------------------------------------------
 * Processes
 * --------------------------------------------------------------------------------------------------- */

/** Runs one process. Null handle -> E_NULL, not an object -> E_OBJECT, type outside 1 to 15 or not enabled by
 * the ability -> E_PROCESS_TYPE, null record -> E_NULL, wrong record size -> E_RECORD_SIZE, then the
 * process's own.
 *
 * \verbatim
 *   type  ability  input                        bytes  output                       bytes
 *   1     1        ..._INIT_INPUT               428    ..._INIT_OUTPUT              32
 *   2     1        ..._IMAGE_PAIR               128    ..._DEPTH_OUTPUT             128
 *   3     2        ..._DEPTH_SCORE_INPUT        80     ..._DEPTH_SCORE_OUTPUT       4
 *   4     2        ..._SADDLE_SCORE_INPUT       96     ..._SADDLE_SCORE_OUTPUT      16
 *   5     1        ..._IMAGE_PAIR               128    ..._IMAGE_PAIR               128
 *   6     4        ..._DEPTH_FUSE_INPUT         128    ZQA_IMAGE                    64
 *   7     8        ..._CALIB_INPUT              64     ..._CALIB_OUTPUT             512
 *   8     16       ..._RGBD_CALIB_INPUT         64     ..._RGBD_CALIB_OUTPUT        256
 *   9     16       ..._RGBD_PARAM_TRANS_INPUT   224    ..._RGBD_PARAM               192
 *   10    16       ..._RGBD_STEREO_CALIB_INPUT  64     ..._RGBD_STEREO_CALIB_OUTPUT 672
 *   11    2        ..._SHARPNESS_SCORE_INPUT    80     ..._SHARPNESS_SCORE_OUTPUT   16
 *   12    2        ..._RGBD_CALIB_SCORE_INPUT   144    ..._RGBD_CALIB_SCORE_OUTPUT  16
 *   13    2        ..._DEPTH_SCORE_MROI_INPUT   80     ..._DEPTH_SCORE_MROI_OUTPUT  8
 *   14    2        ..._SADDLE_SCORE_MROI_INPUT  80     ..._SADDLE_SCORE_MROI_OUTPUT 8
 *   15    32       ..._COMMON_DATA_TRANS_INPUT  128    ..._COMMON_DATA_TRANS_OUTPUT 80
 * \endverbatim
 *
 * Types 7, 8 and 10 fit for a while: as long as finding the board takes in each image, and then some milliseconds. */
OXB3D_API int32_t OXB3D_BINOSTEREO_Process(void* handle, int32_t processType, void* input, int32_t inputSize,
                                           void* output, int32_t outputSize);

/** \{ */
/** Types of OXB3D_BINOSTEREO_Process. */
#define OXB3D_BINOSTEREO_PROCESS_INIT 1
#define OXB3D_BINOSTEREO_PROCESS_DEPTH 2
#define OXB3D_BINOSTEREO_PROCESS_DEPTH_SCORE 3
#define OXB3D_BINOSTEREO_PROCESS_SADDLE_SCORE 4
#define OXB3D_BINOSTEREO_PROCESS_RECTIFY 5
#define OXB3D_BINOSTEREO_PROCESS_DEPTH_FUSE 6
#define OXB3D_BINOSTEREO_PROCESS_CALIB 7
#define OXB3D_BINOSTEREO_PROCESS_RGBD_CALIB 8
#define OXB3D_BINOSTEREO_PROCESS_RGBD_PARAM_TRANS 9
#define OXB3D_BINOSTEREO_PROCESS_RGBD_STEREO_CALIB 10
#define OXB3D_BINOSTEREO_PROCESS_SHARPNESS_SCORE 11
#define OXB3D_BINOSTEREO_PROCESS_RGBD_CALIB_SCORE 12
#define OXB3D_BINOSTEREO_PROCESS_DEPTH_SCORE_MROI 13
#define OXB3D_BINOSTEREO_PROCESS_SADDLE_SCORE_MROI 14
#define OXB3D_BINOSTEREO_PROCESS_COMMON_TRANS 15
/** \} */

/** A camera, 56 bytes: row-major 3 x 3 matrix (fx at 0, cx at 2, fy at 4, cy at 5), in pixels; then the
 * distortion coefficients k1, k2, p1, p2, k3. */
typedef struct OXB3D_BINOSTEREO_CAMERA {
    float matrix[9];     /**< pixels, row by row */
    float distortion[5]; /**< k1, k2, p1, p2, k3 */
} OXB3D_BINOSTEREO_CAMERA;

/** Input of type 1, 428 bytes. Rotation (row-major) and translation take a point of the left camera's frame
 * into the right camera's. */
typedef struct OXB3D_BINOSTEREO_INIT_INPUT {
    int32_t width;  /**< of both cameras' images: at least 640 x 480, at most the ability's size */
    int32_t height; /**< pixels */
    OXB3D_BINOSTEREO_CAMERA left;  /**< of the left camera */
    OXB3D_BINOSTEREO_CAMERA right; /**< of the right camera */
    float rotation[9];             /**< row by row */
    float translation[3];          /**< in a unit of the caller's */
    uint8_t reserved[260];         /**< zero */
} OXB3D_BINOSTEREO_INIT_INPUT;

/** Output of type 1, 32 bytes: the camera that both rectified images share. A point seen at column x of the
 * left and x - d of the right rectified image lies at distance fx * baseLine / d where the right camera
 * stands on the right; with the cameras the other way round d is negative. */
typedef struct OXB3D_BINOSTEREO_INIT_OUTPUT {
    float fx;             /**< pixels, as the next three */
    float fy;             /**< pixels */
    float cx;             /**< pixels */
    float cy;             /**< pixels */
    float baseLine;       /**< length, in the unit of the translation */
    uint8_t reserved[12]; /**< zero */
} OXB3D_BINOSTEREO_INIT_OUTPUT;

/** Input and output of type 5, 128 bytes: 8-bit images of format 1 and the size given to type 1, rows without
 * padding. Images of another size -> E_IMAGE_SIZE: inputs before the image checks, outputs after them. */
typedef struct OXB3D_BINOSTEREO_IMAGE_PAIR {
    ZQA_IMAGE left;  /**< of the left camera */
    ZQA_IMAGE right; /**< of the right camera */
} OXB3D_BINOSTEREO_IMAGE_PAIR;

/** Output of type 2, 128 bytes: signed 16-bit images of format 3 and the size given to type 1; an image without a plane is not
 * wanted, both without -> E_IMAGE_PLANE. 0: none. The input is a pair of type 5, rows may be padded. A base line along
 * which the right camera lies on the left -> E_GENERAL. Nothing is written on a failure. */
typedef struct OXB3D_BINOSTEREO_DEPTH_OUTPUT {
    ZQA_IMAGE depth;     /**< of the left rectified camera, in the unit of the translation, 1 to 32767 */
    ZQA_IMAGE disparity; /**< sixteenths of a pixel by which a point lies further left in the right image */
} OXB3D_BINOSTEREO_DEPTH_OUTPUT;

/** Input of type 6, 128 bytes. With a negative shift the confidences of the last columns (rows), up to 64, lie
 * outside the image and count as 0: in mode 2 that band shows the depth of the frame before. */
typedef struct OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT {
    ZQA_IMAGE depth; /**< signed 16-bit samples, rows without padding */
    ZQA_IMAGE grey;  /**< 8-bit, of the same width, height and step; not read in mode 3 */
} OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT;

/** A rectangle of an image, in pixels. */
typedef struct OXB3D_BINOSTEREO_REGION {
    int32_t x;      /**< pixels, from the left */
    int32_t y;      /**< pixels, from the top */
    int32_t width;  /**< pixels */
    int32_t height; /**< pixels */
} OXB3D_BINOSTEREO_REGION;

/** Input of type 3, how completely a region of a depth image is filled, 80 bytes. */
typedef struct OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT {
    ZQA_IMAGE depth;                /**< format 3 */
    OXB3D_BINOSTEREO_REGION region; /**< what is looked at */
} OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT;

/** Output of type 3, 4 bytes. */
typedef struct OXB3D_BINOSTEREO_DEPTH_SCORE_OUTPUT {
    int32_t score; /**< percent; -2147483648 where a cell of the region has no pixel */
} OXB3D_BINOSTEREO_DEPTH_SCORE_OUTPUT;

/** Input of type 13, the same over several regions, 80 bytes. */
typedef struct OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT {
    ZQA_IMAGE depth;                        /**< format 3 */
    int32_t count;                          /**< at least 1 */
    uint32_t reserved;                      /**< zero */
    const OXB3D_BINOSTEREO_REGION* regions; /**< count of them */
} OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT;

/** Output of type 13, 8 bytes. */
typedef struct OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT {
    int32_t* scores; /**< count of them; written only when every region is valid */
} OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT;

/** Where a depth and a color camera stand, 192 bytes. Rotation and translation take a point of the depth camera's frame into the
 * color camera's. */
typedef struct OXB3D_BINOSTEREO_RGBD_PARAM {
    int32_t depthWidth;            /**< pixels */
    int32_t depthHeight;           /**< pixels */
    OXB3D_BINOSTEREO_CAMERA depth; /**< the camera that depth is seen by */
    int32_t colorWidth;            /**< pixels */
    int32_t colorHeight;           /**< pixels */
    OXB3D_BINOSTEREO_CAMERA color; /**< the color camera */
    float rotation[9];             /**< row by row */
    float translation[3];          /**< in a unit of the caller's, that of depth */
    uint8_t reserved[16];          /**< zero */
} OXB3D_BINOSTEREO_RGBD_PARAM;

/** Input of type 9, 224 bytes: a calibration as it was taken, and what it is wanted for. The output is the RGBD_PARAM of that. With a
 * rig the depth camera of param is its left one, and that of the output the camera that both rectified images of type 1 share,
 * turned as type 1 turns it; without one depth is seen by the camera of param already. Then both cameras are scaled
 * from their sizes to the targets, image borders onto image borders. Statuses in order: a size below 1, or a rig of another size than the
 * depth camera -> E_IMAGE_SIZE; numbers that are no calibration, or a rig whose right camera does not lie on the right
 * -> E_GENERAL. */
typedef struct OXB3D_BINOSTEREO_RGBD_PARAM_TRANS_INPUT {
    OXB3D_BINOSTEREO_RGBD_PARAM param;      /**< as calibrated */
    const OXB3D_BINOSTEREO_INIT_INPUT* rig; /**< the input of type 1; null: depth needs no rectification */
    int32_t targetDepthWidth;               /**< pixels */
    int32_t targetDepthHeight;              /**< pixels */
    int32_t targetColorWidth;               /**< pixels */
    int32_t targetColorHeight;              /**< pixels */
    uint8_t reserved[8];                    /**< zero */
} OXB3D_BINOSTEREO_RGBD_PARAM_TRANS_INPUT;

/** A checkerboard, 24 bytes. Where both counts are even or both odd the board looks the same when it is turned; cameras then
 * agree on a turn among themselves, which any three views that are tilted differently tell. */
typedef struct OXB3D_BINOSTEREO_BOARD {
    int32_t columns;     /**< inner corners across, where four squares meet; 2 to 50 */
    int32_t rows;        /**< inner corners down; 2 to 50 */
    float squareWidth;   /**< from a corner to the next, above 0; its unit is that of all translations */
    float squareHeight;  /**< the same down */
    uint8_t reserved[8]; /**< zero */
} OXB3D_BINOSTEREO_BOARD;

/** \{ */
/** Modes of type 7. */
#define OXB3D_BINOSTEREO_CALIB_BOARD 1      /**< from views of a board */
#define OXB3D_BINOSTEREO_CALIB_CORRECTION 2 /**< from a calibration and pairs of any scene */
/** \} */

/** Input of type 7, 64 bytes: how two cameras see and stand. Rows may be padded; nothing is kept of the images.
 *
 * Mode 1 takes 3 or more pairs in which both cameras see a board, at different places and tilts. A pair in which one of
 * them does not see all of it is left out, and so is a pair that shows what an earlier one shows to the bit. Parameter 1025 says what
 * distortion is fitted (1: k1, k2, p1, p2, which is what type 15 can use; 2: k3 too), 1026 how many times corners that are off by more than three
 * standard deviations are left out and the fit is repeated.
 *
 * Mode 2 takes 1 or more pairs of any scene with texture and sets a calibration right whose right camera has turned by up to half
 * a degree: the rotation and the direction of the base line as rows tell it; its length and what the lenses do stay as they were.
 * It reads no board and no parameter.
 *
 * Statuses in order: null pairs, or null start in mode 2 -> E_NULL; a mode that is not 1 or 2, fewer views than that mode takes
 * or more than the ability's word D (taken as 5 to 40), in mode 1 a board of less than 2 x 2 corners or more than the ability's words B x C (each
 * taken as 2 to 50) or of squares that have no size -> E_REGION; then of every image in turn: format -> E_IMAGE_FORMAT, a size that is not
 * that of the first image, not that of start, invalid or above the ability's -> E_IMAGE_SIZE, E_IMAGE_STEP, E_IMAGE_PLANE. In the end
 * E_GENERAL: a start that is no calibration; fewer than 3 usable views; views that do not
 * determine what is asked for (all parallel, say); a right camera that does not lie on the right, or no base line. */
typedef struct OXB3D_BINOSTEREO_CALIB_INPUT {
    OXB3D_BINOSTEREO_BOARD board;             /**< mode 1 */
    int32_t views;                            /**< pairs */
    uint32_t mode;                            /**< OXB3D_BINOSTEREO_CALIB_* */
    const OXB3D_BINOSTEREO_IMAGE_PAIR* pairs; /**< views of them, format 1, all of one size */
    const OXB3D_BINOSTEREO_INIT_INPUT* start; /**< mode 2: what is set right; else not read */
    uint8_t reserved[16];                     /**< zero */
} OXB3D_BINOSTEREO_CALIB_INPUT;

/** Output of type 7, 512 bytes. Distances are those of corners from where the calibration has them, in pixels. */
typedef struct OXB3D_BINOSTEREO_CALIB_OUTPUT {
    OXB3D_BINOSTEREO_INIT_INPUT rig; /**< the input of type 1 as it is */
    float rmsLeft;                   /**< of the corners that were kept; in mode 2 0 */
    float rmsRight;                  /**< the same */
    float rmsBoth;                   /**< the same of both; in mode 2 that of the rows of places that agree */
    float
        rowErrorP95; /**< 95 of 100 corners lie no further than this from the row of the same corner in the other
                            rectified image, pixels */
    int32_t used;    /**< views that took part */
    uint64_t mask; /**< bit i: view i took part */
    float sigmas
        [14]; /**< standard deviations: left fx, fy, cx, cy, right fx, fy, cx, cy, pixels; rotation about x, y, z,
                   radians; translation x, y, z. In mode 2 0 */
} OXB3D_BINOSTEREO_CALIB_OUTPUT;

/** Input of type 8, 64 bytes: how a color camera sees, and where it stands to a depth camera that is known. As type 7 in mode 1, with
 * the same parameters and statuses, except: left is the depth camera's grey image and right the color camera's, each of one size
 * over all views; null pairs or null depth -> E_NULL; numbers of depth that are no camera -> E_GENERAL; the cameras may
 * stand anywhere. */
typedef struct OXB3D_BINOSTEREO_RGBD_CALIB_INPUT {
    OXB3D_BINOSTEREO_BOARD board;             /**< what both cameras see */
    int32_t views;                            /**< pairs */
    uint32_t reserved0;                       /**< zero */
    const OXB3D_BINOSTEREO_IMAGE_PAIR* pairs; /**< views of them, format 1 */
    const OXB3D_BINOSTEREO_CAMERA* depth;     /**< of the images on the left; stays as it is */
    uint8_t reserved1[16];                    /**< zero */
} OXB3D_BINOSTEREO_RGBD_CALIB_INPUT;

/** Output of type 8, 256 bytes. */
typedef struct OXB3D_BINOSTEREO_RGBD_CALIB_OUTPUT {
    OXB3D_BINOSTEREO_RGBD_PARAM param; /**< the sizes are those of the images */
    float rmsDepth;                    /**< of the corners that were kept, pixels */
    float rmsColor;                    /**< the same */
    float rmsTransfer;    /**< of color's corners from where the depth camera's corners, taken on the plane of
                               the board, lie in the color image, pixels */
    int32_t used;         /**< views that took part */
    uint64_t mask;        /**< bit i: view i took part */
    uint8_t reserved[40]; /**< zero */
} OXB3D_BINOSTEREO_RGBD_CALIB_OUTPUT;

/** One view of type 10, 192 bytes. */
typedef struct OXB3D_BINOSTEREO_IMAGE_TRIPLE {
    ZQA_IMAGE left;  /**< of the left camera */
    ZQA_IMAGE right; /**< of the right camera, of the same size */
    ZQA_IMAGE color; /**< of the color camera, grey; of any size */
} OXB3D_BINOSTEREO_IMAGE_TRIPLE;

/** Input of type 10, 64 bytes: three cameras in one fit, so that what it says of depth and of color agrees. As type 7 in mode 1, with the same
 * parameters and statuses; color images have one size over all views. */
typedef struct OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_INPUT {
    OXB3D_BINOSTEREO_BOARD board;                 /**< what all three cameras see */
    int32_t views;                                /**< triples */
    uint32_t reserved0;                           /**< zero */
    const OXB3D_BINOSTEREO_IMAGE_TRIPLE* triples; /**< views of them, format 1 */
    uint8_t reserved1[24];                        /**< zero */
} OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_INPUT;

/** Output of type 10, 672 bytes. Depth is seen by the left camera as it stands; type 9 with rig turns it into the rectified one. */
typedef struct OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_OUTPUT {
    OXB3D_BINOSTEREO_INIT_INPUT rig;   /**< the input of type 1 as it is */
    uint8_t reserved0[4];              /**< zero */
    OXB3D_BINOSTEREO_RGBD_PARAM param; /**< left and color camera */
    float rms[3];                      /**< of the corners that were kept: left, right, color, pixels */
    int32_t used;                      /**< views that took part */
    uint64_t mask;                     /**< bit i: view i took part */
    uint8_t reserved1[24];             /**< zero */
} OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_OUTPUT;

/** Input of type 4, how well a checkerboard is seen in a region of an image, 96 bytes. Rows may be padded. The board may lie in any turn.
 * Statuses in order: format -> E_IMAGE_FORMAT, size invalid or above the ability's -> E_IMAGE_SIZE, E_IMAGE_STEP, E_IMAGE_PLANE,
 * a region outside the image or smaller than 3 x 3, or a board of less than 2 x 2 corners or more than the ability's
 * words B x C (each taken as 2 to 50) -> E_REGION. */
typedef struct OXB3D_BINOSTEREO_SADDLE_SCORE_INPUT {
    ZQA_IMAGE grey;                 /**< format 1 */
    OXB3D_BINOSTEREO_REGION region; /**< where the board is looked for */
    int32_t columns;                /**< inner corners across, where four squares meet */
    int32_t rows;                   /**< inner corners down */
    uint8_t reserved[8];            /**< zero */
} OXB3D_BINOSTEREO_SADDLE_SCORE_INPUT;

/** Output of type 4, 16 bytes; without the whole board score, found and rms are 0. */
typedef struct OXB3D_BINOSTEREO_SADDLE_SCORE_OUTPUT {
    int32_t
        score; /**< 0 to 100: the mean over corners of 100 min(1, contrast / 64) max(0, 1 - distance), cut to a whole
                        number: grey values by which white is brighter than black, pixels as in rms */
    uint32_t passed; /**< 1: the score is at least parameter 514 */
    int32_t found;   /**< 1: the whole board was found */
    float
        rms; /**< of the corners' distances from the places that a plane seen through a simple lens gives them, pixels */
} OXB3D_BINOSTEREO_SADDLE_SCORE_OUTPUT;

/** A region of type 14 and the board that is looked for in it, 24 bytes. */
typedef struct OXB3D_BINOSTEREO_SADDLE_REGION {
    OXB3D_BINOSTEREO_REGION region; /**< where the board is looked for */
    int32_t columns;                /**< inner corners across */
    int32_t rows;                   /**< inner corners down */
} OXB3D_BINOSTEREO_SADDLE_REGION;

/** Input of type 14, the same over several regions, 80 bytes. Null regions or results -> E_NULL, then as type 4; a count below
 * 1 -> E_REGION. */
typedef struct OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_INPUT {
    ZQA_IMAGE grey;                                /**< format 1 */
    int32_t count;                                 /**< at least 1 */
    uint32_t reserved;                             /**< zero */
    const OXB3D_BINOSTEREO_SADDLE_REGION* regions; /**< count of them */
} OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_INPUT;

/** Output of type 14, 8 bytes. */
typedef struct OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_OUTPUT {
    OXB3D_BINOSTEREO_SADDLE_SCORE_OUTPUT*
        results; /**< count of them; written only when every region is valid */
} OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_OUTPUT;

/** Input of type 11, how sharp a region of an image is, 80 bytes. Rows may be padded. Statuses in order: format -> E_IMAGE_FORMAT,
 * size invalid or above the ability's -> E_IMAGE_SIZE, E_IMAGE_STEP, E_IMAGE_PLANE, a region outside the image or smaller than
 * 3 x 3 -> E_REGION. */
typedef struct OXB3D_BINOSTEREO_SHARPNESS_SCORE_INPUT {
    ZQA_IMAGE grey;                 /**< format 1 */
    OXB3D_BINOSTEREO_REGION region; /**< what is looked at */
} OXB3D_BINOSTEREO_SHARPNESS_SCORE_INPUT;

/** Output of type 11, 16 bytes. What is measured are the strongest edges that are straight and stand alone. */
typedef struct OXB3D_BINOSTEREO_SHARPNESS_SCORE_OUTPUT {
    int32_t score;   /**< 0 to 100: 100 - 20 (edgeWidth - 1.2), cut off; 0 with fewer than 16 edges */
    uint32_t passed; /**< 1: the score is at least parameter 515 */
    float
        edgeWidth; /**< the median of their widths from 10 to 90 percent of the step, pixels; 0 without an edge */
    int32_t edges; /**< that were measured, at most 384 */
} OXB3D_BINOSTEREO_SHARPNESS_SCORE_OUTPUT;

/** Input of type 12, how well a depth and a color image lie on one another, 144 bytes. Rows may be padded. The depth camera's
 * distortion is not read: depth is seen without, as type 9 gives it. Statuses in order: null param -> E_NULL, formats
 * -> E_IMAGE_FORMAT, sizes that are not those of param or above the ability's -> E_IMAGE_SIZE, E_IMAGE_STEP, E_IMAGE_PLANE,
 * numbers that are no calibration -> E_GENERAL. */
typedef struct OXB3D_BINOSTEREO_RGBD_CALIB_SCORE_INPUT {
    ZQA_IMAGE depth; /**< format 3, in the unit of the translation; steps above 40 are edges */
    ZQA_IMAGE grey;  /**< format 1, of the color camera */
    const OXB3D_BINOSTEREO_RGBD_PARAM* param; /**< where both cameras stand */
    uint8_t reserved[8];                      /**< zero */
} OXB3D_BINOSTEREO_RGBD_CALIB_SCORE_INPUT;

/** Output of type 12, 16 bytes. */
typedef struct OXB3D_BINOSTEREO_RGBD_CALIB_SCORE_OUTPUT {
    int32_t score;   /**< 0 to 100: 100 (1 - length / 8) of the shift; 0 with fewer than 64 points of edges */
    uint32_t passed; /**< 1: the score is at least parameter 516 */
    float dx;        /**< pixels by which color lies further right than param has it, -8 to 8 */
    float dy;        /**< the same, further down */
} OXB3D_BINOSTEREO_RGBD_CALIB_SCORE_OUTPUT;

/** Input of type 15, 128 bytes. */
typedef struct OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT {
    ZQA_IMAGE sourceDepth;         /**< format 3, at least 640 x 480, step0 equal to the width */
    const float* sourceIntrinsics; /**< fx, fy, cx, cy of the depth camera; required */
    const float* transform; /**< 12 floats, row-major 3 x 4 [R t], depth frame to target frame; or null */
    const float* targetIntrinsics; /**< fx, fy, cx, cy of the target camera; needed for a depth output */
    const float* targetDistortion; /**< k1, k2, p1, p2 of the target camera; or null */
    uint8_t reserved[32];          /**< zero */
} OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT;

/** Output of type 15, 80 bytes. Points are three values X, Y, Z in the unit of the depth. */
typedef struct OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT {
    int16_t* points16;  /**< used when pointsFloat is null; width * height * 12 bytes, see the kernels */
    float* pointsFloat; /**< width * height * 12 bytes */
    /** Only step0 (target width, at most the source's) and data0 are read; data0 takes width * height samples of the
     * source's size. */
    ZQA_IMAGE targetDepth;
} OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT;

/** \{ */
/** The sub-processes. Each takes the object, the input record and its size, the output record and its size,
 * and checks them itself; none asks for the ability bit, which is Process's check. */
OXB3D_API int32_t OXB3D_BINOSTEREO_InitProcess(void* handle, void* input, int32_t inputSize, void* output,
                                               int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_DepthProcess(void* handle, void* input, int32_t inputSize, void* output,
                                                int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_DepthScoreProcess(void* handle, void* input, int32_t inputSize,
                                                     void* output, int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_DepthScoreMroiProcess(void* handle, void* input, int32_t inputSize,
                                                         void* output, int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_SaddleScoreProcess(void* handle, void* input, int32_t inputSize,
                                                      void* output, int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_SaddleScoreMroiProcess(void* handle, void* input, int32_t inputSize,
                                                          void* output, int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_RectifyProcess(void* handle, void* input, int32_t inputSize, void* output,
                                                  int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_DepthFuseProcess(void* handle, void* input, int32_t inputSize,
                                                    void* output, int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_RGBD_ParamTransProcess(void* handle, void* input, int32_t inputSize,
                                                          void* output, int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_RgbdCalibScoreProcess(void* handle, void* input, int32_t inputSize,
                                                         void* output, int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_SharpnessScoreProcess(void* handle, void* input, int32_t inputSize,
                                                         void* output, int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_CalibProcess(void* handle, void* input, int32_t inputSize, void* output,
                                                int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_RGBD_CalibProcess(void* handle, void* input, int32_t inputSize,
                                                     void* output, int32_t outputSize);
OXB3D_API int32_t OXB3D_BINOSTEREO_RGBD_StereoCalib_Process(void* handle, void* input, int32_t inputSize,
                                                            void* output, int32_t outputSize);
/** \} */

/* ---- Common data transform (type 15) ------------------------------------------------------------------ */

/**
 * \file Oxb3dBinoStereo.h
 * \par Common data transform (type 15)
 * Uses no object and no scratch memory, so several may run at once.
 *
 * \verbatim
 *   transform  distortion  points  target depth  target intrinsics | result
 *   null       -           given   -             -                 | A:  points of every pixel, own frame
 *   given      given       null    given         given             | B1: registered depth, distorted
 *   given      given       given   given         given             | B2: the same and its points
 *   given      given       given   null          -                 | B3: moved, distorted points
 *   given      null        null    given         given             | C1: registered depth
 *   given      null        given   given         given             | C3: the same and its points
 *   given      null        given   null          -                 | C2: moved points
 * \endverbatim
 *
 * Any other combination is E_NULL. Modes B and C skip samples of 0 or less and leave zeros there. Points
 * stand at the source pixel in A, B3 and C2 and at the target pixel in B2 and C3. Registration keeps the
 * nearest depth, the earlier pixel on a tie; the target has the source's number of rows.
 *
 * Point buffers hold (step * (height - 1) + width) * 12 bytes in both kernels, step being that of the source:
 * points of the 16-bit kernel take 6 bytes, but it clears width * height * 8 bytes in mode A and width * height
 * * 12 in B2, B3 and C3. Where the step exceeds the width, A, B3 and C2 clear up to the end of the last row of
 * points. Values of the 16-bit kernel are truncated toward zero and keep the low 16 bits.
 */

/** Statuses in order: null record -> E_NULL, sizes other than 128 and 80 -> E_RECORD_SIZE, null intrinsics or
 * no output -> E_NULL, image check (mapped), format not 3 -> E_IMAGE_FORMAT, below 640 x 480 -> E_IMAGE_SIZE,
 * a step other than the width or a target wider than the source -> E_IMAGE_STEP, then the kernel's. */
OXB3D_API int32_t OXB3D_BINOSTEREO_CommonTransProcess(void* input, int32_t inputSize, void* output,
                                                      int32_t outputSize);

/** \{ */
/** The kernels, for images of any size. step counts samples from row to row of the source, and points from row
 * to row of the points. The target depth takes width * height samples, and targetWidth must not exceed width.
 */
OXB3D_API int32_t OXB3D_BINOSTEREO_Comn_Trans_f32(const int16_t* depth, int32_t step, int32_t width,
                                                  int32_t height, float* points, int16_t* targetDepth,
                                                  int32_t targetWidth, const float* sourceIntrinsics,
                                                  const float* transform, const float* targetIntrinsics,
                                                  const float* targetDistortion);
OXB3D_API int32_t OXB3D_BINOSTEREO_Comn_Trans_s16(const int16_t* depth, int32_t step, int32_t width,
                                                  int32_t height, int16_t* points, int16_t* targetDepth,
                                                  int32_t targetWidth, const float* sourceIntrinsics,
                                                  const float* transform, const float* targetIntrinsics,
                                                  const float* targetDistortion);
/** \} */

/* ---- Undistort-rectify maps --------------------------------------------------------------------------- */

/**
 * \file Oxb3dBinoStereo.h
 * \par Undistort-rectify maps
 * A map of type 1 has two planes of width * height entries, one entry per destination
 * pixel: the index plane (offset of the top-left of four source pixels) and the weight plane (four bytes:
 * top-left, top-right, bottom-left, bottom-right, 64 in all). Index and weights are 0 where the source is not
 * inside.
 */

/** Bytes of scratch memory for a map. */
#define OXB3D_BINOSTEREO_RECT_MAP_SCRATCH 256

/** Bytes of a map. Null -> E_NULL; width or height below 1, mapType of 2 or more -> E_REGION; not representable
 * -> E_OVERFLOW. */
OXB3D_API int32_t OXB3D_BINOSTEREO_RCT_RectMapBufSize(ZQA_SIZE size, uint32_t mapType, uint64_t* bufferSize);

/** Computes the map of one camera. R is a row-major 3 x 3 rotation from the camera's frame into the rectified
 * one, P a row-major 3 x 4 projection of which the left 3 x 3 part is read; destination column j stands for
 * u = j - columnShift. scratch: OXB3D_BINOSTEREO_RECT_MAP_SCRATCH bytes on an 8-byte boundary.
 * Null -> E_NULL; width or height below 1, or more pixels than an index can count -> E_REGION; P * R not
 * invertible -> E_GENERAL (the planes are left alone). */
OXB3D_API int32_t OXB3D_BINOSTEREO_RCT_GeneUndistortRectMap(int32_t width, int32_t height,
                                                            const OXB3D_BINOSTEREO_CAMERA* camera,
                                                            int32_t columnShift, const float* R,
                                                            const float* P, uint32_t* indexPlane,
                                                            uint8_t* weightPlane, void* scratch);

/** Warps an 8-bit image of unpadded rows through a map; source, destination and map have one size and do not
 * overlap. A pixel of which one of the four source pixels
 * lies outside is black, even where that one's weight is 0. Null -> E_NULL. */
OXB3D_API int32_t OXB3D_BINOSTEREO_RCT_RectifyImage(const uint8_t* src, const uint32_t* indexPlane,
                                                    const uint8_t* weightPlane, int32_t width, int32_t height,
                                                    uint8_t* dst);

/* ------------------------------------------------------------------------------------------------------
 * Multi-frame depth fusion
 * --------------------------------------------------------------------------------------------------- */

/** One frame, 24 bytes. */
typedef struct OXB3D_BINOSTEREO_FUSE_FRAME {
    const int16_t* depth; /**< rows without padding */
    const uint8_t* grey;  /**< rows without padding; not read in mode 3 */
    int32_t width;        /**< pixels */
    int32_t height;       /**< pixels */
} OXB3D_BINOSTEREO_FUSE_FRAME;

/** \{ */
/** Positions in the configuration of a fusion call. */
#define OXB3D_BINOSTEREO_FUSE_X0 0 /**< region: x0, y0, x1, y1 */
#define OXB3D_BINOSTEREO_FUSE_Y0 1
#define OXB3D_BINOSTEREO_FUSE_X1 2
#define OXB3D_BINOSTEREO_FUSE_Y1 3
#define OXB3D_BINOSTEREO_FUSE_KERNEL 4 /**< carried; the smoothing kernel is always 11 wide */
#define OXB3D_BINOSTEREO_FUSE_MODE 5   /**< 1 plausible mean or larger, 2 mean or more confident, 3 larger */
#define OXB3D_BINOSTEREO_FUSE_THRESHOLD 6
#define OXB3D_BINOSTEREO_FUSE_PINNED 7 /**< must be 1 in modes 1 and 2 */
#define OXB3D_BINOSTEREO_FUSE_PEAK 8   /**< grey value of full confidence */
#define OXB3D_BINOSTEREO_FUSE_ROW_SHIFT 9
#define OXB3D_BINOSTEREO_FUSE_COLUMN_SHIFT 10
#define OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS 11
/** \} */

/** Bytes that fusion needs for frames of at most the given size. Null -> ZQA_E_NULL, width or height below 1
 * -> ZQA_E_IMAGE_SIZE, not representable -> ZQA_E_OVERFLOW. */
OXB3D_API int32_t OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize(ZQA_SIZE size, uint64_t* persistent,
                                                         uint64_t* scratch);

/** Lays the buffers out and forgets any previous frame. state is the base of the persistent block; both blocks
 * stand on 128-byte boundaries. Null -> ZQA_E_NULL, sizes as above. */
OXB3D_API int32_t OXB3D_BINOSTEREO_MULTI_FUSE_Init(void* state, ZQA_SIZE size, void* persistent,
                                                   void* scratch);

/** Fuses a frame with the one before; the first frame is returned unchanged, and so is a frame of another size
 * than the one before. output takes width * height samples; samples outside the working region are delivered
 * as the scratch memory holds them. Null state, frame, depth, configuration or output -> ZQA_E_NULL, a frame
 * larger than the size given to Init -> E_IMAGE_SIZE, then E_FUSE_REGION, ZQA_E_NULL (no grey image),
 * E_FUSE_THRESHOLD, E_FUSE_MODE, E_FUSE_PINNED. */
OXB3D_API int32_t OXB3D_BINOSTEREO_MULTI_FUSE_Process(
    void* state, const OXB3D_BINOSTEREO_FUSE_FRAME* frame,
    const int32_t config[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS], int16_t* output);

/* ---- Depth fill score -------------------------------------------------------------------------------- */

/** The worst share, in percent, of non-zero samples in the 3 x 3 cells of a region. The
 * first row and column of the image never count. param1 and param3Aligned are not used. Null -> E_NULL,
 * region outside the image or smaller than 3 x 3 -> E_REGION, step below the image width -> E_IMAGE_STEP. */
OXB3D_API int32_t OXB3D_BINOSTEREO_DepthScore(const int16_t* samples, int32_t step, ZQA_SIZE imageSize,
                                              int32_t param1, int32_t param3Aligned, int32_t* score,
                                              ZQA_POINT origin, ZQA_SIZE region);

#ifdef __cplusplus
}
#endif

#endif /* OXB3D_BINO_STEREO_H */
