// ox3d_ros2_scale: one publisher or one reader of depth images, for ros2-scale.sh, which puts each into a network of its
// own. Prints one line: images, processor time in seconds.
//   ox3d_ros2_scale publish <module> <interface> <name> <readers> <images> <images a second>
//   ox3d_ros2_scale read <module> <interface> <images of each> <name>...
#include "ros2/CameraTopics.h"
#include "ros2/RosTypes.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sys/resource.h>
#include <thread>

namespace {

using namespace std::chrono_literals;
using namespace ox3d;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kWidth = 1280;
constexpr uint32_t kHeight = 720;
constexpr auto kPatience = 60s; // for the others to be found
constexpr auto kSilence = 5s;   // after which nothing more comes
constexpr const char* kPlace = "/depth/image_raw";

double ProcessorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

[[noreturn]] void Fail(const std::string& reason) {
    std::fprintf(stderr, "ox3d_ros2_scale: %s\n", reason.c_str());
    std::exit(1);
}

uint32_t NumberOf(const char* text) {
    uint32_t number = 0;
    const char* const end = text + std::strlen(text);
    if (std::from_chars(text, end, number).ptr != end || number == 0) {
        Fail(std::string("no number: ") + text);
    }
    return number;
}

std::unique_ptr<ros2::IDomain> OpenDomain(const char* moduleFile, const char* interfaceName) {
    void* const module = dlopen(moduleFile, RTLD_NOW | RTLD_LOCAL);
    void* const open = module == nullptr ? nullptr : dlsym(module, ros2::kOpenSymbol);
    if (open == nullptr) {
        Fail(dlerror());
    }
    ros2::DomainOptions options;
    options.m_interfaces = {interfaceName};
    std::string error;
    std::unique_ptr<ros2::IDomain> domain(reinterpret_cast<ros2::OpenFunction>(open)(options, &error));
    return domain == nullptr ? Fail(error), nullptr : std::move(domain);
}

void Publish(ros2::IDomain& domain, const char* name, uint32_t readers, uint32_t images, uint32_t rate) {
    std::string error;
    const auto camera = ros2::CCameraTopics::Make(domain, {name}, &error);
    if (camera == nullptr) {
        Fail(error);
    }
    for (const auto until = Clock::now() + kPatience; camera->Readers() < readers;) {
        if (Clock::now() > until) {
            Fail("readers are missing");
        }
        std::this_thread::sleep_for(20ms);
    }
    std::this_thread::sleep_for(2s); // the readers know of the writer, too, and the others of each other
    const std::vector<uint16_t> samples(size_t{kWidth} * kHeight, 1000);
    FrameView frame;
    frame.m_depth = {samples.data(), kWidth, kHeight, kWidth};
    const double before = ProcessorSeconds();
    const auto begin = Clock::now();
    uint32_t sent = 0;
    for (uint32_t image = 0; image < images; ++image) {
        std::this_thread::sleep_until(begin + image * 1000ms / rate);
        sent += camera->Publish(frame) ? 1 : 0;
    }
    std::this_thread::sleep_for(1s); // for what is asked for again
    std::printf("%u %.4f\n", sent, ProcessorSeconds() - before);
    std::fflush(stdout);
    std::this_thread::sleep_for(kSilence); // nobody's silence shall be this end
}

void Read(ros2::IDomain& domain, uint32_t images, int count, char** names) {
    std::vector<std::unique_ptr<ros2::IReader>> readers;
    for (int i = 0; i < count; ++i) {
        ros2::Topic topic;
        topic.m_name = std::string("rt/") + names[i] + kPlace;
        topic.m_type = ros2::WireNameOf(ros2::kImageType);
        std::string error;
        readers.push_back(domain.Subscribe(topic, &error));
        if (readers.back() == nullptr) {
            Fail(error);
        }
    }
    std::vector<uint32_t> received(readers.size());
    std::vector<std::thread> threads;
    for (size_t i = 0; i < readers.size(); ++i) {
        threads.emplace_back([&, i] {
            auto patience = std::chrono::milliseconds(kPatience);
            while (received[i] < images && readers[i]->Take(patience) != nullptr) {
                ++received[i];
                patience = kSilence;
            }
        });
    }
    uint32_t all = 0;
    for (size_t i = 0; i < threads.size(); ++i) {
        threads[i].join();
        all += received[i];
    }
    std::printf("%u %.4f\n", all, ProcessorSeconds());
}

} // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "publish" && argc == 8) {
        Publish(*OpenDomain(argv[2], argv[3]), argv[4], NumberOf(argv[5]), NumberOf(argv[6]),
                NumberOf(argv[7]));
    } else if (what == "read" && argc >= 6) {
        Read(*OpenDomain(argv[2], argv[3]), NumberOf(argv[4]), argc - 5, argv + 5);
    } else {
        Fail("publish or read, and what they take");
    }
    return 0;
}
