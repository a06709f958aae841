// Buffer.h - memory of the measured images: on 64-byte boundaries as the library's own buffers are, filled with
// noise once so that every page is there.
#ifndef OX3D_BENCH_BUFFER_H
#define OX3D_BENCH_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <random>

namespace ox3dbench {

constexpr size_t kAlignment = 128; // what the stereo library asks of its memory, too

template <typename T>
class CBuffer {
public:
    explicit CBuffer(size_t count)
        : m_data(static_cast<T*>(std::aligned_alloc(kAlignment, RoundedUp(count * sizeof(T))))) {
        if (m_data == nullptr) {
            throw std::bad_alloc();
        }
        auto* bytes = reinterpret_cast<uint8_t*>(m_data.get());
        std::minstd_rand random(1); // the same noise in every run
        for (size_t i = 0; i < count * sizeof(T); ++i) {
            bytes[i] = static_cast<uint8_t>(random() >> 16U);
        }
    }
    T* Data() const { return m_data.get(); }

private:
    static size_t RoundedUp(size_t bytes) { return (bytes + kAlignment - 1) / kAlignment * kAlignment; }
    struct Free {
        void operator()(T* data) const { std::free(data); }
    };
    std::unique_ptr<T, Free> m_data;
};

} // namespace ox3dbench

#endif
