// Version.h - the build stamp that the log's start banner shows.
// Relies on the compiler's __DATE__ and __TIME__ (and so on SOURCE_DATE_EPOCH for repeatable builds).
#ifndef OX3D_COMMON_VERSION_H
#define OX3D_COMMON_VERSION_H

// Writes "YYMMDD_hh:mm:ss" of this build. The caller's buffer has 256 bytes; null is ignored.
void GetMyVersion(char* out) noexcept;

namespace ox3d {

// What GetMyVersion writes for a date "Mmm dd yyyy" and a time "hh:mm:ss"; at most 128 bytes.
void FormatBuildStamp(const char* date, const char* time, char* out) noexcept;

} // namespace ox3d

#endif
