/**
 * \file Ox3dRgbdDefine.h
 * \brief The records and status codes of the public interface.
 *
 * Every record is owned by the caller and passed by pointer. Sizes and field positions are part of the
 * binary interface. All integers are little-endian. Text fields are byte strings that end at the first NUL
 * or at the end of the field, whichever comes first: a text that fills its field has no terminator, so
 * read it with its bound ("%.32s").
 *
 * Units, here and in the functions:
 * \verbatim
 *   depth, points, translations   millimetres, as cameras of this kind send depth (the library converts none); a depth
 *                                 of 0 is none
 *   sizes of images, lenses       pixels
 *   lengths of data               bytes
 *   time stamps of images         ticks of the device's clock, which begins anywhere. With the providers of this library
 *                                 a tick is a nanosecond; with a camera maker's it may be what the feature
 *                                 "GevTimestampTickFrequency" says (ticks a second). OX3D_RGBD_GetFrameClock
 *                                 (Ox3dRgbdExtension.h) finds the rate out and brings ticks to UTC
 *   time of the host              nanoseconds, with "Ns" in the name
 *   time-outs                     milliseconds
 *   features                      the unit of the camera's description, such as "us" for "ExposureTime"
 * \endverbatim
 *
 * The library does not clear a caller's output record before it fills it: zero a record first. Frame
 * records are the exception, they are zeroed whole for every frame.
 */
#ifndef OX3D_RGBD_DEFINE_H
#define OX3D_RGBD_DEFINE_H

#include <stdint.h>

#if defined(__GNUC__)
/** Before what the library exports. */
#    define OX3D_RGBD_API __attribute__((visibility("default")))
/** Before unions and structs without a name. */
#    define OX3D_RGBD_EXTENSION __extension__
#else
#    define OX3D_RGBD_API
#    define OX3D_RGBD_EXTENSION
#endif

/** \{ */
/** The version of these headers. OX3D_RGBD_GetSDKVersion tells that of the library that is loaded. */
#define OX3D_RGBD_VERSION_MAJOR 1
#define OX3D_RGBD_VERSION_MINOR 1
#define OX3D_RGBD_VERSION_REVISION 0
/** \} */

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status codes ------------------------------------------------------------------------------------- */

/**
 * \file Ox3dRgbdDefine.h
 * \par Status codes
 * Every OX3D_RGBD_* function returns one of them as uint32_t. The codes marked (camera) arise
 * only when a code of the camera-control library is translated; their meaning is that library's.
 */

#define OX3D_RGBD_OK 0x00000000u             /**< success */
#define OX3D_RGBD_E_HANDLE 0x80060000u       /**< null, unknown or closed handle; general error */
#define OX3D_RGBD_E_CAMERA 0x80060001u       /**< a camera operation failed or is not supported */
#define OX3D_RGBD_E_CAMERA_02 0x80060002u    /**< camera code 0x80000002 (camera) */
#define OX3D_RGBD_E_STATE 0x80060003u        /**< wrong call order: not connected, opened, started ... */
#define OX3D_RGBD_E_PARAMETER 0x80060004u    /**< null pointer, value out of range, unknown key */
#define OX3D_RGBD_E_MEMORY 0x80060005u       /**< an allocation or a size does not fit */
#define OX3D_RGBD_E_NO_DATA 0x80060006u      /**< no frame in time; device information missing */
#define OX3D_RGBD_E_CAMERA_07 0x80060007u    /**< camera codes 0x80000008 and 0x80000106 (camera) */
#define OX3D_RGBD_E_CAMERA_08 0x80060008u    /**< camera code 0x80000009 (camera) */
#define OX3D_RGBD_E_CAMERA_09 0x80060009u    /**< camera code 0x8000000A (camera) */
#define OX3D_RGBD_E_CAMERA_0A 0x8006000Au    /**< camera code 0x8000000B (camera) */
#define OX3D_RGBD_E_LOAD_LIBRARY 0x8006000Bu /**< a library or one of its functions cannot be loaded */
#define OX3D_RGBD_E_ALGORITHM 0x8006000Cu    /**< the depth conversion failed */
#define OX3D_RGBD_E_CAMERA_0E 0x8006000Eu    /**< camera code 0x80000203 (camera) */
#define OX3D_RGBD_E_CAMERA_0F 0x8006000Fu    /**< camera code 0x80000102 (camera) */
#define OX3D_RGBD_E_UNKNOWN 0x800600FFu      /**< any other camera code (camera) */

