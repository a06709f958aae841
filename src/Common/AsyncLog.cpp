// The process-wide log. Relies on the node ring for its queue; only the writer thread touches the file after
// Init, and it never takes the process-wide mutex.
#include "Common/AsyncLog.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <new>

#include "Common/NeverDestroyed.h"
#include "ox3drgbd/Ox3dRgbdDefine.h"

namespace {

constexpr uint32_t kRingNodeCount = 300; // the ring takes this as its default of 10 slots
constexpr uint32_t kLineSizeBytes = 8192;
constexpr uint32_t kLevelSizeBytes = 4;
constexpr uint32_t kDefaultSizeLimitBytes = 0x500000;
constexpr useconds_t kWriterPollUs = 5000;
constexpr size_t kNameSizeBytes = 256;

constexpr const char* kLevelNames[] = {"Null", "Error", "Warning", "Info", "All"};

/// What all callers share. The line buffer stands here and not on the stack, because the threads that log are
/// often not ours and their stacks may be small.
struct SLogState {
    COXMutex mutex;
    COxAsyncLog* pInstance OX_GUARDED_BY(mutex) = nullptr;
    COxAsyncLog* pAbandoned OX_GUARDED_BY(mutex) = nullptr;
    int32_t nReferences OX_GUARDED_BY(mutex) = 0;
    char achLine[kLineSizeBytes + 1] OX_GUARDED_BY(mutex) = {};
};

// Never destroyed: a thread of the camera library may still log while the process exits.
SLogState& LogState() {
    static ox3d::CNeverDestroyed<SLogState> s_state;
    return s_state.Get();
}

// Fork. The child has no writer thread; the writer may have been inside the ring's mutex or the stream's
// lock, so that neither may be touched again. The child forgets the instance (a pointer is kept for leak
// checkers) and may create a new one. The mutex is held across the fork, and made anew in the child, since a
// recursive mutex belongs to a thread id that the child does not have.
void BeforeFork() OX_NO_THREAD_SAFETY_ANALYSIS {
    LogState().mutex.Lock();
}

void AfterForkInParent() OX_NO_THREAD_SAFETY_ANALYSIS {
    LogState().mutex.Unlock();
}

void AfterForkInChild() OX_NO_THREAD_SAFETY_ANALYSIS {
    SLogState& state = LogState();
    OX_LeaveMutex(state.mutex.Native());
    OX_InitializeMutex(state.mutex.Native());
    state.pAbandoned = state.pInstance;
    state.pInstance = nullptr;
    g_bLogDebugMode.store(false, std::memory_order_relaxed);
}

// At load and not at the first use, so that no fork can come in between. Without memory for it there is
// nothing better to do than to go on.
[[maybe_unused]] const int g_nForkWatch = pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild);

/// The instance, tidied up if its writer has ended on its own, or null.
COxAsyncLog* UsableInstance(SLogState& state) OX_REQUIRES(state.mutex) {
    if (state.pInstance != nullptr) {
        state.pInstance->ReapEndedWriter();
    }
    return state.pInstance;
}

/// Header and message in pLine, which has room for kLineSizeBytes and a zero. False when they do not fit.
__attribute__((format(printf, 4, 0))) bool FormatLine(char* pLine, const char* pSourceFile, int nLine,
                                                      const char* pFormat, va_list args) {
    const time_t nNow = time(nullptr);
    tm stNow{};
    localtime_r(&nNow, &stNow);
    // Kept: the file-name field of a path without a backslash, and that is every path here, reads "(null)".
    const char* const pName = GetFileName(pSourceFile);
    const int nHeader = snprintf(pLine, kLineSizeBytes + 1,
                                 "[%04d-%02d-%02d %02d:%02d:%02d] | %20s-L%04d: ", stNow.tm_year + 1900,
                                 stNow.tm_mon + 1, stNow.tm_mday, stNow.tm_hour, stNow.tm_min, stNow.tm_sec,
                                 pName != nullptr ? pName : "(null)", nLine);
    if (nHeader < 0 || static_cast<uint32_t>(nHeader) > kLineSizeBytes) {
        return false;
    }
    const uint32_t nRoom = kLineSizeBytes - static_cast<uint32_t>(nHeader);
    const int nMessage = vsnprintf(pLine + nHeader, nRoom + 1, pFormat, args);
    return nMessage >= 0 && static_cast<uint32_t>(nMessage) <= nRoom;
}

