// CamLoadLibrary.h - the camera-control library, loaded at run time, as a table of function pointers.
//
// Each pointer is a process-wide exported variable that bears the function's own name. It is null until its
// first successful look-up and never cleared. Read one through CamFunction(): any thread may be loading.
#ifndef OX3D_CAM_LOAD_LIBRARY_H
#define OX3D_CAM_LOAD_LIBRARY_H

#include "src/Common/Export.h"
#include <ox3drgbd/OxCameraControl.h>

extern "C" {
// NOLINTBEGIN(bugprone-macro-parentheses): types and names cannot stand in parentheses.
#define OX_CAM_SYMBOL(result, name, arguments, group, need) extern OX3D_EXPORT result(*name) arguments;
#include "src/CameraModule/CamSymbols.def"
// NOLINTEND(bugprone-macro-parentheses)
}

// The function behind a global, or null.
template <class Fn>
Fn* CamFunction(Fn*& global) {
    return __atomic_load_n(&global, __ATOMIC_ACQUIRE);
}

// The loaders return OX3D_RGBD_OK or OX3D_RGBD_E_LOAD_LIBRARY. They take no lock: callers that race can only
// store the same values. A retry after a failure resumes at the first missing function.
uint32_t LoadCamDllEnumFunction();
uint32_t LoadCamDllIsDeviceAccessible();
uint32_t LoadCamDllGetSDKVersionFunction();
uint32_t LoadCamDllAllFunctions();
uint32_t LoadCamDllSpeFunction();

#endif
