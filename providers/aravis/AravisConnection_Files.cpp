// AravisConnection_Files.cpp - files of the camera's store, through the file features of its description.
#include <algorithm>

#include "providers/aravis/AravisConnection.h"
#include "providers/aravis/Features.h"
#include "providers/aravis/LensLook.h"
#include "providers/aravis/Memory.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr const char* kSelector = "FileSelector";
constexpr const char* kOperation = "FileOperationSelector";
constexpr int64_t kMaxFileBytes = 256 << 20;
constexpr const char* kCalibrationFile = "RGBDSensorCali";

// What a camera's firmware is called is the maker's choice, but for this.
bool IsFirmware(const std::string& name) {
    return name.find("irmware") != name.npos;
}

// One open file; closing it is tried whatever happened, unless it is a firmware that is not whole: the camera would
// install that part. It drops the file with the control that is given back next.
class CDeviceFile {
public:
    CDeviceFile(CAravisConnection& connection, bool isForWriting)
        : m_connection(connection), m_isForWriting(isForWriting) {}
    CDeviceFile(const CDeviceFile&) = delete;
    CDeviceFile& operator=(const CDeviceFile&) = delete;
    ~CDeviceFile() {
        if (m_isOpen && !(m_isForWriting && m_isFirmware)) {
            Run("Close");
        }
    }

    int Open(const std::string& name) {
        int code = m_connection.SetEnumByName(kSelector, name.c_str());
        if (code != kOk) {
            return code == Code(OX_CC_E_GC_RANGE) ? Code(OX_CC_E_PARAMETER) : code; // no such file
        }
        code = m_connection.SetEnumByName("FileOpenMode", m_isForWriting ? "Write" : "Read");
        if (code != kOk) {
            return code;
        }
        code = FindBuffer();
        if (code != kOk) {
            return code;
        }
        code = Run("Open");
        if (code ==
            Code(
                OX_CC_E_UNKNOWN)) { // the camera knows the file but has nothing in it, or does not give it out
            return Code(m_isForWriting ? OX_CC_E_GC_ACCESS : OX_CC_E_NO_DATA);
        }
        m_isOpen = code == kOk;
        m_isFirmware = IsFirmware(name);
        return code;
    }

    int Close() {
        m_isOpen = false;
        return Run("Close");
    }

    // -1 where the camera does not tell.
    int64_t Size() const {
        OX_CC_INT_VALUE_EX size{};
        return m_connection.GetInteger("FileSize", &size) == kOk ? size.nCurValue : -1;
    }

    int64_t BlockBytes() const { return m_blockBytes; }

    // *moved is what the camera says, within what was asked for.
    int Read(int64_t offset, uint8_t* bytes, int64_t lengthBytes, int64_t* moved) {
        int code = Move("Read", offset, lengthBytes, moved);
        if (code == kOk && *moved > 0) {
            code = m_connection.ReadMemory(m_bufferAddress, bytes, static_cast<uint64_t>(*moved));
        }
        return code;
    }

    int Write(int64_t offset, const uint8_t* bytes, int64_t lengthBytes, int64_t* moved) {
        const int code = m_connection.WriteMemory(m_bufferAddress, bytes, static_cast<uint64_t>(lengthBytes));
        return code == kOk ? Move("Write", offset, lengthBytes, moved) : code;
    }

private:
    int FindBuffer() {
        const int code = m_connection.OnDevice([this](ArvDevice* device) {
            ArvGcFeatureNode* node = nullptr;
            const int found = features::Find(device, "FileAccessBuffer", OX_IFT_IRegister, &node);
            if (found != kOk || !ARV_IS_GC_REGISTER(node)) {
                return found == kOk ? Code(OX_CC_E_SUPPORT) : found;
            }
            CArvError error;
            m_bufferAddress = arv_gc_register_get_address(ARV_GC_REGISTER(node), error.Out());
            if (!error.IsSet()) {
                m_blockBytes =
                    static_cast<int64_t>(arv_gc_register_get_length(ARV_GC_REGISTER(node), error.Out()));
            }
            return error.Code();
        });
        OX_CC_INT_VALUE_EX length{};
        if (code == kOk && m_connection.GetInteger("FileAccessLength", &length) == kOk) {
            m_blockBytes = std::min(m_blockBytes, length.nMax);
        }
        m_blockBytes = std::min<int64_t>(m_blockBytes, kMaxBlockBytes);
        return code != kOk || m_blockBytes > 0 ? code : Code(OX_CC_E_SUPPORT);
    }

    int Move(const char* operation, int64_t offset, int64_t lengthBytes, int64_t* moved) {
        int code = m_connection.SetInteger("FileAccessOffset", offset);
        if (code == kOk) {
            code = m_connection.SetInteger("FileAccessLength", lengthBytes);
        }
        if (code == kOk) {
            code = Run(operation);
        }
        OX_CC_INT_VALUE_EX result{};
        if (code == kOk) {
            code = m_connection.GetInteger("FileOperationResult", &result);
        }
        if (code == kOk && (result.nCurValue < 0 || result.nCurValue > lengthBytes)) {
            code = Code(OX_CC_E_UNKNOWN);
        }
        *moved = code == kOk ? result.nCurValue : 0;
        return code;
    }

