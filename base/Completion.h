// Completion.h - what shells complete of a program, made of its command line.
#ifndef OX3D_BASE_COMPLETION_H
#define OX3D_BASE_COMPLETION_H

#include <string>

namespace CLI {
class App;
}

namespace ox3d {

// The shell is bash, zsh or fish. A program may have commands, or options alone.
std::string Completion(const std::string& shell, const CLI::App& app, const std::string& program);

} // namespace ox3d

#endif
