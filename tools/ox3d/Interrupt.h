// Ctrl-C and termination as a flag that loops look at, so that the camera is closed and files are written.
#ifndef OX3D_TOOL_INTERRUPT_H
#define OX3D_TOOL_INTERRUPT_H

namespace ox3d::tool {

// From now on SIGINT, SIGTERM and SIGHUP only set the flag; one that comes half a second after the first, or later, ends the
// tool, since a call of a camera library may hang. SIGPIPE is ignored.
void InstallInterruptHandler();
bool IsInterrupted();
// Between two steps of a command: throws a CToolError where the user wants no more of them.
void CheckInterrupted();

} // namespace ox3d::tool

#endif
