#pragma once

// Eigenvalues and Schur form of real pencils A - lambda B of order two with an upper triangular B, scaled so that
// nothing overflows and nothing that counts underflows.

#include "base/types.hpp"

namespace nuv {

/// Eigenvalues of the pencil, as quotients whose parts are in range.
///
/// a       2 by 2, lda >= 2; its norm is to be below 1 / safmin, and elements below sqrt(safmin) times the norm may
///         count as zero
/// b       2 by 2, upper triangular, ldb >= 2; b(2, 1) is not read. A diagonal element below sqrt(safmin) times the
///         largest one, or below safmin, is taken to be that large
/// safmin  least positive number that may be worked with: 1 / safmin is not to overflow
/// scale1  not negative: eigenvalues are wr1 / scale1 and wr2 / scale2, or with wi > 0 (wr1 +- i wi) / scale1. It may
///         be tiny, or zero, where the quotient is beyond the range
/// scale2  the same for the second eigenvalue; scale1 of a complex pair
/// wr1     if the eigenvalues are real, the one nearer to element (2, 2) of A B^-1, times scale1; else the real part of
///         both, times scale1
/// wr2     the other one times scale2; wr1 of a complex pair
/// wi      imaginary part of a complex pair times scale1, positive; else zero
template <RealScalar T>
void lag2(const T* a, Int lda, const T* b, Int ldb, T safmin, T& scale1, T& scale2, T& wr1, T& wr2, T& wi);

/// Brings the pencil to its standard Schur form by a rotation from each side:
///
///     A := [  csl  snl ] A [ csr -snr ],   B likewise,
///          [ -snl  csl ]   [ snr  csr ]
///
/// where both become upper triangular if the eigenvalues are real; otherwise B becomes diagonal, with
/// |b(1, 1)| >= |b(2, 2)| > 0.
///
/// a, b    2 by 2, lda, ldb >= 2, B upper triangular; the Schur form out
/// alphar, alphai, beta   2 elements each: eigenvalue k is (alphar(k) + i alphai(k)) / beta(k). beta may be zero. Of a
///         complex pair, the one with positive imaginary part comes first
/// csl, snl   cosine and sine of the rotation from the left
/// csr, snr   cosine and sine of the rotation from the right
template <RealScalar T>
void lagv2(T* a, Int lda, T* b, Int ldb, T* alphar, T* alphai, T* beta, T& csl, T& snl, T& csr, T& snr);

}  // namespace nuv
