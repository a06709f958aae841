// Conversions that need the library: it lays depth onto color and makes points of a camera that plays the recording, one
// frame for each trigger, so that none is lost.
#ifndef OX3D_TOOL_PLAYED_CONVERT_H
#define OX3D_TOOL_PLAYED_CONVERT_H

#include "recording/RecordingReader.h"
#include "tools/ox3d/convert/ConvertOptions.h"

#include <filesystem>

namespace ox3d::tool {

// The recording at `in`, which `reader` reads, as a folder of another program or as clouds. Returns how many frames are
// written; throws a CToolError.
size_t ConvertPlayed(CRecordingReader& reader, const std::filesystem::path& in, EConvert to,
                     const std::filesystem::path& folder);

} // namespace ox3d::tool

#endif
