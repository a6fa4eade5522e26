// One reflector: generated, and applied to a matrix.

#include "base/quotient.hpp"
#include "environment/machine_constants.hpp"
#include "environment/service_math.hpp"
#include "environment/sums_of_squares.hpp"
#include "frame/option_matching.hpp"
#include "orthogonal/householder.hpp"
#include "solvers/hermitian.hpp"

namespace nuv {
namespace {

/// What the reflector makes of alpha: the length of (alpha, x), of the sign that makes alpha - beta a sum of like
/// signs.
template <RealScalar T>
T reflected(T alpha, T xnorm) {
  return negated(sign(lapy2(alpha, xnorm), alpha));
}
template <RealScalar R>
R reflected(std::complex<R> alpha, R xnorm) {
  return negated(sign(lapy3(alpha.real(), alpha.imag(), xnorm), alpha.real()));
}

/// (beta - alpha) / beta
template <RealScalar T>
T factor_of_reflector(T alpha, T beta) {
  return (beta - alpha) / beta;
}
template <RealScalar R>
std::complex<R> factor_of_reflector(std::complex<R> alpha, R beta) {
  return {(beta - alpha.real()) / beta, negated(alpha.imag()) / beta};
}

/// Whether nothing is left to do for a vector whose elements behind alpha have the norm xnorm.
template <RealScalar T>
bool is_reflected(T, T xnorm) {
  return xnorm == 0;
}
template <RealScalar R>
bool is_reflected(std::complex<R> alpha, R xnorm) {
  return xnorm == 0 && alpha.imag() == 0;
}

}  // namespace

template <Scalar T>
void larfg(Int n, T& alpha, T* x, Int incx, T& tau) {
  using R = Real<T>;
  // A complex alpha on its own still has a phase to lose.
  constexpr Int shortest = ComplexScalar<T> ? 1 : 2;
  tau = T(0);
  if (n < shortest) return;
  const Vector X{x, incx};
  R xnorm = blas::nrm2(n - 1, X);
  if (is_reflected(alpha, xnorm)) return;

  R beta = reflected(alpha, xnorm);
  const R safmin = Machine<R>::safe_min / Machine<R>::eps;
  int scalings = 0;
  if (std::abs(beta) < safmin) {
    const R rsafmn = 1 / safmin;
    do {
      ++scalings;
      blas::scal(n - 1, rsafmn, X);
      beta *= rsafmn;
      alpha *= rsafmn;
    } while (std::abs(beta) < safmin);
    xnorm = blas::nrm2(n - 1, X);
    beta = reflected(alpha, xnorm);
  }
  tau = factor_of_reflector(alpha, beta);
  blas::scal(n - 1, quotient(T(1), alpha - beta), X);
  for (; scalings > 0; --scalings) beta *= safmin;
  alpha = beta;
}

namespace {

/// A := A + alpha x y^H
template <RealScalar T>
void add_outer_product(Int m, Int n, T alpha, Vector<const T> x, Vector<const T> y, Matrix<T> A) {
  blas::ger(m, n, alpha, x, y, A);
}
template <RealScalar R>
void add_outer_product(Int m, Int n, std::complex<R> alpha, Vector<const std::complex<R>> x,
                       Vector<const std::complex<R>> y, Matrix<std::complex<R>> A) {
  blas::gerc(m, n, alpha, x, y, A);
}

}  // namespace

template <Scalar T>
void larf(char side, Int m, Int n, const T* v, Int incv, T tau, T* c, Int ldc, T* work) {
  if (tau == T(0)) return;
  const Matrix C{c, ldc};
  const Vector V{v, incv};
  const Vector W{work, 1};
  if (same_letter(side, 'L')) {
    blas::gemv(adjoint<T>, m, n, T(1), C, V, T(0), W);
    add_outer_product<Real<T>>(m, n, negated(tau), V, W, C);
  } else {
    blas::gemv('N', m, n, T(1), C, V, T(0), W);
    add_outer_product<Real<T>>(m, n, negated(tau), W, V, C);
  }
}

namespace {

/// Reflectors of at most so many elements have code of their own for each number.
constexpr Int longest_short_reflector = 10;

/// C := C - tau v (v^H C) column by column, v and tau v in registers.
template <int order, Scalar T>
void apply_short_from_left(Int n, const T* v, T tau, T* c, Int ldc) {
  T weight[order], multiple[order];
#pragma GCC unroll 10
  for (int i = 0; i < order; ++i) {
    weight[i] = conjugate(v[i]);
    multiple[i] = tau * v[i];
  }
  for (Int j = 0; j < n; ++j) {
    T* const column = c + std::ptrdiff_t{j} * ldc;
    T sum = weight[0] * column[0];
#pragma GCC unroll 10
    for (int i = 1; i < order; ++i) sum += weight[i] * column[i];
#pragma GCC unroll 10
    for (int i = 0; i < order; ++i) column[i] -= sum * multiple[i];
  }
}

template <int order, Scalar T>
void apply_short_from_left(Int m, Int n, const T* v, T tau, T* c, Int ldc) {
  if (m == order) return apply_short_from_left<order>(n, v, tau, c, ldc);
  if constexpr (order < longest_short_reflector) apply_short_from_left<order + 1>(m, n, v, tau, c, ldc);
}

}  // namespace

template <Scalar T>
void larfx(char side, Int m, Int n, const T* v, T tau, T* c, Int ldc, T* work) {
  if (tau == T(0)) return;
  if (same_letter(side, 'L') && m >= 1 && m <= longest_short_reflector) {
    return apply_short_from_left<1>(m, n, v, tau, c, ldc);
  }
  larf(side, m, n, v, 1, tau, c, ldc, work);
}

template <>
void larfx(char side, Int m, Int n, const double* v, double tau, double* c, Int ldc, double* work) {
  blas::larfx(side, m, n, v, tau, Matrix{c, ldc}, work);
}

template <>
void larfx(char side, Int m, Int n, const std::complex<float>* v, std::complex<float> tau, std::complex<float>* c,
           Int ldc, std::complex<float>* work) {
  blas::larfx(side, m, n, v, tau, Matrix{c, ldc}, work);
}

}  // namespace nuv

#include "orthogonal/reflector.entries.inc"
