// See ConvertForms.h.
#include "tools/ox3d/convert/ConvertForms.h"

#include "tools/ox3d/pictures/Pcd.h"
#include "tools/ox3d/pictures/Ply.h"

#include <cstdio>

namespace ox3d::tool {

EDataset DatasetFor(EConvert to) {
    return to == EConvert::Tum ? EDataset::Tum : to == EConvert::Redwood ? EDataset::Redwood : EDataset::None;
}

void Finish(CDatasetWriter& dataset, const std::optional<RecordedLens>& lens) {
    dataset.Finish(lens);
    if (dataset.FarSamples() > 0) {
        std::fprintf(stderr, "%llu samples are farther than the 13.1 m of a TUM folder and left out\n",
                     static_cast<unsigned long long>(dataset.FarSamples()));
    }
}

void WriteCloud(const PointCloud& cloud, EConvert to, const std::filesystem::path& folder, size_t number) {
    const bool isPly = to == EConvert::Ply;
    char name[32];
    std::snprintf(name, sizeof(name), "%06zu.%s", number, isPly ? "ply" : "pcd");
    (isPly ? WritePly : WritePcd)((folder / name).string(), cloud);
}

} // namespace ox3d::tool
