#include "symmetric/inverse_iteration.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "environment/service_math.hpp"
#include "frame/error_report.hpp"
#include "generators/random_numbers.hpp"

namespace nuv {

template <RealScalar T>
void lagtf(Int n, T* a, T lambda, T* b, T* c, T tol, T* d, Int* in, Int& info) {
  info = n < 0 ? -1 : 0;
  if (info != 0) return report_bad_argument<T>("LAGTF", info);
  if (n == 0) return;
  Int& first_negligible = in[n - 1];
  first_negligible = 0;
  a[0] -= lambda;
  if (n == 1) {
    if (a[0] == 0) first_negligible = 1;
    return;
  }
  const T least = std::max(tol, Machine<T>::eps);
  T size = std::abs(a[0]) + std::abs(b[0]);  // of the row that is eliminated with, as it was in T - lambda I
  for (Int k = 0; k < n - 1; ++k) {
    const bool has_second = k < n - 2;
    a[k + 1] -= lambda;
    const T size_below = std::abs(c[k]) + std::abs(a[k + 1]) + (has_second ? std::abs(b[k + 1]) : T(0));
    const T pivot = a[k] == 0 ? T(0) : std::abs(a[k]) / size;
    const T pivot_below = c[k] == 0 ? T(0) : std::abs(c[k]) / size_below;
    const bool exchange = pivot_below > pivot;
    in[k] = exchange ? 1 : 0;
    if (exchange) {
      const T factor = a[k] / c[k], diagonal = a[k + 1];
      a[k] = c[k];
      a[k + 1] = b[k] - factor * diagonal;
      b[k] = diagonal;
      c[k] = factor;
      if (has_second) {
        d[k] = b[k + 1];
        b[k + 1] = negated(factor) * d[k];
      }
    } else {
      size = size_below;
      if (c[k] != 0) {
        c[k] /= a[k];
        a[k + 1] -= c[k] * b[k];
      }
      if (has_second) d[k] = 0;
    }
    if (std::max(pivot, pivot_below) <= least && first_negligible == 0) first_negligible = k + 1;
  }
  if (std::abs(a[n - 1]) <= size * least && first_negligible == 0) first_negligible = n;
}

namespace {

/// A quotient of two numbers whose divisor may be scaled up with the dividend, so that it is found where it is in
/// range.
template <RealScalar T>
struct Quotient {
  T dividend, divisor;

  /// False if it would overflow.
  bool bring_into_range() {
    constexpr T small = Machine<T>::safe_min, large = 1 / small;
    const T size = std::abs(divisor);
    if (size >= 1) return true;
    if (size < small) {
      if (size == 0 || std::abs(dividend) * small > size) return false;
      dividend *= large;
      divisor *= large;
      return true;
    }
    return !(std::abs(dividend) > size * large);
  }
};

template <RealScalar T>
struct ShiftedFactors {
  Int n;
  const T *a, *b, *c, *d;
  const Int* in;
  T perturbation;  ///< zero: none

  /// y := y(k) / u(k, k); false if that would overflow and nothing is to be perturbed.
  bool divide(Int k, T& y) const {
    Quotient<T> ratio{y, a[k]};
    T shift = sign(perturbation, a[k]);
    while (!ratio.bring_into_range()) {
      if (perturbation == 0) return false;
      ratio.divisor += shift;
      shift *= 2;
    }
    y = ratio.dividend / ratio.divisor;
    return true;
  }

  /// y := (P L)^-1 y
  void eliminate(T* y) const {
    for (Int k = 1; k < n; ++k) {
      if (in[k - 1] != 0) std::swap(y[k - 1], y[k]);
      y[k] -= c[k - 1] * y[k - 1];
    }
  }

  /// y := (P L)^-T y
  void eliminate_transposed(T* y) const {
    for (Int k = n - 1; k >= 1; --k) {
      y[k - 1] -= c[k - 1] * y[k];
      if (in[k - 1] != 0) std::swap(y[k - 1], y[k]);
    }
  }

