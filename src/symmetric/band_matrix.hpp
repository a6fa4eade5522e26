#pragma once

// A symmetric or Hermitian band matrix as the methods of the drivers see it (driver_methods.hpp).

#include "environment/matrix_utilities.hpp"
#include "environment/norms_symmetric.hpp"
#include "symmetric/band_reduction.hpp"
#include "symmetric/driver_methods.hpp"

namespace nuv {

/// The arguments that tell a band matrix.
template <Scalar T>
struct BandArguments {
  char uplo;
  Int n, kd;
  T* ab;
  Int ldab;

  /// The same without diagonals that the matrix has no place for.
  BandArguments narrowed() const {
    const Int diagonals = std::min(kd, n - 1);
    return {uplo, n, diagonals, same_letter(uplo, 'U') ? ab + (kd - diagonals) : ab, ldab};
  }
};

/// Q       the place of Q, or of the eigenvectors if these are formed from it, for 'V'
/// work    n elements
template <Scalar T>
struct BandMatrix {
  BandArguments<T> arguments;
  bool with_vectors;
  Matrix<T> Q;
  T* work;

  Real<T> largest() const {
    const auto [uplo, n, kd, ab, ldab] = arguments;
    if constexpr (ComplexScalar<T>) {
      return lanhb<T>('M', uplo, n, kd, ab, ldab, nullptr);
    } else {
      return lansb<T>('M', uplo, n, kd, ab, ldab, nullptr);
    }
  }

  Real<T> first() const {
    const auto [uplo, n, kd, ab, ldab] = arguments;
    return std::real(ab[same_letter(uplo, 'U') ? kd : 0]);
  }

  void scale(const RangeScaling<Real<T>>& scaling) const {
    const auto [uplo, n, kd, ab, ldab] = arguments;
    Int ignored = 0;
    const char type = same_letter(uplo, 'U') ? 'Q' : 'B';
    if (scaling.is_needed()) lascl(type, kd, kd, Real<T>(1), scaling.factor(), n, n, ab, ldab, ignored);
  }

  void reduce(Real<T>* d, Real<T>* e) const { reduce_with('V', d, e); }

  /// vect    what becomes of Q for 'V'
  void reduce_with(char vect, Real<T>* d, Real<T>* e) const {
    const auto [uplo, n, kd, ab, ldab] = arguments;
    Int ignored = 0;
    sbtrd(with_vectors ? vect : 'N', uplo, n, kd, ab, ldab, d, e, Q.data, Q.ld, work, ignored);
  }

  void form_q(Matrix<T> Z) const {
    if (Z.data != Q.data) lacpy('A', arguments.n, arguments.n, Q.data, Q.ld, Z.data, Z.ld);
  }

  void apply_q(Int m, Matrix<T> Z) const {
    const Int n = arguments.n;
    const Vector<T> z{work, 1};
    for (Int j = 1; j <= m; ++j) {
      blas::copy(n, column(Z, 1, j), z);
      blas::gemv('N', n, n, T(1), Q, z, T(0), column(Z, 1, j));
    }
  }
};

/// The workspaces of divide and conquer for band matrices.
template <Scalar T>
DivisionSizes least_workspaces_of_bands(bool with_vectors, std::int64_t n) {
  if (n <= 1) return {1, 1, 1};
  const std::int64_t reals = 1 + 5 * n + 2 * n * n;
  if constexpr (ComplexScalar<T>) {
    return with_vectors ? DivisionSizes{2 * n * n, reals, 3 + 5 * n} : DivisionSizes{n, n, 1};
  } else {
    return with_vectors ? DivisionSizes{reals, 0, 3 + 5 * n} : DivisionSizes{2 * n, 0, 1};
  }
}

/// All eigenvalues and, if wanted, the eigenvectors by divide and conquer.
///
/// room    the eigenvectors of the tridiagonal matrix, and their product with Q behind them
template <Scalar T, class Storage>
void solve_by_division(const Storage& A, Int n, bool with_vectors, Real<T>* w, Real<T>* e, Matrix<T> Z,
                       const DivisionWork<T>& room, Int& info) {
  solve_for_all(A, n, with_vectors, w, e, Z, info, [&] {
    const DivisionWork<T> rest = room.behind(std::ptrdiff_t{n} * n, 0);
    const Matrix<T> V{room.work, n}, product{rest.work, n};
    divide_and_conquer(n, w, e, V, rest, info);
    blas::gemm('N', 'N', n, n, n, T(1), Z, V, T(0), product);
    lacpy('A', n, n, product.data, product.ld, Z.data, Z.ld);
  });
}

}  // namespace nuv
