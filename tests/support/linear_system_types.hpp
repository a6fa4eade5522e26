#pragma once

// The matrix types of a published test set for linear systems, as one list that every driver runs through: diagonal,
// triangular, of all conditions, with zero columns, near underflow and overflow.

#include "support/described_matrices.hpp"

namespace nuv::test {

struct LinearSystemType {
  const char* name;
  double condition = 0;  ///< eps^-condition
  enum class Shape { full, diagonal, upper, lower } shape = Shape::full;
  enum class Zeros { none, first, last, half } zeros = Zeros::none;  ///< columns; of Hermitian matrices rows as well
  enum class Scale { moderate, small, large } scale = Scale::moderate;

  bool is_singular() const { return zeros != Zeros::none; }
  bool is_triangular() const { return shape == Shape::upper || shape == Shape::lower; }
};

/// A condition of 2 is about eps^-0.02 in double and eps^-0.04 in single precision.
inline constexpr LinearSystemType linear_system_types[] = {
    {.name = "diagonal", .condition = 0.04, .shape = LinearSystemType::Shape::diagonal},
    {.name = "upper triangular", .condition = 0.04, .shape = LinearSystemType::Shape::upper},
    {.name = "lower triangular", .condition = 0.04, .shape = LinearSystemType::Shape::lower},
    {.name = "well-conditioned", .condition = 0.04},
    {.name = "first column zero", .condition = 0.04, .zeros = LinearSystemType::Zeros::first},
    {.name = "last column zero", .condition = 0.04, .zeros = LinearSystemType::Zeros::last},
    {.name = "half of the columns zero", .condition = 0.04, .zeros = LinearSystemType::Zeros::half},
    {.name = "ill-conditioned", .condition = 0.45},
    {.name = "nearly singular", .condition = 0.9},
    {.name = "near underflow", .condition = 0.04, .scale = LinearSystemType::Scale::small},
    {.name = "near overflow", .condition = 0.04, .scale = LinearSystemType::Scale::large},
};

/// A matrix of a type, general or Hermitian, with both triangles. A Hermitian one has positive eigenvalues, and is
/// definite beyond rounding where its type is not singular.
///
/// diagonals  above and below the main one at most; -1: all
template <Scalar T>
GuardedMatrix<T> matrix_of_type(DescribedMatrices& matrices, const LinearSystemType& type, bool is_hermitian, Int n,
                                Int diagonals) {
  using Type = LinearSystemType;
  const Int all = diagonals < 0 ? all_diagonals : diagonals;
  const bool is_diagonal = type.shape == Type::Shape::diagonal;
  const Description description{.name = type.name,
                                .condition = is_hermitian ? 0.75 * type.condition : type.condition,
                                .lower = is_diagonal || type.shape == Type::Shape::upper ? 0 : all,
                                .upper = is_diagonal || type.shape == Type::Shape::lower ? 0 : all};
  GuardedMatrix<T> A = is_hermitian ? matrices.hermitian<T>(description, n, n + 1)
                                    : matrices.general<T>(description, n, n, n + 1);
  using Limits = std::numeric_limits<Real<T>>;
  const Real<T> extreme = Limits::min() / Limits::epsilon() * 16;
  const Real<T> factor = type.scale == Type::Scale::small ? extreme : type.scale == Type::Scale::large ? 1 / extreme : 1;
  const auto is_zero = [&](Int j) {
    return (type.zeros == Type::Zeros::first && j == 1) || (type.zeros == Type::Zeros::last && j == n) ||
           (type.zeros == Type::Zeros::half && j > n / 2);
  };
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) A(i, j) = is_zero(j) || (is_hermitian && is_zero(i)) ? T(0) : A(i, j) * factor;
  }
  A.seal();
  return A;
}

}  // namespace nuv::test
