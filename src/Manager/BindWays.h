// BindWays.h - by what a device is chosen for binding.
#ifndef OX3D_BIND_WAYS_H
#define OX3D_BIND_WAYS_H

#include <cstdint>

enum class OX_BIND_WAYS : uint32_t {
    First = 0,
    ByIp = 1,
    ByName = 2,
    BySerialNumber = 3,
};

#endif
