// Api_Device.cpp - exported functions: devices, handles, exceptions and events.
#include <cstring>

#include "providers/common/ApiGuard.h"
#include "providers/common/Camera.h"

using namespace ox3d;

namespace {

constexpr uint32_t kVersion = 0x01010000;
constexpr size_t kMaxEventNameBytes = 128;

} // namespace

int OX_CC_EnumDevices(uint32_t nTLayerType, OX_CC_DEVICE_INFO_LIST* pstDevList) {
    return Guarded([&] {
        if (pstDevList == nullptr) {
            return Code(OX_CC_E_PARAMETER);
        }
        return Provider().Enumerate(nTLayerType, pstDevList);
    });
}

bool OX_CC_IsDeviceAccessible(OX_CC_DEVICE_INFO* pstDevInfo, uint32_t nAccessMode) {
    bool isAccessible = false;
    Guarded([&] {
        const auto camera = pstDevInfo == nullptr ? nullptr : Provider().Find(*pstDevInfo);
        isAccessible = camera != nullptr && camera->IsAccessible(nAccessMode);
        return kOk;
    });
    return isAccessible;
}

uint32_t OX_CC_GetSDKVersion(void) {
    return kVersion;
}

int OX_CC_CreateHandle(void** handle, const OX_CC_DEVICE_INFO* pstDevInfo) {
    return Guarded([&] {
        if (handle == nullptr || pstDevInfo == nullptr) {
            return Code(OX_CC_E_PARAMETER);
        }
        auto camera = Provider().Find(*pstDevInfo);
        if (camera == nullptr) {
            return Code(OX_CC_E_PARAMETER);
        }
        *handle = CHandleTable::Instance().Add(std::make_shared<CSession>(std::move(camera), *pstDevInfo));
        return kOk;
    });
}

int OX_CC_DestroyHandle(void* handle) {
    return Guarded([&] {
        const std::shared_ptr<CSession> session = CHandleTable::Instance().Remove(handle);
        if (session == nullptr) {
            return Code(OX_CC_E_HANDLE);
        }
        session->IsInherited() ? session->Abandon() : session->Shutdown();
        return kOk;
    });
}

// The switch-over key is for handing control on between applications, which is not offered.
int OX_CC_OpenDevice(void* handle, uint32_t nAccessMode, uint16_t /*nSwitchoverKey*/) {
    return OnHandle(handle, true, [&](CSession& session) { return session.Open(nAccessMode); });
}

int OX_CC_CloseDevice(void* handle) {
    return Guarded([&] {
        const std::shared_ptr<CSession> session = CHandleTable::Instance().Find(handle);
        if (session != nullptr && session->IsInherited()) {
            session->Abandon();
            return kOk;
        }
        return session != nullptr ? session->Close() : Code(OX_CC_E_HANDLE);
    });
}

int OX_CC_GetDeviceInfo(void* handle, OX_CC_DEVICE_INFO* pstDevInfo) {
    return OnHandle(handle, pstDevInfo != nullptr, [&](CSession& session) {
        *pstDevInfo = session.Record();
        return kOk;
    });
}

// The record of these statistics has no agreed layout: nothing can be written into it safely.
int OX_CC_GetAllMatchInfo(void* handle, void* pstInfo) {
    return OnHandle(handle, pstInfo != nullptr, [](CSession&) { return Code(OX_CC_E_SUPPORT); });
}

int OX_CC_RegisterExceptionCallBack(void* handle, OX_CC_EXCEPTION_CALLBACK pfnCallBack, void* pUser) {
    return OnHandle(handle, true, [&](CSession& session) {
        session.Callbacks().m_exception.Publish({pfnCallBack, pUser});
        return kOk;
    });
}

int OX_CC_RegisterEventCallBackEx(void* handle, const char* pEventName, OX_CC_EVENT_CALLBACK pfnCallBack,
                                  void* pUser) {
    return OnHandle(handle, pEventName != nullptr, [&](CSession& session) {
        if (strnlen(pEventName, kMaxEventNameBytes) == kMaxEventNameBytes) {
            return Code(OX_CC_E_PARAMETER);
        }
        if (!session.Camera().HasEvent(pEventName)) {
            return Code(OX_CC_E_SUPPORT);
        }
        const auto slot = session.Callbacks().Named(pEventName);
        if (slot == nullptr) {
            return Code(OX_CC_E_RESOURCE);
        }
        slot->Publish({pfnCallBack, pUser});
        return kOk;
    });
}

int OX_CC_RegisterAllEventCallBack(void* handle, OX_CC_EVENT_CALLBACK pfnCallBack, void* pUser) {
    return OnHandle(handle, true, [&](CSession& session) {
        session.Callbacks().m_allEvents.Publish({pfnCallBack, pUser});
        return kOk;
    });
}
