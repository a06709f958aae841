// Api_Stream.cpp - exported functions: streaming and image nodes.
#include <cstring>

#include "providers/common/ApiGuard.h"

using namespace ox3d;

namespace {

constexpr uint32_t kWholePercent = 100;

} // namespace

int OX_CC_StartGrabbing(void* handle) {
    return OnHandle(handle, true, [](CSession& session) { return session.Start(); });
}

int OX_CC_StopGrabbing(void* handle) {
    return OnHandle(handle, true, [](CSession& session) { return session.Stop(); });
}

int OX_CC_RegisterImageCallBackEx(void* handle, OX_CC_IMAGE_CALLBACK pfnCallBack, void* pUser) {
    return OnHandle(handle, true, [&](CSession& session) {
        session.Callbacks().m_image.Publish({pfnCallBack, pUser});
        session.Frames().ChangeReceiver(pfnCallBack != nullptr); // else numbers would go back
        return kOk;
    });
}

int OX_CC_GetOneFrameTimeout(void* handle, uint8_t* pData, uint32_t nDataSize,
                             OX_FRAME_OUT_INFO_EX* pstFrameInfo, uint32_t nMsec) {
    return OnHandle(handle, pData != nullptr && pstFrameInfo != nullptr, [&](CSession& session) {
        return session.FetchCopy(nMsec, pData, nDataSize, pstFrameInfo);
    });
}

int OX_CC_GetImageBuffer(void* handle, OX_FRAME_OUT* pstFrame, uint32_t nMsec) {
    return OnHandle(handle, pstFrame != nullptr, [&](CSession& session) {
        FrameNode* node = nullptr;
        const int code = session.Fetch(nMsec, UINT32_MAX, &node);
        if (code == kOk) {
            std::memset(pstFrame, 0, sizeof(*pstFrame));
            pstFrame->pBufAddr = node->m_image;
            pstFrame->stFrameInfo = node->m_info;
        }
        return code;
    });
}

int OX_CC_FreeImageBuffer(void* handle, OX_FRAME_OUT* pstFrame) {
    return OnHandle(handle, pstFrame != nullptr, [&](CSession& session) {
        return session.Frames().Return(pstFrame->pBufAddr) ? kOk : Code(OX_CC_E_PARAMETER);
    });
}

int OX_CC_SetImageNodeNum(void* handle, uint32_t nNum) {
    return OnHandle(handle, true, [&](CSession& session) {
        return session.Frames().SetNodeNum(nNum) ? kOk : Code(OX_CC_E_PARAMETER);
    });
}

int OX_CC_ClearImageBuffer(void* handle) {
    return OnHandle(handle, true, [](CSession& session) {
        session.Frames().DropWaiting();
        return kOk;
    });
}

int OX_CC_GetOptimalPacketSize(void* handle) {
    return OnCamera(handle, true, EIntent::Read,
                    [](CConnection& connection) { return connection.OptimalPacketSize(); });
}

int OX_GIGE_SetResend(void* handle, uint32_t bEnable, uint32_t nMaxResendPercent, uint32_t nResendTimeout) {
    return OnHandle(handle, nMaxResendPercent <= kWholePercent, [&](CSession& session) {
        return session.IsEthernet()
                   ? session.Camera().SetResend(bEnable != 0, nMaxResendPercent, nResendTimeout)
                   : Code(OX_CC_E_SUPPORT);
    });
}
