// OwnTime.h - time as far as the machine gave this process any: a thread that sleeps a little, again and again, counts
// it. A call that takes longer by it was late, however busy the machine is.
#ifndef OX3D_FUZZ_SESSION_OWN_TIME_H
#define OX3D_FUZZ_SESSION_OWN_TIME_H

#include <chrono>

namespace ox3d::session {

// Since the first call, which starts the thread.
std::chrono::milliseconds OwnTime();

// What a call may take beyond its time-out.
constexpr std::chrono::milliseconds kGrace{1000};

} // namespace ox3d::session

#endif