__attribute__((format(printf, 5, 0))) void QueueLine(SLogState& state, _TRACE_LEVEL_ enLevel,
                                                     const char* pSourceFile, int nLine, const char* pFormat,
                                                     va_list args) OX_REQUIRES(state.mutex) {
    COxAsyncLog* const pLog = UsableInstance(state);
    if (pLog == nullptr || pSourceFile == nullptr || pFormat == nullptr || enLevel > TRACE_LEVEL_ALL) {
        return;
    }
    // Kept: the level's name is looked up and never written; readers of the file know the line without it.
    [[maybe_unused]] const char* const pLevelName = kLevelNames[enLevel];
    // A full queue loses the line, unformatted: logging never waits and never fails its caller.
    if (pLog->HasRoom() && FormatLine(state.achLine, pSourceFile, nLine, pFormat, args)) {
        pLog->AddtoList(enLevel, state.achLine, static_cast<unsigned int>(strlen(state.achLine)));
    }
}

} // namespace

std::atomic<bool> g_bLogDebugMode{false};

COxAsyncLog::COxAsyncLog() noexcept {
    ResetMember();
}

COxAsyncLog::~COxAsyncLog() {
    DeInit();
    SLogState& state = LogState();
    const COXLock lock(&state.mutex);
    if (state.pInstance == this) {
        state.pInstance = nullptr;
    }
}

void COxAsyncLog::ResetMember() noexcept {
    m_pFile = nullptr;
    m_pBufCtrl = nullptr;
    m_nRunning = 0;
    m_hThread = nullptr;
    m_nLevel = TRACE_LEVEL_NULL;
    m_nDebugMode = 0;
    memset(m_chPrimaryName, 0, sizeof(m_chPrimaryName));
    memset(m_chBackupName, 0, sizeof(m_chBackupName));
    m_nSizeLimitBytes = kDefaultSizeLimitBytes;
}

uint32_t COxAsyncLog::Init(const char* pDir, unsigned int nLogSizeMiB) noexcept {
    if (m_nRunning != 0) {
        return OX3D_RGBD_OK; // the file is the writer's now
    }
    ReapEndedWriter();
    const bool bHasDir = pDir != nullptr;
    snprintf(m_chPrimaryName, sizeof(m_chPrimaryName), "%s%sOx3dRgbd_00.log", bHasDir ? pDir : "",
             bHasDir ? "/" : "");
    snprintf(m_chBackupName, sizeof(m_chBackupName), "%s%sOx3dRgbd_01.log", bHasDir ? pDir : "",
             bHasDir ? "/" : "");
    m_nSizeLimitBytes = nLogSizeMiB << 20;
    const uint32_t nStatus = CreateLogFile(m_chPrimaryName, 1);
    if (nStatus != OX3D_RGBD_OK) {
        printf("Failed create log file (%s)!\r\n", m_chPrimaryName);
        return nStatus;
    }
    if (!CreateRing() || !StartWriter()) {
        Release();
        return OX3D_RGBD_E_MEMORY;
    }
    return OX3D_RGBD_OK;
}

bool COxAsyncLog::CreateRing() noexcept {
    if (m_pBufCtrl != nullptr) {
        return true;
    }
    m_pBufCtrl = new (std::nothrow) CBufCtrl;
    return m_pBufCtrl != nullptr &&
           m_pBufCtrl->Init(kRingNodeCount, kLineSizeBytes, kLevelSizeBytes, 0, 0) == OX3D_RGBD_OK;
}

