// ox3d doctor: what usually spoils streaming, what was found on this host, and the commands that mend it.
#include "base/Ipv4.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Json.h"
#include "tools/ox3d/WorkFolder.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/host/HostChecks.h"
#include "tools/ox3d/host/HostFacts.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>

namespace ox3d::tool {
namespace {

constexpr size_t kLineWidth = 100;
// The one provider that is known to find the packet size by test packets when a stream starts.
constexpr const char* kFitsPacketSize = "aravis";

// 0 for a feature that the camera lacks, or a value that cannot be.
uint64_t CountOf(const CCamera& camera, const char* feature) {
    OX3D_RGBD_PARAM param{};
    const bool isRead = OX3D_RGBD_GetParam(camera.Handle(), feature, &param) == OX3D_RGBD_OK;
    const bool isCount = isRead && param.enParamType == OX3D_RGBD_PARAM_INT && param.stIntParam.nCurValue > 0;
    return isCount ? static_cast<uint64_t>(param.stIntParam.nCurValue) : 0;
}

// Opens the camera for it, so only where no other application has it.
void AskCamera(const ProviderChoice& provider, const DeviceRecord& record, CameraFacts* facts) {
    const EReach reach = ReachOf(record);
    facts->m_isOutOfReach = reach == EReach::OutOfReach;
    if (reach != EReach::Free) {
        facts->m_whyNotAsked = facts->m_isOutOfReach ? "it is out of reach" : "it is in use";
        return;
    }
    try {
        const CCamera camera(provider, record);
        const uint64_t packetSize = CountOf(camera, "GevSCPSPacketSize");
        facts->m_packetSizeBytes = packetSize > UINT32_MAX ? 0 : static_cast<uint32_t>(packetSize);
        facts->m_kind = camera.Kind();
        facts->m_payloadBytes = CountOf(camera, "PayloadSize");
    } catch (const CToolError& error) {
        facts->m_whyNotAsked = error.what();
    }
}

CameraFacts FactsOf(const ProviderChoice& provider, const DeviceRecord& record) {
    CameraFacts facts;
    facts.m_serial = TextOf(record.chSerialNumber);
    facts.m_ip = ParseIpv4(TextOf(record.chCurrentIp), EOctetForm::Plain).value_or(0);
    facts.m_mask = ParseIpv4(TextOf(record.chCurrentSubNetMask), EOctetForm::Plain).value_or(0);
    facts.m_hostIp = ParseIpv4(TextOf(record.chNetExport), EOctetForm::Plain).value_or(0);
    AskCamera(provider, record, &facts);
    return facts;
}

std::vector<CameraFacts> AskCameras(const ProviderChoice& provider, const std::string& serial) {
    const CScratchFolder folder;
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

Json FindingJson(const Finding& finding) {
    return {{"mark", MarkText(finding.m_mark)},
            {"topic", finding.m_topic},
            {"saw", finding.m_saw},
            {"follows", finding.m_follows},
            {"commands", finding.m_commands}};
}

// Adds the facts of the cameras on the network. Returns why no camera was asked, empty when one was.
std::string AddCameras(CCameraControl& control, const Arguments& arguments, HostFacts* facts) {
    const ProviderChoice* provider = nullptr;
    try {
        provider = &control.Enter();
        facts->m_isPacketSizeFitted = provider->m_name == kFitsPacketSize;
        facts->m_cameras = AskCameras(*provider, arguments.m_serial);
        return facts->m_cameras.empty() ? "none found on the network" : "";
    } catch (const CToolError& error) {
        // The host can be looked at without any camera; only what was named must be there.
        const bool isNamed = !arguments.m_serial.empty() || control.IsNamed();
        if (error.Code() == EExitCode::NoCamera || (provider == nullptr && isNamed)) {
            throw;
        }
        return error.what();
    }
}

} // namespace

EExitCode RunDoctor(CCameraControl& control, const Arguments& arguments) {
    HostFacts facts = GatherHostFacts();
    const std::string whyNoCameras =
        arguments.m_isHostOnly ? "as asked for" : AddCameras(control, arguments, &facts);
    size_t problems = 0;
    size_t notes = 0;
    Json document = {{"findings", Json::array()}, {"why_no_camera_was_asked", whyNoCameras}};
    for (const Finding& finding : JudgeHost(facts)) {
        document["findings"].push_back(FindingJson(finding));
        if (!arguments.m_isJson) {
            Print(finding);
        }
        problems += finding.m_mark == EMark::Problem ? 1 : 0;
        notes += finding.m_mark == EMark::Note ? 1 : 0;
    }
    if (arguments.m_isJson) {
        PrintJson(document);
        return problems == 0 ? EExitCode::Ok : EExitCode::Host;
    }
    if (!whyNoCameras.empty()) {
        std::printf("no camera was asked: %s\n", whyNoCameras.c_str());
    }
    std::printf("problems: %zu, notes: %zu\n", problems, notes);
    return problems == 0 ? EExitCode::Ok : EExitCode::Host;
}

} // namespace ox3d::tool
