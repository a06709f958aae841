// A camera in a temporary working folder.
#include "tools/ox3d/Session.h"

#include "tools/ox3d/Interrupt.h"

namespace ox3d::tool {

CSession::CSession(const ProviderChoice& provider, const std::string& serial)
    : m_folder(std::make_unique<CScratchFolder>()) {
    EnterFolder(m_folder->Path());
    const std::vector<DeviceRecord> cameras = ListCameras(provider);
    CheckInterrupted();
    m_camera = std::make_unique<CCamera>(provider, PickCamera(cameras, serial));
    CheckInterrupted();
}

} // namespace ox3d::tool
