/**
 * \file Ox3dRgbdExtension.h
 * \brief What the library does beyond its first interface, for an application that asks for it.
 *
 * A device that comes back. With OX3D_RGBD_KEY_AUTO_RECONNECT set to 1, the loss of a device does not end its handle.
 * The library closes the device, looks for the same serial number, at whatever address, half a second after each attempt,
 * opens it, sets the work mode and then everything that the application had set, in the same order, and goes on streaming if the
 * device was streaming.
 *
 * \verbatim
 *   the exception callback  is told OX3D_RGBD_EXCEPTION_RETRYING at the loss, in place of OX3D_RGBD_EXCEPTION_OFFLINE,
 *                           and OX3D_RGBD_EXCEPTION_RECONNECTED when the device is back. Both come from a thread of the
 *                           library that takes no step before the callback has returned: it should leave soon, call no
 *                           function that needs the device's lock, and not end its thread.
 *   OX3D_RGBD_FetchFrame    waits meanwhile and returns OX3D_RGBD_E_NO_DATA in time, or a frame of the device that is
 *                           back. Without a time-out (0xFFFFFFFF) it waits for a lost device a second at a time. Frame
 *                           numbers begin again at 1.
 *   other calls that ask    return OX3D_RGBD_E_CAMERA_07 meanwhile and are not made up for. OX3D_RGBD_Stop and
 *   the device              OX3D_RGBD_CloseDevice succeed; the close waits for the step of an attempt that is under
 *                           way, as long as the provider waits for the device. Callbacks can be registered and taken
 *                           away as ever.
 * \endverbatim
 *
 * Set again: features set by OX3D_RGBD_SetParam, each with the selectors that the application had set before it;
 * files of OX3D_RGBD_ImportAllParam, as they were then; OX3D_RGBD_SetImageNodeNum; OX3D_RGBD_SetGvcpTimeout; the
 * trigger mode that OX3D_RGBD_SoftTrigger sets. What the device refuses is tried once more after all others, and then
 * logged as a warning. Not made again: commands, memory and files written into the device.
 */
#ifndef OX3D_RGBD_EXTENSION_H
#define OX3D_RGBD_EXTENSION_H

#include "Ox3dRgbdApi.h"

/** A key of the library itself: OX3D_RGBD_SetParam and OX3D_RGBD_GetParam with OX3D_RGBD_PARAM_INT, 0 (default) or 1, held
 * per device. Setting it to 1 registers for the device's loss and starts a thread: OX3D_RGBD_E_MEMORY when there is
 * none to be had, OX3D_RGBD_E_NO_DATA for a device without a serial number. Setting it to 0 while a device is looked
 * for ends that: the exception callback is told OX3D_RGBD_EXCEPTION_OFFLINE, and the handle can only be closed. */
#define OX3D_RGBD_KEY_AUTO_RECONNECT "Ox3dAutoReconnect"

/** A key of the library itself: OX3D_RGBD_SetParam and OX3D_RGBD_GetParam with OX3D_RGBD_PARAM_INT, 1 (default) to 16, held
 * per device: how many threads may work on an image of 640x480 pixels or more when a frame is assembled ("ImageAlign",
 * "ResolutionAlign", "OutputRgbd") or mapped to points. The thread that calls or delivers is one of them. Results are
 * the same to the bit at every number. The others are threads of the library, of which all devices share one set: they are
 * started by the first such image, as many as the largest number set on a device needs, and have ended when every device
 * that was set above 1 is closed or set to 1 again. While they work for one device, another one's image is worked on by
 * its own thread alone; so is every image when no thread can be started. They take no signals but those of their own
 * faults. A child of fork() has none of its parent's, and can have its own. */
#define OX3D_RGBD_KEY_THREADS "Ox3dThreads"

