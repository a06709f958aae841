// Scan3d.cpp - images of depth, confidence and color as a camera might send them, under rules as its features might give
// them: depth alone, and frames of parts in any number and order, which come together or in blocks of their own.
#include <cmath>
#include <map>
#include <memory>
#include <vector>

#include "fuzz/Input.h"
#include "providers/aravis/Scan3dFrame.h"

namespace {

using namespace ox3d;
using namespace ox3d::fuzz;

constexpr uint32_t kMaxSide = 70; // larger ones are for sizes only: their bytes are never there

uint32_t TakeSide(CInput* input) {
    return input->Below(16) == 0 ? input->Take<uint32_t>() : input->Below(kMaxSide);
}

enum class EImage : uint8_t { Depth, Confidence, Color };

uint32_t TakeFormat(CInput* input, EImage kind) {
    static const uint32_t s_confidence[] = {0x010800C4, 0x010100C5, 0x010800C6, 0x011000C7, 0x012000C8};
    static const uint32_t s_color[] = {0x02180014, 0x02180015, 0x02100032, 0x0210001F, 0x0210003E,
                                       0x02100045, 0x01080008, 0x01080009, 0x0110000E, 0x01100013,
                                       0x0110002F, 0x01080001, 0x01100003, 0x01100005, kPixelMono16};
    if (input->Below(16) == 0) {
        return input->Take<uint32_t>();
    }
    if (kind == EImage::Depth) {
        return DepthFormats()[input->Below(static_cast<uint32_t>(DepthFormats().size()))].m_code;
    }
    return kind == EImage::Color ? s_color[input->Below(static_cast<uint32_t>(std::size(s_color)))]
                                 : s_confidence[input->Below(static_cast<uint32_t>(std::size(s_confidence)))];
}

DepthRule TakeRule(CInput* input) {
    DepthRule rule;
    for (SampleRule& coordinate : rule.m_coordinates) {
        coordinate.m_scale = input->Flag() ? input->Take<double>() : 1.0;
        coordinate.m_offset = input->Flag() ? input->Take<double>() : 0.0;
        if (input->Flag()) {
            coordinate.m_invalid = input->Flag() ? input->Take<double>() : input->Take<uint8_t>();
        }
    }
    rule.m_unitMm = input->Flag() ? input->Take<double>() : 1.0;
    rule.m_isDisparity = input->Flag();
    rule.m_focalPixels = input->Flag() ? input->Take<double>() : 500.0;
    rule.m_baselineMm = input->Flag() ? input->Take<double>() : 50.0;
    rule.m_confidenceShare = input->Flag() ? input->Take<double>() : 0.0;
    return rule;
}

// Bytes of their own, so that a read beyond them is seen.
struct Image {
    SentImage m_image;
    std::unique_ptr<uint8_t[]> m_bytes;
};

Image TakeImage(CInput* input, uint32_t formatCode, const ImageShape* like) {
    Image image;
    image.m_image.m_format = formatCode;
    image.m_image.m_shape = {TakeSide(input), TakeSide(input), input->Below(4) == 0 ? input->Below(9) : 0};
    if (like != nullptr && input->Flag()) {
        image.m_image.m_shape = *like;
    }
    const DepthFormat* format = FindDepthFormat(formatCode);
    const uint32_t bits = (formatCode >> 16) & 0xFF;
    const uint64_t needed = format == nullptr ? BytesOfImage(bits, image.m_image.m_shape)
                                              : BytesOfImage(*format, image.m_image.m_shape);
    constexpr uint64_t kMaxBytes = uint64_t{kMaxSide} * kMaxSide * 24;
    const uint64_t length =
        std::min(needed, kMaxBytes) - std::min<uint64_t>(needed, input->Below(4) == 0 ? 1 : 0);
    image.m_bytes = std::make_unique<uint8_t[]>(length);
    const auto seed = input->Bytes(input->Below(64));
    for (uint64_t i = 0; i < length && !seed.empty(); ++i) {
        image.m_bytes[i] = seed[i % seed.size()];
    }
    image.m_image.m_bytes = {image.m_bytes.get(), static_cast<size_t>(length)};
    return image;
}

void ConvertDepth(CInput* input) {
    static CScan3dDepth s_converter; // as a stream keeps it from frame to frame
    const DepthRule rule = TakeRule(input);
    const bool hasConfidence = input->Flag();
    const Image depth = TakeImage(input, TakeFormat(input, EImage::Depth), nullptr);
    const Image confidence = TakeImage(input, TakeFormat(input, EImage::Confidence), &depth.m_image.m_shape);
    const ImageShape& shape = depth.m_image.m_shape;
    const uint64_t pixels = uint64_t{shape.m_width} * shape.m_height;
    const size_t room = static_cast<size_t>(std::min<uint64_t>(pixels, uint64_t{kMaxSide} * kMaxSide));
    constexpr uint16_t kUntouched = 0xABCD;
    std::vector<uint16_t> out(room, kUntouched);
    const EDepthFault fault =
        s_converter.Convert(rule, depth.m_image, hasConfidence ? &confidence.m_image : nullptr, out);
    OX3D_FUZZ_EXPECT(TextOf(fault)[0] != '\0');
    if (fault != EDepthFault::None) {
        OX3D_FUZZ_EXPECT(std::all_of(out.begin(), out.end(), [](uint16_t d) { return d == kUntouched; }));
        return;
    }
    OX3D_FUZZ_EXPECT(pixels == room && FindDepthFormat(depth.m_image.m_format) != nullptr);
    OX3D_FUZZ_EXPECT(rule.m_coordinates[2].m_scale != 0.0 && std::isfinite(rule.m_coordinates[2].m_scale));
}

struct Frame {
    Scan3dPlan m_plan;
    std::vector<Image> m_images; // hold the parts' bytes
    std::vector<SentPart> m_parts;
};

// An image, in one part or in planes.
void TakePart(CInput* input, const Scan3dPlan::Component& component, EImage kind, Frame* frame) {
    const uint32_t format = input->Below(8) == 0 ? TakeFormat(input, kind) : component.m_format;
    const ImageShape* like = frame->m_parts.empty() ? nullptr : &frame->m_parts.front().m_image.m_shape;
    const Image& image = frame->m_images.emplace_back(TakeImage(input, format, like));
    const uint32_t id = input->Below(16) == 0 ? input->Below(10) : component.m_id;
    const bool isPlane = input->Below(4) == 0;
    std::span<const uint8_t> left = image.m_image.m_bytes;
    for (uint32_t planes = isPlane ? 1 + input->Below(3) : 1; planes > 0; --planes) {
        SentPart& part = frame->m_parts.emplace_back(SentPart{id, image.m_image, isPlane});
        part.m_image.m_bytes = left.first(left.size() / planes);
        left = left.subspan(part.m_image.m_bytes.size());
    }
}

Frame TakeFrame(CInput* input) {
    Frame frame;
    Scan3dPlan& plan = frame.m_plan;
    plan.m_rule = TakeRule(input);
    plan.m_depth = {input->Flag() ? kComponentRange : kComponentDisparity, TakeFormat(input, EImage::Depth)};
    if (input->Flag()) {
        plan.m_confidence = {kComponentConfidence, TakeFormat(input, EImage::Confidence)};
    }
    if (input->Flag()) {
        plan.m_intensity = {kComponentIntensity, TakeFormat(input, EImage::Color)};
    }
    struct Row {
        const Scan3dPlan::Component* m_component;
        EImage m_kind;
    };
    const Row rows[] = {{&plan.m_depth, EImage::Depth},
                        {&plan.m_confidence, EImage::Confidence},
                        {&plan.m_intensity, EImage::Color}};
    for (const Row& row : rows) {
        if (row.m_component->m_id != 0 && input->Below(16) != 0) {
            TakePart(input, *row.m_component, row.m_kind, &frame);
        }
    }
    for (uint32_t more = input->Below(8) == 0 ? input->Below(6) : 0; more > 0; --more) {
        const Row& row = rows[input->Below(3)];
        TakePart(input, *row.m_component, row.m_kind, &frame);
    }
    if (input->Flag()) {
        std::reverse(frame.m_parts.begin(), frame.m_parts.end());
    }
    return frame;
}

bool IsAlike(const MadeFrame& a, const MadeFrame& b) {
    return a.m_width == b.m_width && a.m_height == b.m_height && a.m_depth == b.m_depth &&
           a.m_chunk == b.m_chunk;
}

const SentPart* OnlyPart(std::span<const SentPart> parts, uint32_t id) {
    const auto has = [&](const SentPart& part) { return part.m_component == id; };
    OX3D_FUZZ_EXPECT(std::any_of(parts.begin(), parts.end(), has));
    const auto found = std::find_if(parts.begin(), parts.end(), has);
    return found->m_isPlane ? nullptr : &*found;
}

// The planes, behind a header of 32 bytes, are those of the color that came.
void CheckColor(const SentPart* color, std::span<const uint8_t> chunk) {
    uint32_t words[4] = {};
    OX3D_FUZZ_EXPECT(chunk.size() > 32);
    memcpy(words, chunk.data(), sizeof(words));
    OX3D_FUZZ_EXPECT(uint64_t{3} * words[1] * words[2] == chunk.size() - 32 && words[3] == chunk.size() - 32);
    if (color != nullptr) {
        CColorPlanes fresh;
        std::vector<uint8_t> planes(chunk.size() - 32);
        OX3D_FUZZ_EXPECT(fresh.Make(color->m_image, planes));
        OX3D_FUZZ_EXPECT(std::equal(planes.begin(), planes.end(), chunk.begin() + 32));
    }
}

// What was made of the parts is whole and does not depend on frames before it.
void CheckMade(const Scan3dPlan& plan, std::span<const SentPart> parts, const char* fault,
               const MadeFrame& asMade) {
    CScan3dFrame fresh;
    MadeFrame made;
    const char* const freshFault = fresh.Make(plan, parts, &made);
    OX3D_FUZZ_EXPECT((fault == nullptr) == (freshFault == nullptr));
    if (fault != nullptr) {
        OX3D_FUZZ_EXPECT(fault[0] != '\0' && std::string_view(fault) == freshFault);
        return;
    }
    OX3D_FUZZ_EXPECT(IsAlike(asMade, made));
    OX3D_FUZZ_EXPECT(made.m_depth.size() == size_t{made.m_width} * made.m_height && !made.m_depth.empty());
    OX3D_FUZZ_EXPECT(made.m_chunk.empty() == (plan.m_intensity.m_id == 0));
    if (plan.m_intensity.m_id != 0) {
        CheckColor(OnlyPart(parts, plan.m_intensity.m_id), made.m_chunk);
    }
    const SentPart* const confidence =
        plan.m_confidence.m_id == 0 ? nullptr : OnlyPart(parts, plan.m_confidence.m_id);
    OX3D_FUZZ_EXPECT((confidence == nullptr) == (plan.m_confidence.m_id == 0));
    if (const SentPart* const depth = OnlyPart(parts, plan.m_depth.m_id)) {
        CScan3dDepth alone;
        std::vector<uint16_t> out(made.m_depth.size());
        const auto result = alone.Convert(plan.m_rule, depth->m_image,
                                          confidence == nullptr ? nullptr : &confidence->m_image, out);
        OX3D_FUZZ_EXPECT(result == EDepthFault::None && out == made.m_depth);
    }
}

void MakeFrame(CInput* input, const Scan3dPlan& plan, std::span<const SentPart> parts) {
    static CScan3dFrame s_maker; // as a stream keeps them from frame to frame
    static MadeFrame s_made;
    const char* const fault = s_maker.Make(plan, parts, &s_made);
    if (input->Below(8) == 0) { // takes several times as long as the making
        CheckMade(plan, parts, fault, s_made);
    }
}

// Blocks of a few frames, mixed: a set has each component once, all of one time, as it came last.
void JoinFrames(CInput* input, const Frame& frame) {
    constexpr uint32_t kTimes = 4;
    CScan3dJoin join;
    std::map<std::pair<uint32_t, uint32_t>, const SentPart*> last; // by time and component
    for (uint32_t blocks = input->Below(16); blocks > 0 && !frame.m_parts.empty(); --blocks) {
        const uint32_t time = input->Below(kTimes);
        const SentPart& part = frame.m_parts[input->Below(static_cast<uint32_t>(frame.m_parts.size()))];
        last[{time, part.m_component}] = &part;
        {
            const std::vector<uint8_t> bytes(part.m_image.m_bytes.begin(), part.m_image.m_bytes.end());
            SentPart passing = part;
            passing.m_image.m_bytes = bytes; // Aravis uses the memory again
            if (!join.Add(time, passing, frame.m_plan.Components())) {
                continue;
            }
        }
        const auto parts = join.Parts();
        OX3D_FUZZ_EXPECT(parts.size() == frame.m_plan.Components());
        for (size_t i = 0; i < parts.size(); ++i) {
            OX3D_FUZZ_EXPECT(i == 0 || parts[i - 1].m_component < parts[i].m_component);
            const SentPart& sent = *last.at({time, parts[i].m_component});
            OX3D_FUZZ_EXPECT(parts[i].m_image.m_format == sent.m_image.m_format);
            OX3D_FUZZ_EXPECT(std::equal(parts[i].m_image.m_bytes.begin(), parts[i].m_image.m_bytes.end(),
                                        sent.m_image.m_bytes.begin(), sent.m_image.m_bytes.end()));
        }
        MakeFrame(input, frame.m_plan, parts);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    if (input.Below(4) == 0) {
        ConvertDepth(&input);
        return 0;
    }
    const Frame frame = TakeFrame(&input);
    MakeFrame(&input, frame.m_plan, frame.m_parts);
    JoinFrames(&input, frame);
    return 0;
}
