// ApiLog.h - the source name of the interface's log lines.
#ifndef OX3D_API_LOG_H
#define OX3D_API_LOG_H

inline constexpr const char* kApiLogSource = "../../src/Interface/Ox3dRgbdApi";

#endif
