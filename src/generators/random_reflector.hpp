#pragma once

// Reflections H = I - tau v v^H with real tau, of which random orthogonal matrices are made, and how they are applied.

#include "base/quotient.hpp"
#include "environment/hermitian.hpp"
#include "environment/magnitudes.hpp"
#include "environment/rotation.hpp"
#include "generators/random_numbers.hpp"

namespace nuv {

/// x / |x|, and 1 for zero.
template <Scalar T>
T direction(T x) {
  if (x == T(0)) return T(1);
  if constexpr (ComplexScalar<T>) {
    return detail::direction(x);
  } else {
    return x > T(0) ? T(1) : T(-1);
  }
}

/// Finds the reflection that turns x to (head, 0 ... 0), overwrites x with its vector v, v(1) = 1, and gives tau. For
/// x = 0 it is the identity, and x stays. n >= 1.
template <Scalar T>
Real<T> turn_to_first_axis(Int n, Vector<T> x, T& head) {
  T& first = *x.data;
  const Real<T> norm = blas::nrm2(n, Vector<const T>(x));
  const T wa = direction(first) * norm;
  head = negated(wa);
  if (norm == 0) return 0;
  const T wb = first + wa;
  blas::scal(n - 1, quotient(T(1), wb), {x.data + x.inc, x.inc});
  first = 1;
  return std::real(quotient(wb, wa));
}

/// Draws a random direction: v becomes the vector of the reflection that turns it to the first axis. Gives tau.
template <Scalar T>
Real<T> draw_reflector(Int* iseed, Int n, T* v) {
  larnv(3, iseed, n, v);
  T head;
  return turn_to_first_axis<T>(n, {v, 1}, head);
}

/// A := (I - tau v v^H) A for an m by n matrix; work holds n numbers.
template <Scalar T>
void reflect_from_left(Int m, Int n, Real<T> tau, Vector<const T> v, Matrix<T> A, T* work) {
  blas::gemv(adjoint<T>, m, n, T(1), A, v, T(0), {work, 1});
  add_outer_product<T>(m, n, T(negated(tau)), v, {work, 1}, A);
}

/// A := A (I - tau v v^H) for an m by n matrix; work holds m numbers.
template <Scalar T>
void reflect_from_right(Int m, Int n, Real<T> tau, Vector<const T> v, Matrix<T> A, T* work) {
  blas::gemv('N', m, n, T(1), A, v, T(0), {work, 1});
  add_outer_product<T>(m, n, T(negated(tau)), {work, 1}, v, A);
}

}  // namespace nuv
