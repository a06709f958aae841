// Manager_Delivery.cpp - frames handed to the application: pushed on the camera library's delivery thread, or
// pulled on the application's.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <optional>
#include <string_view>

#include "base/Cancellation.h"
#include "base/ExceptionBarrier.h"
#include "src/Common/AsyncLog.h"
#include "src/Common/Time.h"
#include "src/Manager/Manager.h"
#include <ox3drgbd/Ox3dRgbdExtension.h>

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";

struct ExceptionRow {
    uint32_t m_id;
    std::string_view m_text;
};

// "Device offline" in GBK is part of the interface: applications show these bytes.
constexpr ExceptionRow kExceptions[] = {
    {OX3D_RGBD_EXCEPTION_OFFLINE, "\xC9\xE8\xB1\xB8\xB5\xF4\xCF\xDF"},
    {OX3D_RGBD_EXCEPTION_RETRYING, "device lost, looking for it"},
    {OX3D_RGBD_EXCEPTION_RECONNECTED, "device is back"},
};

// An application's callback must not unwind through the camera library's frames.
template <class Call>
void CallApplication(const char* operation, Call&& call) {
    ox3d::ExceptionBarrier(call, [operation](const std::exception* error) {
        if (error != nullptr) {
            OX_LOG_ERROR("[%s] the application's callback threw: %s\r\n", operation, error->what());
        } else {
            OX_LOG_ERROR("[%s] the application's callback threw.\r\n", operation);
        }
    });
}

void VirtualImageCallBack(uint8_t* data, OX_FRAME_OUT_INFO_EX* info, void* user) {
    if (user == nullptr) {
        OX_LOG_ERROR("VirtualImageCallBack, pUser is null!\r\n");
        return;
    }
    static_cast<CManager*>(user)->ImageCallBack(data, info);
}

void VirtualExceptionCallBack(uint32_t message, void* user) {
    if (user == nullptr) {
        OX_LOG_ERROR("VirtualExceptionCallBack, pUser is null!\r\n");
        return;
    }
    static_cast<CManager*>(user)->ExceptionCallBack(message);
}

} // namespace

// A device that is looked for is registered with when it is back.
uint32_t CManager::RegisterImageTrampoline(CCameraModule* camera) {
    return camera->IsLetGo() ? OX3D_RGBD_OK : camera->RegisterImageCallBack(&VirtualImageCallBack, this);
}

uint32_t CManager::RegisterExceptionTrampoline(CCameraModule* camera) {
    return camera->IsLetGo() ? OX3D_RGBD_OK
                             : camera->RegisterExceptionCallBack(&VirtualExceptionCallBack, this);
}

