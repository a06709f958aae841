// AsyncLog.cpp - see AsyncLog.h. Relies on the node ring for its queue; only the writer thread touches the
// file after Init, and it never takes the process-wide mutex.
#include "src/Common/AsyncLog.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <new>

#include "base/Cancellation.h"
#include "base/NeverDestroyed.h"
#include "base/SignalMask.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace {

constexpr uint32_t kRingNodeCount = 300; // the ring takes this as its default of 10 slots
constexpr uint32_t kLineSizeBytes = 8192;
constexpr uint32_t kLevelSizeBytes = 4;
constexpr uint32_t kDefaultSizeLimitBytes = 0x500000;
constexpr useconds_t kWriterPollUs = 5000;

constexpr const char* kLevelNames[] = {"Null", "Error", "Warning", "Info", "All"};

// The state that all callers share. The line buffer is here and not on the stack: most threads that log
// belong to the application or the provider, and their stacks may be small.
struct SharedLog {
    COXMutex m_mutex;
    COxAsyncLog* m_instance OX_GUARDED_BY(m_mutex) = nullptr;
    COxAsyncLog* m_abandoned OX_GUARDED_BY(m_mutex) = nullptr;
    int32_t m_references OX_GUARDED_BY(m_mutex) = 0;
    char m_line[kLineSizeBytes + 1] OX_GUARDED_BY(m_mutex) = {};
};

// Never destroyed: a thread of the camera library may still log while the process exits.
SharedLog& LogState() {
    static ox3d::CNeverDestroyed<SharedLog> s_state;
    return s_state.Get();
}

// Fork. The child has no writer thread; the writer may have been inside the ring's mutex or the stream's
// lock, so that neither may be touched again. The child forgets the instance (a pointer stays for leak
// checkers) and may create a new one. The mutex is held across the fork, and made anew in the child, since a
// recursive mutex belongs to a thread id that the child does not have.
void BeforeFork() OX_NO_THREAD_SAFETY_ANALYSIS {
    LogState().m_mutex.Lock();
}

void AfterForkInParent() OX_NO_THREAD_SAFETY_ANALYSIS {
    LogState().m_mutex.Unlock();
}

void AfterForkInChild() OX_NO_THREAD_SAFETY_ANALYSIS {
    SharedLog& state = LogState();
    state.m_mutex.Unlock();
    state.m_mutex.Renew();
    state.m_abandoned = state.m_instance;
    state.m_instance = nullptr;
    g_isLogDebugMode.store(false, std::memory_order_relaxed);
}

// At load and not at the first use, so that no fork can come in between. A failure for want of memory is
// ignored.
[[maybe_unused]] const int g_forkWatch = pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild);

// The instance, tidied up if its writer has ended on its own, or null.
COxAsyncLog* UsableInstance(SharedLog& state) OX_REQUIRES(state.m_mutex) {
    if (state.m_instance != nullptr) {
        state.m_instance->ReapEndedWriter();
    }
    return state.m_instance;
}

// Header and message in `out`, which has room for kLineSizeBytes and a zero. False when they do not fit.
__attribute__((format(printf, 4, 0))) bool FormatLine(char* out, const char* sourceFile, int line,
                                                      const char* format, va_list args) {
    const time_t seconds = time(nullptr);
    tm now{};
    localtime_r(&seconds, &now);
    // Preserved for compatibility: the name of a path without a backslash, and that is every path here, reads
    // "(null)".
    const char* const name = GetFileName(sourceFile);
    const int header =
        snprintf(out, kLineSizeBytes + 1,
                 "[%04d-%02d-%02d %02d:%02d:%02d] | %20s-L%04d: ", now.tm_year + 1900, now.tm_mon + 1,
                 now.tm_mday, now.tm_hour, now.tm_min, now.tm_sec, name != nullptr ? name : "(null)", line);
    if (header < 0 || static_cast<uint32_t>(header) > kLineSizeBytes) {
        return false;
    }
    const uint32_t room = kLineSizeBytes - static_cast<uint32_t>(header);
    const int message = vsnprintf(out + header, room + 1, format, args);
    return message >= 0 && static_cast<uint32_t>(message) <= room;
}

__attribute__((format(printf, 5, 0))) void QueueLine(SharedLog& state, _TRACE_LEVEL_ level,
                                                     const char* sourceFile, int line, const char* format,
                                                     va_list args) OX_REQUIRES(state.m_mutex) {
    const ox3d::CCancellationOff off; // a callback may have cancelled its thread, and the caller is noexcept
    COxAsyncLog* const log = UsableInstance(state);
    if (log == nullptr || sourceFile == nullptr || format == nullptr || level > TRACE_LEVEL_ALL) {
        return;
    }
    // Preserved for compatibility: lines do not show the name of their level.
    [[maybe_unused]] const char* const levelName = kLevelNames[level];
    // A full queue loses the line, unformatted: logging never waits and never fails its caller.
    if (log->HasRoom() && FormatLine(state.m_line, sourceFile, line, format, args)) {
        log->AddtoList(level, state.m_line, static_cast<unsigned int>(strlen(state.m_line)));
    }
}

} // namespace

