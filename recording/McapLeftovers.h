// McapLeftovers.h - what recordings leave behind that were killed before their first frame was on the disk.
#ifndef OX3D_RECORDING_MCAP_LEFTOVERS_H
#define OX3D_RECORDING_MCAP_LEFTOVERS_H

#include <string>
#include <vector>

namespace ox3d {

// Removes the unfinished files ("PATH.NUMBER.part") of recordings that were to have that path, which no process has open any
// more and in which there is no frame. Returns their names. Where files cannot be locked they stay.
std::vector<std::string> RemoveMcapLeftovers(const std::string& path);

} // namespace ox3d

#endif
