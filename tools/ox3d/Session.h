// A camera that a command works with, opened in a temporary working folder: the library leaves files in the folder that
// it works in. Files that the command line names are to be made absolute before.
#ifndef OX3D_TOOL_SESSION_H
#define OX3D_TOOL_SESSION_H

#include "tools/ox3d/Camera.h"
#include "tools/ox3d/WorkFolder.h"

#include <memory>
#include <string>

namespace ox3d::tool {

class CSession {
public:
    // The camera with the serial number, or the first with an empty one. Throws CToolError.
    CSession(const ProviderChoice& provider, const std::string& serial);

    CCamera& Camera() { return *m_camera; }
    void* Handle() const { return m_camera->Handle(); }
    const CScratchFolder& Folder() const { return *m_folder; }

private:
    std::unique_ptr<CScratchFolder> m_folder;
    std::unique_ptr<CCamera> m_camera;
};

} // namespace ox3d::tool

#endif
