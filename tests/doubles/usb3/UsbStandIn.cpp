// UsbStandIn.cpp - the functions of libusb that Aravis uses, with one camera on the bus.
#include "tests/doubles/usb3/UsbStandIn.h"

#include <libusb.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "tests/doubles/usb3/U3vCamera.h"

using namespace ox3d;
using ox3d::test::CU3vCamera;

// Opaque for users of libusb.
struct libusb_context {};
struct libusb_device {};
struct libusb_device_handle {
    uint64_t m_camera; // its number
};

namespace {

constexpr uint8_t kControlIn = 0x81;
constexpr uint8_t kControlOut = 0x01;
constexpr uint8_t kStreamIn = 0x82;
constexpr size_t kMaxPendingParts = 300; // what a host does not fetch is lost
// The longest wait of one call: Aravis ends its threads after the call that they are in.
constexpr std::chrono::milliseconds kMaxWait{10};

class CBus {
public:
    void Plug(std::shared_ptr<CU3vCamera> camera) {
        m_producer = {}; // waits for the one before
        const std::lock_guard lock(m_mutex);
        m_camera = std::move(camera);
        ++m_plugs;
        m_parts.clear();
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
        if (m_parts.empty()) {
            return false;
        }
        *moved = Move(&m_parts.front(), out, lengthBytes);
        if (m_parts.front().empty()) {
            m_parts.pop_front();
        }
        return true;
    }
    bool IsAcquiring() const {
        bool isOn = false;
        m_camera->Model().GetBoolean("AcquisitionActive", &isOn);
        return isOn;
    }
    static int Move(CU3vCamera::Bytes* from, unsigned char* out, int lengthBytes) {
        const int count = std::min(static_cast<int>(from->size()), lengthBytes);
        std::copy_n(from->begin(), count, out);
        from->erase(from->begin(), from->begin() + count);
        return count;
    }

    std::mutex m_mutex; // everything
    std::condition_variable m_changed;
    std::shared_ptr<CU3vCamera> m_camera;
    bool m_isBusy = false;
    CU3vCamera::Bytes m_answer;
    std::deque<CU3vCamera::Bytes> m_parts; // of frames

private:
    void Produce(const std::stop_token& stop, CU3vCamera& camera) {
        CameraFrame frame;
        while (!stop.stop_requested()) {
            if (camera.Model().NextFrame(camera.Model().PlugCount(), stop, &frame) == ENextFrame::Frame) {
                const std::lock_guard lock(m_mutex);
                if (m_parts.size() < kMaxPendingParts) {
                    const auto parts = CU3vCamera::Pack(frame);
                    m_parts.insert(m_parts.end(), parts.begin(), parts.end());
                }
            }
            m_changed.notify_all();
        }
    }

    uint64_t m_plugs = 0;
    std::jthread m_producer;
};

CBus& Bus() {
    static auto* const s_bus = new CBus;
    return *s_bus;
}

bool IsGone(const libusb_device_handle* handle) {
    return handle->m_camera == 0 || handle->m_camera != Bus().Camera();
}

// ---- What the camera says of itself, field by field as in libusb.h ----

constexpr libusb_endpoint_descriptor EndPoint(uint8_t address) {
    return {0, 0, address, LIBUSB_TRANSFER_TYPE_BULK, 1024, 0, 0, 0, nullptr, 0};
}

libusb_context g_context;
libusb_device g_device;
constexpr libusb_device_descriptor kDevice = {0, 0, 0, 0xEF, 2, 1, 0, 0x1209, 1, 0, 1, 2, 3, 1};
constexpr uint8_t kInfo[] = {20, 0x24, 0x01, 0, 0, 1, 0, 0, 0, 1, 0, 4, 1, 2, 0, 0, 0, 3, 0, 8};
constexpr libusb_endpoint_descriptor kControl[] = {EndPoint(kControlIn), EndPoint(kControlOut)};
constexpr libusb_endpoint_descriptor kStream = EndPoint(kStreamIn);
constexpr libusb_interface_descriptor kSettings[] = {
    {0, 0, 0, 0, 2, 0xEF, 5, 0, 0, kControl, kInfo, sizeof(kInfo)},
    {0, 0, 1, 0, 1, 0xEF, 5, 2, 0, &kStream, nullptr, 0}};
constexpr libusb_interface kInterfaces[] = {{&kSettings[0], 1}, {&kSettings[1], 1}};
libusb_config_descriptor g_configuration = {0, 0, 0, 2, 1, 0, 0, 0, kInterfaces, nullptr, 0};

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
    *context = &g_context;
    return 0;
}

void libusb_exit(libusb_context*) {}

ssize_t libusb_get_device_list(libusb_context*, libusb_device*** list) {
    static libusb_device* s_list[] = {&g_device, nullptr};
    const std::lock_guard lock(Bus().m_mutex);
    const bool isThere = Bus().Camera() != 0;
    *list = isThere ? s_list : s_list + 1;
    return isThere ? 1 : 0;
}

void libusb_free_device_list(libusb_device**, int) {}

int libusb_get_device_descriptor(libusb_device*, libusb_device_descriptor* descriptor) {
    *descriptor = kDevice;
    return 0;
}

int libusb_get_config_descriptor(libusb_device*, uint8_t, libusb_config_descriptor** descriptor) {
    *descriptor = &g_configuration;
    return 0;
}

void libusb_free_config_descriptor(libusb_config_descriptor*) {}

int libusb_get_string_descriptor_ascii(libusb_device_handle* handle, uint8_t index, unsigned char* out,
                                       int size) {
    const std::lock_guard lock(Bus().m_mutex);
    if (IsGone(handle)) {
        return LIBUSB_ERROR_NO_DEVICE;
    }
    const CameraConfig& config = Bus().m_camera->Model().Config();
    const std::string texts[] = {"", config.m_manufacturer, config.m_model, config.m_serial, "12090001CAFE"};
    return std::snprintf(reinterpret_cast<char*>(out), static_cast<size_t>(size), "%s", texts[index].c_str());
}

int libusb_open(libusb_device*, libusb_device_handle** handle) {
    const std::lock_guard lock(Bus().m_mutex);
    *handle = new libusb_device_handle{Bus().Camera()};
    return 0;
}

void libusb_close(libusb_device_handle* handle) {
    delete handle;
}

libusb_device* libusb_get_device(libusb_device_handle*) {
    return &g_device;
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
    bool isMoved = true;
    if (endpoint == kControlOut) {
        const bool wasAcquiring = bus.IsAcquiring();
        bus.m_answer = bus.m_camera->Answer(data, static_cast<size_t>(length));
        if (wasAcquiring != bus.IsAcquiring()) {
            bus.m_parts.clear();
        }
        *moved = length;
    } else if (endpoint == kStreamIn) {
        isMoved = bus.m_changed.wait_for(lock, std::min(kMaxWait, std::chrono::milliseconds(timeoutMs)),
                                         [&] { return bus.Serve(data, length, moved); });
    } else {
        *moved = CBus::Move(&bus.m_answer, data, length);
    }
    return isMoved ? 0 : static_cast<int>(LIBUSB_ERROR_TIMEOUT);
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
