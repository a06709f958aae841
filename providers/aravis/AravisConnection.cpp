// AravisConnection.cpp - life of an opened camera, its streaming and its features.
#include "providers/aravis/AravisConnection.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "gigevision/Registers.h"
#include "providers/aravis/AravisStream.h"
#include "providers/aravis/FeatureFile.h"
#include "providers/aravis/Features.h"
#include "providers/aravis/GvcpClient.h"
#include "providers/aravis/Memory.h"
#include "providers/aravis/Network.h"
#include "providers/aravis/Parting.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

// Jumbo frames are what a good wire carries; loopback's enormous ones only make a lost packet dearer.
constexpr uint32_t kMaxPacketBytes = 9000;
constexpr const char* kPacketSize = "GevSCPSPacketSize";
constexpr int kMaxSilentProbes = 2;

using WeakConnection = std::weak_ptr<CAravisConnection>;

// Called on a thread of Aravis.
void OnControlLost(ArvDevice* /*device*/, gpointer data) {
    if (const auto connection = static_cast<WeakConnection*>(data)->lock()) {
        connection->MarkGone();
    }
}

void DropWeak(gpointer data, GClosure* /*closure*/) {
    delete static_cast<WeakConnection*>(data);
}

} // namespace

CAravisConnection::CAravisConnection(CObject<ArvDevice> device, const CameraPath& path,
                                     std::shared_ptr<CHandleCallbacks> callbacks, uint32_t accessMode)
    : CConnection(std::move(callbacks), accessMode), m_path(path), m_device(std::move(device)),
      m_controlTimeoutMs(CGvcpClient::kDefaultTimeoutMs), m_monitor(std::make_shared<CConnectionMonitor>()) {
    arv_device_set_range_check_policy(m_device.get(), ARV_RANGE_CHECK_POLICY_ENABLE);
    arv_device_set_access_check_policy(m_device.get(), ARV_ACCESS_CHECK_POLICY_ENABLE);
    arv_device_set_register_cache_policy(m_device.get(), ARV_REGISTER_CACHE_POLICY_DISABLE);
    if (ARV_IS_GV_DEVICE(m_device.get())) {
        // The size is found out when streaming starts, within the limits of the interface.
        arv_gv_device_set_packet_size_adjustment(ARV_GV_DEVICE(m_device.get()),
                                                 ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
    }
}

CAravisConnection::~CAravisConnection() {
    Release();
}

int CAravisConnection::Gone() {
    return kDeviceGone;
}

bool CAravisConnection::Begin() {
    if (!Start()) {
        return false;
    }
    const auto self = std::static_pointer_cast<CAravisConnection>(shared_from_this());
    if (!m_monitor->Start(self)) {
        RequestStop();
        CConnection::Join();
        return false;
    }
    LearnKind();
    const CLock lock(m_deviceMutex);
    m_lossHandler = g_signal_connect_data(m_device.get(), "control-lost", G_CALLBACK(&OnControlLost),
                                          new WeakConnection(self), &DropWeak, GConnectFlags{});
    return true;
}

void CAravisConnection::LearnKind() {
    const CLock lock(m_deviceMutex);
    const ECameraKind kind = KindOf(m_device.get());
    m_own.SetKind(kind);
    if (kind == ECameraKind::Native) {
        return;
    }
    std::fprintf(stderr, "camera control: the camera is of kind %s\n", NameOf(kind));
    if (kind == ECameraKind::Sfnc3d && MayWrite()) {
        m_scan3d.Apply(m_device.get());
    }
}

void CAravisConnection::RequestStop() {
    m_monitor->RequestStop();
    CConnection::RequestStop();
}

void CAravisConnection::Join() {
    m_monitor->Join();
    CConnection::Join();
}

void CAravisConnection::Release() {
    const CLock lock(m_deviceMutex);
    if (m_device == nullptr) {
        return;
    }
    if (m_lossHandler != 0) {
        g_signal_handler_disconnect(m_device.get(), m_lossHandler);
        m_lossHandler = 0;
    }
    if (IsEthernet() && !IsAlive()) {
        ReleaseLater(G_OBJECT(m_device.release()));
    } else {
        m_scan3d.PutBack(m_device.get());
    }
    m_device.reset();
}

// Only the application in control may write this register: writing what it holds already asks whether that is us.
bool CAravisConnection::HasLostControl() {
    const int code = OnDevice([](ArvDevice* device) {
        CArvError error;
        arv_device_write_register(device, gige::reg::kControlPrivilege, gige::kControlAccess, error.Out());
        return error.Code();
    });
    m_silentProbes =
        code == kDeviceGone ? m_silentProbes + 1 : 0; // some cameras answer only the application in control
    return code == Code(OX_CC_E_GC_ACCESS) || code == Code(OX_CC_E_ACCESS_DENIED) ||
           m_silentProbes >= kMaxSilentProbes;
}

void CAravisConnection::SetResend(const ResendSettings& settings) {
    const CLock lock(m_deviceMutex);
    m_resend = settings;
}

// ---- Streaming ----

std::shared_ptr<CStream> CAravisConnection::MakeStream(std::shared_ptr<CFrameBuffer> frames) {
    return std::make_shared<CAravisStream>(std::static_pointer_cast<CAravisConnection>(shared_from_this()),
                                           std::move(frames));
}

int CAravisConnection::PrepareStream(CStream& stream) {
    return OnDevice([&](ArvDevice* device) {
        m_deviceMutex.AssertHeld();
        if (IsEthernet()) {
            NegotiatePacketSize(device);
        }
        Scan3dPlan plan;
        if (m_own.Kind() == ECameraKind::Sfnc3d) {
            std::string why;
            if (const int code = m_scan3d.Read(device, m_own.Options(), &plan, &why); code != kOk) {
                std::fprintf(stderr, "camera control: no depth from this camera: %s\n", why.c_str());
                return code;
            }
        }
        const int code = static_cast<CAravisStream&>(stream).Prepare(device, m_resend, plan);
        m_isStreaming = code == kOk;
        return code;
    });
}

// The largest size that gets through, unless the application has chosen one; never more than the host's
// interface carries. Bytes, or 0 when the camera does not let it be set.
int CAravisConnection::NegotiatePacketSize(ArvDevice* device) {
    ArvGvDevice* camera = ARV_GV_DEVICE(device);
    CArvError error;
    if (!m_isPacketSizeSet && !m_isStreaming) { // test packets would take the stream's channel away
        arv_gv_device_auto_packet_size(camera, error.Out());
        m_isPacketSizeSet = true;
    }
    OX_CC_INT_VALUE_EX size{};
    if (features::GetInteger(device, kPacketSize, &size) != kOk) {
        return 0;
    }
    const int64_t mtu = MtuOf(m_path.m_hostIp);
    const int64_t max = mtu == 0 ? kMaxPacketBytes : std::min<int64_t>(mtu, kMaxPacketBytes);
    if (size.nCurValue <= max || m_isStreaming) {
        return static_cast<int>(size.nCurValue);
    }
    int64_t wanted = std::max(max, size.nMin);
    wanted -= (wanted - size.nMin) % size.nInc;
    return features::SetInteger(device, kPacketSize, wanted) == kOk ? static_cast<int>(wanted) : 0;
}

int CAravisConnection::OptimalPacketSize() {
    if (!IsEthernet()) {
        return Code(OX_CC_E_SUPPORT);
    }
    return OnDevice([this](ArvDevice* device) {
        m_deviceMutex.AssertHeld();
        m_isPacketSizeSet = m_isStreaming ? m_isPacketSizeSet : !MayWrite();
        const int size = NegotiatePacketSize(device);
        return size > 0 ? size : Code(OX_CC_E_SUPPORT);
    });
}

// Features that must not change while frames come are locked by this one, where a camera has it.
void CAravisConnection::LockTransport(bool isLocked) {
    OnDevice(
        [&](ArvDevice* device) { return features::SetInteger(device, "TLParamsLocked", isLocked ? 1 : 0); });
}

int CAravisConnection::StartAcquisition() {
    LockTransport(true);
    const int code = Execute("AcquisitionStart");
    if (code != kOk) {
        EndStreaming();
    }
    return code;
}

void CAravisConnection::StopAcquisition() {
    Execute("AcquisitionStop");
    EndStreaming();
}

void CAravisConnection::EndStreaming() {
    LockTransport(false);
    const CLock lock(m_deviceMutex);
    m_isStreaming = false;
}

// ---- Features ----

int CAravisConnection::GetInteger(const char* key, OX_CC_INT_VALUE_EX* value) {
    if (const auto own = m_own.GetInteger(key, value)) {
        return *own;
    }
    return OnDevice([&](ArvDevice* device) { return features::GetInteger(device, key, value); });
}

int CAravisConnection::SetInteger(const char* key, int64_t value) {
    if (const auto own = m_own.SetInteger(key, value)) {
        return *own;
    }
    return OnDevice([&](ArvDevice* device) {
        m_deviceMutex.AssertHeld();
        const int code = features::SetInteger(device, key, value);
        m_isPacketSizeSet |= code == kOk && std::strcmp(key, kPacketSize) == 0;
        return code;
    });
}

int CAravisConnection::GetFloat(const char* key, OX_CC_FLOAT_VALUE* value) {
    if (const auto own = m_own.GetFloat(key, value)) {
        return *own;
    }
    return OnDevice([&](ArvDevice* device) { return features::GetFloat(device, key, value); });
}

int CAravisConnection::SetFloat(const char* key, float value) {
    if (const auto own = m_own.SetFloat(key, value)) {
        return *own;
    }
    return OnDevice([&](ArvDevice* device) { return features::SetFloat(device, key, value); });
}

int CAravisConnection::GetEnum(const char* key, OX_CC_ENUM_VALUE* value) {
    return OnDevice([&](ArvDevice* device) { return features::GetEnum(device, key, value); });
}

int CAravisConnection::SetEnum(const char* key, uint32_t value) {
    if (m_own.IsWorkModeSwitch(key, value)) {
        return kOk;
    }
    return OnDevice([&](ArvDevice* device) { return features::SetEnum(device, key, value); });
}

int CAravisConnection::SetEnumByName(const char* key, const char* entry) {
    return OnDevice([&](ArvDevice* device) { return features::SetEnumByName(device, key, entry); });
}

int CAravisConnection::GetString(const char* key, OX_CC_STRING_VALUE* value) {
    if (const auto own = m_own.GetString(key, value)) {
        return *own;
    }
    return OnDevice([&](ArvDevice* device) {
        std::string text;
        int64_t maxBytes = 0;
        if (const int code = features::GetString(device, key, &text, &maxBytes); code != kOk) {
            return code;
        }
        std::memset(value, 0, sizeof(*value));
        text.copy(value->chCurValue, sizeof(value->chCurValue) - 1);
        value->nMaxLength = maxBytes;
        return kOk;
    });
}

int CAravisConnection::SetString(const char* key, const char* value) {
    if (const auto own = m_own.SetString(key, value)) {
        return *own;
    }
    return OnDevice([&](ArvDevice* device) { return features::SetString(device, key, value); });
}

int CAravisConnection::GetBoolean(const char* key, bool* value) {
    return OnDevice([&](ArvDevice* device) { return features::GetBoolean(device, key, value); });
}

int CAravisConnection::SetBoolean(const char* key, bool value) {
    if (m_own.IsWorkModeSwitch(key, value ? 1 : 0)) {
        return kOk;
    }
    return OnDevice([&](ArvDevice* device) { return features::SetBoolean(device, key, value); });
}

int CAravisConnection::Execute(const char* key) {
    return OnDevice([&](ArvDevice* device) { return features::Execute(device, key); });
}

int CAravisConnection::AccessOf(const char* key, uint32_t* accessMode) {
    if (const auto own = m_own.AccessOf(key)) {
        *accessMode = *own;
        return kOk;
    }
    return OnDevice([&](ArvDevice* device) {
        ArvGcFeatureNode* node = nullptr;
        const int code = features::Find(device, key, features::kNoType, &node);
        return code == kOk ? features::AccessOfNode(node, accessMode) : code;
    });
}

int CAravisConnection::TypeOf(const char* key, uint32_t* interfaceType) {
    if (const auto own = m_own.TypeOf(key)) {
        *interfaceType = *own;
        return kOk;
    }
    return OnDevice([&](ArvDevice* device) {
        ArvGcFeatureNode* node = nullptr;
        const int code = features::Find(device, key, features::kNoType, &node);
        if (code == kOk) {
            *interfaceType = features::TypeOfNode(node);
        }
        return code;
    });
}

int CAravisConnection::Xml(std::string* xml) {
    return OnDevice([&](ArvDevice* device) {
        size_t lengthBytes = 0;
        const char* text = arv_device_get_genicam_xml(device, &lengthBytes);
        if (text == nullptr) {
            return Code(OX_CC_E_GC_GENERIC);
        }
        xml->assign(text, lengthBytes);
        return kOk;
    });
}

int CAravisConnection::SaveFeatures(std::string* text) {
    return OnDevice([&](ArvDevice* device) { return SaveFeatureText(device, MayWrite(), text); });
}

int CAravisConnection::LoadFeatures(const std::string& text, std::string* where) {
    return OnDevice([&](ArvDevice* device) { return LoadFeatureText(device, text, where); });
}

// ---- Memory ----

int CAravisConnection::ReadMemory(uint64_t address, void* bytes, uint64_t lengthBytes) {
    return OnDevice([&](ArvDevice* device) { return ReadDeviceMemory(device, address, bytes, lengthBytes); });
}

int CAravisConnection::WriteMemory(uint64_t address, const void* bytes, uint64_t lengthBytes) {
    return OnDevice(
        [&](ArvDevice* device) { return WriteDeviceMemory(device, address, bytes, lengthBytes); });
}

} // namespace ox3d
