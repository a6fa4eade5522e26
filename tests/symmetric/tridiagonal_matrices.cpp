#include "symmetric/tridiagonal_matrices.hpp"

#include <cmath>
#include <limits>

#include "support/random.hpp"

namespace nuv::test {
namespace {

template <RealScalar R>
Tridiagonal<R> with_elements(Int n, auto diagonal, auto beside) {
  Tridiagonal<R> result;
  for (Int i = 0; i < n; ++i) result.d.push_back(R(diagonal(i)));
  for (Int i = 0; i + 1 < n; ++i) result.e.push_back(R(beside(i)));
  return result;
}

/// Of values value(t), with t from 0 to 1.
template <RealScalar R>
Tridiagonal<R> with_spectrum(Int n, auto value) {
  std::vector<WideReal<R>> values;
  for (Int i = 0; i < n; ++i) values.push_back(value(WideReal<R>(i) / WideReal<R>(std::max(n - 1, 1))));
  return tridiagonal_with_values<R>(values);
}

template <RealScalar R>
Tridiagonal<R> scaled(Tridiagonal<R> matrix, R factor) {
  for (R& x : matrix.d) x *= factor;
  for (R& x : matrix.e) x *= factor;
  return matrix;
}

}  // namespace

template <RealScalar R>
Tridiagonal<R> tridiagonal_with_values(const std::vector<WideReal<R>>& values) {
  using W = WideReal<R>;
  Random random(7);
  const std::size_t n = values.size();
  std::vector<W> alpha(n), beta(n);  // the diagonal, and the squares of what stands beside it, from beta[1] on
  const auto weight = [&] { return W(1.5) + W(random.real()); };
  for (std::size_t count = 0; count < n; ++count) {
    // Another node joins a matrix of order count.
    W pi = weight(), gamma = 1, sigma = 0, t = 0;
    const W lambda = values[count];
    alpha[count] = lambda;
    for (std::size_t k = 0; k <= count; ++k) {
      const W rho = beta[k] + pi, next_beta = gamma * rho, last_sigma = sigma;
      gamma = rho > 0 ? beta[k] / rho : W(1);
      sigma = rho > 0 ? pi / rho : W(0);
      const W next_t = sigma * (alpha[k] - lambda) - gamma * t;
      alpha[k] -= next_t - t;
      t = next_t;
      pi = sigma > 0 ? t * t / sigma : last_sigma * beta[k];
      beta[k] = next_beta;
    }
  }
  return with_elements<R>(
      Int(n), [&](Int i) { return alpha[std::size_t(i)]; }, [&](Int i) { return std::sqrt(beta[std::size_t(i) + 1]); });
}

template <RealScalar R>
Tridiagonal<R> random_tridiagonal(Int n) {
  Random random(19);
  const auto element = [&](Int) { return random.scalar<R>(); };
  return with_elements<R>(n, element, element);
}

template <RealScalar R>
Tridiagonal<R> one_two_one(Int n) {
  return with_elements<R>(
      n, [](Int) { return 2; }, [](Int) { return 1; });
}

template <RealScalar R>
Tridiagonal<R> glued_wilkinson(Int n, R glue) {
  constexpr Int order = 21;
  return with_elements<R>(
      n, [](Int i) { return std::abs(i % order - order / 2); },
      [glue](Int i) { return (i + 1) % order == 0 ? glue : R(1); });
}

template <RealScalar R>
std::vector<DescribedTridiagonal<R>> described_tridiagonals(Int n) {
  using W = WideReal<R>;
  constexpr W eps = W(epsilon<R>);
  const R tiny = std::numeric_limits<R>::min() / epsilon<R>, huge = std::numeric_limits<R>::max() * epsilon<R>;
  const auto none = [](Int) { return 0; };
  const auto graded = [](Int i) { return std::pow(R(0.7), R(i % 60)); };
  const auto graded_from_the_end = [n, graded](Int i) { return graded(n - 1 - i); };
  return {
      {"random", random_tridiagonal<R>(n)},
      {"1-2-1", one_two_one<R>(n)},
      {"Wilkinson", with_elements<R>(
                        n, [n](Int i) { return std::abs(2 * i - n + 1) / R(2); }, [](Int) { return 1; })},
      {"glued Wilkinson", glued_wilkinson<R>(n, std::sqrt(epsilon<R>))},
      {"Wilkinson glued closely", glued_wilkinson<R>(n, 10 * epsilon<R>)},
      {"arithmetic", with_spectrum<R>(n, [](W t) { return 1 - t * (1 - eps); })},
      {"geometric", with_spectrum<R>(n, [](W t) { return std::pow(eps, t); })},
      {"of both signs", with_spectrum<R>(n, [](W t) { return t < W(0.5) ? -1 - t : 1 + t; })},
      {"cluster at 1", with_spectrum<R>(n, [](W t) { return t == 1 ? eps : 1 + t * eps; })},
      {"cluster at eps", with_spectrum<R>(n, [](W t) { return t == 0 ? 1 : eps * (1 + t); })},
      {"half zeros", with_spectrum<R>(n, [](W t) { return t < W(0.5) ? 0 : t; })},
      {"all equal", with_elements<R>(
                        n, [](Int) { return 3; }, none)},
      {"zero", with_elements<R>(n, none, none)},
      {"diagonal", with_elements<R>(
                       n, [](Int i) { return (i * 7) % 11 - 5; }, none)},
      {"no diagonal", with_elements<R>(n, none, [](Int i) { return 1 + i % 3; })},
      {"2 by 2 blocks", with_elements<R>(
                            n, [](Int i) { return i % 5; }, [](Int i) { return (i + 1) % 2; })},
      {"2 by 2 blocks after one", with_elements<R>(
                                      n, [](Int i) { return i % 3; }, [](Int i) { return i % 2; })},
      {"graded", with_elements<R>(n, graded, [&](Int i) { return graded(i) / 3; })},
      {"graded from the end",
       with_elements<R>(n, graded_from_the_end, [&](Int i) { return graded_from_the_end(i) / 3; })},
      {"of tiny norm", scaled(random_tridiagonal<R>(n), tiny)},
      {"of huge norm", scaled(random_tridiagonal<R>(n), huge)},
  };
}

template <Scalar T>
WideMatrix<T> wide_dense(const Tridiagonal<Real<T>>& matrix) {
  const Eigen::Index n = matrix.order();
  WideMatrix<T> result = WideMatrix<T>::Zero(n, n);
  for (Eigen::Index i = 0; i < n; ++i) {
    result(i, i) = Wide<T>(matrix.d[std::size_t(i)]);
    if (i + 1 < n) result(i, i + 1) = result(i + 1, i) = Wide<T>(matrix.e[std::size_t(i)]);
  }
  return result;
}

#define NUV_INSTANTIATE(R)                                                             \
  template Tridiagonal<R> tridiagonal_with_values<R>(const std::vector<WideReal<R>>&); \
  template Tridiagonal<R> random_tridiagonal<R>(Int);                                  \
  template Tridiagonal<R> one_two_one<R>(Int);                                         \
  template Tridiagonal<R> glued_wilkinson<R>(Int, R);                                  \
  template std::vector<DescribedTridiagonal<R>> described_tridiagonals<R>(Int);        \
  template WideMatrix<R> wide_dense<R>(const Tridiagonal<R>&);                         \
  template WideMatrix<std::complex<R>> wide_dense<std::complex<R>>(const Tridiagonal<R>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)

}  // namespace nuv::test
