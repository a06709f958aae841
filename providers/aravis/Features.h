// Features.h - features of an opened camera by name. The caller holds the camera's mutex; all functions answer
// with a code of the camera-control interface.
//
// Aravis checks ranges and access when it is told to; increments, locks and the types that the interface
// distinguishes are checked here.
#ifndef OX3D_ARAVIS_FEATURES_H
#define OX3D_ARAVIS_FEATURES_H

#include <arv.h>

#include <optional>
#include <string>
#include <vector>

#include <ox3drgbd/OxCameraControl.h>

namespace ox3d::features {

constexpr uint32_t kNoType = UINT32_MAX;

// Interface type by the name of a node's element in the description; OX_IFT_IValue for one that is no feature.
uint32_t TypeOfElement(const char* element);
uint32_t TypeOfNode(ArvGcFeatureNode* node);
// Access mode as it is now, locks included.
int AccessOfNode(ArvGcFeatureNode* node, uint32_t* accessMode);
bool MayWrite(ArvGcFeatureNode* node);
bool MayRead(ArvGcFeatureNode* node);

// The node with this name, of the type unless that is kNoType.
int Find(ArvDevice* device, const char* key, uint32_t type, ArvGcFeatureNode** node);

// Whether value is minimum plus a multiple of increment.
bool IsOnGrid(int64_t value, int64_t minimum, int64_t increment);
bool IsOnGrid(double value, double minimum, double increment);

int GetInteger(ArvDevice* device, const char* key, OX_CC_INT_VALUE_EX* value);
int SetInteger(ArvDevice* device, const char* key, int64_t value);
int GetFloat(ArvDevice* device, const char* key, OX_CC_FLOAT_VALUE* value);
int SetFloat(ArvDevice* device, const char* key, float value);
int GetEnum(ArvDevice* device, const char* key, OX_CC_ENUM_VALUE* value);
int SetEnum(ArvDevice* device, const char* key, int64_t value);
int GetEnumName(ArvDevice* device, const char* key, std::string* entry);
int SetEnumByName(ArvDevice* device, const char* key, const char* entry);
int GetString(ArvDevice* device, const char* key, std::string* value, int64_t* maxBytes);
int SetString(ArvDevice* device, const char* key, const char* value);
int GetBoolean(ArvDevice* device, const char* key, bool* value);
int SetBoolean(ArvDevice* device, const char* key, bool value);
int Execute(ArvDevice* device, const char* key);

// A float, an integer or a switch that may be read now, at full precision.
std::optional<double> ReadNumber(ArvDevice* device, const char* key);
// The unit that the description declares for a float; empty without one.
std::string UnitOf(ArvDevice* device, const char* key);
// Names of an enumeration's entries that may be chosen now; none where there is no such enumeration.
std::vector<std::string> EntriesOf(ArvDevice* device, const char* key);

} // namespace ox3d::features

#endif