/** \{ */
/**
 * How "ImageAlign" lays depth and color onto each other. Four keys of the library itself, as the one above: they act on the
 * next frame, where "ImageAlign" acts: while that is 1, on Ethernet devices. With the defaults a frame is what it is
 * without them.
 *
 * \verbatim
 *   OX3D_RGBD_KEY_ALIGN_MODE           0 (default) puts each depth into one pixel of the color camera's view, which
 *                                      leaves a raster of holes where that camera's pixels are smaller, shifts depth by
 *                                      half a pixel and takes no note of the color lens's distortion. 1, filled: each
 *                                      depth pixel covers all pixels between its four corners, the nearest surface
 *                                      wins, pixel centres are at whole numbers and the distortion is applied.
 *   OX3D_RGBD_KEY_ALIGN_STEP_PERMILLE  0 to 1000 (default 30): two neighbours whose depths differ by more thousandths of
 *                                      the smaller one are of two surfaces, and nothing is drawn between them.
 *   OX3D_RGBD_KEY_ALIGN_TARGET         0 (default): depth as the color camera sees it. 1: color as the depth camera sees
 *                                      it. Depth then stays as the camera sent it, and the color image gets its size, with
 *                                      the color of each depth pixel's point; 0, 0, 0 where there is no depth or the
 *                                      color camera does not see the point. The mode makes no difference, and
 *                                      "ResolutionAlign" has nothing left to do. A color image that is not
 *                                      OX3D_RGBD_PIXEL_RGB8_PLANAR stays as the camera sent it, which the log says
 *                                      once, and counts as no color where pixels are asked for.
 *   OX3D_RGBD_KEY_OCCLUSION_MASK       1: a further image of OX3D_RGBD_PIXEL_MONO8 and the depth's size, after the images
 *                                      that the camera sent and before the interleaved one, which stays the last
 *                                      (default 0). With target 1: OX3D_RGBD_MASK_SEEN where the color camera sees the
 *                                      point, _HIDDEN where something is in its way that is nearer by more than the
 *                                      step, and by more than 10 thousandths, _OUTSIDE where it is not in
 *                                      its image, _NONE without depth. With target 0: _SEEN where there is a depth,
 *                                      _HIDDEN where a row has none between two depths that are a step apart, else
 *                                      _NONE.
 * \endverbatim
 */
#define OX3D_RGBD_KEY_ALIGN_MODE "Ox3dAlignMode"
#define OX3D_RGBD_KEY_ALIGN_STEP_PERMILLE "Ox3dAlignStepPermille"
#define OX3D_RGBD_KEY_ALIGN_TARGET "Ox3dAlignTarget"
#define OX3D_RGBD_KEY_OCCLUSION_MASK "Ox3dOcclusionMask"
/** \} */

/** Mono8: one byte a pixel. */
#define OX3D_RGBD_PIXEL_MONO8 0x01080001u

/** \{ */
/** Values of a pixel of the occlusion mask: OX3D_RGBD_KEY_OCCLUSION_MASK. */
#define OX3D_RGBD_MASK_SEEN 255u
#define OX3D_RGBD_MASK_HIDDEN 128u
#define OX3D_RGBD_MASK_OUTSIDE 64u
#define OX3D_RGBD_MASK_NONE 0u
/** \} */

/** \{ */
/** nExceptionId with OX3D_RGBD_KEY_AUTO_RECONNECT. The descriptions are ASCII. */
#define OX3D_RGBD_EXCEPTION_RETRYING 2u
#define OX3D_RGBD_EXCEPTION_RECONNECTED 3u
/** \} */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * \file Ox3dRgbdExtension.h
 * \par Rules of the functions
 * Functions beyond those of Ox3dRgbdApi.h. What is said at its top holds here as well: the statuses that are not repeated,
 * and the rules of threads. GetExtrinsics, GetIntrinsics, GetFeatures, GetFeatureEntries, CopyFrame, GetFrameClock,
 * GetFrameTimes and MapFrameToPointCloud run beside any other call on the device, as OX3D_RGBD_MapDepthToPointCloud does; SetEnumByName and the
 * two of the system calibration take the device's lock; the others need no handle. Arguments are looked at before the handle.
 * Nothing is written but on success.
 */

/* ---- Words for statuses -------------------------------------------------------------------------------- */

/**
 * Name and meaning of a status, in English: "OX3D_RGBD_E_NO_DATA: no data". Knows every status of this library
 * (OX3D_RGBD_*), of camera-control libraries (OX_CC_*) and of the stereo algorithm library (OXB3D_BINOSTEREO_*).
 * Never null, a status of nobody's included. The text lies in the library and is valid while that is loaded. Any thread,
 * signal handlers included.
 */
