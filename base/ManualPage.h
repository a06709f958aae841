// ManualPage.h - the manual page of a program, made of its command line.
#ifndef OX3D_BASE_MANUAL_PAGE_H
#define OX3D_BASE_MANUAL_PAGE_H

#include <string>

namespace CLI {
class App;
}

namespace ox3d {

// In the language of man. The purpose is what comes after the name in a list of pages.
std::string ManualPage(const CLI::App& app, const std::string& program, const std::string& purpose);

} // namespace ox3d

#endif
