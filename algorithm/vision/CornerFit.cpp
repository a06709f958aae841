// A corner is where two straight, equally blurred edges cross: g + a s(d1 / w) s(d2 / w), d1 and d2 being the distances from
// the edges and s a step. Place, both angles, blur w, contrast a and mean g are fitted to the pixels around by least
// squares, which is as near as noise allows; nothing of it depends on how the board is tilted.
#include "algorithm/vision/CornerFit.h"

#include "algorithm/vision/LeastSquares.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace ox3d::vision {

namespace {

constexpr size_t kUnknowns = 7; // x, y, both angles, w, a, g

constexpr double kReach = 8;           // pixels around the corner
constexpr double kShareOfSquare = 0.6; // of the way to the next edges
constexpr double kMinBlur = 0.8;       // pixels from the middle of a step to its end
constexpr double kFirstBlur = 2;
constexpr int32_t kRounds = 10;
constexpr double kSettled = 1e-3; // pixels
constexpr double kMinContrast = 6;
constexpr double kMaxRest = 0.4; // of the contrast; where only one of four squares is dark it is 0.7
constexpr double kMaxMove = 0.4; // of the way to the next corner

// A step from -1 to 1 over 2 w, and its slope.
struct Step {
    float m_value, m_slope;
};
inline Step StepAt(float u) {
    const float t = std::min(std::max(u, -1.0F), 1.0F);
    const float square = t * t;
    const float rest = 1 - square;
    return {t * (15 - 10 * square + 3 * square * square) / 8, 15.0F / 8 * rest * rest};
}

struct Model {
    double m_x, m_y, m_angle1, m_angle2, m_blur, m_half, m_mean;
};

struct Window {
    int32_t m_left, m_right, m_top, m_bottom;
};

Window WindowAt(const GreyView& image, const Model& model) {
    const auto from = [](double at) { return static_cast<int32_t>(std::max(std::ceil(at - kReach), 0.0)); };
    const auto to = [](double at, int32_t size) {
        return static_cast<int32_t>(std::min(std::floor(at + kReach), static_cast<double>(size - 1)));
    };
    return {from(model.m_x), to(model.m_x, image.m_width), from(model.m_y), to(model.m_y, image.m_height)};
}

// Which pixels are nearer to this corner than to what lies beyond the next edges.
class CNear {
public:
    explicit CNear(const CornerGuess& guess) {
        const Corner& u = guess.m_alongRow;
        const Corner& v = guess.m_alongColumn;
        const double area = u.x * v.y - u.y * v.x;
        const double scale = 1 / (kShareOfSquare * area);
        m_a[0] = static_cast<float>(v.y * scale);
        m_a[1] = static_cast<float>(-v.x * scale);
        m_b[0] = static_cast<float>(-u.y * scale);
        m_b[1] = static_cast<float>(u.x * scale);
    }
    bool Has(float x, float y) const {
        return std::fabs(m_a[0] * x + m_a[1] * y) <= 1 && std::fabs(m_b[0] * x + m_b[1] * y) <= 1 &&
               x * x + y * y <= static_cast<float>(kReach * kReach);
    }

private:
    float m_a[2], m_b[2];
};

// Calls use(x, y, grey) for every pixel near the corner, x and y from its place.
template <class Use>
void ForEachPixel(const GreyView& image, const CNear& near, const Model& model, Use&& use) {
    const Window window = WindowAt(image, model);
    for (int32_t y = window.m_top; y <= window.m_bottom; ++y) {
        const auto fromY = static_cast<float>(y - model.m_y);
        for (int32_t x = window.m_left; x <= window.m_right; ++x) {
            const auto fromX = static_cast<float>(x - model.m_x);
            if (near.Has(fromX, fromY)) {
                use(fromX, fromY, static_cast<float>(image.At(x, y)));
            }
        }
    }
}

struct Edges {
    float m_cosine1, m_sine1, m_cosine2, m_sine2, m_perBlur;

