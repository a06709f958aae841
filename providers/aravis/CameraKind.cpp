// CameraKind.cpp - looks at names of features, of entries, and at nothing that the camera would have to measure.
#include "providers/aravis/CameraKind.h"

#include <algorithm>
#include <string>
#include <vector>

#include "providers/aravis/Features.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

bool Has(ArvDevice* device, const char* key) {
    ArvGcFeatureNode* node = nullptr;
    uint32_t access = OX_AM_NI;
    return features::Find(device, key, features::kNoType, &node) == kOk &&
           features::AccessOfNode(node, &access) == kOk && access != OX_AM_NI;
}

bool HasDepthComponent(ArvDevice* device) {
    const std::vector<std::string> names = features::EntriesOf(device, "ComponentSelector");
    return std::any_of(names.begin(), names.end(),
                       [](const std::string& name) { return name == "Range" || name == "Disparity"; });
}

} // namespace

ECameraKind KindOf(ArvDevice* device) {
    if (Has(device, "CameraWorkingMode")) { // the switch to depth with color, which other cameras lack
        return ECameraKind::Native;
    }
    if (Has(device, "Scan3dOutputMode") || Has(device, "Scan3dCoordinateScale") ||
        HasDepthComponent(device)) {
        return ECameraKind::Sfnc3d;
    }
    return ECameraKind::Plain2d;
}

const char* NameOf(ECameraKind kind) {
    switch (kind) {
    case ECameraKind::Native:
        return "Native";
    case ECameraKind::Sfnc3d:
        return "Sfnc3d";
    case ECameraKind::Plain2d:
        return "Plain2d";
    }
    return "";
}

} // namespace ox3d
