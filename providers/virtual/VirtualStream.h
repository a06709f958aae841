// VirtualStream.h - from the camera model into the image nodes.
#ifndef OX3D_PROVIDER_VIRTUAL_STREAM_H
#define OX3D_PROVIDER_VIRTUAL_STREAM_H

#include "providers/common/Stream.h"
#include "providers/virtual/VirtualConnection.h"
#include "virtual-camera/CameraFrame.h"

namespace ox3d {

struct VirtualNode final : FrameNode {
    CameraFrame m_frame;

    void FillInfo(); // what the interface shows of m_frame
};

class CVirtualStream final : public CStream {
public:
    CVirtualStream(std::shared_ptr<CVirtualConnection> connection, std::shared_ptr<CFrameBuffer> buffer);

private:
    void RunCamera() override;
    bool TakeFrame();

    const std::shared_ptr<CVirtualConnection> m_connection;
};

} // namespace ox3d

#endif