OX3D_RGBD_API const char* OX3D_RGBD_StatusText(uint32_t nStatus);

/* ---- The features that a camera has ----------------------------------------------------------------------- */

/** \{ */
/** nType of a feature: OX3D_RGBD_PARAM_*, or one of these, which have no value to get or set. */
#define OX3D_RGBD_FEATURE_COMMAND 6u  /**< for OX3D_RGBD_Execute */
#define OX3D_RGBD_FEATURE_REGISTER 7u /**< bytes, of which no more is told */
/** \} */

/** \{ */
/** nVisibility: for whom the camera's maker meant it. */
#define OX3D_RGBD_VISIBILITY_BEGINNER 0u
#define OX3D_RGBD_VISIBILITY_EXPERT 1u
#define OX3D_RGBD_VISIBILITY_GURU 2u
#define OX3D_RGBD_VISIBILITY_INVISIBLE 3u
/** \} */

/** What OX3D_RGBD_GetFeatures tells of one feature, 2432 bytes. Texts are UTF-8 as the camera wrote them, always
 * terminated, cut between two characters where they are too long; characters below U+0020 have become blanks. */
typedef struct OX3D_RGBD_FEATURE {
    char chName[128];        /**< for OX3D_RGBD_GetParam and the others */
    char chDisplayName[128]; /**< for people; the name where the camera has no other */
    char chCategory
        [256]; /**< the names of the categories above it, with '/' between; "Ox3d": a key of the library */
    char chUnit[32];          /**< such as "us" or "px"; empty without one */
    char chToolTip[512];      /**< a line */
    char chDescription[1024]; /**< more than a line; often empty */
    uint32_t nType;           /**< OX3D_RGBD_PARAM_* or OX3D_RGBD_FEATURE_* */
    uint32_t nAccess;         /**< OX3D_RGBD_ACCESS_*, at the time of the call */
    uint32_t nVisibility;     /**< OX3D_RGBD_VISIBILITY_* */
    uint32_t nEntryCount;     /**< of an enumeration: what OX3D_RGBD_GetFeatureEntries has */
    uint32_t nHasValue;       /**< 1: stValue was read; 0: not to be read now, or without a value */
    uint32_t nReserved0;      /**< 0 */
    OX3D_RGBD_PARAM
    stValue; /**< as OX3D_RGBD_GetParam gave it, with the present range; else zeros but for its type */
    uint8_t nReserved[40]; /**< 0 */
} OX3D_RGBD_FEATURE;

/** One entry of an enumeration, 272 bytes. Texts as above. */
typedef struct OX3D_RGBD_FEATURE_ENTRY {
    char chName[128];        /**< "Software" */
    char chDisplayName[128]; /**< for people; the name where the camera has no other */
    int64_t nValue;          /**< nCurValue of OX3D_RGBD_ENUMPARAM */
    uint32_t nIsAvailable;   /**< 1: the camera takes it at present */
    uint32_t nReserved;      /**< 0 */
} OX3D_RGBD_FEATURE_ENTRY;

