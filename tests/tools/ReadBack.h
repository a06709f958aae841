// Reading back what the tool wrote, independently of how it writes.
#ifndef OX3D_TESTS_TOOLS_READ_BACK_H
#define OX3D_TESTS_TOOLS_READ_BACK_H

#include "tools/ox3d/Images.h"

#include <string>
#include <vector>

// Both throw std::runtime_error when the file is not of this kind.
ox3dtool::RgbImage ReadRgbPng(const std::string& file);
ox3dtool::DepthImage ReadDepthPng(const std::string& file);

struct PlyFile {
    std::vector<std::string> m_header; // lines without line feeds
    std::string m_body;
    size_t m_vertices = 0;
};
PlyFile ReadPly(const std::string& file);

#endif
