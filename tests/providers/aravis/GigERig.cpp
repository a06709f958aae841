// GigERig.cpp - the provider over Aravis, with cameras on a private network as a process of their own.
#include <memory>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/Files.h"
#include "tests/support/Process.h"

namespace ox3d::test {
namespace {

class CGigERig final : public CRig {
public:
    const char* Library() const override { return OX3D_PROVIDER; }
    uint32_t Layer() const override { return OX_CC_GIGE_DEVICE; }
    void Plug(const std::string& list) override {
        WriteFile("cameras.ini", list);
        m_cameras.reset();
        m_cameras = std::make_unique<CProcess>(
            std::vector<std::string>{OX3D_VIRTUAL_CAMERA, "--config", "cameras.ini"}, ".");
        EXPECT_TRUE(m_cameras->WaitForOutput("\nready\n")) << m_cameras->Output();
    }
    // Exclusive access is not asked for with the register that would lock out those who only look.
    bool CanShare(uint32_t first, uint32_t second) const override {
        return first == OX_CC_ACCESS_MONITOR || second == OX_CC_ACCESS_MONITOR;
    }

private:
    std::unique_ptr<CProcess> m_cameras;
};

} // namespace

CRig& Rig() {
    static CGigERig s_rig;
    return s_rig;
}

} // namespace ox3d::test
