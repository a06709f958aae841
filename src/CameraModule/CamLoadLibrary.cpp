// CamLoadLibrary.cpp - opens the camera-control library and fills the function pointers, row by row.
#include "src/CameraModule/CamLoadLibrary.h"

#include <cstring>
#include <dlfcn.h>

#include "src/Common/AsyncLog.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

extern "C" {
// NOLINTBEGIN(bugprone-macro-parentheses): types and names cannot stand in parentheses.
#define OX_CAM_SYMBOL(result, name, arguments, group, need) result(*name) arguments = nullptr;
#include "src/CameraModule/CamSymbols.def"
// NOLINTEND(bugprone-macro-parentheses)
}

namespace {

constexpr const char* kLogSource = "../../src/CameraModule/CamLoadLibrary";

// No folder: the dynamic linker chooses the library.
constexpr const char* kLibraryName = "libOxCameraControl.so";

enum class EGroup { Core, Extended, Access };
enum class ENeed { Required, Optional };

struct SymbolRow {
    const char* m_name;
    void** m_global;
    EGroup m_group;
    ENeed m_need;
};

const SymbolRow kSymbols[] = {
// NOLINTBEGIN(bugprone-macro-parentheses)
#define OX_CAM_SYMBOL(result, name, arguments, group, need) \
    {#name, reinterpret_cast<void**>(&name), EGroup::group, ENeed::need},
#include "src/CameraModule/CamSymbols.def"
    // NOLINTEND(bugprone-macro-parentheses)
};
static_assert(sizeof(kSymbols) / sizeof(kSymbols[0]) == 57);

// Never closed: pointers into the library live as long as the process.
void* g_library = nullptr;

void* OpenLibrary(_TRACE_LEVEL_ failureLevel) {
    void* library = __atomic_load_n(&g_library, __ATOMIC_ACQUIRE);
    if (library != nullptr) {
        return library;
    }
    library = dlopen(kLibraryName, RTLD_LAZY);
    if (library == nullptr) {
        const char* const reason = dlerror();
        OxWriteLog(failureLevel, kLogSource, __LINE__, "LoadLibrary fail\r\n");
        OX_LOG_DEBUG("[LoadLibrary] %s\r\n", reason != nullptr ? reason : kLibraryName);
        return nullptr;
    }
    __atomic_store_n(&g_library, library, __ATOMIC_RELEASE);
    return library;
}

bool Resolve(void* library, const SymbolRow& row) {
    if (__atomic_load_n(row.m_global, __ATOMIC_ACQUIRE) != nullptr) {
        return true;
    }
    void* address = dlsym(library, row.m_name);
    if (address == nullptr) {
        OX_LOG_ERROR("GetProc %s fail\r\n", row.m_name);
        return row.m_need == ENeed::Optional;
    }
    __atomic_store_n(row.m_global, address, __ATOMIC_RELEASE);
    return true;
}

uint32_t LoadGroup(EGroup group, _TRACE_LEVEL_ failureLevel) {
    void* library = OpenLibrary(failureLevel);
    if (library == nullptr) {
        return OX3D_RGBD_E_LOAD_LIBRARY;
    }
    for (const SymbolRow& row : kSymbols) {
        if (row.m_group == group && !Resolve(library, row)) {
            return OX3D_RGBD_E_LOAD_LIBRARY;
        }
    }
    return OX3D_RGBD_OK;
}

uint32_t LoadOne(const char* name) {
    void* library = OpenLibrary(TRACE_LEVEL_ERROR);
    if (library == nullptr) {
        return OX3D_RGBD_E_LOAD_LIBRARY;
    }
    for (const SymbolRow& row : kSymbols) {
        if (strcmp(row.m_name, name) == 0 && !Resolve(library, row)) {
            return OX3D_RGBD_E_LOAD_LIBRARY;
        }
    }
    return OX3D_RGBD_OK;
}

} // namespace

uint32_t LoadCamDllEnumFunction() {
    return LoadOne("OX_CC_EnumDevices");
}

uint32_t LoadCamDllIsDeviceAccessible() {
    return LoadGroup(EGroup::Access, TRACE_LEVEL_ERROR);
}

uint32_t LoadCamDllGetSDKVersionFunction() {
    return LoadOne("OX_CC_GetSDKVersion");
}

uint32_t LoadCamDllAllFunctions() {
    return LoadGroup(EGroup::Core, TRACE_LEVEL_ERROR);
}

// A library without the extended functions still serves, so a failure here is logged as information.
uint32_t LoadCamDllSpeFunction() {
    return LoadGroup(EGroup::Extended, TRACE_LEVEL_INFO);
}
