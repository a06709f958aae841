// Memory.h - register memory of an opened camera. The caller holds the camera's mutex.
#ifndef OX3D_ARAVIS_MEMORY_H
#define OX3D_ARAVIS_MEMORY_H

#include <arv.h>

#include <cstdint>

namespace ox3d {

// Ethernet cameras are read and written in whole words: what a word has beyond the range is read first and
// written back as it was.
int ReadDeviceMemory(ArvDevice* device, uint64_t address, void* bytes, uint64_t lengthBytes);
int WriteDeviceMemory(ArvDevice* device, uint64_t address, const void* bytes, uint64_t lengthBytes);

} // namespace ox3d

#endif
