// Description.h - whether a camera's GenICam description can be worked with: Aravis trusts it, cameras are not trusted.
#ifndef OX3D_ARAVIS_DESCRIPTION_H
#define OX3D_ARAVIS_DESCRIPTION_H

#include <arv.h>

namespace ox3d {

// False without a description, for one that is cut off, and for one that would end the process when a feature of it
// is asked for: with registers longer than any camera has, with values that lead back to themselves, or with entries of
// enumerations that have no name.
bool IsUsableDescription(ArvDevice* device);

} // namespace ox3d

#endif
