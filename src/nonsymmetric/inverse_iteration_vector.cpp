#include "nonsymmetric/inverse_iteration_vector.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "base/quotient.hpp"
#include "blas.hpp"
#include "environment/abs1.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "environment/sums_of_squares.hpp"
#include "solvers/scaled_triangular.hpp"

namespace nuv {
namespace {

/// An upper triangle where it stands.
template <Scalar T>
struct PlainTriangle {
  using Element = T;

  Matrix<T> B;

  T operator()(Int i, Int j) const { return B(i, j); }
  void set(Int i, Int j, T value) const { B(i, j) = value; }
};

/// A complex upper triangle in real storage with a row more: real parts where they belong, and the imaginary part of
/// (i, j) in row j + 1 of column i.
template <RealScalar R>
struct FoldedTriangle {
  using Element = std::complex<R>;

  Matrix<R> B;

  Element operator()(Int i, Int j) const { return {B(i, j), B(j + 1, i)}; }
  void set(Int i, Int j, Element value) const {
    B(i, j) = value.real();
    B(j + 1, i) = value.imag();
  }
};

/// Makes a pivot that is too small the least that is allowed.
template <Scalar E>
E raised(E pivot, Real<E> least) {
  return abs1(pivot) < least ? E(least) : pivot;
}

/// Factors H - w I, whose upper triangle is in U: the triangular factor is left there, the multipliers are not kept.
///
/// right   L U with exchanges of rows, from the first row down; else U L with exchanges of columns, from the last one
///         on. A line is a row or a column then.
template <class Triangle, Scalar T>
void factor(bool right, Int n, Matrix<const T> H, const Triangle& U, Real<T> least) {
  using E = typename Triangle::Element;
  const auto at = [&](Int line, Int k) { return right ? U(line, k) : U(k, line); };
  const auto set = [&](Int line, Int k, E value) { right ? U.set(line, k, value) : U.set(k, line, value); };
  for (Int step = 1; step < n; ++step) {
    const Int line = right ? step : n + 1 - step, next = right ? line + 1 : line - 1;
    const Int first = right ? next : 1, last = right ? n : next;
    const E diagonal = U(line, line), subdiagonal = right ? H(next, line) : H(line, next);
    if (abs1(diagonal) < abs1(subdiagonal)) {
      const E pivot = raised(subdiagonal, least), multiplier = quotient(diagonal, pivot);
      U.set(line, line, pivot);
      for (Int k = first; k <= last; ++k) {
        const E moved = at(next, k);
        set(next, k, at(line, k) - multiplier * moved);
        set(line, k, moved);
      }
    } else {
      const E pivot = raised(diagonal, least), multiplier = quotient(subdiagonal, pivot);
      U.set(line, line, pivot);
      if (multiplier == E(0)) continue;
      for (Int k = first; k <= last; ++k) set(next, k, at(next, k) - multiplier * at(line, k));
    }
  }
  const Int end = right ? n : 1;
  U.set(end, end, raised(U(end, end), least));
}

/// The vector of an iteration: n elements, or the real and the imaginary parts of n complex ones of a real matrix.
template <Scalar T>
struct IteratedVector {
  using R = Real<T>;

  Int n, count;
  T* parts[2];

  void scale(R factor) const {
    for (Int p = 0; p < count; ++p) blas::scal(n, factor, Vector{parts[p], 1});
  }

  R length() const {
    R length = 0;
    for (Int p = 0; p < count; ++p) length = lapy2(length, blas::nrm2(n, {parts[p], 1}));
    return length;
  }

  R sum() const {
    R sum = 0;
    for (Int p = 0; p < count; ++p) sum += blas::asum(n, {parts[p], 1});
    return sum;
  }

  R largest() const {
    R largest = 0;
    for (Int i = 0; i < n; ++i) {
      largest = larger_or_nan(largest, abs1(parts[0][i]) + (count == 2 ? abs1(parts[1][i]) : R(0)));
    }
    return largest;
  }