std::atomic<bool> g_isLogDebugMode{false};

COxAsyncLog::COxAsyncLog() noexcept {
    ResetMember();
}

COxAsyncLog::~COxAsyncLog() {
    DeInit();
    SharedLog& state = LogState();
    const COXLock lock(&state.m_mutex);
    if (state.m_instance == this) {
        state.m_instance = nullptr;
    }
}

void COxAsyncLog::ResetMember() noexcept {
    m_file = nullptr;
    m_bufCtrl = nullptr;
    m_running = 0;
    m_thread = nullptr;
    m_level = TRACE_LEVEL_NULL;
    m_debugMode = 0;
    memset(m_primaryName, 0, sizeof(m_primaryName));
    memset(m_backupName, 0, sizeof(m_backupName));
    m_sizeLimitBytes = kDefaultSizeLimitBytes;
}

uint32_t COxAsyncLog::Init(const char* dir, unsigned int logSizeMiB) noexcept {
    if (m_running != 0) {
        return OX3D_RGBD_OK; // only the writer touches the file from here on
    }
    ReapEndedWriter();
    const bool hasDir = dir != nullptr;
    snprintf(m_primaryName, sizeof(m_primaryName), "%s%sOx3dRgbd_00.log", hasDir ? dir : "",
             hasDir ? "/" : "");
    snprintf(m_backupName, sizeof(m_backupName), "%s%sOx3dRgbd_01.log", hasDir ? dir : "", hasDir ? "/" : "");
    m_sizeLimitBytes = logSizeMiB << 20;
    const uint32_t status = CreateLogFile(m_primaryName, 1);
    if (status != OX3D_RGBD_OK) {
        printf("Failed create log file (%s)!\r\n", m_primaryName);
        return status;
    }
    if (!CreateRing() || !StartWriter()) {
        Release();
        return OX3D_RGBD_E_MEMORY;
    }
    return OX3D_RGBD_OK;
}

bool COxAsyncLog::CreateRing() noexcept {
    if (m_bufCtrl != nullptr) {
        return true;
    }
    m_bufCtrl = new (std::nothrow) CBufCtrl;
    return m_bufCtrl != nullptr &&
           m_bufCtrl->Init(kRingNodeCount, kLineSizeBytes, kLevelSizeBytes, 0, 0) == OX3D_RGBD_OK;
}

bool COxAsyncLog::StartWriter() noexcept {
    const ox3d::CSignalsBlocked blocked;
    m_running = 1;
    m_thread = OX_CreateThread(nullptr, WriteLogThread, this);
    return m_thread != nullptr;
}

uint32_t COxAsyncLog::DeInit() noexcept {
    Release();
    return OX3D_RGBD_OK;
}

// Queued lines are discarded, not drained.
void COxAsyncLog::Release() noexcept {
    m_running = 0;
    if (m_thread != nullptr) {
        OX_WaitForThreadEnd(m_thread);
        OX_DestroyThread(m_thread);
        m_thread = nullptr;
    }
    delete m_bufCtrl;
    m_bufCtrl = nullptr;
    CloseLogFile();
}

// A writer that fails cannot join itself: it clears the running flag and ends. A thread handle without the
// flag tells that it did.
void COxAsyncLog::ReapEndedWriter() noexcept {
    if (m_running == 0 && m_thread != nullptr) {
        Release();
    }
}

uint32_t COxAsyncLog::SetLevel(_TRACE_LEVEL_ level) noexcept {
    if (static_cast<uint32_t>(level) > TRACE_LEVEL_ALL) {
        return OX3D_RGBD_E_PARAMETER;
    }
    m_level = static_cast<int32_t>(level);
    return OX3D_RGBD_OK;
}

uint32_t COxAsyncLog::SetDebugMode(int debugMode) noexcept {
    m_debugMode = debugMode;
    return OX3D_RGBD_OK;
}

int COxAsyncLog::GetDebugMode() const noexcept {
    return m_debugMode;
}

bool COxAsyncLog::HasUnwritten() const noexcept {
    return m_running != 0 && m_bufCtrl != nullptr && m_bufCtrl->GetDataNode() != nullptr;
}

bool COxAsyncLog::HasRoom() const noexcept {
    return m_running != 0 && m_bufCtrl != nullptr && m_bufCtrl->GetSpareNode() != nullptr;
}

