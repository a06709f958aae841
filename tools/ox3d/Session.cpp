// A camera in a temporary working folder.
#include "tools/ox3d/Session.h"

namespace ox3d::tool {

CSession::CSession(const ProviderChoice& provider, const std::string& serial)
    : m_folder(std::make_unique<CScratchFolder>()) {
    EnterFolder(m_folder->Path());
    const std::vector<DeviceRecord> cameras = ListCameras(provider);
    m_camera = std::make_unique<CCamera>(provider, PickCamera(cameras, serial));
}

} // namespace ox3d::tool
