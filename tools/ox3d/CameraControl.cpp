// The camera control that the command line asks for.
#include "tools/ox3d/CameraControl.h"

#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/Interrupt.h"

#include <algorithm>
#include <cstdio>

namespace ox3d::tool {
namespace {

std::string RequestOf(const CameraControlRequest& request) {
    if (request.m_recording.empty()) {
        return request.m_provider;
    }
    const std::vector<std::string> names = ProvidersIn(ProvidersFolder());
    if (request.m_provider != kPlayer &&
        std::find(names.begin(), names.end(), request.m_provider) != names.end()) {
        throw CToolError(EExitCode::Usage,
                         "recordings are played by the virtual camera control, not by " + request.m_provider);
    }
    return request.m_provider.empty() ? kPlayer : request.m_provider;
}

} // namespace

CCameraControl::CCameraControl(const CameraControlRequest& request) : m_request(RequestOf(request)) {
    if (!request.m_recording.empty()) {
        m_recording = std::filesystem::absolute(request.m_recording);
        CheckRecording(m_recording, EPlayedAs::Camera);
        m_play = request.m_play;
    }
}

const ProviderChoice& CCameraControl::Enter() {
    m_choice = ChooseProvider(m_request, ProvidersFolder(), ReadProviderVariables());
    EnterProvider(m_choice);
    InstallInterruptHandler();
    std::fprintf(stderr, "camera control: %s (%s)\n", m_choice.m_name.c_str(), m_choice.m_file.c_str());
    KeepInReach(kListVariable);
    KeepInReach("OX3D_RGBD_DATA_DIR");
    if (!m_recording.empty()) {
        m_recordingCamera.emplace(m_recording, m_play);
    }
    return m_choice;
}

} // namespace ox3d::tool
