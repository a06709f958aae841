// CameraRegistry.h - the virtual cameras of this process: which are there, and which handles have them open.
//
// The camera list is read anew at every enumeration. A camera is known by its serial number and keeps its
// state for as long as the process lives, also while it is not on the list.
#ifndef OX3D_PROVIDER_CAMERA_REGISTRY_H
#define OX3D_PROVIDER_CAMERA_REGISTRY_H

#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/Mutex.h"
#include "providers/common/Camera.h"
#include "providers/virtual/VirtualConnection.h"
#include "virtual-camera/CameraModel.h"
#include <ox3drgbd/OxCameraControl.h>

namespace ox3d {

// One camera and the connections that it is open by.
class CCameraSlot final : public CCamera {
public:
    explicit CCameraSlot(const CameraConfig& config);

    // The configuration to use from the next opening on; one that is open keeps its own until it is closed.
    void Configure(const CameraConfig& config);
    void SetListed(bool isListed);
    // On the list, and not unplugged at the moment.
    bool IsPresent() const;
    std::shared_ptr<CCameraModel> Model() const;

    OX_CC_DEVICE_INFO Record(const OX_CC_DEVICE_INFO& listed) const override;
    bool IsAccessible(uint32_t accessMode) const override;
    int CheckForNetwork() const override;
    int Open(uint32_t accessMode, const std::shared_ptr<CHandleCallbacks>& callbacks,
             std::shared_ptr<CConnection>* connection) override;
    void Close(const std::shared_ptr<CConnection>& connection) override;
    NodeMaker Nodes() const override;
    int ForceIp(const std::shared_ptr<CConnection>& connection, uint32_t ip,
                const uint32_t* maskAndGateway) override;
    int SetIpMode(const std::shared_ptr<CConnection>& connection, uint32_t mode) override;
    bool HasEvent(const char* name) const override;

private:
    bool IsFree(uint32_t accessMode) const OX_REQUIRES(m_mutex);
    int CheckForOpening(uint32_t accessMode) const OX_REQUIRES(m_mutex);
    int PrepareModel(uint32_t accessMode, std::shared_ptr<CCameraModel>* model) OX_EXCLUDES(m_mutex);
    int Connect(uint32_t accessMode, const std::shared_ptr<CHandleCallbacks>& callbacks,
                std::shared_ptr<CConnection>* connection) OX_REQUIRES(m_mutex);
    void Renew() OX_REQUIRES(m_mutex);

    mutable CMutex m_mutex;
    CameraConfig m_config OX_GUARDED_BY(m_mutex); // as the list has it
    std::shared_ptr<CCameraModel> m_model OX_GUARDED_BY(m_mutex);
    std::vector<std::shared_ptr<CVirtualConnection>> m_holders OX_GUARDED_BY(m_mutex);
    bool m_isListed OX_GUARDED_BY(m_mutex) = true;
};

class CCameraRegistry final : public IProvider {
public:
    int Enumerate(uint32_t layers, OX_CC_DEVICE_INFO_LIST* list) override;
    std::shared_ptr<CCamera> Find(const OX_CC_DEVICE_INFO& record) override;

private:
    void ReadCameraList() OX_REQUIRES(m_mutex);

    mutable CMutex m_mutex;
    std::map<std::string, std::shared_ptr<CCameraSlot>> m_slots OX_GUARDED_BY(m_mutex); // by serial number
    std::vector<std::string> m_order OX_GUARDED_BY(m_mutex); // serial numbers as listed
    // Of the last enumeration; the application reads them through its list.
    std::array<OX_CC_DEVICE_INFO, OX_CC_MAX_DEVICES> m_records OX_GUARDED_BY(m_mutex);
    std::vector<std::string> m_reported OX_GUARDED_BY(m_mutex); // errors of the list that were told already
    bool m_isListRead OX_GUARDED_BY(m_mutex) = false;
};

} // namespace ox3d

#endif
