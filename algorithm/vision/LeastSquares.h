// The normal equations of a small fit.
// Relies on nothing.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace ox3d::vision {

template <size_t unknowns>
struct NormalEquations {
    std::array<std::array<double, unknowns>, unknowns> m_products; // the lower half
    std::array<double, unknowns> m_right;
};

// By Cholesky's decomposition, with each number of the diagonal larger by the share damping. False where an unknown is not
// determined.
template <size_t unknowns>
bool Solve(NormalEquations<unknowns> equations, double damping, std::array<double, unknowns>* solution) {
    auto& m = equations.m_products;
    for (size_t i = 0; i < unknowns; ++i) {
        const double least = 1e-12 * m[i][i];
        m[i][i] *= 1 + damping;
        for (size_t j = 0; j <= i; ++j) {
            double sum = m[i][j];
            for (size_t k = 0; k < j; ++k) {
                sum -= m[i][k] * m[j][k];
            }
            if (i == j && !(sum > least)) {
                return false;
            }
            m[i][j] = i == j ? std::sqrt(sum) : sum / m[j][j];
        }
    }
    auto& x = *solution;
    for (size_t i = 0; i < unknowns; ++i) {
        x[i] = equations.m_right[i];
        for (size_t k = 0; k < i; ++k) {
            x[i] -= m[i][k] * x[k];
        }
        x[i] /= m[i][i];
    }
    for (size_t i = unknowns; i-- > 0;) {
        for (size_t k = i + 1; k < unknowns; ++k) {
            x[i] -= m[k][i] * x[k];
        }
        x[i] /= m[i][i];
    }
    return true;
}

} // namespace ox3d::vision
