// WireClient.cpp - the program ox3d_wire_client: what an application gets over the network and what it costs.
//   ox3d_wire_client open SERIAL                          times of enumeration and opening, and their parts
//   ox3d_wire_client stream SERIAL PACKET RATE SECONDS PID
//                                                         frames, losses, and the shares of a processor that this
//                                                         process and the camera's process PID take
// Relies on the provider that LD_LIBRARY_PATH leads to.
#include <ox3drgbd/Ox3dRgbdApi.h>
#include <ox3drgbd/OxCameraControl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kFirstFrameMs = 10000;
constexpr uint32_t kFrameMs = 500;
constexpr int kRounds = 7;
constexpr uint32_t kBuffers = 8;

double Since(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

void Demand(bool isFulfilled, const std::string& what) {
    if (!isFulfilled) {
        throw std::runtime_error("cannot " + what);
    }
}

double ProcessorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Of another process; 0 when it cannot be read.
double ProcessorSeconds(const char* process) {
    std::ifstream file(std::string("/proc/") + process + "/stat");
    std::string text{std::istreambuf_iterator<char>(file), {}};
    text.erase(0, text.rfind(')') + 1); // the name before it may hold anything
    std::istringstream fields(text);
    std::string field;
    double ticks = 0;
    for (int number = 3; fields >> field && number <= 15; ++number) {
        ticks += number >= 14 ? std::strtod(field.c_str(), nullptr) : 0; // user and system time
    }
    return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
}

class CDevice {
public:
    explicit CDevice(const char* serial) {
        Demand(OX3D_RGBD_OpenDeviceBySerialNumber(&m_handle, serial) == OX3D_RGBD_OK, "open the camera");
    }
    ~CDevice() { OX3D_RGBD_CloseDevice(&m_handle); }
    CDevice(const CDevice&) = delete;
    CDevice& operator=(const CDevice&) = delete;
    void* Handle() const { return m_handle; }

    void Set(const char* key, uint32_t type, double value) {
        OX3D_RGBD_PARAM param{};
        param.enParamType = type;
        if (type == OX3D_RGBD_PARAM_FLOAT) {
            param.stFloatParam.fCurValue = static_cast<float>(value);
        } else if (type == OX3D_RGBD_PARAM_BOOL) {
            param.bBoolValue = value != 0 ? 1 : 0;
        } else {
            param.stIntParam.nCurValue = static_cast<int64_t>(value);
        }
        Demand(OX3D_RGBD_SetParam(m_handle, key, &param) == OX3D_RGBD_OK, std::string("set ") + key);
    }

private:
    void* m_handle = nullptr;
};

// ---- Opening ----

template <typename TFunction>
TFunction* Function(const char* name) {
    static void* const library = dlopen("libOxCameraControl.so", RTLD_NOW);
    Demand(library != nullptr, "load the provider");
    void* const address = dlsym(library, name);
    Demand(address != nullptr, std::string("find ") + name);
    return reinterpret_cast<TFunction*>(address);
}
#define PROVIDER(name) Function<decltype(name)>(#name)

OX_CC_DEVICE_INFO Record(const char* serial) {
    OX_CC_DEVICE_INFO_LIST list{};
    Demand(PROVIDER(OX_CC_EnumDevices)(OX_CC_GIGE_DEVICE, &list) == 0, "enumerate");
    for (uint32_t i = 0; i < list.nDeviceNum; ++i) {
        const auto& info = list.pDeviceInfo[i]->stGigEInfo;
        if (std::strncmp(reinterpret_cast<const char*>(info.chSerialNumber), serial,
                         sizeof(info.chSerialNumber)) == 0) {
            return *list.pDeviceInfo[i];
        }
    }
    throw std::runtime_error("no such camera");
}

// The steps that opening takes in the provider, one after another.
struct Steps {
    std::vector<double> m_create;
    std::vector<double> m_open;
    std::vector<double> m_features;
    std::vector<double> m_calibration;
    std::vector<double> m_close;
};

double MedianOf(std::vector<double> times) {
    std::nth_element(times.begin(), times.begin() + static_cast<ptrdiff_t>(times.size() / 2), times.end());
    return times[times.size() / 2];
}

template <typename TCall>
void Timed(std::vector<double>* times, const char* what, TCall&& call) {
    const auto begin = Clock::now();
    Demand(call() == 0, what);
    times->push_back(Since(begin) * 1e3);
}

void OpenOnce(const OX_CC_DEVICE_INFO& device, Steps* steps) {
    void* handle = nullptr;
    OX_CC_FILE_ACCESS calibration{};
    calibration.pUserFileName = "calibration.xml";
    calibration.pDevFileName = "RGBDSensorCali";
    Timed(&steps->m_create, "create a handle",
          [&] { return PROVIDER(OX_CC_CreateHandle)(&handle, &device); });
    Timed(&steps->m_open, "open",
          [&] { return PROVIDER(OX_CC_OpenDevice)(handle, OX_CC_ACCESS_EXCLUSIVE, 0); });
    Timed(&steps->m_features, "set the working mode", [&] {
        return PROVIDER(OX_CC_SetEnumValue)(handle, "CameraWorkingMode", 4) |
               PROVIDER(OX_CC_SetEnumValue)(handle, "ImageMode", 2) |
               PROVIDER(OX_CC_SetBoolValue)(handle, "ChunkModeActive", true) |
               PROVIDER(OX_CC_SetEnumValue)(handle, "ChunkSelector", 24) |
               PROVIDER(OX_CC_SetBoolValue)(handle, "ChunkEnable", true);
    });
    Timed(&steps->m_calibration, "read the calibration file",
          [&] { return PROVIDER(OX_CC_FileAccessRead)(handle, &calibration); });
    Timed(&steps->m_close, "close",
          [&] { return PROVIDER(OX_CC_CloseDevice)(handle) | PROVIDER(OX_CC_DestroyHandle)(handle); });
}

int List() {
    OX3D_RGBD_DEVICE_INFO list[8];
    uint32_t count = 0;
    return static_cast<int>(OX3D_RGBD_GetDeviceList(OX3D_RGBD_DEVICE_ETHERNET, list, 8, &count));
}

void OpenAndClose(const char* serial, std::vector<double>* opening, std::vector<double>* closing) {
    void* handle = nullptr;
    Timed(opening, "open the camera",
          [&] { return static_cast<int>(OX3D_RGBD_OpenDeviceBySerialNumber(&handle, serial)); });
    Timed(closing, "close the camera", [&] { return static_cast<int>(OX3D_RGBD_CloseDevice(&handle)); });
}

// A search that follows another closely is shorter.
void LetTheLastSearchAge() {
    std::this_thread::sleep_for(std::chrono::milliseconds(3200));
}

int MeasureOpening(const char* serial) {
    std::vector<double> listing;
    std::vector<double> relisting;
    std::vector<double> opening;
    std::vector<double> reopening;
    std::vector<double> closing;
    Steps steps;
    for (int i = 0; i < kRounds; ++i) {
        LetTheLastSearchAge();
        Timed(&listing, "list", List);
        Timed(&relisting, "list", List);
        LetTheLastSearchAge();
        OpenAndClose(serial, &opening, &closing);
        OpenAndClose(serial, &reopening, &closing);
        OpenOnce(Record(serial), &steps);
    }
    std::printf("listing the cameras                    %8.1f ms\n", MedianOf(listing));
    std::printf("listing them again                     %8.1f ms\n", MedianOf(relisting));
    std::printf("opening by serial number               %8.1f ms\n", MedianOf(opening));
    std::printf("opening just after a search            %8.1f ms\n", MedianOf(reopening));
    std::printf("  the search                           %8.1f ms\n", MedianOf(relisting));
    std::printf("  a handle                             %8.1f ms\n", MedianOf(steps.m_create));
    std::printf("  control and the GenICam description  %8.1f ms\n", MedianOf(steps.m_open));
    std::printf("  the five features of the work mode   %8.1f ms\n", MedianOf(steps.m_features));
    std::printf("  the calibration file                 %8.1f ms\n", MedianOf(steps.m_calibration));
    std::printf("closing                                %8.1f ms\n", MedianOf(closing));
    return 0;
}

// ---- Streaming ----

// Images as the camera sends them: the network is measured here, not the kernels.
void Configure(CDevice& device, double packetBytes, double rate) {
    for (const char* key :
         {OX3D_RGBD_KEY_IMAGE_ALIGN, OX3D_RGBD_KEY_RESOLUTION_ALIGN, OX3D_RGBD_KEY_OUTPUT_RGBD}) {
        device.Set(key, OX3D_RGBD_PARAM_INT, 0);
    }
    device.Set("ExposureTime", OX3D_RGBD_PARAM_FLOAT, 1000);
    device.Set("GevSCPSPacketSize", OX3D_RGBD_PARAM_INT, packetBytes);
    device.Set("AcquisitionFrameRateEnable", OX3D_RGBD_PARAM_BOOL, 1);
    device.Set("AcquisitionFrameRate", OX3D_RGBD_PARAM_FLOAT, rate);
    Demand(OX3D_RGBD_SetImageNodeNum(device.Handle(), kBuffers) == OX3D_RGBD_OK, "set the buffers");
}

int MeasureStream(const char* serial, double packetBytes, double rate, double seconds, const char* camera) {
    CDevice device(serial);
    Configure(device, packetBytes, rate);
    Demand(OX3D_RGBD_Start(device.Handle()) == OX3D_RGBD_OK, "start");
    OX3D_RGBD_FRAME_DATA frame{};
    Demand(OX3D_RGBD_FetchFrame(device.Handle(), &frame, kFirstFrameMs) == OX3D_RGBD_OK, "get a frame");
    for (uint32_t i = 0; i < 4 * kBuffers; ++i) { // until all memory of frames has been used
        OX3D_RGBD_FetchFrame(device.Handle(), &frame, kFrameMs);
    }
    const uint32_t first = frame.stImageData[0].nFrameNum;
    uint32_t last = first;
    uint64_t received = 0;
    uint64_t bytes = 0;
    const double ownBefore = ProcessorSeconds();
    const double cameraBefore = ProcessorSeconds(camera);
    const auto begin = Clock::now();
    double elapsed = 0;
    while (Since(begin) < seconds) {
        if (OX3D_RGBD_FetchFrame(device.Handle(), &frame, kFrameMs) != OX3D_RGBD_OK) {
            continue; // counted by the numbers of the frames
        }
        elapsed = Since(begin);
        last = frame.stImageData[0].nFrameNum;
        ++received;
        bytes = 0;
        for (uint32_t i = 0; i < frame.nImageCount; ++i) {
            bytes += frame.stImageData[i].nDataLen;
        }
    }
    const double percent = 100 / Since(begin);
    const double own = percent * (ProcessorSeconds() - ownBefore);
    const double other = percent * (ProcessorSeconds(camera) - cameraBefore);
    OX3D_RGBD_Stop(device.Handle());
    Demand(elapsed > 0, "get a second frame");
    std::printf(
        "packet %5.0f  asked %5.1f/s  got %5.1f/s  lost %4llu of %4u  frame %.2f MB  client %5.1f %%  "
        "camera %5.1f %%\n",
        packetBytes, rate, static_cast<double>(received) / elapsed,
        static_cast<unsigned long long>(last - first - received), last - first,
        static_cast<double>(bytes) / 1e6, own, other);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 3 && std::strcmp(argv[1], "open") == 0) {
            return MeasureOpening(argv[2]);
        }
        if (argc == 7 && std::strcmp(argv[1], "stream") == 0) {
            return MeasureStream(argv[2], std::strtod(argv[3], nullptr), std::strtod(argv[4], nullptr),
                                 std::strtod(argv[5], nullptr), argv[6]);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ox3d_wire_client: %s\n", error.what());
        return 1;
    }
    std::fprintf(stderr, "usage: ox3d_wire_client open SERIAL | stream SERIAL PACKET RATE SECONDS PID\n");
    return 2;
}
