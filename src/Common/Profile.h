// Profile.h - readers of INI-style profile files, modelled on the classic private-profile calls. Both are
// exported.
#ifndef OX3D_COMMON_PROFILE_H
#define OX3D_COMMON_PROFILE_H

#include "src/Common/Export.h"

extern "C" {

// Folder put before the profile's name when the buffer count is read. Nothing in the library fills it. An
// application may, so read it with its bound.
extern OX3D_EXPORT char g_strCurrentDllPath[256];

// The value of a key in base 0 (decimal, 0x hexadecimal, leading-zero octal), cut to 32 bits. Everything
// that cannot be found or read, and the value 0 itself, gives the default.
OX3D_EXPORT unsigned int Linux_GetPrivateProfileInt(const char* section, const char* key, int defaultValue,
                                                    const char* path);

// The text of a key; an empty section lists the sections, an empty key lists a section's keys, as
// zero-separated lists that end with two zeros.
//
// The length of a value found does not depend on outSize, and its copy is bounded by the 255 characters of a
// line, not by outSize: pass at least 256 bytes. An outSize of 0 writes nothing, 1 only a zero. The lists
// and the default keep to outSize. Returns the characters written; of a list without its last two zeros.
OX3D_EXPORT unsigned long Linux_GetPrivateProfileString(const char* section, const char* key,
                                                        const char* defaultValue, char* out,
                                                        unsigned long outSize, const char* path);
}

#endif
