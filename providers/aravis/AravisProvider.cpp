// AravisProvider.cpp - finds the cameras of the network and of USB.
#include <array>
#include <cstring>
#include <vector>

#include "base/PerProcess.h"
#include "providers/aravis/AravisCamera.h"
#include "providers/aravis/Discovery.h"
#include "providers/aravis/UsbDevices.h"
#include "providers/common/DeviceText.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

// What Aravis finds fault with comes back as errors of calls; a program's output is not the place for it.
void Swallow(const gchar* /*domain*/, GLogLevelFlags /*level*/, const gchar* /*message*/, gpointer /*data*/) {
}

class CAravisProvider final : public IProvider {
public:
    CAravisProvider() {
        for (const char* domain : {"Aravis", "XML"}) { // the second is its reader of descriptions
            g_log_set_handler(domain, static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_RECURSION),
                              &Swallow, nullptr);
        }
    }

    int Enumerate(uint32_t layers, OX_CC_DEVICE_INFO_LIST* list) override {
        std::vector<OX_CC_DEVICE_INFO> found;
        if ((layers & OX_CC_GIGE_DEVICE) != 0) {
            found = DiscoverGigE();
        }
        if ((layers & OX_CC_USB_DEVICE) != 0) {
            const auto usb = ListUsbDevices();
            found.insert(found.end(), usb.begin(), usb.end());
        }
        const CLock lock(m_mutex);
        std::memset(list, 0, sizeof(*list));
        for (const OX_CC_DEVICE_INFO& record : found) {
            if (list->nDeviceNum < OX_CC_MAX_DEVICES) {
                m_records[list->nDeviceNum] = record;
                list->pDeviceInfo[list->nDeviceNum] = &m_records[list->nDeviceNum];
                ++list->nDeviceNum;
            }
        }
        return kOk;
    }

    std::shared_ptr<CCamera> Find(const OX_CC_DEVICE_INFO& record) override {
        if (record.nTLayerType == OX_CC_GIGE_DEVICE && record.stGigEInfo.nCurrentIp != 0) {
            return std::make_shared<CGigECamera>(record);
        }
        if (record.nTLayerType == OX_CC_USB_DEVICE && !SerialOf(record).empty()) {
            return std::make_shared<CUsbCamera>(record);
        }
        return nullptr;
    }

private:
    CMutex m_mutex;
    // Of the last enumeration; the application reads them through its list.
    std::array<OX_CC_DEVICE_INFO, OX_CC_MAX_DEVICES> m_records OX_GUARDED_BY(m_mutex){};
};

} // namespace

IProvider& Provider() {
    static CPerProcess<CAravisProvider> s_provider;
    return s_provider.Get();
}

} // namespace ox3d
