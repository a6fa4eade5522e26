#include "generators/pencils_of_known_condition.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "environment/matrix_utilities.hpp"
#include "generators/kronecker.hpp"
#include "svd/svd_driver.hpp"

namespace nuv {
namespace {

/// Eigenvalues that hang together, of which the first two stand on one side of X2 and Y2 and the others on the other.
constexpr Int core = 5, on_top = 2;

/// X2 without wx, and Y2 without wy, whose two rows are the same.
constexpr int sign_of_x[on_top][core - on_top] = {{-1, -1, 1}, {1, -1, -1}};
constexpr int sign_of_y[core - on_top] = {-1, 1, -1};

/// The blocks of D that the second type has.
template <RealScalar T>
void set_pairs(T alpha, T beta, Matrix<T> D) {
  const auto set_pair = [&](Int i, T re, T im) {
    D(i, i) = D(i + 1, i + 1) = re;
    D(i, i + 1) = im;
    D(i + 1, i) = negated(im);
  };
  set_pair(1, 1, -1);
  D(3, 3) = 1;
  set_pair(4, 1 + alpha, 1 + beta);
}

template <ComplexScalar T>
void set_pairs(T alpha, T beta, Matrix<T> D) {
  const auto set_pair = [&](Int i, T value) {
    D(i, i) = value;
    D(i + 1, i + 1) = conjugate(value);
  };
  set_pair(1, T(1, 1));
  D(3, 3) = T(1);
  set_pair(4, T(1 + alpha.real(), 1 + beta.real()));
}

/// X2 and Y2 in the corner of X, and conjugated below that of Y.
template <Scalar T>
void set_corners(T wx, T wy, Matrix<T> X, Matrix<T> Y) {
  for (Int j = 1; j <= core - on_top; ++j) {
    for (Int i = 1; i <= on_top; ++i) {
      X(i, on_top + j) = Real<T>(sign_of_x[i - 1][j - 1]) * wx;
      Y(on_top + j, i) = Real<T>(sign_of_y[j - 1]) * conjugate(wy);
    }
  }
}

/// C := -(D1 X2 + Y2 D2) in the corner of a matrix with the blocks D1 and D2 on its diagonal.
template <Scalar T>
void set_corner_of_product(Matrix<const T> X, Matrix<const T> Y, Matrix<T> D) {
  for (Int j = on_top + 1; j <= core; ++j) {
    for (Int i = 1; i <= on_top; ++i) {
      T sum(0);
      for (Int k = 1; k <= on_top; ++k) sum += D(i, k) * X(k, j);
      for (Int k = on_top + 1; k <= core; ++k) sum += conjugate(Y(k, i)) * D(k, j);
      D(i, j) = negated(sum);
    }
  }
}

template <Scalar T>
Real<T> square(T x) {
  return std::real(conjugate(x) * x);
}

/// The condition number of an eigenvalue that has this row in D1 or D2, and as much |w|^2 in its vectors.
template <Scalar T>
Real<T> condition(Int columns, const T* row, Int ld, Real<T> squares) {
  Real<T> size(1);
  for (Int k = 0; k < columns; ++k) size += square(row[std::ptrdiff_t{k} * ld]);
  return std::sqrt(size / (1 + squares));
}

template <Scalar T>
void set_conditions(Int n, Matrix<const T> A, T wx, T wy, Real<T>* s) {
  for (Int i = 1; i <= n; ++i) {
    if (i <= on_top) {
      s[i - 1] = condition(on_top, A.at(i, 1), A.ld, 3 * square(wy));
    } else if (i <= core) {
      s[i - 1] = condition(core - on_top, A.at(i, on_top + 1), A.ld, 2 * square(wx));
    } else {
      s[i - 1] = condition<T>(1, A.at(i, i), A.ld, 0);
    }
  }
}

/// The smallest singular value of the operator that parts the blocks of a pencil that begin at i and j, of order m and
/// n.
template <Scalar T>
Real<T> separation(Matrix<const T> A, Matrix<const T> B, Int i, Int m, Int j, Int n) {
  constexpr Int most = 2 * 2 * 3, lwork = 5 * most;
  const Int order = 2 * m * n;
  T z[most * most], none, work[lwork];
  Real<T> values[most];
  Int ignored = 0;
  lakf2(m, n, A.at(i, i), A.ld, A.at(j, j), B.at(i, i), B.at(j, j), z, order);
  if constexpr (RealScalar<T>) {
    gesvd('N', 'N', order, order, z, order, values, &none, 1, &none, 1, work, lwork, ignored);
  } else {
    Real<T> rwork[5 * most];
    gesvd('N', 'N', order, order, z, order, values, &none, 1, &none, 1, work, lwork, rwork, ignored);
  }
  return values[order - 1];
}

}  // namespace

template <Scalar T>
void latm6(Int type, Int n, T* a, Int lda, T* b, T* x, Int ldx, T* y, Int ldy, T alpha, T beta, T wx, T wy, Real<T>* s,
           Real<T>* dif) {
  if (n < core) return;
  const Matrix A{a, lda}, B{b, lda}, X{x, ldx}, Y{y, ldy};
  laset('F', n, n, T(0), T(0), a, lda);
  for (Int i = 1; i <= n; ++i) A(i, i) = T(Real<T>(i)) + alpha;
  if (type == 2) set_pairs(alpha, beta, A);
  for (const Matrix<T>& M : {B, X, Y}) laset('F', n, n, T(0), T(1), M.data, M.ld);

  set_conditions<T>(n, A, wx, wy, s);
  set_corners(wx, wy, X, Y);
  set_corner_of_product<T>(X, Y, A);
  set_corner_of_product<T>(X, Y, B);

  // A real pair goes with both of its rows.
  const Int m = RealScalar<T> && type == 2 ? 2 : 1;
  dif[0] = separation<T>(A, B, 1, m, m + 1, core - m);
  dif[4] = separation<T>(A, B, 1, core - m, core - m + 1, m);
  for (Int i = core + 1; i <= n; ++i) {
    dif[0] = std::min(dif[0], separation<T>(A, B, 1, m, i, 1));
    dif[4] = std::min(dif[4], separation<T>(A, B, i, 1, core - m + 1, m));
  }
}

}  // namespace nuv

#include "generators/pencils_of_known_condition.entries.inc"