// The writer is born with the application's signals blocked, so that none of its handlers ever runs there.
// The ones that a fault raises stay open: blocked, they would kill the process before a crash handler sees
// them.
bool COxAsyncLog::StartWriter() noexcept {
    sigset_t stBlocked;
    sigset_t stBefore;
    sigfillset(&stBlocked);
    for (const int nSignal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
        sigdelset(&stBlocked, nSignal);
    }
    m_nRunning = 1;
    pthread_sigmask(SIG_SETMASK, &stBlocked, &stBefore);
    m_hThread = OX_CreateThread(nullptr, WriteLogThread, this);
    pthread_sigmask(SIG_SETMASK, &stBefore, nullptr);
    return m_hThread != nullptr;
}

uint32_t COxAsyncLog::DeInit() noexcept {
    Release();
    return OX3D_RGBD_OK;
}

// What is still queued is discarded, not drained.
void COxAsyncLog::Release() noexcept {
    m_nRunning = 0;
    if (m_hThread != nullptr) {
        OX_WaitForThreadEnd(m_hThread);
        OX_DestroyThread(m_hThread);
        m_hThread = nullptr;
    }
    delete m_pBufCtrl;
    m_pBufCtrl = nullptr;
    CloseLogFile();
}

// The writer cannot join itself, so it drops the running flag and ends; a handle without the flag is its
// mark.
void COxAsyncLog::ReapEndedWriter() noexcept {
    if (m_nRunning == 0 && m_hThread != nullptr) {
        Release();
    }
}

uint32_t COxAsyncLog::SetLevel(_TRACE_LEVEL_ enLevel) noexcept {
    if (static_cast<uint32_t>(enLevel) > TRACE_LEVEL_ALL) {
        return OX3D_RGBD_E_PARAMETER;
    }
    m_nLevel = static_cast<int32_t>(enLevel);
    return OX3D_RGBD_OK;
}

uint32_t COxAsyncLog::SetDebugMode(int nDebugMode) noexcept {
    m_nDebugMode = nDebugMode;
    return OX3D_RGBD_OK;
}

int COxAsyncLog::GetDebugMode() const noexcept {
    return m_nDebugMode;
}

bool COxAsyncLog::HasRoom() const noexcept {
    return m_nRunning != 0 && m_pBufCtrl != nullptr && m_pBufCtrl->GetSpareNode() != nullptr;
}

uint32_t COxAsyncLog::AddtoList(_TRACE_LEVEL_ enLevel, const char* pText,
                                unsigned int nLengthBytes) noexcept {
    if (m_pBufCtrl == nullptr || m_nRunning == 0) {
        return OX3D_RGBD_E_STATE;
    }
    DATA_NODE* const pNode = m_pBufCtrl->GetSpareNode();
    if (pNode == nullptr) {
        return OX3D_RGBD_E_MEMORY;
    }
    if (pText == nullptr || pNode->nMainSizeBytes < nLengthBytes) {
        return OX3D_RGBD_E_PARAMETER;
    }
    pNode->nMainLengthBytes = 0;
    pNode->nExtraLengthBytes = 0;
    if (pNode->pMainBuf != nullptr) {
        // A text that fills the node has no terminator there; the writer reads with the node's bound.
        memcpy(pNode->pMainBuf, pText, nLengthBytes);
        if (nLengthBytes < pNode->nMainSizeBytes) {
            pNode->pMainBuf[nLengthBytes] = 0;
        }
        pNode->nMainLengthBytes = nLengthBytes;
    }
    if (pNode->pExtraBuf != nullptr) {
        const auto nLevel = static_cast<int32_t>(enLevel);
        memcpy(pNode->pExtraBuf, &nLevel, sizeof(nLevel));
        // Kept: the main length, not the extra one, is what records the level's 4 bytes. The writer measures
        // the text itself.
        pNode->nMainLengthBytes = kLevelSizeBytes;
    }
    m_pBufCtrl->CommitWrite();
    return OX3D_RGBD_OK;
}