/**
 * Lists the features of an opened device: those that the camera's GenICam description shows to a user, in its order, then the
 * library's own keys. A feature that stands in two categories is listed in the first.
 * \param handle       an open device
 * \param strName      null for all; else the one of that name alone
 * \param pstFeatures  out: array of nCapacity records, or null with a capacity of 0: then nothing but the count is found out
 * \param nCapacity    records that the array holds
 * \param pnCount      out: how many there are, of which the first nCapacity are written
 *
 * Reads access and value of each feature that is written off the camera at every call. The description is read with the first
 * call, and again after OX3D_RGBD_InvalidateNodes, an upgrade, or when a lost device is back.
 * \return OX3D_RGBD_E_PARAMETER for null (but strName) or a name that is none of them, OX3D_RGBD_E_NO_DATA for a
 * description that cannot be read: it is no XML, without features, or longer than 8 MiB.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetFeatures(void* handle, const char* strName,
                                             OX3D_RGBD_FEATURE* pstFeatures, uint32_t nCapacity,
                                             uint32_t* pnCount);

/**
 * Lists the entries of an enumeration.
 * \param handle      an open device
 * \param strName     the feature
 * \param pstEntries  out: array of nCapacity records, or null with a capacity of 0
 * \param nCapacity   records that the array holds
 * \param pnCount     out: how many there are, of which the first nCapacity are written
 *
 * Where the camera says itself that OX3D_RGBD_MAX_ENUM_ENTRIES are possible, there may be more: all count as available then.
 * \return as OX3D_RGBD_GetFeatures, OX3D_RGBD_E_PARAMETER also for a feature that is no enumeration.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetFeatureEntries(void* handle, const char* strName,
                                                   OX3D_RGBD_FEATURE_ENTRY* pstEntries, uint32_t nCapacity,
                                                   uint32_t* pnCount);

/**
 * Sets an enumeration by the name of an entry ("TriggerSource" to "Software"). OX3D_RGBD_SetParam takes the number.
 * \return OX3D_RGBD_E_PARAMETER for null or a feature or an entry that the camera does not have, OX3D_RGBD_E_CAMERA where the
 * camera-control library cannot do it, else the camera's own translated code.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_SetEnumByName(void* handle, const char* strName, const char* strEntry);

/* ---- Frames that stay ------------------------------------------------------------------------------------ */

/**
 * Copies a frame with its images, to be used when the device has its next frame or is closed.
 * \param handle  the device that delivered the frame, or any open device when pFrame is itself a copy
 * \param pFrame  in: a frame as OX3D_RGBD_FetchFrame or the frame callback delivered it, while its images are valid; or a copy
 * \param ppCopy  out: the copy, one block of memory with its images, each beginning on a 64-byte boundary. It belongs to the
 *                caller, who ends it by OX3D_RGBD_FreeFrame and by nothing else. Its images may be written to.
 *
 * The copy says what the frame said, and carries how it was made: OX3D_RGBD_MapFrameToPointCloud takes it with any open
 * device, that of the frame or another. Where the calibration could not be read for frames of that width, the copy is
 * made all the same, and the file is not looked at again for a copy before something else has read it.
 * \return OX3D_RGBD_E_PARAMETER for null, or for a frame that the device does not know (see OX3D_RGBD_MapFrameToPointCloud).
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_CopyFrame(void* handle, const OX3D_RGBD_FRAME_DATA* pFrame,
                                           OX3D_RGBD_FRAME_DATA** ppCopy);

/**
 * OX3D_RGBD_CopyFrame without copying, where that can be: the memory in which the device has images of its last fetched frame goes
 * over to the caller, and the device takes other memory for its next one.
 * \param handle   the device that delivered the frame
 * \param pFrame   in: the last frame of OX3D_RGBD_FetchFrame; any other that OX3D_RGBD_CopyFrame takes is copied. out: all zeros where
 *                 memory went over; no pointer to the frame's images, from wherever it was copied, is valid any more then
 * \param ppTaken  out: what OX3D_RGBD_CopyFrame gives, and ended as that is
 *
 * What the camera sent goes over, the scaled color and the interleaved image; what was aligned is copied, and a pair of views.
 * Threads that fetch from one device must not take from each other: one of them holds a lock from the fetch until it has taken.
 * \return as OX3D_RGBD_CopyFrame
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_TakeFrame(void* handle, OX3D_RGBD_FRAME_DATA* pFrame,
                                           OX3D_RGBD_FRAME_DATA** ppTaken);

/**
 * Ends a copy: its record and images are gone. No other thread may be using it.
 * \param pCopy  what OX3D_RGBD_CopyFrame or OX3D_RGBD_TakeFrame gave
 * \return OX3D_RGBD_E_PARAMETER for null and for whatever is no copy, one that was freed before included: the library finds
 * out by the address, without reading there. No other function does: a pointer that was freed is given to none of them.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_FreeFrame(OX3D_RGBD_FRAME_DATA* pCopy);

/* ---- When a frame was taken ------------------------------------------------------------------------------ */

/** \{ */
/** nSource: what the time of capture is known by. */
#define OX3D_RGBD_CLOCK_NONE 0u     /**< not known */
#define OX3D_RGBD_CLOCK_ARRIVALS 1u /**< the times at which frames arrived */
#define OX3D_RGBD_CLOCK_LATCH 2u    /**< the device's clock was asked */
/** \} */

