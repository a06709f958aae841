// CameraModel.h - the camera itself, on any transport: features, registers, files, clock and frames.
//
// A transport (a provider inside the process, or a server on the network) owns connections, buffers and
// callbacks; the model knows none of them. All functions may be called by any thread. One mutex guards the
// whole state; it is never held while an image is rendered, and nothing of a transport's is called under it.
#ifndef OX3D_VIRTUAL_CAMERA_CAMERA_MODEL_H
#define OX3D_VIRTUAL_CAMERA_CAMERA_MODEL_H

#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "base/Mutex.h"
#include "recording/PlayedNumbers.h"
#include "virtual-camera/CameraConfig.h"
#include "virtual-camera/CameraFrame.h"
#include "virtual-camera/FeatureMap.h"
#include "virtual-camera/FileStore.h"
#include "virtual-camera/FrameClock.h"
#include "virtual-camera/RegisterFile.h"
#include "virtual-camera/scan3d/Scan3dParts.h"

namespace ox3d {

struct IntegerValue {
    int64_t m_value = 0;
    int64_t m_min = 0;
    int64_t m_max = 0;
    int64_t m_inc = 1;
};

struct FloatValue {
    float m_value = 0;
    float m_min = 0;
    float m_max = 0;
};

struct EnumValue {
    uint32_t m_value = 0;
    std::vector<EnumEntry> m_entries;
};

struct StringValue {
    std::string m_value;
    uint32_t m_maxLengthBytes = 0;
};

// What an application sees of the camera without opening it.
struct CameraIdentity {
    ETransport m_transport = ETransport::GigE;
    std::string m_vendor;
    std::string m_model;
    std::string m_version;
    std::string m_info;
    std::string m_serial;
    std::string m_userName;
    uint64_t m_mac = 0;
    uint32_t m_ip = 0;
    uint32_t m_mask = 0;
    uint32_t m_gateway = 0;
    uint32_t m_hostIp = 0;
    uint32_t m_ipModes = 0; // kIpMode* bits on offer
    uint32_t m_ipMode = 0;  // the ones in use
};

constexpr uint32_t kIpModePersistent = 1;
constexpr uint32_t kIpModeDhcp = 2;
constexpr uint32_t kIpModeLinkLocal = 4; // always on: the last resort

// The values of EventSelector.
enum class ECameraEvent : uint32_t { ExposureEnd, DeviceTemperature, DeviceLost };

enum class ENextFrame { Frame, Stopped, Gone };

class CCameraModel {
public:
    using SourceFactory =
        std::function<std::unique_ptr<CFrameSource>(const FrameSourceConfig&, std::string* error)>;

    explicit CCameraModel(const CameraConfig& config, SourceFactory makeSource = CreateFrameSource);
    CCameraModel(const CCameraModel&) = delete;
    CCameraModel& operator=(const CCameraModel&) = delete;

    const CameraConfig& Config() const { return m_config; }
    CameraIdentity Identity() const;
    const std::string& Xml() const { return m_xml; }

    // ---- A camera's life (CameraModel.cpp) ----

    // Makes the image source and the calibration files; nothing after the first success.
    EModelStatus Prepare(std::string* error);
    // Takes over what a camera keeps without power, where the new configuration does not say otherwise.
    void AdoptState(const CCameraModel& before);
    // The settings of the start-up user set. A transport calls it when an application takes control.
    void PowerUp();
    // A camera that is unplugged, or restarts, is another one afterwards: connections note the count.
    bool IsPlugged() const;
    uint32_t PlugCount() const;

    // ---- Features by name (CameraModel_Features.cpp) ----

