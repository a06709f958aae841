// Has frames pushed into a lambda for a number of seconds, keeps the last one, and makes points of it when the stream has
// stopped.
// usage: on_frame [SECONDS]
#include <ox3drgbd/ox3d.hpp>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace {

ox3d::Status run(ox3d::Camera& camera, unsigned long seconds) {
    std::mutex mutex;
    ox3d::Frame last;
    unsigned count = 0;
    {
        // Runs on a thread of the library; the next frame waits until it returns, so it copies and leaves.
        const auto subscription = camera.onFrame([&](const ox3d::FrameView& frame) {
            auto copy = frame.copy();
            const std::lock_guard<std::mutex> lock(mutex);
            ++count;
            if (copy) {
                last = *std::move(copy);
            }
        });
        if (!subscription) {
            return subscription.error();
        }
        if (const ox3d::Status status = camera.start(); !status) {
            return status;
        }
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        if (const ox3d::Status status = camera.stop(); !status) {
            return status;
        }
    } // from here on the lambda is not called, and what it refers to may go
    const auto cloud = camera.points(*last, {ox3d::Sensor::Color, /*isOrganised=*/false, /*hasColors=*/true});
    if (!cloud) {
        return cloud.error();
    }
    std::printf("%u frames; the last one, number %u, has %zu points\n", count, last->number(), cloud->size());
    return {};
}

} // namespace

int main(int argc, char** argv) {
    const unsigned long seconds = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 3;
    auto camera = ox3d::Camera::open();
    const ox3d::Status status = camera ? run(*camera, seconds) : camera.error();
    if (!status) {
        std::fprintf(stderr, "no frames: %s\n", status.text());
    }
    return status ? 0 : 1;
}
