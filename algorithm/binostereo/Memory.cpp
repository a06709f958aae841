// Sizing, laying out and creating an object in the caller's memory.
// Relies on the region sizes of the features; allocates nothing.
#include "algorithm/binostereo/Object.h"
#include "algorithm/binostereo/Regions.h"

#include <algorithm>
#include <cstring>
#include <iterator>

using namespace ox3d::stereo;

namespace {

constexpr uint64_t kUnlimited = 0x7FFFFFFFFFFFFFFFU;
constexpr uint64_t kUnitLimit = uint64_t{1} << 56; // of 128 bytes

bool InRange(uint32_t value, uint32_t minimum, uint32_t maximum) {
    return value >= minimum && value <= maximum;
}

bool HasAbility(const BinoObject& object, uint32_t bit) {
    return (object.m_ability.abilityFlags & bit) != 0;
}

// Sizing runs on an entry without a base and needs no addresses. Only for an offset inside the entry.
void* AddressAt(const OXB3D_BINOSTEREO_MEM_TAB& entry, uint64_t offset) {
    return entry.base == nullptr ? nullptr : static_cast<uint8_t*>(entry.base) + offset;
}

bool IsOnBoundary(const void* address, uint32_t alignment) {
    return reinterpret_cast<uintptr_t>(address) % alignment == 0;
}

int32_t CheckEntry(const OXB3D_BINOSTEREO_MEM_TAB& entry, uint32_t alignment) {
    if (entry.size == 0) {
        return OXB3D_BINOSTEREO_OK;
    }
    const bool hasSecond = entry.space == 4;
    if (entry.base == nullptr) {
        return OXB3D_BINOSTEREO_E_TAB_BASE;
    }
    if (entry.alignment != alignment) {
        return OXB3D_BINOSTEREO_E_TAB_ALIGNMENT;
    }
    if (!IsOnBoundary(entry.base, alignment)) {
        return OXB3D_BINOSTEREO_E_TAB_BOUNDARY;
    }
    if (hasSecond && entry.secondBase == nullptr) {
        return OXB3D_BINOSTEREO_E_TAB_BASE;
    }
    return hasSecond && !IsOnBoundary(entry.secondBase, alignment) ? OXB3D_BINOSTEREO_E_TAB_BOUNDARY
                                                                   : OXB3D_BINOSTEREO_OK;
}

int32_t FuseSizes(const BinoObject& object, uint64_t* persistent, uint64_t* scratch) {
    return OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize({object.m_ability.width, object.m_ability.height},
                                                  persistent, scratch);
}

// A need that cannot be represented is more than any entry holds.
int32_t Settle(CCheckedSize total, const OXB3D_BINOSTEREO_MEM_TAB& entry, uint64_t* neededBytes) {
    if (!total.Fits() || total.Bytes() > entry.size) {
        return OXB3D_BINOSTEREO_E_TAB_TOO_SMALL;
    }
    *neededBytes = total.Bytes();
    return OXB3D_BINOSTEREO_OK;
}

int32_t LayOut(BinoObject* object, const OXB3D_BINOSTEREO_MEM_TAB& persistent,
               const OXB3D_BINOSTEREO_MEM_TAB& scratch, uint64_t* persistentBytes, uint64_t* scratchBytes) {
    const int32_t status = OXB3D_BINOSTEREO_AllocPersistMem(object, &persistent, persistentBytes);
    return status != OXB3D_BINOSTEREO_OK ? status
                                         : OXB3D_BINOSTEREO_AllocScratchMem(object, &scratch, scratchBytes);
}

void FillEntry(OXB3D_BINOSTEREO_MEM_TAB* entry, uint64_t bytes, uint32_t persistence) {
    entry->size = bytes;
    entry->alignment = kMemAlignment;
    entry->persistence = persistence;
    entry->space = 1;
}

int32_t CheckCreate(const OXB3D_BINOSTEREO_ABILITY& ability, const OXB3D_BINOSTEREO_MEM_TAB* memTab) {
    int32_t status =
        OXB_CheckMemTabV3(memTab, OXB3D_BINOSTEREO_MEM_TAB_COUNT, OXB3D_BINOSTEREO_MEM_ALIGNMENT);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    if (memTab[0].size % kMemAlignment != 0 || memTab[1].size % kMemAlignment != 0) {
        return OXB3D_BINOSTEREO_E_TAB_SIZE;
    }
    status = OXB3D_BINOSTEREO_CheckAbilityParam(&ability);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    return memTab[0].size < OXB3D_BINOSTEREO_OBJECT_SIZE ? OXB3D_BINOSTEREO_E_TAB_TOO_SMALL
                                                         : OXB3D_BINOSTEREO_OK;
}

// The initialised flag says that maps are there, so it goes along only where they do. In its own memory an
// object comes out uninitialised: filling in the new ability has cleared the flag before it could be carried.
void CarryOver(const BinoObject& old, bool inOwnMemory, BinoObject* object) {
    std::copy(std::begin(old.m_params), std::end(old.m_params), object->m_params);
    object->m_imageSize = old.m_imageSize;
    const bool carriesMaps = !inOwnMemory && old.m_initialised != 0 && old.m_fusionDepthRegion != nullptr &&
                             object->m_fusionDepthRegion != nullptr && old.m_imageSize.width > 0 &&
                             old.m_imageSize.height > 0 &&
                             FitsAbility(*object, old.m_imageSize.width, old.m_imageSize.height);
    if (carriesMaps) {
        std::memmove(object->m_fusionDepthRegion, old.m_fusionDepthRegion,
                     FusionDepthPersistentSize(old.m_imageSize.width, old.m_imageSize.height).Bytes());
        object->m_initialised = old.m_initialised;
    }
}

} // namespace

