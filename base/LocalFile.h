// LocalFile.h - files of the host: read with a bound, written whole or not at all.
#ifndef OX3D_BASE_LOCAL_FILE_H
#define OX3D_BASE_LOCAL_FILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace ox3d {

enum class ELongFile { Refuse, Cut };

// Only regular files. One that is longer than maxBytes is refused, or its first maxBytes are read. A file of /proc
// or /sys has not the length that it says: such a one is read with Cut.
bool ReadLocalFile(const std::string& path, uint64_t maxBytes, std::vector<uint8_t>* out,
                   ELongFile longFile = ELongFile::Refuse);

// The same into a text.
bool ReadLocalFile(const std::string& path, uint64_t maxBytes, std::string* out,
                   ELongFile longFile = ELongFile::Refuse);

// A reader of the file never sees half of it: it is written beside its place and then moved there.
bool WriteLocalFile(const std::string& path, const void* bytes, uint64_t lengthBytes);

// Makes a file beside that one, to be written and then moved there, and says its name, which no run before has left behind.
// A descriptor, or -1 with the reason in errno.
int MakePartFile(const std::string& path, std::string* part);

// Gives a file or a folder another name in its file system. Fails with EEXIST where something has that name already, with the
// reason in errno. Where a file system cannot do both in one step, a folder may replace an empty one that was made meanwhile.
bool MoveToFreeName(const std::string& from, const std::string& to);

// Length of a regular file, 0 when there is none.
uint64_t LocalFileBytes(const std::string& path);

// A descriptor of a regular file to be read; -1 when there is none, with the reason in errno or 0 there when it is
// something else. The check comes after opening, and opening a pipe of that name does not wait for its writer.
int OpenLocalFile(const char* path) noexcept;

// The same of a file that is read and appended to, made where there is none. A link to nothing is no file.
int AppendToLocalFile(const char* path) noexcept;

} // namespace ox3d

#endif
