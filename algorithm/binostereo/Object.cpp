// The object's identity and end of life, and the version.
// Relies on the object layout.
#include "algorithm/binostereo/Object.h"

#include <cstring>

namespace ox3d::stereo {

int32_t CheckHandle(const void* handle) {
    if (handle == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    return std::memcmp(handle, kMagic, sizeof kMagic) == 0 ? OXB3D_BINOSTEREO_OK : OXB3D_BINOSTEREO_E_OBJECT;
}

} // namespace ox3d::stereo

int32_t OXB3D_BINOSTEREO_GetVersion(void) {
    return 0x04C12A58;
}

// Any non-null handle is accepted, deliberately without looking at it: callers may already have freed the
// memory.
int32_t OXB3D_BINOSTEREO_Destroy(void* handle) {
    return handle == nullptr ? OXB3D_BINOSTEREO_E_NULL : OXB3D_BINOSTEREO_OK;
}