int32_t OXB_CheckMemTabV3(const OXB3D_BINOSTEREO_MEM_TAB* memTab, int32_t count, uint32_t alignment) {
    if (memTab == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    if (alignment == 0) {
        return OXB3D_BINOSTEREO_E_TAB_ALIGNMENT;
    }
    for (int32_t i = 0; i < count; ++i) {
        const int32_t status = CheckEntry(memTab[i], alignment);
        if (status != OXB3D_BINOSTEREO_OK) {
            return status;
        }
    }
    return OXB3D_BINOSTEREO_OK;
}

int32_t OXB3D_BINOSTEREO_CheckAbilityParam(const OXB3D_BINOSTEREO_ABILITY* ability) {
    if (ability == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const bool depth = (ability->abilityFlags & OXB3D_BINOSTEREO_ABILITY_DEPTH) != 0;
    const bool calib = (ability->abilityFlags & OXB3D_BINOSTEREO_ABILITY_CALIB) != 0;
    const bool valid =
        ability->width >= kMinWidth && ability->height >= kMinHeight &&
        InRange(ability->abilityFlags, 1, 63) && (!depth || InRange(ability->capabilityA, 1, 4)) &&
        (!calib || (InRange(ability->capabilityD, 5, 40) && InRange(ability->capabilityB, 2, 50) &&
                    InRange(ability->capabilityC, 2, 50))) &&
        ability->capabilityE >= 0;
    return valid ? OXB3D_BINOSTEREO_OK : OXB3D_BINOSTEREO_E_OBJECT;
}

int32_t OXB3D_BINOSTEREO_InitSpec(const OXB3D_BINOSTEREO_ABILITY* ability, void* object) {
    if (ability == nullptr || object == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    ObjectOf(object)->m_ability = *ability;
    ObjectOf(object)->m_initialised = 0;
    return OXB3D_BINOSTEREO_OK;
}

int32_t OXB3D_BINOSTEREO_AllocPersistMem(void* object, const OXB3D_BINOSTEREO_MEM_TAB* entry,
                                         uint64_t* neededBytes) {
    if (object == nullptr || entry == nullptr || neededBytes == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    BinoObject* self = ObjectOf(object);
    const bool hasMaps = HasAbility(*self, OXB3D_BINOSTEREO_ABILITY_DEPTH);
    const bool hasFusion = HasAbility(*self, OXB3D_BINOSTEREO_ABILITY_MULTI_FUSE);
    uint64_t fusionBytes = 0;
    uint64_t scratchBytes = 0;
    if (hasFusion && FuseSizes(*self, &fusionBytes, &scratchBytes) != OXB3D_BINOSTEREO_OK) {
        return OXB3D_BINOSTEREO_E_TAB_TOO_SMALL;
    }
    const CCheckedSize fusionOffset =
        CCheckedSize(OXB3D_BINOSTEREO_OBJECT_SIZE)
            .Plus(hasMaps ? FusionDepthPersistentSize(self->m_ability.width, self->m_ability.height)
                          : CCheckedSize());
    const int32_t status = Settle(fusionOffset.Plus(CCheckedSize(fusionBytes)), *entry, neededBytes);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    self->m_fusionDepthRegion = hasMaps ? AddressAt(*entry, OXB3D_BINOSTEREO_OBJECT_SIZE) : nullptr;
    self->m_multiFuseRegion = hasFusion ? AddressAt(*entry, fusionOffset.Bytes()) : nullptr;
    return OXB3D_BINOSTEREO_OK;
}

// One region, as large as the largest need, since only one process runs at a time.
int32_t OXB3D_BINOSTEREO_AllocScratchMem(void* object, const OXB3D_BINOSTEREO_MEM_TAB* entry,
                                         uint64_t* neededBytes) {
    if (object == nullptr || entry == nullptr || neededBytes == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    BinoObject* self = ObjectOf(object);
    const auto needs = [self](uint32_t bit, CCheckedSize size) {
        return HasAbility(*self, bit) ? size : CCheckedSize();
    };
    uint64_t need = 0;
    for (const CCheckedSize& size :
         {needs(OXB3D_BINOSTEREO_ABILITY_DEPTH, FusionDepthScratchSize(*self)),
          needs(OXB3D_BINOSTEREO_ABILITY_SCORE, SaddleScoreScratchSize(*self)),
          needs(OXB3D_BINOSTEREO_ABILITY_CALIB, BoardCalibrationScratchSize(*self, 2)),
          needs(OXB3D_BINOSTEREO_ABILITY_CALIB, SceneCorrectionScratchSize(*self)),
          needs(OXB3D_BINOSTEREO_ABILITY_RGBD_CALIB,
                BoardCalibrationScratchSize(*self, ox3d::vision::kMaxBundleCameras))}) {
        if (!size.Fits()) {
            return OXB3D_BINOSTEREO_E_TAB_TOO_SMALL;
        }
        need = std::max(need, size.Bytes());
    }
    if (HasAbility(*self, OXB3D_BINOSTEREO_ABILITY_MULTI_FUSE)) {
        uint64_t persistent = 0;
        uint64_t scratch = 0;
        if (FuseSizes(*self, &persistent, &scratch) != OXB3D_BINOSTEREO_OK) {
            return OXB3D_BINOSTEREO_E_TAB_TOO_SMALL;
        }
        need = std::max(need, scratch);
    }
    const int32_t status = Settle(CCheckedSize(need), *entry, neededBytes);
    if (status == OXB3D_BINOSTEREO_OK) {
        self->m_scratchRegion = entry->base;
    }
    return status;
}

int32_t OXB3D_BINOSTEREO_GetMemSize(const OXB3D_BINOSTEREO_ABILITY* ability,
                                    OXB3D_BINOSTEREO_MEM_TAB memTab[OXB3D_BINOSTEREO_MEM_TAB_COUNT]) {
    if (ability == nullptr || memTab == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const int32_t status = OXB3D_BINOSTEREO_CheckAbilityParam(ability);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    std::fill_n(memTab, OXB3D_BINOSTEREO_MEM_TAB_COUNT, OXB3D_BINOSTEREO_MEM_TAB{});
    BinoObject object{};
    OXB3D_BINOSTEREO_InitSpec(ability, &object);
    OXB3D_BINOSTEREO_MEM_TAB unlimited{};
    unlimited.size = kUnlimited;
    uint64_t persistentBytes = 0;
    uint64_t scratchBytes = 0;
    // An unlimited entry is too small only for a size that cannot be represented.
    if (LayOut(&object, unlimited, unlimited, &persistentBytes, &scratchBytes) != OXB3D_BINOSTEREO_OK) {
        return OXB3D_BINOSTEREO_E_OVERFLOW;
    }
    persistentBytes = CCheckedSize(persistentBytes).RoundedUp(kMemAlignment).Bytes();
    scratchBytes = CCheckedSize(scratchBytes).RoundedUp(kMemAlignment).Bytes();
    if (persistentBytes / kMemAlignment + scratchBytes / kMemAlignment >= kUnitLimit) {
        return OXB3D_BINOSTEREO_E_OVERFLOW;
    }
    FillEntry(&memTab[0], persistentBytes, 1);
    FillEntry(&memTab[1], scratchBytes, 0);
    return OXB3D_BINOSTEREO_OK;
}

// The object is put together aside and written last, so that a failing call leaves the memory as it was. The
// scratch base must be given even where no scratch is needed: callers allocate at least 128 bytes for it.
int32_t OXB3D_BINOSTEREO_Create(const OXB3D_BINOSTEREO_ABILITY* ability,
                                OXB3D_BINOSTEREO_MEM_TAB memTab[OXB3D_BINOSTEREO_MEM_TAB_COUNT],
                                void** handle) {
    if (ability == nullptr || memTab == nullptr || handle == nullptr || memTab[0].base == nullptr ||
        memTab[1].base == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    int32_t status = CheckCreate(*ability, memTab);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    BinoObject object{};
    std::memcpy(object.m_magic, kMagic, sizeof object.m_magic);
    OXB3D_BINOSTEREO_InitSpec(ability, &object);
    uint64_t persistentBytes = 0;
    uint64_t scratchBytes = 0;
    status = LayOut(&object, memTab[0], memTab[1], &persistentBytes, &scratchBytes);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    if (CheckHandle(*handle) == OXB3D_BINOSTEREO_OK) {
        CarryOver(*ObjectOf(*handle), *handle == memTab[0].base, &object);
    } else {
        LoadDefaultParams(&object);
    }
    if (HasAbility(object, OXB3D_BINOSTEREO_ABILITY_MULTI_FUSE)) {
        status = OXB3D_BINOSTEREO_MULTI_FUSE_Init(object.m_multiFuseRegion, {ability->width, ability->height},
                                                  object.m_multiFuseRegion, object.m_scratchRegion);
        if (status != OXB3D_BINOSTEREO_OK) {
            return status;
        }
    }
    std::memcpy(memTab[0].base, &object, sizeof object);
    *handle = memTab[0].base;
    return OXB3D_BINOSTEREO_OK;
}
