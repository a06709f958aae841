// Faults.h - what can be made to go wrong in a virtual camera, as a table of names and numbers.
#ifndef OX3D_VIRTUAL_CAMERA_FAULTS_H
#define OX3D_VIRTUAL_CAMERA_FAULTS_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace ox3d {

constexpr uint32_t kNoFault = UINT32_MAX;

struct FaultSet {
    uint32_t m_unplugAfterFrames = kNoFault; // frames of one start, then the camera is gone
    uint32_t m_unplugTimes = 0;              // how often that happens; 0 = after every start
    uint32_t m_replugAfterMs = 0;            // how long it stays away
    uint32_t m_dropEvery = kNoFault;         // every N-th frame number is skipped
    uint32_t m_stallAtFrame = kNoFault;      // this frame comes late by m_stallForMs
    uint32_t m_stallForMs = 0;
    uint32_t m_chunkLengthBytes = kNoFault; // chunks are no longer than this
    uint32_t m_chunkCount = kNoFault;       // the frame says that it has so many chunks
    uint32_t m_isChunkListMissing = 0;      // the frame says that it has chunks, and there is no list
    uint32_t m_depthLengthBytes = kNoFault; // the main image is no longer than this
    uint32_t m_badEvery = 1;                // the four above, and those of parts, hit every N-th frame only
    uint32_t m_isOpenDenied = 0;
    uint32_t m_isStartDenied = 0;
    uint32_t m_isCalibrationMissing = 0;
    uint32_t m_slowCommandsMs = 0; // every feature and register access takes so long
    uint32_t m_rebootsOnFirmware = 0;

    // What only a camera on the network can do.
    uint32_t m_dropPerMille = 0;                   // stream packets that get lost
    uint32_t m_reorderPerMille = 0;                // stream packets that are overtaken by the next one
    uint32_t m_truncateFrame = kNoFault;           // this frame ends in its middle
    uint32_t m_silentAfterMs = kNoFault;           // nothing is answered or sent, counted from taking control
    uint32_t m_silentForMs = kNoFault;             // how long that lasts
    uint32_t m_rebootAfterMs = kNoFault;           // counted from taking control
    uint32_t m_claimedChunkLengthBytes = kNoFault; // what every chunk says of its length
    uint32_t m_isXmlBroken = 0;

    // What only a camera of the standard's 3D model can do. The first four are about its features.
    uint32_t m_isScaleZero = 0;
    uint32_t m_isScaleNan = 0;
    uint32_t m_isBaselineZero = 0;
    uint32_t m_isSetupDenied = 0;          // what a reader sets up cannot be written
    uint32_t m_partCount = kNoFault;       // what the leader says
    uint32_t m_partLengthBytes = kNoFault; // what it says of every part
    uint32_t m_partShiftBytes = 0;         // parts but the first go to a place so much too far
    uint32_t m_partFormat = kNoFault;      // the pixel format that it says of every part

    bool operator==(const FaultSet&) const = default;
};

struct FaultRow {
    const char* m_name;
    uint32_t FaultSet::*m_member;
    uint32_t m_min;
    uint32_t m_max;
    bool m_hasValue; // without one, naming the fault sets it to 1
};

std::span<const FaultRow> AllFaults();

// Those that hit the frame of that number: outside every N-th, nothing is wrong with its parts.
FaultSet PartFaultsAt(FaultSet faults, uint32_t frameNumber);

// Reads one fault, "name" or "name value", into the set; says why not in *error.
bool ParseFault(std::string_view line, FaultSet* faults, std::string* error);

} // namespace ox3d

#endif
