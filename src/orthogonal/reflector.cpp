// One reflector: generated, and applied to a matrix.

#include "base/quotient.hpp"
#include "base/short_reflector.hpp"
#include "environment/hermitian.hpp"
#include "environment/machine_constants.hpp"
#include "frame/option_matching.hpp"
#include "orthogonal/householder.hpp"
#include "orthogonal/reflector_elements.hpp"

namespace nuv {
namespace {

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

template <Scalar T>
void larf(char side, Int m, Int n, const T* v, Int incv, T tau, T* c, Int ldc, T* work) {
  if (tau == T(0)) return;
  const Matrix C{c, ldc};
  const Vector V{v, incv};
  const Vector W{work, 1};
  if (same_letter(side, 'L')) {
    blas::gemv(adjoint<T>, m, n, T(1), C, V, T(0), W);
    add_outer_product<T>(m, n, negated(tau), V, W, C);
  } else {
    blas::gemv('N', m, n, T(1), C, V, T(0), W);
    add_outer_product<T>(m, n, negated(tau), W, V, C);
  }
}

template <Scalar T>
void larfx(char side, Int m, Int n, const T* v, T tau, T* c, Int ldc, T* work) {
  if (tau == T(0)) return;
  if (same_letter(side, 'L') && m >= 1 && m <= longest_short_reflector) {
    return with_constant(m, [=](auto order) { apply_short_from_left<order()>(n, v, tau, c, ldc); });
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
