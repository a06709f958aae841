// UsbStandIn.cpp - the functions of libusb that Aravis uses, with one camera on the bus. It is gone while the
// file that OX3D_USB_UNPLUG names exists, and somebody else has it while that of OX3D_USB_BUSY does.
#include <libusb.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <unistd.h>

#include "tests/doubles/usb3/FakeU3vDevice.h"

using ox3d::test::CFakeU3vDevice;

namespace {

constexpr uint8_t kControlIn = 0x81;
constexpr uint8_t kControlOut = 0x01;
constexpr uint8_t kStreamIn = 0x82;
constexpr std::chrono::milliseconds kFramePeriod{5};

struct Bus {
    std::mutex m_mutex;
    std::condition_variable m_changed;
    CFakeU3vDevice m_camera;
    std::deque<libusb_transfer*> m_transfers; // of the stream, in the order of their submission
    std::deque<libusb_transfer*> m_cancelled;
    int m_step = 0; // what the stream sends next: leader, payload, trailer
    size_t m_sentBytes = 0;
    std::chrono::steady_clock::time_point m_nextFrame;
};

Bus& TheBus() {
    static auto* const s_bus = new Bus;
    return *s_bus;
}

bool IsThere(const char* variable) {
    const char* file = std::getenv(variable);
    return file != nullptr && access(file, F_OK) == 0;
}

bool IsUnplugged() {
    return IsThere("OX3D_USB_UNPLUG");
}

// libusb's objects are opaque: addresses of these stand for them.
int g_context;
int g_device;
int g_handle;

template <typename T>
T* Opaque(int* object) {
    return reinterpret_cast<T*>(object);
}

// Fills a transfer with what the stream has to say next. False while it has nothing.
bool Serve(Bus& bus, unsigned char* out, int lengthBytes, int* moved) {
    const auto now = std::chrono::steady_clock::now();
    if (!bus.m_camera.IsAcquiring() || (bus.m_step == 0 && now < bus.m_nextFrame)) {
        return false;
    }
    if (bus.m_step == 0) {
        bus.m_camera.NextFrame();
        bus.m_nextFrame = now + kFramePeriod;
        bus.m_sentBytes = 0;
    }
    const std::vector<uint8_t> bytes = bus.m_step == 0   ? bus.m_camera.Leader()
                                       : bus.m_step == 1 ? bus.m_camera.Payload()
                                                         : bus.m_camera.Trailer();
    const size_t from = bus.m_step == 1 ? bus.m_sentBytes : 0;
    const size_t count = std::min(bytes.size() - from, static_cast<size_t>(lengthBytes));
    std::memcpy(out, bytes.data() + from, count);
    *moved = static_cast<int>(count);
    bus.m_sentBytes += bus.m_step == 1 ? count : 0;
    if (bus.m_step != 1 || bus.m_sentBytes == bytes.size()) {
        bus.m_step = (bus.m_step + 1) % 3;
    }
    return true;
}

// The next transfer that is done, or null.
libusb_transfer* NextDone(Bus& bus) {
    if (!bus.m_cancelled.empty()) {
        libusb_transfer* transfer = bus.m_cancelled.front();
        bus.m_cancelled.pop_front();
        transfer->status = LIBUSB_TRANSFER_CANCELLED;
        return transfer;
    }
    if (bus.m_transfers.empty()) {
        return nullptr;
    }
    libusb_transfer* transfer = bus.m_transfers.front();
    if (!Serve(bus, transfer->buffer, transfer->length, &transfer->actual_length)) {
        return nullptr;
    }
    bus.m_transfers.pop_front();
    transfer->status = LIBUSB_TRANSFER_COMPLETED;
    return transfer;
}

const unsigned char g_deviceInfo[20] = {20, 0x24, 0x01, 0, 0, 1, 0, 0, 0, 1, 0, 4, 1, 2, 0, 0, 0, 3, 0, 8};

libusb_endpoint_descriptor EndPoint(uint8_t address) {
    libusb_endpoint_descriptor end{};
    end.bEndpointAddress = address;
    end.bmAttributes = LIBUSB_TRANSFER_TYPE_BULK;
    end.wMaxPacketSize = 1024;
    return end;
}

struct Configuration {
    libusb_endpoint_descriptor m_control[2] = {EndPoint(kControlIn), EndPoint(kControlOut)};
    libusb_endpoint_descriptor m_stream[1] = {EndPoint(kStreamIn)};
    libusb_interface_descriptor m_settings[2] = {};
    libusb_interface m_interfaces[2] = {};
    libusb_config_descriptor m_descriptor = {};

    Configuration() {
        for (uint8_t i = 0; i < 2; ++i) {
            m_settings[i].bInterfaceNumber = i;
            m_settings[i].bInterfaceClass = 0xEF;
            m_settings[i].bInterfaceSubClass = 0x05;
            m_settings[i].bInterfaceProtocol = i == 0 ? 0 : 2;
            m_settings[i].bNumEndpoints = i == 0 ? 2 : 1;
            m_settings[i].endpoint = i == 0 ? m_control : m_stream;
            m_interfaces[i] = {&m_settings[i], 1};
        }
        m_settings[0].extra = g_deviceInfo;
        m_settings[0].extra_length = sizeof(g_deviceInfo);
        m_descriptor.bNumInterfaces = 2;
        m_descriptor.interface = m_interfaces;
    }
};

} // namespace

