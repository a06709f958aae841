// Scan3dFrame.h - the components of a frame become a depth image and a color image in the form of the library's own
// cameras: depth as the main image, color as the chunk of the extended image.
#ifndef OX3D_ARAVIS_SCAN3D_FRAME_H
#define OX3D_ARAVIS_SCAN3D_FRAME_H

#include <map>
#include <vector>

#include "providers/aravis/ColorPlanes.h"
#include "providers/aravis/Scan3dSetup.h"

namespace ox3d {

struct SentPart {
    uint32_t m_component = 0; // the standard's number
    SentImage m_image;
    bool m_isPlane = false; // one of several parts that make a planar image
};

// Memory is kept from frame to frame.
struct MadeFrame {
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    std::vector<uint16_t> m_depth;
    std::vector<uint8_t> m_chunk; // header and planes of the extended image; empty without color
};

class CScan3dFrame {
public:
    // Null, or why there is no frame. Throws nothing but std::bad_alloc.
    const char* Make(const Scan3dPlan& plan, std::span<const SentPart> parts, MadeFrame* out);

private:
    // The component's image, of its planes if it came in such. Null, or what is wrong with it.
    const char* Find(std::span<const SentPart> parts, const Scan3dPlan::Component& component, SentImage* out);

    CScan3dDepth m_depth;
    CColorPlanes m_color;
    std::vector<uint8_t> m_joined; // planes one after the other
};

// Collects the components of a frame that come in blocks of their own: those of equal time stamp belong together.
class CScan3dJoin {
public:
    // Copies the part. True when the set is complete: Parts then has it until the next call.
    bool Add(uint64_t timeNs, const SentPart& part, uint32_t wantedParts);
    std::span<const SentPart> Parts() const { return m_parts; }

private:
    struct Set {
        uint64_t m_timeNs = 0;
        std::map<uint32_t, std::pair<SentPart, std::vector<uint8_t>>> m_parts; // by component
    };
    // Blocks of two frames may come mixed; of more, the oldest will not become whole any more.
    static constexpr size_t kMaxOpenSets = 2;

    Set& SetOf(uint64_t timeNs);

    std::vector<Set> m_sets; // oldest first
    Set m_whole;
    std::vector<SentPart> m_parts;
};

} // namespace ox3d

#endif
