// SceneCorrection.cpp - see SceneCorrection.h. Angles that most places agree on are guessed from a few (Fischler, Bolles 1981),
// then fitted to all with a weight that ends (Tukey). Relies on SceneMatches.h for the places.
#include "algorithm/vision/SceneCorrection.h"

#include "algorithm/vision/LeastSquares.h"
#include "algorithm/vision/SceneMatches.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace ox3d::vision {
namespace {

// Turns of the right camera about its three axes, and of the base line about the line of sight, radians.
constexpr size_t kUnknowns = 4;
using Turns = std::array<double, kUnknowns>;

// By how many pixels the right place is off the plane through the left one and the base line, and how that changes.
struct RowError {
    double m_pixels;
    Turns m_slopes;

    [[nodiscard]] double After(const Turns& turns) const {
        double pixels = m_pixels;
        for (size_t i = 0; i < kUnknowns; ++i) {
            pixels += m_slopes[i] * turns[i];
        }
        return pixels;
    }
};

struct Scratch {
    SceneMatch* m_matches;
    RowError* m_errors;
    double* m_sizes;
    uint64_t* m_bits;
    size_t m_count = 0;
    size_t m_ends[kMaxScenePairs] = {}; // of the places of each pair
};
static_assert(sizeof(SceneMatch) + sizeof(RowError) + sizeof(double) <= kSceneMatchBytes);

// What a scene leaves open stays as it was: of turns so many radians are expected, and of places so many pixels, more than they
// are spread by, since those of one thing are wrong together.
constexpr double kExpected = 0.01;
constexpr double kExpectedRowError = 0.1;
constexpr double kAgrees = 1.5; // pixels, with a guess
constexpr size_t kLeastMatches = 32;
constexpr double kLeastShare = 0.4; // of all places

void Apply(const Turns& turns, StereoRig* rig, Turns* made) {
    std::transform(turns.begin(), turns.end(), made->begin(), made->begin(), std::plus<>());
    rig->m_rotation = Multiply(TurnBy({turns[0], turns[1], turns[2]}), rig->m_rotation);
    rig->m_translation = Multiply(TurnBy({0, 0, turns[3]}), rig->m_translation);
}

RowError RowErrorOf(const StereoRig& rig, const SceneMatch& match) {
    const Vector3& t = rig.m_translation;
    const Vector3 left = Multiply(rig.m_rotation, Vector3{match.m_left[0], match.m_left[1], 1});
    const Vector3 right = {match.m_right[0], match.m_right[1], 1};
    const Vector3 normal = Cross(t, left);
    const double scale = rig.m_right.m_fy / std::max(std::hypot(normal[0], normal[1]), 1e-12);
    const Vector3 byTurn = Cross(left, Cross(right, t));
    const double byBaseLine = Dot(right, Cross(Cross(Vector3{0, 0, 1}, t), left));
    return {scale * Dot(right, normal),
            {scale * byTurn[0], scale * byTurn[1], scale * byTurn[2], scale * byBaseLine}};
}

void Measure(const StereoRig& rig, const Scratch& scratch) {
    std::transform(scratch.m_matches, scratch.m_matches + scratch.m_count, scratch.m_errors,
                   [&rig](const SceneMatch& match) { return RowErrorOf(rig, match); });
}

class CFit {
public:
    // After turns that were made already.
    explicit CFit(const Turns& made) {
        for (size_t i = 0; i < kUnknowns; ++i) {
            m_equations.m_products[i][i] = 1 / (kExpected * kExpected);
            m_equations.m_right[i] = -made[i] / (kExpected * kExpected);
        }
    }
    void Add(const RowError& error, double weight) {
        for (size_t i = 0; i < kUnknowns; ++i) {
            for (size_t j = 0; j <= i; ++j) {
                m_equations.m_products[i][j] += weight * kPerPixel * error.m_slopes[i] * error.m_slopes[j];
            }
            m_equations.m_right[i] -= weight * kPerPixel * error.m_slopes[i] * error.m_pixels;
        }
    }
    bool Solved(Turns* turns) const { return Solve(m_equations, 0, turns); }

private:
    static constexpr double kPerPixel = 1 / (kExpectedRowError * kExpectedRowError);
    NormalEquations<kUnknowns> m_equations{};
};

// Numbers that are the same in every run.
class CDraw {
public:
    size_t Below(size_t count) {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 7;
        m_state ^= m_state << 17;
        return static_cast<size_t>(m_state % count);
    }

private:
    uint64_t m_state = 0x9E3779B97F4A7C15;
};

// The turns that most places agree with, of those that a few places say; how many do.
size_t Guess(const Scratch& scratch, const Turns& made, Turns* best) {
    constexpr int32_t kGuesses = 400;
    CDraw draw;
    size_t most = 0;
    for (int32_t guess = 0; guess < kGuesses; ++guess) {
        CFit fit(made);
        for (size_t i = 0; i < kUnknowns; ++i) {
            fit.Add(scratch.m_errors[draw.Below(scratch.m_count)], 1);
        }
        Turns turns{};
        if (!fit.Solved(&turns)) {
            continue;
        }
        const auto agreeing = static_cast<size_t>(
            std::count_if(scratch.m_errors, scratch.m_errors + scratch.m_count,
                          [&](const RowError& error) { return std::fabs(error.After(turns)) < kAgrees; }));
        if (agreeing > most) {
            most = agreeing;
            *best = turns;
        }
    }
    return most;
}

// Of the places that agree: their sizes without sign, in order; how many those are.
size_t SortSizes(const Scratch& scratch, double limit) {
    size_t count = 0;
    for (size_t i = 0; i < scratch.m_count; ++i) {
        const double size = std::fabs(scratch.m_errors[i].m_pixels);
        if (size < limit) {
            scratch.m_sizes[count++] = size;
        }
    }
    std::sort(scratch.m_sizes, scratch.m_sizes + count);
    return count;
}

// From the median of what agrees, as if that were spread normally; never less than corners can be found to.
double SpreadOf(const Scratch& scratch, double limit) {
    const size_t count = SortSizes(scratch, limit);
    return count == 0 ? limit : std::max(1.4826 * scratch.m_sizes[count / 2], 0.03);
}

bool FitAll(const Scratch& scratch, StereoRig* rig, Turns* made, double* spread) {
    constexpr int32_t kRounds = 8;
    *spread = kAgrees;
    for (int32_t round = 0; round < kRounds; ++round) {
        Measure(*rig, scratch);
        *spread = SpreadOf(scratch, std::min(kAgrees, 4 * *spread));
        const double end = 4.685 * *spread;
        CFit fit(*made);
        for (size_t i = 0; i < scratch.m_count; ++i) {
            const double share = scratch.m_errors[i].m_pixels / end;
            if (std::fabs(share) < 1) {
                fit.Add(scratch.m_errors[i], (1 - share * share) * (1 - share * share));
            }
        }
        Turns turns{};
        if (!fit.Solved(&turns)) {
            return false;
        }
        Apply(turns, rig, made);
    }
    return true;
}

// The places of all pairs as the rig has them, one pair behind the other.
void MatchAll(const StereoRig& rig, const ScenePair* pairs, int32_t count, Scratch* scratch) {
    const size_t share = kSceneMatches / static_cast<size_t>(count);
    scratch->m_count = 0;
    for (int32_t pair = 0; pair < count; ++pair) {
        scratch->m_count +=
            MatchScene(rig, pairs[pair], scratch->m_bits, scratch->m_matches + scratch->m_count, share);
        scratch->m_ends[pair] = scratch->m_count;
    }
}

// Which pairs have a place that agrees.
uint64_t PairsWithin(const Scratch& scratch, int32_t count, double limit) {
    uint64_t pairs = 0;
    size_t begin = 0;
    for (int32_t pair = 0; pair < count; ++pair) {
        const size_t end = scratch.m_ends[pair];
        const bool agrees =
            std::any_of(scratch.m_errors + begin, scratch.m_errors + end,
                        [limit](const RowError& error) { return std::fabs(error.m_pixels) < limit; });
        pairs |= agrees ? uint64_t{1} << pair : 0;
        begin = end;
    }
    return pairs;
}

bool Correct(const Scratch& scratch, StereoRig* rig, Turns* made, double* spread) {
    Turns turns{};
    if (scratch.m_count < kLeastMatches) {
        return false;
    }
    Measure(*rig, scratch);
    const size_t agreeing = Guess(scratch, *made, &turns);
    if (agreeing < kLeastMatches ||
        static_cast<double>(agreeing) < kLeastShare * static_cast<double>(scratch.m_count)) {
        return false;
    }
    Apply(turns, rig, made);
    return FitAll(scratch, rig, made, spread);
}

} // namespace

