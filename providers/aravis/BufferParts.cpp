// BufferParts.cpp - a part's place and size are what the camera's leader says; Aravis checks neither.
#include "providers/aravis/BufferParts.h"

#include <algorithm>
#include <cstdint>

namespace ox3d {
namespace {

constexpr guint kMaxParts = 32; // of images, chunks and whatever else

enum class EPart { Image, Plane, Other };

EPart TypeOf(ArvBuffer* buffer, guint part) {
    switch (arv_buffer_get_part_data_type(buffer, part)) {
    case ARV_BUFFER_PART_DATA_TYPE_2D_IMAGE:
    case ARV_BUFFER_PART_DATA_TYPE_3D_IMAGE:
    case ARV_BUFFER_PART_DATA_TYPE_CONFIDENCE_MAP:
        return EPart::Image;
    case ARV_BUFFER_PART_DATA_TYPE_2D_PLANE_BIPLANAR:
    case ARV_BUFFER_PART_DATA_TYPE_2D_PLANE_TRIPLANAR:
    case ARV_BUFFER_PART_DATA_TYPE_3D_PLANE_BIPLANAR:
    case ARV_BUFFER_PART_DATA_TYPE_3D_PLANE_TRIPLANAR:
        return EPart::Plane;
    default:
        return EPart::Other;
    }
}

// The part's bytes, or none when they are not within the payload.
std::span<const uint8_t> BytesOf(ArvBuffer* buffer, guint part, std::span<const uint8_t> payload) {
    size_t size = 0;
    const auto* data = static_cast<const uint8_t*>(arv_buffer_get_part_data(buffer, part, &size));
    const auto begin = reinterpret_cast<uintptr_t>(payload.data());
    const auto at = reinterpret_cast<uintptr_t>(data);
    if (data == nullptr || at < begin || at - begin > payload.size() ||
        size > payload.size() - (at - begin)) {
        return {};
    }
    return payload.subspan(at - begin, size);
}

bool Overlaps(const SentPart& a, const SentPart& b) {
    return a.m_image.m_bytes.data() < b.m_image.m_bytes.data() + b.m_image.m_bytes.size() &&
           b.m_image.m_bytes.data() < a.m_image.m_bytes.data() + a.m_image.m_bytes.size();
}

bool TakeShape(ArvBuffer* buffer, guint part, ImageShape* shape) {
    gint x = 0;
    gint y = 0;
    gint width = 0;
    gint height = 0;
    gint paddingX = 0;
    gint paddingY = 0;
    arv_buffer_get_part_region(buffer, part, &x, &y, &width, &height);
    arv_buffer_get_part_padding(buffer, part, &paddingX, &paddingY);
    if (width <= 0 || height <= 0 || paddingX < 0) {
        return false;
    }
    *shape = {static_cast<uint32_t>(width), static_cast<uint32_t>(height), static_cast<uint32_t>(paddingX)};
    return true;
}

} // namespace

const char* PartsOf(ArvBuffer* buffer, std::span<const uint8_t> payload, std::vector<SentPart>* parts) {
    parts->clear();
    const guint count = arv_buffer_get_n_parts(buffer);
    if (count == 0 || count > kMaxParts) {
        return count == 0 ? "it has no part" : "it has too many parts";
    }
    const bool isMultiPart = arv_buffer_get_payload_type(buffer) == ARV_BUFFER_PAYLOAD_TYPE_MULTIPART;
    for (guint i = 0; i < count; ++i) {
        const EPart type = TypeOf(buffer, i);
        if (type == EPart::Other) {
            continue; // its size and format are not to be asked for
        }
        SentPart part;
        part.m_component = isMultiPart ? arv_buffer_get_part_component_id(buffer, i) : 0;
        part.m_isPlane = type == EPart::Plane;
        part.m_image.m_format = arv_buffer_get_part_pixel_format(buffer, i);
        part.m_image.m_bytes = BytesOf(buffer, i, payload);
        if (part.m_image.m_bytes.empty() || !TakeShape(buffer, i, &part.m_image.m_shape)) {
            return "a part is empty or runs past the payload";
        }
        const bool isApart = std::none_of(parts->begin(), parts->end(),
                                          [&](const SentPart& other) { return Overlaps(part, other); });
        if (!isApart) {
            return "parts overlap";
        }
        parts->push_back(part);
    }
    return parts->empty() ? "it has no image" : nullptr;
}

} // namespace ox3d
