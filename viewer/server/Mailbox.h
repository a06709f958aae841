// Mailbox.h - what cameras' threads have for the server's: of each camera and stream the newest image, of each key the newest
// text. It holds no more however long the server takes.
#ifndef OX3D_VIEWER_MAILBOX_H
#define OX3D_VIEWER_MAILBOX_H

#include "base/Mutex.h"
#include "viewer/server/Viewer.h"

#include <functional>
#include <utility>

namespace ox3d::viewer {

class CMailbox : public IAudience {
public:
    // wake() is called by the thread that put something in.
    explicit CMailbox(std::function<void()> wake) : m_wake(std::move(wake)) {}

    void Publish(uint16_t camera, EStream stream, PacketPointer packet) override OX_EXCLUDES(m_mutex) {
        {
            const CLock lock(m_mutex);
            m_packets[{camera, stream}] = std::move(packet);
        }
        m_wake();
    }
    void Tell(Telling telling) override OX_EXCLUDES(m_mutex) {
        {
            const CLock lock(m_mutex);
            const std::string key = telling.m_key;
            m_texts[key] = std::move(telling);
        }
        m_wake();
    }

    using Packets = std::map<std::pair<uint16_t, EStream>, PacketPointer>;
    using Texts = std::map<std::string, Telling>;
    std::pair<Packets, Texts> TakeAll() OX_EXCLUDES(m_mutex) {
        const CLock lock(m_mutex);
        return {std::exchange(m_packets, {}), std::exchange(m_texts, {})};
    }

private:
    const std::function<void()> m_wake;
    CMutex m_mutex;
    Packets m_packets OX_GUARDED_BY(m_mutex);
    Texts m_texts OX_GUARDED_BY(m_mutex);
};

} // namespace ox3d::viewer

#endif