/** \{ */
/** Device types: nDeviceType of a device record, and the filter of counting and listing. */
#define OX3D_RGBD_DEVICE_ETHERNET 1u /**< GigE Vision */
#define OX3D_RGBD_DEVICE_USB 2u      /**< USB3 Vision */
#define OX3D_RGBD_DEVICE_ALL 3u      /**< filter only: both */
/** \} */

/** \{ */
/** nUsbProtocol of a device record. */
#define OX3D_RGBD_USB_UNKNOWN 0u
#define OX3D_RGBD_USB_2 1u
#define OX3D_RGBD_USB_3 2u
/** \} */

/** \{ */
/** Pixel formats that the library itself produces or tests. Any other code is the camera's own, in GenICam
 * pixel-format numbering, passed through unchanged. */
#define OX3D_RGBD_PIXEL_DEPTH16 0x011000B8u     /**< Coord3D_C16: one uint16 a pixel, mm; 0 is no depth */
#define OX3D_RGBD_PIXEL_RGB8_PLANAR 0x02180021u /**< RGB8_Planar: a red, a green and a blue plane of bytes */
#define OX3D_RGBD_PIXEL_POINT_CLOUD 0x026000C0u /**< Coord3D_ABC32f: three floats X, Y, Z a pixel, mm */
#define OX3D_RGBD_PIXEL_RGBD 0x82283007u        /**< 5 bytes a pixel: R, G, B, then the uint16 depth */
/** \} */

/** \{ */
/** enStreamType of an image; Ethernet devices leave it at OX3D_RGBD_STREAM_NONE. */
#define OX3D_RGBD_STREAM_NONE 0u
#define OX3D_RGBD_STREAM_DEPTH 1u
#define OX3D_RGBD_STREAM_COLOR 2u
#define OX3D_RGBD_STREAM_LEFT 3u  /**< the first half of a demosaic pair */
#define OX3D_RGBD_STREAM_RIGHT 4u /**< the second half of a demosaic pair */
/** \} */

/** \{ */
/** enParamType of a parameter record. */
#define OX3D_RGBD_PARAM_BOOL 1u
#define OX3D_RGBD_PARAM_INT 2u
#define OX3D_RGBD_PARAM_FLOAT 3u
#define OX3D_RGBD_PARAM_ENUM 4u
#define OX3D_RGBD_PARAM_STRING 5u
/** \} */

/** \{ */
/** enIPCfgMode of an IP configuration. */
#define OX3D_RGBD_IP_STATIC 1u
#define OX3D_RGBD_IP_DHCP 2u
#define OX3D_RGBD_IP_LINK_LOCAL 4u
/** \} */

/** nExceptionId: the one exception there is. */
#define OX3D_RGBD_EXCEPTION_OFFLINE 1u

/** \{ */
/** calibType of OX3D_RGBD_GetCalibInfo. */
#define OX3D_RGBD_CALIB_DEPTH 1u
#define OX3D_RGBD_CALIB_COLOR 2u
/** \} */

/** \{ */
/** Keys of the library itself, set and read like features of type OX3D_RGBD_PARAM_INT, each 0 or 1. They act on
 * Ethernet devices ONLY: on a USB device they are kept, set and read with success, and change nothing in its frames.
 * OX3D_RGBD_MapFrameToPointCloud (Ox3dRgbdExtension.h) gives colored points for both kinds. */
#define OX3D_RGBD_KEY_IMAGE_ALIGN "ImageAlign"           /**< register depth to color; default 1 */
#define OX3D_RGBD_KEY_RESOLUTION_ALIGN "ResolutionAlign" /**< scale color to the depth's size; default 1 */
#define OX3D_RGBD_KEY_OUTPUT_RGBD "OutputRgbd"           /**< append an RGB-D image; default 0 */
/** \} */

/** Access mode of a feature node. */
typedef uint32_t Ox3dRgbdAccessMode;
/** \{ */
/** Values of Ox3dRgbdAccessMode. */
#define OX3D_RGBD_ACCESS_NOT_IMPLEMENTED 0u
#define OX3D_RGBD_ACCESS_NOT_AVAILABLE 1u
#define OX3D_RGBD_ACCESS_WRITE_ONLY 2u
#define OX3D_RGBD_ACCESS_READ_ONLY 3u
#define OX3D_RGBD_ACCESS_READ_WRITE 4u
/** \} */

/** Version of the library, 12 bytes. */
typedef struct OX3D_RGBD_VERSION_INFO {
    uint32_t nMajor;    /**< changes with the binary interface */
    uint32_t nMinor;    /**< changes when something is added */
    uint32_t nRevision; /**< changes with repairs */
} OX3D_RGBD_VERSION_INFO;

