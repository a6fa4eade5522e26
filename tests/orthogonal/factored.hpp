#pragma once

// Matrices and their factorisations by reflectors, judged in a wider type.

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "orthogonal/reflectors.hpp"

namespace nuv::test {

struct Shape {
  Int m, n;
};

inline std::string to_string(const Shape& shape) {
  return std::to_string(shape.m) + " by " + std::to_string(shape.n);
}

/// A leading dimension for m rows; most leave a gap.
inline Int padded(Int m) {
  return std::max(1, m % 4 == 1 ? m : m + 5);
}

/// Which of the four factorisations, by how its reflectors are stored.
inline constexpr Form qr_form = forms[0], lq_form = forms[1], ql_form = forms[2], rq_form = forms[3];

/// How many lines of the matrix the workspace has room for one of each of: rows for LQ and RQ, columns for QR and QL.
inline Int lines_of(const Form& form, const Shape& shape) {
  return form.columnwise() ? shape.n : shape.m;
}

/// What a factorisation left.
template <Scalar T>
struct Factored {
  Form form;
  WideMatrix<T> A;
  GuardedMatrix<T> factors;
  GuardedVector<T> tau, work;
  Int info = 99;

  Int m() const { return factors.rows(); }
  Int n() const { return factors.columns(); }
  Int k() const { return std::min(m(), n()); }

  /// The order of Q.
  Int order() const { return form.columnwise() ? m() : n(); }

  WideMatrix<T> vectors() const {
    const Int row = !form.columnwise() && !form.forward() ? m() - k() + 1 : 1;
    const Int column = form.columnwise() && !form.forward() ? n() - k() + 1 : 1;
    return vectors_in(form, order(), k(), factors, row, column);
  }

  /// H X or H^H X for the product of the reflectors as the blocks take it: Q for QR and QL, Q^H for LQ and RQ.
  WideMatrix<T> times(bool adjoint_of_h, const WideMatrix<T>& X) const {
    return apply(form, adjoint_of_h, vectors(), tau, X);
  }

  /// R or L, m by n, with zeros in the place of the vectors.
  WideMatrix<T> triangle() const {
    WideMatrix<T> R = wide(factors);
    for (Int j = 1; j <= n(); ++j) {
      for (Int i = 1; i <= m(); ++i) {
        const Int below = form.forward() ? i - j : i - (m() - k()) - (j - (n() - k()));
        const bool upper = form.columnwise() == form.forward();
        if (upper ? below > 0 : below < 0) R(i - 1, j - 1) = 0;
      }
    }
    return R;
  }
};

/// Factors a matrix with a routine that takes (m, n, a, tau, work, lwork, info).
template <Scalar T, class Routine>
Factored<T> factor(const Form& form, const GuardedMatrix<T>& A, Int lwork, Routine routine) {
  const Int m = A.rows(), n = A.columns();
  Factored<T> result{form, wide(A), A, GuardedVector<T>(std::min(m, n)), GuardedVector<T>(std::max(lwork, 1))};
  routine(m, n, Matrix<T>(result.factors), result.tau.data(), result.work.data(), lwork, result.info);
  EXPECT_EQ(result.info, 0);
  EXPECT_TRUE(result.factors.guards_unchanged());
  EXPECT_TRUE(result.tau.guards_unchanged());
  EXPECT_TRUE(result.work.guards_unchanged());
  return result;
}

template <Scalar T>
Factored<T> factor_unblocked(const Form& form, const GuardedMatrix<T>& A) {
  const Int lines = lines_of(form, {A.rows(), A.columns()});
  return factor(form, A, lines, [&](Int m, Int n, Matrix<T> a, T* tau, T* work, Int, Int& info) {
    factor_one_by_one<T>(form, m, n, a, tau, work, info);
  });
}

/// ||(A - Q R) X|| / (||A|| n eps) with n the larger size, for a few columns or rows X of random signs: E X takes less
/// than E, and its norm is on average no less than that of any column of E over the square root of two.
template <Scalar T>
double residual(const Factored<T>& f) {
  Random random(6);
  const bool columnwise = f.form.columnwise();
  const WideMatrix<T> X = WideMatrix<T>::NullaryExpr(columnwise ? f.n() : f.m(), 4,
                                                     [&] { return Wide<T>(random.integer(0, 1) == 0 ? 1 : -1); });
  // A = H R or A = L H^H, the latter by its adjoint.
  const WideMatrix<T> A = columnwise ? f.A : WideMatrix<T>(f.A.adjoint());
  const WideMatrix<T> R = columnwise ? f.triangle() : WideMatrix<T>(f.triangle().adjoint());
  const WideMatrix<T> difference = product<T>(A, X) - f.times(false, product<T>(R, X));
  const double distance = one_norm<T>(difference);
  return distance == 0 ? 0 : distance / (one_norm<T>(A) * std::max(f.m(), f.n()) * epsilon<T>);
}

/// ||(Q^H Q - I) X|| / (n eps) for a few unit vectors.
template <Scalar T>
double orthogonality(const Factored<T>& f) {
  if (f.order() == 0) return 0;
  const Int order = f.order();
  WideMatrix<T> X = WideMatrix<T>::Zero(order, 3);
  X(0, 0) = X(f.k() > 0 ? f.k() - 1 : 0, 1) = X(order - 1, 2) = 1;
  return one_norm<T>(WideMatrix<T>(f.times(true, f.times(false, X)) - X)) / (order * epsilon<T>);
}

template <Scalar T>
void expect_factored(const Factored<T>& f) {
  EXPECT_LT(residual(f), threshold);
  EXPECT_LT(orthogonality(f), threshold);
}

/// Whether two factorisations left the same bits.
template <Scalar T>
void expect_same(const Factored<T>& f, const Factored<T>& other) {
  EXPECT_TRUE(f.factors.same_as(other.factors));
  EXPECT_TRUE(f.tau.same_as(other.tau));
}

/// Numbers of very different sizes, of which no norm overflows.
template <Scalar T>
std::array<Real<T>, 3> bad_scales() {
  const bool is_single = std::same_as<Real<T>, float>;
  return {Real<T>(is_single ? 1e-35 : 1e-300), Real<T>(1), Real<T>(is_single ? 1e35 : 1e300)};
}

/// A matrix whose columns, or rows, have such scales in turn.
template <Scalar T>
GuardedMatrix<T> badly_scaled_matrix(Random& random, bool by_columns, Int m, Int n) {
  GuardedMatrix<T> A = random_matrix<T>(random, m, n, padded(m));
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= m; ++i) A(i, j) *= bad_scales<T>()[std::size_t((by_columns ? j : i) % 3)];
  }
  A.seal();
  return A;
}

/// The largest ||(A - Q R) e_j|| / (||A e_j|| n eps), or the same of rows for L Q and R Q: such errors are small beside
/// each column, or row, by itself.
template <Scalar T>
double largest_residual_of_a_line(const Factored<T>& f) {
  const bool columnwise = f.form.columnwise();
  const WideMatrix<T> A = columnwise ? f.A : WideMatrix<T>(f.A.adjoint());
  const WideMatrix<T> R = columnwise ? f.triangle() : WideMatrix<T>(f.triangle().adjoint());
  const WideMatrix<T> difference = A - f.times(false, R);
  double largest = 0;
  for (Eigen::Index j = 0; j < A.cols(); ++j) {
    const double error = double(difference.col(j).norm() / (A.col(j).norm() * A.rows() * epsilon<T>));
    if (std::isnan(error)) return error;
    largest = std::max(largest, error);
  }
  return largest;
}

}  // namespace nuv::test
