// Export.h - marks the symbols that the library exports from below its interface. Relies on the objects being
// compiled with hidden visibility.
#ifndef OX3D_COMMON_EXPORT_H
#define OX3D_COMMON_EXPORT_H

#define OX3D_EXPORT __attribute__((visibility("default")))

#endif
