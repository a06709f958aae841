// Scan3dDepth.cpp - integers go through a table, floats are computed; then pixels without a point are taken out.
#include "providers/aravis/Scan3dDepth.h"

#include <bit>
#include <cmath>
#include <cstring>

namespace ox3d {
namespace {

static_assert(std::endian::native == std::endian::little, "samples are sent little-endian");

constexpr double kMaxDepthMm = 65535.0;

template <typename Sample>
Sample Load(const uint8_t* bytes) {
    Sample sample;
    std::memcpy(&sample, bytes, sizeof(sample));
    return sample;
}

// Calls visit(pixel, sample) for whole bytes. The image has been found to hold them all.
template <typename Sample, typename Visit>
void VisitBytes(std::span<const uint8_t> bytes, const SampleGrid& grid, const ImageShape& shape,
                Visit visit) {
    size_t pixel = 0;
    for (uint32_t y = 0; y < shape.m_height; ++y) {
        const uint8_t* sample = bytes.data() + (grid.m_firstBit + y * grid.m_lineBits) / 8;
        for (uint32_t x = 0; x < shape.m_width; ++x, sample += grid.m_pixelBits / 8) {
            visit(pixel++, Load<Sample>(sample));
        }
    }
}

// Samples of fewer bits than 16 that need not begin with a byte. All begin where they end within two bytes.
template <typename Visit>
void VisitBits(std::span<const uint8_t> bytes, const SampleGrid& grid, const ImageShape& shape, uint8_t bits,
               Visit visit) {
    const uint32_t mask = (1U << bits) - 1;
    size_t pixel = 0;
    for (uint32_t y = 0; y < shape.m_height; ++y) {
        uint64_t at = grid.m_firstBit + y * grid.m_lineBits;
        for (uint32_t x = 0; x < shape.m_width; ++x, at += grid.m_pixelBits) {
            const uint8_t* sample = bytes.data() + at / 8;
            const uint32_t low = static_cast<uint32_t>(at % 8);
            const uint32_t next = low + bits > 8 ? uint32_t{sample[1]} << 8 : 0;
            visit(pixel++, static_cast<uint16_t>(((sample[0] | next) >> low) & mask));
        }
    }
}

template <typename Visit>
void VisitSamples(std::span<const uint8_t> bytes, const SampleGrid& grid, const ImageShape& shape,
                  uint8_t bits, ESampleKind kind, Visit visit) {
    if (kind == ESampleKind::Float) {
        VisitBytes<float>(bytes, grid, shape, visit);
    } else if (bits == 16) {
        VisitBytes<uint16_t>(bytes, grid, shape, visit);
    } else if (bits == 8) {
        VisitBytes<uint8_t>(bytes, grid, shape, visit);
    } else {
        VisitBits(bytes, grid, shape, bits, visit);
    }
}

bool IsPositive(double value) {
    return std::isfinite(value) && value > 0.0;
}

EDepthFault CheckRule(const DepthRule& rule) {
    const SampleRule& c = rule.m_coordinates[static_cast<size_t>(ECoordinate::C)];
    if (c.m_scale == 0.0 || !std::isfinite(c.m_scale) || !std::isfinite(c.m_offset)) {
        return EDepthFault::Scale;
    }
    if (rule.m_isDisparity) {
        const bool isUsable = IsPositive(rule.m_focalPixels) && IsPositive(rule.m_baselineMm);
        return isUsable ? EDepthFault::None : EDepthFault::Disparity;
    }
    return IsPositive(rule.m_unitMm) ? EDepthFault::None : EDepthFault::Scale;
}

// Takes out what has a coordinate that says so.
void DropInvalid(const SampleRule& rule, ECoordinate coordinate, const DepthFormat& format,
                 const SentImage& image, std::span<uint16_t> depth) {
    VisitSamples(image.m_bytes, GridOf(format, image.m_shape, coordinate), image.m_shape, format.m_sampleBits,
                 format.m_kind, [&](size_t pixel, auto sample) {
                     if (IsInvalid(rule, static_cast<double>(sample))) {
                         depth[pixel] = 0;
                     }
                 });
}

EDepthFault CheckConfidence(const SentImage& depth, const SentImage& confidence) {
    const ConfidenceFormat* format = FindConfidenceFormat(confidence.m_format);
    if (format == nullptr) {
        return EDepthFault::ConfidenceFormat;
    }
    const bool isSameSize = confidence.m_shape.m_width == depth.m_shape.m_width &&
                            confidence.m_shape.m_height == depth.m_shape.m_height;
    return isSameSize && confidence.m_bytes.size() >= BytesOfImage(format->m_sampleBits, confidence.m_shape)
               ? EDepthFault::None
               : EDepthFault::ConfidenceSize;
}

void DropUncertain(double share, const SentImage& confidence, std::span<uint16_t> depth) {
    const ConfidenceFormat& format = *FindConfidenceFormat(confidence.m_format);
    const SampleGrid grid{0, format.m_sampleBits, LineBits(format.m_sampleBits, confidence.m_shape)};
    const double least = share * format.m_max;
    VisitSamples(confidence.m_bytes, grid, confidence.m_shape, format.m_sampleBits, format.m_kind,
                 [&](size_t pixel, auto sample) {
                     const auto value = static_cast<double>(sample);
                     if (!(value > 0.0 && value >= least)) { // NaN is no confidence
                         depth[pixel] = 0;
                     }
                 });
}

} // namespace

bool IsInvalid(const SampleRule& rule, double sent) {
    return rule.m_invalid && (sent == *rule.m_invalid || (std::isnan(sent) && std::isnan(*rule.m_invalid)));
}

const char* TextOf(EDepthFault fault) {
    switch (fault) {
    case EDepthFault::None:
        return "none";
    case EDepthFault::Format:
        return "its pixel format is none of depth";
    case EDepthFault::Size:
        return "it is shorter than its size and pixel format need";
    case EDepthFault::Scale:
        return "scale or unit is 0 or no number, or the offset is no number";
    case EDepthFault::Disparity:
        return "focal length or base line is not above 0";
    case EDepthFault::ConfidenceFormat:
        return "the pixel format of its confidence is none";
    case EDepthFault::ConfidenceSize:
        return "its confidence has another size, or is shorter than that";
    }
    return "";
}

uint16_t DepthOf(const DepthRule& rule, double sent) {
    const SampleRule& c = rule.m_coordinates[static_cast<size_t>(ECoordinate::C)];
    if (IsInvalid(c, sent)) {
        return 0;
    }
    const double scaled = sent * c.m_scale + c.m_offset;
    double mm = scaled * rule.m_unitMm;
    if (rule.m_isDisparity) {
        mm = scaled > 0.0 ? rule.m_focalPixels * rule.m_baselineMm / scaled : 0.0;
    }
    const double rounded = std::floor(mm + 0.5);
    return rounded >= 1.0 && rounded <= kMaxDepthMm ? static_cast<uint16_t>(rounded) : uint16_t{0};
}

void CScan3dDepth::MakeTable(const DepthRule& rule, uint8_t sampleBits) {
    if (m_tableBits == sampleBits && m_tableRule == rule) {
        return;
    }
    const SampleRule& c = rule.m_coordinates[static_cast<size_t>(ECoordinate::C)];
    m_tableBits = 0; // if there is no memory
    m_table.Make(sampleBits, rule.m_isDisparity ? 0.0 : c.m_scale * rule.m_unitMm, c.m_offset * rule.m_unitMm,
                 [&rule](double value) { return DepthOf(rule, value); });
    m_tableBits = sampleBits;
    m_tableRule = rule;
}

EDepthFault CScan3dDepth::Convert(const DepthRule& rule, const SentImage& image, const SentImage* confidence,
                                  std::span<uint16_t> out) {
    const DepthFormat* format = FindDepthFormat(image.m_format);
    if (format == nullptr) {
        return EDepthFault::Format;
    }
    const uint64_t bytes = BytesOfImage(*format, image.m_shape);
    const uint64_t pixels = uint64_t{image.m_shape.m_width} * image.m_shape.m_height;
    if (bytes == 0 || image.m_bytes.size() < bytes || out.size() < pixels) {
        return EDepthFault::Size;
    }
    EDepthFault fault = CheckRule(rule);
    if (fault == EDepthFault::None && confidence != nullptr) {
        fault = CheckConfidence(image, *confidence);
    }
    if (fault != EDepthFault::None) {
        return fault;
    }
    const SampleGrid grid = GridOf(*format, image.m_shape, ECoordinate::C);
    if (format->m_kind == ESampleKind::Float) {
        VisitBytes<float>(image.m_bytes, grid, image.m_shape, [&](size_t pixel, float sample) {
            out[pixel] = DepthOf(rule, static_cast<double>(sample));
        });
    } else {
        MakeTable(rule, format->m_sampleBits);
        if (format->m_samples == 1 && format->m_sampleBits == 16) {
            for (uint32_t y = 0; y < image.m_shape.m_height; ++y) {
                m_table.Convert(image.m_bytes.data() + y * grid.m_lineBits / 8,
                                out.subspan(size_t{y} * image.m_shape.m_width, image.m_shape.m_width));
            }
        } else {
            VisitSamples(
                image.m_bytes, grid, image.m_shape, format->m_sampleBits, format->m_kind,
                [&](size_t pixel, auto sample) { out[pixel] = m_table[static_cast<size_t>(sample)]; });
        }
    }
    for (const ECoordinate coordinate : {ECoordinate::A, ECoordinate::B}) {
        const SampleRule& side = rule.m_coordinates[static_cast<size_t>(coordinate)];
        if (side.m_invalid && HasCoordinate(*format, coordinate)) {
            DropInvalid(side, coordinate, *format, image, out);
        }
    }
    if (confidence != nullptr) {
        DropUncertain(rule.m_confidenceShare, *confidence, out);
    }
    return EDepthFault::None;
}

} // namespace ox3d
