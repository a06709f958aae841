/*
 * DoubleControl.h - how a test steers the scripted camera-control library and reads what was asked of it.
 *
 * The library is found and loaded like any other libOxCameraControl.so. A test loads it once more, which
 * gives the same instance, and gets the control functions from Double_GetControl. Unscripted, every function
 * does what a camera without faults would do. Any thread may use the control functions.
 */
#ifndef OX3D_DOUBLE_CONTROL_H
#define OX3D_DOUBLE_CONTROL_H

#include <ox3drgbd/OxCameraControl.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One number for each function, and DOUBLE_FUNCTIONS for how many there are. */
enum DoubleFunction {
#define OX_CAM_SYMBOL(result, name, arguments, group, need) DOUBLE_##name,
#include "src/CameraModule/CamSymbols.def"
    DOUBLE_FUNCTIONS
};

#define DOUBLE_MAX_CALLS 1024 /* the calls that are remembered, the newest */

/* One call. */
typedef struct DoubleCall {
    uint32_t nFunction;
    uint32_t nOrdinal;     /* from 1, of this function since the reset */
    void* handle;          /* null where the function takes none */
    void* pOutput;         /* the argument to be written; valid during the call */
    void (*pfnCallBack)(); /* the callback that is registered */
    char chArguments[512]; /* texts, numbers and names of records, separated by ", "; the handle left out */
} DoubleCall;

typedef void (*DoubleHook)(const DoubleCall* pstCall, void* pUser);

/* What a call answers. A call obeys every rule that fits it, in the order in which they were added. */
typedef struct DoubleRule {
    uint32_t nFunction;    /* DOUBLE_FUNCTIONS: all */
    uint32_t nOrdinal;     /* which call, from 1; 0: all */
    uint32_t nStatus;      /* not 0: answered, and nothing is done or written */
    uint32_t nDelayMs;     /* before anything else */
    DoubleHook pfnHook;    /* called on the caller's thread, then */
    void* pHookUser;       /* handed to the hook */
    const void* pOutput;   /* copied over the written argument at the end; the double keeps a copy */
    uint32_t nOutputBytes; /* of pOutput */
} DoubleRule;

/* What is still up, and what went wrong. All 0 once a caller has cleaned up. */
typedef struct DoubleLedger {
    uint32_t nHandles;    /* created and not destroyed */
    uint32_t nOpen;       /* opened and not closed */
    uint32_t nLentFrames; /* got and not freed */
    uint32_t nFaults;     /* calls with destroyed or unknown handles, frames freed twice, double opens */
} DoubleLedger;

typedef struct DoubleControl {
    /* Forgets rules, calls, frames, files and devices. No handle may be live. */
    void (*Reset)(void);
    void (*AddRule)(const DoubleRule* pstRule);
    void (*SetDevices)(const OX_CC_DEVICE_INFO* pstDevices, uint32_t nCount);
    /* A file of the cameras' store; null text removes it. */
    void (*SetFile)(const char* pName, const char* pText);
    /* A frame for OX_CC_GetImageBuffer. Its memory stays the test's. */
    void (*QueueFrame)(const OX_FRAME_OUT* pstFrame);
    /* Calls the image callback that was registered last, on its camera's delivery thread, whatever the
     * arguments and whether the camera grabs or not. bWait: returns after the callback. */
    void (*DeliverFrame)(uint8_t* pData, OX_FRAME_OUT_INFO_EX* pstInfo, uint32_t bWait);
    /* The same with the exception callback, on a thread of its own. */
    void (*RaiseException)(uint32_t nMessage, uint32_t bWait);
    /* 0: stopping and destroying no longer wait for callbacks in flight. */
    void (*SetPatience)(uint32_t bPatient);
    uint32_t (*GetCallCount)(uint32_t nFunction);
    /* The remembered calls, oldest first; returns how many were written. */
    uint32_t (*GetCalls)(DoubleCall* pstCalls, uint32_t nCapacity);
    void (*GetLedger)(DoubleLedger* pstLedger);
} DoubleControl;

typedef const DoubleControl* (*DoubleGetControl)(void); /* the exported Double_GetControl */

#ifdef __cplusplus
}
#endif

#endif /* OX3D_DOUBLE_CONTROL_H */
