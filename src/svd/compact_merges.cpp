#include "svd/compact_merges.hpp"

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "svd/merge_scaling.hpp"
#include "svd/merged_halves.hpp"
#include "svd/secular_squares.hpp"
#include "symmetric/secular_vectors.hpp"

namespace nuv {
namespace {

/// x := c x + s y, y := c y - s x
template <RealScalar R>
void turn(R& x, R& y, R c, R s) {
  const R turned = c * x + s * y;
  y = c * y - s * x;
  x = turned;
}

template <RealScalar R>
void permute(Int n, const Int* slots, R* x, R* scratch) {
  for (Int i = 0; i < n; ++i) scratch[i] = x[slots[i] - 1];
  std::copy_n(scratch, n, x);
}

/// Finds all roots with their distances from the next poles, and refits z: root by root, since nobody keeps all
/// differences.
///
/// work   3 k elements
template <RealScalar R>
Int find_and_refit(Int k, R* d, R* z, R* difl, R* difr, const R* dsigma, R* work) {
  R *const differences = work, *const sums = work + k, *const product = work + std::ptrdiff_t{2} * k;
  std::fill_n(product, k, R(1));
  const Int info = find_squares(
      k, dsigma, z, d, [=](Int) { return differences; }, [=](Int) { return sums; },
      [=](Int j, R* difference, const R* sum) {
        difl[j - 1] = negated(difference[j - 1]);
        if (j < k) difr[j - 1] = negated(difference[j]);
        multiply_by(k, difference, sum);
        const R pole = dsigma[j - 1];
        secular::multiply_by_quotients<SquaredPoles>(j - 1, difference, dsigma, pole, product);
        product[j - 1] *= difference[j - 1];
        secular::multiply_by_quotients<SquaredPoles>(k - j, difference + j, dsigma + j, pole, product + j);
      });
  if (info != 0) return info;
  for (Int i = 0; i < k; ++i) z[i] = secular::weight(product[i], z[i]);
  return 0;
}

/// The right vector of root j, of any length.
template <RealScalar R>
void form_right_vector(Int k, Int j, R root, const R* z, const R* difl, const R* difr, const R* dsigma, R* vector) {
  const R before = dsigma[j - 1], from_before = difl[j - 1];
  for (Int i = 0; i < j; ++i) vector[i] = z[i] / ((dsigma[i] - before) - from_before) / (dsigma[i] + root);
  if (j == k) return;
  const R behind = dsigma[j], from_behind = difr[j - 1];
  for (Int i = j; i < k; ++i) vector[i] = z[i] / ((dsigma[i] - behind) - from_behind) / (dsigma[i] + root);
}

}  // namespace

template <RealScalar T>
void lasd6(Int icompq, Int nl, Int nr, Int sqre, T* d, T* vf, T* vl, T alpha, T beta, Int* idxq, Int* perm, Int& givptr,
           Int* givcol, Int ldgcol, T* givnum, Int ldgnum, T* poles, T* difl, T* difr, T* z, Int& k, T& c, T& s,
           T* work, Int* iwork, Int& info) {
  const MergedHalves halves{nl, nr, sqre};
  info = icompq < 0 || icompq > 1 ? -1 : halves.check(2);
  if (info == 0 && ldgcol < halves.n()) info = -14;
  if (info == 0 && ldgnum < halves.n()) info = -16;
  if (info != 0) return report_bad_argument<T>("LASD6", info);

  const Int n = halves.n(), m = halves.m();
  T* const dsigma = work;
  T* const rest = dsigma + n;
  const MergeScaling<T> scaling(halves, d, alpha, beta);
  lasd7(icompq, nl, nr, sqre, k, d, z, rest, vf, rest + m, vl, rest + std::ptrdiff_t{2} * m, scaling.alpha(),
        scaling.beta(), dsigma, iwork, iwork + n, idxq, perm, givptr, givcol, ldgcol, givnum, ldgnum, c, s, info);
  if (info == 0) lasd8(icompq, k, d, z, vf, vl, difl, difr, ldgnum, dsigma, rest, info);
  if (info != 0) return;
  if (icompq == 1) {
    const Matrix Poles{poles, ldgnum};
    std::copy_n(d, k, Poles.at(1, 1));
    std::copy_n(dsigma, k, Poles.at(1, 2));
  }
  scaling.undo(d);
  lamrg(k, n - k, d, 1, -1, idxq);
}

template <RealScalar T>
void lasd7(Int icompq, Int nl, Int nr, Int sqre, Int& k, T* d, T* z, T* zw, T* vf, T* vfw, T* vl, T* vlw, T alpha,
           T beta, T* dsigma, Int* idx, Int* idxp, Int* idxq, Int* perm, Int& givptr, Int* givcol, Int ldgcol,
           T* givnum, Int ldgnum, T& c, T& s, Int& info) {
  const MergedHalves halves{nl, nr, sqre};
  info = icompq < 0 || icompq > 1 ? -1 : halves.check(2);
  if (info == 0 && ldgcol < halves.n()) info = -22;
  if (info == 0 && ldgnum < halves.n()) info = -24;
  if (info != 0) return report_bad_argument<T>("LASD7", info);

  const Int n = halves.n(), m = halves.m();
  form_joining_row<T>(halves, alpha, vl, beta, vf + (nl + 1), z);
  std::fill_n(vl, nl + 1, T(0));
  std::fill_n(vf + (nl + 1), halves.columns_behind(), T(0));
  halves.move_to_slots(vf, vf[nl]);
  halves.move_to_slots(d, T(0));
  const T negligible = negligible_in_merge(halves, d, alpha, beta);
  sort_slots(halves, d, idxq, zw, idxp, idx);

  const Matrix Pairs{givcol, ldgcol};
  const Matrix Rotations{givnum, ldgnum};
  givptr = 0;
  k = deflate_slots(halves, d, z, negligible, idx, idxp, [&](Int finished, Int kept, T cosine, T sine) {
    turn(vf[finished - 1], vf[kept - 1], cosine, sine);
    turn(vl[finished - 1], vl[kept - 1], cosine, sine);
    if (icompq == 0) return;
    ++givptr;
    Pairs(givptr, 2) = halves.line_of(finished);
    Pairs(givptr, 1) = halves.line_of(kept);
    Rotations(givptr, 2) = cosine;
    Rotations(givptr, 1) = sine;
  });
  const NullRotation<T> null = join_null_vectors(halves, z, negligible);
  c = null.c;
  s = null.s;
  if (sqre == 1) {
    turn(vf[0], vf[m - 1], c, s);
    turn(vl[0], vl[m - 1], c, s);
  }
  permute(n, idxp, vf, vfw);
  permute(n, idxp, vl, vlw);
  gather_poles(halves, k, d, z, negligible, idxp, dsigma);
  for (Int i = 0; i < n && icompq == 1; ++i) perm[i] = halves.line_of(idxp[i]);
}

template <RealScalar T>
void lasd8(Int icompq, Int k, T* d, T* z, T* vf, T* vl, T* difl, T* difr, Int lddifr, const T* dsigma, T* work,
           Int& info) {
  info = 0;
  if (icompq < 0 || icompq > 1) info = -1;
  else if (k < 1) info = -2;
  else if (lddifr < k) info = -9;
  if (info != 0) return report_bad_argument<T>("LASD8", info);

  const Matrix Difr{difr, lddifr};
  if (k == 1) {
    d[0] = difl[0] = std::abs(z[0]);
    if (icompq == 1) Difr(1, 2) = 1;
    return;
  }
  info = find_and_refit(k, d, z, difl, difr, dsigma, work);
  if (info != 0) return;
  T *const vector = work, *const first = work + k, *const last = work + std::ptrdiff_t{2} * k;
  for (Int j = 1; j <= k; ++j) {
    form_right_vector(k, j, d[j - 1], z, difl, difr, dsigma, vector);
    const T length = blas::nrm2(k, {vector, 1});
    first[j - 1] = blas::dot(k, {vector, 1}, {vf, 1}) / length;
    last[j - 1] = blas::dot(k, {vector, 1}, {vl, 1}) / length;
    if (icompq == 1) Difr(j, 2) = length;
  }
  std::copy_n(first, k, vf);
  std::copy_n(last, k, vl);
}

}  // namespace nuv

#include "svd/compact_merges.entries.inc"