    explicit Edges(const Model& model)
        : m_cosine1(static_cast<float>(std::cos(model.m_angle1))),
          m_sine1(static_cast<float>(std::sin(model.m_angle1))),
          m_cosine2(static_cast<float>(std::cos(model.m_angle2))),
          m_sine2(static_cast<float>(std::sin(model.m_angle2))),
          m_perBlur(static_cast<float>(1 / model.m_blur)) {}
    float Across1(float x, float y) const { return (m_cosine1 * y - m_sine1 * x) * m_perBlur; }
    float Across2(float x, float y) const { return (m_cosine2 * y - m_sine2 * x) * m_perBlur; }
};

// Contrast and mean that go with the rest, which they are linear in. False where too little is seen.
bool FitGreys(const GreyView& image, const CNear& near, Model* model) {
    const Edges edges(*model);
    double count = 0;
    double sumS = 0;
    double sumSS = 0;
    double sumG = 0;
    double sumSG = 0;
    ForEachPixel(image, near, *model, [&](float x, float y, float grey) {
        const float s = StepAt(edges.Across1(x, y)).m_value * StepAt(edges.Across2(x, y)).m_value;
        count += 1;
        sumS += s;
        sumSS += s * s;
        sumG += grey;
        sumSG += s * grey;
    });
    const double determinant = count * sumSS - sumS * sumS;
    if (count < 12 || !(determinant > 1e-3)) {
        return false;
    }
    model->m_half = (count * sumSG - sumS * sumG) / determinant;
    model->m_mean = (sumG - model->m_half * sumS) / count;
    return true;
}

// Of the squares of what the model leaves: half the second derivatives and half the slopes. Returns the root of their mean.
double Accumulate(const GreyView& image, const CNear& near, const Model& model,
                  NormalEquations<kUnknowns>* equations) {
    const Edges edges(model);
    const auto half = static_cast<float>(model.m_half);
    const auto mean = static_cast<float>(model.m_mean);
    std::array<float, kUnknowns*(kUnknowns + 1) / 2> products{};
    std::array<float, kUnknowns> weighted{};
    float squares = 0;
    ForEachPixel(image, near, model, [&](float x, float y, float grey) {
        const float u1 = edges.Across1(x, y);
        const float u2 = edges.Across2(x, y);
        const Step s1 = StepAt(u1);
        const Step s2 = StepAt(u2);
        const float by1 = half * s1.m_slope * s2.m_value * edges.m_perBlur;
        const float by2 = half * s2.m_slope * s1.m_value * edges.m_perBlur;
        const std::array<float, kUnknowns> derivative = {by1 * edges.m_sine1 + by2 * edges.m_sine2,
                                                         -by1 * edges.m_cosine1 - by2 * edges.m_cosine2,
                                                         -by1 * (edges.m_cosine1 * x + edges.m_sine1 * y),
                                                         -by2 * (edges.m_cosine2 * x + edges.m_sine2 * y),
                                                         -by1 * u1 - by2 * u2,
                                                         s1.m_value * s2.m_value,
                                                         1};
        const float rest = grey - mean - half * derivative[5];
        squares += rest * rest;
        size_t at = 0;
        for (size_t i = 0; i < kUnknowns; ++i) {
            for (size_t j = 0; j <= i; ++j) {
                products[at++] += derivative[i] * derivative[j];
            }
            weighted[i] += derivative[i] * rest;
        }
    });
    size_t at = 0;
    for (size_t i = 0; i < kUnknowns; ++i) {
        for (size_t j = 0; j <= i; ++j) {
            equations->m_products[i][j] = products[at++];
        }
        equations->m_right[i] = weighted[i];
    }
    return std::sqrt(squares / products.back()); // the last one counts the pixels
}

} // namespace

bool FitCorner(const GreyView& image, const CornerGuess& guess, FittedCorner* fitted) {
    const Corner& u = guess.m_alongRow;
    const Corner& v = guess.m_alongColumn;
    const double shorter = std::min(std::hypot(u.x, u.y), std::hypot(v.x, v.y));
    const double area = std::fabs(u.x * v.y - u.y * v.x);
    if (!(area > 0.1 * std::hypot(u.x, u.y) * std::hypot(v.x, v.y)) || !std::isfinite(area)) {
        return false;
    }
    const CNear near(guess);
    Model model = {guess.m_at.x, guess.m_at.y, std::atan2(u.y, u.x), std::atan2(v.y, v.x), kFirstBlur, 0, 0};
    const double mostBlur = std::max(kFirstBlur, shorter / 2);
    if (!FitGreys(image, near, &model)) {
        return false;
    }
    const bool isPositive = model.m_half > 0;
    bool isSettled = false;
    double rest = 0;
    for (int32_t round = 0; round < kRounds && !isSettled; ++round) {
        NormalEquations<kUnknowns> equations{};
        std::array<double, kUnknowns> step{};
        rest = Accumulate(image, near, model, &equations);
        if (!Solve(equations, 1e-6, &step)) {
            return false;
        }
        const double length = std::hypot(step[0], step[1]);
        const double share = length > 1 ? 1 / length : 1; // a pixel at a time
        model.m_x += share * step[0];
        model.m_y += share * step[1];
        model.m_angle1 += share * std::clamp(step[2], -0.2, 0.2);
        model.m_angle2 += share * std::clamp(step[3], -0.2, 0.2);
        model.m_blur = std::clamp(model.m_blur + share * std::clamp(step[4], -1.0, 1.0), kMinBlur, mostBlur);
        model.m_half += share * step[5];
        model.m_mean += share * step[6];
        const double moved = std::hypot(model.m_x - guess.m_at.x, model.m_y - guess.m_at.y);
        if (!(moved <= kMaxMove * shorter)) {
            return false;
        }
        isSettled = length < kSettled;
    }
    *fitted = {{model.m_x, model.m_y}, 2 * std::fabs(model.m_half)};
    return fitted->m_contrast >= kMinContrast && rest <= kMaxRest * fitted->m_contrast &&
           (model.m_half > 0) == isPositive;
}

} // namespace ox3d::vision
