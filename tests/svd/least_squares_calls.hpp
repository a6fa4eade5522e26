#pragma once

// Calls of the drivers for least squares by singular value decompositions, and problems of which the solution is known.

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "routines.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"
#include "svd/decomposition_checks.hpp"

namespace nuv::test {

/// gelss or gelsd.
enum class SvdMethod { iteration, division };

inline constexpr SvdMethod svd_methods[] = {SvdMethod::iteration, SvdMethod::division};

/// Rows, or columns, from which on a factorisation comes first.
inline Int least_squares_crossover(Int shorter) {
  return Int(float(shorter) * 1.6f);
}

/// Levels of the tree of a matrix of order k.
inline Int levels_of_division(Int k) {
  constexpr Int leaf = 26;
  if (2 * k <= leaf) return 0;
  Int count = 1;
  while (leaf * (Int{1} << count) <= k) ++count;
  return count;
}

/// Workspaces of a call.
struct LeastSquaresWork {
  Int least, by_lq;  ///< by_lq: with which a wide matrix is factored first
  Int rwork, iwork;
};

template <Scalar T>
LeastSquaresWork least_squares_work(SvdMethod method, Int m, Int n, Int nrhs) {
  const Int k = std::min(m, n), l = std::max(m, n), levels = levels_of_division(k);
  const bool is_long = l >= least_squares_crossover(k), by_qr = m >= n && is_long;
  const Int reals = k * (59 + 8 * levels) + 676;
  if (k == 0) return {1, 1, 1, 1};
  if (method == SvdMethod::iteration) {
    if (ComplexScalar<T>) {
      return {2 * k + std::max(nrhs, l), 3 * k + k * k + std::max({k, nrhs, l - 2 * k}), 5 * k, 0};
    }
    return {std::max({3 * k + nrhs, 5 * k, by_qr ? 0 : 3 * k + l}), 4 * k + k * k + std::max({2 * k, nrhs, l - 3 * k}),
            0, 0};
  }
  const Int places = k * (3 * levels + 11);
  if (ComplexScalar<T>) {
    return {2 * k + std::max({k, k * nrhs, by_qr ? 0 : l}), 3 * k + k * k + std::max({k, k * nrhs, l - 2 * k}),
            k + reals + 75 * nrhs, places};
  }
  const Int division = reals + k * nrhs;
  return {3 * k + std::max(division, by_qr ? 0 : l), 4 * k + k * k + std::max(division, l - 3 * k), 0, places};
}

/// All arguments of a call.
template <Scalar T>
struct LeastSquaresCall {
  using R = Real<T>;

  SvdMethod method;
  Int m, n, nrhs, lda, ldb, lwork = 1, rank = 99, info = 99;
  R rcond = -1;
  GuardedMatrix<T> A, B;
  GuardedVector<R> s, rwork;
  GuardedVector<T> work{1};
  GuardedVector<Int> iwork;

  /// B   as many rows as the longer side of A has
  LeastSquaresCall(SvdMethod method_, const GuardedMatrix<T>& matrix, const GuardedMatrix<T>& right_hand_sides)
      : method(method_),
        m(matrix.rows()),
        n(matrix.columns()),
        nrhs(right_hand_sides.columns()),
        lda(matrix.ld()),
        ldb(right_hand_sides.ld()),
        A(matrix),
        B(right_hand_sides),
        s(std::min(m, n)),
        rwork(ComplexScalar<T> ? sizes().rwork : 0),
        iwork(sizes().iwork) {}

  LeastSquaresWork sizes() const { return least_squares_work<T>(method, m, n, nrhs); }

  Int run() {
    const Matrix<T> a{A.data(), lda}, b{B.data(), ldb};
    if constexpr (ComplexScalar<T>) {
      if (method == SvdMethod::iteration) {
        routine_call::gelss(m, n, nrhs, a, b, s.data(), rcond, rank, work.data(), lwork, rwork.data(), info);
      } else {
        routine_call::gelsd(m, n, nrhs, a, b, s.data(), rcond, rank, work.data(), lwork, rwork.data(), iwork.data(),
                            info);
      }
    } else {
      if (method == SvdMethod::iteration) {
        routine_call::gelss(m, n, nrhs, a, b, s.data(), rcond, rank, work.data(), lwork, info);
      } else {
        routine_call::gelsd(m, n, nrhs, a, b, s.data(), rcond, rank, work.data(), lwork, iwork.data(), info);
      }
    }
    return info;
  }

  void make_room(Int size) {
    lwork = size;
    work = GuardedVector<T>(std::max(1, size));
  }

  /// What it asks for.
  Int best() const {
    LeastSquaresCall question = *this;
    question.make_room(1);
    question.lwork = -1;
    question.run();
    EXPECT_EQ(question.info, 0);
    EXPECT_TRUE(question.A.same_as(A) && question.B.same_as(B) && question.s.unchanged());
    EXPECT_TRUE(question.iwork.unchanged_outside(1, 1) && question.rwork.unchanged_outside(1, 1));
    if (method == SvdMethod::division) {
      EXPECT_EQ(question.iwork(1), sizes().iwork);
      if (ComplexScalar<T>) {
        EXPECT_EQ(question.rwork(1), R(sizes().rwork));
      }
    }
    return Int(std::real(question.work(1)));
  }