uint32_t COxAsyncLog::CreateLogFile(const char* pName, int nAppend) noexcept {
    const uint32_t nStatus = OpenLogFile(pName, nAppend);
    if (nStatus == OX3D_RGBD_E_MEMORY) {
        Release();
    }
    return nStatus;
}

// CreateLogFile without the release, which the writer must leave to others.
uint32_t COxAsyncLog::OpenLogFile(const char* pName, int nAppend) noexcept {
    if (pName == nullptr || (nAppend != 0 && nAppend != 1)) {
        puts("Invaile input value!\r");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (strnlen(pName, kNameSizeBytes + 1) > kNameSizeBytes) {
        return OX3D_RGBD_E_PARAMETER;
    }
    CloseLogFile();
    m_pFile =
        fopen(pName, nAppend == 1 ? "ab+e" : "wb+e"); // 'e': a program that is started does not inherit it
    if (m_pFile == nullptr) {
        return OX3D_RGBD_E_MEMORY;
    }
    // Every line is flushed at once anyway; without a buffer a forked child has none to flush a second time.
    setvbuf(m_pFile, nullptr, _IONBF, 0);
    return OX3D_RGBD_OK;
}

void COxAsyncLog::CloseLogFile() noexcept {
    if (m_pFile != nullptr) {
        fclose(m_pFile);
        m_pFile = nullptr;
    }
}

uint32_t COxAsyncLog::BackUpLogFile(const char* pPrimary, const char* pBackup) noexcept {
    if (pPrimary == nullptr || pBackup == nullptr) {
        puts("Invaile input value!\r");
        return OX3D_RGBD_E_PARAMETER;
    }
    char chPrimary[kNameSizeBytes];
    char chBackup[kNameSizeBytes];
    snprintf(chPrimary, sizeof(chPrimary), "%s", pPrimary);
    snprintf(chBackup, sizeof(chBackup), "%s", pBackup);
    bool bFound = access(chPrimary, F_OK) == 0;
    if (!bFound) {
        bFound = access(chPrimary, F_OK) == 0; // somebody may just have been replacing it
    }
    if (!bFound) {
        puts("Failed find log file!\r");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (access(chBackup, F_OK) == 0) {
        const bool bRemoved = remove(chBackup) == 0;
        printf("%s to delete the log file(%s)!\r\n", bRemoved ? "succeed" : "fail", chBackup);
    }
    // Kept: a failed rename is reported and taken for done. The caller then truncates the primary, so that
    // the log stays within its size whatever happens to the backup.
    const bool bRenamed = rename(chPrimary, chBackup) == 0;
    printf("%s change the filename form (%s) to (%s)!\r\n", bRenamed ? "Success" : "Failed", chPrimary,
           chBackup);
    return OX3D_RGBD_OK;
}

void* COxAsyncLog::WriteLogThread(void* pSelf) noexcept {
    if (pSelf != nullptr) {
        static_cast<COxAsyncLog*>(pSelf)->WriteLogThreadProc();
    }
    return nullptr;
}

void COxAsyncLog::WriteLogThreadProc() noexcept {
    while (m_nRunning != 0) {
        const DATA_NODE* const pNode = m_pBufCtrl->GetDataNode();
        if (pNode == nullptr) {
            usleep(kWriterPollUs);
            continue;
        }
        // After a failed rotation the node is taken again, now without a file, and given back unwritten.
        if (WriteNode(pNode)) {
            m_pBufCtrl->CommitRead();
        }
    }
}

/// False when the node must not be given back.
bool COxAsyncLog::WriteNode(const DATA_NODE* pNode) noexcept {
    int32_t nLevel = 0;
    if (pNode->pExtraBuf != nullptr) {
        memcpy(&nLevel, pNode->pExtraBuf, sizeof(nLevel));
    }
    if (nLevel > m_nLevel || m_pFile == nullptr) {
        return true;
    }
    const char* const pText = reinterpret_cast<const char*>(pNode->pMainBuf);
    fwrite(pText, 1, strnlen(pText, pNode->nMainSizeBytes), m_pFile);
    fflush(m_pFile);
    const long nPosition = ftell(m_pFile);
    return nPosition < 0 || static_cast<uint64_t>(nPosition) < m_nSizeLimitBytes || RotateLogFile();
}

bool COxAsyncLog::RotateLogFile() noexcept {
    CloseLogFile();
    if (BackUpLogFile(m_chPrimaryName, m_chBackupName) != OX3D_RGBD_OK) {
        printf("Failed renmame logfile name (%s) to (%s)!\r\n", m_chPrimaryName, m_chBackupName);
        return false;
    }
    if (OpenLogFile(m_chPrimaryName, 0) != OX3D_RGBD_OK) {
        m_nRunning = 0; // the next caller joins this thread and frees the rest
        printf("Failed create log file (%s)!\r\n", m_chPrimaryName);
        return false;
    }
    return true;
}

uint32_t CreateAsyncLog(const char* pDir, unsigned int nLogSizeMiB) noexcept {
    SLogState& state = LogState();
    const COXLock lock(&state.mutex);
    if (UsableInstance(state) == nullptr) {
        state.pInstance = new (std::nothrow) COxAsyncLog;
        // Kept: an instance that failed to start stays, released, until the next DestroyAsyncLog; it refuses
        // lines, and a later CreateAsyncLog only counts.
        if (state.pInstance == nullptr || state.pInstance->Init(pDir, nLogSizeMiB) != OX3D_RGBD_OK) {
            return OX3D_RGBD_E_MEMORY;
        }
    }
    ++state.nReferences;
    return OX3D_RGBD_OK;
}

void DestroyAsyncLog() noexcept {
    SLogState& state = LogState();
    const COXLock lock(&state.mutex);
    state.nReferences = std::max(state.nReferences - 1, 0);
    if (state.nReferences == 0 && state.pInstance != nullptr) {
        g_bLogDebugMode.store(false, std::memory_order_relaxed);
        delete state.pInstance; // takes the mutex again and clears the pointer
    }
}

void OxLog_SetLevel(_TRACE_LEVEL_ enLevel) noexcept {
    SLogState& state = LogState();
    const COXLock lock(&state.mutex);
    if (COxAsyncLog* const pLog = UsableInstance(state)) {
        pLog->SetLevel(enLevel);
    }
}

void OxLog_SetDebugMode(int nDebugMode) noexcept {
    SLogState& state = LogState();
    const COXLock lock(&state.mutex);
    if (COxAsyncLog* const pLog = UsableInstance(state)) {
        pLog->SetDebugMode(nDebugMode);
        g_bLogDebugMode.store(nDebugMode != 0, std::memory_order_relaxed);
    }
}

void OxWriteLog(_TRACE_LEVEL_ enLevel, const char* pSourceFile, int nLine, const char* pFormat,
                ...) noexcept {
    SLogState& state = LogState();
    const COXLock lock(&state.mutex);
    va_list args;
    va_start(args, pFormat);
    QueueLine(state, enLevel, pSourceFile, nLine, pFormat, args);
    va_end(args);
}

void OxWriteLogDebugMode(_TRACE_LEVEL_ enLevel, const char* pSourceFile, int nLine, const char* pFormat,
                         ...) noexcept {
    SLogState& state = LogState();
    const COXLock lock(&state.mutex);
    if (state.pInstance == nullptr || state.pInstance->GetDebugMode() == 0) {
        return;
    }
    va_list args;
    va_start(args, pFormat);
    QueueLine(state, enLevel, pSourceFile, nLine, pFormat, args);
    va_end(args);
}

// Takes no lock: it touches no shared state.
const char* GetFileName(const char* pPath) noexcept {
    const char* const pBackslash = pPath != nullptr ? strrchr(pPath, '\\') : nullptr;
    return pBackslash != nullptr ? pBackslash + 1 : nullptr;
}
