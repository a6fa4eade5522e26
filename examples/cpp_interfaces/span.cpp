// A parabola through eight measurements, in single precision, by a function that takes spans of its caller's data.
//
// The least squares problem is solved by gels; the largest error is one call of iamax away.
#include <array>
#include <cmath>
#include <cstdio>
#include <nuv/nuv.hpp>
#include <span>
#include <stdexcept>
#include <vector>

/// The coefficients c of c(0) + c(1) t + ... nearest to the measurements.
std::vector<float> fit(std::span<const float> times, std::span<const float> values, int coefficients) {
  const int m = static_cast<int>(times.size());
  std::vector<float> powers(times.size() * coefficients), solution(values.begin(), values.end());
  for (int j = 0; j < coefficients; ++j) {
    for (int i = 0; i < m; ++i) powers[i + j * m] = std::pow(times[i], static_cast<float>(j));
  }
  if (nuv::gels(nuv::Op::none, m, coefficients, 1, powers.data(), m, solution.data(), m) != 0) {
    throw std::runtime_error("measurements at the same time");
  }
  solution.resize(coefficients);
  return solution;
}

int main() {
  const std::array<float, 8> times{0, 1, 2, 3, 4, 5, 6, 7};
  const std::array<float, 8> heights{0.1F, 14.7F, 20.5F, 15.6F, 1.4F, -22.7F, -56.4F, -100.2F};
  const std::vector<float> c = fit(times, heights, 3);
  std::printf("height = %.2f + %.2f t %+.2f t^2\n", c[0], c[1], c[2]);

  std::array<float, 8> errors{};
  for (int i = 0; i < 8; ++i) errors[i] = heights[i] - (c[0] + times[i] * (c[1] + times[i] * c[2]));
  const int worst = nuv::iamax(8, errors.data(), 1) - 1;  // iamax counts from one
  std::printf("worst at t = %.0f\n", times[worst]);
}
