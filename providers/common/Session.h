// Session.h - what is behind a handle: one camera, opened or not, grabbing or not.
//
// Calls come from several threads and from the session's own callbacks. m_mutex guards the state and is never
// held while a thread is waited for; streams and connections that are being ended stay listed until their
// threads are joined, so that every later caller waits for them as well.
#ifndef OX3D_PROVIDER_SESSION_H
#define OX3D_PROVIDER_SESSION_H

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "base/ForkGuard.h"
#include "base/Mutex.h"
#include "providers/common/Camera.h"
#include "providers/common/Connection.h"
#include "providers/common/FrameBuffer.h"
#include "providers/common/Stream.h"
#include "providers/common/Upgrade.h"

namespace ox3d {

class CSession {
public:
    CSession(std::shared_ptr<CCamera> camera, const OX_CC_DEVICE_INFO& record);

    CCamera& Camera() const { return *m_camera; }
    CFrameBuffer& Frames() const { return *m_frames; }
    CHandleCallbacks& Callbacks() const { return *m_callbacks; }

    // The device's record as it is now.
    OX_CC_DEVICE_INFO Record() const;

    // ---- Life ----

    int Open(uint32_t accessMode);
    int Close();
    int Start();
    int Stop();
    // Closes what is open and waits for every thread but the caller's own.
    void Shutdown();
    // Whether this process is a forked child of the one that made it: threads, locks and camera are its parent's.
    bool IsInherited() const { return m_process.IsInherited(); }
    // All that a child may do to it: gives the images' memory back.
    void Abandon() { m_frames->Abandon(); }

    // ---- The open camera ----

    // The connection when the camera is open and still there, else why not.
    int Connected(bool isForWriting, std::shared_ptr<CConnection>* connection);
    bool IsGrabbing() const;
    // Waits for a frame and lends it.
    int Fetch(uint32_t timeoutMs, uint64_t maxBytes, FrameNode** node);
    // As above; the frame stays lent until the next one is copied, for the sake of its chunks.
    int FetchCopy(uint32_t timeoutMs, uint8_t* image, uint64_t sizeBytes, OX_FRAME_OUT_INFO_EX* info);

    // ---- Maintenance ----

    int ReadDeviceFile(const std::string& deviceFile, const std::string& localFile);
    int WriteDeviceFile(const std::string& deviceFile, const std::string& localFile);
    OX_CC_FILE_ACCESS_PROGRESS FileProgress() const;
    int StartUpgrade(const std::string& path);
    int UpgradePercent(uint32_t* percent);
    int ForceIp(uint32_t ip, const uint32_t* maskAndGateway);
    int SetIpMode(uint32_t mode);
    bool IsEthernet() const { return m_record.nTLayerType == OX_CC_GIGE_DEVICE; }

    std::atomic<uint32_t> m_gvcpTimeoutMs{500};

private:
    void EndStream() OX_REQUIRES(m_mutex);
    int Launch(const std::shared_ptr<CStream>& stream) OX_REQUIRES(m_mutex);
    void JoinEnded();
    void ReapEnded();
    void ReturnCopied(const uint8_t* next);
    // The handle's own connection when it may write, else null.
    int CheckNetwork(std::shared_ptr<CConnection>* connection) const;
    bool SetProgress(int64_t completed, int64_t total);

    const CForkMark m_process;
    const std::shared_ptr<CCamera> m_camera;
    const OX_CC_DEVICE_INFO m_record; // as it was when the handle was made
    const std::shared_ptr<CHandleCallbacks> m_callbacks;
    const std::shared_ptr<CFrameBuffer> m_frames;

    mutable CMutex m_mutex;
    std::shared_ptr<CConnection> m_connection OX_GUARDED_BY(m_mutex);
    std::shared_ptr<CStream> m_stream OX_GUARDED_BY(m_mutex);
    std::shared_ptr<CUpgrade> m_upgrade OX_GUARDED_BY(m_mutex);
    std::vector<std::shared_ptr<CStream>> m_endedStreams OX_GUARDED_BY(m_mutex);
    std::vector<std::shared_ptr<CConnection>> m_endedConnections OX_GUARDED_BY(m_mutex);
    const uint8_t* m_copiedImage OX_GUARDED_BY(m_mutex) = nullptr; // the frame behind the last FetchCopy

    mutable CMutex m_progressMutex;
    OX_CC_FILE_ACCESS_PROGRESS m_progress OX_GUARDED_BY(m_progressMutex){};
};

} // namespace ox3d

#endif
