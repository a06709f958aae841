// Directory.h - the virtual cameras of this process: who is there, who holds whom.
//
// The camera list is read anew at every enumeration. A camera is known by its serial number and keeps its
// state for as long as the process lives, also while it is not on the list.
#ifndef OX3D_PROVIDER_DIRECTORY_H
#define OX3D_PROVIDER_DIRECTORY_H

#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <ox3drgbd/OxCameraControl.h>

#include "providers/common/Camera.h"
#include "providers/virtual/VirtualConnection.h"
#include "virtual-camera/CameraModel.h"

namespace ox3d {

// One camera and those who have it open.
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
    int Take(uint32_t accessMode, const std::shared_ptr<HandleCallbacks>& callbacks,
             std::shared_ptr<CConnection>* connection) override;
    void Give(const std::shared_ptr<CConnection>& connection) override;
    NodeMaker Nodes() const override;
    int ForceIp(const std::shared_ptr<CConnection>& connection, uint32_t ip,
                const uint32_t* maskAndGateway) override;
    int SetIpMode(const std::shared_ptr<CConnection>& connection, uint32_t mode) override;
    bool HasEvent(const char* name) const override;

private:
    bool IsFree(uint32_t accessMode) const;
    int CheckForTaking(uint32_t accessMode) const;
    int PrepareModel(uint32_t accessMode, std::shared_ptr<CCameraModel>* model); // without the lock
    void Renew();

    mutable std::mutex m_mutex;
    CameraConfig m_config; // what the list says
    std::shared_ptr<CCameraModel> m_model;
    std::vector<std::shared_ptr<CVirtualConnection>> m_holders;
    bool m_isListed = true;
};

class CDirectory final : public IProvider {
public:
    int Enumerate(uint32_t layers, OX_CC_DEVICE_INFO_LIST* list) override;
    std::shared_ptr<CCamera> Find(const OX_CC_DEVICE_INFO& record) override;

private:
    void ReadCameraList();

    mutable std::mutex m_mutex;
    std::map<std::string, std::shared_ptr<CCameraSlot>> m_slots; // by serial number
    std::vector<std::string> m_order;                            // serial numbers as listed
    std::array<OX_CC_DEVICE_INFO, OX_CC_MAX_DEVICES> m_records;  // what the last enumeration handed out
    std::vector<std::string> m_reported;                         // errors of the list that were told already
    bool m_isListRead = false;
};

} // namespace ox3d

#endif
