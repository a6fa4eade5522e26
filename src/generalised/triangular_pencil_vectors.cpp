// Eigenvectors of complex pencils in generalised Schur form.

#include <algorithm>
#include <cmath>

#include "base/quotient.hpp"
#include "frame/error_report.hpp"
#include "generalised/pencil_substitution.hpp"
#include "generalised/pencil_vectors.hpp"

namespace nuv {
namespace {

/// (S, P) in generalised Schur form.
template <ComplexScalar T>
struct TriangularPencil {
  Int n;
  Matrix<const T> S, P;
};

/// Sums of the magnitudes in each column above the diagonal, first of S and then of P, and the sizes of both.
template <ComplexScalar T>
PencilSizes<Real<T>> sum_columns(const TriangularPencil<T>& pencil, Real<T>* sums) {
  const auto& [n, S, P] = pencil;
  Real<T> largest[2] = {0, 0};
  for (Int k = 0; k < 2; ++k) {
    const Matrix A = k == 0 ? S : P;
    Real<T>* of_matrix = sums + std::ptrdiff_t{k} * n;
    sum_columns_above_diagonal<T>(n, A, of_matrix);
    for (Int j = 1; j <= n; ++j) largest[k] = larger_or_nan(largest[k], of_matrix[j - 1] + abs1(A(j, j)));
  }
  return {n, largest[0], largest[1]};
}

/// Substitution for the vector x of one eigenvalue: (a S - b P) x = 0, or (a S - b P)^H x = 0.
template <ComplexScalar T>
class TriangularPencilSubstitution {
  using R = Real<T>;

 public:
  /// x      n elements for the vector
  /// sums   2 n elements, as sum_columns leaves them
  /// own    which eigenvalue
  TriangularPencilSubstitution(const TriangularPencil<T>& pencil, const PencilSizes<R>& sizes, T* x, const R* sums,
                               Int own)
      : pencil_(pencil),
        x_(x),
        sums_(sums),
        own_(own),
        shift_(shift_of_single(pencil.S(own, own), pencil.P(own, own).real(), sizes)),
        least_pivot_(shift_.least_pivot(sizes)),
        largest_sum_(sizes.largest_sum) {
    std::fill_n(x, pencil.n, T(0));
    element(own) = T(1);
  }

  PencilVector<T> find_right() const {
    subtract_column(own_);
    for (Int j = own_ - 1; j >= 1; --j) {
      solve(j, pivot(j), own_);
      if (j > 1) {
        const R size = abs1(element(j));
        if (size > 1 && sum_of(j) >= largest_sum_ / size) scale_rows(1, own_, 1 / size);
        subtract_column(j);
      }
    }
    return {1, {x_, nullptr}, 1, own_};
  }

  PencilVector<T> find_left() const {
    const auto& [n, S, P] = pencil_;
    R largest = 1;  // among the elements found
    for (Int j = own_ + 1; j <= n; ++j) {
      // Its parts, too, which are summed before they are scaled.
      const R sum = larger_or_nan(sum_of(j), larger_or_nan(sums_[j - 1], sums_[n + (j - 1)]));
      if (sum > largest_sum_ / largest) {
        scale_rows(own_, j - 1, 1 / largest);
        largest = 1;
      }
      const Vector<const T> found{x_ + (own_ - 1), 1};
      const T with_s = blas::dotc(j - own_, column(S, own_, j), found);
      const T with_p = blas::dotc(j - own_, column(P, own_, j), found);
      element(j) = conjugate(shift_.b) * with_p - shift_.a * with_s;
      largest *= solve(j, conjugate(pivot(j)), j);
      largest = larger_or_nan(largest, abs1(element(j)));
    }
    return {1, {x_, nullptr}, own_, n};
  }

 private:
  T& element(Int k) const { return x_[k - 1]; }

  /// The diagonal element of a S - b P, or what is put in its place.
  T pivot(Int j) const {
    const T d = shift_.a * pencil_.S(j, j) - shift_.b * pencil_.P(j, j);
    return abs1(d) <= least_pivot_ ? T(least_pivot_) : d;
  }

