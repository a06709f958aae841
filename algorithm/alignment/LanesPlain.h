// LanesPlain.h - four numbers at once, as the formulas of FillKernel.h ask for them, for every processor: compilers
// have vectors of their own, whose operations are those of their numbers.
// Relies on a unit that names its tier in OX3D_TIER.
#pragma once

#include <cstdint>
#include <cstring>

namespace ox3d::alignment::OX3D_TIER {
namespace {

constexpr int32_t kLanes = 4;

using FloatVector = float __attribute__((vector_size(16)));
using IntVector = int32_t __attribute__((vector_size(16)));

// All bits of a lane, or none.
struct Truth {
    [[nodiscard]] uint32_t Bits() const {
        const IntVector own = m_mask & IntVector{1, 2, 4, 8};
        return static_cast<uint32_t>((own[0] | own[1]) | (own[2] | own[3]));
    }
    static Truth Of(uint32_t bits) {
        const IntVector lane = {1, 2, 4, 8};
        const auto all = static_cast<int32_t>(bits);
        return {(IntVector{all, all, all, all} & lane) == lane};
    }
    friend Truth operator&(Truth a, Truth b) { return {a.m_mask & b.m_mask}; }
    friend Truth operator|(Truth a, Truth b) { return {a.m_mask | b.m_mask}; }

    IntVector m_mask;
};

struct Floats {
    explicit Floats(FloatVector value) : m_value(value) {}
    Floats(float value) : m_value{value, value, value, value} {}

    friend Floats operator+(Floats a, Floats b) { return Floats(a.m_value + b.m_value); }
    friend Floats operator-(Floats a, Floats b) { return Floats(a.m_value - b.m_value); }
    friend Floats operator*(Floats a, Floats b) { return Floats(a.m_value * b.m_value); }
    friend Floats operator/(Floats a, Floats b) { return Floats(a.m_value / b.m_value); }
    friend Truth operator<(Floats a, Floats b) { return {a.m_value < b.m_value}; }
    friend Truth operator<=(Floats a, Floats b) { return {a.m_value <= b.m_value}; }
    friend Truth operator>(Floats a, Floats b) { return {a.m_value > b.m_value}; }
    friend Truth operator>=(Floats a, Floats b) { return {a.m_value >= b.m_value}; }
    friend Truth IsNumber(Floats value) { return {(value.m_value <= 0.0F) | (value.m_value > 0.0F)}; }
    friend Floats Select(Truth isFirst, Floats first, Floats second) {
        return Floats(isFirst.m_mask ? first.m_value : second.m_value);
    }
    friend Floats Smaller(Floats a, Floats b) {
        return Floats(a.m_value < b.m_value ? a.m_value : b.m_value);
    }
    friend Floats Larger(Floats a, Floats b) { return Floats(a.m_value > b.m_value ? a.m_value : b.m_value); }
    friend Floats Magnitude(Floats value) {
        return Floats(value.m_value < 0.0F ? -value.m_value : value.m_value);
    }
    friend Floats Ceiling(Floats value) {
        const FloatVector whole = __builtin_convertvector(value.Cut(), FloatVector);
        return Floats(whole < value.m_value ? whole + 1.0F : whole);
    }
    [[nodiscard]] IntVector Cut() const { return __builtin_convertvector(m_value, IntVector); }

    FloatVector m_value;
};

Floats Load(const float* from) {
    FloatVector value;
    std::memcpy(&value, from, sizeof value);
    return Floats(value);
}

Floats Load(const uint16_t* from) {
    uint16_t __attribute__((vector_size(8))) value;
    std::memcpy(&value, from, sizeof value);
    return Floats(__builtin_convertvector(__builtin_convertvector(value, IntVector), FloatVector));
}

void Store(Floats value, float* to) {
    std::memcpy(to, &value.m_value, sizeof value.m_value);
}

// 0, 1, 2 and so on.
Floats LaneNumbers() {
    return Floats(FloatVector{0, 1, 2, 3});
}

// As integers, cut off.
void StoreWhole(Floats value, uint32_t* to) {
    const IntVector whole = value.Cut();
    std::memcpy(to, &whole, sizeof whole);
}

// Zeros elsewhere.
void StoreWholeWhere(Truth where, Floats value, uint32_t* to) {
    StoreWhole(Select(where, value, Floats(0.0F)), to);
}

// The lanes' bits among those of all groups.
void Mark(Truth truth, int32_t at, uint64_t* words) {
    const auto shift = static_cast<uint32_t>(at % 64);
    words[at / 64] = (words[at / 64] & ~(uint64_t{0xF} << shift)) | uint64_t{truth.Bits()} << shift;
}

Truth Marked(int32_t at, const uint64_t* words) {
    return Truth::Of(static_cast<uint32_t>(words[at / 64] >> static_cast<uint32_t>(at % 64) & 0xFU));
}

// Marks the patches that are drawn, and those that are not continued by the next one. Says whether all that are
// drawn are ones for PackLine, which is never so.
bool MarkDrawn(const uint32_t* columns, const uint32_t* rows, int32_t at, uint64_t* drawn, uint64_t* ends) {
    uint64_t isDrawn = 0;
    uint64_t isEnd = 0;
    for (uint32_t i = 0; i < kLanes; ++i) {
        const uint32_t width = columns[i] >> 16U;
        const bool isContinued = rows[i] == rows[i + 1] && ((columns[i + 1] - columns[i]) & 0xFFFFU) == width;
        isDrawn |= static_cast<uint64_t>(rows[i] != 0) << i;
        isEnd |= static_cast<uint64_t>(!isContinued) << i;
    }
    const auto shift = static_cast<uint32_t>(at % 64);
    drawn[at / 64] = (drawn[at / 64] & ~(uint64_t{0xF} << shift)) | isDrawn << shift;
    ends[at / 64] = (ends[at / 64] & ~(uint64_t{0xF} << shift)) | isEnd << shift;
    return false;
}

void PackLine(const uint32_t* /*columns*/, const uint32_t* /*depths*/, int32_t /*count*/,
              uint16_t* /*line*/) {}

} // namespace
} // namespace ox3d::alignment::OX3D_TIER
