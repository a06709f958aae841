// ox3d doctor: what usually spoils streaming, what was found on this host, and the commands that mend it.
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Commands.h"
#include "tools/ox3d/HostChecks.h"
#include "tools/ox3d/HostFacts.h"
#include "tools/ox3d/TempFiles.h"

#include <cstdio>
#include <sstream>

namespace ox3dtool {
namespace {

constexpr size_t kLineWidth = 100;

// 0 for a feature that the camera lacks, or a value that cannot be.
uint64_t CountOf(const CCamera& camera, const char* feature) {
    OX3D_RGBD_PARAM param{};
    const bool isRead = OX3D_RGBD_GetParam(camera.Handle(), feature, &param) == OX3D_RGBD_OK;
    const bool isCount = isRead && param.enParamType == OX3D_RGBD_PARAM_INT && param.stIntParam.nCurValue > 0;
    return isCount ? static_cast<uint64_t>(param.stIntParam.nCurValue) : 0;
}

// Opens the camera for it, so only where nobody else has it.
void AskCamera(const ProviderChoice& provider, const DeviceRecord& record, CameraFacts* facts) {
    if (!IsFree(record)) {
        facts->m_whyNotAsked = "it is in use or out of reach";
        return;
    }
    try {
        const CCamera camera(provider, record);
        const uint64_t packetSize = CountOf(camera, "GevSCPSPacketSize");
        facts->m_packetSizeBytes = packetSize > UINT32_MAX ? 0 : static_cast<uint32_t>(packetSize);
        facts->m_payloadBytes = CountOf(camera, "PayloadSize");
    } catch (const CToolError& error) {
        facts->m_whyNotAsked = error.what();
    }
}

CameraFacts FactsOf(const ProviderChoice& provider, const DeviceRecord& record) {
    CameraFacts facts;
    facts.m_serial = TextOf(record.chSerialNumber);
    facts.m_ip = ParseIp4(TextOf(record.chCurrentIp)).value_or(0);
    facts.m_mask = ParseIp4(TextOf(record.chCurrentSubNetMask)).value_or(0);
    facts.m_hostIp = ParseIp4(TextOf(record.chNetExport)).value_or(0);
    AskCamera(provider, record, &facts);
    return facts;
}

std::vector<CameraFacts> AskCameras(const ProviderChoice& provider, const std::string& serial) {
    const CTempFolder folder;
    EnterFolder(folder.Path());
    std::vector<DeviceRecord> cameras = ListCameras(provider);
    if (!serial.empty()) {
        cameras = {PickCamera(cameras, serial)};
    }
    std::vector<CameraFacts> facts;
    for (const DeviceRecord& camera : cameras) {
        if (camera.nDeviceType == OX3D_RGBD_DEVICE_ETHERNET) {
            facts.push_back(FactsOf(provider, camera));
        }
    }
    return facts;
}

const char* MarkText(EMark mark) {
    switch (mark) {
    case EMark::Ok:
        return "ok";
    case EMark::Note:
        return "note";
    case EMark::Problem:
        break;
    }
    return "problem";
}

// Commands are not broken into lines: they are to be copied.
void PrintWrapped(const std::string& indent, const std::string& text) {
    std::istringstream words(text);
    std::string line = indent;
    for (std::string word; words >> word;) {
        if (line.size() > indent.size() && line.size() + word.size() >= kLineWidth) {
            std::printf("%s\n", line.c_str());
            line = indent;
        }
        line += (line.size() > indent.size() ? " " : "") + word;
    }
    std::printf("%s\n", line.c_str());
}

void Print(const Finding& finding) {
    std::printf("%-8s %s: %s\n", MarkText(finding.m_mark), finding.m_topic.c_str(), finding.m_saw.c_str());
    if (!finding.m_follows.empty()) {
        PrintWrapped("         ", finding.m_follows);
    }
    for (const std::string& command : finding.m_commands) {
        std::printf("             %s\n", command.c_str());
    }
}

} // namespace

EExitCode RunDoctor(const DoctorOptions& options) {
    HostFacts facts = GatherHostFacts();
    std::string whyNoCameras = options.m_whyNoProvider;
    if (options.m_providerPath != nullptr) {
        try {
            facts.m_isPacketSizeFitted = options.m_providerPath->m_name == "aravis"; // by test packets
            facts.m_cameras = AskCameras(*options.m_providerPath, options.m_serial);
            whyNoCameras = facts.m_cameras.empty() ? "none found on the network" : "";
        } catch (const CToolError& error) {
            if (error.Code() == kExitNoCamera) {
                throw; // the one that was named is missing
            }
            whyNoCameras = error.what();
        }
    }
    size_t problems = 0;
    size_t notes = 0;
    for (const Finding& finding : JudgeHost(facts)) {
        Print(finding);
        problems += finding.m_mark == EMark::Problem ? 1 : 0;
        notes += finding.m_mark == EMark::Note ? 1 : 0;
    }
    if (!whyNoCameras.empty()) {
        std::printf("no camera was asked: %s\n", whyNoCameras.c_str());
    }
    std::printf("problems: %zu, notes: %zu\n", problems, notes);
    return problems == 0 ? kExitOk : kExitHost;
}

} // namespace ox3dtool
