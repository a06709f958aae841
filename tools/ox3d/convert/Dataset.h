// Folders of other programs' RGB-D recordings: TUM (rgb/, depth/ with time stamps, depth of 5000 a metre) and Redwood (color/
// and depth/ in millimetres, numbered). In both, depth is registered to color.
#ifndef OX3D_TOOL_DATASET_H
#define OX3D_TOOL_DATASET_H

#include "recording/RecordedFrame.h"
#include "recording/RecordingReader.h"
#include "tools/ox3d/pictures/Images.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace ox3d::tool {

enum class EDataset { None, Tum, Redwood };

// What kind of folder it is, by what is in it.
EDataset DatasetIn(const std::filesystem::path& folder);

// A folder as a recording, whose calibration has one camera for both images. Throws a CToolError that says what is missing.
std::unique_ptr<CRecordingReader> OpenDataset(EDataset kind, const std::filesystem::path& folder);

// A frame to write, of which depth lies on color.
struct DatasetFrame {
    size_t m_index = 0;
    uint64_t m_timeNs = 0;
    DepthImage m_depth;
    RgbImage m_color; // empty: none
};

// Writes frame by frame into a folder that is there and empty. Each throws CToolError.
class CDatasetWriter {
public:
    CDatasetWriter(EDataset kind, std::filesystem::path folder);
    void Add(const DatasetFrame& frame);
    // The lists and the camera, at the end.
    void Finish(const std::optional<RecordedLens>& lens);
    // Samples that are too far for a TUM folder, which were left out.
    uint64_t FarSamples() const { return m_farSamples; }

private:
    const EDataset m_kind;
    const std::filesystem::path m_folder;
    std::string m_depthList;
    std::string m_colorList;
    std::string m_pairs;
    uint64_t m_farSamples = 0;
};

} // namespace ox3d::tool

#endif
