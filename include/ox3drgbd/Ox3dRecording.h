/**
 * \file Ox3dRecording.h
 * \brief Recordings: what a camera sent, in one file that can be read again. The library libox3d-recording.so.
 *
 * \verbatim
 *   void* recording = NULL;                              void* recorder = NULL;
 *   OX3D_REC_Open("desk.mcap", &recording);              OX3D_REC_Create(camera, "desk.mcap", NULL, &recorder);
 *   OX3D_REC_FRAME frame;                                OX3D_RGBD_Start(camera);
 *   OX3D_REC_ReadFrame(recording, 0, &frame);            OX3D_RGBD_FetchFrame(camera, &frame, 5000);
 *   use(frame.pDepth, frame.nWidth, frame.nHeight);      OX3D_REC_AddFrame(recorder, &frame);
 *   OX3D_REC_Close(&recording);                          OX3D_REC_Finish(&recorder, NULL);
 * \endverbatim
 *
 * Every function may be called by every thread. Calls on one handle come one after the other; a handle that was closed is
 * told, and so is whatever is none. Nothing is written to where a pointer leads but on success, unless it says so. A child
 * of fork() uses no recorder of its parent's.
 *
 * A program links libox3d-recording.so beside libOx3dRgbd.so: Ox3dRgbd::Recording of find_package(Ox3dRgbd).
 */
#ifndef OX3D_RECORDING_H
#define OX3D_RECORDING_H

#include "Ox3dRgbdExtension.h"

#if defined(__GNUC__)
/** Before what the library exports. */
#    define OX3D_REC_API __attribute__((visibility("default")))
#else
#    define OX3D_REC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** \{ */
/** What a function ends with. */
#define OX3D_REC_OK 0u
#define OX3D_REC_E_HANDLE 1u    /**< no handle, one that was closed, or one of the other kind */
#define OX3D_REC_E_PARAMETER 2u /**< null, or a value that does not exist */
#define OX3D_REC_E_FILE 3u      /**< a file cannot be read, made or written */
#define OX3D_REC_E_FOREIGN 4u   /**< no recording, or one without a whole frame */
#define OX3D_REC_E_EXISTS 5u    /**< there is a file of that name, and it was not to be replaced */
#define OX3D_REC_E_FULL 6u      /**< the disk is full; every frame before is whole */
#define OX3D_REC_E_NO_DATA 7u   /**< what was asked for was not recorded, or cannot be read any more */
#define OX3D_REC_E_DROPPED 8u   /**< the queue is full: that frame is not recorded */
#define OX3D_REC_E_CAMERA 9u    /**< the camera does not answer, or its handle is none */
#define OX3D_REC_E_MEMORY 10u   /**< no memory, or no thread */
/** \} */

/**
 * What went wrong with the last call of this thread that did not succeed, in a sentence that names the file. Never null; empty before
 * the first one. Valid until this thread's next call.
 */
OX3D_REC_API const char* OX3D_REC_LastError(void);

/* ---- Reading ---------------------------------------------------------------------------------------------- */

/** A recording as a whole, 128 bytes. */
typedef struct OX3D_REC_INFO {
    uint64_t nFrames;       /**< whole ones: ReadFrame takes 0 to nFrames - 1 */
    uint64_t nFirstUtcNs;   /**< when the first one came to the host, nanoseconds since 1970; 0: not known */
    uint64_t nLastUtcNs;    /**< the last one */
    uint32_t nWidth;        /**< of the depth images, pixels */
    uint32_t nHeight;       /**< the same */
    uint32_t nColorWidth;   /**< of the color images, pixels; 0: no frame has color */
    uint32_t nColorHeight;  /**< the same */
    uint32_t nIsClosed;     /**< 0: its writer was killed; what it had written until then is here */
    uint32_t nIsColorLossy; /**< 1: color is JPEG */
    uint8_t nReserved[80];  /**< 0 */
} OX3D_REC_INFO;

/** One recorded frame, 128 bytes. Images lie in memory of the recording until its next frame is read or it is closed. */
typedef struct OX3D_REC_FRAME {
    const uint16_t* pDepth; /**< nWidth * nHeight millimetres, row by row; 0: no depth */
    const uint8_t*
        pColor;       /**< three planes, R, G, B, of nColorWidth * nColorHeight bytes each; null: no color */
    uint32_t nWidth;  /**< pixels */
    uint32_t nHeight; /**< pixels */
    uint32_t nColorWidth;   /**< pixels; 0 without color */
    uint32_t nColorHeight;  /**< pixels; 0 without color */
    uint64_t nFrameNum;     /**< as the camera counted; of a folder from 1 on */
    uint64_t nTimeStamp;    /**< ticks of the camera's clock; 0: not known */
    uint64_t nArrivalUtcNs; /**< when it came to the host, nanoseconds since 1970; 0: not known */
    uint64_t nCaptureUtcNs; /**< when the camera took it; 0: not known */
    uint64_t nLostBefore;   /**< frames between this one and the one before it that never came */
    uint32_t nIsIncomplete; /**< 1: it lacks color that others had */
    uint8_t nReserved[52];  /**< 0 */
} OX3D_REC_FRAME;

