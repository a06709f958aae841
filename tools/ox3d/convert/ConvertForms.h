// The forms that depth which lies on color is written in: folders of other programs, and point clouds.
#ifndef OX3D_TOOL_CONVERT_FORMS_H
#define OX3D_TOOL_CONVERT_FORMS_H

#include "tools/ox3d/convert/ConvertOptions.h"
#include "tools/ox3d/convert/Dataset.h"
#include "tools/ox3d/pictures/PointCloud.h"

#include <filesystem>

namespace ox3d::tool {

// None: it is another form.
EDataset DatasetFor(EConvert to);

// The lists and the camera of a folder, at its end; tells what had no place in it. Throws.
void Finish(CDatasetWriter& dataset, const std::optional<RecordedLens>& lens);

// "NNNNNN.ply" or "NNNNNN.pcd". Throws.
void WriteCloud(const PointCloud& cloud, EConvert to, const std::filesystem::path& folder, size_t number);

} // namespace ox3d::tool

#endif
