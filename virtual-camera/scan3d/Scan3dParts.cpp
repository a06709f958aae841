// Scan3dParts.cpp - regions and binning, then values by the rules that the features tell.
#include "virtual-camera/scan3d/Scan3dParts.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace ox3d {
namespace {

constexpr uint32_t kMaxStepMm = 50;   // between depths that binning may mix
constexpr double kConfidentMm = 8000; // where there is next to no confidence left
constexpr float kJunkMm = 1234;       // what there is instead of a flag

uint8_t Luma(uint8_t red, uint8_t green, uint8_t blue) {
    return static_cast<uint8_t>((77U * red + 150U * green + 29U * blue + 128U) >> 8U);
}

void Put16(uint8_t* at, uint32_t value) { // pixels are little-endian
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8U);
}

void PutFloat(uint8_t* at, float value) {
    const auto bits = std::bit_cast<uint32_t>(value);
    Put16(at, bits);
    Put16(at + 2, bits >> 16U);
}

// The mean of what there is, or none where it spans an edge.
uint16_t BinnedDepth(const uint16_t* from, uint32_t stride, uint32_t binning) {
    uint32_t sum = 0;
    uint32_t count = 0;
    uint32_t least = UINT16_MAX;
    uint32_t greatest = 0;
    for (uint32_t row = 0; row < binning; ++row) {
        for (uint32_t column = 0; column < binning; ++column) {
            const uint32_t depth = from[size_t{row} * stride + column];
            if (depth != 0) {
                sum += depth;
                ++count;
                least = std::min(least, depth);
                greatest = std::max(greatest, depth);
            }
        }
    }
    return count == 0 || greatest - least > kMaxStepMm ? uint16_t{0}
                                                       : static_cast<uint16_t>((sum + count / 2) / count);
}

uint8_t BinnedGrey(const uint8_t* from, uint32_t stride, uint32_t binning) {
    uint32_t sum = 0;
    for (uint32_t row = 0; row < binning; ++row) {
        for (uint32_t column = 0; column < binning; ++column) {
            sum += from[size_t{row} * stride + column];
        }
    }
    return static_cast<uint8_t>((sum + binning * binning / 2) / (binning * binning));
}

template <class TSample, class TBin>
void CropAndBin(const TSample* from, uint32_t stride, uint32_t binning, const Region& region, const TBin& bin,
                std::vector<TSample>* to) {
    to->resize(size_t{region.m_width} * region.m_height);
    TSample* out = to->data();
    for (uint32_t row = 0; row < region.m_height; ++row, out += region.m_width) {
        const TSample* line =
            from + size_t{region.m_y + row} * binning * stride + size_t{region.m_x} * binning;
        if (binning == 1) {
            std::memcpy(out, line, region.m_width * sizeof(TSample));
            continue;
        }
        for (uint32_t column = 0; column < region.m_width; ++column) {
            out[column] = bin(line + size_t{column} * binning, stride, binning);
        }
    }
}

bool Fits(const Region& region, uint32_t binning, uint32_t width, uint32_t height) {
    return binning != 0 && (uint64_t{region.m_x} + region.m_width) * binning <= width &&
           (uint64_t{region.m_y} + region.m_height) * binning <= height;
}

// The sample of a coordinate; invalid where it cannot be told.
class CSampler {
public:
    explicit CSampler(const CoordinateRule& rule)
        : m_rule(rule), m_scale(rule.m_scale), m_offset(rule.m_offset),
          m_least(rule.m_hasInvalid && !rule.m_isFloat ? 1 : 0) {}

    bool Whole(double coordinate, uint32_t* sample) const {
        const double value = (coordinate - m_offset) / m_scale + 0.5;
        if (!(value >= m_least && value < m_rule.m_maxSample + 1.0)) {
            return false;
        }
        *sample = static_cast<uint32_t>(value);
        return true;
    }
    float Real(double coordinate) const { return static_cast<float>((coordinate - m_offset) / m_scale); }

private:
    const CoordinateRule m_rule;
    const double m_scale;
    const double m_offset;
    const double m_least; // of valid samples: 0 is taken where it means none
};

