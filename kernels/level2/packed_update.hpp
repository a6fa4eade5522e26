#pragma once

#include "kernels/level2/stored_columns.hpp"

namespace nuv::kernels::inline NUV_ISA {

enum class Symmetry { symmetric, hermitian };

/// Adds f_1 x_1 + f_2 x_2 + ..., where f = factors(j), to each column j of a packed triangle. The diagonal of a
/// Hermitian one comes out real.
template <Symmetry symmetry, Scalar T, bool upper, class FactorsOf, class... X>
[[gnu::flatten]] void update_columns(PackedTriangle<T, upper> A, FactorsOf factors, X... x) {
  constexpr int terms = sizeof...(X);
  constexpr Int short_column = 8;
  const Int n = A.columns();
  for (Int j = 1; j <= n; ++j) {
    const Int first = upper ? 1 : j, count = upper ? j : n - j + 1;
    const PerColumn<T, terms> f = factors(j);
    T* const a = A.at(first, j);
    if ((X::is_contiguous && ...) && count > short_column) {
      add_columns(Columns<T, terms>{&x(first)...}, f, a, count);
    } else {
      for (Int i = 0; i < count; ++i) {
        expect_few_steps();
        const PerColumn<T, terms> xi{x(first + i)...};
        for (int t = 0; t < terms; ++t) a[i] = multiply_add(f[t], xi[t], a[i]);
      }
    }
    if constexpr (symmetry == Symmetry::hermitian) A(j, j) = std::real(A(j, j));
  }
}

}  // namespace nuv::kernels::inline NUV_ISA
