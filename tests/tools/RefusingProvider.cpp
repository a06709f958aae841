// A virtual camera that gives its files and settings and takes none, and in the midst of whose upgrade Ctrl-C is pressed.
#include <csignal>

#include <ox3drgbd/OxCameraControl.h>

int OX_CC_FileAccessWrite(void* /*handle*/, OX_CC_FILE_ACCESS* /*access*/) {
    return static_cast<int>(OX_CC_E_PARAMETER);
}

int OX_CC_FeatureLoad(void* /*handle*/, const char* /*file*/) {
    return static_cast<int>(OX_CC_E_PARAMETER);
}

int OX_CC_GetUpgradeProcess(void* /*handle*/, uint32_t* percent) {
    *percent = 50;
    return std::raise(SIGINT);
}