// Samples of any width one after the other, least significant bits first.
class CBitWriter {
public:
    explicit CBitWriter(uint8_t* out) : m_out(out) {}
    void Put(uint32_t value, uint32_t bits) {
        m_held |= uint64_t{value} << m_count;
        for (m_count += bits; m_count >= 8; m_count -= 8, m_held >>= 8U) {
            *m_out++ = static_cast<uint8_t>(m_held);
        }
    }
    void Finish() {
        if (m_count > 0) {
            *m_out++ = static_cast<uint8_t>(m_held);
        }
    }

private:
    uint8_t* m_out;
    uint64_t m_held = 0;
    uint32_t m_count = 0;
};

// Depths in millimetres as samples of one coordinate. Depths are whole, so that a table has all samples there are.
void PackDepth(const Scan3dFormat& format, const Scan3dSettings& settings, const Scan3dOptics& optics,
               const std::vector<uint16_t>& depth, ImageBytes* bytes) {
    const CoordinateRule& rule = optics.m_rules[2];
    const CSampler sampler(rule);
    const bool isDisparity = settings.m_mode == kDisparityC;
    const double factor = optics.m_pinhole.m_fx * optics.m_baselineMm;
    const auto coordinate = [&](double mm) {
        return isDisparity ? factor / mm : mm / optics.m_mmPerUnit + optics.m_movedBy;
    };
    const uint32_t junk = [&] {
        uint32_t sample = 0;
        return !rule.m_hasInvalid && sampler.Whole(coordinate(kJunkMm), &sample) ? sample : 0U;
    }();
    std::vector<uint32_t> samples(size_t{UINT16_MAX} + 1);
    for (uint32_t mm = 0; mm < samples.size(); ++mm) {
        if (format.m_isFloat) {
            const float none = rule.m_hasInvalid ? rule.m_invalid : sampler.Real(coordinate(kJunkMm));
            samples[mm] = std::bit_cast<uint32_t>(mm == 0 ? none : sampler.Real(coordinate(mm)));
        } else if (mm == 0 || !sampler.Whole(coordinate(mm), &samples[mm])) {
            samples[mm] = junk;
        }
    }
    uint8_t* out = bytes->data();
    switch (format.m_sampleBits) {
    case 8:
        for (const uint16_t mm : depth) {
            *out++ = static_cast<uint8_t>(samples[mm]);
        }
        break;
    case 16:
        for (const uint16_t mm : depth) {
            Put16(out, samples[mm]);
            out += 2;
        }
        break;
    case 32:
        for (const uint16_t mm : depth) {
            Put16(out, samples[mm]);
            Put16(out + 2, samples[mm] >> 16U);
            out += 4;
        }
        break;
    default:
        CBitWriter writer(out);
        for (const uint16_t mm : depth) {
            writer.Put(samples[mm], format.m_sampleBits);
        }
        writer.Finish();
    }
}

// Points of the pinhole in the unit that is told.
void PackPoints(const Scan3dFormat& format, const Scan3dOptics& optics, const Region& region,
                const std::vector<uint16_t>& depth, ImageBytes* bytes) {
    const uint32_t sampleBytes = format.m_sampleBits / 8U;
    const bool isPlanar = format.m_layout == EPixelLayout::PlanarPoints;
    const uint64_t plane = uint64_t{region.m_width} * region.m_height * sampleBytes;
    const uint64_t step = isPlanar ? sampleBytes : 3 * uint64_t{sampleBytes};
    const uint64_t toNext = isPlanar ? plane : sampleBytes;
    const CSampler samplers[3] = {CSampler(optics.m_rules[0]), CSampler(optics.m_rules[1]),
                                  CSampler(optics.m_rules[2])};
    const bool isFlagged = optics.m_rules[2].m_hasInvalid;
    const RgbdIntrinsics& pinhole = optics.m_pinhole;
    for (uint64_t i = 0; i < depth.size(); ++i) {
        const uint64_t line = i / region.m_width;
        const auto column = static_cast<double>(i % region.m_width);
        const auto row = static_cast<double>(line);
        bool isValid = depth[i] != 0;
        const double z = (isValid ? depth[i] : static_cast<double>(kJunkMm)) / optics.m_mmPerUnit;
        const double point[3] = {(column - pinhole.m_cx) / pinhole.m_fx * z,
                                 (row - pinhole.m_cy) / pinhole.m_fy * z, z + optics.m_movedBy};
        uint8_t* const out = bytes->data() + i * step;
        if (format.m_isFloat) {
            for (int axis = 0; axis < 3; ++axis) {
                const bool isTold = isValid || !isFlagged;
                PutFloat(out + axis * toNext,
                         isTold ? samplers[axis].Real(point[axis]) : optics.m_rules[axis].m_invalid);
            }
            continue;
        }
        uint32_t samples[3] = {};
        for (int axis = 0; axis < 3; ++axis) {
            isValid = samplers[axis].Whole(point[axis], &samples[axis]) && isValid;
        }
        for (int axis = 0; axis < 3; ++axis) {
            Put16(out + axis * toNext, isValid || !isFlagged ? samples[axis] : 0);
        }
    }
}

