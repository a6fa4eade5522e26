#include "generators/spectra.hpp"

#include <algorithm>
#include <cmath>

#include "frame/error_report.hpp"
#include "generators/random_numbers.hpp"

namespace nuv {
namespace {

/// 1, cond^(-1/(n-1)), ..., 1 / cond
template <Scalar T>
void spread_geometrically(Real<T> cond, Int n, T* d) {
  using R = Real<T>;
  d[0] = 1;
  for (Int i = 1; i < n; ++i) d[i] = std::pow(cond, negated(static_cast<R>(i) / static_cast<R>(n - 1)));
}

/// 1 ... 1 / cond in equal steps
template <Scalar T>
void spread_arithmetically(Real<T> cond, Int n, T* d) {
  using R = Real<T>;
  const R last = R(1) / cond;
  d[0] = 1;
  if (n == 1) return;
  const R step = (R(1) - last) / static_cast<R>(n - 1);
  for (Int i = 1; i < n; ++i) d[i] = static_cast<R>(n - 1 - i) * step + last;
}

/// Between 1 / cond and 1, with logarithms distributed uniformly.
template <Scalar T>
void spread_at_random(Real<T> cond, Int* iseed, Int n, T* d) {
  using R = Real<T>;
  const R log_of_smallest = std::log(R(1) / cond);
  for (Int i = 0; i < n; ++i) d[i] = std::exp(log_of_smallest * laran<R>(iseed));
}

template <Scalar T>
void randomise_signs(Int* iseed, Int n, T* d) {
  for (Int i = 0; i < n; ++i) {
    if constexpr (ComplexScalar<T>) {
      d[i] *= larnd<T>(5, iseed);
    } else {
      if (laran<T>(iseed) > T(0.5)) d[i] = negated(d[i]);
    }
  }
}

}  // namespace

template <Scalar T>
void latm1(Int mode, Real<T> cond, Int irsign, Int idist, Int* iseed, T* d, Int n, Int& info) {
  info = 0;
  if (n == 0) return;

  const bool spreads = mode_uses_cond(mode);
  if (mode < -6 || mode > 6) info = -1;
  else if (spreads && irsign != 0 && irsign != 1) info = -2;
  else if (spreads && !(cond >= 1)) info = -3;
  else if ((mode == 6 || mode == -6) && (idist < 1 || idist > 3)) info = -4;
  else if (n < 0) info = -7;
  if (info != 0) return report_bad_argument<T>("LATM1", info);
  if (mode == 0) return;

  switch (std::abs(mode)) {
    case 1:
      std::fill_n(d, n, T(Real<T>(1) / cond));
      d[0] = 1;
      break;
    case 2:
      std::fill_n(d, n, T(1));
      d[n - 1] = Real<T>(1) / cond;
      break;
    case 3:
      spread_geometrically(cond, n, d);
      break;
    case 4:
      spread_arithmetically(cond, n, d);
      break;
    case 5:
      spread_at_random(cond, iseed, n, d);
      break;
    default:
      larnv(idist, iseed, n, d);
  }
  if (spreads && irsign == 1) randomise_signs(iseed, n, d);
  if (mode < 0) std::reverse(d, d + n);
}

}  // namespace nuv

#include "generators/spectra.entries.inc"
