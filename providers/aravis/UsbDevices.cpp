// UsbDevices.cpp - the USB3 Vision interface of Aravis, and the kernel's own description of the devices.
#include "providers/aravis/UsbDevices.h"

#include <pthread.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <set>

#include "base/LocalFile.h"
#include "base/Mutex.h"
#include "base/SignalMask.h"
#include "providers/common/DeviceText.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSysfs = "/sys/bus/usb/devices";

struct UsbState {
    CMutex m_mutex; // the list of Aravis's one interface object, too
    std::set<std::string> m_openSerials OX_GUARDED_BY(m_mutex); // of what this process has open
};

UsbState& Usb() {
    static auto* const s_state = new UsbState;
    return *s_state;
}

void HoldForFork(bool isHeld) OX_NO_THREAD_SAFETY_ANALYSIS {
    isHeld ? Usb().m_mutex.Lock() : Usb().m_mutex.Unlock();
}

// No process is forked while a thread is at Aravis's list: a child finds it whole, and what its parent has open. At load
// and not at the first use, so that no fork can come in between. A failure for want of memory is ignored.
[[maybe_unused]] const int g_forkWatch =
    pthread_atfork([] { HoldForFork(true); }, [] { HoldForFork(false); }, [] { HoldForFork(false); });

template <size_t N>
void Fill(char (&field)[N], const char* text) {
    CopyText(field, text == nullptr ? "" : text);
}

// The first line of an attribute; empty when there is none.
std::string Attribute(const fs::path& folder, const char* name) {
    constexpr uint64_t kMaxAttributeBytes = 4096; // a page, as much as the kernel gives
    std::string text;
    if (!ReadLocalFile(folder / name, kMaxAttributeBytes, &text, ELongFile::Cut)) {
        return {};
    }
    return text.substr(0, text.find('\n'));
}

uint32_t Number(const std::string& text, int base) {
    uint32_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value, base);
    return value;
}

// "3.20" as 0x0320.
uint32_t BcdOf(const std::string& text) {
    const size_t start = text.find_first_not_of(' ');
    const size_t point = text.find('.');
    if (start == text.npos || point == text.npos || point < start) {
        return 0;
    }
    return (Number(text.substr(start, point - start), 16) << 8) | Number(text.substr(point + 1), 16);
}

// End points of the camera's control (0), event (1) and stream (2) interfaces, by their protocol numbers.
void FillEndPoints(const fs::path& interfaceFolder, OX_CC_USB_DEVICE_INFO* device) {
    constexpr uint32_t kInput = 0x80;
    const uint32_t protocol = Number(Attribute(interfaceFolder, "bInterfaceProtocol"), 16);
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(interfaceFolder, ignored)) {
        if (entry.path().filename().string().rfind("ep_", 0) != 0) {
            continue;
        }
        const auto address = static_cast<uint8_t>(Number(Attribute(entry.path(), "bEndpointAddress"), 16));
        if (protocol == 0) {
            ((address & kInput) != 0 ? device->nCrtlInEndPoint : device->nCrtlOutEndPoint) = address;
        } else if (protocol == 1) {
            device->nEventEndPoint = address;
        } else if (protocol == 2) {
            device->nStreamEndPoint = address;
        }
    }
}

// "1-2:1.0" beside "1-2".
bool IsInterfaceOf(const fs::path& entry, const fs::path& device) {
    const std::string name = entry.filename().string();
    return name.rfind(device.filename().string() + ":", 0) == 0 &&
           Attribute(entry, "bInterfaceClass") == "ef" && Attribute(entry, "bInterfaceSubClass") == "05";
}

