#pragma once

// A full symmetric or Hermitian matrix as the methods of the drivers see it (driver_methods.hpp).

#include "environment/matrix_utilities.hpp"
#include "environment/norms_symmetric.hpp"
#include "layer.hpp"
#include "orthogonal/q_of_reductions.hpp"
#include "symmetric/driver_methods.hpp"

namespace nuv {

/// tau     n elements
/// work    lwork elements, at least n
template <Scalar T>
struct FullMatrix {
  char uplo;
  Int n;
  Matrix<T> A;
  T* tau;
  T* work;
  Int lwork;

  Real<T> largest() const {
    if constexpr (ComplexScalar<T>) {
      return lanhe<T>('M', uplo, n, A.data, A.ld, nullptr);
    } else {
      return lansy<T>('M', uplo, n, A.data, A.ld, nullptr);
    }
  }

  Real<T> first() const { return std::real(A(1, 1)); }

  void scale(const RangeScaling<Real<T>>& scaling) const { scaling.apply(uplo, n, A); }

  void reduce(Real<T>* d, Real<T>* e) const {
    Int ignored = 0;
    layer::sytrd(uplo, n, A, d, e, tau, work, lwork, ignored);
  }

  /// Z may be A itself.
  void form_q(Matrix<T> Z) const {
    Int ignored = 0;
    if (Z.data != A.data) lacpy(uplo, n, n, A.data, A.ld, Z.data, Z.ld);
    orgtr(uplo, n, Z.data, Z.ld, tau, work, lwork, ignored);
  }

  void apply_q(Int m, Matrix<T> Z) const {
    Int ignored = 0;
    ormtr('L', uplo, 'N', n, m, A.data, A.ld, tau, Z.data, Z.ld, work, lwork, ignored);
  }
};

/// The workspace with which the reduction of a matrix of order n does its best; uplo is a triangle, n >= 0.
template <Scalar T>
std::int64_t best_work_of_reduction(char uplo, Int n) {
  T best;
  Int ignored = 0;
  const Matrix<T> none{nullptr, std::max(1, n)};
  layer::sytrd(uplo, n, none, nullptr, nullptr, nullptr, &best, -1, ignored);
  return static_cast<std::int64_t>(std::real(best));
}

/// The wider of the blocks of a reduction and of products with its Q.
template <Scalar T>
Int widest_block(char uplo, Int n) {
  const auto width = [&](RoutineName<T> name) { return Tuning<T>{name, {&uplo, 1}, n}.block_size(); };
  return std::max(width(name_of<T>("SYTRD", "HETRD")), width(name_of<T>("ORMTR", "UNMTR")));
}

/// 0, or minus the position of the first bad argument of jobz, range, uplo, n, a, lda, vl, vu, il, iu, abstol, m, w, z,
/// ldz.
template <Scalar T>
Int check_selected(char jobz, const Selection<Real<T>>& selection, char uplo, Int n, Matrix<T> A, Matrix<T> Z) {
  if (!is_one_of(jobz, 'N', 'V')) return -1;
  if (!selection.is_known()) return -2;
  if (!is_one_of(uplo, 'U', 'L')) return -3;
  if (n < 0) return -4;
  if (A.ld < std::max(1, n)) return -6;
  if (const Int bad_bound = selection.check(n, 8); bad_bound != 0) return bad_bound;
  if (Z.ld < 1 || (same_letter(jobz, 'V') && Z.ld < n)) return -15;
  return 0;
}

}  // namespace nuv
