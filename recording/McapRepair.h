// McapRepair.h - checks every chunk of an MCAP file and its indexes, and gives one that was not closed, or whose indexes are
// damaged, its summary anew, in place.
#ifndef OX3D_RECORDING_MCAP_REPAIR_H
#define OX3D_RECORDING_MCAP_REPAIR_H

#include <cstdint>
#include <string>
#include <vector>

namespace ox3d {

struct McapRepairReport {
    bool m_wasClosed = false; // the summary was there
    bool m_isMended = false;  // something was written; else the file is as it was
    uint64_t m_goodChunks = 0;
    std::vector<std::string>
        m_badChunks; // where each is and what is wrong; they stay where they are, unlisted
    std::vector<std::string> m_badAttachments; // their names; the same goes for them
    uint64_t m_damagedBytes = 0;               // between records; they stay, too
    uint64_t m_cutBytes = 0;                   // of a torn end behind the last whole record
};

enum class EMcapRepair { Ok, Foreign, Empty, Busy, Failed };

// Empty: nothing to repair in it, it is left as it was. Foreign: no MCAP file, not one that ox3d recorded, one
// that another program has rewritten, or not to be opened. Busy: another process is recording into it. Failed: it could not be
// written; all whole chunks are there as before. *error says what.
EMcapRepair RepairMcap(const std::string& path, McapRepairReport* report, std::string* error);

} // namespace ox3d

#endif