  void fill(R first, R others) const {
    for (Int p = 0; p < count; ++p) std::fill_n(parts[p], n, T(p == 0 ? others : R(0)));
    parts[0][0] = T(first);
  }

  /// Makes the largest element one, also of what a failed iteration leaves: that may be hardly a number, so that its
  /// reciprocal would overflow, or zero.
  void normalise() const {
    R size = largest();
    if (size == 0) return fill(1, 1);
    if (size < Machine<R>::safe_min) {
      scale(1 / Machine<R>::safe_min);
      size = largest();
    }
    scale(1 / size);
  }
};

/// Solves with the triangular factor of a complex matrix that is folded into real storage, without overflow.
template <RealScalar R>
class FoldedSubstitution {
  using C = std::complex<R>;

 public:
  /// right   with U, else with U^T
  /// sums    n elements, set to sums of the magnitudes beside the diagonal in each row of U, or column
  FoldedSubstitution(bool right, const FoldedTriangle<R>& U, const IteratedVector<R>& x, R* sums, R smallest, R largest)
      : right_(right), U_(U), x_(x), sums_(sums), smallest_(smallest), largest_(largest) {
    for (Int i = 1; i <= x.n; ++i) {
      sums[i - 1] = 0;
      for (Int k = first_beside(i); k <= last_beside(i); ++k) sums[i - 1] += abs1(element(i, k));
    }
  }

  /// Gives the factor of the right-hand side: zero if a diagonal element is zero and the solution one of the
  /// homogeneous system.
  R solve() {
    scale_ = 1;
    allow(1);
    for (Int step = 1; step <= x_.n; ++step) {
      const Int i = right_ ? x_.n + 1 - step : step;
      if (sums_[i - 1] > limit_of_sum_) {
        shrink(1 / most_);
        allow(1);
      }
      C y = unknown(i);
      for (Int k = first_beside(i); k <= last_beside(i); ++k) y -= element(i, k) * unknown(k);
      divide_by_diagonal(i, y);
    }
    return scale_;
  }

 private:
  Int first_beside(Int i) const { return right_ ? i + 1 : 1; }
  Int last_beside(Int i) const { return right_ ? x_.n : i - 1; }
  C element(Int i, Int k) const { return right_ ? U_(i, k) : U_(k, i); }
  C unknown(Int i) const { return {x_.parts[0][i - 1], x_.parts[1][i - 1]}; }
  void set_unknown(Int i, C value) const {
    x_.parts[0][i - 1] = value.real();
    x_.parts[1][i - 1] = value.imag();
  }

  void shrink(R factor) {
    x_.scale(factor);
    scale_ *= factor;
    most_ *= factor;
  }

  /// Sets the size of the largest unknown, and the sum with which it may be multiplied.
  void allow(R most) {
    most_ = most;
    limit_of_sum_ = largest_ / most;
  }

  void divide_by_diagonal(Int i, C y) {
    const C diagonal = U_(i, i);
    const R size = abs1(diagonal), limit = size * largest_;
    if (size == 0) {
      x_.fill(0, 0);
      set_unknown(i, C(1, 1));
      scale_ = 0;
      return allow(1);
    }
    if (size < 1 && abs1(y) > limit) {
      // The quotient of one and what is hardly a number would overflow.
      const R factor = (size > smallest_ ? R(1) : limit) / abs1(y);
      shrink(factor);
      y *= factor;
    }
    const C found = quotient(y, diagonal);
    set_unknown(i, found);
    allow(larger_or_nan(most_, abs1(found)));
  }