/**
 * The clock of a device as the host sees it, 96 bytes: time stamp T was taken, in ns of UTC, at
 *   nReferenceUtcNs + (T - nReferenceTicks) * dNsPerTick
 * with an error of at most
 *   nErrorNs + |T - nReferenceTicks| * dNsPerTick * dRateErrorPpm / 1000000
 * where the difference has a sign. A part of nErrorNs is nDelayNs: how much a way that takes equally long for all frames
 * may add. By it the true moments may be earlier, never later; it is 0 where the device's clock was asked.
 */
typedef struct OX3D_RGBD_FRAME_CLOCK {
    uint64_t nReferenceTicks;  /**< a time stamp of the last seconds, or an answer of the device's clock */
    uint64_t nReferenceUtcNs;  /**< when it was taken, ns of UTC, as that clock stands at the call */
    uint64_t nReferenceHostNs; /**< the same moment, ns of CLOCK_MONOTONIC */
    double dNsPerTick;         /**< ns of the host for each tick of the device */
    double dNominalNsPerTick;  /**< what a tick is meant to be: 1, or what the device says; 0: not known */
    double dDriftPpm;          /**< millionths by which the device is faster than that; 0: not known */
    double dRateErrorPpm;      /**< how far dNsPerTick may be off, millionths */
    uint64_t nErrorNs;         /**< how far the reference may be off, ns */
    uint64_t nDelayNs;         /**< of nErrorNs, what all frames may have in common, ns */
    uint32_t nSamples;         /**< frames that were used */
    uint32_t nSource;          /**< OX3D_RGBD_CLOCK_ARRIVALS or _LATCH */
    uint8_t nReserved[16];     /**< 0 */
} OX3D_RGBD_FRAME_CLOCK;

/**
 * The clock of the device, by the frames of the last 10 seconds (at most 512), and by its answer where it has one: the device is
 * asked for its time by the features "TimestampLatch" and "TimestampLatchValue", or "GevTimestampControlLatch" and
 * "GevTimestampValue" ("GevTimestampTickFrequency" tells the rate), and the way there and back bounds the error. An answer by
 * which frames would have come before they were taken is of another clock and does not count. From arrivals alone, what all frames
 * take at least, exposure and transfer among it, cannot be told from the clock's offset; that it is less than the stream's first
 * frame took since OX3D_RGBD_Start is nDelayNs, as long as the way does not grow longer. Time stamps that go back (a device that
 * was started anew, a counter that wrapped) begin a new clock. Asks the device, so it runs as OX3D_RGBD_GetParam does: without the
 * device's lock, beside any other call. Not for every frame: OX3D_RGBD_GetFrameTimes goes by the last answers and asks nobody.
 * \param handle  an open device
 * \param pClock  out: the clock
 * \return OX3D_RGBD_E_PARAMETER for null; OX3D_RGBD_E_NO_DATA before the second frame, for a device whose frames carry no
 *         time, and, of a device whose ticks are neither nanoseconds nor what it says of them, in the first second
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetFrameClock(void* handle, OX3D_RGBD_FRAME_CLOCK* pClock);

/**
 * The times of one frame, 64 bytes. Nanoseconds of UTC are counted from 1970-01-01T00:00:00Z by this host's clock
 * (CLOCK_REALTIME), with whatever error that one has.
 */
typedef struct OX3D_RGBD_FRAME_TIMES {
    uint64_t nTimeStamp;      /**< of the frame's first image, ticks of the device's clock */
    uint64_t nArrivalUtcNs;   /**< when the library was handed the frame, ns of UTC */
    uint64_t nArrivalHostNs;  /**< the same moment, ns of CLOCK_MONOTONIC, which nobody sets */
    uint64_t nCaptureUtcNs;   /**< the moment of nTimeStamp, ns of UTC; 0: not known */
    uint64_t nCaptureErrorNs; /**< how far nCaptureUtcNs may be off, ns; 0: not known */
    uint64_t nCaptureDelayNs; /**< of that, what all frames may have in common (see above), ns */
    uint32_t nFrameNum;       /**< of the frame's first image */
    uint32_t nSource;         /**< OX3D_RGBD_CLOCK_*, of the time of capture */
    uint8_t nReserved[8];     /**< 0 */
} OX3D_RGBD_FRAME_TIMES;

