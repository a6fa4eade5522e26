#pragma once

// Representations L D L^T of tridiagonal matrices, and their eigenvalues to more digits than double precision has.

#include <cmath>
#include <vector>

#include "support/guarded.hpp"
#include "support/random.hpp"
#include "svd/bidiagonal_matrices.hpp"

namespace nuv::test {

/// D, and the elements below the diagonal of L, with all that routines want of them.
template <RealScalar R>
struct Representation {
  GuardedVector<R> d, l, lld;

  explicit Representation(Int n) : d(n), l(n - 1), lld(n - 1) {}

  Int order() const { return d.size(); }

  void form_lld() {
    for (Int i = 1; i < order(); ++i) lld(i) = l(i) * l(i) * d(i);
    d.seal();
    l.seal();
    lld.seal();
  }
  bool unchanged() const { return d.unchanged() && l.unchanged() && lld.unchanged(); }
};

/// All of D is positive if it is to be definite, else of either sign.
template <RealScalar R>
Representation<R> random_representation(Random& random, Int n, bool definite) {
  Representation<R> representation(n);
  for (Int i = 1; i <= n; ++i) {
    const R x = random.divisor<R>();
    representation.d(i) = definite ? std::abs(x) : x;
    if (i < n) representation.l(i) = random.scalar<R>();
  }
  representation.form_lld();
  return representation;
}

/// In ascending order. Where D is positive, these are squares of singular values, since L D L^T = (L sqrt(D)) (L
/// sqrt(D))^T.
template <RealScalar R>
std::vector<long double> values_of_definite(const Representation<R>& representation) {
  std::vector<long double> squares;
  for (Int i = 1; i <= representation.order(); ++i) {
    if (i > 1) squares.push_back(representation.lld(i - 1));
    squares.push_back(representation.d(i));
  }
  auto values = singular_values(squares, 1e-2000L);
  std::vector<long double> ascending(values.rbegin(), values.rend());
  for (long double& value : ascending) value *= value;
  return ascending;
}

}  // namespace nuv::test
