/**
 * \file Ox3dRgbdApi.h
 * \brief The functions of the RGB-D camera library.
 *
 * Every function returns a status (OX3D_RGBD_OK or OX3D_RGBD_E_*, Ox3dRgbdDefine.h) and may be called from
 * any thread. A handle is valid from the open that returned OX3D_RGBD_OK until OX3D_RGBD_CloseDevice.
 * OX3D_RGBD_StatusText (Ox3dRgbdExtension.h) has words for every status.
 *
 * Units. Depth and points are millimetres, time-outs milliseconds, time stamps of images ticks of the device's clock
 * (Ox3dRgbdDefine.h has more); a feature is in the unit that the camera's description gives it (OX3D_RGBD_GetFeatures).
 * The library's clock is the host's: OX3D_RGBD_GetFrameTimes tells when a frame came and was taken.
 *
 * Ownership. Records and texts that are passed in are the caller's, and read or written during the call only; callbacks
 * and their user pointers are kept until another one is registered. What the library hands out (images of frames, arrays of
 * points) stays its own, for as long as each function says. Texts are NUL-terminated bytes; names of files are as the host
 * has them, relative ones count from the working directory.
 *
 * Statuses that are not repeated below:
 * \verbatim
 *   OX3D_RGBD_E_HANDLE     from every function that takes a handle: the handle is null, unknown, closed,
 *                          being closed or, but for CloseDevice, inherited by a forked child; from every
 *                          function: an unexpected failure inside
 *   OX3D_RGBD_E_MEMORY     from every function: an allocation failed
 *   OX3D_RGBD_E_STATE      from every function that works on an opened camera and finds none
 *   any translated code    from every function that asks the camera
 * \endverbatim
 *
 * Threads. Calls on one device are serialised by the device's lock, except SoftTrigger, Execute, GetParam,
 * GetCalibInfo, OX3D_RGBD_MapDepthToPointCloud and those that Ox3dRgbdExtension.h names: these run beside any
 * other call, for example while another thread waits in FetchFrame. Callbacks may call any function, with two
 * special cases: while another thread is inside Stop (or CloseDevice) of the same device, a call that needs the device's lock returns
 * OX3D_RGBD_E_STATE (or OX3D_RGBD_E_HANDLE) at once, since waiting would never end; and CloseDevice from
 * inside a callback of the same device returns at once, the camera itself is shut down when the callback has
 * returned.
 *
 * Environment. OX3D_PROVIDER says which camera-control library is loaded: "aravis" (real cameras) or "virtual", of those
 * that are installed with this library; a folder; or a file. Unset, the dynamic linker searches for
 * libOxCameraControl.so and ends at that for real cameras. It is read by the first call that asks for cameras, and by
 * later ones while none could be loaded.
 * OX3D_RGBD_DATA_DIR is the folder of the log, of Ox3dRgbdCfg.ini and of calibration files, made where it is missing.
 * Unset, that is the working directory.
 */
#ifndef OX3D_RGBD_API_H
#define OX3D_RGBD_API_H

#include "Ox3dRgbdDefine.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Library ----------------------------------------------------------------------------------------- */

/** \{ */
/** Present for symmetry: both do nothing and return OX3D_RGBD_OK. */
OX3D_RGBD_API uint32_t OX3D_RGBD_Initialize(void);
OX3D_RGBD_API uint32_t OX3D_RGBD_Release(void);
/** \} */

/**
 * The version of the library that is loaded; OX3D_RGBD_VERSION_* is that of the headers.
 * \param pstVersion  out, owned by the caller
 * \return OX3D_RGBD_E_PARAMETER for null.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetSDKVersion(OX3D_RGBD_VERSION_INFO* pstVersion);

/* ---- Finding devices --------------------------------------------------------------------------------- */