/**
 * The times of a frame. Arrival is when the camera-control library called back, or when OX3D_RGBD_FetchFrame got the
 * frame: one that waited there, since it was not fetched in time, arrives late. Capture is the moment of the time stamp
 * by the device's clock as it is known at the call (see OX3D_RGBD_GetFrameClock, whose answers count); which moment of
 * its work the device stamps, begin of exposure or another, is the device's affair. It is not known for the first frame,
 * nor for frames before a clock that began anew. A copy has the times that its frame had when it was copied.
 * \param handle  the device that delivered the frame, or any open device when pFrame is a copy of a frame
 * \param pFrame  in: a frame as OX3D_RGBD_FetchFrame or the frame callback delivered it, unchanged; or a copy of
 *                OX3D_RGBD_CopyFrame. The library knows the last 64 frames of a device.
 * \param pTimes  out: the times
 * \return OX3D_RGBD_E_PARAMETER for null or for a frame that the device does not know (see
 *         OX3D_RGBD_MapFrameToPointCloud)
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetFrameTimes(void* handle, const OX3D_RGBD_FRAME_DATA* pFrame,
                                               OX3D_RGBD_FRAME_TIMES* pTimes);

/* ---- Where the cameras look -------------------------------------------------------------------------------- */

/** \{ */
/** The two cameras of a device, and the two streams that they give. */
#define OX3D_RGBD_CAMERA_DEPTH 0u
#define OX3D_RGBD_CAMERA_COLOR 1u
/** \} */

/** How to get from one camera's frame to another's, 64 bytes: to = R * from + t. In each frame X points to the right, Y
 * down and Z along the view. */
typedef struct OX3D_RGBD_EXTRINSICS {
    float fRotation[9];    /**< R, row by row */
    float fTranslation[3]; /**< t, millimetres (the unit of the depth) */
    uint8_t nReserved[16]; /**< 0 */
} OX3D_RGBD_EXTRINSICS;

/** The lens of an image, 64 bytes. A point (X, Y, Z) of its camera's frame is seen, with x = X / Z, y = Y / Z and
 * r2 = x * x + y * y, at
 * \verbatim
 *   u = fFx * (x * (1 + fK1 * r2 + fK2 * r2^2 + fK3 * r2^3) + 2 * fP1 * x * y + fP2 * (r2 + 2 * x * x)) + fCx
 *   v = fFy * (y * (1 + fK1 * r2 + fK2 * r2^2 + fK3 * r2^3) + 2 * fP2 * x * y + fP1 * (r2 + 2 * y * y)) + fCy
 * \endverbatim
 * where whole numbers are the centres of pixels. */
typedef struct OX3D_RGBD_INTRINSICS {
    uint32_t nWidth;       /**< pixels, of the image that this belongs to */
    uint32_t nHeight;      /**< pixels */
    float fFx;             /**< pixels */
    float fFy;             /**< pixels */
    float fCx;             /**< pixels */
    float fCy;             /**< pixels */
    float fK1;             /**< all five are 0 for an image without distortion */
    float fK2;             /**< as fK1 */
    float fP1;             /**< as fK1 */
    float fP2;             /**< as fK1 */
    float fK3;             /**< as fK1 */
    uint8_t nReserved[20]; /**< 0 */
} OX3D_RGBD_INTRINSICS;

