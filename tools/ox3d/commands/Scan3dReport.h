// What a camera has of the 3D model of GenICam's standard, what each of it is used for, and what it costs where it is missing.
#ifndef OX3D_TOOL_SCAN3D_REPORT_H
#define OX3D_TOOL_SCAN3D_REPORT_H

#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Json.h"

#include <string>
#include <vector>

namespace ox3d::tool {

struct Scan3dLine {
    std::string m_name;
    bool m_isThere = false;
    std::string m_value; // empty where it cannot be read
    std::string m_text;  // what it is used for, or what follows without it
};

struct Scan3dReport {
    std::string m_kind; // as CCamera::Kind
    std::vector<Scan3dLine> m_lines;
    bool m_hasDepth = false;
    bool m_hasPoints = false;
    bool m_hasColor = false;
    bool m_isOneLens = false; // color is known to be taken by the depth's lens
};

// Selects components and coordinates of the camera on its way, and gives the selectors back as they were. Throws CToolError.
Scan3dReport ReportScan3d(const CCamera& camera);
std::string Scan3dText(const Scan3dReport& report);
Json Scan3dJson(const Scan3dReport& report);

} // namespace ox3d::tool

#endif
