// libMediaProcess.so: scaling of one plane of bytes. Relies on the kernels for the pixels; every argument of
// the caller is checked here, because the kernels check nothing.
#include <ox3drgbd/OxMediaProcess.h>

#include "algorithm/dispatch/Bytes.h"
#include "algorithm/scaling/BilinearTiers.h"
#include "base/ExceptionBarrier.h"
#include "base/Mutex.h"
#include "base/NeverDestroyed.h"

#include <pthread.h>

#include <cstdint>
#include <unordered_set>

static_assert(sizeof(OX_MP_SCALING_PARAM) == 88);

namespace {

// The live handles. A handle is a number that is never given out twice and never dereferenced, so neither a
// foreign pointer nor a destroyed handle can be taken for a live one.
class CHandleTable {
public:
    void* Create() {
        const ox3d::CLock lock(m_mutex);
        const uintptr_t id = m_next;
        m_live.insert(id);
        m_next += 2;                        // odd numbers only: no object's address looks like one
        return reinterpret_cast<void*>(id); // NOLINT(performance-no-int-to-ptr): never dereferenced
    }
    bool IsLive(const void* handle) {
        const ox3d::CLock lock(m_mutex);
        return m_live.count(reinterpret_cast<uintptr_t>(handle)) != 0;
    }
    bool Destroy(const void* handle) {
        const ox3d::CLock lock(m_mutex);
        return m_live.erase(reinterpret_cast<uintptr_t>(handle)) != 0;
    }

    // No process is forked while a thread is in here: a child, which may scale with handles of its own, finds the table
    // whole and free.
    void HoldForFork(bool isHeld) OX_NO_THREAD_SAFETY_ANALYSIS { isHeld ? m_mutex.Lock() : m_mutex.Unlock(); }

private:
    ox3d::CMutex m_mutex;
    std::unordered_set<uintptr_t> m_live OX_GUARDED_BY(m_mutex);
    uintptr_t m_next OX_GUARDED_BY(m_mutex) = 1;
};

// Never destroyed: threads may still scale while the process exits.
CHandleTable& Handles() {
    static ox3d::CNeverDestroyed<CHandleTable> s_table;
    return s_table.Get();
}

// At load and not at the first use, so that no fork can come in between. A failure for want of memory is ignored.
[[maybe_unused]] const int g_forkWatch = [] {
    const auto leave = [] { Handles().HoldForFork(false); };
    return pthread_atfork([] { Handles().HoldForFork(true); }, leave, leave);
}();

bool IsSide(uint32_t pixels) {
    return pixels >= 1 && pixels <= OX_MP_MAX_SIDE;
}

constexpr uint64_t kAllRows = UINT64_MAX;

int CheckParam(const OX_MP_SCALING_PARAM& param) {
    if (param.pSrcData == nullptr || param.pDstData == nullptr) {
        return OX_MP_E_PARAMETER;
    }
    if (!IsSide(param.nSrcWidth) || !IsSide(param.nSrcHeight) || !IsSide(param.nDstWidth) ||
        !IsSide(param.nDstHeight)) {
        return OX_MP_E_SIZE;
    }
    const uint64_t srcBytes = uint64_t{param.nSrcWidth} * param.nSrcHeight;
    const uint64_t dstBytes = uint64_t{param.nDstWidth} * param.nDstHeight;
    if (param.nSrcLen < srcBytes) {
        return OX_MP_E_SOURCE_LEN;
    }
    if (param.nDstBufSize < dstBytes) {
        return OX_MP_E_DEST_LEN;
    }
    if (param.nMethod != OX_MP_METHOD_BILINEAR) {
        return OX_MP_E_METHOD;
    }
    return ox3d::Overlap(param.pSrcData, srcBytes, param.pDstData, dstBytes) ? OX_MP_E_PARAMETER : OX_MP_OK;
}

// Checks the arguments in their order and scales the rows from the first to the one before the end:
// kAllRows for the end is that of the destination.
int Scale(const void* handle, OX_MP_SCALING_PARAM* param, uint64_t firstRow, uint64_t endRow) {
    if (!Handles().IsLive(handle)) {
        return OX_MP_E_HANDLE;
    }
    if (param == nullptr) {
        return OX_MP_E_PARAMETER;
    }
    if (const int status = CheckParam(*param); status != OX_MP_OK) {
        return status;
    }
    if (endRow == kAllRows) {
        endRow = param->nDstHeight;
    }
    if (endRow > param->nDstHeight) {
        return OX_MP_E_SIZE;
    }
    ox3d::scaling::ScaleBilinear(
        {param->pSrcData, static_cast<int32_t>(param->nSrcWidth), static_cast<int32_t>(param->nSrcHeight),
         param->pDstData, static_cast<int32_t>(param->nDstWidth), static_cast<int32_t>(param->nDstHeight),
         static_cast<int32_t>(firstRow), static_cast<int32_t>(endRow)});
    param->nDstLen = param->nDstWidth * param->nDstHeight;
    return OX_MP_OK;
}

} // namespace

extern "C" void* OX_MP_CreateHandle(void) {
    return ox3d::StatusBarrier<void*>(nullptr, nullptr, [] { return Handles().Create(); });
}

extern "C" int OX_MP_Scaling(void* handle, OX_MP_SCALING_PARAM* pstParam) {
    return ox3d::StatusBarrier<int>(OX_MP_E_SCALING, OX_MP_E_SCALING,
                                    [=] { return Scale(handle, pstParam, 0, kAllRows); });
}

extern "C" int OX_MP_ScalingRows(void* handle, OX_MP_SCALING_PARAM* pstParam, uint32_t firstRow,
                                 uint32_t rows) {
    return ox3d::StatusBarrier<int>(OX_MP_E_SCALING, OX_MP_E_SCALING, [=] {
        return Scale(handle, pstParam, firstRow, uint64_t{firstRow} + rows);
    });
}

extern "C" int OX_MP_DestroyHandle(void* handle) {
    return ox3d::StatusBarrier<int>(OX_MP_E_HANDLE, OX_MP_E_HANDLE,
                                    [=] { return Handles().Destroy(handle) ? OX_MP_OK : OX_MP_E_HANDLE; });
}