  /// What column j of a S - b P adds to a sum at most, but for the size of the vector.
  R sum_of(Int j) const { return shift_.a_size * sums_[j - 1] + shift_.b_size * sums_[pencil_.n + (j - 1)]; }

  /// x := x - (a S - b P) x(j), column j of the matrix, above the diagonal.
  void subtract_column(Int j) const {
    const Vector x{x_, 1};
    blas::axpy(j - 1, negated(shift_.a * element(j)), column(pencil_.S, 1, j), x);
    blas::axpy(j - 1, shift_.b * element(j), column(pencil_.P, 1, j), x);
  }

  /// x(j) := x(j) / d; the vector is scaled, from its first row to that one, if this would overflow. Gives the factor.
  R solve(Int j, T d, Int last) const {
    R factor = 1;
    const R size = abs1(element(j));
    if (abs1(d) < 1 && size >= largest_sum_ * abs1(d)) {
      factor = 1 / size;
      scale_rows(1, last, factor);
    }
    element(j) = quotient(element(j), d);
    return factor;
  }

  void scale_rows(Int first, Int last, R factor) const {
    blas::scal(last - first + 1, factor, Vector{&element(first), 1});
  }

  TriangularPencil<T> pencil_;
  T* x_;
  const R* sums_;
  Int own_;
  PencilShift<R> shift_;
  R least_pivot_, largest_sum_;
};

/// The vectors of one side.
template <ComplexScalar T>
struct VectorsOfSide {
  bool right, transformed;
  const TriangularPencil<T>& pencil;
  const PencilSizes<Real<T>>& sizes;
  Matrix<T> V;
  T* work;
  const Real<T>* sums;

  /// Finds that of eigenvalue j and puts it into a column.
  void find(Int j, Int to) const {
    const auto& [n, S, P] = pencil;
    if (is_indefinite(S(j, j), P(j, j))) return put_unit_vector(n, V, to);
    const TriangularPencilSubstitution<T> substitution(pencil, sizes, work, sums, j);
    const PencilVector<T> vector = right ? substitution.find_right() : substitution.find_left();
    put_pencil_vector(n, vector, transformed, V, to, work + n);
  }
};

}  // namespace

template <ComplexScalar T>
void tgevc(char side, char howmny, const Logical* select, Int n, const T* s, Int lds, const T* p, Int ldp, T* vl,
           Int ldvl, T* vr, Int ldvr, Int mm, Int& m, T* work, Real<T>* rwork, Int& info) {
  const WantedVectors wanted(side, howmny);
  const TriangularPencil<T> pencil{n, {s, lds}, {p, ldp}};
  const auto is_wanted = [&](Int j) { return !wanted.selected || is_true(select[j - 1]); };
  Int count = 0;
  info = check_pencil(side, howmny, n, lds, ldp);
  if (info == 0) {
    for (Int j = 1; j <= n; ++j) {
      count += is_wanted(j);
      if (std::abs(pencil.P(j, j).imag()) > 0) info = -7;  // a NaN is not to blame
    }
    if (info == 0) info = check_room(wanted, n, ldvl, ldvr, mm, count);
  }
  if (info != 0) return report_bad_argument<T>("TGEVC", info);
  m = count;
  if (n == 0) return;

  const PencilSizes<Real<T>> sizes = sum_columns(pencil, rwork);
  const VectorsOfSide<T> left{false, wanted.transformed, pencil, sizes, {vl, ldvl}, work, rwork};
  const VectorsOfSide<T> right{true, wanted.transformed, pencil, sizes, {vr, ldvr}, work, rwork};
  // A transformed vector is made of all columns up to its own, or from its own on: those must still be what they were.
  if (wanted.left) {
    for (Int j = 1, to = 1; j <= n; ++j) {
      if (is_wanted(j)) left.find(j, to++);
    }
  }
  if (wanted.right) {
    for (Int j = n, to = m; j >= 1; --j) {
      if (is_wanted(j)) right.find(j, to--);
    }
  }
}

}  // namespace nuv

#include "generalised/triangular_pencil_vectors.entries.inc"
