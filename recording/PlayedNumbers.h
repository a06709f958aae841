// PlayedNumbers.h - the numbers under which a camera shows the frames of a recording. Relies on nothing.
#ifndef OX3D_RECORDING_PLAYED_NUMBERS_H
#define OX3D_RECORDING_PLAYED_NUMBERS_H

#include <cstdint>

namespace ox3d {

// Those that they were recorded under, as long as these rise: what a camera that began to count anew recorded then follows the
// number before it.
class CPlayedNumbers {
public:
    uint32_t Next(uint64_t recorded) const {
        return static_cast<uint32_t>(recorded > m_last && recorded <= UINT32_MAX ? recorded : m_last + 1);
    }
    void Played(uint32_t number) { m_last = number; }

private:
    uint64_t m_last = 0;
};

} // namespace ox3d

#endif