bool CorrectByScene(const StereoRig& start, const ScenePair* pairs, int32_t count, void* scratchMemory,
                    SceneCorrection* correction) {
    if (count < 1 || count > kMaxScenePairs) {
        return false;
    }
    Scratch scratch{};
    scratch.m_matches = static_cast<SceneMatch*>(scratchMemory);
    scratch.m_errors = reinterpret_cast<RowError*>(scratch.m_matches + kSceneMatches);
    scratch.m_sizes = reinterpret_cast<double*>(scratch.m_errors + kSceneMatches);
    scratch.m_bits = reinterpret_cast<uint64_t*>(scratch.m_sizes + kSceneMatches);
    // Where the rig stands wrong the band leaves places out, so that they are looked for once more when it stands right.
    constexpr int32_t kRounds = 2;
    StereoRig rig = start;
    Turns made{};
    double spread = 0;
    for (int32_t round = 0; round < kRounds; ++round) {
        MatchAll(rig, pairs, count, &scratch);
        if (!Correct(scratch, &rig, &made, &spread)) {
            return false;
        }
    }
    Measure(rig, scratch);
    const size_t agreeing = SortSizes(scratch, 4 * spread);
    if (agreeing < kLeastMatches) {
        return false;
    }
    double squares = 0;
    std::for_each(scratch.m_sizes, scratch.m_sizes + agreeing,
                  [&squares](double size) { squares += size * size; });
    *correction = {rig.m_rotation,
                   rig.m_translation,
                   std::sqrt(squares / static_cast<double>(agreeing)),
                   scratch.m_sizes[agreeing * 95 / 100],
                   static_cast<int32_t>(agreeing),
                   PairsWithin(scratch, count, 4 * spread)};
    return true;
}

} // namespace ox3d::vision
