// UsbStandIn.cpp - the functions of libusb that Aravis uses, with one camera on the bus.
#include "tests/doubles/usb3/UsbStandIn.h"

#include <libusb.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "tests/doubles/usb3/U3vCamera.h"

using namespace ox3d;
using ox3d::test::CU3vCamera;

namespace {

constexpr uint8_t kControlIn = 0x81;
constexpr uint8_t kControlOut = 0x01;
constexpr uint8_t kStreamIn = 0x82;
constexpr size_t kMaxPendingFrames = 8; // what a host does not fetch is lost
// The longest wait of one call: Aravis ends its threads after the call that they are in.
constexpr std::chrono::milliseconds kMaxWait{10};

class CBus {
public:
    void Plug(std::shared_ptr<CU3vCamera> camera) {
        m_producer = {}; // waits for the one before
        const std::lock_guard lock(m_mutex);
        m_camera = std::move(camera);
        ++m_plugs;
        m_frames.clear();
        m_changed.notify_all();
        if (m_camera != nullptr) {
            m_producer =
                std::jthread([this, own = m_camera](const std::stop_token& stop) { Produce(stop, *own); });
        }
    }
    // The number of the camera that is there, 0 where there is none: one that restarts is another one.
    uint64_t Camera() const {
        const bool isThere = m_camera != nullptr && m_camera->Model().IsPlugged();
        return isThere ? m_plugs << 32 | m_camera->Model().PlugCount() : 0;
    }
    // Moves what the stream has to say next. False while it has nothing.
    bool Serve(unsigned char* out, int lengthBytes, int* moved) {
        if (m_frames.empty()) {
            return false;
        }
        const CU3vCamera::Bytes& part = m_frames.front()[m_part];
        const size_t count = std::min(part.size() - m_sentBytes, static_cast<size_t>(lengthBytes));
        std::memcpy(out, part.data() + m_sentBytes, count);
        *moved = static_cast<int>(count);
        m_sentBytes += count;
        if (m_sentBytes == part.size()) {
            m_sentBytes = 0;
            m_part = (m_part + 1) % std::tuple_size_v<CU3vCamera::FrameParts>;
        }
        if (m_part == 0 && m_sentBytes == 0) {
            m_frames.pop_front();
        }
        return true;
    }
    bool IsAcquiring() const {
        bool isOn = false;
        m_camera->Model().GetBoolean("AcquisitionActive", &isOn);
        return isOn;
    }
    void DropFrames() {
        m_frames.clear();
        m_part = 0;
        m_sentBytes = 0;
    }

    std::mutex m_mutex; // everything
    std::condition_variable m_changed;
    std::shared_ptr<CU3vCamera> m_camera;
    bool m_isBusy = false;
    CU3vCamera::Bytes m_answer;

private:
    void Produce(const std::stop_token& stop, CU3vCamera& camera) {
        CameraFrame frame;
        while (!stop.stop_requested()) {
            if (camera.Model().NextFrame(camera.Model().PlugCount(), stop, &frame) == ENextFrame::Frame) {
                const std::lock_guard lock(m_mutex);
                if (m_frames.size() < kMaxPendingFrames) {
                    m_frames.push_back(CU3vCamera::Pack(frame));
                }
            }
            m_changed.notify_all();
        }
    }