uint32_t CManager::RegisterFrameCallBack(OX3D_RGBD_FrameDataCallBack callback, void* user) {
    CCameraModule* camera = m_pcCamera;
    if (camera == nullptr) {
        OX_LOG_ERROR("[RegisterFrameCallBack] The camera is not connect \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const COXLock lock(&m_lifecycleMutex);
    const uint32_t status = RegisterImageTrampoline(camera);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[RegisterFrameCallBack] register image callback fail nRet:[%#x].\r\n", status);
        return status;
    }
    m_isFrameTrampolineSet = true;
    m_frameCallback.Publish({callback, user});
    if (callback != nullptr) {
        OX_LOG_INFO("[RegisterFrameCallBack] register RegisterDataCB success\r\n");
    } else {
        OX_LOG_INFO("[RegisterFrameCallBack] Cancel  register RegisterDataCB success\r\n");
    }
    return OX3D_RGBD_OK;
}

uint32_t CManager::RegisterExceptionCB(OX3D_RGBD_ExceptionCallBack callback, void* user) {
    CCameraModule* camera = m_pcCamera;
    if (camera == nullptr) {
        OX_LOG_ERROR("[RegisterExceptionCB] The camera is not connect \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const COXLock lock(&m_lifecycleMutex);
    // Published first: the loss of the device during the registration is reported too.
    const auto former = m_exceptionCallback.Publish({callback, user});
    const uint32_t status = RegisterExceptionTrampoline(camera);
    if (status != OX3D_RGBD_OK) {
        m_exceptionCallback.Publish(former);
        OX_LOG_ERROR("[RegisterExceptionCB] register exception callback fail nRet:[%#x].\r\n", status);
    }
    return status;
}

void CManager::DropCallbacks() {
    m_frameCallback.Publish({});
    m_exceptionCallback.Publish({});
}

void CManager::WaitForCallbacks() {
    m_frameCallback.WaitIdle();
    m_exceptionCallback.WaitIdle();
}

void CManager::ExceptionCallBack(uint32_t message) {
    if (message != OX_CC_EXCEPTION_DEV_DISCONNECT) {
        OX_LOG_WARNING("[ExceptionCallBack] message [%#x] is not passed on.\r\n", message);
        return;
    }
    if (!m_reconnector.NoteLoss()) {
        TellApplication(OX3D_RGBD_EXCEPTION_OFFLINE);
    }
}

void CManager::TellApplication(uint32_t exceptionId) {
    const ox3d::CCallbackCall call(m_exceptionCallback, this);
    if (!call) {
        return;
    }
    OX3D_RGBD_EXCEPTION_INFO info;
    memset(&info, 0, sizeof(info));
    info.nExceptionId = exceptionId;
    for (const ExceptionRow& row : kExceptions) {
        if (row.m_id == exceptionId) {
            memcpy(info.chExceptionDes, row.m_text.data(), row.m_text.size());
        }
    }
    CallApplication("ExceptionCallBack", [&] { call(&info); });
}

void CManager::NoteFrameNumber(const char* operation, uint32_t frameNumber) {
    const uint32_t last = m_lastFrameNum.exchange(frameNumber, std::memory_order_relaxed);
    if (frameNumber != last + 1 && frameNumber != 1) {
        OX_LOG_WARNING("[%s] error lost frameID from[%d] to [%d].\r\n", operation, last, frameNumber);
    }
}

// What push and pull share. A record is filled whatever became of the chunks.
uint32_t CManager::AssembleFrame(const char* operation, const RawFrame& main, OX3D_RGBD_FRAME_DATA* frame) {
    const OX_FRAME_OUT_INFO_EX& info = main.m_info;
    uint32_t status =
        UpdateChunkDataToLocal(info.pUnparsedChunkContent, info.nUnparsedChunkNum, info.nWidth, info.nHeight);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[%s] UpdateChunkDataToLocal fail [%#x]\r\n", operation, status);
    }
    memset(frame, 0, sizeof(*frame));
    status = FillFrameData(frame, &main);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[%s] FillFrameData fail [%#x]\r\n", operation, status);
    }
    return status;
}

void CManager::ImageCallBack(uint8_t* data, OX_FRAME_OUT_INFO_EX* info) {
    const HostTimes arrival = ReadHostTimes(); // first: nothing of the library's own is to be in it
    if (data == nullptr) {
        OX_LOG_ERROR("[ImageCallBack] param  pData is null.\r\n");
        return;
    }
    if (info == nullptr) {
        OX_LOG_ERROR("[ImageCallBack] param  pFrameInfo is null.\r\n");
        return;
    }
    if (m_isGrabbing == 0) {
        OX_LOG_ERROR("[ImageCallBack] ImageCallBack begin, but not start job!\r\n");
        return;
    }
    NoteFrameNumber("ImageCallBack", info->nFrameNum);
    if (!m_frameCallback.IsRegistered()) {
        return;
    }
    // Lock before counting the call in flight; otherwise a callback that unregisters itself waits for a
    // queued frame. The lock is also released before the count: from then on the manager may be destroyed.
    std::optional<ox3d::CCallbackCall<OX3D_RGBD_FrameDataCallBack>> call;
    const COXLock lock(&m_callbackMutex);
    call.emplace(m_frameCallback, this);
    if (!*call) {
        return;
    }
    const CAssembling assembling(m_assembler);
    ClearAllLocalData();
    // A copy: a callback may stop the device, and the camera library's record may go with the acquisition.
    const OX_FRAME_OUT_INFO_EX taken = *info;
    OX3D_RGBD_FRAME_DATA frame;
    if (AssembleFrame("ImageCallBack", {data, taken, true, arrival}, &frame) != OX3D_RGBD_OK) {
        return;
    }
    const double begin = MyMilliseconds();
    CallApplication("ImageCallBack", [&] { (*call)(&frame); });
    OX_LOG_DEBUG(
        "[ImageCallBack] Callback: Get frame (%d) Type(%#x)  hight(%d) width(%d) Len (%d)from Camera "
        "cost time (%f)!\r\n",
        taken.nFrameNum, static_cast<uint32_t>(taken.enPixelType), taken.nHeight, taken.nWidth,
        taken.nFrameLen, MyMilliseconds() - begin);
}

bool CManager::WaitForFrame(CCameraModule* camera, uint32_t timeoutMs, OX_FRAME_OUT* raw,
                            std::optional<CCameraModule::CUse>* use) {
    constexpr uint32_t kForever = 0xFFFFFFFF;
    constexpr uint32_t kMaxLostMs = 1000; // so that a stop or a close gets in
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    const auto until = steady_clock::now() + milliseconds(timeoutMs);
    for (uint32_t leftMs = timeoutMs;;) {
        use->emplace(camera->Handle());
        memset(raw, 0, sizeof(*raw));
        if (camera->GetImageBuffer(raw, leftMs) == OX3D_RGBD_OK) {
            return true;
        }
        use->reset();
        if (!m_reconnector.IsLost()) {
            return false;
        }
        const ox3d::CCancellationPoint waiting;
        const auto lostUntil = timeoutMs == kForever ? steady_clock::now() + milliseconds(kMaxLostMs) : until;
        if (!m_reconnector.WaitUntilBack(lostUntil)) {
            return false;
        }
        if (timeoutMs != kForever) {
            const auto left = std::chrono::ceil<milliseconds>(until - steady_clock::now()).count();
            leftMs = static_cast<uint32_t>(std::max<int64_t>(left, 0));
        }
    }
}

uint32_t CManager::FetchFrame(OX3D_RGBD_FRAME_DATA* frame, uint32_t timeoutMs) {
    if (frame == nullptr) {
        OX_LOG_ERROR("[FetchFrame] pFrameData is invalid. \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    CCameraModule* camera = m_pcCamera;
    if (camera == nullptr) {
        OX_LOG_ERROR("[FetchFrame] The camera is not connect.\r\n");
        return OX3D_RGBD_E_STATE;
    }
    if (m_isGrabbing == 0) {
        OX_LOG_ERROR("[FetchFrame] The camera is not start work.\r\n");
        return OX3D_RGBD_E_STATE;
    }
    // A callback that was just unregistered may still run on another thread, on the buffers needed here.
    if (m_frameCallback.IsRegistered() || m_frameCallback.IsBusyElsewhere()) {
        OX_LOG_INFO("[FetchFrame] Have already register result output,  not support use this func.\r\n");
        return OX3D_RGBD_E_STATE;
    }
    OX_FRAME_OUT raw;
    std::optional<CCameraModule::CUse> use; // as long as the buffer is lent
    if (!WaitForFrame(camera, timeoutMs, &raw, &use)) {
        return OX3D_RGBD_E_NO_DATA;
    }
    const HostTimes arrival = ReadHostTimes();
    const COwnedLock lock(m_frameMutex);
    const OX_FRAME_OUT_INFO_EX& info = raw.stFrameInfo;
    OX_LOG_DEBUG("[FetchFrame] GetImageBuffer info[%d] [%d] [%#x] [%d].\r\n", info.nWidth, info.nHeight,
                 static_cast<uint32_t>(info.enPixelType), info.nFrameNum);
    NoteFrameNumber("FetchFrame", info.nFrameNum);
    const double begin = MyMilliseconds();
    const uint32_t status = AssembleFetched(frame, &raw, arrival, *use);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    OX_LOG_DEBUG("[FetchFrame]  ReceiveDataSet  total cost[%f]ms.\r\n", MyMilliseconds() - begin);
    OX_LOG_DEBUG("[FetchFrame] GetImageBuffer info[%d] [%d] [%d].\r\n", info.nWidth, info.nHeight,
                 info.nFrameNum);
    return OX3D_RGBD_OK;
}

// From the camera-control library's buffer to the application's record; every path but one gives the buffer
// back.
uint32_t CManager::AssembleFetched(OX3D_RGBD_FRAME_DATA* frame, OX_FRAME_OUT* raw, const HostTimes& arrival,
                                   const CCameraModule::CUse& lender) {
    CCameraModule* camera = m_pcCamera;
    const OX_FRAME_OUT_INFO_EX& info = raw->stFrameInfo;
    const CAssembling assembling(m_assembler);
    ClearAllLocalData();
    const uint8_t* const former = m_imageBuf.Data();
    const bool isRoom = m_imageBuf.Grow(info.nFrameLen);
    if (m_imageBuf.Data() != former) {
        m_notes.Forget();
    }
    if (!isRoom) {
        OX_LOG_ERROR("[FetchFrame] malloc m_pImageBuff (%d) failed.\r\n", info.nFrameLen);
        // Preserved for compatibility: the camera's buffer is not given back before stop or close.
        m_heldFrames.Keep(camera, *raw);
        return OX3D_RGBD_E_MEMORY;
    }
    if (raw->pBufAddr == nullptr && info.nFrameLen != 0) {
        OX_LOG_ERROR("[FetchFrame] the camera's buffer is null.\r\n");
        camera->FreeImageBuffer(raw, lender);
        return OX3D_RGBD_E_NO_DATA;
    }
    if (info.nFrameLen != 0) {
        memcpy(m_imageBuf.Data(), raw->pBufAddr, info.nFrameLen);
    }
    uint32_t status = AssembleFrame("FetchFrame", {m_imageBuf.Data(), info, false, arrival}, frame);
    if (status != OX3D_RGBD_OK) {
        camera->FreeImageBuffer(raw, lender);
        return status;
    }
    status = camera->FreeImageBuffer(raw, lender);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[FetchFrame] FreeImageBuffer fail [%#x]\r\n", status);
    }
    return status;
}
