// SyncFile.h - what was written is on the disk before a name says so: a host that fails would else leave an empty file in place of
// the former one.
#ifndef OX3D_BASE_SYNC_FILE_H
#define OX3D_BASE_SYNC_FILE_H

#include <string>

namespace ox3d {

// The bytes of one file. False with the reason in errno.
bool SyncFile(const std::string& path);

// All files of the file system that the folder lies in.
bool SyncFileSystemOf(const std::string& folder);

} // namespace ox3d

#endif
