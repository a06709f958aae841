/**
 * \file OxCameraControl.h
 * \brief What a camera-control provider implements.
 *
 * A provider is a shared library named libOxCameraControl.so. The RGB-D library opens it at run time, by the dynamic
 * linker's search or by the environment variable OX3D_PROVIDER where that is set ("aravis", "virtual", a folder or a
 * file), and looks its 57 functions up by name. This header is the only place that knows the layouts of the records
 * that pass between the two.
 *
 * Rules for every function:
 *  - int results are 0 or a code 0x8000xxxx (OX_CC_E_*) taken as int; nothing may be thrown;
 *  - outputs are written last, and only on success;
 *  - a handle is used by several threads at once: at least one that controls, one that fetches frames, and
 *    five kinds of call (feature reads, commands, ...) that hold no lock of the library's. A provider
 *    serialises what its transport needs serialised;
 *  - closing or destroying a handle returns after a callback in flight has ended, unless called from inside
 *    it, and no callback begins afterwards;
 *  - registering a callback does not wait for a call in flight: the library registers while it holds a lock
 *    that the callback may want, and waits by itself;
 *  - fixed text fields are NUL-terminated when shorter than the field, and read with their bound;
 *  - reserved bytes are written as zero by whoever owns the record.
 *
 * The RGB-D library exports function pointers under these very names. A provider must therefore not reach
 * its own functions through the dynamic symbol table: link it with -Bsymbolic-functions, or let the exported
 * functions call hidden inner ones.
 *
 * Required (R) means that the library refuses to create a handle without the function; optional (O) that it
 * goes on without; extended (E) that all functions of this kind count as missing once one of them is.
 */
#ifndef OX_CAMERA_CONTROL_H
#define OX_CAMERA_CONTROL_H

#include <stdbool.h>
#include <stdint.h>

