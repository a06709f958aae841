// Parting.cpp - see Parting.h.
#include "providers/aravis/Parting.h"

#include <arv.h>

#include <exception>
#include <thread>
#include <vector>

#include "base/Mutex.h"
#include "base/PerProcess.h"
#include "base/SignalMask.h"

namespace ox3d {
namespace {

class CPartings {
public:
    // Throws, and leaves the object to the caller, when there is no memory or no thread for it.
    void Take(GObject* object) {
        const CLock lock(m_mutex);
        m_objects.reserve(m_objects.size() + 1);
        if (!m_isRunning) {
            const CSignalsBlocked blocked;
            std::thread([this] { Run(); }).detach(); // waits for the mutex
            m_isRunning = true;
        }
        m_objects.push_back(object);
    }

private:
    // The next one; null ends the thread, which a later object starts again.
    GObject* Next() {
        const CLock lock(m_mutex);
        if (m_objects.empty()) {
            m_isRunning = false;
            return nullptr;
        }
        GObject* object = m_objects.front();
        m_objects.erase(m_objects.begin());
        return object;
    }
    void Run() {
        while (GObject* object = Next()) {
            if (ARV_IS_STREAM(object)) {
                arv_stream_start_thread(
                    ARV_STREAM(object)); // its end asks for one; it has no buffers to fill
            }
            g_object_unref(object);
        }
    }

    CMutex m_mutex;
    std::vector<GObject*> m_objects OX_GUARDED_BY(m_mutex);
    bool m_isRunning OX_GUARDED_BY(m_mutex) = false;
};

// A process may end while a camera is still spoken to, and a child has not the thread of its parent.
CPerProcess<CPartings> g_partings;

} // namespace

void ReleaseLater(GObject* object) noexcept {
    try {
        g_partings.Get().Take(object);
    } catch (const std::exception&) {
        g_object_unref(object);
    }
}

} // namespace ox3d
