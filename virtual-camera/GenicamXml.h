// GenicamXml.h - writes the GenICam description (schema 1.1) of a feature map.
#ifndef OX3D_VIRTUAL_CAMERA_GENICAM_XML_H
#define OX3D_VIRTUAL_CAMERA_GENICAM_XML_H

#include <string>

#include "virtual-camera/FeatureMap.h"

namespace ox3d {

std::string GenicamXml(const CFeatureMap& features, const std::string& vendor, const std::string& model);

} // namespace ox3d

#endif