  bool right_;
  FoldedTriangle<R> U_;
  IteratedVector<R> x_;
  const R* sums_;
  R smallest_, largest_;
  R scale_ = 1, most_ = 1, limit_of_sum_ = 1;
};

/// Iterates until the vector has grown enough in a step, each time from another start; solve() solves with the factor
/// and gives that of the right-hand side. False if that takes too many iterations.
template <Scalar T, class Solve>
bool iterate(const IteratedVector<T>& v, bool starts_anew, Real<T> eps3, Real<T> smallest, Solve solve) {
  using R = Real<T>;
  const R root = std::sqrt(R(v.n)), enough = R(0.1) / root;
  if (starts_anew) {
    v.fill(eps3, eps3);
  } else {
    const R least_length = std::max(R(1), eps3 * root) * smallest;
    v.scale(eps3 * root / std::max(v.length(), least_length));
  }
  for (Int its = 1; its <= v.n; ++its) {
    const R scale = solve(), sum = v.sum();
    if (sum >= enough * scale) return true;
    // What is no number in the factor stays there.
    if (sum != sum && (starts_anew || its > 1)) return false;
    v.fill(eps3, eps3 / (root + 1));
    v.parts[0][v.n - its] -= eps3 * root;
  }
  return false;
}

/// A vector of a matrix and a value of its own kind: all are complex, or all are real.
template <Scalar T>
Int find_vector(bool right, bool starts_anew, Int n, Matrix<const T> H, T w, T* v, Matrix<T> B, Real<T>* sums,
                Real<T> eps3, Real<T> smallest) {
  for (Int j = 1; j <= n; ++j) {
    blas::copy(j - 1, column(H, 1, j), column(B, 1, j));
    B(j, j) = H(j, j) - w;
  }
  factor(right, n, H, PlainTriangle<T>{B}, eps3);
  const IteratedVector<T> vector{n, 1, {v, nullptr}};
  char normin = 'N';
  const bool converged = iterate(vector, starts_anew, eps3, smallest, [&] {
    Real<T> scale;
    Int info;
    latrs('U', right ? 'N' : 'C', 'N', normin, n, B.data, B.ld, v, scale, sums, info);
    normin = 'Y';
    return scale;
  });
  vector.normalise();
  return converged ? 0 : 1;
}

/// The complex vector of a real matrix. On the left it belongs to the conjugate value of the transposed matrix.
template <RealScalar T>
Int find_complex_vector(bool right, bool starts_anew, Matrix<const T> H, T wr, T wi, const IteratedVector<T>& v,
                        Matrix<T> B, T* sums, T eps3, T smallest, T largest) {
  using C = std::complex<T>;
  const FoldedTriangle<T> U{B};
  for (Int j = 1; j <= v.n; ++j) {
    for (Int i = 1; i < j; ++i) U.set(i, j, C(H(i, j)));
    U.set(j, j, C(H(j, j) - wr, right ? negated(wi) : wi));
  }
  factor(right, v.n, H, U, eps3);
  FoldedSubstitution<T> substitution(right, U, v, sums, smallest, largest);
  const bool converged = iterate(v, starts_anew, eps3, smallest, [&] { return substitution.solve(); });
  v.normalise();
  return converged ? 0 : 1;
}

}  // namespace

template <RealScalar T>
void laein(Logical rightv, Logical noinit, Int n, const T* h, Int ldh, T wr, T wi, T* vr, T* vi, T* b, Int ldb, T* work,
           T eps3, T smlnum, T bignum, Int& info) {
  info = 0;
  if (n == 0) return;
  const bool right = is_true(rightv), starts_anew = is_true(noinit);
  const Matrix H{h, ldh};
  const Matrix B{b, ldb};
  if (wi == 0) {
    info = find_vector<T>(right, starts_anew, n, H, wr, vr, B, work, eps3, smlnum);
  } else {
    info = find_complex_vector<T>(right, starts_anew, H, wr, wi, {n, 2, {vr, vi}}, B, work, eps3, smlnum, bignum);
  }
}

template <ComplexScalar T>
void laein(Logical rightv, Logical noinit, Int n, const T* h, Int ldh, T w, T* v, T* b, Int ldb, Real<T>* rwork,
           Real<T> eps3, Real<T> smlnum, Int& info) {
  info = 0;
  if (n == 0) return;
  const bool right = is_true(rightv), starts_anew = is_true(noinit);
  info = find_vector<T>(right, starts_anew, n, {h, ldh}, w, v, {b, ldb}, rwork, eps3, smlnum);
}

}  // namespace nuv

#include "nonsymmetric/inverse_iteration_vector.entries.inc"