/**
 * Counts the devices present.
 * \param nDeviceType    OX3D_RGBD_DEVICE_*
 * \param pDeviceNumber  out: the number found; the network is asked, which takes as long as the camera-control
 *                       library waits for answers
 * \return OX3D_RGBD_E_PARAMETER for null or another type, OX3D_RGBD_E_LOAD_LIBRARY without a camera-control
 * library, or the enumeration's own code.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetDeviceNumber(uint32_t nDeviceType, uint32_t* pDeviceNumber);

/**
 * Lists the devices present, in the camera-control library's order.
 * \param nDeviceType    OX3D_RGBD_DEVICE_*
 * \param pstDeviceList  out: array of nCapacity records; zero it first, fields that do not apply are left alone
 * \param nCapacity      records that the array holds, at least 1
 * \param pDeviceNumber  out: records written; devices beyond the capacity are left out silently
 * \return as OX3D_RGBD_GetDeviceNumber.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetDeviceList(uint32_t nDeviceType, OX3D_RGBD_DEVICE_INFO* pstDeviceList,
                                               uint32_t nCapacity, uint32_t* pDeviceNumber);

/**
 * Whether a listed device, found again by its serial number, can be opened now. Takes no handle.
 * \param pstDeviceInfo  in: a record of OX3D_RGBD_GetDeviceList
 * \param nAccessMode    access mode of the camera-control library: 1 exclusive, 3 control, 7 monitor
 * \return 1 (accessible) or 0 (not), which makes 0 the bad news here; OX3D_RGBD_E_HANDLE for a null record,
 * OX3D_RGBD_E_PARAMETER when no such device is present, or the enumeration's own code.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_CamIsAccessible(OX3D_RGBD_DEVICE_INFO* pstDeviceInfo, uint32_t nAccessMode);

/* ---- Opening and closing ------------------------------------------------------------------------------ */

/**
 * Opens a device exclusively and switches it to RGB-D output: by a listed record (found again by its serial
 * number; null takes the first device found), by IP address in dotted decimal, by model name or by serial
 * number; texts are compared exactly. The camera's calibration file is copied to
 * "RGBDSensorCali_<serial number>.xml" in the working directory or that of OX3D_RGBD_DATA_DIR; where it cannot be
 * written, the open fails and the log has the reason.
 * \param handle         out: the device's handle. When a device was found but connecting to it failed, it holds a dead
 *                       value: use it only after OX3D_RGBD_OK.
 * \param pstDeviceInfo  in: a listed record, or null for the first device found
 * \return OX3D_RGBD_E_HANDLE for a null handle pointer; OX3D_RGBD_E_PARAMETER for a null text or when no
 * device matches; OX3D_RGBD_E_LOAD_LIBRARY without a camera-control library; OX3D_RGBD_E_NO_DATA when the
 * device cannot be asked for its record; or the camera's own translated code, for example
 * OX3D_RGBD_E_CAMERA_0E when another application holds the device.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_OpenDevice(void** handle, OX3D_RGBD_DEVICE_INFO* pstDeviceInfo);

/**
 * Opens a device by its address, as OX3D_RGBD_OpenDevice does.
 * \param handle  out: as there
 * \param chIp    its IP address, dotted decimal
 * \return as there
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_OpenDeviceByIp(void** handle, const char* chIp);

/**
 * Opens the first device of a model, as OX3D_RGBD_OpenDevice does.
 * \param handle        out: as there
 * \param chDeviceName  the model's name
 * \return as there
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_OpenDeviceByName(void** handle, const char* chDeviceName);

/**
 * Opens a device by its serial number, as OX3D_RGBD_OpenDevice does.
 * \param handle          out: as there
 * \param chSerialNumber  its serial number
 * \return as there
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_OpenDeviceBySerialNumber(void** handle, const char* chSerialNumber);

/**
 * Stops, closes and frees the device and every buffer that frames of it pointed to.
 * \param handle  in/out: set to null on success
 *
 * Waits for calls on the device that are still inside, except when called from inside one of the device's
 * callbacks: then it returns at once and the device is shut down after the callback has returned. Until then
 * opening the device again fails, with OX3D_RGBD_E_CAMERA_0E where the camera admits one holder.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_CloseDevice(void** handle);

/**
 * The opened device's record.
 * \param handle         an open device
 * \param pstDeviceInfo  out; zero it first
 * \return OX3D_RGBD_E_PARAMETER for null. For USB devices the vendor and product id are overwritten by the
 * (zero) MAC address bytes here; take them from OX3D_RGBD_GetDeviceList.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetDeviceInfo(void* handle, OX3D_RGBD_DEVICE_INFO* pstDeviceInfo);

/* ---- Streaming --------------------------------------------------------------------------------------- */