OX_CC_DEVICE_INFO RecordOf(ArvInterface* usb, unsigned int index, uint32_t ordinal) {
    OX_CC_DEVICE_INFO record;
    std::memset(&record, 0, sizeof(record));
    record.nTLayerType = OX_CC_USB_DEVICE;
    OX_CC_USB_DEVICE_INFO& device = record.stUsb3Info;
    const char* guid = arv_interface_get_device_physical_id(usb, index);
    Fill(device.chVendorName, arv_interface_get_device_vendor(usb, index));
    Fill(device.chManufacturerName, arv_interface_get_device_vendor(usb, index));
    Fill(device.chModelName, arv_interface_get_device_model(usb, index));
    Fill(device.chSerialNumber, arv_interface_get_device_serial_nbr(usb, index));
    Fill(device.chDeviceGuid, guid);
    device.nDeviceNumber = ordinal;
    FillFromSysfs(kSysfs, &device);
    if (device.nVendorId == 0 && guid != nullptr) { // a GUID begins with the vendor's number
        device.nVendorId = static_cast<uint16_t>(Number(std::string(guid).substr(0, 4), 16));
    }
    return record;
}

} // namespace

void FillFromSysfs(const std::string& folder, OX_CC_USB_DEVICE_INFO* device) {
    const std::string serial(BoundedText(device->chSerialNumber));
    std::error_code ignored;
    std::vector<fs::path> entries;
    for (const auto& entry : fs::directory_iterator(folder, ignored)) {
        entries.push_back(entry.path());
    }
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const fs::path& entry) {
        return !serial.empty() && Attribute(entry, "serial") == serial;
    });
    if (found == entries.end()) {
        return;
    }
    device->nVendorId = static_cast<uint16_t>(Number(Attribute(*found, "idVendor"), 16));
    device->nProductId = static_cast<uint16_t>(Number(Attribute(*found, "idProduct"), 16));
    device->nBcdUsb = BcdOf(Attribute(*found, "version"));
    for (const fs::path& entry : entries) {
        if (IsInterfaceOf(entry, *found)) {
            FillEndPoints(entry, device);
        }
    }
}

std::vector<OX_CC_DEVICE_INFO> ListUsbDevices() {
    const CLock lock(Usb().m_mutex);
    std::vector<OX_CC_DEVICE_INFO> records;
    ArvInterface* usb = arv_uv_interface_get_instance();
    arv_interface_update_device_list(usb);
    const unsigned int count = std::min<unsigned int>(arv_interface_get_n_devices(usb), OX_CC_MAX_DEVICES);
    for (unsigned int i = 0; i < count; ++i) {
        records.push_back(RecordOf(usb, i, i + 1));
    }
    return records;
}

void NoteUsbDevice(const OX_CC_DEVICE_INFO& record, bool isOpen) {
    UsbState& state = Usb();
    const CLock lock(state.m_mutex);
    if (isOpen) {
        state.m_openSerials.insert(SerialOf(record));
    } else {
        state.m_openSerials.erase(SerialOf(record));
    }
}

int OpenUsbDevice(const OX_CC_DEVICE_INFO& record, CObject<ArvDevice>* device) {
    UsbState& state = Usb();
    const CLock lock(state.m_mutex);
    const OX_CC_USB_DEVICE_INFO& wanted = record.stUsb3Info;
    const std::string vendor(BoundedText(wanted.chVendorName));
    const std::string model(BoundedText(wanted.chModelName));
    const std::string serial(BoundedText(wanted.chSerialNumber));
    if (state.m_openSerials.contains(serial)) {
        return Code(OX_CC_E_ACCESS_DENIED);
    }
    CArvError error;
    const CSignalsBlocked blocked; // libusb starts a thread for its events
    device->reset(arv_uv_device_new(vendor.c_str(), model.c_str(), serial.c_str(), error.Out()));
    if (*device != nullptr && !error.IsSet()) {
        return kOk;
    }
    device->reset();
    const bool isRefused = error.Get() != nullptr && error.Get()->domain == ARV_DEVICE_ERROR &&
                           error.Get()->code == ARV_DEVICE_ERROR_PROTOCOL_ERROR;
    return isRefused ? Code(OX_CC_E_ACCESS_DENIED) : error.Code();
}

} // namespace ox3d