// What each pixel sees at distance 1, to the right or down.
void PackMap(bool isDown, const RgbdIntrinsics& pinhole, const Region& region, uint8_t* out) {
    for (uint32_t y = 0; y < region.m_height; ++y) {
        for (uint32_t x = 0; x < region.m_width; ++x, out += sizeof(float)) {
            const double at = isDown ? (y - pinhole.m_cy) / pinhole.m_fy : (x - pinhole.m_cx) / pinhole.m_fx;
            PutFloat(out, static_cast<float>(at));
        }
    }
}

// Less with the distance, and none where there is no depth.
void PackConfidence(const Scan3dFormat& format, const std::vector<uint16_t>& depth, ImageBytes* bytes) {
    uint8_t* out = bytes->data();
    for (const uint16_t mm : depth) {
        const double left = std::max(0.0, 1 - mm / kConfidentMm);
        const auto value = static_cast<uint8_t>(mm == 0 ? 0 : 1 + 254 * left);
        *out++ = value;
        if (format.m_sampleBits == 16) {
            *out++ = value;
        }
    }
}

// Each surface goes to where it stands in a raster of equal lengths; what is nearer hides what is behind it.
void Rectify(const Scan3dOptics& optics, const Region& region, const std::vector<uint16_t>& depth,
             std::vector<uint16_t>* raster) {
    raster->assign(depth.size(), 0);
    // The cell of a depth that is seen so many pixels from the principal point.
    const auto cell = [&](uint16_t mm, double pixels, double focal, const CoordinateRule& rule) {
        const double coordinate = mm / optics.m_mmPerUnit * pixels / focal;
        const double offset = coordinate - static_cast<double>(rule.m_offset);
        return std::floor(offset / static_cast<double>(rule.m_scale) + 0.5);
    };
    for (uint64_t i = 0; i < depth.size(); ++i) {
        const double column = static_cast<double>(i % region.m_width) - optics.m_pinhole.m_cx;
        const uint64_t line = i / region.m_width;
        const double row = static_cast<double>(line) - optics.m_pinhole.m_cy;
        const double x = cell(depth[i], column, optics.m_pinhole.m_fx, optics.m_rules[0]);
        const double y = cell(depth[i], row, optics.m_pinhole.m_fy, optics.m_rules[1]);
        if (depth[i] != 0 && x >= 0 && y >= 0 && x < region.m_width && y < region.m_height) {
            uint16_t& nearest = (*raster)[static_cast<size_t>(y) * region.m_width + static_cast<size_t>(x)];
            nearest = nearest == 0 ? depth[i] : std::min(nearest, depth[i]);
        }
    }
}

struct Rgb {
    uint8_t m_red;
    uint8_t m_green;
    uint8_t m_blue;
};

Rgb BayerPixel(const Rgb& color, uint64_t x, uint64_t y) {
    const uint8_t value = (x + y) % 2 == 1 ? color.m_green : y % 2 == 0 ? color.m_red : color.m_blue;
    return {value, value, value};
}

// Pixels of the pattern that begins with the region: its offsets are even. What a byte cannot hold of them repeats its bits.
template <class TColorAt>
void PackBayer(const Scan3dFormat& format, const Region& region, const TColorAt& at, uint8_t* out) {
    const uint32_t more = format.m_sampleBits - 8U;
    CBitWriter writer(out);
    for (uint32_t y = 0; y < region.m_height; ++y) {
        for (uint32_t x = 0; x < region.m_width; ++x) {
            const uint32_t value = BayerPixel(at(x, y), x, y).m_red;
            const uint32_t low = value >> (8U - more);
            if (format.m_layout == EPixelLayout::Bayer) {
                writer.Put(value << more | low, format.m_sampleBits);
            } else if (x % 2 == 0) { // the pair's low bits lie between its high ones
                writer.Put(value, 8);
                writer.Put(low, 4);
            } else {
                writer.Put(low, 4);
                writer.Put(value, 8);
            }
        }
    }
    writer.Finish();
}

