// ox3d repair: checks a recording, closes one that was cut short and mends the index of one that is damaged, in place.
#include "recording/McapRepair.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/commands/Command.h"

#include <cstdio>

namespace ox3d::tool {

EExitCode RunRepair(CCameraControl& /*control*/, const Arguments& arguments) {
    const std::string& file = arguments.m_repair.m_file;
    McapRepairReport report;
    std::string error;
    switch (RepairMcap(file, &report, &error)) {
    case EMcapRepair::Foreign:
        throw CToolError(EExitCode::File, "cannot be repaired: " + error);
    case EMcapRepair::Empty:
        throw CToolError(EExitCode::NoFrame, error + "; nothing can be repaired, and it can be deleted");
    case EMcapRepair::Busy:
        throw CToolError(EExitCode::File, error + "; let it end first");
    case EMcapRepair::Failed:
        throw CToolError(EExitCode::File,
                         file + " could not be written: " + error + "; its frames are as they were");
    case EMcapRepair::Ok:
        break;
    }
    for (const std::string& bad : report.m_badChunks) {
        std::fprintf(stderr, "ox3d: %s\n", bad.c_str());
    }
    for (const std::string& name : report.m_badAttachments) {
        std::fprintf(stderr, "ox3d: the attachment %s is damaged\n", PrintableText(name).c_str());
    }
    const auto number = [](uint64_t value) { return static_cast<unsigned long long>(value); };
    if (report.m_damagedBytes > 0) {
        std::fprintf(stderr, "ox3d: %llu bytes inside are damaged and left as they are\n",
                     number(report.m_damagedBytes));
    }
    std::printf("%llu chunks are whole, %zu are damaged; ", number(report.m_goodChunks),
                report.m_badChunks.size());
    if (!report.m_wasClosed) {
        std::printf("a torn end of %llu bytes was cut off, and the file is closed\n",
                    number(report.m_cutBytes));
    } else {
        std::puts(report.m_isMended ? "the file was closed, and its index, which was damaged, is written anew"
                                    : "the file was closed and is as it was");
    }
    return report.m_badChunks.empty() && report.m_badAttachments.empty() ? EExitCode::Ok : EExitCode::Failure;
}

} // namespace ox3d::tool
