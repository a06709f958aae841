// DepthConvertVm.cpp - see DepthConvertVm.h.
#include "src/BasicComponent/Algorithm/DepthConvertVm/DepthConvertVm.h"

#include <cstdlib>
#include <cstring>
#include <malloc.h>

#include "src/Common/AsyncLog.h"
#include "src/Common/Time.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace {

constexpr const char* kLogSource = "../../src/BasicComponent/Algorithm/DepthConvertVm/DepthConvertVm";
// Images up to 12 megapixels, the common data transform alone. The capabilities belong to other processes:
// they only have to be in range.
constexpr OXB3D_BINOSTEREO_ABILITY kAbility = {.width = 4000,
                                               .height = 3000,
                                               .abilityFlags = OXB3D_BINOSTEREO_ABILITY_COMMON_TRANS,
                                               .capabilityA = 1,
                                               .capabilityB = 50,
                                               .capabilityC = 50,
                                               .capabilityD = 40,
                                               .capabilityE = 0};
constexpr uint64_t kMinScratchBytes = 128; // the library wants a base even where it needs no scratch
constexpr uint32_t kNoMemory = 0xFFFFFFFFu;

} // namespace

uint32_t CDepthConvertVm::RetsetMember() {
    m_handle = nullptr;
    memset(m_stBinoMemTab, 0, sizeof(m_stBinoMemTab));
    return OX3D_RGBD_OK;
}

uint32_t CDepthConvertVm::CreateObject() {
    OXB3D_BINOSTEREO_ABILITY ability = kAbility;
    auto sts = static_cast<uint32_t>(OXB3D_BINOSTEREO_GetMemSize(&ability, m_stBinoMemTab));
    if (sts != 0) {
        OX_LOG_ERROR("[CDepthConvertVm::Init] OXB3D_BINOSTEREO_GetMemSize failed. sts[%#x].\r\n", sts);
        return sts;
    }
    OX_LOG_INFO("[CDepthConvertVm::Init] m_stBinoMemTab[0].size[%d], m_stBinoMemTab[1].size[%d].\r\n",
                static_cast<int>(m_stBinoMemTab[0].size), static_cast<int>(m_stBinoMemTab[1].size));
    if (m_stBinoMemTab[1].size == 0) {
        m_stBinoMemTab[1].size = kMinScratchBytes;
    }
    for (int i = 0; i < 2; ++i) {
        m_stBinoMemTab[i].base = memalign(m_stBinoMemTab[i].alignment, m_stBinoMemTab[i].size);
    }
    if (m_stBinoMemTab[0].base == nullptr || m_stBinoMemTab[1].base == nullptr) {
        OX_LOG_ERROR("[CDepthConvertVm::Init] m_stBinoMemTab[0].base or m_stBinoMemTab[1].base is null.\r\n");
        return kNoMemory;
    }
    // A block may hold the bytes of a former object: the library goes by the handle, which is null here.
    sts = static_cast<uint32_t>(OXB3D_BINOSTEREO_Create(&ability, m_stBinoMemTab, &m_handle));
    if (sts != 0 || m_handle == nullptr) {
        m_handle = nullptr;
        OX_LOG_ERROR("[CDepthConvertVm::Init] OXB3D_BINOSTEREO_Create failed. sts[%#x].\r\n", sts);
        return sts != 0 ? sts : kNoMemory;
    }
    OX_LOG_INFO("[CDepthConvertVm::Init] OXB3D_BINOSTEREO_Create success.\r\n");
    return 0;
}

uint32_t CDepthConvertVm::Init() {
    OX_LOG_INFO("[CDepthConvertVm::Init] begin.\r\n");
    DeInit();
    const uint32_t sts = CreateObject();
    if (sts != 0) {
        DeInit();
        OX_LOG_ERROR("[CDepthConvertVm::Init] catch a error, sts:[%#x].\r\n", sts);
        return sts;
    }
    OX_LOG_INFO("[CDepthConvertVm::Init] end.\r\n");
    return 0;
}

uint32_t CDepthConvertVm::HfrVmCalProcess(OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT* in,
                                          OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT* out) {
    if (in == nullptr || out == nullptr) {
        OX_LOG_ERROR("[HfrVmCalProcess] range_input or range_output is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const double begin = MyMilliseconds();
    const auto sts = static_cast<uint32_t>(OXB3D_BINOSTEREO_Process(
        m_handle, OXB3D_BINOSTEREO_PROCESS_COMMON_TRANS, in, sizeof(*in), out, sizeof(*out)));
    if (sts != 0) {
        OX_LOG_ERROR("[HfrVmCalProcess] OXB3D_BINOSTEREO_Process failed, sts:[%#x].\r\n", sts);
        return sts;
    }
    OX_LOG_DEBUG("[HfrVmCalProcess]  OXB3D_BINOSTEREO_Process success, cost[%f]ms.\r\n",
                 MyMilliseconds() - begin);
    return 0;
}

// The algorithm object is not destroyed by a call of its own: all of it lies in the two blocks.
void CDepthConvertVm::FreeBlocks() {
    for (int i = 0; i < 2; ++i) {
        free(m_stBinoMemTab[i].base);
        m_stBinoMemTab[i].base = nullptr;
    }
    m_handle = nullptr;
}

void CDepthConvertVm::DeInit() {
    OX_LOG_INFO("[CDepthConvertVm::DeInit] begin.\r\n");
    FreeBlocks();
    OX_LOG_INFO("[CDepthConvertVm::DeInit] end.\r\n");
}
