// What a conversion is asked for.
#ifndef OX3D_TOOL_CONVERT_OPTIONS_H
#define OX3D_TOOL_CONVERT_OPTIONS_H

#include "recording/Recorder.h"

#include <cstdint>
#include <optional>
#include <string>

namespace ox3d::tool {

enum class EConvert { ByName, Mcap, Png, Tum, Redwood, Ply, Pcd };

struct ConvertOptions {
    std::string m_in;
    std::string m_out;
    EConvert m_to = EConvert::ByName;
    std::optional<ERecordedColor> m_color; // none: as it is
    std::optional<uint32_t> m_quality;     // none: images that are JPEG already stay as they are
};

} // namespace ox3d::tool

#endif
