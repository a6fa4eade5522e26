#include <cmath>
#include <utility>

#include "kernels/level1/multiplier.hpp"
#include "kernels/level1/walks.hpp"

// Modified Givens rotations: C. L. Lawson, R. J. Hanson, D. R. Kincaid and F. T. Krogh, Basic Linear Algebra
// Subprograms for Fortran Usage, ACM TOMS 5 (1979).

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// H of the rotation (x, y) := H (x, y). In memory it takes five numbers: which elements count, and h11, h21, h12, h22.
template <RealScalar T>
struct ModifiedRotation {
  enum Form { identity = -2, full = -1, unit_diagonal = 0, unit_off_diagonal = 1 };

  T h11 = 1, h21 = 0, h12 = 0, h22 = 1;

  static Form form_of(const T* param) {
    if (param[0] == T(identity)) return identity;
    return param[0] < 0 ? full : param[0] == 0 ? unit_diagonal : unit_off_diagonal;
  }

  /// From the five numbers, of which those that the form implies are not read.
  static ModifiedRotation from(const T* param) {
    switch (form_of(param)) {
      case identity:
        return {};
      case unit_diagonal:
        return {1, param[2], param[3], 1};
      case unit_off_diagonal:
        return {param[1], -1, 1, param[4]};
      default:
        return {param[1], param[2], param[3], param[4]};
    }
  }

  /// To the five numbers, of which those that the form implies are not written.
  void store(Form form, T* param) const {
    param[0] = T(form);
    if (form == full || form == unit_off_diagonal) param[1] = h11, param[4] = h22;
    if (form == full || form == unit_diagonal) param[2] = h21, param[3] = h12;
  }
};

/// The weights d1 and d2 stay between gamma^-2 and gamma^2.
template <RealScalar T>
inline constexpr T gamma = 4096;

/// Brings a weight into that range, zero apart. Its square root belongs to a row of H: gives what to multiply the row
/// by.
template <RealScalar T>
T rescale(T& weight) {
  constexpr T limit = gamma<T> * gamma<T>;
  T factor = 1;
  while (weight != 0 && std::abs(weight) <= 1 / limit) {
    weight *= limit;
    factor /= gamma<T>;
  }
  while (std::isfinite(weight) && std::abs(weight) >= limit) {
    weight /= limit;
    factor *= gamma<T>;
  }
  return factor;
}

}  // namespace

/// Applies the modified rotation that param holds to n pairs.
template <RealScalar T>
[[gnu::always_inline]] inline void rotm(Int n, T* x, Int incx, T* y, Int incy, const T* param) {
  using Rotation = ModifiedRotation<T>;
  if (n < 1 || Rotation::form_of(param) == Rotation::identity) return;
  const Rotation h = Rotation::from(param);
  const Multiplier<T> by_h11(h.h11), by_h21(h.h21), by_h12(h.h12), by_h22(h.h22);
  for_each_pair(n, x, incx, y, incy, [=](auto& xi, auto& yi) {
    const auto rotated = by_h12.times_plus(yi, by_h11.times(xi));
    yi = by_h21.times_plus(xi, by_h22.times(yi));
    xi = rotated;
  });
}

/// Constructs the modified rotation that brings the second element of (sqrt(d1) x1, sqrt(d2) y1) to zero. d1, d2 and x1
/// become those of the rotated vector, and param holds the rotation; negative weights without one give zeros
/// throughout.
template <RealScalar T>
[[gnu::always_inline]] inline void rotmg(T& d1, T& d2, T& x1, T y1, T* param) {
  using Rotation = ModifiedRotation<T>;
  const auto give_up = [&] {
    d1 = d2 = x1 = 0;
    Rotation{0, 0, 0, 0}.store(Rotation::full, param);
  };
  if (d1 < 0) return give_up();
  const T p2 = d2 * y1;
  if (p2 == 0) {
    param[0] = T(Rotation::identity);
    return;
  }
  const T p1 = d1 * x1, q1 = p1 * x1, q2 = p2 * y1;

  Rotation h;
  auto form = Rotation::unit_diagonal;
  if (std::abs(q1) > std::abs(q2)) {
    h = {1, -y1 / x1, p2 / p1, 1};
    const T u = 1 - h.h12 * h.h21;
    if (!(u > 0)) return give_up();
    d1 /= u;
    d2 /= u;
    x1 *= u;
  } else {
    if (q2 < 0) return give_up();
    form = Rotation::unit_off_diagonal;
    h = {p1 / p2, -1, 1, x1 / y1};
    const T u = 1 + h.h11 * h.h22;
    d1 = std::exchange(d2, d1 / u) / u;
    x1 = y1 * u;
  }

  const T row1 = rescale(d1), row2 = rescale(d2);
  if (row1 != 1 || row2 != 1) form = Rotation::full;
  x1 *= row1;
  h = {h.h11 * row1, h.h21 * row2, h.h12 * row1, h.h22 * row2};
  h.store(form, param);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/rotm.entries.inc"