/**
 * Starts acquisition. Frame numbers begin at 1. Frames that come before the first fetch wait in the camera-control
 * library, as many as it buffers.
 * \return OX3D_RGBD_E_STATE when it already runs
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_Start(void* handle);

/**
 * Stops acquisition. A frame that was fetched stays valid; one that a callback got does not.
 * \return OX3D_RGBD_E_STATE when it does not run; a fault of the camera is only logged
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_Stop(void* handle);

/**
 * Waits for the next frame and assembles it.
 * \param handle      an open device
 * \param pstFrame    out: zeroed and filled. Its images belong to the library and stay valid until the next
 *                    fetch or until CloseDevice.
 * \param nTimeoutMs  how long to wait, milliseconds, handed to the camera-control library as it is; 0xFFFFFFFF waits for
 *                    ever, and Stop and CloseDevice then wait as well
 * \return OX3D_RGBD_E_PARAMETER for null; OX3D_RGBD_E_STATE when not started or while a frame callback is
 * registered; OX3D_RGBD_E_NO_DATA when no frame came in time (or RGB-D output is on and the frame has no
 * color); OX3D_RGBD_E_MEMORY when a size does not fit; OX3D_RGBD_E_ALGORITHM when depth cannot be
 * registered, for example below 640 x 480.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_FetchFrame(void* handle, OX3D_RGBD_FRAME_DATA* pstFrame,
                                            uint32_t nTimeoutMs);

/**
 * Registers the frame callback; null unregisters it and makes OX3D_RGBD_FetchFrame work again.
 * \param handle       an open device
 * \param pfnCallBack  called for each frame; null for none
 * \param pUser        handed to the callback
 *
 * The callback runs on the camera library's delivery thread, one frame at a time; while it runs the next
 * frame waits. Returns after a callback in flight has ended, so that what pUser points to may then be freed;
 * called from inside the callback it returns at once.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_RegisterFrameCallBack(void* handle, OX3D_RGBD_FrameDataCallBack pfnCallBack,
                                                       void* pUser);

/**
 * Registers the callback for the loss of the device; null unregisters. Rules as above.
 * \param handle       an open device
 * \param pfnCallBack  called when the device is lost; null for none
 * \param pUser        handed to the callback
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_RegisterExceptionCallBack(void* handle,
                                                           OX3D_RGBD_ExceptionCallBack pfnCallBack,
                                                           void* pUser);

/**
 * Triggers one frame. The first call after opening or stopping switches the camera to software trigger ("TriggerMode",
 * "TriggerSource"), and it stays so. Runs beside a fetch that waits for the frame.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_SoftTrigger(void* handle);

/**
 * Number of frames that the camera-control library buffers. When all are full the oldest goes, and the frame
 * numbers show the gap.
 * \param handle  an open device
 * \param nCount  frames
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_SetImageNodeNum(void* handle, uint32_t nCount);

/* ---- Features ---------------------------------------------------------------------------------------- */

/**
 * Executes a command feature, such as "DeviceReset", and returns when the camera has taken it.
 * \param handle  an open device
 * \param strKey  its GenICam name
 * \return OX3D_RGBD_E_PARAMETER for null
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_Execute(void* handle, const char* strKey);

/**
 * Reads a feature by its GenICam name, or one of the library's own keys (OX3D_RGBD_KEY_*).
 * \param handle    an open device
 * \param strKey    the name, compared exactly
 * \param pstValue  out: type and value with its range, in the feature's own unit; the type is the feature's, whatever the
 *                  caller put in
 * \return OX3D_RGBD_E_PARAMETER for null, an unknown feature, or a feature without a value (commands,
 * categories, registers).
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetParam(void* handle, const char* strKey, OX3D_RGBD_PARAM* pstValue);

/**
 * Writes a feature by its GenICam name, or one of the library's own keys.
 * \param handle    an open device
 * \param strKey    the name, compared exactly
 * \param pstValue  in: enParamType decides which member is read, and of that nothing but the value (nCurValue, fCurValue,
 *                  chCurValue) counts
 * \return OX3D_RGBD_E_PARAMETER for null, an unknown type or feature, or a library key that is not given an
 * integer in its range: 0 or 1 for those of Ox3dRgbdDefine.h, Ox3dRgbdExtension.h names the others.
 *
 * OX3D_RGBD_KEY_IMAGE_ALIGN, _RESOLUTION_ALIGN and _OUTPUT_RGBD are kept for a USB device, too, but act on Ethernet
 * devices only.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_SetParam(void* handle, const char* strKey, OX3D_RGBD_PARAM* pstValue);

/**
 * Access mode of a feature at present: what is locked while frames stream is read-only then.
 * \param handle       an open device
 * \param strName      its GenICam name
 * \param pAccessMode  out: OX3D_RGBD_ACCESS_*
 * \return OX3D_RGBD_E_PARAMETER for null
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_XML_GetNodeAccessMode(void* handle, const char* strName,
                                                       Ox3dRgbdAccessMode* pAccessMode);

/** Drops the feature values that the camera-control library has cached: the next reading asks the camera. */
OX3D_RGBD_API uint32_t OX3D_RGBD_InvalidateNodes(void* handle);

