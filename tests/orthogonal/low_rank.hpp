#pragma once

// Systems A X = B with matrices of known singular values, and the solution of least norm, in a wider type.

#include <algorithm>
#include <string>
#include <vector>

#include "orthogonal/factored.hpp"

namespace nuv::test {

struct SystemSizes {
  Int m, n, nrhs;

  Int mn() const { return std::min(m, n); }
  Int longer() const { return std::max(m, n); }
};

inline std::string to_string(const SystemSizes& sizes) {
  return std::to_string(sizes.m) + " by " + std::to_string(sizes.n) + ", " + std::to_string(sizes.nrhs) +
         " right-hand sides";
}

/// n orthonormal columns of length m.
template <Scalar T>
WideMatrix<T> random_orthonormal(Random& random, Int m, Int n) {
  WideMatrix<T> Q = random_wide<T>(random, m, n);
  for (Int j = 0; j < n; ++j) {
    for (const int pass : {1, 2}) {
      static_cast<void>(pass);
      for (Int k = 0; k < j; ++k) Q.col(j) -= Wide<T>(Q.col(k).dot(Q.col(j))) * Q.col(k);
    }
    Q.col(j) /= Q.col(j).norm();
  }
  return Q;
}

/// A = U S V^H up to the rounding of its elements, and right-hand sides that are only partly in its range.
template <Scalar T>
struct LowRankSystem {
  SystemSizes sizes;
  std::vector<double> values;  ///< singular values that are not zero, the largest first
  WideMatrix<T> U, V;
  GuardedMatrix<T> A, B;  ///< B with room for the solution
  Real<T> a_scale, b_scale;

  LowRankSystem(Random& random, const SystemSizes& sizes_, const std::vector<double>& values_, Real<T> a_scale_ = 1,
                Real<T> b_scale_ = 1)
      : sizes(sizes_),
        values(values_),
        U(random_orthonormal<T>(random, sizes.m, rank())),
        V(random_orthonormal<T>(random, sizes.n, rank())),
        A(sizes.m, sizes.n, std::max(1, sizes.m + random.integer(0, 2))),
        B(sizes.longer(), sizes.nrhs, std::max(1, sizes.longer() + random.integer(0, 2))),
        a_scale(a_scale_),
        b_scale(b_scale_) {
    WideMatrix<T> scaled = U;
    for (Int k = 0; k < rank(); ++k) scaled.col(k) *= Wide<T>(WideReal<T>(values[std::size_t(k)]) * wide(a_scale));
    const WideMatrix<T> elements = product<T>(scaled, V.adjoint());
    for (Int j = 1; j <= sizes.n; ++j) {
      for (Int i = 1; i <= sizes.m; ++i) A(i, j) = T(elements(i - 1, j - 1));
    }
    for (Int j = 1; j <= sizes.nrhs; ++j) {
      for (Int i = 1; i <= sizes.m; ++i) B(i, j) = b_scale * random.scalar<T>();
    }
    A.seal();
    B.seal();
  }

  Int rank() const { return Int(values.size()); }

  /// B in units of its scale.
  WideMatrix<T> right_hand_sides() const { return wide(B).topRows(sizes.m) / Wide<T>(wide(b_scale)); }

  /// The solution of least norm when the first `kept` singular values count, in units of b_scale / a_scale.
  WideMatrix<T> solution(Int kept) const {
    WideMatrix<T> parts = product<T>(U.leftCols(kept).adjoint(), right_hand_sides());
    for (Int k = 0; k < kept; ++k) parts.row(k) /= Wide<T>(WideReal<T>(values[std::size_t(k)]));
    return product<T>(V.leftCols(kept), parts);
  }

  /// What was found, in the same units.
  WideMatrix<T> found(const GuardedMatrix<T>& solved) const {
    return wide(solved).topRows(sizes.n) * Wide<T>(wide(a_scale)) / Wide<T>(wide(b_scale));
  }

  /// ||X - expected|| over what a backward stable method may be off: the condition of the values that count is that of
  /// the problem, and its square that of the residual.
  double error_of(const GuardedMatrix<T>& solved, Int kept) const {
    const WideMatrix<T> X = found(solved), expected = solution(kept), B_ = right_hand_sides();
    const double condition = kept == 0 ? 1 : values[0] / values[std::size_t(kept - 1)];
    const double allowed =
        condition * (one_norm<T>(expected) + condition * one_norm<T>(B_) / (kept == 0 ? 1 : values[0]));
    const double distance = one_norm<T>(WideMatrix<T>(X - expected));
    return distance == 0 ? 0 : distance / (allowed * sizes.longer() * epsilon<T>);
  }

  /// ||A^H (B - A X)|| / (||A|| (||A|| ||X|| + ||B||) n eps): zero where no other X comes nearer to B.
  double error_of_least_squares(const GuardedMatrix<T>& solved) const {
    const WideMatrix<T> A_ = wide(A) / Wide<T>(wide(a_scale)), X = found(solved), B_ = right_hand_sides();
    const WideMatrix<T> adjoint = A_.adjoint(), residual = B_ - product<T>(A_, X);
    const double allowed = one_norm<T>(adjoint) * (one_norm<T>(A_) * one_norm<T>(X) + one_norm<T>(B_));
    const double left = one_norm<T>(product<T>(adjoint, residual));
    return left == 0 ? 0 : left / (allowed * sizes.longer() * epsilon<T>);
  }

  /// The part of X in the null space of A, over (||X|| n eps) and the condition of A: zero for the shortest X.
  double error_of_least_norm(const GuardedMatrix<T>& solved) const {
    const WideMatrix<T> X = found(solved), outside = X - product<T>(V, product<T>(V.adjoint(), X));
    const double condition = rank() == 0 ? 1 : values[0] / values[std::size_t(rank() - 1)];
    const double distance = one_norm<T>(outside);
    return distance == 0 ? 0 : distance / (one_norm<T>(X) * condition * sizes.longer() * epsilon<T>);
  }
};

/// That many values from 1 down to `last`.
inline std::vector<double> values_down_to(double last, Int count) {
  std::vector<double> values;
  for (Int k = 0; k < count; ++k) values.push_back(count == 1 ? 1 : std::pow(last, double(k) / (count - 1)));
  return values;
}

}  // namespace nuv::test