    // OX_CC_E_UNKNOWN when the camera carried the operation out without success.
    int Run(const char* operation) {
        int code = m_connection.SetEnumByName(kOperation, operation);
        if (code == kOk) {
            code = m_connection.Execute("FileOperationExecute");
        }
        if (code != kOk) {
            return code;
        }
        std::string status;
        code = m_connection.OnDevice(
            [&](ArvDevice* device) { return features::GetEnumName(device, "FileOperationStatus", &status); });
        return code != kOk || status == "Success" ? code : Code(OX_CC_E_UNKNOWN);
    }

    static constexpr int64_t kMaxBlockBytes = 1 << 20;

    CAravisConnection& m_connection;
    const bool m_isForWriting;
    bool m_isOpen = false;
    bool m_isFirmware = false;
    uint64_t m_bufferAddress = 0;
    int64_t m_blockBytes = 0;
};

} // namespace

int CAravisConnection::MakeCalibration(std::vector<uint8_t>* bytes) {
    return OnDevice([&](ArvDevice* device) {
        m_deviceMutex.AssertHeld();
        const bool mayLook = m_own.Kind() == ECameraKind::Sfnc3d && MayWrite() && !m_isStreaming &&
                             !m_scan3d.IsLensTold(device);
        if (mayLook && IsEthernet()) {
            NegotiatePacketSize(device);
        }
        const uint32_t own = m_own.RetentionMs();
        const CLensLook look(m_path, m_resend, own != 0 ? own : kScan3dRetentionMs);
        const std::string text = m_scan3d.Calibration(device, mayLook ? &look : nullptr);
        bytes->assign(text.begin(), text.end());
        return kOk;
    });
}

// The library wants a calibration of every camera, and opens none without.
int CAravisConnection::ReadFile(const std::string& name, const TransferProgress& progress,
                                std::vector<uint8_t>* bytes) {
    const int code = ReadCameraFile(name, progress, bytes);
    const bool isMade = m_own.Kind() != ECameraKind::Native && name == kCalibrationFile;
    return code != kOk && isMade && IsAlive() ? MakeCalibration(bytes) : code;
}

int CAravisConnection::ReadCameraFile(const std::string& name, const TransferProgress& progress,
                                      std::vector<uint8_t>* bytes) {
    const CLock lock(m_fileMutex);
    CDeviceFile file(*this, false);
    if (const int code = file.Open(name); code != kOk) {
        return code;
    }
    const int64_t size = file.Size();
    if (size > kMaxFileBytes) {
        return Code(OX_CC_E_RESOURCE);
    }
    int64_t done = 0;
    while (size < 0 || done < size) {
        const int64_t wanted = size < 0 ? file.BlockBytes() : std::min(file.BlockBytes(), size - done);
        int64_t moved = 0;
        bytes->resize(static_cast<size_t>(done + wanted));
        if (const int code = file.Read(done, bytes->data() + done, wanted, &moved); code != kOk) {
            return code;
        }
        done += moved;
        if (done > kMaxFileBytes) {
            return Code(OX_CC_E_RESOURCE);
        }
        if (moved == 0) {
            break;
        }
        if (!progress(done, std::max(size, done))) {
            return kDeviceGone;
        }
    }
    bytes->resize(static_cast<size_t>(done));
    const int code = file.Close();
    return code == kOk && size > 0 && done < size ? Code(OX_CC_E_UNKNOWN) : code;
}

int CAravisConnection::WriteFile(const std::string& name, std::vector<uint8_t> bytes,
                                 const TransferProgress& progress) {
    const CLock lock(m_fileMutex);
    CDeviceFile file(*this, true);
    if (const int code = file.Open(name); code != kOk) {
        return code;
    }
    const auto total = static_cast<int64_t>(bytes.size());
    for (int64_t done = 0; done < total;) {
        int64_t moved = 0;
        const int64_t wanted = std::min(file.BlockBytes(), total - done);
        const int code = file.Write(done, bytes.data() + done, wanted, &moved);
        if (code != kOk || moved == 0) {
            return code == kOk || code == Code(OX_CC_E_UNKNOWN) ? Code(OX_CC_E_BUFFER_FULL) : code;
        }
        done += moved;
        if (!progress(done, total)) {
            return kDeviceGone;
        }
    }
    return file.Close();
}

// Firmware is a file like others.
int CAravisConnection::InstallFirmware(std::vector<uint8_t> bytes, const TransferProgress& progress) {
    std::string name;
    const int code = OnDevice([&](ArvDevice* device) {
        CArvError error;
        guint count = 0;
        const CGMemory<const char*> names(arv_device_dup_available_enumeration_feature_values_as_strings(
            device, kSelector, &count, error.Out()));
        for (guint i = 0; names != nullptr && i < count && name.empty(); ++i) {
            const std::string entry = names.get()[i];
            name = IsFirmware(entry) ? entry : "";
        }
        return error.IsSet() ? error.Code() : kOk;
    });
    if (code != kOk || name.empty()) {
        return code == kOk ? Code(OX_CC_E_SUPPORT) : code;
    }
    return WriteFile(name, std::move(bytes), progress);
}

} // namespace ox3d
