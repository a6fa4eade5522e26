#include "generalised/pair_two_by_two.hpp"

#include <cmath>

#include "environment/abs1.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "environment/magnitudes.hpp"
#include "environment/rotation.hpp"
#include "environment/two_by_two.hpp"
#include "nonsymmetric/eigenvalue_swap.hpp"

namespace nuv {
namespace {

/// A number as another one that is real times a unit.
template <Scalar T>
struct Polar {
  Real<T> real;
  T unit;
};

template <RealScalar R>
Polar<R> as_polar(R x) {
  return {x, 1};
}
template <ComplexScalar T>
Polar<T> as_polar(T x) {
  return {magnitude(x), x == T(0) ? T(1) : detail::direction(x)};
}

/// The part of a row of a triangle that comes from each of its rows, and the magnitudes of both.
template <Scalar T>
struct Weights {
  T first, second;
  Real<T> first_size, second_size;
};

/// A row of which Q is to take an element to zero.
template <Scalar T>
struct TurnedRow {
  T other, zeroed;
  Real<T> terms;  ///< sum of the magnitudes of the terms of that element

  Real<T> size() const { return abs1(other) + abs1(zeroed); }
};

/// One of the two matrices.
template <Scalar T>
struct Triangle {
  using R = Real<T>;

  R first;
  T beside;
  R last;

  /// Scales the matrix, where its products with the other one might leave the range: no rotation depends on that.
  void bring_into_range() {
    using Constants = Machine<R>;
    const R largest = larger_or_nan(larger_or_nan(std::abs(first), abs1(beside)), std::abs(last));
    if (!std::isfinite(largest) || largest == 0) return;
    for (R rest = largest; rest >= Constants::safmx2; rest *= Constants::safmn2) scale(Constants::safmn2);
    for (R rest = largest; rest <= Constants::safmn2; rest *= Constants::safmx2) scale(Constants::safmx2);
  }

  void scale(R factor) {
    first *= factor;
    beside *= factor;
    last *= factor;
  }

  /// The first row is turned of an upper triangle, and the second of a lower one.
  TurnedRow<T> turned(bool upper, const Weights<T>& weights) const {
    const R along = abs1(beside);
    if (upper) {
      return {.other = weights.first * first,
              .zeroed = weights.first * beside + weights.second * last,
              .terms = weights.first_size * along + weights.second_size * std::abs(last)};
    }
    return {.other = weights.second * last,
            .zeroed = weights.first * first + weights.second * beside,
            .terms = weights.first_size * std::abs(first) + weights.second_size * along};
  }
};

/// U or V, as the singular value decomposition of the product of A and the adjugate of B has it, up to the unit that
/// made this product real.
template <Scalar T>
struct Turn {
  Real<T> cosine, sine;
  T unit;

  bool is_small() const { return std::abs(cosine) >= std::abs(sine); }

  Weights<T> weights(bool from_first) const {
    const Real<T> cosine_size = std::abs(cosine), sine_size = std::abs(sine);
    if (from_first) return {T(cosine), unit * sine, cosine_size, sine_size};
    return {negated(conjugate(unit) * sine), T(cosine), sine_size, cosine_size};
  }

  /// With rows exchanged where the turn is by more than an eighth, since then the other row is what is turned.
  void store(bool exchanged, Real<T>& cs, T& sn) const {
    cs = exchanged ? sine : cosine;
    sn = exchanged ? unit * cosine : negated(unit * sine);
  }
};

/// Whether the zeroed element of the one row has lost no more to cancellation than that of the other.
template <Scalar T>
bool is_better(const TurnedRow<T>& row, const TurnedRow<T>& than) {
  const Real<T> size = row.size(), other_size = than.size();
  if (size == 0) return false;
  if (other_size == 0) return true;
  return row.terms / size <= than.terms / other_size;
}

template <Scalar T>
void rotate(bool upper, const TurnedRow<T>& row, Real<T>& csq, T& snq) {
  if (upper) {
    rotation_onto_first(negated(conjugate(row.other)), conjugate(row.zeroed), csq, snq);
  } else {
    rotation_onto_first(row.other, row.zeroed, csq, snq);
  }
}

}  // namespace

template <Scalar T>
void lags2(Logical upper_, Real<T> a1, T a2, Real<T> a3, Real<T> b1, T b2, Real<T> b3, Real<T>& csu, T& snu,
           Real<T>& csv, T& snv, Real<T>& csq, T& snq) {
  using R = Real<T>;
  const bool upper = is_true(upper_);
  Triangle<T> A{a1, a2, a3}, B{b1, b2, b3};
  A.bring_into_range();
  B.bring_into_range();

  const Polar<T> beside =
      as_polar(upper ? A.beside * B.first - A.first * B.beside : A.beside * B.last - A.last * B.beside);
  R smaller, larger, snr, csr, snl, csl;
  lasv2(A.first * B.last, beside.real, A.last * B.first, smaller, larger, snr, csr, snl, csl);
  const T unit = upper ? beside.unit : conjugate(beside.unit);
  const Turn<T> left{csl, snl, unit}, right{csr, snr, unit};
  const Turn<T>&of_a = upper ? left : right, &of_b = upper ? right : left;

  const bool exchanged = !(of_a.is_small() || of_b.is_small()), from_first = upper != exchanged;
  const TurnedRow<T> row_of_a = A.turned(upper, of_a.weights(from_first)),
                     row_of_b = B.turned(upper, of_b.weights(from_first));
  rotate(upper, is_better(row_of_a, row_of_b) ? row_of_a : row_of_b, csq, snq);
  of_a.store(exchanged, csu, snu);
  of_b.store(exchanged, csv, snv);
}

}  // namespace nuv

#include "generalised/pair_two_by_two.entries.inc"