  /// y := U^-1 y; gives the number of the element that would overflow, or zero.
  Int substitute(T* y) const {
    for (Int k = n - 1; k >= 0; --k) {
      if (k < n - 1) y[k] -= b[k] * y[k + 1];
      if (k < n - 2) y[k] -= d[k] * y[k + 2];
      if (!divide(k, y[k])) return k + 1;
    }
    return 0;
  }

  /// y := U^-T y in the same way.
  Int substitute_transposed(T* y) const {
    for (Int k = 0; k < n; ++k) {
      if (k > 0) y[k] -= b[k - 1] * y[k - 1];
      if (k > 1) y[k] -= d[k - 2] * y[k - 2];
      if (!divide(k, y[k])) return k + 1;
    }
    return 0;
  }

  T largest() const {
    T largest = std::abs(a[0]);
    for (Int k = 1; k < n; ++k) {
      largest = std::max({largest, std::abs(a[k]), std::abs(b[k - 1])});
      if (k > 1) largest = std::max(largest, std::abs(d[k - 2]));
    }
    return largest;
  }
};

}  // namespace

template <RealScalar T>
void lagts(Int job, Int n, const T* a, const T* b, const T* c, const T* d, const Int* in, T* y, T& tol, Int& info) {
  info = 0;
  if (job == 0 || job < -2 || job > 2) info = -1;
  else if (n < 0) info = -2;
  if (info != 0) return report_bad_argument<T>("LAGTS", info);
  if (n == 0) return;
  ShiftedFactors<T> F{n, a, b, c, d, in, 0};
  if (job < 0) {
    if (tol <= 0) {
      tol = F.largest() * Machine<T>::eps;
      if (tol == 0) tol = Machine<T>::eps;
    }
    F.perturbation = tol;
  }
  if (job == 1 || job == -1) {
    F.eliminate(y);
    info = F.substitute(y);
  } else {
    info = F.substitute_transposed(y);
    if (info == 0) F.eliminate_transposed(y);
  }
}

namespace {

/// Iterations for a vector, and those that follow once it has grown enough.
constexpr Int most_iterations = 5, extra_iterations = 2;

/// A column of eigenvectors as its real parts, all that it has.
template <Scalar T>
Vector<Real<T>> real_column(Matrix<T> Z, Int i, Int j) {
  return {reinterpret_cast<Real<T>*>(Z.at(i, j)), ComplexScalar<T> ? 2 : 1};
}

/// The work of stein: vectors of n elements.
template <RealScalar R>
struct IterationWork {
  R *x, *above, *below, *diagonal, *second;
  Int* exchanges;

  IterationWork(Int n, R* work, Int* iwork)
      : x(work), above(x + n), below(above + n), diagonal(below + n), second(diagonal + n), exchanges(iwork) {}
};

/// A block of the matrix, rows first ... first + n - 1, and what is judged by it.
template <RealScalar R>
struct Block {
  Int first, n;
  const R *d, *e;
  R norm = one_norm();
  R distance = R(0.001) * norm;         ///< of values up to which their vectors are kept orthogonal by the iteration
  R growth = std::sqrt(R(0.1) / R(n));  ///< largest element from which on a vector is accepted

  /// Vectors of values at distance g are orthogonal up to eps ||T|| / g without being made so. From this distance on
  /// that is a few n eps: below, they are made orthogonal when they are found.
  R reach = std::max(distance, norm / (R(10) * R(n)));

  R one_norm() const {
    R norm = 0;
    for (Int i = 0; i < n; ++i) {
      const R before = i > 0 ? std::abs(e[i - 1]) : R(0), behind = i < n - 1 ? std::abs(e[i]) : R(0);
      norm = larger_or_nan(norm, std::abs(d[i]) + before + behind);
    }
    return norm;
  }

