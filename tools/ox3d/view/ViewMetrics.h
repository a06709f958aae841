// Figures of all cameras as Prometheus reads them.
#ifndef OX3D_TOOL_VIEW_METRICS_H
#define OX3D_TOOL_VIEW_METRICS_H

#include "tools/ox3d/view/ViewEncoder.h"
#include "tools/ox3d/view/ViewStats.h"

#include <string>
#include <vector>

namespace ox3d::tool {

struct ViewMetric {
    std::string m_camera;
    ViewFigures m_figures;
    EncodedCounts m_encoded;
};

std::string MetricsText(const std::vector<ViewMetric>& cameras);

} // namespace ox3d::tool

#endif
