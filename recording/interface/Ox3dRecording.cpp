// Ox3dRecording.cpp - the C functions: check arguments, find the handle, one call, a status. No exception leaves them.
#include "base/ExceptionBarrier.h"
#include "base/NeverDestroyed.h"
#include "recording/interface/CameraRecorder.h"
#include "recording/interface/Playback.h"
#include "recording/interface/Refusal.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>

namespace ox3d {
namespace {

thread_local char t_reason[1024] = "";

uint32_t Refuse(uint32_t status, const char* reason) noexcept {
    std::snprintf(t_reason, sizeof(t_reason), "%s", reason);
    return status;
}

// A status of what `call` does, with its sentence.
template <class Call>
uint32_t Guarded(Call&& call) noexcept {
    return ExceptionBarrier(
        [&] {
            call();
            return OX3D_REC_OK;
        },
        [](const std::exception* failure) {
            const auto* const refusal = dynamic_cast<const CRefusal*>(failure);
            if (refusal != nullptr) {
                return Refuse(refusal->Status(), refusal->what());
            }
            const bool isMemory =
                failure == nullptr || dynamic_cast<const std::bad_alloc*>(failure) != nullptr;
            return Refuse(isMemory ? OX3D_REC_E_MEMORY : OX3D_REC_E_FILE,
                          isMemory ? "no memory" : failure->what());
        });
}

void Want(bool isRight) {
    if (!isRight) {
        throw CRefusal(OX3D_REC_E_PARAMETER, "an argument is null");
    }
}

// Objects by their handles. A call that has found its object keeps it, whoever closes it meanwhile.
template <class Object>
class CHandles {
public:
    void* Add(std::shared_ptr<Object> object) OX_EXCLUDES(m_mutex) {
        const CLock lock(m_mutex);
        void* const handle = object.get();
        m_objects.emplace(handle, std::move(object));
        return handle;
    }
    std::shared_ptr<Object> Find(void* handle) OX_EXCLUDES(m_mutex) {
        const CLock lock(m_mutex);
        const auto found = m_objects.find(handle);
        if (found == m_objects.end()) {
            throw CRefusal(OX3D_REC_E_HANDLE, "that is no handle, or it was closed");
        }
        return found->second;
    }
    std::shared_ptr<Object> Take(void* handle) OX_EXCLUDES(m_mutex) {
        std::shared_ptr<Object> object = Find(handle);
        const CLock lock(m_mutex);
        if (m_objects.erase(handle) == 0) { // another thread was faster
            throw CRefusal(OX3D_REC_E_HANDLE, "it was closed");
        }
        return object;
    }

private:
    CMutex m_mutex;
    std::map<void*, std::shared_ptr<Object>> m_objects OX_GUARDED_BY(m_mutex);
};

// Threads may be inside while the process ends.
CHandles<CPlayback>& Playbacks() {
    static CNeverDestroyed<CHandles<CPlayback>> handles;
    return handles.Get();
}

CHandles<CCameraRecorder>& Recorders() {
    static CNeverDestroyed<CHandles<CCameraRecorder>> handles;
    return handles.Get();
}

} // namespace
} // namespace ox3d

using namespace ox3d;

extern "C" {

const char* OX3D_REC_LastError(void) {
    return t_reason;
}

uint32_t OX3D_REC_Open(const char* pchPath, void** phRecording) {
    return Guarded([&] {
        Want(phRecording != nullptr);
        *phRecording = nullptr;
        Want(pchPath != nullptr);
        *phRecording = Playbacks().Add(std::make_shared<CPlayback>(pchPath));
    });
}

uint32_t OX3D_REC_GetInfo(void* hRecording, OX3D_REC_INFO* pInfo) {
    return Guarded([&] {
        Want(pInfo != nullptr);
        *pInfo = Playbacks().Find(hRecording)->Info();
    });
}

uint32_t OX3D_REC_GetText(void* hRecording, const char* pchName, char* pchText, uint32_t nCapacity,
                          uint32_t* pnLength) {
    return Guarded([&] {
        Want(pchName != nullptr && pnLength != nullptr);
        const std::string text = Playbacks().Find(hRecording)->Text(pchName);
        *pnLength = static_cast<uint32_t>(text.size());
        if (pchText == nullptr) {
            return;
        }
        if (nCapacity <= text.size()) {
            throw CRefusal(OX3D_REC_E_PARAMETER, "the text does not fit");
        }
        std::memcpy(pchText, text.c_str(), text.size() + 1);
    });
}

uint32_t OX3D_REC_GetIntrinsics(void* hRecording, uint32_t nCamera, OX3D_RGBD_INTRINSICS* pIntrinsics) {
    return Guarded([&] {
        Want(pIntrinsics != nullptr);
        *pIntrinsics = Playbacks().Find(hRecording)->Lens(nCamera);
    });
}

uint32_t OX3D_REC_GetExtrinsics(void* hRecording, OX3D_RGBD_EXTRINSICS* pExtrinsics) {
    return Guarded([&] {
        Want(pExtrinsics != nullptr);
        *pExtrinsics = Playbacks().Find(hRecording)->Way();
    });
}

uint32_t OX3D_REC_ReadFrame(void* hRecording, uint64_t nFrame, OX3D_REC_FRAME* pFrame) {
    return Guarded([&] {
        Want(pFrame != nullptr);
        *pFrame = Playbacks().Find(hRecording)->Read(nFrame);
    });
}

uint32_t OX3D_REC_Close(void** phRecording) {
    return Guarded([&] {
        Want(phRecording != nullptr);
        Playbacks().Take(*phRecording);
        *phRecording = nullptr;
    });
}

uint32_t OX3D_REC_Create(void* hCamera, const char* pchPath, const OX3D_REC_OPTIONS* pOptions,
                         void** phRecorder) {
    return Guarded([&] {
        Want(phRecorder != nullptr);
        *phRecorder = nullptr;
        Want(pchPath != nullptr);
        const OX3D_REC_OPTIONS options = pOptions != nullptr ? *pOptions : OX3D_REC_OPTIONS{};
        *phRecorder = Recorders().Add(std::make_shared<CCameraRecorder>(hCamera, pchPath, options));
    });
}

uint32_t OX3D_REC_AddFrame(void* hRecorder, const OX3D_RGBD_FRAME_DATA* pFrame) {
    return Guarded([&] {
        Want(pFrame != nullptr);
        Recorders().Find(hRecorder)->Add(*pFrame);
    });
}

uint32_t OX3D_REC_GetCounts(void* hRecorder, OX3D_REC_COUNTS* pCounts) {
    return Guarded([&] {
        Want(pCounts != nullptr);
        *pCounts = Recorders().Find(hRecorder)->Counts();
    });
}

uint32_t OX3D_REC_Finish(void** phRecorder, OX3D_REC_COUNTS* pCounts) {
    return Guarded([&] {
        Want(phRecorder != nullptr);
        const std::shared_ptr<CCameraRecorder> recorder = Recorders().Take(*phRecorder);
        *phRecorder = nullptr;
        OX3D_REC_COUNTS counts{};
        recorder->Finish(pCounts != nullptr ? pCounts : &counts);
    });
}

} // extern "C"
