// BufferParts.h - the images that Aravis has received into one buffer, each held against the memory it lies in.
#ifndef OX3D_ARAVIS_BUFFER_PARTS_H
#define OX3D_ARAVIS_BUFFER_PARTS_H

#include <arv.h>

#include <vector>

#include "providers/aravis/Scan3dFrame.h"

namespace ox3d {

// Fills *parts with the images of a buffer that has come as a success; other parts, chunks among them, are passed over.
// Of a block that is no multi-part one the component is 0: Aravis does not know it. Null, or what is wrong.
const char* PartsOf(ArvBuffer* buffer, std::span<const uint8_t> payload, std::vector<SentPart>* parts);

} // namespace ox3d

#endif
