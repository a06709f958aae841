// Faults.cpp - the table of faults and its reader.
#include "virtual-camera/Faults.h"

#include "virtual-camera/TextParse.h"

namespace ox3d {
namespace {

constexpr uint32_t kMaxFrames = 1000000000;
constexpr uint32_t kMaxMs = 600000;
constexpr uint32_t kMaxParts = 255; // the leader has a byte for their number
constexpr uint32_t kMaxChunks = 64; // so many records stand behind a false chunk count

constexpr FaultRow kFaults[] = {
    {"unplug_after", &FaultSet::m_unplugAfterFrames, 0, kMaxFrames, true},
    {"unplug_times", &FaultSet::m_unplugTimes, 1, kMaxFrames, true},
    {"replug_after", &FaultSet::m_replugAfterMs, 0, kMaxMs, true},
    {"drop_every", &FaultSet::m_dropEvery, 2, kMaxFrames, true},
    {"stall_at", &FaultSet::m_stallAtFrame, 1, kMaxFrames, true},
    {"stall_for", &FaultSet::m_stallForMs, 1, kMaxMs, true},
    {"chunk_length", &FaultSet::m_chunkLengthBytes, 0, INT32_MAX, true},
    {"chunk_count", &FaultSet::m_chunkCount, 0, kMaxChunks, true},
    {"no_chunk_list", &FaultSet::m_isChunkListMissing, 1, 1, false},
    {"depth_length", &FaultSet::m_depthLengthBytes, 0, INT32_MAX, true},
    {"bad_every", &FaultSet::m_badEvery, 1, kMaxFrames, true},
    {"deny_open", &FaultSet::m_isOpenDenied, 1, 1, false},
    {"deny_start", &FaultSet::m_isStartDenied, 1, 1, false},
    {"no_calibration", &FaultSet::m_isCalibrationMissing, 1, 1, false},
    {"slow_commands", &FaultSet::m_slowCommandsMs, 1, 10000, true},
    {"reboot_on_firmware", &FaultSet::m_rebootsOnFirmware, 1, 1, false},
    {"drop_packets", &FaultSet::m_dropPerMille, 0, 1000, true},
    {"reorder_packets", &FaultSet::m_reorderPerMille, 0, 1000, true},
    {"truncate_frame", &FaultSet::m_truncateFrame, 1, kMaxFrames, true},
    {"silent_after", &FaultSet::m_silentAfterMs, 0, kMaxMs, true},
    {"silent_for", &FaultSet::m_silentForMs, 1, kMaxMs, true},
    {"reboot_after", &FaultSet::m_rebootAfterMs, 1, kMaxMs, true},
    {"claim_chunk_length", &FaultSet::m_claimedChunkLengthBytes, 0, INT32_MAX, true},
    {"broken_xml", &FaultSet::m_isXmlBroken, 1, 1, false},
    {"scale_zero", &FaultSet::m_isScaleZero, 1, 1, false},
    {"scale_nan", &FaultSet::m_isScaleNan, 1, 1, false},
    {"baseline_zero", &FaultSet::m_isBaselineZero, 1, 1, false},
    {"deny_setup", &FaultSet::m_isSetupDenied, 1, 1, false},
    {"part_count", &FaultSet::m_partCount, 0, kMaxParts, true},
    {"part_length", &FaultSet::m_partLengthBytes, 0, UINT32_MAX - 1, true},
    {"part_shift", &FaultSet::m_partShiftBytes, 1, UINT32_MAX - 1, true},
    {"part_format", &FaultSet::m_partFormat, 0, UINT32_MAX - 1, true},
};

} // namespace

std::span<const FaultRow> AllFaults() {
    return kFaults;
}

FaultSet PartFaultsAt(FaultSet faults, uint32_t frameNumber) {
    if (frameNumber % faults.m_badEvery != 0) {
        const FaultSet none;
        faults.m_partCount = none.m_partCount;
        faults.m_partLengthBytes = none.m_partLengthBytes;
        faults.m_partShiftBytes = none.m_partShiftBytes;
        faults.m_partFormat = none.m_partFormat;
    }
    return faults;
}

bool ParseFault(std::string_view line, FaultSet* faults, std::string* error) {
    const size_t nameEnd = line.find_first_of(" \t");
    const std::string_view name = line.substr(0, nameEnd);
    const std::string_view value = nameEnd == line.npos ? std::string_view{} : Trim(line.substr(nameEnd));
    for (const FaultRow& row : kFaults) {
        if (name != row.m_name) {
            continue;
        }
        if (!row.m_hasValue && value.empty()) {
            faults->*row.m_member = 1;
            return true;
        }
        uint64_t number = 0;
        if (!row.m_hasValue || !ParseUnsigned(value, row.m_min, row.m_max, &number)) {
            *error = "fault '" + std::string(name) + "' " +
                     (row.m_hasValue ? "needs a number from " + std::to_string(row.m_min) + " to " +
                                           std::to_string(row.m_max)
                                     : std::string("takes no number"));
            return false;
        }
        faults->*row.m_member = static_cast<uint32_t>(number);
        return true;
    }
    *error = "unknown fault '" + std::string(name) + "'";
    return false;
}

} // namespace ox3d