  /// The call with such a workspace.
  LeastSquaresCall solved(Int size) const {
    LeastSquaresCall copy = *this;
    copy.make_room(size);
    copy.run();
    EXPECT_TRUE(copy.A.guards_unchanged());
    EXPECT_TRUE(copy.B.guards_unchanged());
    EXPECT_TRUE(copy.s.guards_unchanged() && copy.rwork.guards_unchanged() && copy.work.guards_unchanged() &&
                copy.iwork.guards_unchanged());
    return copy;
  }

  bool unchanged() const { return A.unchanged() && B.unchanged() && s.unchanged(); }
};

/// X - 2 v v^H X for a v of length one.
template <Scalar T>
void reflect(const WideMatrix<T>& v, WideMatrix<T>& X) {
  const WideMatrix<T> products = v.adjoint() * X;
  X -= Wide<T>(2) * (v * products);
}

/// A = U D V^H with given singular values, U and V products of three reflections each.
template <Scalar T>
struct SvdProblemOfKnownSolution {
  using R = Real<T>;
  using W = WideReal<T>;

  Int m, n, nrhs;
  std::vector<double> values;  ///< in decreasing order
  W a_scale, b_scale;          ///< powers of two
  GuardedMatrix<T> A, B;
  std::vector<WideMatrix<T>> left, right;

  SvdProblemOfKnownSolution(Random& random, Int m_, Int n_, Int nrhs_, const std::vector<double>& values_,
                            W a_scale_ = 1, W b_scale_ = 1)
      : m(m_),
        n(n_),
        nrhs(nrhs_),
        values(values_),
        a_scale(a_scale_),
        b_scale(b_scale_),
        A(m, n, m + 1),
        B(std::max(m, n), nrhs, std::max(m, n) + 2) {
    for (int i = 0; i < 3; ++i) {
      left.push_back(direction(random, m));
      right.push_back(direction(random, n));
    }
    WideMatrix<T> wide_a = WideMatrix<T>::Zero(m, n);
    for (std::size_t i = 0; i < values.size(); ++i) wide_a(Int(i), Int(i)) = W(values[i]) * a_scale;
    for (const auto& v : left) reflect<T>(v, wide_a);
    WideMatrix<T> transposed = wide_a.adjoint();
    for (const auto& v : right) reflect<T>(v, transposed);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= m; ++i) A(i, j) = rounded(std::conj(std::complex<W>(transposed(j - 1, i - 1))));
    }
    for (Int j = 1; j <= nrhs; ++j) {
      for (Int i = 1; i <= m; ++i) B(i, j) = random.scalar<T>() * R(b_scale);
    }
    A.seal();
    B.seal();
  }

  Int shorter() const { return std::min(m, n); }

  WideMatrix<T> right_hand_sides() const { return wide(B).topRows(m); }

  /// X of least norm for the first `rank` values.
  WideMatrix<T> solution(Int rank) const {
    WideMatrix<T> Y = right_hand_sides();
    for (auto v = left.rbegin(); v != left.rend(); ++v) reflect<T>(*v, Y);
    WideMatrix<T> X = WideMatrix<T>::Zero(n, nrhs);
    for (Int i = 0; i < rank; ++i) X.row(i) = Y.row(i) / (W(values[std::size_t(i)]) * a_scale);
    for (const auto& v : right) reflect<T>(v, X);
    return X;
  }

  /// ||X - exact|| over what a small change of A may do to it:
  /// (c ||X|| + c^2 ||B - A X|| / ||A||) n eps for the condition c of the values that count.
  double error(Int rank, const WideMatrix<T>& X) const {
    const WideMatrix<T> exact = solution(rank);
    if (rank == 0) return one_norm<T>(X);
    const WideMatrix<T> residual = right_hand_sides() - wide(A) * exact;
    const double condition = values[0] / values[std::size_t(rank - 1)],
                 norm = double(one_norm<T>(WideMatrix<T>(wide(A) / a_scale)));
    const W unit = a_scale / b_scale;  // brings numbers into the range of double
    const double allowed = condition * one_norm<T>(WideMatrix<T>(exact * unit)) +
                           condition * condition * one_norm<T>(WideMatrix<T>(residual / b_scale)) / norm;
    return one_norm<T>(WideMatrix<T>((X - exact) * unit)) / (allowed * std::max(m, n) * double(epsilon<T>));
  }

 private:
  static T rounded(std::complex<W> x) {
    if constexpr (ComplexScalar<T>) {
      return {R(x.real()), R(x.imag())};
    } else {
      return R(x.real());
    }
  }

  static WideMatrix<T> direction(Random& random, Int n) {
    WideMatrix<T> v(n, 1);
    for (Int i = 0; i < n; ++i) v(i, 0) = wide(random.scalar<T>());
    return v / v.norm();
  }
};

/// The first `rank` of k values go from one to a quarter, the others from there times `drop`.
inline std::vector<double> values_with_a_gap(Int k, Int rank, double drop) {
  std::vector<double> values;
  for (Int i = 0; i < k; ++i) {
    const double even = k > 1 ? 1 - 0.75 * i / (k - 1) : 1;
    values.push_back(i < rank ? even : even * drop);
  }
  return values;
}

}  // namespace nuv::test