extern "C" {

int libusb_init(libusb_context** context) {
    if (context != nullptr) {
        *context = Opaque<libusb_context>(&g_context);
    }
    return 0;
}

void libusb_exit(libusb_context*) {}

ssize_t libusb_get_device_list(libusb_context*, libusb_device*** list) {
    const ssize_t count = IsUnplugged() ? 0 : 1;
    *list = static_cast<libusb_device**>(std::calloc(2, sizeof(libusb_device*)));
    (*list)[0] = count == 0 ? nullptr : Opaque<libusb_device>(&g_device);
    return count;
}

void libusb_free_device_list(libusb_device** list, int) {
    std::free(list);
}

int libusb_get_device_descriptor(libusb_device*, libusb_device_descriptor* descriptor) {
    *descriptor = {};
    descriptor->bDeviceClass = 0xEF;
    descriptor->bDeviceSubClass = 0x02;
    descriptor->bDeviceProtocol = 0x01;
    descriptor->idVendor = 0x1209;
    descriptor->idProduct = 0x0001;
    descriptor->iManufacturer = 1;
    descriptor->iProduct = 2;
    descriptor->iSerialNumber = 3;
    descriptor->bNumConfigurations = 1;
    return 0;
}

int libusb_get_config_descriptor(libusb_device*, uint8_t, libusb_config_descriptor** descriptor) {
    static Configuration s_configuration;
    *descriptor = &s_configuration.m_descriptor;
    return 0;
}

void libusb_free_config_descriptor(libusb_config_descriptor*) {}

int libusb_get_string_descriptor_ascii(libusb_device_handle*, uint8_t index, unsigned char* out, int size) {
    constexpr const char* kTexts[] = {"", "Fake", "FakeUsb", "U3V0001", "12090001CAFE"};
    const std::string text = index < 5 ? kTexts[index] : "";
    const size_t count = std::min(text.size(), static_cast<size_t>(std::max(size - 1, 0)));
    std::memcpy(out, text.data(), count);
    out[count] = 0;
    return static_cast<int>(count);
}

int libusb_open(libusb_device*, libusb_device_handle** handle) {
    *handle = Opaque<libusb_device_handle>(&g_handle);
    return IsUnplugged() ? LIBUSB_ERROR_NO_DEVICE : 0;
}

void libusb_close(libusb_device_handle*) {}

libusb_device* libusb_get_device(libusb_device_handle*) {
    return Opaque<libusb_device>(&g_device);
}

int libusb_claim_interface(libusb_device_handle*, int) {
    return IsThere("OX3D_USB_BUSY") ? LIBUSB_ERROR_BUSY : 0;
}

int libusb_release_interface(libusb_device_handle*, int) {
    return 0;
}

int libusb_set_auto_detach_kernel_driver(libusb_device_handle*, int) {
    return 0;
}

int libusb_clear_halt(libusb_device_handle*, unsigned char) {
    return 0;
}

int libusb_control_transfer(libusb_device_handle*, uint8_t, uint8_t, uint16_t, uint16_t, unsigned char*,
                            uint16_t length, unsigned int) {
    return length;
}

int libusb_bulk_transfer(libusb_device_handle*, unsigned char endpoint, unsigned char* data, int length,
                         int* moved, unsigned int) {
    Bus& bus = TheBus();
    const std::lock_guard lock(bus.m_mutex);
    if (IsUnplugged()) {
        return LIBUSB_ERROR_NO_DEVICE;
    }
    if (endpoint == kControlOut) {
        bus.m_camera.Command(data, static_cast<size_t>(length));
        *moved = length;
        return 0;
    }
    if (endpoint == kStreamIn) {
        return Serve(bus, data, length, moved) ? 0 : static_cast<int>(LIBUSB_ERROR_TIMEOUT);
    }
    const std::vector<uint8_t> answer = bus.m_camera.TakeAnswer();
    const size_t count = std::min(answer.size(), static_cast<size_t>(length));
    std::memcpy(data, answer.data(), count);
    *moved = static_cast<int>(count);
    return answer.empty() ? LIBUSB_ERROR_TIMEOUT : 0;
}

libusb_transfer* libusb_alloc_transfer(int) {
    return static_cast<libusb_transfer*>(std::calloc(1, sizeof(libusb_transfer)));
}

void libusb_free_transfer(libusb_transfer* transfer) {
    std::free(transfer);
}

int libusb_submit_transfer(libusb_transfer* transfer) {
    Bus& bus = TheBus();
    const std::lock_guard lock(bus.m_mutex);
    if (IsUnplugged()) {
        return LIBUSB_ERROR_NO_DEVICE;
    }
    bus.m_transfers.push_back(transfer);
    return 0;
}

int libusb_cancel_transfer(libusb_transfer* transfer) {
    Bus& bus = TheBus();
    const std::lock_guard lock(bus.m_mutex);
    const auto found = std::find(bus.m_transfers.begin(), bus.m_transfers.end(), transfer);
    if (found == bus.m_transfers.end()) {
        return LIBUSB_ERROR_NOT_FOUND;
    }
    bus.m_cancelled.push_back(transfer);
    bus.m_transfers.erase(found);
    bus.m_step = 0;
    return 0;
}

int libusb_handle_events_timeout(libusb_context*, timeval* most) {
    Bus& bus = TheBus();
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(most->tv_sec) +
                       std::chrono::microseconds(most->tv_usec);
    std::unique_lock lock(bus.m_mutex);
    do {
        if (libusb_transfer* transfer = NextDone(bus)) {
            lock.unlock();
            transfer->callback(transfer);
            return 0;
        }
        bus.m_changed.wait_for(lock, std::chrono::milliseconds(1));
    } while (std::chrono::steady_clock::now() < until);
    return 0;
}

int libusb_hotplug_register_callback(libusb_context*, int, int, int, int, int, libusb_hotplug_callback_fn,
                                     void*, libusb_hotplug_callback_handle*) {
    return 0;
}

void libusb_hotplug_deregister_callback(libusb_context*, libusb_hotplug_callback_handle) {}

} // extern "C"