/** \{ */
/** Texts of a recording. */
#define OX3D_REC_TEXT_CALIBRATION "calibration.xml" /**< the calibration file, as the camera had it */
#define OX3D_REC_TEXT_FEATURES "features.txt"  /**< all settings, as OX3D_RGBD_ExportAllParam writes them */
#define OX3D_REC_TEXT_DESCRIPTION "camera.xml" /**< the camera's GenICam description */
#define OX3D_REC_TEXT_FACTS \
    "facts" /**< a line "name=value" for each: serial, model, manufacturer, host ... */
/** \} */

/**
 * Opens a recording: an MCAP file, whether it was closed or not, or a folder of PNG files. What is damaged inside of it is left
 * out, with a line on the standard error output.
 * \param pchPath      of the file or folder
 * \param phRecording  out: its handle, null after a failure
 * \return OX3D_REC_E_PARAMETER for null, OX3D_REC_E_FILE, OX3D_REC_E_FOREIGN, OX3D_REC_E_MEMORY
 */
OX3D_REC_API uint32_t OX3D_REC_Open(const char* pchPath, void** phRecording);

/**
 * Tells of what a recording is.
 * \param hRecording  of OX3D_REC_Open
 * \param pInfo       out
 * \return OX3D_REC_E_PARAMETER, OX3D_REC_E_HANDLE
 */
OX3D_REC_API uint32_t OX3D_REC_GetInfo(void* hRecording, OX3D_REC_INFO* pInfo);

/**
 * Copies one of the recording's texts.
 * \param hRecording  of OX3D_REC_Open
 * \param pchName     OX3D_REC_TEXT_*
 * \param pchText     out: the text and a zero; null: only its length is asked for
 * \param nCapacity   bytes at pchText
 * \param pnLength    out: bytes of the text without that zero, also when it does not fit
 * \return OX3D_REC_E_PARAMETER for null, another name or too little room, OX3D_REC_E_HANDLE, OX3D_REC_E_NO_DATA when it was
 * not recorded
 */
OX3D_REC_API uint32_t OX3D_REC_GetText(void* hRecording, const char* pchName, char* pchText,
                                       uint32_t nCapacity, uint32_t* pnLength);

/**
 * The lens of the recorded images of a sensor.
 * \param hRecording   of OX3D_REC_Open
 * \param nCamera      OX3D_RGBD_CAMERA_DEPTH or OX3D_RGBD_CAMERA_COLOR
 * \param pIntrinsics  out
 * \return OX3D_REC_E_PARAMETER, OX3D_REC_E_HANDLE, OX3D_REC_E_NO_DATA when it is not known
 */
OX3D_REC_API uint32_t OX3D_REC_GetIntrinsics(void* hRecording, uint32_t nCamera,
                                             OX3D_RGBD_INTRINSICS* pIntrinsics);

/**
 * The way from the depth camera's frame to the color camera's.
 * \param hRecording   of OX3D_REC_Open
 * \param pExtrinsics  out
 * \return as OX3D_REC_GetIntrinsics
 */
OX3D_REC_API uint32_t OX3D_REC_GetExtrinsics(void* hRecording, OX3D_RGBD_EXTRINSICS* pExtrinsics);

/**
 * Reads a frame. Its depth is what the camera sent, to the bit.
 * \param hRecording  of OX3D_REC_Open
 * \param nFrame      from 0 on, in the order of the recording
 * \param pFrame      out
 * \return OX3D_REC_E_PARAMETER for null, OX3D_REC_E_HANDLE, OX3D_REC_E_NO_DATA when there is no such frame or its depth is
 * damaged (one whose color is damaged has none), OX3D_REC_E_MEMORY. The images that were read before are gone after each of them but the
 * first two.
 */
OX3D_REC_API uint32_t OX3D_REC_ReadFrame(void* hRecording, uint64_t nFrame, OX3D_REC_FRAME* pFrame);

/**
 * Closes a recording; images that were read from it are gone.
 * \param phRecording  its handle, which becomes null
 * \return OX3D_REC_E_PARAMETER for null, OX3D_REC_E_HANDLE
 */