/**
 * The way from the frame of one camera to that of the other, of the device's calibration: the set for the depth width of
 * the last frame, or, before there is one, for the camera's feature "Width" ("Height" is asked for, too).
 * \param handle       an open device
 * \param nFrom,nTo    OX3D_RGBD_CAMERA_*. From depth to color it is what the calibration file says, the other way that one's
 *                     inverse, from a camera to itself the identity.
 * \param pExtrinsics  out
 * \return OX3D_RGBD_E_PARAMETER for null or another camera, OX3D_RGBD_E_NO_DATA when the calibration file or a part of it is
 * missing, and, from one camera to the other, when its numbers are none or its rotation cannot be inverted.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetExtrinsics(void* handle, uint32_t nFrom, uint32_t nTo,
                                               OX3D_RGBD_EXTRINSICS* pExtrinsics);

/**
 * The lens of a stream as the device delivers it: of the depth or color image of its last frame, with all that the
 * library did to it. Depth that was registered to the color camera has that camera's, where the default registration
 * ("ImageAlign" alone) has no distortion, and its centre half a pixel to the left of the color image's and as much above:
 * it puts into a pixel what falls between that pixel's centre and the next. Color that was scaled to the depth's size, or
 * resampled to its pixels, has what the image has then.
 * \param handle       an open device
 * \param nStream      OX3D_RGBD_CAMERA_*
 * \param pIntrinsics  out
 *
 * Before the first frame the answer is that for the frame to come, as the switches are: of depth for the camera's features
 * "Width" and "Height", of color only where it will be scaled to the depth's size, since no feature tells the size
 * in which the camera sends it. Switches that are set later count from the next frame on.
 * \return OX3D_RGBD_E_PARAMETER for null or another stream, OX3D_RGBD_E_NO_DATA when the calibration file or a part of it
 * is missing or cannot be used (a focal length is 0, or a number is none), when the last frame has no such image, or when
 * the size of color is not known yet.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_GetIntrinsics(void* handle, uint32_t nStream,
                                               OX3D_RGBD_INTRINSICS* pIntrinsics);

/* ---- Points of a frame --------------------------------------------------------------------------------------- */

/** \{ */
/** nFormat: the numbers of a point, X, Y, Z in millimetres (the unit of the depth). */
#define OX3D_RGBD_CLOUD_FLOAT32 0u
#define OX3D_RGBD_CLOUD_INT16 1u /**< to nearest; points beyond -32767 to 32767 are left out */
/** \} */

/** \{ */
/** nLayout. */
#define OX3D_RGBD_CLOUD_ORGANISED \
    0u                           /**< a point for every pixel of the depth image, zeros where there is none */
#define OX3D_RGBD_CLOUD_VALID 1u /**< the points that there are, in the order of their pixels */
/** \} */

/** \{ */
/** nColor: four bytes a point, R, G, B and 255; four zeros where the color image does not show the point. Of color that was
 * moved to the depth's pixels, black is what does not show the point. */
#define OX3D_RGBD_CLOUD_NO_COLOR 0u
#define OX3D_RGBD_CLOUD_COLOR_BESIDE 1u /**< in an array of its own */
#define OX3D_RGBD_CLOUD_COLOR_INTERLEAVED \
    2u /**< in each point behind its numbers: at byte 12 of 16, or 8 of 12 */
/** \} */

/** What is wanted of OX3D_RGBD_MapFrameToPointCloud, 32 bytes. All zeros: the frame of the depth camera, floats,
 * organised, neither colors nor normals. */
typedef struct OX3D_RGBD_CLOUD_OPTIONS {
    uint32_t nCamera;      /**< OX3D_RGBD_CAMERA_*: in whose frame the points are */
    uint32_t nFormat;      /**< OX3D_RGBD_CLOUD_FLOAT32 or _INT16 */
    uint32_t nLayout;      /**< OX3D_RGBD_CLOUD_ORGANISED or _VALID */
    uint32_t nColor;       /**< OX3D_RGBD_CLOUD_NO_COLOR or _COLOR_* */
    uint32_t nNormals;     /**< 1: with normals, 0: without */
    uint8_t nReserved[12]; /**< 0 */
} OX3D_RGBD_CLOUD_OPTIONS;

/** A point cloud, 96 bytes. Points, colors and normals i lie at i times their stride; each array begins on a 64-byte
 * boundary, colors inside of points but behind the first point's numbers. */
