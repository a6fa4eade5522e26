#pragma once

// The textbook loops for band and tridiagonal systems, in a source of their own that is compiled as the library is.

namespace nuv::bench {

/// LU with partial pivoting, column by column, and the solve of one system.
void plain_gbsv(int n, int kl, int ku, double* ab, int ldab, int* ipiv, double* b);

/// Cholesky factorisation of a lower band triangle, column by column, and the solve of one system.
void plain_pbsv(int n, int kd, double* ab, int ldab, double* b);

/// Elimination with exchanges of neighbouring rows, in the right-hand sides at once.
void plain_gtsv(int n, int nrhs, double* dl, double* d, double* du, double* b, int ldb);

/// L D L^T, and the solves one after the other.
void plain_ptsv(int n, int nrhs, double* d, double* e, double* b, int ldb);

}  // namespace nuv::bench
