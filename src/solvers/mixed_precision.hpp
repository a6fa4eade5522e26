#pragma once

// Systems in double precision solved by a factorisation in single precision, whose solution iterative refinement makes
// as good as one computed in double precision (J. Langou et al., "Exploiting the performance of 32 bit floating point
// arithmetic in obtaining 64 bit accuracy", Proc. SC 2006).

#include "base/types.hpp"

namespace nuv {

/// Solves A X = B for a general square A; in double precision throughout where single precision does not do.
///
/// a       n by n, lda >= max(1, n); overwritten by its factors only where all is done in double precision
/// ipiv    n row exchanges, of the factorisation that led to X
/// b       n by nrhs, ldb >= max(1, n);  x  n by nrhs, ldx >= max(1, n); solutions
/// work    n by nrhs elements;  swork  n (n + nrhs) elements
/// iter    >= 0: steps of refinement that were taken. All in double precision: -2: a number is too large for single
///         precision; -3: the single-precision factor is exactly singular; -31: refinement did not converge in 30 steps
/// info    0; -k: argument k was bad (reported); k: U(k, k) is exactly zero in double precision, x is b
void dsgesv(Int n, Int nrhs, double* a, Int lda, Int* ipiv, const double* b, Int ldb, double* x, Int ldx, double* work,
            float* swork, Int& iter, Int& info);

/// The same for complex numbers, with the argument rwork that later versions of the published routine have.
///
/// rwork   n elements
void zcgesv(Int n, Int nrhs, std::complex<double>* a, Int lda, Int* ipiv, const std::complex<double>* b, Int ldb,
            std::complex<double>* x, Int ldx, std::complex<double>* work, std::complex<float>* swork, double* rwork,
            Int& iter, Int& info);

/// Rounds an m by n matrix to single precision.
///
/// info    0; (i - 1) lda + j, or the largest integer if that is less: a(i, j) is too large for single precision, and
///         sa is not to be used; for n < 1 as it was
void dlag2s(Int m, Int n, const double* a, Int lda, float* sa, Int ldsa, Int& info);
void zlag2c(Int m, Int n, const std::complex<double>* a, Int lda, std::complex<float>* sa, Int ldsa, Int& info);

/// Widens an m by n matrix sa to a; info is 0.
void slag2d(Int m, Int n, const float* sa, Int ldsa, double* a, Int lda, Int& info);
void clag2z(Int m, Int n, const std::complex<float>* sa, Int ldsa, std::complex<double>* a, Int lda, Int& info);

}  // namespace nuv
