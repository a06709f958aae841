// LocalFile.h - files of the host: read whole with a bound, written whole or not at all.
#ifndef OX3D_PROVIDER_LOCAL_FILE_H
#define OX3D_PROVIDER_LOCAL_FILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace ox3d {

// Only regular files that are not longer than mostBytes.
bool ReadLocalFile(const std::string& path, uint64_t mostBytes, std::vector<uint8_t>* out);

// A reader of the file never sees half of it: it is written beside its place and then moved there.
bool WriteLocalFile(const std::string& path, const void* bytes, uint64_t lengthBytes);

// Length of a regular file, 0 when there is none.
uint64_t LocalFileBytes(const std::string& path);

} // namespace ox3d

#endif