/** One device, 272 bytes. Fields with two names mean the first for an Ethernet device and the second for a
 * USB device. */
typedef struct OX3D_RGBD_DEVICE_INFO {
    char chManufacturerName[32];         /**< the maker */
    char chModelName[32];                /**< the model */
    char chDeviceVersion[32];            /**< the device's version */
    char chManufacturerSpecificInfo[48]; /**< USB: the vendor's name */
    char chSerialNumber[16];             /**< the serial number */
    char chUserDefinedName[16];          /**< the name that a user gave it */
    uint32_t nDeviceType;                /**< OX3D_RGBD_DEVICE_ETHERNET or OX3D_RGBD_DEVICE_USB */
    OX3D_RGBD_EXTENSION union {
        uint8_t chMacAddress[6]; /**< Ethernet: most significant byte first */
        OX3D_RGBD_EXTENSION struct {
            uint32_t nVendorId;  /**< USB */
            uint32_t nProductId; /**< USB */
        };
    };
    OX3D_RGBD_EXTENSION union {
        uint32_t nIpCfgMode;   /**< Ethernet: the current IP configuration mode as the camera reports it */
        uint32_t nUsbProtocol; /**< USB: OX3D_RGBD_USB_* */
    };
    char chCurrentIp[16];         /**< Ethernet: dotted decimal; USB: the first 16 bytes of the device GUID */
    char chCurrentSubNetMask[16]; /**< Ethernet, dotted decimal; left alone where the address is 0 */
    char chDefaultGateWay[16];    /**< as above */
    char chNetExport[16];         /**< as above: the host interface through which the camera was found */
    uint8_t nReserved[16];        /**< 0 */
} OX3D_RGBD_DEVICE_INFO;

/** One image, 56 bytes. */
typedef struct OX3D_RGBD_IMAGE_DATA {
    uint32_t enImageType; /**< OX3D_RGBD_PIXEL_* or a pixel format of the camera's */
    uint32_t nReserved0;  /**< 0 */
    uint32_t nWidth;      /**< pixels */
    uint32_t nHeight;     /**< pixels */
    uint8_t* pData;    /**< owned by the library, rows without padding; valid until the device's next frame */
    uint32_t nDataLen; /**< bytes */
    uint32_t nFrameNum;    /**< as the camera counts, from 1 after a start; a gap is frames that were lost */
    uint64_t nTimeStamp;   /**< ticks of the device's clock; all images of a frame have one */
    uint32_t enStreamType; /**< OX3D_RGBD_STREAM_* */
    uint8_t nReserved[12]; /**< 0 */
} OX3D_RGBD_IMAGE_DATA;

/** Images of a frame, at most. */
#define OX3D_RGBD_MAX_IMAGES 10

/** One frame, 584 bytes: first the main image (depth), then color, then what else the camera sent. */
typedef struct OX3D_RGBD_FRAME_DATA {
    uint32_t nImageCount; /**< valid entries of stImageData, at most OX3D_RGBD_MAX_IMAGES */
    uint32_t nReserved0;  /**< 0 */
    OX3D_RGBD_IMAGE_DATA stImageData[OX3D_RGBD_MAX_IMAGES]; /**< the images */
    uint8_t nReserved[16];                                  /**< 0 */
} OX3D_RGBD_FRAME_DATA;

/** An integer, 32 bytes, all in the feature's unit. */
typedef struct OX3D_RGBD_INTPARAM {
    int64_t nCurValue; /**< the value */
    int64_t nMax;      /**< of what may be set at present, and so on */
    int64_t nMin;      /**< of what may be set at present */
    int64_t nInc;      /**< values are nMin and whole numbers of nInc above */
} OX3D_RGBD_INTPARAM;

/** A floating-point number, 28 bytes, all in the feature's unit. */
typedef struct OX3D_RGBD_FLOATPARAM {
    float fCurValue;       /**< the value */
    float fMax;            /**< of what may be set at present */
    float fMin;            /**< of what may be set at present */
    uint8_t nReserved[16]; /**< 0 */
} OX3D_RGBD_FLOATPARAM;

/** Entries of an enumeration that a parameter record holds. */
#define OX3D_RGBD_MAX_ENUM_ENTRIES 64

