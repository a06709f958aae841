/**
 * \file OxMediaProcess.h
 * \brief The scaling library libMediaProcess.so.
 *
 * Scales one plane of 8-bit samples. The RGB-D library links against it and scales color images plane by
 * plane; a maker's own library of the same name can take its place.
 */
#ifndef OX_MEDIA_PROCESS_H
#define OX_MEDIA_PROCESS_H

#include <stdint.h>

#if defined(__GNUC__)
/** Before what the library exports. */
#    define OX_MP_API __attribute__((visibility("default")))
#else
#    define OX_MP_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** \{ */
/** Results of OX_MP_Scaling and OX_MP_DestroyHandle. */
#define OX_MP_OK 0
#define OX_MP_E_HANDLE 1     /**< not a handle of this library */
#define OX_MP_E_PARAMETER 2  /**< null record or plane */
#define OX_MP_E_SIZE 3       /**< a width or height is 0 or above OX_MP_MAX_SIDE */
#define OX_MP_E_SOURCE_LEN 4 /**< the source plane is shorter than width * height */
#define OX_MP_E_DEST_LEN 5   /**< the destination buffer is smaller than width * height */
#define OX_MP_E_METHOD 6     /**< unknown scaling method */
#define OX_MP_E_SCALING 7    /**< the scaler itself failed, for example for want of memory */
/** \} */

/** Largest width and height, pixels. */
#define OX_MP_MAX_SIDE 16384u

/** Scaling methods. */
#define OX_MP_METHOD_BILINEAR 1u

/** One scaling of one plane, 88 bytes. Rows have no padding. */
typedef struct OX_MP_SCALING_PARAM {
    uint32_t nSrcWidth;     /**< pixels */
    uint32_t nSrcHeight;    /**< pixels */
    uint8_t* pSrcData;      /**< nSrcLen bytes, read only */
    uint32_t nSrcLen;       /**< bytes */
    uint32_t nDstWidth;     /**< pixels */
    uint32_t nDstHeight;    /**< pixels */
    uint32_t nReserved0;    /**< 0 */
    uint8_t* pDstData;      /**< nDstBufSize bytes, must not overlap the source */
    uint32_t nDstBufSize;   /**< bytes */
    uint32_t nDstLen;       /**< bytes of the result, set by the library on success */
    uint32_t nReserved1;    /**< 0 */
    uint32_t nMethod;       /**< OX_MP_METHOD_* */
    uint8_t nReserved2[32]; /**< 0 */
} OX_MP_SCALING_PARAM;

/** A new handle, or null for want of memory. Handles are independent; one thread at a time uses a handle. */
OX_MP_API void* OX_MP_CreateHandle(void);

/** Scales one plane. Returns OX_MP_OK or OX_MP_E_*; on failure the destination is unspecified. */
OX_MP_API int OX_MP_Scaling(void* handle, OX_MP_SCALING_PARAM* pstParam);

/** Scales `rows` rows of the destination from `firstRow` on, to the bytes that OX_MP_Scaling gives them; rows that the
 * destination has not got are OX_MP_E_SIZE. Threads may do so at once for one handle, each with a record of its own:
 * the RGB-D library shares a plane among threads by it (OX3D_RGBD_KEY_THREADS). A maker's library may lack it, and
 * then scales on one thread. */
OX_MP_API int OX_MP_ScalingRows(void* handle, OX_MP_SCALING_PARAM* pstParam, uint32_t firstRow,
                                uint32_t rows);

/** Frees a handle. Returns OX_MP_OK, or OX_MP_E_HANDLE for null or what is not a handle. */
OX_MP_API int OX_MP_DestroyHandle(void* handle);

#ifdef __cplusplus
}
#endif

#endif /* OX_MEDIA_PROCESS_H */
