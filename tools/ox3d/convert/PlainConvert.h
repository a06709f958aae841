// Conversions without a camera: what is written has the images of the recording as they are.
#ifndef OX3D_TOOL_PLAIN_CONVERT_H
#define OX3D_TOOL_PLAIN_CONVERT_H

#include "recording/RecordingReader.h"
#include "tools/ox3d/convert/ConvertOptions.h"

#include <filesystem>

namespace ox3d::tool {

// Each returns how many frames could be read, and throws a CToolError.

// An MCAP file. JPEG images of the source go into it as they are, unless another quality or form of color is asked for.
size_t ToFile(CRecordingReader& reader, const ConvertOptions& options, const std::filesystem::path& file);
// A folder of PNG files, as the library plays them.
size_t ToPngFolder(CRecordingReader& reader, const std::filesystem::path& folder);
// Folders of other programs and clouds of a source whose depth lies on color.
size_t FromDataset(CRecordingReader& reader, EConvert to, const std::filesystem::path& folder);

} // namespace ox3d::tool

#endif
