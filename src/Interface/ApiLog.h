// ApiLog.h - under which source name the interface's lines stand in the log.
#ifndef OX3D_API_LOG_H
#define OX3D_API_LOG_H

inline constexpr const char* kApiLogSource = "../../src/Interface/Ox3dRgbdApi";

#endif