/** An enumeration by the numbers of its entries, 280 bytes. OX3D_RGBD_GetFeatureEntries has their names. */
typedef struct OX3D_RGBD_ENUMPARAM {
    uint32_t nCurValue;                                 /**< of the entry that is set */
    uint32_t nSupportedNum;                             /**< valid entries of nSupportValue */
    uint32_t nSupportValue[OX3D_RGBD_MAX_ENUM_ENTRIES]; /**< of the entries that there are */
    uint8_t nReserved[16];                              /**< 0 */
} OX3D_RGBD_ENUMPARAM;

/** Bytes of a text in a parameter record, its terminator included. */
#define OX3D_RGBD_MAX_STRING 256

/** A text, 272 bytes. */
typedef struct OX3D_RGBD_STRINGPARAM {
    char chCurValue[OX3D_RGBD_MAX_STRING]; /**< ends at its first NUL */
    int64_t nMaxLength;                    /**< characters */
    uint8_t nReserved[8];                  /**< 0 */
} OX3D_RGBD_STRINGPARAM;

/** One typed feature value, 288 bytes. */
typedef struct OX3D_RGBD_PARAM {
    uint32_t enParamType; /**< OX3D_RGBD_PARAM_*: which member of the union holds the value */
    uint32_t nReserved0;  /**< 0 */
    OX3D_RGBD_EXTENSION union {
        uint32_t bBoolValue; /**< 0 = false, anything else = true */
        OX3D_RGBD_INTPARAM stIntParam;
        OX3D_RGBD_FLOATPARAM stFloatParam;
        OX3D_RGBD_ENUMPARAM stEnumParam;
        OX3D_RGBD_STRINGPARAM stStringParam;
        uint8_t nUnionSize[280];
    };
} OX3D_RGBD_PARAM;

/** IP configuration, 64 bytes. The texts are dotted decimal; only a static configuration reads them. */
typedef struct OX3D_RGBD_IP_CONFIG {
    uint32_t enIPCfgMode;   /**< OX3D_RGBD_IP_* */
    char chDestIp[16];      /**< the address */
    char chDestNetMask[16]; /**< its mask */
    char chDestGateWay[16]; /**< the gateway, in the subnet */
    uint8_t nReserved[12];  /**< 0 */
} OX3D_RGBD_IP_CONFIG;

/** What an exception callback is told, 276 bytes. */
typedef struct OX3D_RGBD_EXCEPTION_INFO {
    uint32_t nExceptionId;    /**< OX3D_RGBD_EXCEPTION_OFFLINE */
    char chExceptionDes[256]; /**< NUL-terminated, GBK encoding */
    uint8_t nReserved[16];    /**< 0 */
} OX3D_RGBD_EXCEPTION_INFO;

/** Calibration of one sensor, 64 bytes: pinhole intrinsics in pixels and Brown-Conrady distortion. */
typedef struct OX3D_RGBD_CALIB_INFO {
    uint32_t nWidth;  /**< the image size that the calibration belongs to; 0 where the file does not say */
    uint32_t nHeight; /**< pixels */
    float fFx;        /**< focal lengths and centre, pixels */
    float fFy;        /**< pixels */
    float fCx;        /**< pixels */
    float fCy;        /**< pixels */
    float fK1;        /**< distortion, as in OX3D_RGBD_INTRINSICS (Ox3dRgbdExtension.h) */
    float fK2;        /**< as fK1 */
    float fP1;        /**< as fK1 */
    float fP2;        /**< as fK1 */
    float fK3;        /**< as fK1 */
    uint8_t nReserved[20]; /**< 0 */
} OX3D_RGBD_CALIB_INFO;

/** One transfer between a local file and the camera's file store, 144 bytes. Both names are NUL-terminated
 * texts of the caller's, read during the call. */
typedef struct OX3D_RGBD_FILE_ACCESS {
    const char* pUserFileName; /**< the local file */
    const char* pDevFileName;  /**< the file in the camera, for example "RGBDSensorCali" */
    uint8_t nReserved[128];    /**< 0 */
} OX3D_RGBD_FILE_ACCESS;

/** Called for each frame, on the camera library's delivery thread. The record and everything it points to
 * are valid during the call only. Any function of the interface may be called from inside; see
 * OX3D_RGBD_RegisterFrameCallBack. */
typedef void (*OX3D_RGBD_FrameDataCallBack)(OX3D_RGBD_FRAME_DATA* pstFrame, void* pUser);

/** Called when the device is lost, on a thread of the camera library. The record is valid during the call. */
typedef void (*OX3D_RGBD_ExceptionCallBack)(OX3D_RGBD_EXCEPTION_INFO* pstInfo, void* pUser);

#ifdef __cplusplus
}
#endif

#endif /* OX3D_RGBD_DEFINE_H */