uint8_t Chroma(int value) {
    return static_cast<uint8_t>(std::clamp(value / 256 + 128, 0, 255));
}

void PutYuv422(const Rgb& first, const Rgb& second, bool isChromaFirst, uint8_t* out) {
    const int red = (first.m_red + second.m_red) / 2;
    const int green = (first.m_green + second.m_green) / 2;
    const int blue = (first.m_blue + second.m_blue) / 2;
    const uint8_t lumas[2] = {Luma(first.m_red, first.m_green, first.m_blue),
                              Luma(second.m_red, second.m_green, second.m_blue)};
    const uint8_t chromas[2] = {Chroma(-43 * red - 85 * green + 128 * blue),
                                Chroma(128 * red - 107 * green - 21 * blue)};
    for (int i = 0; i < 2; ++i) {
        out[2 * i + (isChromaFirst ? 1 : 0)] = lumas[i];
        out[2 * i + (isChromaFirst ? 0 : 1)] = chromas[i];
    }
}

// Three planes as pixels of the format; `at` gives the color of a pixel of the region.
template <class TColorAt>
void PackPicture(const Scan3dFormat& format, const Region& region, const TColorAt& at, uint8_t* out) {
    if (format.m_layout == EPixelLayout::Bayer || format.m_layout == EPixelLayout::BayerPairs) {
        PackBayer(format, region, at, out);
        return;
    }
    for (uint32_t y = 0; y < region.m_height; ++y) {
        for (uint32_t x = 0; x < region.m_width; ++x) {
            const Rgb color = at(x, y);
            switch (format.m_layout) {
            case EPixelLayout::Color:
                *out++ = format.m_isSwapped ? color.m_blue : color.m_red;
                *out++ = color.m_green;
                *out++ = format.m_isSwapped ? color.m_red : color.m_blue;
                break;
            case EPixelLayout::Yuv422:
                if (x % 2 == 0) {
                    PutYuv422(color, at(x + 1, y), format.m_isSwapped, out);
                    out += 4;
                }
                break;
            default:
                *out++ = Luma(color.m_red, color.m_green, color.m_blue);
                if (format.m_sampleBits == 16) {
                    *out = out[-1];
                    ++out;
                }
            }
        }
    }
}

CameraPart& NextPart(uint32_t component, const ComponentSettings& settings, const Scan3dFormat& format,
                     CameraFrame* frame) {
    if (frame->m_parts.size() == frame->m_partCount) {
        frame->m_parts.emplace_back();
    }
    CameraPart& part = frame->m_parts[frame->m_partCount++];
    const Region& region = settings.m_region;
    part.m_component = component;
    part.m_pixelFormat = settings.m_format;
    part.m_width = region.m_width;
    part.m_height = region.m_height;
    part.m_x = region.m_x;
    part.m_y = region.m_y;
    part.m_bytes.resize(Scan3dImageBytes(format, region.m_width, region.m_height));
    return part;
}

} // namespace

uint16_t TraitsOf(const Scan3dConfig& config) {
    uint16_t traits = kScan3dTrait;
    traits |= config.IsDisparity() ? kDisparityTrait : kRangeTrait;
    traits |= config.m_intensity == EIntensityKind::None ? 0 : kIntensityTrait;
    traits |= config.m_intensity == EIntensityKind::Color ? kColorTrait : 0;
    traits |= config.m_hasConfidence ? kConfidenceTrait : 0;
    traits |= config.m_unit == EDistanceUnit::Untold ? 0 : kDistanceUnitTrait;
    traits |= config.m_lens == ELensKind::Features ? kLensTrait : 0;
    traits |= config.m_lens == ELensKind::Maps ? kMapsTrait : 0;
    traits |= config.m_canMultiPart ? kMultiPartTrait : 0;
    traits |= config.m_reference == EReference::Anchor ? kFixedSystemTrait : kTransformTrait;
    traits |= config.m_reference == EReference::Choice ? kToAnchorTrait : 0;
    return traits;
}

uint64_t Scan3dPayloadBytes(const Scan3dSettings& settings) {
    uint64_t sum = 0;
    uint64_t largest = 0;
    for (const ComponentSettings& component : settings.m_components) {
        const Scan3dFormat* format = FindScan3dFormat(component.m_format);
        if (component.m_isEnabled && format != nullptr) {
            const Region& region = component.m_region;
            const uint64_t bytes = Scan3dImageBytes(*format, region.m_width, region.m_height);
            sum += bytes;
            largest = std::max(largest, bytes);
        }
    }
    return settings.m_isMultiPart && settings.m_isExtendedId ? sum : largest;
}

