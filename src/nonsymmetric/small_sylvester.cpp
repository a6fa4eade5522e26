#include "nonsymmetric/small_sylvester.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/matrix.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"

namespace nuv {
namespace {

template <RealScalar R>
constexpr R least_pivot = Machine<R>::safe_min / Machine<R>::precision;

/// A system of linear equations whose order the compiler knows.
template <int order, RealScalar R>
struct SmallSystem {
  R matrix[order][order];
  R rhs[order];
  int unknown[order];  ///< which one a column belongs to

  /// Brings the largest element of rows and columns k ... order - 1 to the diagonal.
  void pivot(int k) {
    int row = k, col = k;
    for (int i = k; i < order; ++i) {
      for (int j = k; j < order; ++j) {
        if (std::abs(matrix[i][j]) > std::abs(matrix[row][col])) {
          row = i;
          col = j;
        }
      }
    }
    std::swap(matrix[k], matrix[row]);
    std::swap(rhs[k], rhs[row]);
    for (auto& line : matrix) std::swap(line[k], line[col]);
    std::swap(unknown[k], unknown[col]);
  }

  /// Makes the matrix upper triangular with no pivot below smin; gives whether one had to be replaced.
  bool eliminate(R smin) {
    bool perturbed = false;
    for (int k = 0; k < order; ++k) {
      pivot(k);
      if (std::abs(matrix[k][k]) < smin) {
        matrix[k][k] = smin;
        perturbed = true;
      }
      for (int i = k + 1; i < order; ++i) {
        const R factor = matrix[i][k] / matrix[k][k];
        rhs[i] -= factor * rhs[k];
        for (int j = k + 1; j < order; ++j) matrix[i][j] -= factor * matrix[k][j];
      }
    }
    return perturbed;
  }

  /// Scales the right side down if the solution of the triangular system might overflow; gives the factor.
  R scale_down() {
    constexpr R growth = R(1 << (order - 1));  // of the elements by substitution, where all are as large as the pivots
    const auto is_too_large = [&](int i) {
      return growth * least_pivot<R> * std::abs(rhs[i]) > std::abs(matrix[i][i]);
    };
    bool any = false;
    R largest = 0;
    for (int i = 0; i < order; ++i) {
      any = any || is_too_large(i);
      largest = std::max(largest, std::abs(rhs[i]));
    }
    if (!any) return 1;
    const R scale = (1 / growth) / largest;
    for (R& element : rhs) element *= scale;
    return scale;
  }

  void substitute_back(R* x) const {
    for (int i = order - 1; i >= 0; --i) {
      R rest = rhs[i];
      for (int j = i + 1; j < order; ++j) rest -= matrix[i][j] * x[unknown[j]];
      x[unknown[i]] = rest / matrix[i][i];
    }
  }
};

template <RealScalar R>
R largest_of(Int n, Matrix<const R> A) {
  R largest = 0;
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) largest = std::max(largest, std::abs(A(i, j)));
  }
  return largest;
}

/// One equation of this kind, with op applied to the elements.
template <RealScalar R>
struct SylvesterEquation {
  Matrix<const R> TL, TR, B;
  bool transpose_left, transpose_right;
  R sign;

  R left(int i, int k) const { return transpose_left ? TL(k + 1, i + 1) : TL(i + 1, k + 1); }
  R right(int l, int j) const { return sign * (transpose_right ? TR(j + 1, l + 1) : TR(l + 1, j + 1)); }

  /// The pivots that are not replaced are no smaller.
  template <int n1, int n2>
  R smallest_pivot() const {
    if (n1 * n2 == 1) return least_pivot<R>;  // a sum is as good as it is
    return std::max(Machine<R>::precision * std::max(largest_of(n1, TL), largest_of(n2, TR)), least_pivot<R>);
  }

  /// (I (x) op(TL) + sign op(TR)^T (x) I) vec X = scale vec B
  template <int n1, int n2>
  bool solve(R& scale, Matrix<R> X) const {
    constexpr int order = n1 * n2;
    SmallSystem<order, R> system;
    for (int row = 0; row < order; ++row) {
      const int i = row % n1, j = row / n1;
      for (int col = 0; col < order; ++col) {
        const int k = col % n1, l = col / n1;
        system.matrix[row][col] = (j == l ? left(i, k) : R(0)) + (i == k ? right(l, j) : R(0));
      }
      system.rhs[row] = B(i + 1, j + 1);
      system.unknown[row] = row;
    }
    const bool perturbed = system.eliminate(smallest_pivot<n1, n2>());
    scale = system.scale_down();
    R x[order];
    system.substitute_back(x);
    for (int row = 0; row < order; ++row) X(row % n1 + 1, row / n1 + 1) = x[row];
    return perturbed;
  }

  bool solve(Int n1, Int n2, R& scale, Matrix<R> X) const {
    if (n1 == 1) return n2 == 1 ? solve<1, 1>(scale, X) : solve<1, 2>(scale, X);
    return n2 == 1 ? solve<2, 1>(scale, X) : solve<2, 2>(scale, X);
  }
};

}  // namespace

template <RealScalar T>
void lasy2(Logical ltranl, Logical ltranr, Int isgn, Int n1, Int n2, const T* tl, Int ldtl, const T* tr, Int ldtr,
           const T* b, Int ldb, T& scale, T* x, Int ldx, T& xnorm, Int& info) {
  info = 0;
  if (n1 == 0 || n2 == 0) return;
  const Matrix X{x, ldx};
  const SylvesterEquation<T> equation{{tl, ldtl}, {tr, ldtr}, {b, ldb}, is_true(ltranl), is_true(ltranr), T(isgn)};
  info = equation.solve(n1, n2, scale, X) ? 1 : 0;
  xnorm = 0;
  for (Int i = 1; i <= n1; ++i) {
    T sum = std::abs(X(i, 1));
    if (n2 == 2) sum += std::abs(X(i, 2));
    xnorm = larger_or_nan(xnorm, sum);
  }
}

}  // namespace nuv

#include "nonsymmetric/small_sylvester.entries.inc"
