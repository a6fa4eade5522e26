#include "svd/bidiagonal_merges.hpp"

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/scaling.hpp"
#include "frame/error_report.hpp"
#include "svd/bidiagonal_deflation.hpp"
#include "svd/merge_scaling.hpp"
#include "svd/merged_halves.hpp"
#include "svd/secular_squares.hpp"
#include "symmetric/secular_vectors.hpp"

namespace nuv {
namespace {

/// Without other poles the vectors stay but for a sign.
template <RealScalar R>
void take_only_pole(const MergedHalves& halves, R z, R* d, Matrix<R> U, Matrix<const R> U2, Matrix<R> VT,
                    Matrix<const R> VT2) {
  d[0] = std::abs(z);
  blas::copy(halves.m(), row(VT2, 1, 1), row(VT, 1, 1));
  for (Int i = 1; i <= halves.n(); ++i) U(i, 1) = z < 0 ? negated(U2(i, 1)) : U2(i, 1);
}

/// Q := the unit left vectors that belong to the right ones in V, in the order of idxc. The first row of Q has the
/// factors that gave these their length: with their first elements as z has them, those of the left ones are -1.
template <RealScalar R>
void order_left_vectors(Int k, const R* dsigma, const Int* idxc, Matrix<const R> V, Matrix<R> Q) {
  for (Int j = 1; j <= k; ++j) {
    const R first = negated(Q(1, j));
    for (Int i = 1; i <= k; ++i) {
      const Int at = idxc[i - 1];
      Q(i, j) = at == 1 ? first : dsigma[at - 1] * V(at, j);
    }
    blas::scal(k, 1 / blas::nrm2(k, column(Q, 1, j)), column(Q, 1, j));
  }
}

template <RealScalar R>
void order_right_vectors(Int k, const Int* idxc, Matrix<const R> V, Matrix<R> Q) {
  for (Int j = 1; j <= k; ++j) {
    for (Int i = 1; i <= k; ++i) Q(i, j) = V(idxc[i - 1], j);
  }
}

}  // namespace

template <RealScalar T>
void lasd1(Int nl, Int nr, Int sqre, T* d, T alpha, T beta, T* u, Int ldu, T* vt, Int ldvt, Int* idxq, Int* iwork,
           T* work, Int& info) {
  const MergedHalves halves{nl, nr, sqre};
  info = halves.check(1);
  if (info != 0) return report_bad_argument<T>("LASD1", info);

  const Int n = halves.n(), m = halves.m();
  T* const z = work;
  T* const dsigma = z + m;
  T* const u2 = dsigma + n;
  T* const vt2 = u2 + std::ptrdiff_t{n} * n;
  T* const q = vt2 + std::ptrdiff_t{m} * m;
  Int* const idx = iwork;
  Int* const idxc = idx + n;
  Int* const coltyp = idxc + n;
  Int* const idxp = coltyp + n;

  const MergeScaling<T> scaling(halves, d, alpha, beta);
  Int k;
  lasd2(nl, nr, sqre, k, d, z, scaling.alpha(), scaling.beta(), u, ldu, vt, ldvt, dsigma, u2, n, vt2, m, idxp, idx,
        idxc, idxq, coltyp, info);
  if (info == 0) {
    lasd3(nl, nr, sqre, k, d, q, k, dsigma, u, ldu, u2, n, vt, ldvt, vt2, m, idxc, coltyp, z, info);
  }
  if (info != 0) return;
  scaling.undo(d);
  lamrg(k, n - k, d, 1, -1, idxq);
}

template <RealScalar T>
void lasd3(Int nl, Int nr, Int sqre, Int k, T* d, T* q, Int ldq, const T* dsigma, T* u, Int ldu, const T* u2, Int ldu2,
           T* vt, Int ldvt, const T* vt2, Int ldvt2, const Int* idxc, const Int* ctot, T* z, Int& info) {
  const MergedHalves halves{nl, nr, sqre};
  info = halves.check(1);
  if (info == 0) {
    const Int n = halves.n(), m = halves.m();
    if (k < 1 || k > n) info = -4;
    else if (ldq < k) info = -7;
    else if (ldu < n) info = -10;
    else if (ldu2 < n) info = -12;
    else if (ldvt < m) info = -14;
    else if (ldvt2 < m) info = -16;
  }
  if (info != 0) return report_bad_argument<T>("LASD3", info);

  const Matrix U{u, ldu}, VT{vt, ldvt}, Q{q, ldq};
  const Matrix<const T> U2{u2, ldu2}, VT2{vt2, ldvt2};
  if (k == 1) return take_only_pole<T>(halves, z[0], d, U, U2, VT, VT2);

  info = find_squares(
      k, dsigma, z, d, [&](Int j) { return U.at(1, j); }, [&](Int j) { return VT.at(1, j); },
      [&](Int, T* differences, const T* sums) { multiply_by(k, differences, sums); });
  if (info != 0) return;
  const SecularSystem<T, SquaredPoles> system{k, dsigma, z, U};
  refit_weights(system, OneShare());
  for (Int j = 1; j <= k; ++j) {
    Q(1, j) = vector_of_root(system, j, VT.at(1, j));
    blas::scal(k, Q(1, j), column(VT, 1, j));
  }
  const Int above = ctot[0], upper = ctot[0] + ctot[1], lower = ctot[1] + ctot[2];
  const Matrix Q_below = block(Q, above + 1, 1);
  order_left_vectors<T>(k, dsigma, idxc, VT, Q);
  blas::gemm('N', 'N', nl + 1, k, upper, T(1), U2, Q, T(0), U);
  blas::gemm('N', 'N', nr, k, lower, T(1), block(U2, nl + 2, above + 1), Q_below, T(0), block(U, nl + 2, 1));
  order_right_vectors<T>(k, idxc, VT, Q);
  blas::gemm('T', 'N', k, nl + 1, upper, T(1), Q, VT2, T(0), VT);
  blas::gemm('T', 'N', k, halves.columns_behind(), lower, T(1), Q_below, block(VT2, above + 1, nl + 2), T(0),
             block(VT, 1, nl + 2));
}

}  // namespace nuv

#include "svd/bidiagonal_merges.entries.inc"
