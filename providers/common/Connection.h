// Connection.h - one opening of a camera: what can be asked of it, whether it is still there, and the thread
// that tells the application about exceptions and events.
#ifndef OX3D_PROVIDER_CONNECTION_H
#define OX3D_PROVIDER_CONNECTION_H

#include <atomic>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/CallbackSlot.h"
#include "base/ExceptionBarrier.h"
#include "base/Mutex.h"

#include "providers/common/Worker.h"
#include <ox3drgbd/OxCameraControl.h>

namespace ox3d {

class CFrameBuffer;
class CStream;

// Calls a slot's callback, if there is one. The application's exceptions end here, the camera goes on.
template <class Fn, class... Args>
void CallApplication(CCallbackSlot<Fn>& slot, Args... args) {
    const CCallbackCall call(slot, &slot);
    if (call) {
        ExceptionBarrier([&] { call(args...); },
                         [](const std::exception*) {
                             std::fputs("camera control: an exception left a callback\n", stderr);
                         });
    }
}

// The callbacks of a handle; they outlive its openings. Registering waits for no call in flight: the thread that
// registers may hold a lock that the callback wants.
class CHandleCallbacks {
public:
    using Event = CCallbackSlot<void (*)(OX_EVENT_OUT_INFO*, void*)>;

    CCallbackSlot<void (*)(uint8_t*, OX_FRAME_OUT_INFO_EX*, void*)> m_image;
    CCallbackSlot<void (*)(uint32_t, void*)> m_exception;
    Event m_allEvents;

    // The slot of one event, made when it is asked for; null when there are too many.
    std::shared_ptr<Event> Named(const std::string& name);
    void CallEvent(OX_EVENT_OUT_INFO* info);

private:
    CMutex m_mutex;
    std::map<std::string, std::shared_ptr<Event>> m_named OX_GUARDED_BY(m_mutex);
};

// How far a transfer has come; false asks it to end.
using TransferProgress = std::function<bool(int64_t doneBytes, int64_t totalBytes)>;

// All operations answer with a code of the interface and are called by several threads at once.
class CConnection : public std::enable_shared_from_this<CConnection> {
public:
    CConnection(std::shared_ptr<CHandleCallbacks> callbacks, uint32_t accessMode);
    virtual ~CConnection() = default;
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;

    CHandleCallbacks& Callbacks() const { return *m_callbacks; }
    const std::shared_ptr<CHandleCallbacks>& SharedCallbacks() const { return m_callbacks; }
    uint32_t AccessMode() const { return m_accessMode; }
    bool MayWrite() const { return m_accessMode != OX_CC_ACCESS_MONITOR; }

    // Starts the thread for exceptions and events.
    bool Start();
    virtual void RequestStop();
    virtual void Join() { m_worker.Join(); }

    // Whether the camera is still the one that was opened. Finding it gone raises the exception, once.
    virtual bool IsAlive() { return !m_isGone.load(); }
    void MarkGone();
    // The data behind the event is copied.
    void RaiseEvent(const OX_EVENT_OUT_INFO& event);

    // ---- Streaming ----

    virtual std::shared_ptr<CStream> MakeStream(std::shared_ptr<CFrameBuffer> frames) = 0;
    // Called before the stream's threads start, and after they have.
    virtual int PrepareStream(CStream& /*stream*/) { return 0; }
    virtual int StartAcquisition() = 0;
    virtual void StopAcquisition() = 0;
    // Bytes, or a code.
    virtual int OptimalPacketSize() = 0;

    // ---- Features ----

    virtual int GetInteger(const char* key, OX_CC_INT_VALUE_EX* value) = 0;
    virtual int SetInteger(const char* key, int64_t value) = 0;
    virtual int GetFloat(const char* key, OX_CC_FLOAT_VALUE* value) = 0;
    virtual int SetFloat(const char* key, float value) = 0;
    virtual int GetEnum(const char* key, OX_CC_ENUM_VALUE* value) = 0;
    virtual int SetEnum(const char* key, uint32_t value) = 0;
    virtual int SetEnumByName(const char* key, const char* entry) = 0;
    virtual int GetString(const char* key, OX_CC_STRING_VALUE* value) = 0;
    virtual int SetString(const char* key, const char* value) = 0;
    virtual int GetBoolean(const char* key, bool* value) = 0;
    virtual int SetBoolean(const char* key, bool value) = 0;
    virtual int Execute(const char* key) = 0;
    virtual int AccessOf(const char* key, uint32_t* accessMode) = 0;
    virtual int TypeOf(const char* key, uint32_t* interfaceType) = 0;
    virtual int Xml(std::string* xml) = 0;
    virtual int SaveFeatures(std::string* text) = 0;
    // *where tells which line was refused.
    virtual int LoadFeatures(const std::string& text, std::string* where) = 0;

    // ---- Memory and files ----

    virtual int ReadMemory(uint64_t address, void* bytes, uint64_t lengthBytes) = 0;
    virtual int WriteMemory(uint64_t address, const void* bytes, uint64_t lengthBytes) = 0;
    virtual int ReadFile(const std::string& name, const TransferProgress& progress,
                         std::vector<uint8_t>* bytes) = 0;
    virtual int WriteFile(const std::string& name, std::vector<uint8_t> bytes,
                          const TransferProgress& progress) = 0;
    virtual int InstallFirmware(std::vector<uint8_t> bytes, const TransferProgress& progress) = 0;

private:
    struct Notice {
        uint32_t m_exception = 0; // 0: an event
        OX_EVENT_OUT_INFO m_event{};
        std::vector<uint8_t> m_data;
    };
    void Push(Notice notice);
    bool WaitForNotice(Notice* notice);
    void Tell(Notice& notice);
    void Run();

    const std::shared_ptr<CHandleCallbacks> m_callbacks;
    const uint32_t m_accessMode;
    std::atomic<bool> m_isGone{false};

    CMutex m_mutex;
    CCondition m_changed;
    std::vector<Notice> m_notices OX_GUARDED_BY(m_mutex);
    bool m_isStopping OX_GUARDED_BY(m_mutex) = false;
    CWorker m_worker;
};

} // namespace ox3d

#endif