    uint64_t m_plugs = 0;
    std::deque<CU3vCamera::FrameParts> m_frames;
    size_t m_part = 0; // of the first frame
    size_t m_sentBytes = 0;
    std::jthread m_producer;
};

CBus& Bus() {
    static auto* const s_bus = new CBus;
    return *s_bus;
}

// libusb's objects are opaque: an address stands for the context and the device, the camera for a handle.
int g_object;

template <typename T>
T* Opaque() {
    return reinterpret_cast<T*>(&g_object);
}

uint64_t& CameraOf(libusb_device_handle* handle) {
    return *reinterpret_cast<uint64_t*>(handle);
}

bool IsGone(libusb_device_handle* handle) {
    return Bus().Camera() != CameraOf(handle);
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

namespace ox3d::test {

void PlugUsbCamera(const CameraConfig& config) {
    Bus().Plug(std::make_shared<CU3vCamera>(config));
}

void UnplugUsbCamera() {
    Bus().Plug(nullptr);
}

void SetUsbBusy(bool isBusy) {
    const std::lock_guard lock(Bus().m_mutex);
    Bus().m_isBusy = isBusy;
}

} // namespace ox3d::test

extern "C" {

int libusb_init(libusb_context** context) {
    if (context != nullptr) {
        *context = Opaque<libusb_context>();
    }
    return 0;
}

void libusb_exit(libusb_context*) {}

ssize_t libusb_get_device_list(libusb_context*, libusb_device*** list) {
    const std::lock_guard lock(Bus().m_mutex);
    const ssize_t count = Bus().Camera() == 0 ? 0 : 1;
    *list = static_cast<libusb_device**>(std::calloc(2, sizeof(libusb_device*)));
    (*list)[0] = count == 0 ? nullptr : Opaque<libusb_device>();
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
    const std::lock_guard lock(Bus().m_mutex);
    CameraConfig config;
    if (Bus().m_camera != nullptr) {
        config = Bus().m_camera->Model().Config();
    }
    const std::string texts[] = {"", config.m_manufacturer, config.m_model, config.m_serial, "12090001CAFE"};
    const std::string text = index < std::size(texts) ? texts[index] : "";
    const size_t count = std::min(text.size(), static_cast<size_t>(std::max(size - 1, 0)));
    std::memcpy(out, text.data(), count);
    out[count] = 0;
    return static_cast<int>(count);
}

int libusb_open(libusb_device*, libusb_device_handle** handle) {
    const std::lock_guard lock(Bus().m_mutex);
    const uint64_t camera = Bus().Camera();
    if (camera != 0) {
        *handle = reinterpret_cast<libusb_device_handle*>(new uint64_t(camera));
    }
    return camera == 0 ? LIBUSB_ERROR_NO_DEVICE : 0;
}

void libusb_close(libusb_device_handle* handle) {
    delete &CameraOf(handle);
}

libusb_device* libusb_get_device(libusb_device_handle*) {
    return Opaque<libusb_device>();
}

// The interface of control comes first: from here on the camera is at its start-up settings.
int libusb_claim_interface(libusb_device_handle* handle, int number) {
    const std::lock_guard lock(Bus().m_mutex);
    if (Bus().m_isBusy || IsGone(handle)) {
        return Bus().m_isBusy ? LIBUSB_ERROR_BUSY : LIBUSB_ERROR_NO_DEVICE;
    }
    if (number == 0) {
        Bus().m_camera->Model().PowerUp();
    }
    return 0;
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

int libusb_bulk_transfer(libusb_device_handle* handle, unsigned char endpoint, unsigned char* data,
                         int length, int* moved, unsigned int timeoutMs) {
    CBus& bus = Bus();
    std::unique_lock lock(bus.m_mutex);
    if (IsGone(handle)) {
        return LIBUSB_ERROR_NO_DEVICE;
    }
    if (endpoint == kControlOut) {
        const bool wasAcquiring = bus.IsAcquiring();
        bus.m_answer = bus.m_camera->Answer(data, static_cast<size_t>(length));
        if (wasAcquiring != bus.IsAcquiring()) {
            bus.DropFrames();
        }
        *moved = length;
        return 0;
    }
    if (endpoint == kStreamIn) {
        const bool isServed =
            bus.m_changed.wait_for(lock, std::min(kMaxWait, std::chrono::milliseconds(timeoutMs)),
                                   [&] { return bus.Serve(data, length, moved); });
        return isServed ? 0 : static_cast<int>(LIBUSB_ERROR_TIMEOUT);
    }
    const CU3vCamera::Bytes answer = std::move(bus.m_answer);
    bus.m_answer.clear();
    const size_t count = std::min(answer.size(), static_cast<size_t>(length));
    std::memcpy(data, answer.data(), count);
    *moved = static_cast<int>(count);
    return answer.empty() ? LIBUSB_ERROR_TIMEOUT : 0;
}

// There is nothing to handle: Aravis transfers synchronously.
int libusb_handle_events_timeout(libusb_context*, timeval*) {
    std::this_thread::sleep_for(kMaxWait);
    return 0;
}

int libusb_hotplug_register_callback(libusb_context*, int, int, int, int, int, libusb_hotplug_callback_fn,
                                     void*, libusb_hotplug_callback_handle*) {
    return 0;
}

void libusb_hotplug_deregister_callback(libusb_context*, libusb_hotplug_callback_handle) {}

} // extern "C"
