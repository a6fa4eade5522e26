#include "symmetric/merges.hpp"

#include <algorithm>
#include <cmath>

#include "blas.hpp"
#include "environment/machine_measured.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/sorting.hpp"
#include "frame/error_report.hpp"
#include "symmetric/deflation.hpp"
#include "symmetric/merge_of_halves.hpp"
#include "symmetric/real_factors.hpp"
#include "symmetric/secular_equation.hpp"

namespace nuv {
namespace {

/// Root j of a secular equation of order k; gives info.
template <RealScalar R>
Int find_root(Int k, Int j, const R* dlamda, const R* w, R* delta, R rho, R& root) {
  Int info;
  laed4(k, j, dlamda, w, delta, rho, root, info);
  return info;
}

template <RealScalar R>
struct Calls {
  template <class... Arguments>
  void deflate(Arguments&&... arguments) const {
    laed2<R>(arguments...);
  }
  Int find_root(Int k, Int j, const R* dlamda, const R* w, R* delta, R rho, R& root) const {
    return nuv::find_root(k, j, dlamda, w, delta, rho, root);
  }
  void merge_order(Int n1, Int n2, const R* d, Int step1, Int step2, Int* index) const {
    lamrg(n1, n2, d, step1, step2, index);
  }
};

/// Brings poles to the digits that stand in memory: their differences are to be exact wherever they are formed.
template <RealScalar R>
void round_poles(Int n, R* dlamda) {
  for (Int i = 0; i < n; ++i) dlamda[i] = lamc3(dlamda[i], dlamda[i]) - dlamda[i];
}

// -------------------------------------------------------------------------------- eigenvectors as products of factors

/// The arrays of factors.
template <class R, class Index>
struct Factors {
  R* qstore;
  Index* qptr;
  Index* prmptr;
  Index* perm;
  Index* givptr;
  Index* givcol;
  R* givnum;
};

/// Number of the first node of a generation; the leaves are generation 0.
Int first_node(Int tlvls, Int generation) {
  Int first = 1;
  for (Int g = 0; g < generation; ++g) first += Int{1} << (tlvls - g);
  return first;
}

/// x := S^T x with the factor S by which the eigenvectors of a node follow from those of its children: rotations, a
/// permutation, and a block for the columns that come first then.
template <RealScalar R>
void apply_node(const Factors<const R, const Int>& factors, Int node, R* x, R* scratch) {
  const Int size = factors.prmptr[node] - factors.prmptr[node - 1];
  for (Int i = factors.givptr[node - 1]; i < factors.givptr[node]; ++i) {
    const Int* const pair = factors.givcol + std::ptrdiff_t{2} * (i - 1);
    const R* const rotation = factors.givnum + std::ptrdiff_t{2} * (i - 1);
    blas::rot(1, {x + (pair[0] - 1), 1}, {x + (pair[1] - 1), 1}, rotation[0], rotation[1]);
  }
  const Int* const perm = factors.perm + (factors.prmptr[node - 1] - 1);
  for (Int i = 0; i < size; ++i) scratch[i] = x[perm[i] - 1];
  const Int elements = factors.qptr[node] - factors.qptr[node - 1];
  const Int k = static_cast<Int>(std::sqrt(static_cast<double>(elements)) + 0.5);
  if (k > 0) {
    const Matrix<const R> block{factors.qstore + (factors.qptr[node - 1] - 1), k};
    blas::gemv('T', k, k, R(1), block, {scratch, 1}, R(0), {x, 1});
  }
  std::copy(scratch + k, scratch + size, x + k);
}

/// laed7 for all precisions. deflate(curr, z, dlamda, w) gives k; multiply(k, block) multiplies the columns that the
/// deflation has gathered by the eigenvectors of the secular equation.
///
/// vectors   3 n elements for z, dlamda and w
template <RealScalar R, class Deflate, class Multiply>
void merge_factors(Int n, Int tlvls, Int curlvl, Int curpbm, R* d, Int* indxq, R& rho, const Factors<R, Int>& factors,
                   R* vectors, Deflate deflate, Multiply multiply, Int& info) {
  R* const z = vectors;
  R* const dlamda = z + n;
  R* const w = dlamda + n;
  laeda<R>(n, tlvls, curlvl, curpbm, factors.prmptr, factors.perm, factors.givptr, factors.givcol, factors.givnum,
           factors.qstore, factors.qptr, z, z + n, info);

  // Behind the last merge nobody asks for the factors of the others.
  const Int curr = first_node(tlvls, curlvl) + curpbm;
  if (curlvl == tlvls) factors.qptr[curr - 1] = factors.prmptr[curr - 1] = factors.givptr[curr - 1] = 1;
  const Int k = deflate(curr, z, dlamda, w);
  factors.prmptr[curr] = factors.prmptr[curr - 1] + n;
  factors.givptr[curr] += factors.givptr[curr - 1];
  factors.qptr[curr] = static_cast<Int>(factors.qptr[curr - 1] + std::int64_t{k} * k);
  if (k == 0) {
    for (Int i = 0; i < n; ++i) indxq[i] = i + 1;
    return;
  }
  R* const block = factors.qstore + (factors.qptr[curr - 1] - 1);
  laed9(k, 1, k, n, d, block, k, rho, dlamda, w, block, k, info);
  if (info != 0) return;
  multiply(k, block);
  lamrg(k, n - k, d, 1, -1, indxq);
}

}  // namespace

template <RealScalar T>
void laed1(Int n, T* d, T* q, Int ldq, Int* indxq, T rho, Int cutpnt, T* work, Int* iwork, Int& info) {
  info = 0;
  if (n < 0) info = -1;
  else if (ldq < std::max(1, n)) info = -4;
  else if (std::min(1, n / 2) > cutpnt || n / 2 < cutpnt) info = -7;
  if (info != 0) return report_bad_argument<T>("LAED1", info);
  if (n == 0) return;
  if (!merge_halves(n, d, Matrix{q, ldq}, indxq, rho, cutpnt, work, iwork, OneShare(), Calls<T>())) info = 1;
}

template <RealScalar T>
void laed3(Int k, Int n, Int n1, T* d, T* q, Int ldq, T rho, T* dlamda, const T* q2, const Int* indx, const Int* ctot,
           T* w, T* s, Int& info) {
  info = 0;
  if (k < 0) info = -1;
  else if (n < k) info = -2;
  else if (ldq < std::max(1, n)) info = -6;
  if (info != 0) return report_bad_argument<T>("LAED3", info);
  if (k == 0) return;
  round_poles(k, dlamda);
  const SecularMerge<T> merge{n, n1, Matrix{q, ldq}, q2, indx, ctot[0], ctot[1], ctot[2], s};
  const auto root = [=](Int j, T* delta, T& value) { return find_root(k, j, dlamda, w, delta, rho, value); };
  if (!solve_merge(k, d, dlamda, w, merge, OneShare(), root)) info = 1;
}

template <RealScalar T>
void laed7(Int icompq, Int n, Int qsiz, Int tlvls, Int curlvl, Int curpbm, T* d, T* q, Int ldq, Int* indxq, T rho,
           Int cutpnt, T* qstore, Int* qptr, Int* prmptr, Int* perm, Int* givptr, Int* givcol, T* givnum, T* work,
           Int* iwork, Int& info) {
  info = 0;
  if (icompq < 0 || icompq > 1) info = -1;
  else if (n < 0) info = -2;
  else if (icompq == 1 && qsiz < n) info = -4;
  else if (ldq < std::max(1, n)) info = -9;
  else if (std::min(1, n) > cutpnt || n < cutpnt) info = -12;
  if (info != 0) return report_bad_argument<T>("LAED7", info);
  if (n == 0) return;

  const Int ldq2 = icompq == 1 ? qsiz : n;
  T* const q2 = work + std::ptrdiff_t{3} * n;
  const auto deflate = [&](Int curr, T* z, T* dlamda, T* w) {
    Int k;
    laed8(icompq, k, n, qsiz, d, q, ldq, indxq, rho, cutpnt, z, dlamda, q2, ldq2, w, perm + (prmptr[curr - 1] - 1),
          givptr[curr], givcol + std::ptrdiff_t{2} * (givptr[curr - 1] - 1),
          givnum + std::ptrdiff_t{2} * (givptr[curr - 1] - 1), iwork, iwork + n, info);
    return k;
  };
  const auto multiply = [&](Int k, const T* block) {
    if (icompq == 1) blas::gemm('N', 'N', qsiz, k, k, T(1), {q2, ldq2}, {block, k}, T(0), Matrix{q, ldq});
  };
  merge_factors<T>(n, tlvls, curlvl, curpbm, d, indxq, rho, {qstore, qptr, prmptr, perm, givptr, givcol, givnum}, work,
                   deflate, multiply, info);
}

template <ComplexScalar T>
void laed7(Int n, Int cutpnt, Int qsiz, Int tlvls, Int curlvl, Int curpbm, Real<T>* d, T* q, Int ldq, Real<T> rho,
           Int* indxq, Real<T>* qstore, Int* qptr, Int* prmptr, Int* perm, Int* givptr, Int* givcol, Real<T>* givnum,
           T* work, Real<T>* rwork, Int* iwork, Int& info) {
  using R = Real<T>;
  info = 0;
  if (n < 0) info = -1;
  else if (std::min(1, n) > cutpnt || n < cutpnt) info = -2;
  else if (qsiz < n) info = -3;
  else if (ldq < std::max(1, n)) info = -9;
  if (info != 0) return report_bad_argument<T>("LAED7", info);
  if (n == 0) return;

  const auto deflate = [&](Int curr, R* z, R* dlamda, R* w) {
    Int k;
    laed8(k, n, qsiz, q, ldq, d, rho, cutpnt, z, dlamda, work, qsiz, w, iwork, iwork + n, indxq,
          perm + (prmptr[curr - 1] - 1), givptr[curr], givcol + std::ptrdiff_t{2} * (givptr[curr - 1] - 1),
          givnum + std::ptrdiff_t{2} * (givptr[curr - 1] - 1), info);
    return k;
  };
  const auto multiply = [&](Int k, const R* block) { lacrm(qsiz, k, work, qsiz, block, k, q, ldq, rwork); };
  merge_factors<R>(n, tlvls, curlvl, curpbm, d, indxq, rho, {qstore, qptr, prmptr, perm, givptr, givcol, givnum}, rwork,
                   deflate, multiply, info);
}

template <RealScalar T>
void laed9(Int k, Int kstart, Int kstop, Int n, T* d, T* q, Int ldq, T rho, T* dlamda, T* w, T* s, Int lds, Int& info) {
  info = 0;
  if (k < 0) info = -1;
  else if (kstart < 1 || kstart > std::max(1, k)) info = -2;
  else if (std::max(1, kstop) < kstart || kstop > std::max(1, k)) info = -3;
  else if (n < k) info = -4;
  else if (ldq < std::max(1, k)) info = -7;
  else if (lds < std::max(1, k)) info = -12;
  if (info != 0) return report_bad_argument<T>("LAED9", info);
  if (k == 0) return;

  round_poles(n, dlamda);
  const SecularSystem<T> system{k, dlamda, w, Matrix{q, ldq}};
  const Matrix S{s, lds};
  for (Int j = kstart; j <= kstop; ++j) {
    info = find_root(k, j, dlamda, w, system.Delta.at(1, j), rho, d[j - 1]);
    if (info != 0) return;
  }
  if (k <= 2) {
    return lacpy('A', k, k, q, ldq, s, lds);
  }
  refit_weights(system, OneShare());
  for (Int j = 1; j <= k; ++j) {
    const T scale = vector_of_root(system, j, S.at(1, j));
    for (Int i = 1; i <= k; ++i) S(i, j) *= scale;
  }
}

// The leaves on both sides of the cut give the vector its first elements. Then each generation of nodes on both sides,
// up to the halves themselves, brings it into its own coordinates.
template <RealScalar T>
void laeda(Int n, Int tlvls, Int curlvl, Int curpbm, const Int* prmptr, const Int* perm, const Int* givptr,
           const Int* givcol, const T* givnum, const T* q, const Int* qptr, T* z, T* ztemp, Int& info) {
  info = n < 0 ? -1 : 0;
  if (info != 0) return report_bad_argument<T>("LAEDA", info);
  if (n == 0) return;

  const Factors<const T, const Int> factors{q, qptr, prmptr, perm, givptr, givcol, givnum};
  const auto order_of_block = [&](Int node) {
    return static_cast<Int>(std::sqrt(static_cast<double>(qptr[node] - qptr[node - 1])) + 0.5);
  };
  // In each generation, the last node before the cut; its neighbour is the first behind it.
  const auto node_before_cut = [&](Int generation) {
    const Int merges = Int{1} << (curlvl - generation - 1);
    return first_node(tlvls, generation) + curpbm * 2 * merges + merges - 1;
  };
  const Int cut = n / 2, leaf = node_before_cut(0);
  const Int before = order_of_block(leaf), behind = order_of_block(leaf + 1);
  std::fill_n(z, n, T(0));
  blas::copy(before, {q + (qptr[leaf - 1] - 1) + (before - 1), before}, {z + cut - before, 1});
  blas::copy(behind, {q + (qptr[leaf] - 1), behind}, {z + cut, 1});
  for (Int generation = 1; generation < curlvl; ++generation) {
    const Int node = node_before_cut(generation);
    apply_node(factors, node, z + cut - (prmptr[node] - prmptr[node - 1]), ztemp);
    apply_node(factors, node + 1, z + cut, ztemp);
  }
}

}  // namespace nuv

#include "symmetric/merges.entries.inc"
