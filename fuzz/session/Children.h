// Children.h - works that need a process of their own, in which this program starts as itself.
#ifndef OX3D_FUZZ_SESSION_CHILDREN_H
#define OX3D_FUZZ_SESSION_CHILDREN_H

#include <sys/types.h>

#include <string>

namespace ox3d::session {

// Starts a work in a folder; the output is the child's standard output.
pid_t StartChild(const std::string& work, unsigned long seed, const std::string& folder, int output);

// The same in the child's own folder, until it has ended; what waitpid says of it.
int StatusOfChild(const std::string& work, unsigned long seed);

// In the child: the works of the log; the exit code.
int RunLogChild(const std::string& work, unsigned long seed);

} // namespace ox3d::session

#endif
