// The 26 parameters: one table of ids, defaults and ranges, and setting and reading over it.
// Relies on the object layout, whose parameter words stand in the table's order.
#include "algorithm/binostereo/Object.h"

#include <algorithm>
#include <iterator>

using namespace ox3d::stereo;

namespace {

// Bounds are wide enough for both readings of a 32-bit word, signed and unsigned.
struct ParamRule {
    uint32_t m_id;
    int32_t m_defaultValue;
    int64_t m_minimum;
    int64_t m_maximum;
};

constexpr ParamRule kParamRules[] = {
    {1, 11, 5, 40},     {2, 0, 0, 400},    {3, 240, 16, 288}, {4, 2, 1, 2},       {5, 1, 1, 2},
    {6, 4, 0, 9},       {257, 1, 1, 3},    {258, 1, 1, 1},    {259, 155, 0, 255}, {260, 0, -64, 64},
    {261, 0, -64, 64},  {513, 80, 0, 100}, {514, 80, 0, 100}, {515, 80, 0, 100},  {516, 80, 0, 100},
    {769, 7, 3, 100},   {770, 15, 1, 255}, {771, 1, 1, 2},    {772, 1, 1, 2},     {773, 30, 0, 100},
    {774, 50, 20, 100}, {775, 20, 0, 255}, {776, 40, 0, 255}, {777, 1, 1, 2},     {1025, 1, 1, 2},
    {1026, 1, 0, 10},
};
static_assert(std::size(kParamRules) == kParamCount);
// Parameter 258 accepts its default alone, deliberately: the slot exists but is pinned.

const ParamRule* FindRule(uint32_t id) {
    const auto* rule = std::find_if(std::begin(kParamRules), std::end(kParamRules),
                                    [id](const ParamRule& r) { return r.m_id == id; });
    return rule == std::end(kParamRules) ? nullptr : rule;
}

int32_t* Slot(BinoObject* object, const ParamRule* rule) {
    return &object->m_params[rule - kParamRules];
}

int32_t CheckParam(const OXB3D_BINOSTEREO_PARAM& param) {
    const ParamRule* rule = FindRule(param.id);
    if (rule == nullptr) {
        return OXB3D_BINOSTEREO_E_PARAM_ID;
    }
    const bool isSigned = rule->m_minimum < 0;
    const int64_t value = isSigned ? param.value : static_cast<int64_t>(static_cast<uint32_t>(param.value));
    return value < rule->m_minimum || value > rule->m_maximum ? OXB3D_BINOSTEREO_E_PARAM_VALUE
                                                              : OXB3D_BINOSTEREO_OK;
}

int32_t CheckHandleAndRecord(const void* handle, const void* record) {
    const int32_t status = CheckHandle(handle);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    return record == nullptr ? OXB3D_BINOSTEREO_E_NULL : OXB3D_BINOSTEREO_OK;
}

// check runs over every used entry before a caller touches the first.
template <typename TCheck>
int32_t CheckList(const OXB3D_BINOSTEREO_PARAM_LIST& list, TCheck check) {
    if (list.count < 1 || list.count > OXB3D_BINOSTEREO_PARAM_LIST_MAX) {
        return OXB3D_BINOSTEREO_E_PARAM_COUNT;
    }
    for (uint32_t i = 0; i < list.count; ++i) {
        const int32_t status = check(list.params[i]);
        if (status != OXB3D_BINOSTEREO_OK) {
            return status;
        }
    }
    return OXB3D_BINOSTEREO_OK;
}

} // namespace

int32_t ox3d::stereo::ParamOf(void* handle, EParam param) {
    OXB3D_BINOSTEREO_PARAM record{static_cast<uint32_t>(param), 0};
    OXB3D_BINOSTEREO_GetSingleParam(handle, &record);
    return record.value;
}

void ox3d::stereo::LoadDefaultParams(BinoObject* object) {
    std::transform(std::begin(kParamRules), std::end(kParamRules), object->m_params,
                   [](const ParamRule& rule) { return rule.m_defaultValue; });
}

int32_t OXB3D_BINOSTEREO_SetSingleParam(void* handle, const OXB3D_BINOSTEREO_PARAM* param) {
    int32_t status = CheckHandleAndRecord(handle, param);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    status = CheckParam(*param);
    if (status == OXB3D_BINOSTEREO_OK) {
        *Slot(ObjectOf(handle), FindRule(param->id)) = param->value;
    }
    return status;
}

int32_t OXB3D_BINOSTEREO_GetSingleParam(void* handle, OXB3D_BINOSTEREO_PARAM* param) {
    const int32_t status = CheckHandleAndRecord(handle, param);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const ParamRule* rule = FindRule(param->id);
    if (rule == nullptr) {
        return OXB3D_BINOSTEREO_E_PARAM_ID;
    }
    param->value = *Slot(ObjectOf(handle), rule);
    return OXB3D_BINOSTEREO_OK;
}

int32_t OXB3D_BINOSTEREO_SetParamList(void* handle, const OXB3D_BINOSTEREO_PARAM_LIST* list) {
    int32_t status = CheckHandleAndRecord(handle, list);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    status = CheckList(*list, CheckParam);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    for (uint32_t i = 0; i < list->count; ++i) {
        *Slot(ObjectOf(handle), FindRule(list->params[i].id)) = list->params[i].value;
    }
    return OXB3D_BINOSTEREO_OK;
}

int32_t OXB3D_BINOSTEREO_GetParamList(void* handle, OXB3D_BINOSTEREO_PARAM_LIST* list) {
    int32_t status = CheckHandleAndRecord(handle, list);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    status = CheckList(*list, [](const OXB3D_BINOSTEREO_PARAM& param) {
        return FindRule(param.id) == nullptr ? OXB3D_BINOSTEREO_E_PARAM_ID : OXB3D_BINOSTEREO_OK;
    });
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    for (uint32_t i = 0; i < list->count; ++i) {
        list->params[i].value = *Slot(ObjectOf(handle), FindRule(list->params[i].id));
    }
    return OXB3D_BINOSTEREO_OK;
}

int32_t OXB3D_BINOSTEREO_SetDefaultParam(void* handle) {
    const int32_t status = CheckHandle(handle);
    if (status == OXB3D_BINOSTEREO_OK) {
        LoadDefaultParams(ObjectOf(handle));
    }
    return status;
}
