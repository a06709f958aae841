// VirtualRig.cpp - the provider with virtual cameras inside the process.
#include <cstdlib>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/Files.h"

namespace ox3d::test {
namespace {

class CVirtualRig final : public CRig {
public:
    const char* Library() const override { return OX3D_PROVIDER; }
    uint32_t Layer() const override { return OX_CC_GIGE_DEVICE; }
    void Plug(const std::string& list) override {
        setenv("OX3D_VIRTUAL_CAMERAS", "cameras.ini", 1);
        // A camera that looks different is a new one, whatever has become of the one before.
        WriteFile("cameras.ini", list + "host_ip = 10.0.0." + std::to_string(++m_plugs % 200 + 1) + "\n");
    }
    bool CanShare(uint32_t first, uint32_t second) const override {
        return (first == OX_CC_ACCESS_MONITOR && second != OX_CC_ACCESS_EXCLUSIVE) ||
               (first == OX_CC_ACCESS_CONTROL && second == OX_CC_ACCESS_MONITOR);
    }

private:
    int m_plugs = 0;
};

} // namespace

CRig& Rig() {
    static CVirtualRig s_rig;
    return s_rig;
}

} // namespace ox3d::test
