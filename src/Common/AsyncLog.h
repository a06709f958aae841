// AsyncLog.h - the process-wide log: callers format a line and queue it, one writer thread puts it into a
// file and rotates. Relies on BufCtrl.h for the queue and Thread.h for the writer. Reports its own trouble on
// standard output.
//
// Locks: the process-wide mutex serialises all callers and guards the instance and its reference count. The
// writer thread never takes it, so that the instance can be destroyed, and the writer joined, while it is
// held.
#ifndef OX3D_COMMON_ASYNC_LOG_H
#define OX3D_COMMON_ASYNC_LOG_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "src/Common/BufCtrl.h"
#include "src/Common/Thread.h"

struct stat;

enum _TRACE_LEVEL_ : uint32_t {
    TRACE_LEVEL_NULL = 0,
    TRACE_LEVEL_ERROR = 1,
    TRACE_LEVEL_WARNING = 2,
    TRACE_LEVEL_INFO = 3,
    TRACE_LEVEL_ALL = 4
};

constexpr size_t kLogNameBytes = 256;

// The logger itself. Not thread-safe: the functions below call it under the process-wide mutex.
class COxAsyncLog {
public:
    COxAsyncLog() noexcept;
    ~COxAsyncLog();
    COxAsyncLog(const COxAsyncLog&) = delete;
    COxAsyncLog& operator=(const COxAsyncLog&) = delete;

    // Opens "<dir>/Ox3dRgbd_00.log" for appending and starts the writer. Null: the working directory.
    uint32_t Init(const char* dir, unsigned int logSizeMiB) noexcept;
    uint32_t DeInit() noexcept;
    void Release() noexcept;

    uint32_t SetLevel(_TRACE_LEVEL_ level) noexcept;
    uint32_t SetDebugMode(int debugMode) noexcept;
    [[nodiscard]] int GetDebugMode() const noexcept;

    // Whether a line waits for the writer.
    [[nodiscard]] bool HasUnwritten() const noexcept;
    // Whether AddtoList would take a line now.
    [[nodiscard]] bool HasRoom() const noexcept;
    uint32_t AddtoList(_TRACE_LEVEL_ level, const char* text, unsigned int lengthBytes) noexcept;
    uint32_t CreateLogFile(const char* name, int append) noexcept;
    static uint32_t BackUpLogFile(const char* primary, const char* backup) noexcept;
    static void* WriteLogThread(void* self) noexcept;

    // Joins and frees after a writer that ended on its own; else does nothing.
    void ReapEndedWriter() noexcept;

private:
    void ResetMember() noexcept;
    uint32_t OpenLogFile(const char* name, int append) noexcept;
    void CloseLogFile() noexcept;
    bool CreateRing() noexcept;
    bool StartWriter() noexcept;
    void WriteLogThreadProc() noexcept;
    [[nodiscard]] bool WriteNode(const DATA_NODE* node) noexcept;
    [[nodiscard]] bool IsMovedAway(const struct stat& own) const noexcept;
    [[nodiscard]] bool FollowName() noexcept;
    [[nodiscard]] bool RotateLogFile(const struct stat& own) noexcept;
    void Unlock(bool isLocked) noexcept;

    FILE* m_file;
    CBufCtrl* m_bufCtrl;
    std::atomic<int32_t> m_running;
    OX_THREAD_HANDLE m_thread;
    std::atomic<int32_t> m_level;
    std::atomic<int32_t> m_debugMode;
    char m_primaryName[kLogNameBytes];
    char m_backupName[kLogNameBytes];
    uint32_t m_sizeLimitBytes;
};

// One more reference to the log; the first creates it. Each call that returned 0 needs a DestroyAsyncLog.
uint32_t CreateAsyncLog(const char* dir, unsigned int logSizeMiB) noexcept;
void DestroyAsyncLog() noexcept;
void OxLog_SetLevel(_TRACE_LEVEL_ level) noexcept;
void OxLog_SetDebugMode(int debugMode) noexcept;
// The debug mode of the instance, false without one. AsyncLog.cpp writes it.
extern std::atomic<bool> g_isLogDebugMode;
// Whether OxWriteLogDebugMode would write. One relaxed load, no lock.
[[nodiscard]] inline bool OxLog_IsDebugMode() noexcept {
    return g_isLogDebugMode.load(std::memory_order_relaxed);
}

// Queues one line. The message ends in "\r\n" by convention; nothing is added. A line that is longer than a
// node (8192 bytes with its header) or finds the queue full is lost.
void OxWriteLog(_TRACE_LEVEL_ level, const char* sourceFile, int line, const char* format, ...) noexcept
    __attribute__((format(printf, 4, 5)));
// The same, while the debug mode is on.
void OxWriteLogDebugMode(_TRACE_LEVEL_ level, const char* sourceFile, int line, const char* format,
                         ...) noexcept __attribute__((format(printf, 4, 5)));

// Waits until the lines so far are in the file, some milliseconds as a rule and at most as long as this: for a caller
// after which the process or the log may end, and with it what is queued.
void OxLog_WaitUntilWritten(uint32_t maxMs) noexcept;

// The text after the last backslash; null without one. Source paths here use '/', so it is normally null.
const char* GetFileName(const char* path) noexcept;

// For units that define `constexpr const char* kLogSource`. The arguments of OX_LOG_DEBUG are evaluated only
// while the debug mode is on.
#define OX_LOG_ERROR(...) OxWriteLog(TRACE_LEVEL_ERROR, kLogSource, __LINE__, __VA_ARGS__)
#define OX_LOG_WARNING(...) OxWriteLog(TRACE_LEVEL_WARNING, kLogSource, __LINE__, __VA_ARGS__)
#define OX_LOG_INFO(...) OxWriteLog(TRACE_LEVEL_INFO, kLogSource, __LINE__, __VA_ARGS__)
#define OX_LOG_DEBUG(...)                                                             \
    do {                                                                              \
        if (OxLog_IsDebugMode()) {                                                    \
            OxWriteLogDebugMode(TRACE_LEVEL_INFO, kLogSource, __LINE__, __VA_ARGS__); \
        }                                                                             \
    } while (false)

#endif
