// RosMessages.cpp - fields in the order of the definitions.
#include "recording/RosMessages.h"

#include <charconv>
#include <cmath>
#include <optional>

namespace ox3d {
namespace {

constexpr uint64_t kNsPerSecond = 1000000000;
constexpr double kMmPerMetre = 1000;

RosHeader TakeRosHeader(CCdrReader* cdr) {
    RosHeader header;
    const auto seconds = static_cast<uint32_t>(cdr->Take<int32_t>());
    header.m_stampNs = seconds * kNsPerSecond + cdr->Take<uint32_t>();
    header.m_frameId = cdr->Text();
    return header;
}

using Quaternion = std::array<double, 4>; // x, y, z, w

// Of a rotation matrix, from the largest of the four parts, which no rounding spoils.
Quaternion QuaternionOf(const std::array<double, 9>& r) {
    const double trace = r[0] + r[4] + r[8];
    const Quaternion squares = {1 + 2 * r[0] - trace, 1 + 2 * r[4] - trace, 1 + 2 * r[8] - trace, 1 + trace};
    const auto largest =
        static_cast<size_t>(std::max_element(squares.begin(), squares.end()) - squares.begin());
    const double twice = std::sqrt(squares[largest]); // 2 * that part
    const double xy = r[1] + r[3];
    const double xz = r[2] + r[6];
    const double yz = r[5] + r[7];
    const Quaternion fromLargest[4] = {
        {twice * twice, xy, xz, r[7] - r[5]},
        {xy, twice * twice, yz, r[2] - r[6]},
        {xz, yz, twice * twice, r[3] - r[1]},
        {r[7] - r[5], r[2] - r[6], r[3] - r[1], twice * twice},
    };
    Quaternion quaternion = fromLargest[largest];
    const double scale =
        std::copysign(2 * twice, quaternion[3]); // of the two that mean the same, that with w > 0
    for (double& part : quaternion) {
        part /= scale;
    }
    return quaternion;
}

// None for a quaternion that is not of about length 1.
std::optional<std::array<double, 9>> RotationOf(const Quaternion& q) {
    const auto [x, y, z, w] = q;
    const double square = x * x + y * y + z * z + w * w;
    if (!(square > 0.99 && square < 1.01)) {
        return std::nullopt;
    }
    const double s = 2 / square;
    return std::array<double, 9>{1 - s * (y * y + z * z), s * (x * y - z * w),     s * (x * z + y * w),
                                 s * (x * y + z * w),     1 - s * (x * x + z * z), s * (y * z - x * w),
                                 s * (x * z - y * w),     s * (y * z + x * w),     1 - s * (x * x + y * y)};
}

// The number behind "key": in a flat object of JSON.
bool TakeNumber(std::string_view json, const std::string& key, uint64_t* value) {
    const std::string quoted = "\"" + key + "\":";
    const size_t at = json.find(quoted);
    if (at == json.npos) {
        return false;
    }
    const char* const begin = json.data() + at + quoted.size();
    return std::from_chars(begin, json.data() + json.size(), *value).ec == std::errc();
}

} // namespace

void PutRosHeader(CCdrWriter* cdr, const RosHeader& header) {
    cdr->Add(static_cast<int32_t>(header.m_stampNs / kNsPerSecond));
    cdr->Add(static_cast<uint32_t>(header.m_stampNs % kNsPerSecond));
    cdr->Text(header.m_frameId);
}

std::span<uint8_t> PutImage(ByteVector* out, const RosHeader& header, uint32_t width, uint32_t height,
                            const char* encoding, uint32_t stepBytes) {
    CCdrWriter cdr(out);
    PutRosHeader(&cdr, header);
    cdr.Add(height);
    cdr.Add(width);
    cdr.Text(encoding);
    cdr.Add(uint8_t{0}); // little-endian
    cdr.Add(stepBytes);
    return cdr.Bytes(stepBytes * height);
}

void PutCompressedImage(ByteVector* out, const RosHeader& header, const char* format,
                        std::span<const uint8_t> image) {
    CCdrWriter cdr(out);
    PutRosHeader(&cdr, header);
    cdr.Text(format);
    const std::span<uint8_t> room = cdr.Bytes(static_cast<uint32_t>(image.size()));
    std::copy(image.begin(), image.end(), room.begin());
}

void PutCameraInfo(ByteVector* out, const RosHeader& header, const RecordedLens& lens) {
    CCdrWriter cdr(out);
    PutRosHeader(&cdr, header);
    cdr.Add(lens.m_height);
    cdr.Add(lens.m_width);
    cdr.Text("plumb_bob");
    cdr.Add(static_cast<uint32_t>(lens.m_distortion.size()));
    cdr.Array(lens.m_distortion);
    cdr.Array(std::array<double, 9>{lens.m_fx, 0, lens.m_cx, 0, lens.m_fy, lens.m_cy, 0, 0, 1});
    cdr.Array(std::array<double, 9>{1, 0, 0, 0, 1, 0, 0, 0, 1});
    cdr.Array(std::array<double, 12>{lens.m_fx, 0, lens.m_cx, 0, 0, lens.m_fy, lens.m_cy, 0, 0, 0, 1, 0});
    cdr.Array(std::array<uint32_t, 6>{}); // binning, region of interest
    cdr.Add(uint8_t{0});
}

RosTransform ColorInDepth(RosHeader header, std::string colorFrameId, const RecordedWay& depthToColor) {
    const std::array<double, 9>& r = depthToColor.m_rotation;
    const std::array<double, 3>& t = depthToColor.m_translationMm;
    RosTransform transform{std::move(header), std::move(colorFrameId), {}, {}};
    for (size_t i = 0; i < 3; ++i) { // the color camera's place: -R' t
        transform.m_translation[i] = -(r[i] * t[0] + r[3 + i] * t[1] + r[6 + i] * t[2]) / kMmPerMetre;
    }
    transform.m_rotation = QuaternionOf({r[0], r[3], r[6], r[1], r[4], r[7], r[2], r[5], r[8]});
    return transform;
}

void PutTransforms(ByteVector* out, std::span<const RosTransform> transforms) {
    CCdrWriter cdr(out);
    cdr.Add(static_cast<uint32_t>(transforms.size()));
    for (const RosTransform& transform : transforms) {
        PutRosHeader(&cdr, transform.m_header);
        cdr.Text(transform.m_childFrameId);
        cdr.Array(transform.m_translation);
        cdr.Array(transform.m_rotation);
    }
}

void PutTransform(ByteVector* out, uint64_t stampNs, const RecordedWay& depthToColor) {
    const RosTransform transform = ColorInDepth({stampNs, kDepthFrameId}, kColorFrameId, depthToColor);
    PutTransforms(out, {&transform, 1});
}

void PutFrameFacts(ByteVector* out, const RecordedFacts& facts) {
    const std::string text = "{\"frame\":" + std::to_string(facts.m_number) +
                             ",\"ticks\":" + std::to_string(facts.m_ticks) +
                             ",\"host_ns\":" + std::to_string(facts.m_hostNs) +
                             ",\"lost_before\":" + std::to_string(facts.m_lostBefore) +
                             ",\"incomplete\":" + (facts.m_isIncomplete ? "true" : "false") +
                             (facts.m_isColorLost ? ",\"color_lost\":true}" : "}");
    out->insert(out->end(), text.begin(), text.end());
}

bool ReadImage(std::span<const uint8_t> message, RosImage* image) {
    CCdrReader cdr(message);
    image->m_header = TakeRosHeader(&cdr);
    image->m_height = cdr.Take<uint32_t>();
    image->m_width = cdr.Take<uint32_t>();
    image->m_encoding = cdr.Text();
    const bool isBigEndian = cdr.Take<uint8_t>() != 0;
    image->m_stepBytes = cdr.Take<uint32_t>();
    image->m_bytes = cdr.Bytes();
    return !cdr.HasFailed() && !isBigEndian && image->m_width > 0 && image->m_height > 0 &&
           image->m_bytes.size() >= image->m_stepBytes * image->m_height;
}

bool ReadCompressedImage(std::span<const uint8_t> message, RosImage* image) {
    CCdrReader cdr(message);
    *image = {};
    image->m_header = TakeRosHeader(&cdr);
    image->m_encoding = cdr.Text();
    image->m_bytes = cdr.Bytes();
    return !cdr.HasFailed();
}

bool ReadCameraInfo(std::span<const uint8_t> message, RecordedLens* lens) {
    CCdrReader cdr(message);
    TakeRosHeader(&cdr);
    lens->m_height = cdr.Take<uint32_t>();
    lens->m_width = cdr.Take<uint32_t>();
    const bool isPlumbBob = cdr.Text() == "plumb_bob";
    if (cdr.Take<uint32_t>() != lens->m_distortion.size()) {
        return false;
    }
    for (double& coefficient : lens->m_distortion) {
        coefficient = cdr.Take<double>();
    }
    std::array<double, 9> k{};
    for (double& entry : k) {
        entry = cdr.Take<double>();
    }
    lens->m_fx = k[0];
    lens->m_cx = k[2];
    lens->m_fy = k[4];
    lens->m_cy = k[5];
    return !cdr.HasFailed() && isPlumbBob;
}

bool ReadTransform(std::span<const uint8_t> message, RecordedWay* depthToColor) {
    CCdrReader cdr(message);
    if (cdr.Take<uint32_t>() != 1) {
        return false;
    }
    const RosHeader header = TakeRosHeader(&cdr);
    const bool isOurs = header.m_frameId == kDepthFrameId && cdr.Text() == kColorFrameId;
    std::array<double, 3> place{};
    Quaternion turn{};
    for (double& part : place) {
        part = cdr.Take<double>();
    }
    for (double& part : turn) {
        part = cdr.Take<double>();
    }
    const auto rotation = RotationOf(turn);
    if (cdr.HasFailed() || !isOurs || !rotation ||
        !std::all_of(place.begin(), place.end(), [](double part) { return std::isfinite(part); })) {
        return false;
    }
    for (size_t i = 0; i < 3; ++i) {
        for (size_t j = 0; j < 3; ++j) { // what turns the other way round is the transpose
            depthToColor->m_rotation[3 * i + j] = (*rotation)[3 * j + i];
        }
        const double* const row = depthToColor->m_rotation.data() + 3 * i;
        depthToColor->m_translationMm[i] =
            -(row[0] * place[0] + row[1] * place[1] + row[2] * place[2]) * kMmPerMetre;
    }
    return true;
}

bool ReadFrameFacts(std::span<const uint8_t> message, RecordedFacts* facts) {
    const std::string json(message.begin(), message.end());
    facts->m_isIncomplete = json.find("\"incomplete\":true") != json.npos;
    facts->m_isColorLost = json.find("\"color_lost\":true") != json.npos;
    return TakeNumber(json, "frame", &facts->m_number) && TakeNumber(json, "ticks", &facts->m_ticks) &&
           TakeNumber(json, "host_ns", &facts->m_hostNs) &&
           TakeNumber(json, "lost_before", &facts->m_lostBefore);
}

} // namespace ox3d