bool CScan3dPacker::Pack(const Scan3dConfig& config, const Scan3dSettings& settings,
                         const Scan3dOptics& optics, const FrameImages& images, CameraFrame* frame) {
    frame->m_partCount = 0;
    frame->m_isExtendedId = settings.m_isExtendedId;
    frame->m_isMultiPart = settings.m_isMultiPart && settings.m_isExtendedId;
    const ComponentSettings& depth = settings.m_components[config.DepthComponent()];
    const ComponentSettings& confidence = settings.m_components[kConfidence];
    if (depth.m_isEnabled || confidence.m_isEnabled) {
        const uint64_t pixels = uint64_t{images.m_depthWidth} * images.m_depthHeight;
        if (images.m_depth.size() != pixels ||
            !Fits(depth.m_region, settings.m_binning, images.m_depthWidth, images.m_depthHeight)) {
            return false;
        }
        CropAndBin(images.m_depth.data(), images.m_depthWidth, settings.m_binning, depth.m_region,
                   BinnedDepth, &m_depth);
        if (settings.m_mode == kRectifiedC) {
            Rectify(optics, depth.m_region, m_depth, &m_raster);
            m_depth.swap(m_raster);
        }
    }
    if (depth.m_isEnabled) {
        const Scan3dFormat& format = *FindScan3dFormat(depth.m_format);
        ImageBytes& bytes = NextPart(config.DepthComponent(), depth, format, frame).m_bytes;
        if (format.IsPoints()) {
            PackPoints(format, optics, depth.m_region, m_depth, &bytes);
        } else {
            PackDepth(format, settings, optics, m_depth, &bytes);
        }
    }
    if (confidence.m_isEnabled) {
        const Scan3dFormat& format = *FindScan3dFormat(confidence.m_format);
        PackConfidence(format, m_depth, &NextPart(kConfidence, confidence, format, frame).m_bytes);
    }
    for (const uint32_t component : {kCoordinateMapA, kCoordinateMapB}) {
        const ComponentSettings& map = settings.m_components[component];
        if (map.m_isEnabled) {
            const Scan3dFormat& format = *FindScan3dFormat(map.m_format);
            PackMap(component == kCoordinateMapB, optics.m_pinhole, map.m_region,
                    NextPart(component, map, format, frame).m_bytes.data());
        }
    }
    const ComponentSettings& intensity = settings.m_components[kIntensity];
    return !intensity.m_isEnabled || PackIntensity(config, settings, images, frame);
}

bool CScan3dPacker::PackIntensity(const Scan3dConfig& config, const Scan3dSettings& settings,
                                  const FrameImages& images, CameraFrame* frame) {
    const ComponentSettings& intensity = settings.m_components[kIntensity];
    const Scan3dFormat& format = *FindScan3dFormat(intensity.m_format);
    const Region& region = intensity.m_region;
    if (config.m_intensity == EIntensityKind::Grey) {
        if (images.m_greyPair.size() < uint64_t{images.m_depthWidth} * images.m_depthHeight ||
            !Fits(region, settings.m_binning, images.m_depthWidth, images.m_depthHeight)) {
            return false;
        }
        CropAndBin(images.m_greyPair.data(), images.m_depthWidth, settings.m_binning, region, BinnedGrey,
                   &m_grey);
        const auto at = [&](uint32_t x, uint32_t y) {
            const uint8_t grey = m_grey[size_t{y} * region.m_width + x];
            return Rgb{grey, grey, grey};
        };
        PackPicture(format, region, at, NextPart(kIntensity, intensity, format, frame).m_bytes.data());
        return true;
    }
    const uint64_t plane = uint64_t{images.m_colorWidth} * images.m_colorHeight;
    if (images.m_color.size() != 3 * plane || !Fits(region, 1, images.m_colorWidth, images.m_colorHeight)) {
        return false;
    }
    const auto at = [&](uint32_t x, uint32_t y) {
        const uint8_t* red =
            images.m_color.data() + size_t{region.m_y + y} * images.m_colorWidth + region.m_x + x;
        return Rgb{red[0], red[plane], red[2 * plane]};
    };
    PackPicture(format, region, at, NextPart(kIntensity, intensity, format, frame).m_bytes.data());
    return true;
}

} // namespace ox3d
