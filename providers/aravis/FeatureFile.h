// FeatureFile.h - the settings of a camera as text, lines "Name=Value". What a selector chooses between is
// written entry by entry, the selector's line first; reading the lines in order brings everything back. The
// caller holds the camera's mutex.
#ifndef OX3D_ARAVIS_FEATURE_FILE_H
#define OX3D_ARAVIS_FEATURE_FILE_H

#include <arv.h>

#include <string>

namespace ox3d {

// Selectors are only moved when the caller may write.
int SaveFeatureText(ArvDevice* device, bool mayWrite, std::string* text);

// All or nothing: a line that is refused undoes those before it, and *where says which it is.
int LoadFeatureText(ArvDevice* device, const std::string& text, std::string* where);

} // namespace ox3d

#endif
