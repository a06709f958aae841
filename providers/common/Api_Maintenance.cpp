// Api_Maintenance.cpp - exported functions: registers, network, files, upgrade, and what is not offered.
#include "providers/common/ApiGuard.h"
#include "providers/common/DeviceText.h"

using namespace ox3d;

namespace {

constexpr uint32_t kIpModeLinkLocal = 0x04;
constexpr int64_t kMaxMemoryBytes = 1 << 20;

bool IsMemoryRange(const void* buffer, int64_t address, int64_t length) {
    return buffer != nullptr && address >= 0 && length > 0 && length <= kMaxMemoryBytes;
}

bool IsFileRequest(const OX_CC_FILE_ACCESS* request) {
    return request != nullptr && request->pUserFileName != nullptr && request->pDevFileName != nullptr;
}

int NotOffered(const void* argument) {
    return Code(argument == nullptr ? OX_CC_E_PARAMETER : OX_CC_E_SUPPORT);
}

} // namespace

int OX_CC_ReadMemory(void* handle, void* pBuffer, int64_t nAddress, int64_t nLength) {
    return OnCamera(handle, IsMemoryRange(pBuffer, nAddress, nLength), EIntent::Read,
                    [&](CConnection& connection) {
                        return connection.ReadMemory(static_cast<uint64_t>(nAddress), pBuffer,
                                                     static_cast<uint64_t>(nLength));
                    });
}

int OX_CC_WriteMemory(void* handle, const void* pBuffer, int64_t nAddress, int64_t nLength) {
    return OnCamera(handle, IsMemoryRange(pBuffer, nAddress, nLength), EIntent::Write,
                    [&](CConnection& connection) {
                        return connection.WriteMemory(static_cast<uint64_t>(nAddress), pBuffer,
                                                      static_cast<uint64_t>(nLength));
                    });
}

int OX_GIGE_ForceIp(void* handle, uint32_t nIp) {
    return OnHandle(handle, true, [&](CSession& session) { return session.ForceIp(nIp, nullptr); });
}

int OX_GIGE_ForceIpEx(void* handle, uint32_t nIp, uint32_t nSubNetMask, uint32_t nDefaultGateWay) {
    return OnHandle(handle, true, [&](CSession& session) {
        const uint32_t maskAndGateway[] = {nSubNetMask, nDefaultGateWay};
        return session.ForceIp(nIp, maskAndGateway);
    });
}

int OX_GIGE_SetIpConfig(void* handle, uint32_t nType) {
    const bool isKnown =
        nType == OX_GIGE_IP_CFG_STATIC || nType == OX_GIGE_IP_CFG_DHCP || nType == OX_GIGE_IP_CFG_LLA;
    return OnHandle(handle, isKnown, [&](CSession& session) {
        const uint32_t bits = (nType >> kIpModeShift) & kIpModeBits;
        // Link-local is on in every mode and stands for itself only when it is alone.
        return session.SetIpMode(bits == kIpModeLinkLocal ? bits : bits & ~kIpModeLinkLocal);
    });
}

int OX_GIGE_SetGvcpTimeout(void* handle, uint32_t nMillisec) {
    return OnHandle(handle, true, [&](CSession& session) {
        session.m_gvcpTimeoutMs = nMillisec;
        session.Camera().SetControlTimeout(nMillisec);
        return kOk;
    });
}

int OX_GIGE_GetGvcpTimeout(void* handle, uint32_t* pnMillisec) {
    return OnHandle(handle, pnMillisec != nullptr, [&](CSession& session) {
        *pnMillisec = session.m_gvcpTimeoutMs;
        return kOk;
    });
}

int OX_CC_FileAccessRead(void* handle, OX_CC_FILE_ACCESS* pstFileAccess) {
    return OnHandle(handle, IsFileRequest(pstFileAccess), [&](CSession& session) {
        return session.ReadDeviceFile(pstFileAccess->pDevFileName, pstFileAccess->pUserFileName);
    });
}

int OX_CC_FileAccessWrite(void* handle, OX_CC_FILE_ACCESS* pstFileAccess) {
    return OnHandle(handle, IsFileRequest(pstFileAccess), [&](CSession& session) {
        return session.WriteDeviceFile(pstFileAccess->pDevFileName, pstFileAccess->pUserFileName);
    });
}

int OX_CC_GetFileAccessProgress(void* handle, OX_CC_FILE_ACCESS_PROGRESS* pstProgress) {
    return OnHandle(handle, pstProgress != nullptr, [&](CSession& session) {
        *pstProgress = session.FileProgress();
        return kOk;
    });
}

int OX_CC_LocalUpgrade(void* handle, const void* pFilePathName) {
    return OnHandle(handle, pFilePathName != nullptr, [&](CSession& session) {
        return session.StartUpgrade(static_cast<const char*>(pFilePathName));
    });
}

int OX_CC_GetUpgradeProcess(void* handle, uint32_t* pnProcess) {
    return OnHandle(handle, pnProcess != nullptr,
                    [&](CSession& session) { return session.UpgradePercent(pnProcess); });
}

// Saving and showing pictures is left to applications: their records have no agreed layout.
int OX_CC_SaveImageEx(void* pstSaveParam) {
    return NotOffered(pstSaveParam);
}

int OX_CC_SaveImageEx2(void* handle, void* pstSaveParam) {
    return OnHandle(handle, true, [&](CSession&) { return NotOffered(pstSaveParam); });
}

int OX_CC_DisplayOneFrame(void* handle, void* pstDisplayInfo) {
    return OnHandle(handle, true, [&](CSession&) { return NotOffered(pstDisplayInfo); });
}
