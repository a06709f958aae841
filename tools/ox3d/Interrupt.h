// Ctrl-C and termination as a flag that loops look at, so that the camera is closed and files are written.
#ifndef OX3D_TOOL_INTERRUPT_H
#define OX3D_TOOL_INTERRUPT_H

namespace ox3d::tool {

// From now on SIGINT, SIGTERM and SIGHUP only set the flag; SIGPIPE is ignored.
void InstallInterruptHandler();
bool IsInterrupted();

} // namespace ox3d::tool

#endif