uint32_t COxAsyncLog::AddtoList(_TRACE_LEVEL_ level, const char* text, unsigned int lengthBytes) noexcept {
    if (m_bufCtrl == nullptr || m_running == 0) {
        return OX3D_RGBD_E_STATE;
    }
    DATA_NODE* const node = m_bufCtrl->GetSpareNode();
    if (node == nullptr) {
        return OX3D_RGBD_E_MEMORY;
    }
    if (text == nullptr || node->m_mainSizeBytes < lengthBytes) {
        return OX3D_RGBD_E_PARAMETER;
    }
    node->m_mainLengthBytes = 0;
    node->m_extraLengthBytes = 0;
    if (node->m_mainBuf != nullptr) {
        // A text that fills the node has no terminator there; the writer reads with the node's bound.
        memcpy(node->m_mainBuf, text, lengthBytes);
        if (lengthBytes < node->m_mainSizeBytes) {
            node->m_mainBuf[lengthBytes] = 0;
        }
        node->m_mainLengthBytes = lengthBytes;
    }
    if (node->m_extraBuf != nullptr) {
        const auto levelWord = static_cast<int32_t>(level);
        memcpy(node->m_extraBuf, &levelWord, sizeof(levelWord));
        // Preserved for compatibility: the main length, not the extra one, records the level's 4 bytes. The
        // writer measures the text itself.
        node->m_mainLengthBytes = kLevelSizeBytes;
    }
    m_bufCtrl->CommitWrite();
    return OX3D_RGBD_OK;
}

uint32_t COxAsyncLog::CreateLogFile(const char* name, int append) noexcept {
    const uint32_t status = OpenLogFile(name, append);
    if (status == OX3D_RGBD_E_MEMORY) {
        Release();
    }
    return status;
}

void* COxAsyncLog::WriteLogThread(void* self) noexcept {
    if (self != nullptr) {
        static_cast<COxAsyncLog*>(self)->WriteLogThreadProc();
    }
    return nullptr;
}

void COxAsyncLog::WriteLogThreadProc() noexcept {
    while (m_running != 0) {
        const DATA_NODE* const node = m_bufCtrl->GetDataNode();
        if (node == nullptr) {
            usleep(kWriterPollUs);
            continue;
        }
        // After a failed rotation the same node comes again, now without a file, and is skipped.
        if (WriteNode(node)) {
            m_bufCtrl->CommitRead();
        }
    }
}

uint32_t CreateAsyncLog(const char* dir, unsigned int logSizeMiB) noexcept {
    SharedLog& state = LogState();
    const COXLock lock(&state.m_mutex);
    if (UsableInstance(state) == nullptr) {
        state.m_instance = new (std::nothrow) COxAsyncLog;
        // Preserved for compatibility: an instance that failed to start stays, released, until the next
        // DestroyAsyncLog; it refuses lines, and a later CreateAsyncLog only counts.
        if (state.m_instance == nullptr || state.m_instance->Init(dir, logSizeMiB) != OX3D_RGBD_OK) {
            return OX3D_RGBD_E_MEMORY;
        }
    }
    ++state.m_references;
    return OX3D_RGBD_OK;
}

void DestroyAsyncLog() noexcept {
    SharedLog& state = LogState();
    const COXLock lock(&state.m_mutex);
    state.m_references = std::max(state.m_references - 1, 0);
    if (state.m_references == 0 && state.m_instance != nullptr) {
        g_isLogDebugMode.store(false, std::memory_order_relaxed);
        delete state.m_instance; // takes the mutex again and clears the pointer
    }
}

void OxLog_SetLevel(_TRACE_LEVEL_ level) noexcept {
    SharedLog& state = LogState();
    const COXLock lock(&state.m_mutex);
    if (COxAsyncLog* const log = UsableInstance(state)) {
        log->SetLevel(level);
    }
}

void OxLog_SetDebugMode(int debugMode) noexcept {
    SharedLog& state = LogState();
    const COXLock lock(&state.m_mutex);
    if (COxAsyncLog* const log = UsableInstance(state)) {
        log->SetDebugMode(debugMode);
        g_isLogDebugMode.store(debugMode != 0, std::memory_order_relaxed);
    }
}

void OxWriteLog(_TRACE_LEVEL_ level, const char* sourceFile, int line, const char* format, ...) noexcept {
    SharedLog& state = LogState();
    const COXLock lock(&state.m_mutex);
    va_list args;
    va_start(args, format);
    QueueLine(state, level, sourceFile, line, format, args);
    va_end(args);
}

void OxWriteLogDebugMode(_TRACE_LEVEL_ level, const char* sourceFile, int line, const char* format,
                         ...) noexcept {
    SharedLog& state = LogState();
    const COXLock lock(&state.m_mutex);
    if (state.m_instance == nullptr || state.m_instance->GetDebugMode() == 0) {
        return;
    }
    va_list args;
    va_start(args, format);
    QueueLine(state, level, sourceFile, line, format, args);
    va_end(args);
}

void OxLog_WaitUntilWritten(uint32_t maxMs) noexcept {
    constexpr useconds_t kLookUs = 1000;
    const ox3d::CCancellationOff off;
    SharedLog& state = LogState();
    for (uint32_t waitedMs = 0; waitedMs < maxMs; ++waitedMs) {
        {
            const COXLock lock(&state.m_mutex); // only while looking: a line is written without it
            const COxAsyncLog* const log = UsableInstance(state);
            if (log == nullptr || !log->HasUnwritten()) {
                return;
            }
        }
        usleep(kLookUs);
    }
}

// Takes no lock: it touches no shared state.
const char* GetFileName(const char* path) noexcept {
    const char* const backslash = path != nullptr ? strrchr(path, '\\') : nullptr;
    return backslash != nullptr ? backslash + 1 : nullptr;
}