#if defined(__GNUC__)
/** Before what a provider exports. */
#    define OX_CC_API __attribute__((visibility("default")))
/** Before unions and structs without a name. */
#    define OX_CC_EXTENSION __extension__
#else
#    define OX_CC_API
#    define OX_CC_EXTENSION
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** \{ */
/** Codes of the camera-control library, as uint32_t; functions return them converted to int. The library
 * translates them for the application; the comment gives what they become. */
#define OX_CC_OK 0x00000000u
#define OX_CC_E_HANDLE 0x80000000u          /**< invalid handle: 0x80060000 */
#define OX_CC_E_SUPPORT 0x80000001u         /**< not supported: 0x80060001 */
#define OX_CC_E_BUFFER_FULL 0x80000002u     /**< 0x80060002 */
#define OX_CC_E_CALL_ORDER 0x80000003u      /**< wrong call order: 0x80060003 */
#define OX_CC_E_PARAMETER 0x80000004u       /**< 0x80060004 */
#define OX_CC_E_RESOURCE 0x80000006u        /**< no memory or thread: 0x80060005 */
#define OX_CC_E_NO_DATA 0x80000007u         /**< time-out, no frame: 0x80060006 */
#define OX_CC_E_PRECONDITION 0x80000008u    /**< 0x80060007 */
#define OX_CC_E_VERSION 0x80000009u         /**< 0x80060008 */
#define OX_CC_E_NO_BUFFER_SPACE 0x8000000Au /**< the caller's buffer is too small: 0x80060009 */
#define OX_CC_E_ABNORMAL_IMAGE 0x8000000Bu  /**< 0x8006000A */
#define OX_CC_E_LOAD_LIBRARY 0x8000000Cu    /**< 0x8006000B */
#define OX_CC_E_UNKNOWN 0x800000FFu         /**< 0x800600FF */
#define OX_CC_E_GC_GENERIC 0x80000100u      /**< feature fault: 0x80060004 */
#define OX_CC_E_GC_ARGUMENT 0x80000101u     /**< unknown feature, wrong type: 0x80060004 */
#define OX_CC_E_GC_RANGE 0x80000102u        /**< value out of range: 0x8006000F */
#define OX_CC_E_GC_DYNAMIC_CAST 0x80000104u /**< feature of another type: 0x80060004 */
#define OX_CC_E_GC_ACCESS 0x80000106u       /**< feature not readable or writable now: 0x80060007 */
#define OX_CC_E_ACCESS_DENIED 0x80000203u   /**< the device is held by another application: 0x8006000E */
/** \} */

/** Exception message: the device is gone. */
#define OX_CC_EXCEPTION_DEV_DISCONNECT 0x00008001u

/** \{ */
/** Transport layers: bits of the enumeration mask, values of nTLayerType. */
#define OX_CC_GIGE_DEVICE 1u
#define OX_CC_USB_DEVICE 4u
/** \} */

/** \{ */
/** Access modes of opening. */
#define OX_CC_ACCESS_EXCLUSIVE 1u
#define OX_CC_ACCESS_CONTROL 3u
#define OX_CC_ACCESS_MONITOR 7u
/** \} */

/** \{ */
/** IP configuration words of OX_GIGE_SetIpConfig, and bits of nIpCfgOption and nIpCfgCurrent. */
#define OX_GIGE_IP_CFG_STATIC 0x05000000u
#define OX_GIGE_IP_CFG_DHCP 0x06000000u
#define OX_GIGE_IP_CFG_LLA 0x04000000u
/** \} */

/** GenICam interface types of a node. */
typedef uint32_t OX_XML_InterfaceType;
/** \{ */
/** Values of OX_XML_InterfaceType. */
#define OX_IFT_IValue 0u
#define OX_IFT_IBase 1u
#define OX_IFT_IInteger 2u
#define OX_IFT_IBoolean 3u
#define OX_IFT_ICommand 4u
#define OX_IFT_IFloat 5u
#define OX_IFT_IString 6u
#define OX_IFT_IRegister 7u
#define OX_IFT_ICategory 8u
#define OX_IFT_IEnumeration 9u
#define OX_IFT_IEnumEntry 10u
#define OX_IFT_IPort 11u
/** \} */

/** Access modes of a node. */
typedef uint32_t OX_XML_AccessMode;
/** \{ */
/** Values of OX_XML_AccessMode: not implemented, not available, write-only, read-only, read-write. */
#define OX_AM_NI 0u
#define OX_AM_NA 1u
#define OX_AM_WO 2u
#define OX_AM_RO 3u
#define OX_AM_RW 4u
/** \} */

/** \{ */
/** Chunk ids that the library understands. */
#define OX_CHUNK_EXTENDED_IMAGE 0xA5A53D0Bu /**< the color image, behind a header of 32 bytes */
#define OX_CHUNK_DEMOSAIC_PAIR 0xA5A53D11u  /**< two images stacked in one payload, behind 28 bytes */
/** \} */

/** A device as Ethernet describes it, 200 bytes. IP numbers are host order, first octet in bits 24-31. */
typedef struct OX_CC_GIGE_DEVICE_INFO {
    uint32_t nIpCfgOption;               /**< which IP configuration modes the device offers */
    uint32_t nIpCfgCurrent;              /**< the mode in use */
    uint32_t nCurrentIp;                 /**< the address in use */
    uint32_t nCurrentSubNetMask;         /**< its mask */
    uint32_t nDefaultGateWay;            /**< its gateway */
    char chManufacturerName[32];         /**< the maker */
    char chModelName[32];                /**< the model */
    char chDeviceVersion[32];            /**< the device's version */
    char chManufacturerSpecificInfo[48]; /**< what the maker adds */
    char chSerialNumber[16];             /**< the serial number */
    char chUserDefinedName[16];          /**< the name that a user gave it */
    uint32_t nNetExport;                 /**< the host interface through which the device was found */
} OX_CC_GIGE_DEVICE_INFO;

/** A device as USB describes it, 528 bytes. */
typedef struct OX_CC_USB_DEVICE_INFO {
    uint8_t nCrtlInEndPoint;     /**< end point of answers */
    uint8_t nCrtlOutEndPoint;    /**< end point of requests */
    uint8_t nStreamEndPoint;     /**< end point of frames */
    uint8_t nEventEndPoint;      /**< end point of events */
    uint16_t nVendorId;          /**< of USB */
    uint16_t nProductId;         /**< of USB */
    uint32_t nDeviceNumber;      /**< on its bus */
    char chDeviceGuid[64];       /**< of USB3 Vision */
    char chVendorName[64];       /**< the vendor */
    char chModelName[64];        /**< the model */
    char chFamilyName[64];       /**< the family of models */
    char chDeviceVersion[64];    /**< the device's version */
    char chManufacturerName[64]; /**< the maker */
    char chSerialNumber[64];     /**< the serial number */
    char chUserDefinedName[64];  /**< the name that a user gave it */
    uint32_t nBcdUsb;            /**< USB release number, for example 0x0300 */
} OX_CC_USB_DEVICE_INFO;

/** One device, 576 bytes. */
typedef struct OX_CC_DEVICE_INFO {
    uint32_t nTLayerType;  /**< OX_CC_GIGE_DEVICE or OX_CC_USB_DEVICE */
    uint32_t nMacAddrHigh; /**< MAC bytes 0 and 1 in bits 0-15 */
    uint32_t nMacAddrLow;  /**< MAC bytes 2 to 5 */
    uint32_t nReserved0;   /**< 0 */
    OX_CC_EXTENSION union {
        OX_CC_GIGE_DEVICE_INFO stGigEInfo;
        OX_CC_USB_DEVICE_INFO stUsb3Info;
        uint8_t nVariantSize[560];
    };
} OX_CC_DEVICE_INFO;

/** Devices that one enumeration can list. */
#define OX_CC_MAX_DEVICES 256

/** Devices found, 2056 bytes. The records belong to the provider and are valid until the next enumeration
 * in the process. */
typedef struct OX_CC_DEVICE_INFO_LIST {
    uint32_t nDeviceNum;                               /**< valid entries of pDeviceInfo */
    uint32_t nReserved0;                               /**< 0 */
    OX_CC_DEVICE_INFO* pDeviceInfo[OX_CC_MAX_DEVICES]; /**< the devices */
} OX_CC_DEVICE_INFO_LIST;

/** One chunk of a frame, 48 bytes. */
typedef struct OX_CHUNK_DATA_CONTENT {
    uint8_t* pChunkData;   /**< writable: the library notes the payload length in header word 3 */
    uint32_t nChunkID;     /**< OX_CHUNK_* */
    uint32_t nChunkLen;    /**< bytes, header included */
    uint8_t nReserved[32]; /**< 0 */
} OX_CHUNK_DATA_CONTENT;

/** What came with a frame, 264 bytes. */
typedef struct OX_FRAME_OUT_INFO_EX {
    uint16_t nWidth;            /**< pixels */
    uint16_t nHeight;           /**< pixels */
    uint32_t nReserved0;        /**< 0 */
    uint64_t enPixelType;       /**< compared as its low 32 bits */
    uint32_t nFrameNum;         /**< from 1, one higher for every frame the camera exposed */
    uint32_t nDevTimeStampHigh; /**< ticks, upper half */
    uint32_t nDevTimeStampLow;  /**< ticks, lower half */
    uint8_t nReserved1[12];     /**< 0 */
    uint32_t nFrameLen;         /**< bytes of the main image */
    uint8_t nReserved2[64];     /**< 0 */
    uint32_t nUnparsedChunkNum; /**< records behind pUnparsedChunkContent */
    OX_CHUNK_DATA_CONTENT* pUnparsedChunkContent; /**< valid as long as the frame */
    uint8_t nReserved3[144];                      /**< 0 */
} OX_FRAME_OUT_INFO_EX;

/** A frame lent by the provider, 336 bytes. */
typedef struct OX_FRAME_OUT {
    uint8_t* pBufAddr;                /**< the main image */
    OX_FRAME_OUT_INFO_EX stFrameInfo; /**< what came with it */
    uint8_t nReserved[64];            /**< 0 */
} OX_FRAME_OUT;

/** Value records. The 64-bit integer, the float, the enumeration and the string record have the layouts of
 * the public OX3D_RGBD_INTPARAM, _FLOATPARAM, _ENUMPARAM and _STRINGPARAM: providers fill those directly. */
typedef struct OX_CC_INT_VALUE {
    uint32_t nCurValue;    /**< the value */
    uint32_t nMax;         /**< of what may be set at present */
    uint32_t nMin;         /**< of what may be set at present */
    uint32_t nInc;         /**< values are nMin and whole numbers of nInc above */
    uint8_t nReserved[16]; /**< 0 */
} OX_CC_INT_VALUE;

/** A 64-bit integer, 32 bytes: the layout of OX3D_RGBD_INTPARAM. */
typedef struct OX_CC_INT_VALUE_EX {
    int64_t nCurValue; /**< the value */
    int64_t nMax;      /**< of what may be set at present */
    int64_t nMin;      /**< of what may be set at present */
    int64_t nInc;      /**< values are nMin and whole numbers of nInc above */
} OX_CC_INT_VALUE_EX;

/** A floating-point number, 28 bytes: the layout of OX3D_RGBD_FLOATPARAM. */
typedef struct OX_CC_FLOAT_VALUE {
    float fCurValue;       /**< the value */
    float fMax;            /**< of what may be set at present */
    float fMin;            /**< of what may be set at present */
    uint8_t nReserved[16]; /**< 0 */
} OX_CC_FLOAT_VALUE;

/** Entries of an enumeration that a value record holds. */
#define OX_CC_MAX_ENUM_ENTRIES 64

/** An enumeration by the numbers of its entries, 280 bytes: the layout of OX3D_RGBD_ENUMPARAM. */
typedef struct OX_CC_ENUM_VALUE {
    uint32_t nCurValue;                             /**< the value */
    uint32_t nSupportedNum;                         /**< valid entries of nSupportValue */
    uint32_t nSupportValue[OX_CC_MAX_ENUM_ENTRIES]; /**< of the entries that there are */
    uint8_t nReserved[16];                          /**< 0 */
} OX_CC_ENUM_VALUE;

/** A text, 272 bytes: the layout of OX3D_RGBD_STRINGPARAM. */
typedef struct OX_CC_STRING_VALUE {
    char chCurValue[256]; /**< ends at its first NUL */
    int64_t nMaxLength;   /**< characters */
    uint8_t nReserved[8]; /**< 0 */
} OX_CC_STRING_VALUE;

/** A file transfer, 144 bytes. */
typedef struct OX_CC_FILE_ACCESS {
    const char* pUserFileName; /**< the local file */
    const char* pDevFileName;  /**< the file in the device's store */
    uint8_t nReserved[128];    /**< 0 */
} OX_CC_FILE_ACCESS;

/** How far a file transfer has come, 80 bytes. */
typedef struct OX_CC_FILE_ACCESS_PROGRESS {
    int64_t nCompleted;    /**< bytes */
    int64_t nTotal;        /**< bytes */
    uint8_t nReserved[64]; /**< 0 */
} OX_CC_FILE_ACCESS_PROGRESS;

/** An event of the device, 256 bytes. */
typedef struct OX_EVENT_OUT_INFO {
    char chEventName[128];   /**< its name */
    uint16_t nEventID;       /**< its number */
    uint16_t nStreamChannel; /**< the stream that it belongs to */
    uint32_t nBlockIdHigh;   /**< of the frame that it belongs to, upper half */
    uint32_t nBlockIdLow;    /**< lower half */
    uint32_t nTimestampHigh; /**< ticks, upper half */
    uint32_t nTimestampLow;  /**< ticks, lower half */
    uint32_t nEventDataSize; /**< bytes */
    void* pEventData;        /**< nEventDataSize bytes */
    uint8_t nReserved[96];   /**< 0 */
} OX_EVENT_OUT_INFO;

/** Called for each frame; pData and pstInfo are the provider's, valid during the call. */
typedef void (*OX_CC_IMAGE_CALLBACK)(uint8_t* pData, OX_FRAME_OUT_INFO_EX* pstInfo, void* pUser);
/** Called when the device is gone: OX_CC_EXCEPTION_DEV_DISCONNECT. */
typedef void (*OX_CC_EXCEPTION_CALLBACK)(uint32_t nMsgType, void* pUser);
/** Called for each event of the device; pstInfo is the provider's, valid during the call. */
typedef void (*OX_CC_EVENT_CALLBACK)(OX_EVENT_OUT_INFO* pstInfo, void* pUser);

/** The prototypes are left out where a program defines variables of these names (the library's loader). */
#ifndef OX_CAMERA_CONTROL_NO_PROTOTYPES

/* ---- Devices ----------------------------------------------------------------------------------------- */

/** (R) Finds devices on the layers of the mask (OX_CC_GIGE_DEVICE | OX_CC_USB_DEVICE). Never called by two
 * threads at once for one process of the library. */
OX_CC_API int OX_CC_EnumDevices(uint32_t nTLayerType, OX_CC_DEVICE_INFO_LIST* pstDevList);
/** Whether a listed device could be opened in the access mode now. */
OX_CC_API bool OX_CC_IsDeviceAccessible(OX_CC_DEVICE_INFO* pstDevInfo, uint32_t nAccessMode);
/** (R) Version of the provider, for the log. */
OX_CC_API uint32_t OX_CC_GetSDKVersion(void);
/** (R) Makes a handle for a listed device, copying what it needs of the record. Touches no device. */
OX_CC_API int OX_CC_CreateHandle(void** handle, const OX_CC_DEVICE_INFO* pstDevInfo);
/** (R) Ends a handle, closing what is still open. */
OX_CC_API int OX_CC_DestroyHandle(void* handle);
/** (R) Opens the device. Exclusive access that another application holds gives OX_CC_E_ACCESS_DENIED. */
OX_CC_API int OX_CC_OpenDevice(void* handle, uint32_t nAccessMode, uint16_t nSwitchoverKey);
/** (R) Closes the device, stopping first if it grabs. */
OX_CC_API int OX_CC_CloseDevice(void* handle);
/** (R) The record of the handle's device. */
OX_CC_API int OX_CC_GetDeviceInfo(void* handle, OX_CC_DEVICE_INFO* pstDevInfo);
/** (O) Transport statistics; unused by the library. */
OX_CC_API int OX_CC_GetAllMatchInfo(void* handle, void* pstInfo);

/* ---- Streaming --------------------------------------------------------------------------------------- */

/** (R) Starts acquisition. Frame numbers start at 1. */
OX_CC_API int OX_CC_StartGrabbing(void* handle);
/** (R) Stops acquisition and returns after a frame callback in flight has ended, unless called from inside
 * it. */
OX_CC_API int OX_CC_StopGrabbing(void* handle);
/** (R) Registers (or with null unregisters) the image callback, called on a thread of the provider's. */
OX_CC_API int OX_CC_RegisterImageCallBackEx(void* handle, OX_CC_IMAGE_CALLBACK pfnCallBack, void* pUser);
/** (R) Waits up to nMsec ms for a frame and copies it; OX_CC_E_NO_DATA after that. */
OX_CC_API int OX_CC_GetOneFrameTimeout(void* handle, uint8_t* pData, uint32_t nDataSize,
                                       OX_FRAME_OUT_INFO_EX* pstFrameInfo, uint32_t nMsec);
/** (R) As above, lending the frame until OX_CC_FreeImageBuffer. */
OX_CC_API int OX_CC_GetImageBuffer(void* handle, OX_FRAME_OUT* pstFrame, uint32_t nMsec);
/** (R) Gives a lent frame back. */
OX_CC_API int OX_CC_FreeImageBuffer(void* handle, OX_FRAME_OUT* pstFrame);
/** (R) How many frames are buffered; when all are full the oldest goes. */
OX_CC_API int OX_CC_SetImageNodeNum(void* handle, uint32_t nNum);
/** (R) Drops the frames that wait. */
OX_CC_API int OX_CC_ClearImageBuffer(void* handle);
/** (R) Packet size that the path to the device carries, bytes; a negative or zero number is a failure. */
OX_CC_API int OX_CC_GetOptimalPacketSize(void* handle);
/** (O) Packet resend: switch, share of a frame in percent, time-out in ms. */
OX_CC_API int OX_GIGE_SetResend(void* handle, uint32_t bEnable, uint32_t nMaxResendPercent,
                                uint32_t nResendTimeout);

/* ---- Exceptions and events ---------------------------------------------------------------------------- */

/** (R) Registers (null: unregisters) the exception callback. */
OX_CC_API int OX_CC_RegisterExceptionCallBack(void* handle, OX_CC_EXCEPTION_CALLBACK pfnCallBack,
                                              void* pUser);
/** (R) Registers (null: unregisters) the callback of one named event. */
OX_CC_API int OX_CC_RegisterEventCallBackEx(void* handle, const char* pEventName,
                                            OX_CC_EVENT_CALLBACK pfnCallBack, void* pUser);
/** (E) The same for all events. */
OX_CC_API int OX_CC_RegisterAllEventCallBack(void* handle, OX_CC_EVENT_CALLBACK pfnCallBack, void* pUser);

/* ---- Features ----------------------------------------------------------------------------------------- */

/** \{ */
/** (R, the Ex forms E) Typed access by GenICam name. A feature of another type gives OX_CC_E_GC_ARGUMENT or
 * OX_CC_E_GC_DYNAMIC_CAST, a value out of range OX_CC_E_GC_RANGE, a feature that may not be read or written
 * now OX_CC_E_GC_ACCESS. */
OX_CC_API int OX_CC_SetIntValue(void* handle, const char* strKey, uint32_t nValue);
OX_CC_API int OX_CC_GetIntValue(void* handle, const char* strKey, OX_CC_INT_VALUE* pstValue);
OX_CC_API int OX_CC_SetIntValueEx(void* handle, const char* strKey, int64_t nValue);
OX_CC_API int OX_CC_GetIntValueEx(void* handle, const char* strKey, OX_CC_INT_VALUE_EX* pstValue);
OX_CC_API int OX_CC_SetEnumValue(void* handle, const char* strKey, uint32_t nValue);
OX_CC_API int OX_CC_GetEnumValue(void* handle, const char* strKey, OX_CC_ENUM_VALUE* pstValue);
OX_CC_API int OX_CC_SetEnumValueByString(void* handle, const char* strKey, const char* strValue);
OX_CC_API int OX_CC_SetFloatValue(void* handle, const char* strKey, float fValue);
OX_CC_API int OX_CC_GetFloatValue(void* handle, const char* strKey, OX_CC_FLOAT_VALUE* pstValue);
OX_CC_API int OX_CC_SetStringValue(void* handle, const char* strKey, const char* strValue);
OX_CC_API int OX_CC_GetStringValue(void* handle, const char* strKey, OX_CC_STRING_VALUE* pstValue);
OX_CC_API int OX_CC_SetBoolValue(void* handle, const char* strKey, bool bValue);
OX_CC_API int OX_CC_GetBoolValue(void* handle, const char* strKey, bool* pbValue);
OX_CC_API int OX_CC_SetCommandValue(void* handle, const char* strKey);
/** \} */
/** (O) Drops cached feature values. */
OX_CC_API int OX_CC_InvalidateNodes(void* handle);
/** \{ */
/** (O) Loads features from, saves them to a local text file. */
OX_CC_API int OX_CC_FeatureLoad(void* handle, const char* strFileName);
OX_CC_API int OX_CC_FeatureSave(void* handle, const char* strFileName);
/** \} */
/** (R) Copies the GenICam description (at most nDataSize bytes) and stores its length. */
OX_CC_API int OX_XML_GetGenICamXML(void* handle, uint8_t* pData, uint32_t nDataSize, uint32_t* pnDataLen);
/** \{ */
/** (E) Access mode and interface type of a node. */
OX_CC_API int OX_XML_GetNodeAccessMode(void* handle, const char* strName, uint32_t* penAccessMode);
OX_CC_API int OX_XML_GetNodeInterfaceType(void* handle, const char* strName, uint32_t* penInterfaceType);
/** \} */

/* ---- Maintenance -------------------------------------------------------------------------------------- */

/** \{ */
/** (R) Register memory, address and length in bytes. */
OX_CC_API int OX_CC_ReadMemory(void* handle, void* pBuffer, int64_t nAddress, int64_t nLength);
OX_CC_API int OX_CC_WriteMemory(void* handle, const void* pBuffer, int64_t nAddress, int64_t nLength);
/** \} */
/** \{ */
/** (R) IP address, forced now; the device need not be open. */
OX_CC_API int OX_GIGE_ForceIp(void* handle, uint32_t nIp);
OX_CC_API int OX_GIGE_ForceIpEx(void* handle, uint32_t nIp, uint32_t nSubNetMask, uint32_t nDefaultGateWay);
/** \} */
/** (R) How the device gets its address at the next start: OX_GIGE_IP_CFG_*. */
OX_CC_API int OX_GIGE_SetIpConfig(void* handle, uint32_t nType);
/** \{ */
/** (R) Time-out of the control channel in ms. */
OX_CC_API int OX_GIGE_SetGvcpTimeout(void* handle, uint32_t nMillisec);
OX_CC_API int OX_GIGE_GetGvcpTimeout(void* handle, uint32_t* pnMillisec);
/** \} */
/** \{ */
/** (E) Files of the device's store. */
OX_CC_API int OX_CC_FileAccessRead(void* handle, OX_CC_FILE_ACCESS* pstFileAccess);
OX_CC_API int OX_CC_FileAccessWrite(void* handle, OX_CC_FILE_ACCESS* pstFileAccess);
OX_CC_API int OX_CC_GetFileAccessProgress(void* handle, OX_CC_FILE_ACCESS_PROGRESS* pstProgress);
/** \} */
/** \{ */
/** (E) Starts a firmware upgrade from a local file and returns; the other tells how far it is, 0 to 100. */
OX_CC_API int OX_CC_LocalUpgrade(void* handle, const void* pFilePathName);
OX_CC_API int OX_CC_GetUpgradeProcess(void* handle, uint32_t* pnProcess);
/** \} */
/** \{ */
/** (R; the other two E) Resolved but not used by the library. */
OX_CC_API int OX_CC_SaveImageEx(void* pstSaveParam);
OX_CC_API int OX_CC_SaveImageEx2(void* handle, void* pstSaveParam);
OX_CC_API int OX_CC_DisplayOneFrame(void* handle, void* pstDisplayInfo);
/** \} */

#endif /* OX_CAMERA_CONTROL_NO_PROTOTYPES */

#ifdef __cplusplus
}
#endif

#endif /* OX_CAMERA_CONTROL_H */