    EModelStatus GetInteger(std::string_view name, IntegerValue* out);
    EModelStatus SetInteger(std::string_view name, int64_t value);
    EModelStatus GetFloat(std::string_view name, FloatValue* out);
    EModelStatus SetFloat(std::string_view name, float value);
    EModelStatus GetEnum(std::string_view name, EnumValue* out);
    EModelStatus SetEnum(std::string_view name, int64_t value);
    EModelStatus SetEnumByName(std::string_view name, std::string_view entry);
    EModelStatus GetString(std::string_view name, StringValue* out);
    EModelStatus SetString(std::string_view name, std::string_view value);
    EModelStatus GetBoolean(std::string_view name, bool* out);
    EModelStatus SetBoolean(std::string_view name, bool value);
    EModelStatus Execute(std::string_view name);
    EModelStatus TypeOf(std::string_view name, EFeatureType* out) const;
    // What may be done with the feature now.
    EModelStatus AccessOf(std::string_view name, EAccess* out);
    bool IsCategory(std::string_view name) const;

    // ---- Registers (CameraModel_Memory.cpp) ----

    EModelStatus ReadMemory(uint64_t address, void* out, uint64_t lengthBytes);
    // Registers are written whole, and all of them or none.
    EModelStatus WriteMemory(uint64_t address, const void* in, uint64_t lengthBytes);
    // Whether there are registers in the whole range, readable or not.
    bool HasMemory(uint64_t address, uint64_t lengthBytes) const;
    // What only the transport knows (which application has control, which ports are open), past the access rules
    // and without the features' consequences.
    int64_t TransportValue(EFeature id) const;
    void SetTransportValue(EFeature id, int64_t value);

    // ---- Settings as text (CameraModel_Settings.cpp) ----

    std::string SaveFeatures();
    // On failure nothing is changed and *where says what was wrong.
    EModelStatus LoadFeatures(std::string_view text, std::string* where);

    // ---- Files and network (CameraModel_Files.cpp) ----

    EModelStatus ReadFile(std::string_view name, std::vector<uint8_t>* out);
    EModelStatus WriteFile(std::string_view name, std::vector<uint8_t> bytes);
    // Ends an upgrade: the version's last number goes up.
    void InstallFirmware();
    EModelStatus ForceIp(uint32_t ip, uint32_t mask, uint32_t gateway);
    EModelStatus SetIpMode(uint32_t mode);
    // Takes the address anew that the configuration gives, as after a restart.
    void RenewIp();

    // ---- Frames (CameraModel_Frames.cpp) ----

    // Waits for the camera's next frame and fills it. Gone: the camera is no longer the one of plugCount.
    ENextFrame NextFrame(uint32_t plugCount, const std::stop_token& stop, CameraFrame* frame);
    CFrameClock::Duration FramePeriod() const;
    // Another number after every start and every end of acquisition.
    uint32_t Acquisition() const;

    // ---- Events ----

    // Whether the application wants to be told.
    bool IsEventOn(ECameraEvent event) const;
    uint64_t TimestampNs() const;

private:
    using Time = CFrameClock::Time;
    using Settings = std::vector<std::vector<uint8_t>>; // registers of the saved features, in their order
    struct Exposure {
        FrameContent m_content;
        uint64_t m_sourceIndex = 0;
        Scan3dSettings m_scan3d; // of a camera of that kind, in place of the content
    };

    bool IsScan3d() const { return m_config.m_kind == ECameraKind::Sfnc3d; }
    void Delay() const OX_EXCLUDES(m_mutex);
    void FillIdentityRegisters() OX_REQUIRES(m_mutex);
    void FillManifest() OX_REQUIRES(m_mutex);
    void FillBootstrapRegisters() OX_REQUIRES(m_mutex);
    void FillDefaults() OX_REQUIRES(m_mutex);
    void Refresh() OX_REQUIRES(m_mutex);
    void RefreshImages() OX_REQUIRES(m_mutex);
    void SetFloat(EFeature id, double value) OX_REQUIRES(m_mutex);
    std::string Text(EFeature id) const OX_REQUIRES(m_mutex);
    void SetText(EFeature id, std::string_view text) OX_REQUIRES(m_mutex);
    void Adopt(EFeature id, const CCameraModel& before) OX_REQUIRES(m_mutex, before.m_mutex);
    void Unplug() OX_REQUIRES(m_mutex);
    FrameContent Content() const OX_REQUIRES(m_mutex);