OX3D_REC_API uint32_t OX3D_REC_Close(void** phRecording);

/* ---- Writing ---------------------------------------------------------------------------------------------- */

/** \{ */
/** What becomes of color: OX3D_REC_OPTIONS. Depth is always lossless. */
#define OX3D_REC_COLOR_JPEG 0u
#define OX3D_REC_COLOR_RAW 1u
#define OX3D_REC_COLOR_NONE 2u
/** \} */

/** How to record, 64 bytes. Zeros are the defaults. */
typedef struct OX3D_REC_OPTIONS {
    uint32_t nColor;       /**< OX3D_REC_COLOR_* */
    uint32_t nJpegQuality; /**< 1 to 100; 0: 90 */
    uint32_t nQueueFrames; /**< frames that may wait in memory, 1 to 10000; 0: 30 */
    uint32_t nSyncMs;      /**< milliseconds that a power loss may cost, 10 to 3600000; 0: 1000 */
    uint32_t nIsReplacing; /**< 1: a file of that name is replaced, by the first frame */
    uint32_t nWaits;       /**< 1: AddFrame waits for room in the queue; 0: it drops the frame */
    uint8_t nReserved[40]; /**< 0 */
} OX3D_REC_OPTIONS;

/** What has been recorded, 64 bytes. */
typedef struct OX3D_REC_COUNTS {
    uint64_t nWritten;      /**< frames in the file */
    uint64_t nWithoutColor; /**< of them, since no image could be made of their color */
    uint64_t nDropped;      /**< for a full queue, or for want of memory */
    uint64_t nLost;         /**< that never came from the camera, by the numbers of those that did */
    uint64_t nBytes;        /**< of the file */
    uint8_t nReserved[24];  /**< 0 */
} OX3D_REC_COUNTS;

/**
 * Makes ready to record a camera: reads its settings, description and calibration. Frames are recorded as the camera sends them, and a
 * player registers them by the same calibration: "ImageAlign" and "ResolutionAlign" are 0 from here to OX3D_REC_Finish, which
 * sets what they were. The file has its name from the first frame on, and can be read at every moment from then on.
 * \param hCamera     an open device
 * \param pchPath     of the file, NAME.mcap
 * \param pOptions    null: the defaults
 * \param phRecorder  out: a handle, null after a failure
 * \return OX3D_REC_E_PARAMETER for null or a value out of its range, OX3D_REC_E_CAMERA, OX3D_REC_E_FILE, OX3D_REC_E_EXISTS,
 * OX3D_REC_E_MEMORY
 */
OX3D_REC_API uint32_t OX3D_REC_Create(void* hCamera, const char* pchPath, const OX3D_REC_OPTIONS* pOptions,
                                      void** phRecorder);

/**
 * Records a frame, which is copied: two threads of the library compress and write it. Also in a frame callback.
 * \param hRecorder  of OX3D_REC_Create
 * \param pFrame     of the camera, fetched or copied after OX3D_REC_Create
 * \return OX3D_REC_E_PARAMETER for null or a frame without depth, OX3D_REC_E_HANDLE, OX3D_REC_E_DROPPED, OX3D_REC_E_MEMORY;
 * OX3D_REC_E_FILE, OX3D_REC_E_EXISTS and OX3D_REC_E_FULL end the recording: every frame before is whole
 */
OX3D_REC_API uint32_t OX3D_REC_AddFrame(void* hRecorder, const OX3D_RGBD_FRAME_DATA* pFrame);

/**
 * What has been recorded so far; frames in the queue are not counted yet.
 * \param hRecorder  of OX3D_REC_Create
 * \param pCounts    out
 * \return OX3D_REC_E_PARAMETER, OX3D_REC_E_HANDLE
 */
OX3D_REC_API uint32_t OX3D_REC_GetCounts(void* hRecorder, OX3D_REC_COUNTS* pCounts);

/**
 * Writes what waits in the queue, closes the file and ends the recorder, whatever it returns. Without a frame no file is made.
 * \param phRecorder  its handle, which becomes null
 * \param pCounts     out, whether it succeeds or not; null: nobody asks
 * \return OX3D_REC_E_PARAMETER for null, OX3D_REC_E_HANDLE, OX3D_REC_E_NO_DATA when there was no frame, OX3D_REC_E_FILE or
 * OX3D_REC_E_FULL when the file lacks frames or its end
 */
OX3D_REC_API uint32_t OX3D_REC_Finish(void** phRecorder, OX3D_REC_COUNTS* pCounts);

#ifdef __cplusplus
}
#endif

#endif /* OX3D_RECORDING_H */
