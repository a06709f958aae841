// AravisConnection.h - one opening of a camera through Aravis.
//
// Aravis's objects are not made for several threads: everything that touches the device or its description
// goes through OnDevice, which holds the mutex. Pushing and popping buffers of a stream is the exception.
#ifndef OX3D_ARAVIS_CONNECTION_H
#define OX3D_ARAVIS_CONNECTION_H

#include <arv.h>

#include <atomic>

#include "base/Mutex.h"
#include "providers/aravis/ConnectionMonitor.h"
#include "providers/aravis/ProviderFeatures.h"
#include "providers/aravis/Scan3dSetup.h"
#include "providers/aravis/StreamOpening.h"
#include "providers/common/Connection.h"

namespace ox3d {

class CAravisConnection final : public CConnection {
public:
    CAravisConnection(CObject<ArvDevice> device, const CameraPath& path,
                      std::shared_ptr<CHandleCallbacks> callbacks, uint32_t accessMode);
    ~CAravisConnection() override;

    // Starts the threads and listens for the loss of the camera.
    bool Begin();
    void RequestStop() override;
    void Join() override;
    // Gives control and the device back; calls that come later find it gone.
    void Release();

    // The body gets the device and answers with a code.
    template <typename Body>
    int OnDevice(Body body) {
        const CLock lock(m_deviceMutex);
        return m_device == nullptr ? Gone() : body(m_device.get());
    }
    bool IsEthernet() const { return m_path.m_cameraIp != 0; }
    const CameraPath& Path() const { return m_path; }
    void SetControlTimeout(uint32_t timeoutMs) { m_controlTimeoutMs = timeoutMs; }
    uint32_t ControlTimeoutMs() const { return m_controlTimeoutMs; }
    void SetResend(const ResendSettings& settings);

    const CProviderFeatures& Own() const { return m_own; }

    // Whether this process has lost control; called by the monitor's thread only.
    bool HasLostControl();

    std::shared_ptr<CStream> MakeStream(std::shared_ptr<CFrameBuffer> frames) override;
    int PrepareStream(CStream& stream) override;
    int StartAcquisition() override;
    void StopAcquisition() override;
    int OptimalPacketSize() override;

    int GetInteger(const char* key, OX_CC_INT_VALUE_EX* value) override;
    int SetInteger(const char* key, int64_t value) override;
    int GetFloat(const char* key, OX_CC_FLOAT_VALUE* value) override;
    int SetFloat(const char* key, float value) override;
    int GetEnum(const char* key, OX_CC_ENUM_VALUE* value) override;
    int SetEnum(const char* key, uint32_t value) override;
    int SetEnumByName(const char* key, const char* entry) override;
    int GetString(const char* key, OX_CC_STRING_VALUE* value) override;
    int SetString(const char* key, const char* value) override;
    int GetBoolean(const char* key, bool* value) override;
    int SetBoolean(const char* key, bool value) override;
    int Execute(const char* key) override;
    int AccessOf(const char* key, uint32_t* accessMode) override;
    int TypeOf(const char* key, uint32_t* interfaceType) override;
    int Xml(std::string* xml) override;
    int SaveFeatures(std::string* text) override;
    int LoadFeatures(const std::string& text, std::string* where) override;

    int ReadMemory(uint64_t address, void* bytes, uint64_t lengthBytes) override;
    int WriteMemory(uint64_t address, const void* bytes, uint64_t lengthBytes) override;
    int ReadFile(const std::string& name, const TransferProgress& progress,
                 std::vector<uint8_t>* bytes) override;
    int WriteFile(const std::string& name, std::vector<uint8_t> bytes,
                  const TransferProgress& progress) override;
    int InstallFirmware(std::vector<uint8_t> bytes, const TransferProgress& progress) override;

private:
    static int Gone();
    int NegotiatePacketSize(ArvDevice* device) OX_REQUIRES(m_deviceMutex);
    void LearnKind();
    // Of a camera that has no calibration file of its own.
    int MakeCalibration(std::vector<uint8_t>* bytes);
    int ReadCameraFile(const std::string& name, const TransferProgress& progress,
                       std::vector<uint8_t>* bytes);
    void LockTransport(bool isLocked);
    void EndStreaming();

    const CameraPath m_path;
    CMutex m_deviceMutex; // the device's description, too
    CObject<ArvDevice> m_device OX_GUARDED_BY(m_deviceMutex);
    gulong m_lossHandler OX_GUARDED_BY(m_deviceMutex) = 0;
    // By the application, or found out already.
    bool m_isPacketSizeSet OX_GUARDED_BY(m_deviceMutex) = false;
    bool m_isStreaming OX_GUARDED_BY(m_deviceMutex) = false;
    ResendSettings m_resend OX_GUARDED_BY(m_deviceMutex);
    CScan3dSetup m_scan3d OX_GUARDED_BY(m_deviceMutex); // of a camera of that kind
    CProviderFeatures m_own;

    CMutex m_fileMutex; // one file operation at a time: its steps must not mix with another's
    std::atomic<uint32_t> m_controlTimeoutMs;
    std::shared_ptr<CConnectionMonitor> m_monitor;
    int m_silentProbes = 0; // of the monitor's thread
};

} // namespace ox3d

#endif