    uint32_t SlotOf(const MappedFeature& feature) const OX_REQUIRES(m_mutex);
    uint64_t Raw(const MappedFeature& feature, uint32_t slot) const OX_REQUIRES(m_mutex);
    void StoreRaw(const MappedFeature& feature, uint32_t slot, uint64_t value) OX_REQUIRES(m_mutex);
    int64_t Value(EFeature id) const OX_REQUIRES(m_mutex);
    void SetValue(EFeature id, int64_t value) OX_REQUIRES(m_mutex);
    float Float(EFeature id) const OX_REQUIRES(m_mutex);
    bool IsLocked(const FeatureRow& row) const OX_REQUIRES(m_mutex);
    EModelStatus Lookup(std::string_view name, EFeatureType type, const MappedFeature** out) const;
    EModelStatus CheckValue(const FeatureRow& row, uint64_t raw) const;
    EModelStatus Write(const MappedFeature& feature, uint32_t slot, uint64_t raw) OX_REQUIRES(m_mutex);
    EModelStatus SetNumber(std::string_view name, EFeatureType type, uint64_t raw) OX_EXCLUDES(m_mutex);
    EModelStatus OnWritten(EFeature id) OX_REQUIRES(m_mutex);

    // Cameras of the standard's 3D model (CameraModel_Scan3d.cpp).
    uint64_t RawAt(EFeature id, uint32_t slot) const OX_REQUIRES(m_mutex);
    void SetRawAt(EFeature id, uint32_t slot, uint64_t value) OX_REQUIRES(m_mutex);
    void SetFloatAt(EFeature id, uint32_t slot, float value) OX_REQUIRES(m_mutex);
    bool IsOfDepthLens(uint32_t component) const;
    Region FullRegion(uint32_t component) const OX_REQUIRES(m_mutex);
    void ResetRegion(uint32_t component) OX_REQUIRES(m_mutex);
    void FillScan3dDefaults() OX_REQUIRES(m_mutex);
    Scan3dSettings Scan3dNow() const OX_REQUIRES(m_mutex);
    void RefreshScan3d() OX_REQUIRES(m_mutex);
    void RefreshCoordinates(const Scan3dOptics& optics) OX_REQUIRES(m_mutex);
    EModelStatus CheckScan3d(const FeatureRow& row, uint32_t slot, uint64_t raw) const OX_REQUIRES(m_mutex);
    void OnScan3dWritten(EFeature id, uint32_t slot) OX_REQUIRES(m_mutex);
    bool RenderScan3d(const Exposure& exposure, CameraFrame* frame) OX_REQUIRES(m_renderMutex);

    struct MemoryWrite;
    EModelStatus PlanWrites(uint64_t address, const uint8_t* in, uint64_t lengthBytes,
                            std::vector<MemoryWrite>* plan) const OX_REQUIRES(m_mutex);
    EModelStatus PlanWrite(const MappedFeature& feature, uint32_t slot, uint64_t address, const uint8_t* in,
                           uint64_t lengthBytes, std::vector<MemoryWrite>* plan) const OX_REQUIRES(m_mutex);

    Settings TakeSettings() const OX_REQUIRES(m_mutex);
    void ApplySettings(const Settings& settings) OX_REQUIRES(m_mutex);
    std::string ValueText(const MappedFeature& feature, uint32_t slot) const OX_REQUIRES(m_mutex);
    void TakeRecordedFeatures(std::string_view text) OX_REQUIRES(m_mutex);
    EModelStatus SetFromText(const MappedFeature& feature, std::string_view text) OX_REQUIRES(m_mutex);
    // 0 is the default set, which a set stands for in which nothing was stored.
    const Settings& UserSet(int64_t number) const OX_REQUIRES(m_mutex);
    EModelStatus UserSetCommand(EFeature command) OX_REQUIRES(m_mutex);

