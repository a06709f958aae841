// Gauss and Newton with damping over the eight numbers of a homography and the radial term, from a start that has the
// board parallel to the image. Both sides are scaled to about 1, so that no number outweighs another.
#include "algorithm/vision/BoardShape.h"

#include "algorithm/vision/LeastSquares.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

namespace ox3d::vision {

namespace {

constexpr size_t kUnknowns = 9; // h11 to h32 row by row with h33 = 1, then the radial term
using Vector = std::array<double, kUnknowns>;

constexpr int32_t kRounds = 60;

// Corners and board in units of about 1 around their middles.
struct Scaled {
    const Corner* m_corners;
    int32_t m_columns, m_rows;
    Corner m_middle;
    double m_pixels; // that are 1

    int32_t Count() const { return m_columns * m_rows; }
    Corner OnBoard(int32_t i) const {
        const double half = std::max(m_columns, m_rows) / 2.0;
        const int32_t row = i / m_columns;
        const int32_t column = i % m_columns;
        return {(column - (m_columns - 1) / 2.0) / half, (row - (m_rows - 1) / 2.0) / half};
    }
    Corner Seen(int32_t i) const {
        return {(m_corners[i].x - m_middle.x) / m_pixels, (m_corners[i].y - m_middle.y) / m_pixels};
    }
};

struct Projected {
    Corner m_at, m_plane;
    double m_depth, m_radial;
};

bool Project(const Vector& h, const Corner& p, Projected* out) {
    out->m_depth = h[6] * p.x + h[7] * p.y + 1;
    const double u = (h[0] * p.x + h[1] * p.y + h[2]) / out->m_depth;
    const double v = (h[3] * p.x + h[4] * p.y + h[5]) / out->m_depth;
    out->m_plane = {u, v};
    out->m_radial = 1 + h[8] * (u * u + v * v);
    out->m_at = {u * out->m_radial, v * out->m_radial};
    return out->m_depth > 1e-3;
}

// The sum of squares, or infinity.
double RestOf(const Scaled& scaled, const Vector& h) {
    double sum = 0;
    for (int32_t i = 0; i < scaled.Count(); ++i) {
        Projected p{};
        if (!Project(h, scaled.OnBoard(i), &p)) {
            return INFINITY;
        }
        const Corner seen = scaled.Seen(i);
        sum += (seen.x - p.m_at.x) * (seen.x - p.m_at.x) + (seen.y - p.m_at.y) * (seen.y - p.m_at.y);
    }
    return std::isfinite(sum) ? sum : INFINITY;
}

void Accumulate(const Scaled& scaled, const Vector& h, NormalEquations<kUnknowns>* equations) {
    for (int32_t i = 0; i < scaled.Count(); ++i) {
        const Corner board = scaled.OnBoard(i);
        const Corner seen = scaled.Seen(i);
        Projected p{};
        Project(h, board, &p);
        const double u = p.m_plane.x;
        const double v = p.m_plane.y;
        const double square = u * u + v * v;
        const double uu = p.m_radial + 2 * h[8] * u * u;
        const double uv = 2 * h[8] * u * v;
        const double vv = p.m_radial + 2 * h[8] * v * v;
        const double x = board.x / p.m_depth;
        const double y = board.y / p.m_depth;
        const double one = 1 / p.m_depth;
        const Vector planeU = {x, y, one, 0, 0, 0, -u * x, -u * y, 0};
        const Vector planeV = {0, 0, 0, x, y, one, -v * x, -v * y, 0};
        Vector derivativeX{};
        Vector derivativeY{};
        for (size_t k = 0; k < kUnknowns; ++k) {
            derivativeX[k] = uu * planeU[k] + uv * planeV[k];
            derivativeY[k] = uv * planeU[k] + vv * planeV[k];
        }
        derivativeX[8] = u * square;
        derivativeY[8] = v * square;
        for (size_t a = 0; a < kUnknowns; ++a) {
            for (size_t b = 0; b <= a; ++b) {
                equations->m_products[a][b] +=
                    derivativeX[a] * derivativeX[b] + derivativeY[a] * derivativeY[b];
            }
            equations->m_right[a] +=
                derivativeX[a] * (seen.x - p.m_at.x) + derivativeY[a] * (seen.y - p.m_at.y);
        }
    }
}

// The scale and turn that fit best where nothing is tilted.
Vector Start(const Scaled& scaled) {
    double size = 0;
    Corner mean = {0, 0};
    Corner turned = {0, 0};
    for (int32_t i = 0; i < scaled.Count(); ++i) {
        const Corner board = scaled.OnBoard(i);
        const Corner seen = scaled.Seen(i);
        size += board.x * board.x + board.y * board.y;
        mean = {mean.x + seen.x / scaled.Count(), mean.y + seen.y / scaled.Count()};
        turned = {turned.x + board.x * seen.x + board.y * seen.y,
                  turned.y + board.x * seen.y - board.y * seen.x};
    }
    const double cosine = turned.x / size;
    const double sine = turned.y / size;
    return {cosine, -sine, mean.x, sine, cosine, mean.y, 0, 0, 0};
}

bool Fit(const Scaled& scaled, Vector* h) {
    *h = Start(scaled);
    double rest = RestOf(scaled, *h);
    double damping = 1e-3;
    for (int32_t round = 0; round < kRounds && rest < INFINITY; ++round) {
        NormalEquations<kUnknowns> equations{};
        Accumulate(scaled, *h, &equations);
        Vector step{};
        if (!Solve(equations, damping, &step)) {
            return false;
        }
        Vector next = *h;
        std::transform(next.begin(), next.end(), step.begin(), next.begin(), std::plus<>());
        const double nextRest = RestOf(scaled, next);
        if (!(nextRest <= rest)) {
            damping *= 10;
            continue;
        }
        const bool isSettled = rest - nextRest <= 1e-9 * rest;
        *h = next;
        rest = nextRest;
        damping = std::max(damping / 10, 1e-9);
        if (isSettled) {
            break;
        }
    }
    return rest < INFINITY;
}

Scaled ScaledTo(const Corner* corners, int32_t columns, int32_t rows, const Corner& middle) {
    double farthest = 1;
    for (int32_t i = 0; i < columns * rows; ++i) {
        farthest =
            std::max({farthest, std::fabs(corners[i].x - middle.x), std::fabs(corners[i].y - middle.y)});
    }
    return {corners, columns, rows, middle, farthest};
}

} // namespace

bool MeasureShape(const Corner* corners, int32_t columns, int32_t rows, const Corner& middle,
                  float* distances) {
    const Scaled scaled = ScaledTo(corners, columns, rows, middle);
    Vector h{};
    if (!Fit(scaled, &h)) {
        return false;
    }
    for (int32_t i = 0; i < scaled.Count(); ++i) {
        Projected p{};
        Project(h, scaled.OnBoard(i), &p);
        const Corner seen = scaled.Seen(i);
        distances[i] = static_cast<float>(std::hypot(seen.x - p.m_at.x, seen.y - p.m_at.y) * scaled.m_pixels);
    }
    return true;
}

bool FitHomography(const Corner* corners, int32_t columns, int32_t rows, const Corner& middle,
                   Matrix3* homography) {
    const Scaled scaled = ScaledTo(corners, columns, rows, middle);
    Vector h{};
    if (!Fit(scaled, &h)) {
        return false;
    }
    const double pixels = scaled.m_pixels;
    const double square = 2.0 / std::max(columns, rows);
    *homography = {pixels * square * h[0], pixels * square * h[1], pixels * h[2],
                   pixels * square * h[3], pixels * square * h[4], pixels * h[5],
                   square * h[6],          square * h[7],          1};
    return true;
}

} // namespace ox3d::vision
