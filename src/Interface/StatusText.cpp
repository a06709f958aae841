// StatusText.cpp - the one table of what statuses mean. Its rows are cases, so that the compiler finds a status that
// stands twice.
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <ox3drgbd/OxCameraControl.h>
#include <ox3drgbd/Oxb3dBinoStereo.h>

const char* OX3D_RGBD_StatusText(uint32_t nStatus) {
    switch (nStatus) {
#define STATUS(name, meaning)         \
    case static_cast<uint32_t>(name): \
        return #name ": " meaning;
        STATUS(OX3D_RGBD_OK, "success")
        STATUS(OX3D_RGBD_E_HANDLE, "no such camera handle, or a general error")
        STATUS(OX3D_RGBD_E_CAMERA, "the camera refused or does not support this")
        STATUS(OX3D_RGBD_E_CAMERA_02, "too many frames are held at once")
        STATUS(OX3D_RGBD_E_STATE, "not possible in this state")
        STATUS(OX3D_RGBD_E_PARAMETER, "no such camera, an unknown name, or a value that is not allowed")
        STATUS(OX3D_RGBD_E_MEMORY, "out of memory")
        STATUS(OX3D_RGBD_E_NO_DATA, "no data")
        STATUS(OX3D_RGBD_E_CAMERA_07, "the camera does not answer, or does not allow this now")
        STATUS(OX3D_RGBD_E_CAMERA_08, "the camera's version does not fit the camera-control library's")
        STATUS(OX3D_RGBD_E_CAMERA_09, "the frame is larger than the room for it")
        STATUS(OX3D_RGBD_E_CAMERA_0A, "the image is damaged")
        STATUS(OX3D_RGBD_E_LOAD_LIBRARY, "the camera-control library cannot be loaded")
        STATUS(OX3D_RGBD_E_ALGORITHM, "depth cannot be converted; images below 640 x 480 are too small")
        STATUS(OX3D_RGBD_E_CAMERA_0E, "access denied; another application may hold the camera")
        STATUS(OX3D_RGBD_E_CAMERA_0F, "value out of the feature's range")
        STATUS(OX3D_RGBD_E_UNKNOWN, "the camera-control library failed without saying why")
        STATUS(OX_CC_E_HANDLE, "no such camera in the camera-control library")
        STATUS(OX_CC_E_SUPPORT, "the camera or its library does not support this")
        STATUS(OX_CC_E_BUFFER_FULL, "the camera-control library holds no more frames")
        STATUS(OX_CC_E_CALL_ORDER, "not possible in this state of the camera")
        STATUS(OX_CC_E_PARAMETER, "a value that the camera-control library does not allow")
        STATUS(OX_CC_E_RESOURCE, "the camera-control library has no memory or no thread for this")
        STATUS(OX_CC_E_NO_DATA, "no frame or no answer in time")
        STATUS(OX_CC_E_PRECONDITION, "the camera does not answer, or does not allow this yet")
        STATUS(OX_CC_E_VERSION, "versions of camera and camera-control library do not fit")
        STATUS(OX_CC_E_NO_BUFFER_SPACE, "the buffer is too small for this")
        STATUS(OX_CC_E_ABNORMAL_IMAGE, "the image arrived damaged or in part")
        STATUS(OX_CC_E_LOAD_LIBRARY, "a library that the camera-control library needs cannot be loaded")
        STATUS(OX_CC_E_UNKNOWN, "the camera-control library does not say what failed")
        STATUS(OX_CC_E_GC_GENERIC, "a feature failed")
        STATUS(OX_CC_E_GC_ARGUMENT, "no such feature, or an argument that it does not take")
        STATUS(OX_CC_E_GC_RANGE, "value out of the feature's range, to the camera-control library")
        STATUS(OX_CC_E_GC_DYNAMIC_CAST, "the feature is of another type")
        STATUS(OX_CC_E_GC_ACCESS, "the feature cannot be read or written now")
        STATUS(OX_CC_E_ACCESS_DENIED, "another application holds the camera")
        STATUS(OXB3D_BINOSTEREO_E_GENERAL, "not initialised, not invertible or not built")
        STATUS(OXB3D_BINOSTEREO_E_OBJECT, "no object of the algorithm library, or an ability out of range")
        STATUS(OXB3D_BINOSTEREO_E_TAB_BASE, "a block of the memory table is null")
        STATUS(OXB3D_BINOSTEREO_E_TAB_ALIGNMENT, "the memory table asks for another alignment than 128")
        STATUS(OXB3D_BINOSTEREO_E_TAB_TOO_SMALL, "the memory table has less memory than the object needs")
        STATUS(OXB3D_BINOSTEREO_E_TAB_SIZE, "a size in the memory table is no multiple of 128")
        STATUS(OXB3D_BINOSTEREO_E_TAB_BOUNDARY,
               "a block of the memory table does not begin on a 128-byte boundary")
        STATUS(OXB3D_BINOSTEREO_E_IMAGE_FORMAT, "an image format that is not supported")
        STATUS(OXB3D_BINOSTEREO_E_IMAGE_SIZE,
               "an image's width or height is not allowed, or above the ability's")
        STATUS(OXB3D_BINOSTEREO_E_IMAGE_STEP, "an image's step is not allowed")
        STATUS(OXB3D_BINOSTEREO_E_IMAGE_PLANE, "a plane of an image is null")
        STATUS(OXB3D_BINOSTEREO_E_KEY, "no such configuration key")
        STATUS(OXB3D_BINOSTEREO_E_CONFIG_SIZE, "a configuration record of the wrong size")
        STATUS(OXB3D_BINOSTEREO_E_PROCESS_TYPE, "no such process, or not in the ability")
        STATUS(OXB3D_BINOSTEREO_E_RECORD_SIZE, "a process record of the wrong size")
        STATUS(OXB3D_BINOSTEREO_E_PARAM_ID, "no such parameter")
        STATUS(OXB3D_BINOSTEREO_E_PARAM_VALUE, "a parameter's value is out of its range")
        STATUS(OXB3D_BINOSTEREO_E_PARAM_COUNT, "the number of parameters is not between 1 and 256")
        STATUS(OXB3D_BINOSTEREO_E_NULL, "an argument is null")
        STATUS(OXB3D_BINOSTEREO_E_OVERFLOW, "a memory size that cannot be represented")
        STATUS(OXB3D_BINOSTEREO_E_REGION, "a map request or region is not allowed")
        STATUS(ZQA_E_IMAGE_FORMAT, "an image format that is not supported, to the image layer")
        STATUS(ZQA_E_IMAGE_SIZE, "an image's width or height is not allowed, to the image layer")
        STATUS(ZQA_E_IMAGE_STEP, "an image's step is not allowed, to the image layer")
        STATUS(ZQA_E_IMAGE_PLANE, "a plane of an image is null, to the image layer")
        STATUS(ZQA_E_NULL, "an argument is null, to the image layer")
        STATUS(ZQA_E_OVERFLOW, "a size that cannot be represented, to the image layer")
        STATUS(OXB3D_BINOSTEREO_E_FUSE_MODE, "the mode of fusion is not 1, 2 or 3")
        STATUS(OXB3D_BINOSTEREO_E_FUSE_THRESHOLD, "the confidence threshold of fusion is above 255")
        STATUS(OXB3D_BINOSTEREO_E_FUSE_REGION, "the region of fusion is empty or outside the image")
        STATUS(OXB3D_BINOSTEREO_E_FUSE_PINNED, "the pinned word of fusion is not 1")
#undef STATUS
    default:
        return "no status of the camera library, the camera-control library or the algorithm library";
    }
}