    EModelStatus StartAcquisition() OX_REQUIRES(m_mutex);
    void EndAcquisition() OX_REQUIRES(m_mutex);
    EModelStatus Trigger() OX_REQUIRES(m_mutex);
    EModelStatus RunFileOperation() OX_REQUIRES(m_mutex);
    void BumpVersion() OX_REQUIRES(m_mutex);
    void RestartNetwork() OX_REQUIRES(m_mutex);
    CFrameClock::Duration Period() const OX_REQUIRES(m_mutex);
    CFrameClock::Duration NextPeriod(bool isTriggered) const OX_REQUIRES(m_mutex);
    CFrameClock::Duration ExposureTime() const OX_REQUIRES(m_mutex);
    std::optional<Time> NextDue(bool isTriggered) const OX_REQUIRES(m_mutex);
    void Expose(bool isTriggered, Time due, Time now, CameraFrame* frame, Exposure* exposure)
        OX_REQUIRES(m_mutex);
    bool IsDropped(uint32_t number) const OX_REQUIRES(m_mutex);
    bool IsNotified(ECameraEvent event) const OX_REQUIRES(m_mutex);
    bool Render(const Exposure& exposure, CameraFrame* frame) OX_EXCLUDES(m_mutex);
    void Number(CameraFrame* frame) OX_REQUIRES(m_renderMutex);
    bool HasSourceEnded(const Exposure& exposure) OX_EXCLUDES(m_mutex);
    void ShiftClock(uint64_t ownNs, uint64_t recordedNs) OX_REQUIRES(m_mutex);

    const CameraConfig m_config;
    const SourceFactory m_makeSource;
    const CFeatureMap m_features;
    const std::string m_xml;
    const RgbdIntrinsics m_sensor; // of a 3D camera's whole depth image

    mutable CMutex m_mutex;
    CCondition m_changed; // acquisition, trigger, rate or plug
    CRegisterFile m_registers OX_GUARDED_BY(m_mutex);
    CFileStore m_files OX_GUARDED_BY(m_mutex);
    CFileAccess m_fileAccess OX_GUARDED_BY(m_mutex);
    Settings m_defaultSet OX_GUARDED_BY(m_mutex);
    std::optional<Settings>
        m_storedSets[2] OX_GUARDED_BY(m_mutex); // what was stored in UserSet1 and UserSet2
    Time m_clockStart OX_GUARDED_BY(m_mutex);
    Time m_poweredAt OX_GUARDED_BY(m_mutex);

    bool m_isAcquiring OX_GUARDED_BY(m_mutex) = false;
    uint32_t m_acquisition OX_GUARDED_BY(m_mutex) = 0;
    bool m_hasSourceEnded OX_GUARDED_BY(m_mutex) = false;
    uint32_t m_frameNumber OX_GUARDED_BY(m_mutex) = 0; // of this start
    uint32_t m_framesLeft OX_GUARDED_BY(m_mutex) = 0;  // 0: without end
    CFrameClock m_clock OX_GUARDED_BY(m_mutex);
    uint32_t m_plugCount OX_GUARDED_BY(m_mutex) = 0;
    uint32_t m_unplugFaults OX_GUARDED_BY(m_mutex) = 0;
    Time m_pluggedAt OX_GUARDED_BY(m_mutex);
    const CFrameSource* m_sizes OX_GUARDED_BY(m_mutex) = nullptr; // the source, for what never changes of it

    CMutex m_renderMutex;                                                // taken without m_mutex or before it
    std::unique_ptr<CFrameSource> m_source OX_GUARDED_BY(m_renderMutex); // set once
    FrameImages m_images OX_GUARDED_BY(m_renderMutex);
    CScan3dPacker m_packer OX_GUARDED_BY(m_renderMutex);
    CPlayedNumbers m_numbers OX_GUARDED_BY(m_renderMutex); // of the acquisition
    uint32_t m_numbered OX_GUARDED_BY(m_renderMutex) = 0;
};

} // namespace ox3d

#endif