typedef struct OX3D_RGBD_CLOUD {
    void* pPoints;    /**< three floats or int16 a point, X, Y, Z */
    uint8_t* pColors; /**< R, G, B, A; null without */
    float* pNormals;  /**< three floats a point, of length 1 and towards the camera, or zeros; null without */
    uint64_t nTimeStamp;    /**< of the frame */
    uint32_t nCount;        /**< points that are stored */
    uint32_t nValid;        /**< points that there are: nCount, but for an organised cloud */
    uint32_t nWidth;        /**< organised: of the depth image, in pixels; else nCount and 1 */
    uint32_t nHeight;       /**< pixels */
    uint32_t nFrameNum;     /**< of the frame */
    uint32_t nCamera;       /**< what was asked for */
    uint32_t nFormat;       /**< what was asked for */
    uint32_t nLayout;       /**< what was asked for */
    uint32_t nColor;        /**< what was asked for */
    uint32_t nPointStride;  /**< bytes: 12 or 6, with colors inside 16 or 12 */
    uint32_t nColorStride;  /**< bytes: 4, or nPointStride; 0 without */
    uint32_t nNormalStride; /**< bytes: 12; 0 without */
    uint8_t nReserved[16];  /**< 0 */
} OX3D_RGBD_CLOUD;

/**
 * Turns a frame into a point cloud that is right whatever the switches were when the frame was made: depth that was
 * registered to the color camera is projected back through that camera's lens, other depth through its own, and the
 * points are moved to the camera that is asked for. (OX3D_RGBD_MapDepthToPointCloud takes the depth camera's lens for
 * every image.) Works for Ethernet and USB devices, and for images of any size.
 * \param handle    the device that delivered the frame, or any open device when pFrame is a copy of a frame
 * \param pFrame    in: a frame as OX3D_RGBD_FetchFrame or the frame callback delivered it, unchanged, while its images are valid; or
 *                  a copy of OX3D_RGBD_CopyFrame. The library knows how each of the last 64 frames of a device was made.
 * \param pOptions  in: what is wanted
 * \param pCloud    out: the cloud. Its arrays belong to the library and stay valid until the next call for the same handle or until
 *                  OX3D_RGBD_CloseDevice.
 *
 * Samples of 1 to 32767 are depths, as for the registration.
 * Colors are those of the color image as delivered, the nearest pixel's, without blending: the same pixel's where depth and color are
 * registered to each other, of one size and of one distortion (OX3D_RGBD_GetIntrinsics), else that onto which the point is
 * projected, lens distortion included. Of two pixels that are as near, to 1/256 of a pixel, it is the left or upper one.
 * Whether something else stands between point and color camera is not looked at: beside an edge, what the color
 * camera does not see takes the color of what hides it.
 * Normals are those of the plane through a pixel's neighbours above, below, left and right, without those that are
 * missing or more than 3 % nearer or farther; zeros where two directions are not left.
 * Points that lie behind the camera in whose frame they are asked for have a Z below 0; one whose Z is 0, or rounds to it
 * as a 16-bit number, is left out.
 * Runs without the device's lock, one call for a handle after the other. A frame that was fetched is overwritten by the next
 * one: call this from the thread that fetches, from the frame callback, or for a copy.
 * \return OX3D_RGBD_E_PARAMETER for null, for options that are none, for a frame that the device does not know (also: changed since,
 * of another device, too old) or whose images are shorter than their size says; OX3D_RGBD_E_NO_DATA when the frame
 * has no depth image, or none of color (OX3D_RGBD_PIXEL_RGB8_PLANAR) and colors are asked for, and when the calibration file or a
 * part of it is missing or cannot be used; OX3D_RGBD_E_MEMORY when an array would not fit.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_MapFrameToPointCloud(void* handle, const OX3D_RGBD_FRAME_DATA* pFrame,
                                                      const OX3D_RGBD_CLOUD_OPTIONS* pOptions,
                                                      OX3D_RGBD_CLOUD* pCloud);

/* ---- The calibration of the whole system ---------------------------------------------------------------- */

/** \{ */
/**
 * Copies the file "LSLSystemCali" off the camera to a local file, or a local file onto it, as OX3D_RGBD_FileAccessRead and
 * OX3D_RGBD_FileAccessWrite do. Points and registration go by another file ("RGBDSensorCali") and do not change.
 * \param handle       an open device
 * \param strFileName  the local file, NUL-terminated
 * \return OX3D_RGBD_E_PARAMETER for null, else the camera's own translated code.
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_ExportSystemCalibration(void* handle, const char* strFileName);
OX3D_RGBD_API uint32_t OX3D_RGBD_ImportSystemCalibration(void* handle, const char* strFileName);
/** \} */

#ifdef __cplusplus
}
#endif

#endif
