#pragma once

// Matrices that are hard to compute with, by description: ill-conditioned, graded, band, rank-deficient. The library's
// own generators make them of a seed.

#include <array>
#include <limits>

#include "base/types.hpp"
#include "support/guarded.hpp"

namespace nuv::test {

inline constexpr Int all_diagonals = std::numeric_limits<Int>::max();

/// Conditions and grades are powers of eps, so that they are as bad in each precision. A matrix has a condition or
/// grades: with a grade it is made element by element, else of its singular values or eigenvalues.
struct Description {
  const char* name;
  double condition = 0;       ///< the largest value over the smallest is eps^-condition
  Int mode = 3;               ///< how the values are spread between, as ?latms takes it
  double rank = 1;            ///< share of the values that are not zero; without a grade
  double row_grade = 0;       ///< rows are scaled from 1 to eps^row_grade
  double column_grade = 0;    ///< columns alike
  Int lower = all_diagonals;  ///< diagonals below the main one
  Int upper = all_diagonals;  ///< and above it

  bool is_graded() const { return row_grade != 0 || column_grade != 0; }
};

inline constexpr Description matrices_of_full_rank[] = {
    {.name = "ill-conditioned", .condition = 0.9},
    {.name = "one large value", .condition = 1, .mode = 1},
    {.name = "one small value", .condition = 1, .mode = 2},
    {.name = "random values", .condition = 0.7, .mode = 5},
    {.name = "graded rows", .row_grade = 1},
    {.name = "graded columns", .column_grade = 1},
    {.name = "graded rows and columns", .row_grade = 0.7, .column_grade = -0.7},
    {.name = "band", .condition = 0.5, .lower = 2, .upper = 3},
    {.name = "ill-conditioned Hessenberg", .condition = 0.9, .lower = 1},
    {.name = "graded band", .row_grade = 0.5, .lower = 4, .upper = 1},
};

inline constexpr Description rank_deficient_matrices[] = {
    {.name = "half the rank", .condition = 0.3, .rank = 0.5},
    {.name = "rank one or so", .mode = 4, .rank = 0.01},
    {.name = "band of three quarters of the rank", .condition = 0.2, .rank = 0.75, .lower = 3, .upper = 2},
    {.name = "zero", .rank = 0},
};

/// These are definite beyond rounding; the grades are those of rows and columns alike.
inline constexpr Description definite_matrices[] = {
    {.name = "ill-conditioned", .condition = 0.6},
    {.name = "one large value", .condition = 0.6, .mode = 1},
    {.name = "one small value", .condition = 0.6, .mode = 2},
    {.name = "graded", .row_grade = 0.8},
    {.name = "graded from the end", .row_grade = -0.8},
    {.name = "band", .condition = 0.5, .lower = 3, .upper = 3},
    {.name = "graded tridiagonal", .row_grade = 0.5, .lower = 1, .upper = 1},
};

/// Makes matrices one after another.
class DescribedMatrices {
 public:
  explicit DescribedMatrices(Int seed) : iseed_{1989, 389, seed % 4096, 1} {}

  /// The number of values that are not zero, of count.
  static Int rank(const Description& description, Int count);

  template <Scalar T>
  GuardedMatrix<T> general(const Description& description, Int m, Int n, Int ld);

  /// Hermitian, both triangles, with the values as eigenvalues; a graded one is definite for its large diagonal.
  template <Scalar T>
  GuardedMatrix<T> hermitian(const Description& description, Int n, Int ld);

 private:
  std::array<Int, 4> iseed_;
};

}  // namespace nuv::test
