#pragma once

// What a square matrix of test data equals: its transpose or its adjoint.

#include "base/types.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

/// Real symmetric matrices count as Hermitian, so that symmetric ones are complex.
enum class Symmetry { unknown, none, symmetric, hermitian };

template <Scalar T>
constexpr Symmetry symmetry_of(char sym) {
  if (same_letter(sym, 'N')) return Symmetry::none;
  if (same_letter(sym, 'S')) return ComplexScalar<T> ? Symmetry::symmetric : Symmetry::hermitian;
  if (same_letter(sym, 'H')) return Symmetry::hermitian;
  return Symmetry::unknown;
}

/// Whether the elements above the diagonal tell those below.
constexpr bool is_symmetric(Symmetry symmetry) {
  return symmetry == Symmetry::symmetric || symmetry == Symmetry::hermitian;
}

/// Element (j, i) where (i, j) is x.
template <Scalar T>
T mirrored(Symmetry symmetry, T x) {
  return symmetry == Symmetry::hermitian ? conjugate(x) : x;
}

/// A number without what may not stand on the diagonal.
template <Scalar T>
T on_diagonal(Symmetry symmetry, T x) {
  return symmetry == Symmetry::hermitian ? T(std::real(x)) : x;
}

}  // namespace nuv