  /// x := (T - value I)^-1 x until it has grown enough, orthogonal to the columns before column j of Z from the first
  /// one of the cluster on; false if that takes too many iterations.
  template <Scalar T>
  bool iterate(R value, Matrix<T> Z, Int cluster, Int j, const IterationWork<R>& work) const {
    const Vector<R> x{work.x, 1};
    Int info;
    std::copy_n(d, n, work.diagonal);
    for (R* const beside : {work.above, work.below}) std::copy_n(e, n - 1, beside);
    lagtf(n, work.diagonal, value, work.above, work.below, R(0), work.second, work.exchanges, info);
    R tol = 0;
    for (Int its = 1, grown = 0; its <= most_iterations; ++its) {
      const R last_pivot = std::abs(work.diagonal[n - 1]);
      blas::scal(n, R(n) * norm * std::max(Machine<R>::precision, last_pivot) / blas::asum(n, x), x);
      lagts(-1, n, work.diagonal, work.above, work.below, work.second, work.exchanges, x.data, tol, info);
      make_orthogonal(x, Z, cluster, j);
      const R largest = std::abs(x.data[blas::iamax(n, x) - 1]);
      if (!(largest < growth) && ++grown > extra_iterations) return true;
    }
    return false;
  }

  /// Takes the parts in the directions of columns begin ... end - 1 of Z from x.
  template <Scalar T>
  void make_orthogonal(Vector<R> x, Matrix<T> Z, Int begin, Int end) const {
    for (Int i = begin; i < end; ++i) {
      const Vector<R> other = real_column(Z, first, i);
      blas::axpy(n, negated(blas::dot(n, x, other)), other, x);
    }
  }
};

/// Scales x to unit length, the element of largest magnitude positive.
template <RealScalar R>
void normalise(Int n, Vector<R> x) {
  const R scale = R(1) / blas::nrm2(n, x);
  const bool negative = x.data[blas::iamax(n, x) - 1] < 0;
  blas::scal(n, negative ? negated(scale) : scale, x);
}

template <RealScalar R>
Int check_values(Int n, Int m, const R* w, const Int* iblock, Int ldz) {
  if (n < 0) return -1;
  if (m < 0 || m > n) return -4;
  if (ldz < std::max(1, n)) return -9;
  for (Int j = 1; j < m; ++j) {
    const Int number = std::abs(iblock[j]), last = std::abs(iblock[j - 1]);
    if (number < last) return -6;
    if (number == last && w[j] < w[j - 1]) return -5;
  }
  return 0;
}

}  // namespace

template <Scalar T>
void stein(Int n, const Real<T>* d, const Real<T>* e, Int m, const Real<T>* w, const Int* iblock, const Int* isplit,
           T* z, Int ldz, Real<T>* work, Int* iwork, Int* ifail, Int& info) {
  using R = Real<T>;
  info = check_values(n, m, w, iblock, ldz);
  if (info != 0) return report_bad_argument<T>("STEIN", info);
  std::fill_n(ifail, m, 0);
  const Matrix<T> Z{z, ldz};
  const IterationWork<R> vectors(n, work, iwork);
  Int iseed[] = {1, 1, 1, 1};
  for (Int j = 1; j <= m;) {
    const Int number = std::abs(iblock[j - 1]), start = number == 1 ? 0 : isplit[number - 2];
    const Block<R> block{start + 1, isplit[number - 1] - start, d + start, e + start};
    R last_value = 0;
    const Int first_of_block = j;
    for (Int cluster = j, near = j; j <= m && std::abs(iblock[j - 1]) == number; ++j) {
      R value = w[j - 1];
      const Vector<R> x{vectors.x, 1};
      if (block.n == 1) {
        *x.data = 1;
      } else {
        if (j > first_of_block) {
          const R apart = 10 * std::abs(Machine<R>::precision * value);
          if (value - last_value < apart) value = last_value + apart;
          if (std::abs(value - last_value) > block.distance) cluster = j;
        }
        while (near < j && value - w[near - 1] > block.reach) ++near;
        larnv(2, iseed, block.n, x.data);
        if (!block.iterate(value, Z, cluster, j, vectors)) ifail[info++] = j;
        // In a cluster that is what rounding left, where most of x went the first time.
        block.make_orthogonal(x, Z, near, j);
        normalise(block.n, x);
      }
      std::fill_n(Z.at(1, j), n, T(0));
      std::copy_n(x.data, block.n, Z.at(block.first, j));
      last_value = value;
    }
  }
}

}  // namespace nuv

#include "symmetric/inverse_iteration.entries.inc"