/** \{ */
/**
 * Writes all features to, reads them from a local file.
 * \param handle       an open device
 * \param strFileName  the file, in the format of the camera-control library
 * \return OX3D_RGBD_E_PARAMETER for null
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_ExportAllParam(void* handle, const char* strFileName);
OX3D_RGBD_API uint32_t OX3D_RGBD_ImportAllParam(void* handle, const char* strFileName);
/** \} */

/**
 * The camera's GenICam description.
 * \param handle           an open device
 * \param pData,nDataSize  out: the buffer and its bytes
 * \param pnDataLen        out: bytes of the description
 * \return OX3D_RGBD_E_PARAMETER for null or size 0.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetCameraXML(void* handle, uint8_t* pData, uint32_t nDataSize,
                                              uint32_t* pnDataLen);

/* ---- Calibration ------------------------------------------------------------------------------------- */

/**
 * Intrinsics and distortion of one sensor at the camera's present depth resolution. Refreshes the local
 * calibration file from the camera first.
 * \param handle      an open device
 * \param nCalibType  OX3D_RGBD_CALIB_DEPTH or OX3D_RGBD_CALIB_COLOR
 * \param pstCalib    out, written only on success: pixels of the camera's own image, not of one that the library has
 *                    registered or scaled (OX3D_RGBD_GetIntrinsics has those)
 * \return OX3D_RGBD_E_PARAMETER for null or another type, OX3D_RGBD_E_NO_DATA when the calibration file or
 * a part of it is missing.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetCalibInfo(void* handle, uint32_t nCalibType,
                                              OX3D_RGBD_CALIB_INFO* pstCalib);

/* ---- Maintenance ------------------------------------------------------------------------------------- */

/**
 * Configures the IP address of a device that no application has opened. Takes no handle.
 * \param chSerialNumber  the device's serial number
 * \param pstIpConfig     a static configuration needs address, mask and gateway, the gateway in the subnet
 * \return OX3D_RGBD_E_PARAMETER for null, an unknown device, mode or an invalid address, and when a static
 * address could not be forced.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_SetIpConfig(const char* chSerialNumber, OX3D_RGBD_IP_CONFIG* pstIpConfig);

/** \{ */
/**
 * Copies a file from the camera to a local file, or the other way.
 * \param handle         an open device
 * \param pstFileAccess  in: both names
 * \return OX3D_RGBD_E_PARAMETER for null
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_FileAccessRead(void* handle, OX3D_RGBD_FILE_ACCESS* pstFileAccess);
OX3D_RGBD_API uint32_t OX3D_RGBD_FileAccessWrite(void* handle, OX3D_RGBD_FILE_ACCESS* pstFileAccess);
/** \} */

/**
 * Begins to upgrade the camera's firmware from a local file, of a device that does not stream;
 * OX3D_RGBD_GetUpgradeProcess tells how far it is. The camera needs its power until then, and may restart afterwards.
 * \param handle       an open device
 * \param strFileName  the firmware
 * \return OX3D_RGBD_E_PARAMETER for null
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_LocalUpgrade(void* handle, const char* strFileName);

/**
 * How far an upgrade of the firmware is.
 * \param handle     an open device
 * \param pnPercent  out: 0 to 100 percent
 * \return OX3D_RGBD_E_PARAMETER for null
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetUpgradeProcess(void* handle, uint32_t* pnPercent);

/** \{ */
/**
 * Reads or writes register memory of the camera.
 * \param handle    an open device
 * \param pBuffer   nLength bytes, as they lie in the camera: GigE Vision has big-endian registers, USB3 Vision little-endian ones
 * \param nAddress  of the camera's register space, bytes, at least 0
 * \param nLength   bytes, above 0
 * \return OX3D_RGBD_E_PARAMETER for null or numbers out of these bounds.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_ReadAddressMem(void* handle, void* pBuffer, int64_t nAddress,
                                                int64_t nLength);
OX3D_RGBD_API uint32_t OX3D_RGBD_WriteAddressMem(void* handle, const void* pBuffer, int64_t nAddress,
                                                 int64_t nLength);
/** \} */

/**
 * Sets the time-out of the control channel: how long an answer of the camera is waited for before the request is sent again or given
 * up.
 * \param handle         an open device
 * \param nMilliseconds  0 to 10000, milliseconds
 * \return OX3D_RGBD_E_PARAMETER above
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_SetGvcpTimeout(void* handle, uint32_t nMilliseconds);

/**
 * The time-out of the control channel.
 * \param handle          an open device
 * \param pnMilliseconds  out: milliseconds
 * \return OX3D_RGBD_E_PARAMETER for null
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetGvcpTimeout(void* handle, uint32_t* pnMilliseconds);

#ifdef __cplusplus
}
#endif

#endif /* OX3D_RGBD_API_H */
