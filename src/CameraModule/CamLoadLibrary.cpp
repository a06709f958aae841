// CamLoadLibrary.cpp - opens the camera-control library and fills the function pointers, row by row.
#include "src/CameraModule/CamLoadLibrary.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <string>
#include <sys/stat.h>

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

// No folder: the dynamic linker chooses the library, unless the variable is set.
constexpr const char* kLibraryName = "libOxCameraControl.so";
constexpr const char* kProviderVariable = "OX3D_PROVIDER";
// Words for the variable: the providers that are installed with this library, in folders of those names.
constexpr const char* kInstalledProviders[] = {"aravis", "virtual"};

// The log takes few lines at a time, and a program that finds no provider may end at once: what is said here is to be in
// the log nevertheless.
constexpr uint32_t kLogWaitMs = 50;

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

// The folder of the file that this code is in, with a '/' at its end; the root, where nothing is found, when it
// cannot be told.
std::string OwnFolder() {
    Dl_info own = {};
    char path[PATH_MAX];
    if (dladdr(&g_library, &own) == 0 || realpath(own.dli_fname, path) == nullptr) {
        return "/";
    }
    return {path, static_cast<size_t>(strrchr(path, '/') + 1 - path)};
}

// What the variable asks for, always with a '/' in it, so that nothing else is found where that is missing.
std::string RequestedLibrary(const char* request) {
    for (const char* const word : kInstalledProviders) {
        if (strcmp(request, word) == 0) {
            return OwnFolder() + "ox3drgbd/" + word + '/' + kLibraryName;
        }
    }
    std::string path = strchr(request, '/') != nullptr ? request : std::string("./") + request;
    struct stat named {};
    const bool isFolder = stat(path.c_str(), &named) == 0 && S_ISDIR(named.st_mode);
    return isFolder ? path + '/' + kLibraryName : path;
}

// One call of the linker. Programs with more rights than who starts them do not heed the variable.
void* OpenByRequestOrSearch() {
    const char* const request = secure_getenv(kProviderVariable);
    if (request == nullptr || request[0] == '\0') {
        return dlopen(kLibraryName, RTLD_LAZY);
    }
    return dlopen(RequestedLibrary(request).c_str(), RTLD_LAZY);
}

void* OpenLibrary(_TRACE_LEVEL_ failureLevel) {
    void* library = __atomic_load_n(&g_library, __ATOMIC_ACQUIRE);
    if (library != nullptr) {
        return library;
    }
    library = OpenByRequestOrSearch();
    if (library == nullptr) {
        const char* const reason = dlerror();
        OxLog_WaitUntilWritten(kLogWaitMs);
        OxWriteLog(failureLevel, kLogSource, __LINE__, "LoadLibrary fail\r\n");
        OxWriteLog(failureLevel, kLogSource, __LINE__, "[LoadLibrary] %.4000s\r\n",
                   reason != nullptr ? reason : kLibraryName);
        OxLog_WaitUntilWritten(kLogWaitMs);
        return nullptr;
    }
    const link_map* file = nullptr;
    if (dlinfo(library, RTLD_DI_LINKMAP, &file) == 0) {
        OxLog_WaitUntilWritten(kLogWaitMs);
        OX_LOG_INFO("[LoadLibrary] camera control: %.4000s\r\n", file->l_name);
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
