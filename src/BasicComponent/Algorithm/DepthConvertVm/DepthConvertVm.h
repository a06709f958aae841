// DepthConvertVm.h - owns one stereo algorithm object and its two aligned memory blocks, with just enough
// ability for the common data transform, sized once for the largest image.
//
// No lock: the owner serialises calls.
#ifndef OX3D_DEPTH_CONVERT_VM_H
#define OX3D_DEPTH_CONVERT_VM_H

#include <cstdint>

#include <ox3drgbd/Oxb3dBinoStereo.h>

class CDepthConvertVm {
public:
    CDepthConvertVm() { RetsetMember(); }
    ~CDepthConvertVm() { FreeBlocks(); }
    CDepthConvertVm(const CDepthConvertVm&) = delete;
    CDepthConvertVm& operator=(const CDepthConvertVm&) = delete;

    uint32_t RetsetMember();
    // Frees what a former Init held, then sizes, allocates and creates the object. The algorithm library's
    // status, or 0xFFFFFFFF when a block cannot be allocated.
    uint32_t Init();
    // One common data transform. OX3D_RGBD_E_PARAMETER for null, else the algorithm library's status.
    uint32_t HfrVmCalProcess(OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT* in,
                             OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT* out);
    void DeInit();

private:
    void FreeBlocks();
    uint32_t CreateObject();

    void* m_handle;
    OXB3D_BINOSTEREO_MEM_TAB m_stBinoMemTab[OXB3D_BINOSTEREO_MEM_TAB_COUNT]; // entries 0 and 1 are used
};

#endif
