// SetConfig and GetConfig: a table of keys, record sizes and actions for each.
// Relies on the parameter functions and the map size rule.
#include "algorithm/binostereo/Object.h"

#include <algorithm>
#include <cstring>
#include <iterator>

using namespace ox3d::stereo;

namespace {

enum class ERecordUse { Ignored, SizeOnly, Required };

struct ConfigRule {
    int32_t m_key;
    ERecordUse m_record;
    size_t m_recordSize;
    bool m_needsHandle;
    int32_t (*m_apply)(void* handle, void* data);
};

int32_t AcceptAndIgnore(void* /*handle*/, void* /*data*/) {
    return OXB3D_BINOSTEREO_OK;
}

int32_t WriteVersion(void* /*handle*/, void* data) {
    const int64_t version = OXB3D_BINOSTEREO_GetVersion();
    std::memcpy(data, &version, sizeof version);
    return OXB3D_BINOSTEREO_OK;
}

int32_t WriteRectMapSize(void* /*handle*/, void* data) {
    auto* request = static_cast<OXB3D_BINOSTEREO_RECT_MAP_SIZE*>(data);
    return OXB3D_BINOSTEREO_RCT_RectMapBufSize({request->width, request->height}, request->mapType,
                                               &request->bufferSize);
}

template <typename TRecord, int32_t (*function)(void*, TRecord*)>
int32_t WithRecord(void* handle, void* data) {
    return function(handle, static_cast<TRecord*>(data));
}

template <int32_t (*function)(void*)>
int32_t WithoutRecord(void* handle, void* /*data*/) {
    return function(handle);
}

using Param = OXB3D_BINOSTEREO_PARAM;
using ParamList = OXB3D_BINOSTEREO_PARAM_LIST;
using AbilityInfo = OXB3D_BINOSTEREO_ABILITY_INFO;

constexpr ConfigRule kSetRules[] = {
    {OXB3D_BINOSTEREO_SET_PARAM, ERecordUse::Required, sizeof(Param), true,
     WithRecord<const Param, OXB3D_BINOSTEREO_SetSingleParam>},
    {OXB3D_BINOSTEREO_SET_PARAM_LIST, ERecordUse::Required, sizeof(ParamList), true,
     WithRecord<const ParamList, OXB3D_BINOSTEREO_SetParamList>},
    {OXB3D_BINOSTEREO_SET_DEFAULT, ERecordUse::Ignored, 0, true,
     WithoutRecord<OXB3D_BINOSTEREO_SetDefaultParam>},
    {OXB3D_BINOSTEREO_SET_RESTART, ERecordUse::Ignored, 0, true, WithoutRecord<OXB3D_BINOSTEREO_Restart>},
    {OXB3D_BINOSTEREO_SET_RESERVED_7, ERecordUse::Required, 40, true, AcceptAndIgnore},
    {OXB3D_BINOSTEREO_SET_RESERVED_8, ERecordUse::Required, 88, true, AcceptAndIgnore},
};

constexpr ConfigRule kGetRules[] = {
    {OXB3D_BINOSTEREO_GET_PARAM, ERecordUse::Required, sizeof(Param), true,
     WithRecord<Param, OXB3D_BINOSTEREO_GetSingleParam>},
    {OXB3D_BINOSTEREO_GET_PARAM_LIST, ERecordUse::Required, sizeof(ParamList), true,
     WithRecord<ParamList, OXB3D_BINOSTEREO_GetParamList>},
    {OXB3D_BINOSTEREO_GET_VERSION, ERecordUse::Required, sizeof(int64_t), false, WriteVersion},
    {OXB3D_BINOSTEREO_GET_ABILITY, ERecordUse::Required, sizeof(AbilityInfo), true,
     WithRecord<AbilityInfo, OXB3D_BINOSTEREO_GetAbility>},
    {OXB3D_BINOSTEREO_GET_RESERVED_5, ERecordUse::SizeOnly, 40, true, AcceptAndIgnore},
    {OXB3D_BINOSTEREO_GET_RECT_MAP_SIZE, ERecordUse::Required, sizeof(OXB3D_BINOSTEREO_RECT_MAP_SIZE), true,
     WriteRectMapSize},
};

template <size_t count>
int32_t Dispatch(const ConfigRule (&rules)[count], void* handle, int32_t key, void* data, int32_t dataSize) {
    const auto* rule = std::find_if(std::begin(rules), std::end(rules),
                                    [key](const ConfigRule& r) { return r.m_key == key; });
    const bool known = rule != std::end(rules);
    if (!known || rule->m_needsHandle) {
        const int32_t status = CheckHandle(handle);
        if (status != OXB3D_BINOSTEREO_OK) {
            return status;
        }
    }
    if (!known) {
        return OXB3D_BINOSTEREO_E_KEY;
    }
    if (rule->m_record == ERecordUse::Required && data == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    if (rule->m_record != ERecordUse::Ignored && dataSize != static_cast<int32_t>(rule->m_recordSize)) {
        return OXB3D_BINOSTEREO_E_CONFIG_SIZE;
    }
    return rule->m_apply(handle, data);
}

} // namespace

int32_t OXB3D_BINOSTEREO_SetConfig(void* handle, int32_t key, void* data, int32_t dataSize) {
    return Dispatch(kSetRules, handle, key, data, dataSize);
}

int32_t OXB3D_BINOSTEREO_GetConfig(void* handle, int32_t key, void* data, int32_t dataSize) {
    return Dispatch(kGetRules, handle, key, data, dataSize);
}

// Parameters and the stored image size stay, deliberately: only the flag goes.
int32_t OXB3D_BINOSTEREO_Restart(void* handle) {
    const int32_t status = CheckHandle(handle);
    if (status == OXB3D_BINOSTEREO_OK) {
        ObjectOf(handle)->m_initialised = 0;
    }
    return status;
}

int32_t OXB3D_BINOSTEREO_GetAbility(void* handle, OXB3D_BINOSTEREO_ABILITY_INFO* info) {
    const int32_t status = CheckHandle(handle);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    if (info == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    *info = {};
    info->ability = ObjectOf(handle)->m_ability;
    return OXB3D_BINOSTEREO_OK;
}
